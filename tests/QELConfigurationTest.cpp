// Tests of the configuration: the global `config` read from "QELSetup.xml"
// (at load time and on request), and the environment and path accessors.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <limits.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "QELConfiguration.h"
#include "QELLog.h"
#include "QELTestChild.h"

// --- The loader, as the tests want it ---
//
// This executable's dlopen and dlinfo take the place of the C library's for
// the whole process, libQELStd.so included, from load time on. They forward
// to the real ones, except that the library's origin can be replaced
// (fakeOrigin, or QEL_TEST_FAKE_ORIGIN in a child) and the library's own
// dlopen can be made to fail (failDlopen, or QEL_TEST_FAIL_DLOPEN).
static const char* fakeOrigin = nullptr;
static bool failDlopen = false;

extern "C" void* dlopen(const char* file, int mode) noexcept
{
    typedef void* (*DlopenFunction)(const char*, int);
    static DlopenFunction real = reinterpret_cast<DlopenFunction>(dlsym(RTLD_NEXT, "dlopen"));
    if ((failDlopen || getenv("QEL_TEST_FAIL_DLOPEN") != nullptr) && file != nullptr
        && strcmp(file, "libQELStd.so") == 0)
        return nullptr;
    return real(file, mode);
}

extern "C" int dlinfo(void* handle, int request, void* arg) noexcept
{
    typedef int (*DlinfoFunction)(void*, int, void*);
    static DlinfoFunction real = reinterpret_cast<DlinfoFunction>(dlsym(RTLD_NEXT, "dlinfo"));
    const char* origin = fakeOrigin != nullptr ? fakeOrigin : getenv("QEL_TEST_FAKE_ORIGIN");
    if (request == RTLD_DI_ORIGIN && origin != nullptr) {
        strcpy(static_cast<char*>(arg), origin);
        return 0;
    }
    return real(handle, request, arg);
}

namespace {

const char* const VARIABLES[] = {
    "QEL_CONFIGURATION_PATH", "QEL_LOG_LEVEL", "QEL_I18N_LANG", "QEL_TEXT_LITERALS_PATH", "TMP", "CLASSPATH",
};

std::string str(const QELString& s)
{
    return std::string(s.chars(), s.length());
}

std::string env(const char* name)
{
    const char* v = getenv(name);
    return v != nullptr ? v : "<unset>";
}

// The directory the loader reports for libQELStd.so in the build tree.
std::string libraryDirectory()
{
    char resolved[PATH_MAX];
    if (realpath(QEL_TEST_BIN_DIR, resolved) == nullptr)
        return QEL_TEST_BIN_DIR;
    return resolved;
}

std::string parentOf(const std::string& dir)
{
    std::string d = dir;
    while (!d.empty() && d.back() == '/')
        d.pop_back();
    return d.substr(0, d.rfind('/') + 1);
}

std::string makeTempDirectory()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "qelconf-XXXXXX").string();
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) == nullptr)
        return std::string();
    return buffer.data();
}

void writeFile(const std::string& path, const std::string& content)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream out(path, std::ios::binary);
    out << content;
}

std::string setupXml(const std::string& body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Setup>" + body + "</Setup>\n";
}

// Every field of `config` but the cached configuration path, in order.
std::vector<std::string> settingFields(const QELConfigurationData& c)
{
    return {
        str(c.homeDirectory),         str(c.binDirectory),          str(c.logDirectory),
        str(c.tempDirectory),         str(c.textLiteralsDirectory), str(c.javaDirectory),
        str(c.javaClassPath),         str(c.appendSystemClassPath), str(c.virtualMachinePath),
        str(c.javaLibraryPath),       str(c.javaRunTimeExecutable), str(c.javaRunTimeOptions),
        str(c.serverParameters),      str(c.serverEncryption),      str(c.clientParameters),
        str(c.repositoryDirectory),   str(c.repositoryDataSourceName), str(c.repositoryLoginUser),
        str(c.repositoryLoginPassword), str(c.logLevel),            str(c.xmlConversationDirectory),
    };
}

// --- Running this test program again as a child ---
//
// Tests whose outcome depends on the environment at load time run in a
// child: this executable again, with the environment changed as given
// (a null value unsets the variable), running one test of the suite
// DISABLED_InChild, which is skipped in an ordinary run.
struct Child : ChildRun {
    bool passed() const
    {
        return WIFEXITED(status) && WEXITSTATUS(status) == 0 && output.find("[  PASSED  ] 1 test") != std::string::npos;
    }
};

Child runChild(const char* test, const std::vector<EnvironmentChange>& changes)
{
    std::string self = SelfPath();
    if (self.empty())
        return { { -1, "cannot find this executable" } };
    return { RunChild(self, { "test_QELConfiguration", std::string("--gtest_filter=DISABLED_InChild.") + test,
                              "--gtest_also_run_disabled_tests" },
                      changes) };
}

// Saves `config` and the environment the configuration reads, and puts
// them back after each test; gives each test a temporary directory.
class QELConfigurationTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        saved = new QELConfigurationData(config);
        for (const char* name : VARIABLES) {
            const char* v = getenv(name);
            savedEnvironment.push_back(std::make_pair(v != nullptr, v != nullptr ? std::string(v) : std::string()));
        }
        dir = makeTempDirectory();
        ASSERT_FALSE(dir.empty());
        fakeOrigin = nullptr;
        failDlopen = false;
    }
    void TearDown() override
    {
        fakeOrigin = nullptr;
        failDlopen = false;
        config = *saved;
        delete saved;
        for (size_t i = 0; i < savedEnvironment.size(); i++) {
            if (savedEnvironment[i].first)
                setenv(VARIABLES[i], savedEnvironment[i].second.c_str(), 1);
            else
                unsetenv(VARIABLES[i]);
        }
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }

    // Writes a setup file with `body` inside its root; returns its path.
    std::string writeSetup(const std::string& body, const std::string& name = "QELSetup.xml")
    {
        std::string path = dir + "/" + name;
        writeFile(path, setupXml(body));
        return path;
    }

    bool read(const std::string& path) { return config.readXMLFile(QELString(path.c_str())); }

    QELConfigurationData* saved = nullptr;
    std::vector<std::pair<bool, std::string>> savedEnvironment;
    std::string dir;
};

