// configuration: the global `config` read from "QELSetup.xml" when the
// library is loaded, and the environment and path accessors.
#include "QELConfiguration.h"
#include "QELMemory.h"

#include <dlfcn.h>
#include <limits.h>
#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "QELLogFrame.h"
#include "QELSetup.h"
#include "QELStartup.h"

namespace {

const char SETUP_FILE_NAME[] = "QELSetup.xml";

// A configured log level runs from 1 to QEL_LOG_LEVEL_HIGHEST (0, no log at
// all, cannot be configured); anything else, or no level, gives the default.
const int LOWEST_CONFIGURED_LOG_LEVEL = 1;
const int DEFAULT_LOG_LEVEL = 5;

// The default Java class path: these jars, in this order, in getQELJavaPath().
const char* const DEFAULT_JARS[8] = {
    "QELCore.jar",   "QELI18n.jar",   "QELRepository.jar", "QELServer.jar",
    "QELClient.jar", "QELPavorn.jar", "xercesImpl.jar",    "xml-apis.jar",
};

// --- System calls: the loader and the process environment. ---

// The directory of this library's own file, as the loader reports it
// (no trailing "/"), or empty when the loader cannot tell.
QELString libraryDirectory()
{
    void* handle = dlopen("libQELStd.so", RTLD_LAZY | RTLD_GLOBAL);
    if (handle == nullptr)
        return getEmptyTString();
    // The loader copies the origin without a size check: leave room for the
    // longest path rather than 1024 bytes.
    char origin[PATH_MAX + 1];
    origin[0] = '\0';
    if (dlinfo(handle, RTLD_DI_ORIGIN, origin) != 0)
        origin[0] = '\0';
    dlclose(handle);
    return QELString(origin);
}

// The text handed to putenv for one variable. The environment keeps the
// pointer, so each text lives until the same variable is set again here,
// and the last one for the whole process.
struct EnvironmentEntry {
    const char* name;
    char* text;
};

EnvironmentEntry textLiteralsEntry = { "QEL_TEXT_LITERALS_PATH", nullptr };
EnvironmentEntry logLevelEntry = { "QEL_LOG_LEVEL", nullptr };
EnvironmentEntry i18nLangEntry = { "QEL_I18N_LANG", nullptr };
EnvironmentEntry configurationPathEntry = { "QEL_CONFIGURATION_PATH", nullptr };

// Sets the variable to `value` (the text "NAME=value" given to putenv).
void publish(EnvironmentEntry& entry, const QELString& value)
{
    size_t nameLength = strlen(entry.name);
    size_t valueLength = strlen(value.p);
    char* text = static_cast<char*>(qelAllocate(nameLength + 1 + valueLength + 1));
    memcpy(text, entry.name, nameLength);
    text[nameLength] = '=';
    memcpy(text + nameLength + 1, value.p, valueLength + 1);
    putenv(text);
    free(entry.text);
    entry.text = text;
}

// --- Paths and numbers: no system calls. ---

// The parent of a directory: trailing "/" removed, then cut just after the
// last remaining "/"; it ends in "/". "/" (or only slashes) gives "/", a
// name without any "/" gives the empty string.
QELString parentDirectory(const QELString& dir)
{
    int n = dir.len;
    while (n > 0 && dir.p[n - 1] == '/')
        n--;
    int i = n - 1;
    while (i >= 0 && dir.p[i] != '/')
        i--;
    if (i < 0)
        return (dir.len > 0 && dir.p[0] == '/') ? QELString("/") : getEmptyTString();
    return QELString(dir.p, i + 1);
}

// The installation's home as the library's location gives it: the parent
// of the library's directory ("/" when the loader cannot tell).
QELString homeFromLibraryDirectory()
{
    QELString dir = libraryDirectory();
    dir.append('/');
    return parentDirectory(dir);
}

// A decimal level as atoi reads it: leading blanks and a sign allowed,
// parsing stops at the first non-digit, no digits give 0. Any value outside
// the configurable levels gives the default level.
int levelFromText(const char* text)
{
    long value = strtol(text, nullptr, 10);
    if (value < LOWEST_CONFIGURED_LOG_LEVEL || value > QEL_LOG_LEVEL_HIGHEST)
        return DEFAULT_LOG_LEVEL;
    return static_cast<int>(value);
}

QELString concat(const QELString& a, const char* b)
{
    QELString result(a);
    result.append(b);
    return result;
}

// A directory value from the setup file: "/" appended when non-empty,
// without looking whether it already ends in one (deliberate: harmless).
QELString directoryValue(QELSetup& setup, const char* key)
{
    QELString value = setup.getValue(QELString(key));
    if (!value.isEmpty())
        value.append('/');
    return value;
}

} // namespace

