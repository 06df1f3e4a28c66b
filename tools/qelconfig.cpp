// qelconfig: shows the configuration as the library resolves it, and reads,
// changes and merges values of a setup file.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <vector>
#include <xercesc/dom/DOM.hpp>

#include "QELStd.h"
#include "QELToolTexts.h"

namespace {

const char* const PROGRAM = "qelconfig";

// Where a resolved value came from.
enum Origin { FROM_ENVIRONMENT, FROM_SETUP_FILE, FROM_DEFAULT };

struct Options {
    const char* file;              // --file, or null for the file the library reads
    std::vector<QELString> words;  // the command's own words
};

const char* originName(Origin origin)
{
    switch (origin) {
    case FROM_ENVIRONMENT: return "environment";
    case FROM_SETUP_FILE: return "setup file";
    default: return "default";
    }
}

bool environmentHas(const char* name)
{
    return std::getenv(name) != nullptr;
}

// The raw value of a key in the setup file, read independently of `config`,
// so that a value can be told apart from a default the library filled in.
class SetupKeys {
public:
    explicit SetupKeys(const QELString& file) : setup(file), readable(setup.read()) {}
    bool isReadable() const { return readable; }
    bool has(const char* key) { return readable && !setup.getValue(QELString(key)).isEmpty(); }
    QELSetup setup;

private:
    bool readable;
};

void printRow(const char* name, const QELString& value, Origin origin)
{
    std::printf("%-38s %-40s [%s]\n", name, value.chars(), originName(origin));
}

Origin keyOrDefault(SetupKeys& keys, const char* key)
{
    return keys.has(key) ? FROM_SETUP_FILE : FROM_DEFAULT;
}

// Prints every accessor of the path family and the plain settings, one per
// line, with the origin of each value. Origins are decided before any
// accessor runs: getQELLogLevel publishes the setup file's level into the
// environment.
int showConfiguration(const Options& options)
{
    Origin configurationOrigin = environmentHas("QEL_CONFIGURATION_PATH") ? FROM_ENVIRONMENT : FROM_DEFAULT;
    bool logLevelFromEnvironment = environmentHas("QEL_LOG_LEVEL");
    bool langFromEnvironment = environmentHas("QEL_I18N_LANG");
    bool tmpFromEnvironment = environmentHas("TMP");
    bool classPathFromEnvironment = environmentHas("CLASSPATH");

    QELString file = options.file ? QELString(options.file) : getQELSetupXMLPath();
    if (options.file) {
        config.homeDirectory.empty();
        config.readXMLFile(file);
    }
    SetupKeys keys(file);
    if (!keys.isReadable())
        toolWarn(PROGRAM, QELToolTexts::texts().setupFileUnreadableDefaults, file);

    // Loading the library already published the setup file's level as
    // QEL_LOG_LEVEL; a variable holding exactly that text came from the file.
    bool publishedLevel = logLevelFromEnvironment && !config.logLevel.isEmpty()
                          && config.logLevel == std::getenv("QEL_LOG_LEVEL");
    Origin logOrigin = logLevelFromEnvironment && !publishedLevel ? FROM_ENVIRONMENT
                       : keyOrDefault(keys, "Log/LogLevel");
    Origin tempOrigin = keys.has("Directory/Temp") ? FROM_SETUP_FILE
                        : tmpFromEnvironment ? FROM_ENVIRONMENT : FROM_DEFAULT;
    Origin systemClassPathOrigin = keys.has("Java/AppendSystemClassPath") ? FROM_SETUP_FILE
                                   : classPathFromEnvironment ? FROM_ENVIRONMENT : FROM_DEFAULT;
    Origin javaOrigin = keyOrDefault(keys, "Java/Directory");
    Origin logPathOrigin = keyOrDefault(keys, "Directory/Log");

    std::printf("%-38s %-40s [%s]\n", "setup file", file.chars(), keys.isReadable() ? "read" : "not readable");
    printRow("getQELConfigurationPath", getQELConfigurationPath(), configurationOrigin);
    printRow("getQELSetupXMLPath", getQELSetupXMLPath(), configurationOrigin);
    printRow("getQELInstallationPath", getQELInstallationPath(), keyOrDefault(keys, "Directory/Home"));
    printRow("getQELBinPath", getQELBinPath(), keyOrDefault(keys, "Directory/Bin"));
    printRow("getQELLogPath", getQELLogPath(), logPathOrigin);
    printRow("getQELServerLogPath", getQELServerLogPath(), logPathOrigin);
    printRow("getQELTempPath", getQELTempPath(), tempOrigin);
    printRow("getQELTextLiteralsPath", getQELTextLiteralsPath(), keyOrDefault(keys, "Directory/TextLiterals"));
    printRow("getQELJavaPath", getQELJavaPath(), javaOrigin);
    printRow("getQELJavaPolicyPath", getQELJavaPolicyPath(), javaOrigin);
    printRow("getQELRepositoryDirectory", getQELRepositoryDirectory(), keyOrDefault(keys, "Repository/Directory"));
    printRow("getQELJavaRunTime", getQELJavaRunTime(), keyOrDefault(keys, "Java/RunTime/Executable"));
    printRow("getQELClassPath", getQELClassPath(false), keyOrDefault(keys, "Java/ClassPath"));
    printRow("getQELSystemClassPath", getQELSystemClassPath(), systemClassPathOrigin);
    printRow("getZUNAPath", getZUNAPath(), configurationOrigin);
    printRow("getQELI18nPath", getQELI18nPath(), configurationOrigin);
    printRow("getQELDatatypeMappingPath", getQELDatatypeMappingPath(), configurationOrigin);
    printRow("getQELFunctionMappingPath", getQELFunctionMappingPath(), configurationOrigin);
    printRow("getQELMappingSpecificationPath", getQELMappingSpecificationPath(), configurationOrigin);
    printRow("getQELPavornTemplatePath", getQELPavornTemplatePath(), configurationOrigin);
    printRow("getQELPavornsXMLPath", getQELPavornsXMLPath(), configurationOrigin);
    printRow("getQELLogLevel", QELString(getQELLogLevel()), logOrigin);
    printRow("getQELI18nLang", getQELI18nLang(), langFromEnvironment ? FROM_ENVIRONMENT : FROM_DEFAULT);
    printRow("getQELJvmPath", getQELJvmPath(), keyOrDefault(keys, "Java/VirtualMachinePath"));
    printRow("getQELJavaLibraryPath", getQELJavaLibraryPath(), keyOrDefault(keys, "Java/LibraryPath"));
    printRow("getQELJavaOptions", getQELJavaOptions(), keyOrDefault(keys, "Java/RunTime/Options"));
    printRow("getQELRepositoryDSN", getQELRepositoryDSN(), keyOrDefault(keys, "Repository/Database/DataSourceName"));
    printRow("getQELRepositoryDSNUser", getQELRepositoryDSNUser(), keyOrDefault(keys, "Repository/Database/LoginUser"));
    // The password is never echoed; only whether one is set.
    printRow("getQELRepositoryDSNPassword", QELString(getQELRepositoryDSNPassword().isEmpty() ? "" : "********"),
             keyOrDefault(keys, "Repository/Database/LoginPassword"));
    printRow("getQELServerParameters", getQELServerParameters(), keyOrDefault(keys, "Server/Parameters"));
    printRow("getQELServerEncryption", getQELServerEncryption(), keyOrDefault(keys, "Server/Encryption"));
    printRow("getQELClientParameters", getQELClientParameters(), keyOrDefault(keys, "Client/Parameters"));
    printRow("getQELPavornXmlConversationDirectory", getQELPavornXmlConversationDirectory(),
             keyOrDefault(keys, "Pavorn/XmlConversationDirectory"));
    return 0;
}

QELString setupFileOf(const Options& options)
{
    return options.file ? QELString(options.file) : getQELSetupXMLPath();
}

// Reads a setup file for get/set/merge; says why and returns false when it
// cannot be read or is not a setup document.
bool readSetup(QELSetup& setup, const QELString& file)
{
    struct stat st;
    if (stat(file.chars(), &st) != 0) {
        toolError(PROGRAM, QELToolTexts::texts().fileMissing, file);
        return false;
    }
    if (!setup.read() || setup.findSubNode(setup.document, QELString("Setup")) == nullptr) {
        toolError(PROGRAM, QELToolTexts::texts().setupFileUnreadable, file);
        return false;
    }
    return true;
}

int getValue(const Options& options)
{
    if (options.words.size() != 1)
        return toolUsage(PROGRAM, QELToolTexts::texts().qelconfigUsage);
    QELString file = setupFileOf(options);
    QELSetup setup(file);
    if (!readSetup(setup, file))
        return 1;
    const QELString& path = options.words[0];
    if (setup.findNode(path) == nullptr) {
        toolError(PROGRAM, QELToolTexts::texts().noSuchElement, path, file);
        return 1;
    }
    std::printf("%s\n", setup.getValue(path).chars());
    return 0;
}

int setValue(const Options& options)
{
    if (options.words.size() != 2)
        return toolUsage(PROGRAM, QELToolTexts::texts().qelconfigUsage);
    QELString file = setupFileOf(options);
    QELSetup setup(file);
    if (!readSetup(setup, file))
        return 1;
    const QELString& path = options.words[0];
    if (!setup.setValue(path, options.words[1])) {
        toolError(PROGRAM, QELToolTexts::texts().noSuchElement, path, file);
        return 1;
    }
    if (!setup.write()) {
        toolError(PROGRAM, QELToolTexts::texts().cannotWrite, file);
        return 1;
    }
    return 0;
}

int mergeFrom(const Options& options)
{
    if (options.words.size() != 1)
        return toolUsage(PROGRAM, QELToolTexts::texts().qelconfigUsage);
    QELString file = setupFileOf(options);
    const QELString& fromFile = options.words[0];
    QELSetup setup(file);
    QELSetup from(fromFile);
    if (!readSetup(setup, file) || !readSetup(from, fromFile))
        return 1;
    setup.setFrom(&from);
    if (!setup.write()) {
        toolError(PROGRAM, QELToolTexts::texts().cannotWrite, file);
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    static const char* const valued[] = { "--file", nullptr };
    static const char* const flags[] = { "--help", nullptr };
    ToolArguments args;
    QELString bad;
    if (!args.parse(argc - 1, argv + 1, valued, flags, bad))
        return toolUsage(PROGRAM, QELToolTexts::texts().unknownOption, bad);
    if (args.has("--help")) {
        toolHelp(QELToolTexts::texts().qelconfigHelp);
        return 0;
    }
    QELString file = args.value("--file");
    Options options = { args.has("--file") ? file.chars() : nullptr, args.words };
    if (options.words.empty())
        return showConfiguration(options);
    QELString command = options.words.front();
    options.words.erase(options.words.begin());
    if (command == "get")
        return getValue(options);
    if (command == "set")
        return setValue(options);
    if (command == "merge")
        return mergeFrom(options);
    return toolUsage(PROGRAM, QELToolTexts::texts().unknownCommand, command);
}