// --- readXMLFile ---

TEST_F(QELConfigurationTest, HomeGetsASlashAppendedWhateverItEndsWith)
{
    struct Row {
        const char* home;
        const char* expected;
    };
    const Row rows[] = {
        { "/opt/q", "/opt/q/" },
        { "/opt/q/", "/opt/q//" }, // deliberate: the doubled separator is kept
        { " /opt/q ", " /opt/q /" },
        { "relative", "relative/" },
    };
    for (const Row& row : rows) {
        ASSERT_TRUE(read(writeSetup(std::string("<Directory><Home>") + row.home + "</Home></Directory>")));
        EXPECT_EQ(str(config.homeDirectory), row.expected);
        EXPECT_EQ(str(getQELInstallationPath()), row.expected);
    }
}

TEST_F(QELConfigurationTest, EmptyOrAbsentHomeIsTheParentOfTheLibraryDirectory)
{
    struct Row {
        const char* origin;
        const char* body;
        const char* expected;
    };
    const Row rows[] = {
        { "/inst/bin", "<Directory><Home></Home></Directory>", "/inst/" },
        { "/inst/bin", "<Directory><Bin>/b</Bin></Directory>", "/inst/" },
        { "/inst/bin//", "<Directory><Home></Home></Directory>", "/inst/" },
        { "/inst/bin/", "", "/inst/" },
        { "/a/b/c/bin", "<Directory><Home/></Directory>", "/a/b/c/" },
        { "/bin", "", "/" },
        { "/", "", "/" },
    };
    for (const Row& row : rows) {
        fakeOrigin = row.origin;
        ASSERT_TRUE(read(writeSetup(row.body)));
        EXPECT_EQ(str(config.homeDirectory), row.expected) << row.origin << " " << row.body;
    }
    // In the build tree the library lies in bin/ below the build directory.
    fakeOrigin = nullptr;
    ASSERT_TRUE(read(writeSetup("")));
    EXPECT_EQ(str(config.homeDirectory), parentOf(libraryDirectory()));
}

TEST_F(QELConfigurationTest, DirectoryKeysGetASlashOnlyWhenNonEmpty)
{
    ASSERT_TRUE(read(writeSetup(
        "<Directory><Home>/h</Home><Bin>/b</Bin><Log>/l/</Log><Temp>/t</Temp><TextLiterals>/x</TextLiterals></Directory>"
        "<Java><Directory>/j</Directory></Java>"
        "<Repository><Directory>/r</Directory></Repository>"
        "<Pavorn><XmlConversationDirectory>/p</XmlConversationDirectory></Pavorn>")));
    EXPECT_EQ(str(config.homeDirectory), "/h/");
    EXPECT_EQ(str(config.binDirectory), "/b/");
    EXPECT_EQ(str(config.logDirectory), "/l//");
    EXPECT_EQ(str(config.tempDirectory), "/t/");
    EXPECT_EQ(str(config.textLiteralsDirectory), "/x/");
    EXPECT_EQ(str(config.javaDirectory), "/j/");
    EXPECT_EQ(str(config.repositoryDirectory), "/r/");
    EXPECT_EQ(str(config.xmlConversationDirectory), "/p/");

    ASSERT_TRUE(read(writeSetup(
        "<Directory><Home>/h</Home><Bin></Bin><Log/><Temp></Temp><TextLiterals></TextLiterals></Directory>"
        "<Java><Directory></Directory></Java><Repository><Directory/></Repository>"
        "<Pavorn><XmlConversationDirectory></XmlConversationDirectory></Pavorn>")));
    EXPECT_EQ(str(config.binDirectory), "");
    EXPECT_EQ(str(config.logDirectory), "");
    EXPECT_EQ(str(config.tempDirectory), "");
    EXPECT_EQ(str(config.textLiteralsDirectory), "");
    EXPECT_EQ(str(config.javaDirectory), "");
    EXPECT_EQ(str(config.repositoryDirectory), "");
    EXPECT_EQ(str(config.xmlConversationDirectory), "");
}

TEST_F(QELConfigurationTest, OtherValuesAreStoredAsWritten)
{
    ASSERT_TRUE(read(writeSetup(
        "<Java><ClassPath> /a.jar:/b.jar </ClassPath><AppendSystemClassPath>False</AppendSystemClassPath>"
        "<VirtualMachinePath>/jvm/libjvm.so</VirtualMachinePath><LibraryPath>/l1:/l2</LibraryPath>"
        "<RunTime><Executable>/usr/bin/java</Executable><Options>-Xmx1g\n  -Da=b</Options></RunTime></Java>"
        "<Server><Parameters> -port 1 </Parameters><Encryption>AES</Encryption></Server>"
        "<Client><Parameters>-host h</Parameters></Client>"
        "<Repository><Database><DataSourceName>DSN</DataSourceName><LoginUser>u</LoginUser>"
        "<LoginPassword>p &amp; w</LoginPassword></Database></Repository>"
        "<Log><LogLevel> 3 </LogLevel></Log>")));
    EXPECT_EQ(str(config.javaClassPath), " /a.jar:/b.jar ");
    EXPECT_EQ(str(config.appendSystemClassPath), "False");
    EXPECT_EQ(str(config.virtualMachinePath), "/jvm/libjvm.so");
    EXPECT_EQ(str(config.javaLibraryPath), "/l1:/l2");
    EXPECT_EQ(str(config.javaRunTimeExecutable), "/usr/bin/java");
    EXPECT_EQ(str(config.javaRunTimeOptions), "-Xmx1g\n  -Da=b");
    EXPECT_EQ(str(config.serverParameters), " -port 1 ");
    EXPECT_EQ(str(config.serverEncryption), "AES");
    EXPECT_EQ(str(config.clientParameters), "-host h");
    EXPECT_EQ(str(config.repositoryDataSourceName), "DSN");
    EXPECT_EQ(str(config.repositoryLoginUser), "u");
    EXPECT_EQ(str(config.repositoryLoginPassword), "p & w");
    EXPECT_EQ(str(config.logLevel), " 3 "); // both blanks kept
}

