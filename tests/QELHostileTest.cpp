// Attacks on the library as a hostile setup file, hostile text or an unlucky
// system would make them: external entities, entity bombs, FIFOs in a
// file's place, a full disk, invalid text, leaked descriptors, exhausted
// memory. Each attack runs where it cannot hang or kill the test process:
// in a forked child with an alarm when it could block or crash.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <unicode/ucnv.h>
#include <xercesc/dom/DOM.hpp>

#include "QELScratchDirectory.h"
#include "QELStd.h"

namespace {

std::string str(const QELString& s)
{
    return std::string(s.chars(), static_cast<size_t>(s.length()));
}

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// Runs `body` in a forked child that an alarm ends after `seconds`; the
// child's exit code is body's result. Returns the raw wait status.
int inChild(const std::function<int()>& body, unsigned seconds = 20)
{
    fflush(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        alarm(seconds);
        _exit(body()); // _exit: the parent's gtest state must not be flushed twice
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return status;
}

bool exitedWith(int status, int code)
{
    return WIFEXITED(status) && WEXITSTATUS(status) == code;
}

// A TCP socket on 127.0.0.1 that listens and never accepts: a client that
// connects is queued, and a client waiting for an answer waits forever.
class SilentServer {
public:
    SilentServer()
    {
        fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
        listen(fd, 16);
        socklen_t length = sizeof address;
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
        port = ntohs(address.sin_port);
    }
    ~SilentServer() { close(fd); }
    std::string url(const std::string& name) const
    {
        return "http://127.0.0.1:" + std::to_string(port) + "/" + name;
    }
    // Whether any client connected so far.
    bool contacted() const
    {
        int client = accept4(fd, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0)
            return false;
        close(client);
        return true;
    }

private:
    int fd;
    int port = 0;
};

// Each setup attack gets a fresh directory, removed afterwards.
class QELHostileSetupTest : public QELScratchDirectoryTest {
protected:
    QELHostileSetupTest() : QELScratchDirectoryTest("qelhostile") {}
    // The number of entries of the test directory.
    size_t entries() const
    {
        size_t n = 0;
        for (auto it = std::filesystem::directory_iterator(dir); it != std::filesystem::directory_iterator(); ++it)
            n++;
        return n;
    }
};

const char SAMPLE[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                      "<Setup><Directory><Home>/opt/q</Home></Directory></Setup>\n";

std::string value(QELSetup& setup, const char* key)
{
    return str(setup.getValue(QELString(key)));
}

// All text of the document's root element (a path from the document would
// meet the DOCTYPE, which is also named "Setup", first).
std::string rootText(QELSetup& setup)
{
    xercesc::DOMNode* root = setup.document->getDocumentElement();
    return root == nullptr ? "" : str(QELString(reinterpret_cast<const uchar*>(root->getTextContent())));
}

// A setup document whose DOCTYPE holds `declarations` and whose Home value
// is `home`.
std::string withDoctype(const std::string& declarations, const std::string& home)
{
    return "<?xml version=\"1.0\"?>\n<!DOCTYPE Setup [" + declarations + "]>\n"
           "<Setup><Directory><Home>" + home + "</Home></Directory></Setup>\n";
}

} // namespace

// --- External entities and DTDs: nothing outside the file is opened ---

TEST_F(QELHostileSetupTest, LocalFileEntityIsRefused)
{
    std::string secret = writeFile("secret.txt", "root:x:0:0:secret");
    for (const std::string& system : {std::string("file:///etc/passwd"), "file://" + secret, secret}) {
        SCOPED_TRACE(system);
        QELSetup setup(QELString(writeFile("QELSetup.xml", withDoctype(
            "<!ENTITY x SYSTEM \"" + system + "\">", "&x;")).c_str()));
        EXPECT_FALSE(setup.read());
        EXPECT_EQ(setup.document, nullptr);
        EXPECT_EQ(value(setup, "Directory/Home").find("root:"), std::string::npos);
    }
}

TEST_F(QELHostileSetupTest, NetworkEntityNeverConnects)
{
    SilentServer server;
    std::string file = writeFile("QELSetup.xml", withDoctype(
        "<!ENTITY x SYSTEM \"" + server.url("x") + "\">", "&x;"));
    int status = inChild([&] {
        QELSetup setup(QELString(file.c_str()));
        return setup.read() ? 1 : 0;
    });
    EXPECT_TRUE(exitedWith(status, 0)) << "status " << status;
    EXPECT_FALSE(server.contacted());
}

TEST_F(QELHostileSetupTest, ExternalParameterEntityNeverConnects)
{
    SilentServer server;
    std::string file = writeFile("QELSetup.xml", withDoctype(
        "<!ENTITY % p SYSTEM \"" + server.url("p.dtd") + "\"> %p;", "/opt/q"));
    int status = inChild([&] {
        QELSetup setup(QELString(file.c_str()));
        return setup.read() ? 1 : 0;
    });
    EXPECT_TRUE(exitedWith(status, 0)) << "status " << status;
    EXPECT_FALSE(server.contacted());
}

TEST_F(QELHostileSetupTest, ExternalDtdIsSkippedUnopened)
{
    // One DTD is a FIFO nobody writes (opening it would block), the other a
    // server that never answers; the document itself reads.
    SilentServer server;
    std::string fifo = path("setup.dtd");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& system : {fifo, server.url("setup.dtd")}) {
        SCOPED_TRACE(system);
        std::string file = writeFile("QELSetup.xml", "<?xml version=\"1.0\"?>\n<!DOCTYPE Setup SYSTEM \"" +
            system + "\">\n<Setup><Directory><Home>/opt/q</Home></Directory></Setup>\n");
        int status = inChild([&] {
            QELSetup setup(QELString(file.c_str()));
            return setup.read() && rootText(setup) == "/opt/q" ? 0 : 1;
        });
        EXPECT_TRUE(exitedWith(status, 0)) << "status " << status;
    }
    EXPECT_FALSE(server.contacted());
}

TEST_F(QELHostileSetupTest, SchemaLocationHintIsNotFetched)
{
    SilentServer server;
    std::string file = writeFile("QELSetup.xml",
        "<Setup xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:noNamespaceSchemaLocation=\"" +
        server.url("setup.xsd") + "\"><Directory><Home>/opt/q</Home></Directory></Setup>");
    int status = inChild([&] {
        QELSetup setup(QELString(file.c_str()));
        return setup.read() && value(setup, "Directory/Home") == "/opt/q" ? 0 : 1;
    });
    EXPECT_TRUE(exitedWith(status, 0)) << "status " << status;
    EXPECT_FALSE(server.contacted());
}

TEST_F(QELHostileSetupTest, InternalEntitiesStillExpand)
{
    QELSetup setup(QELString(writeFile("QELSetup.xml", withDoctype(
        "<!ENTITY base \"/opt\"><!ENTITY home \"&base;/q\">", "&home;")).c_str()));
    ASSERT_TRUE(setup.read());
    EXPECT_EQ(rootText(setup), "/opt/q");
}

TEST_F(QELHostileSetupTest, EntityBombBoundedBySizeIsRefused)
{
    // 20 KB expanding to 196 MB in fewer than ten thousand expansions: a
    // 19.6 KB entity, a second one of 100 references to it, 99 references to
    // that, once through general entities in the content, once through
    // parameter entities in a declaration. Refused long before the text is
    // built.
    const std::string big = std::string(19600, 'x');
    std::string hundred, ninetyNine, parameterHundred, parameterNinetyNine;
    for (int i = 0; i < 100; i++) {
        hundred += "&a;";
        parameterHundred += "%a;";
    }
    for (int i = 0; i < 99; i++) {
        ninetyNine += "&b;";
        parameterNinetyNine += "%b;";
    }
    const std::string bombs[] = {
        withDoctype("<!ENTITY a \"" + big + "\"><!ENTITY b \"" + hundred + "\">", ninetyNine),
        withDoctype("<!ENTITY % a \"" + big + "\"><!ENTITY % b \"" + parameterHundred + "\"><!ENTITY c \"" +
                    parameterNinetyNine + "\">", "&c;"),
    };
    for (const std::string& bomb : bombs) {
        std::string file = writeFile("QELSetup.xml", bomb);
        ASSERT_LT(bomb.size(), 21000u);
        int status = inChild([&] {
            QELSetup setup(QELString(file.c_str()));
            return setup.read() ? 1 : 0;
        });
        EXPECT_TRUE(exitedWith(status, 0)) << "status " << status;
    }
}

TEST_F(QELHostileSetupTest, EntitiesWithinTheSizeBoundStillExpand)
{
    // 100 references to a 10 KB entity: 1 MB of text from a 10 KB file.
    std::string home;
    for (int i = 0; i < 100; i++)
        home += "&a;";
    QELSetup setup(QELString(writeFile("QELSetup.xml", withDoctype(
        "<!ENTITY a \"" + std::string(10000, 'y') + "\">", home)).c_str()));
    ASSERT_TRUE(setup.read());
    EXPECT_EQ(rootText(setup), std::string(1000000, 'y'));
}

// --- Files that are no regular file ---

TEST_F(QELHostileSetupTest, FifoDeviceOrDirectoryIsRefusedAtOnce)
{
    std::string fifo = path("QELSetup.xml");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::string link = path("link.xml");
    ASSERT_EQ(symlink(fifo.c_str(), link.c_str()), 0);
    for (const std::string& file : {fifo, link, std::string("/dev/zero"), std::string("/dev/null"), dir}) {
        SCOPED_TRACE(file);
        int status = inChild([&] {
            QELSetup setup(QELString(file.c_str()));
            return setup.read() ? 1 : 0;
        }, 5);
        EXPECT_TRUE(exitedWith(status, 0)) << "status " << status;
    }
}

TEST_F(QELHostileSetupTest, LoadingTheLibraryWithAFifoSetupDoesNotBlock)
{
    ASSERT_EQ(mkfifo(path("QELSetup.xml").c_str(), 0600), 0);
    QELString out;
    int status = -1;
    std::string script = "QEL_CONFIGURATION_PATH='" + dir + "/' timeout 20 '" QEL_TEST_BIN_DIR "/qelchild' exit 7";
    QELString argv[] = {QELString("-c"), QELString(script.c_str())};
    ASSERT_TRUE(launchInSeparateProcess(QELString("/bin/sh"), 2, argv, &status, QELString(), &out, &out,
                                        nullptr, nullptr));
    EXPECT_TRUE(exitedWith(status, 7)) << "status " << status << " " << str(out);
}

// --- Writing: the old file survives every failure ---

TEST_F(QELHostileSetupTest, FullDiskLeavesTheOldFileByteForByte)
{
    std::string file = writeFile("QELSetup.xml", SAMPLE);
    const size_t before = entries();
    int status = inChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit = {4096, 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        QELSetup setup(QELString(file.c_str()));
        if (!setup.read() || !setup.setValue(QELString("Directory/Home"), QELString(std::string(100000, 'z').c_str())))
            return 2;
        return setup.write() ? 1 : 0;
    });
    EXPECT_TRUE(exitedWith(status, 0)) << "status " << status;
    EXPECT_EQ(readFile(file), SAMPLE);
    EXPECT_EQ(entries(), before) << "a temporary file was left behind";
}

