// QELConfiguration: the installation's configuration (the global `config`
// read from "QELSetup.xml") and the environment and path accessors.
//
// Every answer follows one precedence: an environment variable where one
// exists, then the value in the setup file, then a built-in default below
// the installation directory. Directory values always end in "/".
//
// A small "QELSetup.xml" (in the configuration directory, by default
// HOME/conf/, or $QEL_CONFIGURATION_PATH):
//
//   <Setup>
//     <Directory><Home>/opt/qel</Home><Temp>/var/tmp/qel</Temp></Directory>
//     <Log><LogLevel>4</LogLevel></Log>
//   </Setup>
//
//   Directory/Home  -> getQELInstallationPath()  "/opt/qel/"
//   Directory/Temp  -> getQELTempPath()          "/var/tmp/qel/"
//   Directory/Log   -> getQELLogPath()           "/opt/qel/log/" (default)
//   Log/LogLevel    -> getQELLogLevel()          4 (unless $QEL_LOG_LEVEL)
#ifndef QELCONFIGURATION_H
#define QELCONFIGURATION_H

#include "QELExport.h"
#include "QELString.h"

// The installation's settings as read from the setup file; every field is
// empty when its key is absent, and the accessors below supply defaults.
// Directory fields get "/" appended when non-empty, without looking whether
// the value already ends in one (deliberate: /opt/x/ becomes /opt/x//).
// The one instance is `config`, read when the library is loaded.
class QEL_API QELConfigurationData {
public:
    QELString homeDirectory;            // Directory/Home
    QELString binDirectory;             // Directory/Bin
    QELString logDirectory;             // Directory/Log
    QELString tempDirectory;            // Directory/Temp
    QELString textLiteralsDirectory;    // Directory/TextLiterals
    QELString javaDirectory;            // Java/Directory
    QELString javaClassPath;            // Java/ClassPath
    QELString appendSystemClassPath;    // Java/AppendSystemClassPath
    QELString virtualMachinePath;       // Java/VirtualMachinePath
    QELString javaLibraryPath;          // Java/LibraryPath
    QELString javaRunTimeExecutable;    // Java/RunTime/Executable
    QELString javaRunTimeOptions;       // Java/RunTime/Options
    QELString serverParameters;         // Server/Parameters
    QELString serverEncryption;         // Server/Encryption
    QELString clientParameters;         // Client/Parameters
    QELString repositoryDirectory;      // Repository/Directory
    QELString repositoryDataSourceName; // Repository/Database/DataSourceName
    QELString repositoryLoginUser;      // Repository/Database/LoginUser
    QELString repositoryLoginPassword;  // Repository/Database/LoginPassword
    QELString logLevel;                 // Log/LogLevel
    QELString xmlConversationDirectory; // Pavorn/XmlConversationDirectory
    QELString configurationPath;        // cache of getQELConfigurationPath()

    // Reads getQELConfigurationPath() + "QELSetup.xml"; a missing or bad
    // file is not an error here.
    QELConfigurationData();
    ~QELConfigurationData();

    // Reads the setup file `fileName` into the fields and publishes a
    // configured text literal directory as QEL_TEXT_LITERALS_PATH.
    // Returns false when the file cannot be read or parsed; then only
    // binDirectory (the library's directory) and homeDirectory (its
    // parent) change.
    bool readXMLFile(QELString fileName);
};

// The process-wide configuration, built when the library is loaded.
extern QEL_DATA QELConfigurationData config;

// --- Setters ---

// Sets QEL_I18N_LANG. Always returns true.
QEL_API bool setQELI18nLang(const QELString& lang);
// Sets QEL_CONFIGURATION_PATH, empties config's home directory and re-reads
// config from path + "/QELSetup.xml". Returns true even when that file is
// missing.
QEL_API bool setQELConfigurationPath(const QELString& path);
// Stores `classPath` as config's Java class path; null changes nothing.
QEL_API void setQELClassPath(const char* classPath);

// --- Core getters ---

// $QEL_I18N_LANG, or empty.
QEL_API QELString getQELI18nLang();
// $QEL_LOG_LEVEL, else Log/LogLevel (then published as QEL_LOG_LEVEL),
// else 5; any value outside 1 to 6 gives 5 (0 cannot be configured).
QEL_API int getQELLogLevel();
// $QEL_CONFIGURATION_PATH + "/", else the installation's conf/ directory.
QEL_API QELString getQELConfigurationPath();
// config's home directory, unchanged.
QEL_API QELString getQELInstallationPath();

// --- The path family: setup file value, else a default ---

QEL_API QELString getQELBinPath();             // Directory/Bin, else HOME/bin/
QEL_API QELString getQELLogPath();             // Directory/Log, else HOME/log/
QEL_API QELString getQELTempPath();            // Directory/Temp, else $TMP/, else HOME/temp/
QEL_API QELString getQELTextLiteralsPath();    // Directory/TextLiterals, else HOME/conf/QELI18n/Localization/
QEL_API QELString getQELJavaPath();            // Java/Directory, else HOME/java/
QEL_API QELString getQELRepositoryDirectory(); // Repository/Directory, else HOME/Repository/
QEL_API QELString getQELJavaRunTime();         // Java/RunTime/Executable, else "java"
// Java/ClassPath (whatever `quoted` says), else the eight default jars in
// getQELJavaPath(), joined by ":", each in double quotes when `quoted`.
QEL_API QELString getQELClassPath(bool quoted);
// $CLASSPATH, or empty when Java/AppendSystemClassPath is "false" (any case).
QEL_API QELString getQELSystemClassPath();

// --- Below the configuration directory ---

QEL_API QELString getZUNAPath();                    // CONF/ZUNA/
QEL_API QELString getQELI18nPath();                 // CONF/QELI18n/
QEL_API QELString getQELDatatypeMappingPath();      // CONF/QELDataTypeMapping/
QEL_API QELString getQELFunctionMappingPath();      // CONF/QELFunctionMapping/
QEL_API QELString getQELMappingSpecificationPath(); // CONF/QELMappingSpecification/
QEL_API QELString getQELPavornTemplatePath();       // CONF/QELPavornTemplate/
QEL_API QELString getQELPavornsXMLPath();           // CONF/QELPavorns.xml
QEL_API QELString getQELSetupXMLPath();             // CONF/QELSetup.xml
QEL_API QELString getQELJavaPolicyPath();           // getQELJavaPath() + "java.policy"
QEL_API QELString getQELServerLogPath();            // getQELLogPath() + "QELServer.log"

// --- Plain setup file values, empty when absent ---

QEL_API QELString getQELJvmPath();                        // Java/VirtualMachinePath
QEL_API QELString getQELJavaLibraryPath();                // Java/LibraryPath
QEL_API QELString getQELJavaOptions();                    // Java/RunTime/Options
QEL_API QELString getQELRepositoryDSN();                  // Repository/Database/DataSourceName
QEL_API QELString getQELRepositoryDSNUser();              // Repository/Database/LoginUser
QEL_API QELString getQELRepositoryDSNPassword();          // Repository/Database/LoginPassword
QEL_API QELString getQELServerParameters();               // Server/Parameters
QEL_API QELString getQELServerEncryption();               // Server/Encryption
QEL_API QELString getQELClientParameters();               // Client/Parameters
QEL_API QELString getQELPavornXmlConversationDirectory(); // Pavorn/XmlConversationDirectory

#endif