TEST_F(QELConfigurationTest, MissingFileChangesOnlyBinAndHome)
{
    fakeOrigin = "/inst/bin";
    config.logDirectory = QELString("/kept/log/");
    config.javaClassPath = QELString("kept.jar");
    config.logLevel = QELString("4");
    std::vector<std::string> before = settingFields(config);
    EXPECT_FALSE(read(dir + "/absent/QELSetup.xml"));
    std::vector<std::string> after = settingFields(config);
    EXPECT_EQ(after[0], "/inst/");     // home
    EXPECT_EQ(after[1], "/inst/bin/"); // bin
    for (size_t i = 2; i < after.size(); i++)
        EXPECT_EQ(after[i], before[i]) << i;

    fakeOrigin = "/inst/bin//";
    EXPECT_FALSE(read(dir + "/absent/QELSetup.xml"));
    EXPECT_EQ(str(config.binDirectory), "/inst/bin///");
    EXPECT_EQ(str(config.homeDirectory), "/inst/");
}

TEST_F(QELConfigurationTest, UnknownLibraryDirectoryMakesBinAndHomeTheRoot)
{
    failDlopen = true;
    EXPECT_FALSE(read(dir + "/absent/QELSetup.xml"));
    EXPECT_EQ(str(config.binDirectory), "/");
    EXPECT_EQ(str(config.homeDirectory), "/");
    // A file without Home: the home is the root as well.
    ASSERT_TRUE(read(writeSetup("")));
    EXPECT_EQ(str(config.homeDirectory), "/");
}

TEST_F(QELConfigurationTest, BadFilesAreReadAsMissing)
{
    fakeOrigin = "/inst/bin";
    const char* contents[] = {
        "",
        "<Setup><Directory><Home>/opt/q</Home>",
        "not xml at all",
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><Setup><Directory><Home>caf\xe9</Home></Directory></Setup>",
        "<?xml version=\"1.0\" encoding=\"NO-SUCH-ENCODING\"?><Setup/>",
    };
    for (const char* content : contents) {
        std::string path = dir + "/bad.xml";
        writeFile(path, content);
        config.logLevel = QELString("4");
        EXPECT_FALSE(read(path)) << content;
        EXPECT_EQ(str(config.homeDirectory), "/inst/") << content;
        EXPECT_EQ(str(config.binDirectory), "/inst/bin/") << content;
        EXPECT_EQ(str(config.logLevel), "4") << content;
    }
    // A directory in the file's place.
    EXPECT_FALSE(read(dir));
}

TEST_F(QELConfigurationTest, RootNotNamedSetupGivesEmptyFields)
{
    fakeOrigin = "/inst/bin";
    std::string path = dir + "/QELSetup.xml";
    writeFile(path, "<Config><Directory><Home>/h</Home><Bin>/b</Bin></Directory><Log><LogLevel>2</LogLevel></Log></Config>");
    config.logLevel = QELString("4");
    EXPECT_TRUE(read(path));
    std::vector<std::string> fields = settingFields(config);
    EXPECT_EQ(fields[0], "/inst/");
    for (size_t i = 1; i < fields.size(); i++)
        EXPECT_EQ(fields[i], "") << i;
}

TEST_F(QELConfigurationTest, TextLiteralsDirectoryIsPublished)
{
    unsetenv("QEL_TEXT_LITERALS_PATH");
    ASSERT_TRUE(read(writeSetup("<Directory><TextLiterals></TextLiterals></Directory>")));
    EXPECT_EQ(env("QEL_TEXT_LITERALS_PATH"), "<unset>"); // empty: nothing published
    ASSERT_TRUE(read(writeSetup("<Directory><TextLiterals>/t</TextLiterals></Directory>")));
    EXPECT_EQ(str(config.textLiteralsDirectory), "/t/");
    EXPECT_EQ(env("QEL_TEXT_LITERALS_PATH"), "/t/");
    ASSERT_TRUE(read(writeSetup("<Directory><TextLiterals>/u/</TextLiterals></Directory>")));
    EXPECT_EQ(env("QEL_TEXT_LITERALS_PATH"), "/u//");
    // A file without the key leaves the environment as it was.
    ASSERT_TRUE(read(writeSetup("")));
    EXPECT_EQ(str(config.textLiteralsDirectory), "");
    EXPECT_EQ(env("QEL_TEXT_LITERALS_PATH"), "/u//");
}

TEST_F(QELConfigurationTest, RereadOverwritesEveryKeyButKeepsTheCachedPath)
{
    config.configurationPath = QELString("/cached/conf/");
    ASSERT_TRUE(read(writeSetup("<Directory><Log>/l</Log></Directory><Server><Parameters>p</Parameters></Server>")));
    EXPECT_EQ(str(config.logDirectory), "/l/");
    EXPECT_EQ(str(config.serverParameters), "p");
    ASSERT_TRUE(read(writeSetup("<Client><Parameters>c</Parameters></Client>")));
    EXPECT_EQ(str(config.logDirectory), "");
    EXPECT_EQ(str(config.serverParameters), "");
    EXPECT_EQ(str(config.clientParameters), "c");
    EXPECT_EQ(str(config.configurationPath), "/cached/conf/");
}

// --- Setters ---