TEST_F(QELHostileSetupTest, SymlinkedSetupKeepsItsLink)
{
    ASSERT_EQ(mkdir(path("real").c_str(), 0700), 0);
    std::string real = writeFile("real/QELSetup.xml", SAMPLE);
    std::string link = path("QELSetup.xml");
    ASSERT_EQ(symlink(real.c_str(), link.c_str()), 0);
    QELSetup setup(QELString(link.c_str()));
    ASSERT_TRUE(setup.read());
    ASSERT_TRUE(setup.setValue(QELString("Directory/Home"), QELString("/srv/q")));
    ASSERT_TRUE(setup.write());
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_NE(readFile(real).find("<Home>/srv/q</Home>"), std::string::npos);
    QELSetup again(QELString(link.c_str()));
    ASSERT_TRUE(again.read());
    EXPECT_EQ(value(again, "Directory/Home"), "/srv/q");
}

TEST_F(QELHostileSetupTest, LinkSwappedInAfterReadIsNotFollowed)
{
    std::string file = writeFile("QELSetup.xml", SAMPLE);
    std::string victim = writeFile("victim", "precious");
    QELSetup setup(QELString(file.c_str()));
    ASSERT_TRUE(setup.read());
    ASSERT_EQ(unlink(file.c_str()), 0);
    ASSERT_EQ(symlink(victim.c_str(), file.c_str()), 0);
    ASSERT_TRUE(setup.setValue(QELString("Directory/Home"), QELString("/srv/q")));
    EXPECT_TRUE(setup.write());
    EXPECT_EQ(readFile(victim), "precious");
    EXPECT_FALSE(std::filesystem::is_symlink(file));
}

