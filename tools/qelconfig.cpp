// qelconfig: shows the configuration as the library resolves it, and lists,
// reads, changes and merges values of a setup file.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>
#include <xercesc/dom/DOM.hpp>

#include "QELSetupEdit.h"
#include "QELStd.h"
#include "QELToolTexts.h"

namespace {

const char* const PROGRAM = "qelconfig";

// Where a resolved value came from.
enum Origin { FROM_ENVIRONMENT, FROM_SETUP_FILE, FROM_DEFAULT, FROM_UNREAD_FILE };

struct Options {
    const char* file;             // --file, or null for the file the library reads
    bool json;                    // --json
    std::vector<QELString> words; // the command's own words
};

const char* originName(Origin origin)
{
    switch (origin) {
    case FROM_ENVIRONMENT:
        return "environment";
    case FROM_SETUP_FILE:
        return "setup file";
    case FROM_UNREAD_FILE:
        return "setup file not read";
    default:
        return "default";
    }
}

// Prints named values as aligned text rows ("NAME VALUE [ORIGIN]", or
// "NAME=VALUE" without an origin) or as one JSON object.
class Listing {
public:
    explicit Listing(bool json) : json(json) { }
    void row(const char* name, const QELString& value, Origin origin) { row(name, value, originName(origin)); }
    void row(const char* name, const QELString& value, const char* origin);
    // Ends the JSON object; text rows need no end.
    void close();

private:
    bool json;
    bool first = true;
};

void Listing::row(const char* name, const QELString& value, const char* origin)
{
    if (!json) {
        if (origin != nullptr)
            std::printf("%-38s %-40s [%s]\n", name, value.chars(), origin);
        else
            std::printf("%s=%s\n", name, value.chars());
        return;
    }
    std::string text(first ? "{" : ",\n ");
    first = false;
    appendJsonString(text, name, std::strlen(name));
    text += ": ";
    if (origin != nullptr)
        text += "{\"value\": ";
    appendJsonString(text, value.chars(), static_cast<size_t>(value.length()));
    if (origin != nullptr) {
        text += ", \"origin\": ";
        appendJsonString(text, origin, std::strlen(origin));
        text += "}";
    }
    std::fputs(text.c_str(), stdout);
}

void Listing::close()
{
    if (json)
        std::fputs(first ? "{}\n" : "}\n", stdout);
}

// Why a setup file cannot be read: an errno value, EPROTO when it is not a
// setup document, 0 when `setup` has read it.
int readProblem(const QELString& file, QELSetup& setup)
{
    int fd = open(file.chars(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    struct stat st;
    bool directory = fstat(fd, &st) == 0 && S_ISDIR(st.st_mode);
    close(fd);
    if (directory)
        return EISDIR;
    if (!setup.read() || setup.findSubNode(setup.document, QELString("Setup")) == nullptr)
        return EPROTO;
    return 0;
}

bool environmentHas(const char* name)
{
    return std::getenv(name) != nullptr;
}

// The raw value of a key in the setup file, read independently of `config`,
// so that a value can be told apart from a default the library filled in.
// `problem` is the errno value (or EPROTO for a file that is not a setup
// document) that kept the file from being read, 0 when it was read.
class SetupKeys {
public:
    explicit SetupKeys(const QELString& file) : setup(file), problem(readProblem(file, setup)) { }
    bool isReadable() const { return problem == 0; }
    // A file that exists but cannot be read may hold any value: the values
    // it could set are then not labelled defaults.
    bool mayHoldValues() const { return problem != 0 && problem != ENOENT; }
    bool has(const char* key) { return problem == 0 && !setup.getValue(QELString(key)).isEmpty(); }
    QELString reason() const;
    QELSetup setup;

private:
    int problem;
};

QELString SetupKeys::reason() const
{
    return problem == EPROTO ? QELToolTexts::texts().notSetupXml.text : QELString(std::strerror(problem));
}

Origin keyOrDefault(SetupKeys& keys, const char* key)
{
    if (keys.mayHoldValues())
        return FROM_UNREAD_FILE;
    return keys.has(key) ? FROM_SETUP_FILE : FROM_DEFAULT;
}

// Prints every accessor of the path family and the plain settings, one per
// line, with the origin of each value. Origins are decided before any
// accessor runs: getQELLogLevel publishes the setup file's level into the
// environment.
int showConfiguration(const Options& options, Listing& listing)
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
        toolError(PROGRAM, QELToolTexts::texts().setupFileUnreadableDefaults, file, keys.reason());

    // Loading the library already published the setup file's level as
    // QEL_LOG_LEVEL; a variable holding exactly that text came from the file.
    bool publishedLevel =
        logLevelFromEnvironment && !config.logLevel.isEmpty() && config.logLevel == std::getenv("QEL_LOG_LEVEL");
    Origin logOrigin =
        logLevelFromEnvironment && !publishedLevel ? FROM_ENVIRONMENT : keyOrDefault(keys, "Log/LogLevel");
    Origin tempOrigin = keys.mayHoldValues() ? FROM_UNREAD_FILE
        : keys.has("Directory/Temp")         ? FROM_SETUP_FILE
        : tmpFromEnvironment                 ? FROM_ENVIRONMENT
                                             : FROM_DEFAULT;
    Origin systemClassPathOrigin = keys.mayHoldValues() ? FROM_UNREAD_FILE
        : keys.has("Java/AppendSystemClassPath")        ? FROM_SETUP_FILE
        : classPathFromEnvironment                      ? FROM_ENVIRONMENT
                                                        : FROM_DEFAULT;
    Origin javaOrigin = keyOrDefault(keys, "Java/Directory");
    Origin logPathOrigin = keyOrDefault(keys, "Directory/Log");

    listing.row("setup file", file, keys.isReadable() ? "read" : "not readable");
    listing.row("getQELConfigurationPath", getQELConfigurationPath(), configurationOrigin);
    listing.row("getQELSetupXMLPath", getQELSetupXMLPath(), configurationOrigin);
    listing.row("getQELInstallationPath", getQELInstallationPath(), keyOrDefault(keys, "Directory/Home"));
    listing.row("getQELBinPath", getQELBinPath(), keyOrDefault(keys, "Directory/Bin"));
    listing.row("getQELLogPath", getQELLogPath(), logPathOrigin);
    listing.row("getQELServerLogPath", getQELServerLogPath(), logPathOrigin);
    listing.row("getQELTempPath", getQELTempPath(), tempOrigin);
    listing.row("getQELTextLiteralsPath", getQELTextLiteralsPath(), keyOrDefault(keys, "Directory/TextLiterals"));
    listing.row("getQELJavaPath", getQELJavaPath(), javaOrigin);
    listing.row("getQELJavaPolicyPath", getQELJavaPolicyPath(), javaOrigin);
    listing.row("getQELRepositoryDirectory", getQELRepositoryDirectory(), keyOrDefault(keys, "Repository/Directory"));
    listing.row("getQELJavaRunTime", getQELJavaRunTime(), keyOrDefault(keys, "Java/RunTime/Executable"));
    listing.row("getQELClassPath", getQELClassPath(false), keyOrDefault(keys, "Java/ClassPath"));
    listing.row("getQELSystemClassPath", getQELSystemClassPath(), systemClassPathOrigin);
    listing.row("getZUNAPath", getZUNAPath(), configurationOrigin);
    listing.row("getQELI18nPath", getQELI18nPath(), configurationOrigin);
    listing.row("getQELDatatypeMappingPath", getQELDatatypeMappingPath(), configurationOrigin);
    listing.row("getQELFunctionMappingPath", getQELFunctionMappingPath(), configurationOrigin);
    listing.row("getQELMappingSpecificationPath", getQELMappingSpecificationPath(), configurationOrigin);
    listing.row("getQELPavornTemplatePath", getQELPavornTemplatePath(), configurationOrigin);
    listing.row("getQELPavornsXMLPath", getQELPavornsXMLPath(), configurationOrigin);
    listing.row("getQELLogLevel", QELString(getQELLogLevel()), logOrigin);
    listing.row("getQELI18nLang", getQELI18nLang(), langFromEnvironment ? FROM_ENVIRONMENT : FROM_DEFAULT);
    listing.row("getQELJvmPath", getQELJvmPath(), keyOrDefault(keys, "Java/VirtualMachinePath"));
    listing.row("getQELJavaLibraryPath", getQELJavaLibraryPath(), keyOrDefault(keys, "Java/LibraryPath"));
    listing.row("getQELJavaOptions", getQELJavaOptions(), keyOrDefault(keys, "Java/RunTime/Options"));
    listing.row("getQELRepositoryDSN", getQELRepositoryDSN(), keyOrDefault(keys, "Repository/Database/DataSourceName"));
    listing.row("getQELRepositoryDSNUser", getQELRepositoryDSNUser(),
                keyOrDefault(keys, "Repository/Database/LoginUser"));
    // The password is never echoed; only whether one is set.
    listing.row("getQELRepositoryDSNPassword", QELString(getQELRepositoryDSNPassword().isEmpty() ? "" : "********"),
                keyOrDefault(keys, "Repository/Database/LoginPassword"));
    listing.row("getQELServerParameters", getQELServerParameters(), keyOrDefault(keys, "Server/Parameters"));
    listing.row("getQELServerEncryption", getQELServerEncryption(), keyOrDefault(keys, "Server/Encryption"));
    listing.row("getQELClientParameters", getQELClientParameters(), keyOrDefault(keys, "Client/Parameters"));
    listing.row("getQELPavornXmlConversationDirectory", getQELPavornXmlConversationDirectory(),
                keyOrDefault(keys, "Pavorn/XmlConversationDirectory"));
    listing.close();
    return toolFinish(PROGRAM, 0);
}

QELString setupFileOf(const Options& options)
{
    return options.file ? QELString(options.file) : getQELSetupXMLPath();
}

// Reads a setup file for list/get/set/merge; says why and returns false
// when it cannot be read or is not a setup document.
bool readSetup(QELSetup& setup, const QELString& file)
{
    int problem = readProblem(file, setup);
    if (problem == EPROTO)
        toolError(PROGRAM, QELToolTexts::texts().setupFileUnreadable, file);
    else if (problem != 0)
        toolSystemError(PROGRAM, QELToolTexts::texts().cannotOpenCause, file, problem);
    return problem == 0;
}

// Says why `path` names no value of `setup` and returns false, or true.
bool checkLeaf(QELSetup& setup, const QELString& path, const QELString& file)
{
    if (setup.findNode(path) == nullptr) {
        toolError(PROGRAM, QELToolTexts::texts().noSuchElement, path, file);
        return false;
    }
    if (!isSetupLeaf(setup, path)) {
        toolError(PROGRAM, QELToolTexts::texts().notALeaf, path);
        return false;
    }
    return true;
}

int listValues(const Options& options)
{
    if (!options.words.empty())
        return toolUsage(PROGRAM, QELToolTexts::texts().qelconfigUsage);
    QELString file = setupFileOf(options);
    QELSetup setup(file);
    if (!readSetup(setup, file))
        return 1;
    Listing listing(options.json);
    for (const SetupLeaf& leaf : setupLeaves(setup))
        listing.row(leaf.path.chars(), leaf.value, nullptr);
    listing.close();
    return toolFinish(PROGRAM, 0);
}

int getValue(const Options& options)
{
    if (options.words.size() != 1)
        return toolUsage(PROGRAM, QELToolTexts::texts().qelconfigUsage);
    QELString file = setupFileOf(options);
    QELSetup setup(file);
    if (!readSetup(setup, file) || !checkLeaf(setup, options.words[0], file))
        return 1;
    std::printf("%s\n", setup.getValue(options.words[0]).chars());
    return toolFinish(PROGRAM, 0);
}

// The whole file, or an errno value.
int readBytes(const QELString& file, std::string& bytes)
{
    int fd = open(file.chars(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    char chunk[65536];
    ssize_t n;
    while ((n = read(fd, chunk, sizeof chunk)) != 0) {
        if (n < 0 && errno != EINTR) {
            int error = errno;
            close(fd);
            return error;
        }
        if (n > 0)
            bytes.append(chunk, static_cast<size_t>(n));
    }
    close(fd);
    return 0;
}

int writeBytes(const QELString& file, const std::string& bytes)
{
    FILE* out = std::fopen(file.chars(), "wb");
    if (out == nullptr)
        return errno;
    bool written = std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size();
    int error = written ? 0 : errno;
    if (std::fclose(out) != 0 && error == 0)
        error = errno;
    return error;
}

bool readsBack(const QELString& file, const std::vector<SetupChange>& changes)
{
    QELSetup written(file);
    if (!written.read())
        return false;
    for (const SetupChange& change : changes)
        if (written.getValue(change.path) != change.value.chars())
            return false;
    return true;
}

// Writes the changes into the file: spliced into its bytes where the text
// allows it, so that nothing else changes; otherwise through the document,
// which serialises the whole file anew.
int writeChanges(const QELString& file, QELSetup& setup, const std::string& original,
                 const std::vector<SetupChange>& changes)
{
    std::string spliced;
    bool splice = spliceSetupValues(original, changes, spliced);
    auto fill = [&](const QELString& temporary) {
        if (splice)
            return writeBytes(temporary, spliced);
        for (const SetupChange& change : changes)
            setup.setValue(change.path, change.value);
        setup.fileName = temporary;
        return setup.write() ? 0 : EIO;
    };
    auto verify = [&](const QELString& temporary) { return readsBack(temporary, changes); };
    int error = replaceSetupFile(file, fill, verify);
    if (error == EPROTO)
        toolError(PROGRAM, QELToolTexts::texts().notReadBack, file);
    else if (error != 0)
        toolSystemError(PROGRAM, QELToolTexts::texts().cannotWriteCause, file, error);
    return error == 0 ? 0 : 1;
}

// The read-modify-write cycle of set and merge, under the file's lock:
// `decide` reads the current document and says which values change (or
// reports a problem and returns false).
template <typename Decide> int editSetup(const QELString& file, Decide decide)
{
    SetupFileLock lock;
    QELString lockPath;
    int error = lock.acquire(file, lockPath);
    if (error != 0) {
        toolSystemError(PROGRAM, QELToolTexts::texts().cannotLock, lockPath, error);
        return 1;
    }
    std::string original;
    error = readBytes(file, original);
    if (error != 0) {
        toolSystemError(PROGRAM, QELToolTexts::texts().cannotOpenCause, file, error);
        return 1;
    }
    QELSetup setup(file);
    std::vector<SetupChange> changes;
    if (!readSetup(setup, file) || !decide(setup, changes))
        return 1;
    return changes.empty() ? 0 : writeChanges(file, setup, original, changes);
}

int setValue(const Options& options)
{
    if (options.words.size() != 2)
        return toolUsage(PROGRAM, QELToolTexts::texts().qelconfigUsage);
    QELString file = setupFileOf(options);
    return editSetup(file, [&](QELSetup& setup, std::vector<SetupChange>& changes) {
        if (!checkLeaf(setup, options.words[0], file))
            return false;
        changes.push_back(SetupChange{ options.words[0], options.words[1] });
        return true;
    });
}

// Copies every value of FROM whose element is, in both files, an element
// without child elements; an element with children is never overwritten.
int mergeFrom(const Options& options)
{
    if (options.words.size() != 1)
        return toolUsage(PROGRAM, QELToolTexts::texts().qelconfigUsage);
    QELString file = setupFileOf(options);
    const QELString& fromFile = options.words[0];
    QELSetup from(fromFile);
    if (!readSetup(from, fromFile))
        return 1;
    std::vector<SetupLeaf> leaves = setupLeaves(from);
    return editSetup(file, [&](QELSetup& setup, std::vector<SetupChange>& changes) {
        for (const SetupLeaf& leaf : leaves)
            if (isSetupLeaf(setup, leaf.path) && setup.getValue(leaf.path) != leaf.value.chars())
                changes.push_back(leaf);
        return true;
    });
}

int runCommand(Options& options)
{
    Listing listing(options.json);
    if (options.words.empty())
        return showConfiguration(options, listing);
    QELString command = options.words.front();
    options.words.erase(options.words.begin());
    // "set -- PATH VALUE" as other tools take it, although no option follows the command.
    if (!options.words.empty() && options.words.front() == "--")
        options.words.erase(options.words.begin());
    if (command == "list")
        return listValues(options);
    if (command == "get")
        return getValue(options);
    if (command == "set")
        return setValue(options);
    if (command == "merge")
        return mergeFrom(options);
    return toolUsage(PROGRAM, QELToolTexts::texts().unknownCommand, command);
}

} // namespace

int main(int argc, char** argv)
{
    static const char* const valued[] = { "--file", nullptr };
    static const char* const flags[] = { "--json", "--help", "--version", nullptr };
    ToolArguments args;
    QELString bad;
    // After the command word every word is an operand: values may start with "-".
    if (!args.parse(argc - 1, argv + 1, valued, flags, bad, true))
        return toolBadOption(PROGRAM, args, bad);
    if (args.has("--help")) {
        toolHelp(QELToolTexts::texts().qelconfigHelp);
        return toolFinish(PROGRAM, 0);
    }
    if (args.has("--version")) {
        toolVersion(PROGRAM);
        return toolFinish(PROGRAM, 0);
    }
    QELString file = args.value("--file");
    Options options = { args.has("--file") ? file.chars() : nullptr, args.has("--json"), args.words };
    return runCommand(options);
}