TEST_F(QELConfigurationTest, SetConfigurationPathRereadsFromTheNewDirectory)
{
    writeSetup("<Directory><Home>/new</Home></Directory><Server><Parameters>s</Parameters></Server>");
    EXPECT_TRUE(setQELConfigurationPath(QELString(dir.c_str())));
    EXPECT_EQ(env("QEL_CONFIGURATION_PATH"), dir);
    EXPECT_EQ(str(getQELConfigurationPath()), dir + "/");
    EXPECT_EQ(str(getQELSetupXMLPath()), dir + "/QELSetup.xml");
    EXPECT_EQ(str(config.homeDirectory), "/new/");
    EXPECT_EQ(str(getQELServerParameters()), "s");
}

TEST_F(QELConfigurationTest, SetConfigurationPathToAMissingDirectoryStillSucceeds)
{
    fakeOrigin = "/inst/bin";
    config.serverParameters = QELString("kept");
    std::string missing = dir + "/missing";
    EXPECT_TRUE(setQELConfigurationPath(QELString(missing.c_str())));
    EXPECT_EQ(env("QEL_CONFIGURATION_PATH"), missing);
    EXPECT_EQ(str(config.homeDirectory), "/inst/");
    EXPECT_EQ(str(config.binDirectory), "/inst/bin/");
    EXPECT_EQ(str(config.serverParameters), "kept");
}

TEST_F(QELConfigurationTest, SetI18nLangSetsTheVariable)
{
    unsetenv("QEL_I18N_LANG");
    EXPECT_EQ(str(getQELI18nLang()), "");
    EXPECT_TRUE(setQELI18nLang(QELString("de_DE")));
    EXPECT_EQ(env("QEL_I18N_LANG"), "de_DE");
    EXPECT_EQ(str(getQELI18nLang()), "de_DE");
    EXPECT_TRUE(setQELI18nLang(QELString("")));
    EXPECT_EQ(env("QEL_I18N_LANG"), "");
    setenv("QEL_I18N_LANG", "fr", 1);
    EXPECT_EQ(str(getQELI18nLang()), "fr");
}

TEST_F(QELConfigurationTest, PublishedTextOutlivesItsSource)
{
    {
        QELString lang("pt_BR");
        setQELI18nLang(lang);
    }
    // Reuse the freed memory, then look again.
    std::vector<std::string> noise;
    for (int i = 0; i < 100; i++)
        noise.push_back(std::string(16, 'z'));
    QELString overwrite("xxxxx");
    EXPECT_EQ(env("QEL_I18N_LANG"), "pt_BR");
    // Many settings in a row keep only the last one.
    for (int i = 0; i < 1000; i++)
        setQELI18nLang(QELString(i));
    EXPECT_EQ(env("QEL_I18N_LANG"), "999");
}

TEST_F(QELConfigurationTest, SetClassPathStoresAndNullChangesNothing)
{
    config.javaClassPath = QELString("/old.jar");
    setQELClassPath(nullptr);
    EXPECT_EQ(str(getQELClassPath(false)), "/old.jar");
    setQELClassPath("/a.jar:/b.jar");
    EXPECT_EQ(str(config.javaClassPath), "/a.jar:/b.jar");
    EXPECT_EQ(str(getQELClassPath(false)), "/a.jar:/b.jar");
    EXPECT_EQ(str(getQELClassPath(true)), "/a.jar:/b.jar");
}

// --- Core getters ---

TEST_F(QELConfigurationTest, ConfigurationPathComesFromTheEnvironmentWithASlash)
{
    struct Row {
        const char* value;
        const char* expected;
    };
    const Row rows[] = {
        { "/etc/q", "/etc/q/" },
        { "/etc/q/", "/etc/q//" },
        { "", "/" },
        { "rel", "rel/" },
    };
    config.configurationPath = QELString("/cached/");
    for (const Row& row : rows) {
        setenv("QEL_CONFIGURATION_PATH", row.value, 1);
        EXPECT_EQ(str(getQELConfigurationPath()), row.expected) << row.value;
    }
    EXPECT_EQ(str(config.configurationPath), "/cached/"); // bypassed, not changed
}

TEST_F(QELConfigurationTest, ConfigurationPathDefaultsToTheInstallationsConfAndIsCached)
{
    unsetenv("QEL_CONFIGURATION_PATH");
    config.configurationPath = QELString();
    fakeOrigin = "/inst/bin";
    EXPECT_EQ(str(getQELConfigurationPath()), "/inst/conf/");
    EXPECT_EQ(str(config.configurationPath), "/inst/conf/");
    fakeOrigin = "/elsewhere/bin";
    EXPECT_EQ(str(getQELConfigurationPath()), "/inst/conf/"); // computed once
    config.configurationPath = QELString();
    fakeOrigin = "/elsewhere/bin//";
    EXPECT_EQ(str(getQELConfigurationPath()), "/elsewhere/conf/");
    config.configurationPath = QELString();
    fakeOrigin = nullptr;
    EXPECT_EQ(str(getQELConfigurationPath()), parentOf(libraryDirectory()) + "conf/");
    config.configurationPath = QELString();
    failDlopen = true;
    EXPECT_EQ(str(getQELConfigurationPath()), "/conf/");
}

TEST_F(QELConfigurationTest, LogLevelFromTheEnvironment)
{
    struct Row {
        const char* value;
        int level;
    };
    const Row rows[] = {
        { "6", 6 }, { "1", 1 }, { "3", 3 },
        { "7", 5 }, { "0", 5 }, { "-1", 5 }, { "abc", 5 }, { "", 5 },   // outside 1 to 6: 5
        { " 2", 2 }, { "+4", 4 }, { "4x", 4 }, { "2 ", 2 },              // read as atoi does
        { "x4", 5 }, { "99999999999999999999", 5 }, { "-4294967295", 5 },
    };
    config.logLevel = QELString("2");
    for (const Row& row : rows) {
        setenv("QEL_LOG_LEVEL", row.value, 1);
        EXPECT_EQ(getQELLogLevel(), row.level) << "[" << row.value << "]";
        EXPECT_EQ(env("QEL_LOG_LEVEL"), row.value); // the environment is not rewritten
    }
}