TEST_F(QELHostileSetupTest, WriteKeepsThePermissionBits)
{
    std::string file = writeFile("QELSetup.xml", SAMPLE);
    ASSERT_EQ(chmod(file.c_str(), 0640), 0);
    QELSetup setup(QELString(file.c_str()));
    ASSERT_TRUE(setup.read());
    ASSERT_TRUE(setup.write());
    struct stat st;
    ASSERT_EQ(stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
}

// --- Conversions: invalid or unmappable text is counted, never substituted ---

TEST(QELHostileEncodingTest, InvalidOrUnmappableTextIsCountedAndReturnedUnchanged)
{
    QELEncodingConverter utf8{QELString("utf-8")}, latin{QELString("ISO-8859-1")};
    QELEncodingConverter ascii{QELString("US-ASCII")}, cesu{QELString("CESU-8")};
    struct Case {
        const char* what; QELEncodingConverter* from; QELEncodingConverter* to; std::string in;
    } cases[] = {
        { "invalid UTF-8", &utf8, &latin, "\xff\xfe" "a" },
        { "truncated UTF-8", &utf8, &latin, "ab\xc3" },
        { "UTF-8 form of a surrogate", &utf8, &latin, "\xed\xa0\x80" },
        { "unmappable euro sign into ISO-8859-1", &utf8, &latin, "1\xe2\x82\xac" },
        { "byte 0x80 read as ASCII", &ascii, &utf8, "\x80" },
        { "lone surrogate written as UTF-8", &cesu, &utf8, "x\xed\xa0\x80y" },
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        int conversions = 10, failures = 20;
        QELString r = convertEncoding(QELString(c.in.c_str()), c.from, c.to, conversions, failures);
        EXPECT_EQ(str(r), c.in);
        EXPECT_EQ(conversions, 11);
        EXPECT_EQ(failures, 21);
        // The converters were reset: valid text converts again.
        QELString ok = convertEncoding(QELString("\xc3\xa9"), &utf8, &latin, conversions, failures);
        EXPECT_EQ(str(ok), "\xe9");
        EXPECT_EQ(failures, 21);
    }
}

namespace {

// Leaves a freed small block full of 0xAB on top of the allocator's cache,
// so that an unterminated small block handed out next shows its garbage.
void dirtySmallBlocks()
{
    for (int round = 0; round < 4; round++) {
        void* block = malloc(16);
        memset(block, 0xAB, 16);
        free(block);
    }
}

} // namespace

TEST(QELHostileEncodingTest, UnconvertibleWideTextGivesATerminatedBlock)
{
    setlocale(LC_CTYPE, "C.UTF-8");
    dirtySmallBlocks();
    wchar_t* invalid = utf8ToUtf16("\xff\xfe");
    EXPECT_EQ(std::wstring(invalid), L"");
    freeUtf16(invalid);

    const wchar_t surrogate[] = {0xD800, 0};
    dirtySmallBlocks();
    char* narrow = utf16ToUtf8(surrogate);
    EXPECT_STREQ(narrow, "");
    free(narrow);

    // A program that never set a locale counts non-ASCII text as invalid.
    setlocale(LC_CTYPE, "C");
    dirtySmallBlocks();
    wchar_t* unset = utf8ToUtf16("caf\xc3\xa9");
    EXPECT_LE(std::wstring(unset).size(), 4u);
    freeUtf16(unset);
    setlocale(LC_CTYPE, "C");
}

// --- Descriptors: nothing the library opens reaches a child ---

namespace {

// The descriptors of this process that a child inherits (open and not
// close-on-exec), one per line: the caller's own, 0, 1 and 2 among them.
std::string inheritable()
{
    std::string text;
    for (int fd = 0; fd < 1024; fd++) {
        int flags = fcntl(fd, F_GETFD);
        if (flags != -1 && (flags & FD_CLOEXEC) == 0)
            text += std::to_string(fd) + "\n";
    }
    return text;
}

} // namespace

TEST(QELHostileDescriptorTest, ChildrenSeeOnlyTheStandardDescriptors)
{
    // The caller's own descriptors are the caller's business: one left open
    // here on purpose reaches the child, and so do those this test inherited.
    int own = dup(2);
    ASSERT_GE(own, 0);
    const std::string expected = inheritable();
    std::string dir = std::filesystem::temp_directory_path().string();
    QELFile file(QELString((dir + "/qelhostile-fd-" + std::to_string(getpid())).c_str()));
    ASSERT_TRUE(file.open(std::ios::out | std::ios::trunc));
    // A detached child leaves its two read ends open in this process.
    QELString sleeper[] = {QELString("-c"), QELString("sleep 1")};
    ASSERT_TRUE(execInSeparateProcess(QELString("/bin/sh"), 2, sleeper, nullptr));
    QELString process = getProcessName(getpid());
    EXPECT_FALSE(process.isEmpty());

    QELString out, err;
    int status = -1;
    QELString fds[] = {QELString("fds")};
    ASSERT_TRUE(launchInSeparateProcess(QELString(QEL_TEST_BIN_DIR "/qelchild"), 1, fds, &status, QELString(),
                                        &out, &err, nullptr, nullptr));
    EXPECT_EQ(status, 0) << str(err);
    EXPECT_EQ(str(out), expected);
    EXPECT_NE(expected.find(std::to_string(own) + "\n"), std::string::npos);
    file.remove();
    close(own);
}

// --- Memory: an allocation that fails ends the process with its size ---

#if defined(__SANITIZE_ADDRESS__)
#define QEL_HOSTILE_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QEL_HOSTILE_ASAN 1
#endif
#endif

namespace {

// Caps this process's address space at what it uses now plus 64 MB.
void capAddressSpace()
{
    long pages = 0;
    FILE* statm = fopen("/proc/self/statm", "re");
    if (statm != nullptr) {
        if (fscanf(statm, "%ld", &pages) != 1)
            pages = 0;
        fclose(statm);
    }
    const rlim_t bytes = static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (64u << 20);
    struct rlimit limit = {bytes, bytes};
    setrlimit(RLIMIT_AS, &limit);
}

// Whether valgrind runs this process (its own allocator answers a failed
// allocation with its own report).
bool underValgrind()
{
    const char* preload = getenv("LD_PRELOAD");
    return preload != nullptr && strstr(preload, "vgpreload") != nullptr;
}

} // namespace

class QELHostileMemoryDeathTest : public ::testing::Test {
protected:
    void SetUp() override
    {
#if defined(QEL_HOSTILE_ASAN)
        GTEST_SKIP() << "the address sanitizer reserves more address space than any cap allows";
#endif
        if (underValgrind())
            GTEST_SKIP() << "valgrind replaces the allocator";
    }
};

TEST_F(QELHostileMemoryDeathTest, StringGrowthBeyondMemoryAbortsWithTheSize)
{
    EXPECT_EXIT(
        {
            capAddressSpace();
            QELString s("x");
            s.resize(1u << 30);
            s.lock()[(1u << 30) - 1] = 'y';
        },
        ::testing::KilledBySignal(SIGABRT), "^out of memory allocating 1073741825 bytes\n$");
}

TEST_F(QELHostileMemoryDeathTest, ObjectArrayBeyondMemoryAbortsWithTheSize)
{
    // Two billion value slots of a placeholder's number: 48 GB.
    QELParameterizedTextLiteral literal("id", "{1999999999}");
    const std::string size = std::to_string(2000000000ull * sizeof(QELString));
    EXPECT_EXIT(
        {
            capAddressSpace();
            literal.prapareForParameters();
        },
        ::testing::KilledBySignal(SIGABRT), "^out of memory allocating " + size + " bytes\n$");
}

TEST_F(QELHostileMemoryDeathTest, BlobGrowthBeyondMemoryAbortsWithTheSize)
{
    EXPECT_EXIT(
        {
            capAddressSpace();
            QELBlob blob;
            blob.setSize(1u << 30);
        },
        ::testing::KilledBySignal(SIGABRT), "^out of memory allocating 1073741824 bytes\n$");
}

TEST_F(QELHostileMemoryDeathTest, HashtableOfAGigaBucketsBeyondMemoryAbortsWithTheTableSize)
{
    const std::string size = std::to_string((1ull << 30) * sizeof(QELHashtableElement*));
    EXPECT_EXIT(
        {
            capAddressSpace();
            QELHashtable table(1 << 30);
            int item = 0;
            table.add(reinterpret_cast<const QELContainerItem*>(&item)); // allocates the table
        },
        ::testing::KilledBySignal(SIGABRT), "^out of memory allocating " + size + " bytes\n$");
}

TEST_F(QELHostileMemoryDeathTest, KeyBeyondMemoryAbortsWithTheNodeSize)
{
    EXPECT_EXIT(
        {
            const QELString key(std::string(80u << 20, 'k').c_str());
            capAddressSpace();
            QELSimpleStringHashtable table;
            int value = 0;
            table.add(key, &value); // the node holds a copy of the key
        },
        ::testing::KilledBySignal(SIGABRT), "^out of memory allocating [0-9]{8,} bytes\n$");
}

TEST_F(QELHostileMemoryDeathTest, NodesBeyondMemoryAbortWithTheObjectSize)
{
    EXPECT_EXIT(
        {
            capAddressSpace();
            QELSimpleLongHashtable table(false, 1 << 20); // short chains: each add stays cheap
            int value = 0;
            for (long key = 0;; key++)
                table.add(key, &value);
        },
        ::testing::KilledBySignal(SIGABRT), "^out of memory allocating [0-9]{1,3} bytes\n$");
}

TEST_F(QELHostileMemoryDeathTest, LogRecordParserBeyondMemoryAbortsWithTheSize)
{
    EXPECT_EXIT(
        {
            // A first record loads the companion library and its entry points.
            QELLogDeserializer loader(NULL);
            QELLogEvent event(emptyString);
            const QELString small("<Message>x</Message>\n");
            loader.deserializeLogEvent(event, small, 0, static_cast<unsigned>(small.len));
            void* parser = QELLogDeserializer::createLogEventParser(
                nullptr, nullptr, [](void*, const char*, const char**) {}, [](void*, const char*, int) {});
            // The parser copies the record into its own buffer, larger than the 64 MB left.
            const QELString record(("<Message>" + std::string(80u << 20, 'x') + "</Message>\n").c_str());
            capAddressSpace();
            QELLogDeserializer::parseLogEvent(record, parser);
            exit(0);
        },
        ::testing::KilledBySignal(SIGABRT), "^out of memory allocating [0-9]+ bytes\n$");
}