QEL_BUILT_AT(QEL_STAGE_CONFIGURATION) QELConfigurationData config;

QELConfigurationData::QELConfigurationData()
{
    readXMLFile(concat(getQELConfigurationPath(), SETUP_FILE_NAME));
}

QELConfigurationData::~QELConfigurationData()
{
}

bool QELConfigurationData::readXMLFile(QELString fileName)
{
    QELSetup setup(fileName);
    if (!setup.read()) {
        binDirectory = concat(libraryDirectory(), "/");
        homeDirectory = parentDirectory(binDirectory);
        return false;
    }

    homeDirectory = setup.getValue(QELString("Directory/Home"));
    if (homeDirectory.isEmpty())
        homeDirectory = homeFromLibraryDirectory();
    else
        homeDirectory.append('/');
    binDirectory = directoryValue(setup, "Directory/Bin");
    logDirectory = directoryValue(setup, "Directory/Log");
    tempDirectory = directoryValue(setup, "Directory/Temp");
    textLiteralsDirectory = directoryValue(setup, "Directory/TextLiterals");
    if (!textLiteralsDirectory.isEmpty())
        publish(textLiteralsEntry, textLiteralsDirectory);
    javaDirectory = directoryValue(setup, "Java/Directory");
    javaClassPath = setup.getValue(QELString("Java/ClassPath"));
    appendSystemClassPath = setup.getValue(QELString("Java/AppendSystemClassPath"));
    virtualMachinePath = setup.getValue(QELString("Java/VirtualMachinePath"));
    javaLibraryPath = setup.getValue(QELString("Java/LibraryPath"));
    javaRunTimeExecutable = setup.getValue(QELString("Java/RunTime/Executable"));
    javaRunTimeOptions = setup.getValue(QELString("Java/RunTime/Options"));
    serverParameters = setup.getValue(QELString("Server/Parameters"));
    serverEncryption = setup.getValue(QELString("Server/Encryption"));
    clientParameters = setup.getValue(QELString("Client/Parameters"));
    repositoryDirectory = directoryValue(setup, "Repository/Directory");
    repositoryDataSourceName = setup.getValue(QELString("Repository/Database/DataSourceName"));
    repositoryLoginUser = setup.getValue(QELString("Repository/Database/LoginUser"));
    repositoryLoginPassword = setup.getValue(QELString("Repository/Database/LoginPassword"));
    logLevel = setup.getValue(QELString("Log/LogLevel"));
    xmlConversationDirectory = directoryValue(setup, "Pavorn/XmlConversationDirectory");
    return true;
}

// --- Setters ---

bool setQELI18nLang(const QELString& lang)
{
    publish(i18nLangEntry, lang);
    return true;
}

bool setQELConfigurationPath(const QELString& path)
{
    publish(configurationPathEntry, path);
    config.homeDirectory.empty();
    QELString fileName(path);
    fileName.append('/');
    fileName.append(SETUP_FILE_NAME);
    config.readXMLFile(fileName);
    return true;
}

void setQELClassPath(const char* classPath)
{
    if (classPath != nullptr)
        config.javaClassPath = QELString(classPath);
}

// --- Core getters ---

QELString getQELI18nLang()
{
    const char* lang = getenv("QEL_I18N_LANG");
    return lang != nullptr ? QELString(lang) : getEmptyTString();
}

int getQELLogLevel()
{
    const char* level = getenv("QEL_LOG_LEVEL");
    if (level != nullptr)
        return levelFromText(level);
    if (!config.logLevel.isEmpty()) {
        // Child processes see the same level.
        publish(logLevelEntry, config.logLevel);
        return levelFromText(config.logLevel.p);
    }
    return DEFAULT_LOG_LEVEL;
}

QELString getQELConfigurationPath()
{
    const char* path = getenv("QEL_CONFIGURATION_PATH");
    if (path != nullptr)
        return concat(QELString(path), "/");
    if (config.configurationPath.isEmpty())
        config.configurationPath = concat(homeFromLibraryDirectory(), "conf/");
    return config.configurationPath;
}

QELString getQELInstallationPath()
{
    return config.homeDirectory;
}

// --- The path family ---