TEST_F(QELConfigurationTest, LogLevelFromTheSetupFileIsPublished)
{
    struct Row {
        const char* value;
        int level;
    };
    const Row rows[] = {
        { "2", 2 }, { " 3 ", 3 }, { "6", 6 }, { "0", 5 }, { "9", 5 }, { "high", 5 },
    };
    for (const Row& row : rows) {
        unsetenv("QEL_LOG_LEVEL");
        config.logLevel = QELString(row.value);
        EXPECT_EQ(getQELLogLevel(), row.level) << "[" << row.value << "]";
        EXPECT_EQ(env("QEL_LOG_LEVEL"), row.value);
        // From now on the environment answers.
        config.logLevel = QELString("1");
        EXPECT_EQ(getQELLogLevel(), row.level);
    }
    unsetenv("QEL_LOG_LEVEL");
    config.logLevel = QELString();
    EXPECT_EQ(getQELLogLevel(), 5);
    EXPECT_EQ(env("QEL_LOG_LEVEL"), "<unset>");
}

TEST_F(QELConfigurationTest, InstallationPathIsTheHomeAsItStands)
{
    config.homeDirectory = QELString("/h//");
    EXPECT_EQ(str(getQELInstallationPath()), "/h//");
    config.homeDirectory = QELString();
    EXPECT_EQ(str(getQELInstallationPath()), "");
}

// --- The path family ---

TEST_F(QELConfigurationTest, PathFamilyTakesTheSetupValueElseTheDefault)
{
    typedef QELString (*Getter)();
    struct Row {
        const char* name;
        QELString QELConfigurationData::*field;
        Getter getter;
        const char* configured;
        const char* fallback;
    };
    const Row rows[] = {
        { "bin", &QELConfigurationData::binDirectory, getQELBinPath, "/b/", "/h/bin/" },
        { "log", &QELConfigurationData::logDirectory, getQELLogPath, "/l/", "/h/log/" },
        { "textLiterals", &QELConfigurationData::textLiteralsDirectory, getQELTextLiteralsPath, "/x/",
          "/h/conf/QELI18n/Localization/" },
        { "java", &QELConfigurationData::javaDirectory, getQELJavaPath, "/j/", "/h/java/" },
        { "repository", &QELConfigurationData::repositoryDirectory, getQELRepositoryDirectory, "/r/",
          "/h/Repository/" },
        { "runTime", &QELConfigurationData::javaRunTimeExecutable, getQELJavaRunTime, "/usr/bin/java", "java" },
    };
    config.homeDirectory = QELString("/h/");
    for (const Row& row : rows) {
        config.*row.field = QELString(row.configured);
        EXPECT_EQ(str(row.getter()), row.configured) << row.name;
        config.*row.field = QELString();
        EXPECT_EQ(str(row.getter()), row.fallback) << row.name;
    }
}

TEST_F(QELConfigurationTest, TempPathTakesTheSetupValueThenTmpThenTheHome)
{
    config.homeDirectory = QELString("/h/");
    config.tempDirectory = QELString("/t/");
    setenv("TMP", "/var/tmp", 1);
    EXPECT_EQ(str(getQELTempPath()), "/t/");
    config.tempDirectory = QELString();
    EXPECT_EQ(str(getQELTempPath()), "/var/tmp/");
    setenv("TMP", "/var/tmp/", 1);
    EXPECT_EQ(str(getQELTempPath()), "/var/tmp//");
    unsetenv("TMP");
    EXPECT_EQ(str(getQELTempPath()), "/h/temp/");
}

TEST_F(QELConfigurationTest, FilesBelowTheJavaAndLogDirectories)
{
    config.homeDirectory = QELString("/h/");
    config.javaDirectory = QELString();
    config.logDirectory = QELString();
    EXPECT_EQ(str(getQELJavaPolicyPath()), "/h/java/java.policy");
    EXPECT_EQ(str(getQELServerLogPath()), "/h/log/QELServer.log");
    config.javaDirectory = QELString("/j/");
    config.logDirectory = QELString("/l/");
    EXPECT_EQ(str(getQELJavaPolicyPath()), "/j/java.policy");
    EXPECT_EQ(str(getQELServerLogPath()), "/l/QELServer.log");
}

TEST_F(QELConfigurationTest, PathsBelowTheConfigurationDirectory)
{
    typedef QELString (*Getter)();
    struct Row {
        Getter getter;
        const char* expected;
    };
    const Row rows[] = {
        { getZUNAPath, "/c/ZUNA/" },
        { getQELI18nPath, "/c/QELI18n/" },
        { getQELDatatypeMappingPath, "/c/QELDataTypeMapping/" },
        { getQELFunctionMappingPath, "/c/QELFunctionMapping/" },
        { getQELMappingSpecificationPath, "/c/QELMappingSpecification/" },
        { getQELPavornTemplatePath, "/c/QELPavornTemplate/" },
        { getQELPavornsXMLPath, "/c/QELPavorns.xml" },
        { getQELSetupXMLPath, "/c/QELSetup.xml" },
    };
    setenv("QEL_CONFIGURATION_PATH", "/c", 1);
    for (const Row& row : rows)
        EXPECT_EQ(str(row.getter()), row.expected);
    unsetenv("QEL_CONFIGURATION_PATH");
    config.configurationPath = QELString("/cached/");
    EXPECT_EQ(str(getQELPavornsXMLPath()), "/cached/QELPavorns.xml");
}

TEST_F(QELConfigurationTest, PlainSettingsAreCopiesWithoutDefault)
{
    typedef QELString (*Getter)();
    struct Row {
        QELString QELConfigurationData::*field;
        Getter getter;
    };
    const Row rows[] = {
        { &QELConfigurationData::virtualMachinePath, getQELJvmPath },
        { &QELConfigurationData::javaLibraryPath, getQELJavaLibraryPath },
        { &QELConfigurationData::javaRunTimeOptions, getQELJavaOptions },
        { &QELConfigurationData::repositoryDataSourceName, getQELRepositoryDSN },
        { &QELConfigurationData::repositoryLoginUser, getQELRepositoryDSNUser },
        { &QELConfigurationData::repositoryLoginPassword, getQELRepositoryDSNPassword },
        { &QELConfigurationData::serverParameters, getQELServerParameters },
        { &QELConfigurationData::serverEncryption, getQELServerEncryption },
        { &QELConfigurationData::clientParameters, getQELClientParameters },
        { &QELConfigurationData::xmlConversationDirectory, getQELPavornXmlConversationDirectory },
    };
    int i = 0;
    for (const Row& row : rows) {
        std::string v = " value " + std::to_string(i++) + " ";
        config.*row.field = QELString(v.c_str());
        QELString got = row.getter();
        EXPECT_EQ(str(got), v);
        EXPECT_NE(got.p, (config.*row.field).p); // a copy
        config.*row.field = QELString();
        EXPECT_EQ(str(row.getter()), "");
    }
}

// --- Class paths ---

std::vector<std::string> split(const std::string& s, char c)
{
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t i = 0; i <= s.size(); i++) {
        if (i == s.size() || s[i] == c) {
            parts.push_back(s.substr(start, i - start));
            start = i + 1;
        }
    }
    return parts;
}

TEST_F(QELConfigurationTest, DefaultClassPathListsEightJarsInTheJavaDirectory)
{
    config.javaClassPath = QELString();
    config.javaDirectory = QELString("/j/");
    std::string plain = str(getQELClassPath(false));
    std::vector<std::string> entries = split(plain, ':');
    ASSERT_EQ(entries.size(), 8u) << plain;
    const char* jars[] = {
        "QELCore.jar", "QELI18n.jar", "QELRepository.jar", "QELServer.jar",
        "QELClient.jar", "QELPavorn.jar", "xercesImpl.jar", "xml-apis.jar",
    };
    for (size_t i = 0; i < 8; i++)
        EXPECT_EQ(entries[i], std::string("/j/") + jars[i]);
    EXPECT_EQ(plain.find('"'), std::string::npos);

    std::string quoted = str(getQELClassPath(true));
    std::vector<std::string> quotedEntries = split(quoted, ':');
    ASSERT_EQ(quotedEntries.size(), 8u) << quoted;
    for (size_t i = 0; i < 8; i++)
        EXPECT_EQ(quotedEntries[i], "\"" + entries[i] + "\"");

    // Without a Java directory the jars lie in the installation's java/.
    config.javaDirectory = QELString();
    config.homeDirectory = QELString("/h/");
    EXPECT_EQ(split(str(getQELClassPath(false)), ':')[0], "/h/java/QELCore.jar");
}

TEST_F(QELConfigurationTest, SystemClassPathIsLeftOutOnlyForFalse)
{
    struct Row {
        const char* append;
        bool leftOut;
    };
    const Row rows[] = {
        { "FALSE", true }, { "false", true }, { "False", true }, { "fAlSe", true },
        { "true", false }, { "", false }, { "no", false }, { "0", false }, { " false", false }, { "false ", false },
    };
    setenv("CLASSPATH", "/sys/a.jar:/sys/b.jar", 1);
    for (const Row& row : rows) {
        config.appendSystemClassPath = QELString(row.append);
        EXPECT_EQ(str(getQELSystemClassPath()), row.leftOut ? "" : "/sys/a.jar:/sys/b.jar") << "[" << row.append << "]";
    }
    unsetenv("CLASSPATH");
    config.appendSystemClassPath = QELString("true");
    EXPECT_EQ(str(getQELSystemClassPath()), "");
}

// --- At load time (in a child with its own environment) ---

TEST_F(QELConfigurationTest, LoadsTheTestConfigurationDirectory)
{
    std::string conf = std::string(QEL_TEST_DATA_DIR) + "/conf/";
    Child child = runChild("LoadsTheTestConfiguration",
                           { { "QEL_CONFIGURATION_PATH", conf.c_str() }, { "QEL_LOG_LEVEL", nullptr },
                             { "QEL_TEXT_LITERALS_PATH", nullptr }, { "QEL_I18N_LANG", nullptr },
                             { "TMP", nullptr }, { "CLASSPATH", "/sys/cp.jar" } });
    EXPECT_TRUE(child.passed()) << child.output;
}

TEST_F(QELConfigurationTest, LoadsWithoutASetupFile)
{
    Child child = runChild("LoadsWithoutASetupFile",
                           { { "QEL_CONFIGURATION_PATH", dir.c_str() }, { "QEL_TEST_FAKE_ORIGIN", "/inst/bin" },
                             { "QEL_LOG_LEVEL", nullptr }, { "QEL_TEXT_LITERALS_PATH", nullptr },
                             { "TMP", "/var/tmp" }, { "CLASSPATH", "/sys/cp.jar" } });
    EXPECT_TRUE(child.passed()) << child.output;
}