QELString getQELBinPath()
{
    if (!config.binDirectory.isEmpty())
        return config.binDirectory;
    return concat(getQELInstallationPath(), "bin/");
}

QELString getQELLogPath()
{
    if (!config.logDirectory.isEmpty())
        return config.logDirectory;
    return concat(getQELInstallationPath(), "log/");
}

QELString getQELTempPath()
{
    if (!config.tempDirectory.isEmpty())
        return config.tempDirectory;
    const char* tmp = getenv("TMP");
    if (tmp != nullptr)
        return concat(QELString(tmp), "/");
    return concat(getQELInstallationPath(), "temp/");
}

QELString getQELTextLiteralsPath()
{
    if (!config.textLiteralsDirectory.isEmpty())
        return config.textLiteralsDirectory;
    return concat(getQELInstallationPath(), "conf/QELI18n/Localization/");
}

QELString getQELJavaPath()
{
    if (!config.javaDirectory.isEmpty())
        return config.javaDirectory;
    return concat(getQELInstallationPath(), "java/");
}

QELString getQELRepositoryDirectory()
{
    if (!config.repositoryDirectory.isEmpty())
        return config.repositoryDirectory;
    return concat(getQELInstallationPath(), "Repository/");
}

QELString getQELJavaRunTime()
{
    if (!config.javaRunTimeExecutable.isEmpty())
        return config.javaRunTimeExecutable;
    return QELString("java");
}

QELString getQELClassPath(bool quoted)
{
    if (!config.javaClassPath.isEmpty())
        return config.javaClassPath;
    QELString javaPath = getQELJavaPath();
    QELString result;
    unsigned int size = 0;
    for (const char* jar : DEFAULT_JARS)
        size += static_cast<unsigned int>(javaPath.len + strlen(jar) + 3);
    result.resize(size);
    for (int i = 0; i < 8; i++) {
        if (i > 0)
            result.append(':');
        if (quoted)
            result.append('"');
        result += javaPath;
        result.append(DEFAULT_JARS[i]);
        if (quoted)
            result.append('"');
    }
    return result;
}

QELString getQELSystemClassPath()
{
    if (strcasecmp(config.appendSystemClassPath.p, "false") == 0)
        return getEmptyTString();
    const char* classPath = getenv("CLASSPATH");
    return classPath != nullptr ? QELString(classPath) : getEmptyTString();
}

// --- Below the configuration directory ---

QELString getZUNAPath()
{
    return concat(getQELConfigurationPath(), "ZUNA/");
}

QELString getQELI18nPath()
{
    return concat(getQELConfigurationPath(), "QELI18n/");
}

QELString getQELDatatypeMappingPath()
{
    return concat(getQELConfigurationPath(), "QELDataTypeMapping/");
}

QELString getQELFunctionMappingPath()
{
    return concat(getQELConfigurationPath(), "QELFunctionMapping/");
}

QELString getQELMappingSpecificationPath()
{
    return concat(getQELConfigurationPath(), "QELMappingSpecification/");
}

QELString getQELPavornTemplatePath()
{
    return concat(getQELConfigurationPath(), "QELPavornTemplate/");
}

QELString getQELPavornsXMLPath()
{
    return concat(getQELConfigurationPath(), "QELPavorns.xml");
}

QELString getQELSetupXMLPath()
{
    return concat(getQELConfigurationPath(), SETUP_FILE_NAME);
}

QELString getQELJavaPolicyPath()
{
    return concat(getQELJavaPath(), "java.policy");
}

QELString getQELServerLogPath()
{
    return concat(getQELLogPath(), "QELServer.log");
}

// --- Plain setup file values ---

QELString getQELJvmPath()
{
    return config.virtualMachinePath;
}

QELString getQELJavaLibraryPath()
{
    return config.javaLibraryPath;
}

QELString getQELJavaOptions()
{
    return config.javaRunTimeOptions;
}

QELString getQELRepositoryDSN()
{
    return config.repositoryDataSourceName;
}

QELString getQELRepositoryDSNUser()
{
    return config.repositoryLoginUser;
}

QELString getQELRepositoryDSNPassword()
{
    return config.repositoryLoginPassword;
}

QELString getQELServerParameters()
{
    return config.serverParameters;
}

QELString getQELServerEncryption()
{
    return config.serverEncryption;
}

QELString getQELClientParameters()
{
    return config.clientParameters;
}

QELString getQELPavornXmlConversationDirectory()
{
    return config.xmlConversationDirectory;
}