TEST_F(QELConfigurationTest, LoadsWithBadSetupFiles)
{
    const char* contents[] = {
        "",
        "   \n",
        "<?xml version=\"1.0\"?><Setup><Directory><Home>/opt/q</Home><Bin>/opt/q/b",
        "Directory/Home=/opt/q\n",
        "<Config><Directory><Home>/opt/q</Home></Directory><Log><LogLevel>2</LogLevel></Log></Config>",
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><Setup><Log><LogLevel>2\xff</LogLevel></Log></Setup>",
        "<?xml version=\"1.0\" encoding=\"X-NONE\"?><Setup><Log><LogLevel>2</LogLevel></Log></Setup>",
        "\xff\xfe<\0S\0",
    };
    for (const char* content : contents) {
        writeFile(dir + "/QELSetup.xml", content);
        Child child = runChild("LoadsWithABadSetupFile",
                               { { "QEL_CONFIGURATION_PATH", dir.c_str() }, { "QEL_TEST_FAKE_ORIGIN", "/inst/bin" },
                                 { "QEL_LOG_LEVEL", nullptr }, { "TMP", nullptr }, { "CLASSPATH", "/sys/cp.jar" } });
        EXPECT_TRUE(child.passed()) << content << "\n" << child.output;
    }
    // An unreadable setup path: a directory of that name.
    std::filesystem::remove(dir + "/QELSetup.xml");
    std::filesystem::create_directory(dir + "/QELSetup.xml");
    Child child = runChild("LoadsWithABadSetupFile",
                           { { "QEL_CONFIGURATION_PATH", dir.c_str() }, { "QEL_TEST_FAKE_ORIGIN", "/inst/bin" },
                             { "QEL_LOG_LEVEL", nullptr }, { "TMP", nullptr }, { "CLASSPATH", "/sys/cp.jar" } });
    EXPECT_TRUE(child.passed()) << child.output;
}

TEST_F(QELConfigurationTest, LoadsFromTheInstallationsConfDirectoryByDefault)
{
    std::string home = dir + "/inst";
    writeFile(home + "/conf/QELSetup.xml",
              setupXml("<Directory><TextLiterals>/lit</TextLiterals></Directory><Log><LogLevel>2</LogLevel></Log>"));
    std::string origin = home + "/bin";
    Child child = runChild("LoadsFromTheInstallationsConfDirectory",
                           { { "QEL_CONFIGURATION_PATH", nullptr }, { "QEL_TEST_FAKE_ORIGIN", origin.c_str() },
                             { "QEL_TEST_HOME", home.c_str() }, { "QEL_LOG_LEVEL", nullptr },
                             { "QEL_TEXT_LITERALS_PATH", nullptr } });
    EXPECT_TRUE(child.passed()) << child.output;
}

// The standard-error sink is built at load time after the configuration
// it takes its level from, whatever the order of the library's sources.
TEST_F(QELConfigurationTest, StandardErrorSinkTakesTheSetupFilesLevelAtLoadTime)
{
    writeFile(dir + "/QELSetup.xml", setupXml("<Log><LogLevel>2</LogLevel></Log>"));
    std::string conf = dir + "/";
    Child child = runChild("StandardErrorSinkHasTheSetupFilesLevel",
                           { { "QEL_CONFIGURATION_PATH", conf.c_str() }, { "QEL_LOG_LEVEL", nullptr } });
    EXPECT_TRUE(child.passed()) << child.output;
}

TEST_F(QELConfigurationTest, LoadsWhenTheLibraryCannotFindItself)
{
    Child child = runChild("LoadsWhenTheLibraryCannotFindItself",
                           { { "QEL_CONFIGURATION_PATH", nullptr }, { "QEL_TEST_FAIL_DLOPEN", "1" },
                             { "QEL_TEST_FAKE_ORIGIN", nullptr }, { "QEL_LOG_LEVEL", nullptr } });
    EXPECT_TRUE(child.passed()) << child.output;
}

TEST_F(QELConfigurationTest, ChildThatFailsIsReported)
{
    // The harness itself: a child whose test fails is not taken as passed.
    Child child = runChild("FailsOnPurpose", {});
    EXPECT_FALSE(child.passed()) << child.output;
    Child none = runChild("NoSuchTest", {});
    EXPECT_FALSE(none.passed()) << none.output;
}

} // namespace

// --- The children's side (run only through runChild) ---

namespace {

TEST(DISABLED_InChild, FailsOnPurpose)
{
    FAIL() << "a failing child";
}

TEST(DISABLED_InChild, LoadsTheTestConfiguration)
{
    std::string home = parentOf(libraryDirectory());
    std::string conf = std::string(QEL_TEST_DATA_DIR) + "/conf/";
    EXPECT_EQ(str(getQELConfigurationPath()), conf + "/");
    EXPECT_EQ(str(getQELSetupXMLPath()), conf + "/QELSetup.xml");
    EXPECT_EQ(str(config.configurationPath), ""); // the environment bypasses the cache
    // The file's values.
    EXPECT_EQ(str(config.homeDirectory), home);
    EXPECT_EQ(str(config.binDirectory), "");
    EXPECT_EQ(str(config.logDirectory), "/var/log/qeltest/");
    EXPECT_EQ(str(config.tempDirectory), "");
    EXPECT_EQ(str(config.textLiteralsDirectory), "");
    EXPECT_EQ(str(config.javaDirectory), "/opt/qeltest/java/");
    EXPECT_EQ(str(config.javaClassPath), "");
    EXPECT_EQ(str(config.appendSystemClassPath), "FALSE");
    EXPECT_EQ(str(config.repositoryDirectory), "/var/qeltest/Repository//");
    EXPECT_EQ(str(config.logLevel), "5");
    EXPECT_EQ(env("QEL_TEXT_LITERALS_PATH"), "<unset>");
    // The accessors.
    EXPECT_EQ(str(getQELInstallationPath()), home);
    EXPECT_EQ(str(getQELBinPath()), home + "bin/");
    EXPECT_EQ(str(getQELLogPath()), "/var/log/qeltest/");
    EXPECT_EQ(str(getQELServerLogPath()), "/var/log/qeltest/QELServer.log");
    EXPECT_EQ(str(getQELTempPath()), home + "temp/");
    EXPECT_EQ(str(getQELTextLiteralsPath()), home + "conf/QELI18n/Localization/");
    EXPECT_EQ(str(getQELJavaPath()), "/opt/qeltest/java/");
    EXPECT_EQ(str(getQELJavaPolicyPath()), "/opt/qeltest/java/java.policy");
    EXPECT_EQ(str(getQELRepositoryDirectory()), "/var/qeltest/Repository//");
    EXPECT_EQ(str(getQELJavaRunTime()), "/opt/qeltest/jre/bin/java");
    EXPECT_EQ(str(getQELClassPath(false)),
              "/opt/qeltest/java/QELCore.jar:/opt/qeltest/java/QELI18n.jar:/opt/qeltest/java/QELRepository.jar:"
              "/opt/qeltest/java/QELServer.jar:/opt/qeltest/java/QELClient.jar:/opt/qeltest/java/QELPavorn.jar:"
              "/opt/qeltest/java/xercesImpl.jar:/opt/qeltest/java/xml-apis.jar");
    EXPECT_EQ(str(getQELSystemClassPath()), ""); // FALSE, though CLASSPATH is set
    EXPECT_EQ(str(getQELJvmPath()), "/opt/qeltest/jre/lib/server/libjvm.so");
    EXPECT_EQ(str(getQELJavaLibraryPath()), "/opt/qeltest/lib:/opt/qeltest/java/lib");
    EXPECT_EQ(str(getQELJavaOptions()), "-Xmx256m -Dqel.test=1");
    EXPECT_EQ(str(getQELServerParameters()), " -port 4711 ");
    EXPECT_EQ(str(getQELServerEncryption()), "none");
    EXPECT_EQ(str(getQELClientParameters()), "-host localhost -port 4711");
    EXPECT_EQ(str(getQELRepositoryDSN()), "QELTEST");
    EXPECT_EQ(str(getQELRepositoryDSNUser()), "qeltest");
    EXPECT_EQ(str(getQELRepositoryDSNPassword()), "s3cret & more");
    EXPECT_EQ(str(getQELPavornXmlConversationDirectory()), "/var/qeltest/conversations/");
    EXPECT_EQ(str(getQELI18nLang()), "");
    // Published for child processes (perhaps already while loading, by
    // whatever asked for the level first).
    EXPECT_EQ(getQELLogLevel(), 5);
    EXPECT_EQ(env("QEL_LOG_LEVEL"), "5");
}

// Every field but home and bin is empty, and every accessor answers from
// its default.
void expectDefaultsBelow(const std::string& home, const std::string& bin)
{
    std::vector<std::string> fields = settingFields(config);
    EXPECT_EQ(fields[0], home);
    EXPECT_EQ(fields[1], bin);
    for (size_t i = 2; i < fields.size(); i++)
        EXPECT_EQ(fields[i], "") << i;
    EXPECT_EQ(str(getQELInstallationPath()), home);
    EXPECT_EQ(str(getQELBinPath()), bin.empty() ? home + "bin/" : bin);
    EXPECT_EQ(str(getQELLogPath()), home + "log/");
    EXPECT_EQ(str(getQELTextLiteralsPath()), home + "conf/QELI18n/Localization/");
    EXPECT_EQ(str(getQELJavaPath()), home + "java/");
    EXPECT_EQ(str(getQELRepositoryDirectory()), home + "Repository/");
    EXPECT_EQ(str(getQELJavaRunTime()), "java");
    EXPECT_EQ(split(str(getQELClassPath(true)), ':').size(), 8u);
    EXPECT_EQ(str(getQELSystemClassPath()), "/sys/cp.jar");
    EXPECT_EQ(str(getQELJvmPath()), "");
    EXPECT_EQ(str(getQELRepositoryDSNPassword()), "");
    EXPECT_EQ(env("QEL_TEXT_LITERALS_PATH"), "<unset>");
    EXPECT_EQ(getQELLogLevel(), 5);
    EXPECT_EQ(env("QEL_LOG_LEVEL"), "<unset>"); // nothing to publish
}

TEST(DISABLED_InChild, LoadsWithoutASetupFile)
{
    expectDefaultsBelow("/inst/", "/inst/bin/");
    EXPECT_EQ(str(getQELTempPath()), "/var/tmp/");
}

TEST(DISABLED_InChild, LoadsWithABadSetupFile)
{
    // Either the file is refused (bin set from the library's place) or it is
    // read without a Setup root (bin left empty): no value comes from it.
    if (config.binDirectory.isEmpty())
        expectDefaultsBelow("/inst/", "");
    else
        expectDefaultsBelow("/inst/", "/inst/bin/");
    EXPECT_EQ(str(getQELTempPath()), "/inst/temp/");
}

TEST(DISABLED_InChild, LoadsFromTheInstallationsConfDirectory)
{
    std::string home = getenv("QEL_TEST_HOME");
    EXPECT_EQ(str(config.configurationPath), home + "/conf/");
    EXPECT_EQ(str(getQELConfigurationPath()), home + "/conf/");
    EXPECT_EQ(str(config.homeDirectory), home + "/");
    EXPECT_EQ(str(config.textLiteralsDirectory), "/lit/");
    EXPECT_EQ(env("QEL_TEXT_LITERALS_PATH"), "/lit/"); // published while loading
    EXPECT_EQ(getQELLogLevel(), 2);
    EXPECT_EQ(env("QEL_LOG_LEVEL"), "2");
}

TEST(DISABLED_InChild, StandardErrorSinkHasTheSetupFilesLevel)
{
    EXPECT_EQ(QEL_STDERR.logLevel, 2);
    EXPECT_EQ(str(emptyString), "");
    EXPECT_EQ(str(QEL_LOG_EVENT_HEADER_START), "<!-- QELLog size=");
}

TEST(DISABLED_InChild, LoadsWhenTheLibraryCannotFindItself)
{
    EXPECT_EQ(str(getQELConfigurationPath()), "/conf/");
    EXPECT_EQ(str(config.binDirectory), "/");
    EXPECT_EQ(str(config.homeDirectory), "/");
    EXPECT_EQ(str(getQELLogPath()), "/log/");
    EXPECT_EQ(getQELLogLevel(), 5);
}

} // namespace
