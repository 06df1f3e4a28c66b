// QELFault: fault injection. Child processes that misbehave in every way a
// pipe reader can see (signals, closed pipes, floods, no exit, a grandchild
// holding the pipes), leaks across many runs, broken setup files, paths that
// cannot be written, a missing companion library and a TMP that leads nowhere.
//
// The children are this test binary run again with "--qel-fault-child=MODE"
// as its first argument: the constructor below sees it before main and does
// what the mode says, then leaves with _exit (no test, no exit handlers).
#include <dirent.h>
#include <errno.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>

#include <gtest/gtest.h>


#include "QELConfiguration.h"
#include "QELFile.h"
#include "QELLog.h"
#include "QELLogDeserializer.h"
#include "QELProcess.h"
#include "QELSetup.h"
#include "QELString.h"
#include "QELTextLiteral.h"
#include "QELTextLiteralsCollection.h"
#include "QELDeathTestPatterns.h"

namespace {

const size_t BIG_OUTPUT = 100u * 1024u * 1024u;
const char CHILD_FLAG[] = "--qel-fault-child=";

void writeAll(int fd, const char* p, size_t n)
{
    while (n > 0) {
        ssize_t w = write(fd, p, n);
        if (w <= 0)
            return;
        p += w;
        n -= static_cast<size_t>(w);
    }
}

void writeText(int fd, const std::string& s) { writeAll(fd, s.data(), s.size()); }

std::string framed(const std::string& body)
{
    char header[64];
    snprintf(header, sizeof header, "<!-- QELLog size=%-8zu -->", body.size());
    return header + body;
}

// A collection for the missing-library child and the translation tests.
class FaultCollection : public QELTextLiteralsCollection {
public:
    QELTextLiteral title{QELString("title"), QELString("Title")};
    QELTextLiteral* literals[2] = {&title, nullptr};
    QELString getCollectionName() override { return QELString("Basic"); }
    QELTextLiteral** getTextLiterals() override { return literals; }
};

// The child side. glibc passes argc, argv and envp to constructors.
__attribute__((constructor)) void faultChild(int argc, char** argv, char**)
{
    if (argc < 2 || strncmp(argv[1], CHILD_FLAG, sizeof CHILD_FLAG - 1) != 0)
        return;
    const std::string mode = argv[1] + sizeof CHILD_FLAG - 1;
    if (mode == "signal") {
        // Dies by a signal in the middle of its output, a record half written.
        writeText(1, std::string(100000, 'o'));
        writeText(2, "plain before\n<!-- QELLog size=120      --><Message type=\"ERROR\">half");
        raise(SIGKILL);
    } else if (mode == "close") {
        // Closes all three pipes at once and lives on a little.
        writeText(1, "out before close\n");
        writeText(2, "err before close\n");
        close(0);
        close(1);
        close(2);
        usleep(200000);
        _exit(7);
    } else if (mode == "big") {
        std::string block(65536, 'b');
        for (size_t i = 0; i < block.size(); i += 4096)
            block[i] = 'X';
        for (size_t done = 0; done < BIG_OUTPUT; done += block.size())
            writeText(1, block);
        writeText(2, "done\n");
        _exit(0);
    } else if (mode == "flood") {
        // Standard error flooded with records cut short, each announcing more
        // bytes than follow, mixed with plain lines; then one whole record.
        std::string half = "<!-- QELLog size=400      --><Message type=\"WARNING\" code=\"H\">cut short\n";
        std::string chunk;
        for (int i = 0; i < 200; i++)
            chunk += half + "plain line " + std::to_string(i) + "\n";
        for (int i = 0; i < 100; i++)
            writeText(2, chunk);
        // A long line completes the last half record's announced size.
        writeText(2, std::string(500, 'p') + "\n" + framed("<Message type=\"ERROR\" code=\"END\">last</Message>\n"));
        _exit(0);
    } else if (mode == "forever") {
        // Writes its pid where the test's watchdog looks, then never exits.
        if (argc > 2) {
            std::string tmp = std::string(argv[2]) + ".tmp";
            FILE* f = fopen(tmp.c_str(), "w");
            if (f != nullptr) {
                fprintf(f, "%d\n", static_cast<int>(getpid()));
                fclose(f);
                rename(tmp.c_str(), argv[2]);
            }
        }
        writeText(1, "waiting\n");
        for (;;)
            pause();
    } else if (mode == "grandchild") {
        // Leaves a grandchild that holds both pipes for a while, then exits.
        writeText(1, "early\n");
        pid_t pid = fork();
        if (pid == 0) {
            usleep(800000);
            writeText(1, "late\n");
            writeText(2, "grandchild\n");
            _exit(0);
        }
        _exit(3);
    } else if (mode == "deserialize") {
        // Reaches for the record parser of the companion library.
        QELLogDeserializer deserializer(nullptr);
        deserializer.append(QELString(framed("<Message type=\"ERROR\">x</Message>\n").c_str()));
        _exit(0);
    } else if (mode == "translate") {
        FaultCollection collection;
        collection.loadTranslation(QELString(argc > 2 ? argv[2] : "missing.xml"));
        _exit(0);
    }
    _exit(100); // unknown mode
}

std::string self() { return std::string(QEL_TEST_BIN_DIR) + "/test_QELFault"; }

// Runs this binary as a child in the given mode and waits for it.
bool runChild(const std::string& mode, int* status, QELString* out, QELString* err, QELLog* log,
              const std::string& extra = std::string(), const QELString& input = QELString())
{
    QELString args[2] = {QELString((CHILD_FLAG + mode).c_str()), QELString(extra.c_str())};
    return launchInSeparateProcess(QELString(self().c_str()), extra.empty() ? 1 : 2, args, status, input, out,
                                   err, log, nullptr);
}

// Takes every event the child's standard error yields, at any level.
class CountingLog : public QELLog {
public:
    int events = 0;
    int records = 0; // events with a code: they came from framed records
    std::string lastCode;
    void log(const QELLogEvent& event) override
    {
        events++;
        if (event.code.len > 0) {
            records++;
            lastCode = event.code.p;
        }
    }
};

int countEntries(const char* dir)
{
    DIR* d = opendir(dir);
    if (d == nullptr)
        return -1;
    int n = 0;
    while (struct dirent* e = readdir(d))
        if (e->d_name[0] != '.')
            n++;
    closedir(d);
    return n - (strcmp(dir, "/proc/self/fd") == 0 ? 1 : 0); // the directory's own descriptor
}

double seconds()
{
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec + t.tv_nsec / 1e9;
}

std::string scratchDir(const char* name)
{
    std::string dir = testing::TempDir() + "qel-fault-" + name + "-" + std::to_string(getpid());
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    return dir;
}

void writeFile(const std::string& path, const std::string& content)
{
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f << content;
}

} // namespace

// ---------------------------------------------------------------- processes

TEST(QELFaultTest, ChildKilledMidOutputReturnsSignalStatusAndTextUpToTheSignal)
{
    int status = 0;
    QELString out, err;
    CountingLog log;
    ASSERT_TRUE(runChild("signal", &status, &out, &err, &log));
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(SIGKILL, WTERMSIG(status));
    EXPECT_EQ(100000, out.len); // every byte written before the signal
    // The half record is in err, but never became an event: the deserializer
    // is dropped unflushed, so only the complete plain line was delivered.
    EXPECT_NE(nullptr, strstr(err.p, "<Message type=\"ERROR\">half"));
    EXPECT_EQ(1, log.events);
    EXPECT_EQ(0, log.records);
}

TEST(QELFaultTest, ChildClosingItsPipesEarlyIsWaitedForAndKeepsItsExitCode)
{
    int status = 0;
    QELString out, err;
    // 1 MiB of input that the child never reads: the write fails, SIGPIPE is
    // not delivered to this process, and exec goes on.
    QELString input;
    input.append('i', 1 << 20);
    double start = seconds();
    ASSERT_TRUE(runChild("close", &status, &out, &err, nullptr, std::string(), input));
    EXPECT_GE(seconds() - start, 0.15); // returned after the child's exit, not at EOF
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(7, WEXITSTATUS(status));
    EXPECT_STREQ("out before close\n", out.p);
    EXPECT_STREQ("err before close\n", err.p);
}

TEST(QELFaultTest, HundredMegabytesOfOutputArriveWhole)
{
    int status = 0;
    QELString out, err;
    ASSERT_TRUE(runChild("big", &status, &out, &err, nullptr));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
    ASSERT_EQ(static_cast<int>(BIG_OUTPUT), out.len);
    // The marks sit every 4096 bytes, all others are 'b'.
    size_t marks = 0, others = 0;
    for (int i = 0; i < out.len; i++) {
        if (out.p[i] == 'X')
            marks += (i % 4096 == 0);
        else
            others += (out.p[i] == 'b');
    }
    EXPECT_EQ(BIG_OUTPUT / 4096, marks);
    EXPECT_EQ(BIG_OUTPUT - BIG_OUTPUT / 4096, others);
    EXPECT_STREQ("done\n", err.p);
}

TEST(QELFaultTest, StandardErrorFloodedWithHalfRecordsLosesNoByte)
{
    int status = 0;
    QELString out, err;
    CountingLog log;
    ASSERT_TRUE(runChild("flood", &status, &out, &err, &log));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
    std::string half = "<!-- QELLog size=400      --><Message type=\"WARNING\" code=\"H\">cut short\n";
    size_t chunk = 0;
    for (int i = 0; i < 200; i++)
        chunk += half.size() + ("plain line " + std::to_string(i) + "\n").size();
    std::string last = std::string(500, 'p') + "\n" + framed("<Message type=\"ERROR\" code=\"END\">last</Message>\n");
    EXPECT_EQ(static_cast<int>(100 * chunk + last.size()), err.len);
    // Each half record swallows what follows up to its announced size and
    // then comes out as plain lines: no record parses until the last one.
    EXPECT_GT(log.events, 20000);
    EXPECT_EQ(1, log.records);
    EXPECT_EQ("END", log.lastCode);
}

TEST(QELFaultTest, ChildThatNeverExitsReturnsOnceTheWatchdogKillsIt)
{
    std::string dir = scratchDir("forever");
    std::string pidFile = dir + "/pid";
    std::atomic<bool> killed(false);
    std::thread watchdog([&] {
        for (int i = 0; i < 300; i++) { // 30 s at most
            std::ifstream f(pidFile);
            int pid = 0;
            if (f >> pid && pid > 0) {
                usleep(300000); // let exec settle into waiting
                kill(pid, SIGKILL);
                killed = true;
                return;
            }
            usleep(100000);
        }
    });
    int status = 0;
    QELString out, err;
    bool started = runChild("forever", &status, &out, &err, nullptr, pidFile);
    watchdog.join();
    ASSERT_TRUE(started);
    EXPECT_TRUE(killed);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(SIGKILL, WTERMSIG(status));
    EXPECT_STREQ("waiting\n", out.p);
    std::filesystem::remove_all(dir);
}

// exec waits for the child with waitpid and then for end of file on both
// pipes: a grandchild that inherited them keeps exec waiting until it has
// closed them (here, until it exits), and its output is collected too.
TEST(QELFaultTest, GrandchildHoldingThePipesKeepsExecWaitingUntilItCloses)
{
    int status = 0;
    QELString out, err;
    double start = seconds();
    ASSERT_TRUE(runChild("grandchild", &status, &out, &err, nullptr));
    double elapsed = seconds() - start;
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(3, WEXITSTATUS(status)); // the child's own status, not the grandchild's
    EXPECT_GE(elapsed, 0.7);
    EXPECT_STREQ("early\nlate\n", out.p);
    EXPECT_STREQ("grandchild\n", err.p);
}

TEST(QELFaultTest, MissingProgramGivesTrueAndExitCode255)
{
    int status = 0;
    QELString out, err;
    ASSERT_TRUE(launchInSeparateProcess(QELString("/nonexistent/qel-no-such-program"), 0, nullptr, &status,
                                        QELString("input"), &out, &err, nullptr, nullptr));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(255, WEXITSTATUS(status));
    EXPECT_EQ(0, out.len);
}

TEST(QELFaultTest, ThousandRunsLeakNoDescriptorThreadOrZombie)
{
    // Warm up: the first run loads what stays loaded (the companion library
    // is not involved: no record is written).
    QELString warmOut;
    launchInSeparateProcess(QELString("/bin/sh"), 0, nullptr, nullptr, QELString(), &warmOut, &warmOut,
                            nullptr, nullptr);
    const int fds = countEntries("/proc/self/fd");
    const int tasks = countEntries("/proc/self/task");
    ASSERT_GT(fds, 0);
    ASSERT_GT(tasks, 0);
    QELString script[2] = {QELString("-c"), QELString("read x; echo \"out $x\"; echo err >&2; exit 4")};
    for (int run = 0; run < 1000; run++) {
        int status = 0;
        QELString out, err;
        CountingLog log;
        switch (run % 4) {
        case 0: // a normal child, input, output and a plain line on stderr
            ASSERT_TRUE(launchInSeparateProcess(QELString("/bin/sh"), 2, script, &status, QELString("in\n"),
                                                &out, &err, &log, nullptr));
            ASSERT_EQ(4, WEXITSTATUS(status));
            ASSERT_STREQ("out in\n", out.p);
            ASSERT_EQ(1, log.events);
            break;
        case 1: // joined output and error
            ASSERT_TRUE(launchInSeparateProcess(QELString("/bin/sh"), 2, script, &status, QELString("j\n"),
                                                &out, &out, nullptr, nullptr));
            ASSERT_STREQ("out j\nerr\n", out.p);
            break;
        case 2: // a program that does not exist
            ASSERT_TRUE(launchInSeparateProcess(QELString("/nonexistent/qel"), 0, nullptr, &status, QELString(),
                                                nullptr, nullptr, nullptr, nullptr));
            ASSERT_EQ(255, WEXITSTATUS(status));
            break;
        case 3: // no status, no strings, in another directory
            ASSERT_TRUE(launchInSeparateProcess(QELString("/bin/sh"), 2, script, nullptr, QELString("d\n"),
                                                nullptr, nullptr, nullptr, "/"));
            break;
        }
    }
    EXPECT_EQ(fds, countEntries("/proc/self/fd"));
    EXPECT_EQ(tasks, countEntries("/proc/self/task"));
    // Every child was waited for: none is left, not even as a zombie.
    errno = 0;
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno);
}

// Deliberate: a detached child is not waited for and the read ends of its
// output and error pipes stay open in the parent. The caller reaps it.
TEST(QELFaultTest, DetachedChildKeepsTwoDescriptorsAndIsLeftToTheCaller)
{
    const int fds = countEntries("/proc/self/fd");
    QELString args[2] = {QELString("-c"), QELString("exit 0")};
    ASSERT_TRUE(execInSeparateProcess(QELString("/bin/sh"), 2, args, nullptr));
    EXPECT_EQ(fds + 2, countEntries("/proc/self/fd"));
    int status = 0;
    pid_t pid = waitpid(-1, &status, 0); // the caller reaps it
    EXPECT_GT(pid, 0);
    EXPECT_TRUE(WIFEXITED(status));
}

// ------------------------------------------------------ configuration, files

namespace {

const char GOOD_SETUP[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<Setup>\n  <Directory>\n    <Home>/opt/qel/</Home>\n    <Bin>/opt/qel/bin/</Bin>\n  </Directory>\n"
    "  <Log><LogLevel>4</LogLevel></Log>\n</Setup>\n";

} // namespace

TEST(QELFaultTest, UnreadableSetupFilesReadFalse)
{
    std::string dir = scratchDir("unreadable");
    writeFile(dir + "/plain", "not a directory");
    std::string socketPath = dir + "/socket";
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s", socketPath.c_str());
    ASSERT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address));
    const std::string cases[] = {
        dir + "/missing.xml",        // no such file
        dir,                          // a directory
        dir + "/plain/QELSetup.xml", // below a regular file: stat fails
        socketPath,                   // stat succeeds, open fails
        "/proc/self/mem",            // stat succeeds, open succeeds, every read fails
    };
    for (const std::string& path : cases) {
        // /proc/self/mem is refused before parsing: Xerces-C 3.2 would leak
        // its reader when the first read of the file fails.
        QELSetup setup{QELString(path.c_str())};
        bool read = setup.read();
        EXPECT_FALSE(read) << path;
        EXPECT_EQ(0, setup.getValue(QELString("Directory/Home")).len) << path;
        EXPECT_FALSE(setup.setValue(QELString("Directory/Home"), QELString("x"))) << path;
        EXPECT_FALSE(setup.write()) << path;
    }
    close(fd);
    std::filesystem::remove_all(dir);
}

TEST(QELFaultTest, EveryTruncationOfASetupFileIsRefusedOrReadConsistently)
{
    std::string dir = scratchDir("truncated");
    const std::string whole = GOOD_SETUP;
    const std::string path = dir + "/QELSetup.xml";
    int accepted = 0;
    for (size_t n = 0; n <= whole.size(); n++) {
        writeFile(path, whole.substr(0, n));
        QELSetup setup{QELString(path.c_str())};
        bool ok = setup.read();
        if (ok && setup.document != nullptr) {
            accepted++;
            QELString home = setup.getValue(QELString("Directory/Home"));
            EXPECT_STREQ("/opt/qel/", home.p) << n;
        }
    }
    // Only the whole document (with or without its final line feed) is well formed.
    EXPECT_EQ(2, accepted);
    std::filesystem::remove_all(dir);
}

TEST(QELFaultTest, HugeSetupFileIsReadAndWrittenBack)
{
    std::string dir = scratchDir("huge");
    const std::string path = dir + "/QELSetup.xml";
    std::string content = "<Setup>";
    for (int i = 0; i < 20000; i++)
        content += "<Item" + std::to_string(i) + ">" + std::string(200, 'v') + "</Item" + std::to_string(i) + ">\n";
    content += "<Big>" + std::string(8 << 20, 'x') + "</Big></Setup>";
    writeFile(path, content); // about 12 MB
    {
        QELSetup setup{QELString(path.c_str())};
        ASSERT_TRUE(setup.read());
        EXPECT_EQ(8 << 20, setup.getValue(QELString("Big")).len);
        EXPECT_EQ(200, setup.getValue(QELString("Item19999")).len);
        EXPECT_TRUE(setup.setValue(QELString("Item7"), QELString("seven")));
        EXPECT_TRUE(setup.write());
    }
    QELSetup again{QELString(path.c_str())};
    ASSERT_TRUE(again.read());
    EXPECT_STREQ("seven", again.getValue(QELString("Item7")).p);
    EXPECT_EQ(8 << 20, again.getValue(QELString("Big")).len);
    std::filesystem::remove_all(dir);
}

TEST(QELFaultTest, BinarySetupFilesReadFalse)
{
    std::string dir = scratchDir("binary");
    const std::string path = dir + "/QELSetup.xml";
    std::mt19937 random(20261122);
    for (int i = 0; i < 50; i++) {
        std::string bytes(1 + random() % 4096, '\0');
        for (char& c : bytes)
            c = static_cast<char>(random());
        if (i % 2)
            bytes = "<Setup>" + bytes; // a plausible start, then garbage
        writeFile(path, bytes);
        QELSetup setup{QELString(path.c_str())};
        EXPECT_FALSE(setup.read()) << i;
        EXPECT_EQ(0, setup.getValue(QELString("Directory/Home")).len);
        EXPECT_FALSE(setup.write());
    }
    std::filesystem::remove_all(dir);
}

// Tests run as root, which a read-only mode does not stop: the directory of
// the file is replaced by a regular file between read and write, so that
// the write can only fail.
TEST(QELFaultTest, WriteIntoAPathThatCannotBeWrittenReturnsFalse)
{
    std::string dir = scratchDir("readonly");
    std::string sub = dir + "/conf";
    std::filesystem::create_directories(sub);
    writeFile(sub + "/QELSetup.xml", GOOD_SETUP);
    QELSetup setup{QELString((sub + "/QELSetup.xml").c_str())};
    ASSERT_TRUE(setup.read());
    ASSERT_TRUE(setup.setValue(QELString("Directory/Home"), QELString("/changed/")));
    std::filesystem::rename(sub, dir + "/moved");
    writeFile(sub, "a regular file where the directory was");
    EXPECT_FALSE(setup.write());
    // The original file is untouched.
    QELSetup moved{QELString((dir + "/moved/QELSetup.xml").c_str())};
    ASSERT_TRUE(moved.read());
    EXPECT_STREQ("/opt/qel/", moved.getValue(QELString("Directory/Home")).p);

    // A file stream below a regular file does not open either; /proc refuses
    // new files even to root.
    QELFile below{QELString((sub + "/out.txt").c_str())};
    EXPECT_FALSE(below.open(std::ios::out));
    QELFile proc{QELString("/proc/qel-fault-new-file")};
    EXPECT_FALSE(proc.open(std::ios::out));
    std::filesystem::remove_all(dir);
}

TEST(QELFaultTest, TmpPointingNowhereStillGivesUsableTemporaryNames)
{
    const char* saved = getenv("TMP");
    std::string keep = saved != nullptr ? saved : "";
    setenv("TMP", "/nonexistent/qel-fault-tmp", 1);
    QELString temp = getQELTempPath();
    // The configuration may name its own temporary directory; otherwise TMP
    // is taken as it is, unchecked.
    if (config.tempDirectory.isEmpty()) {
        EXPECT_STREQ("/nonexistent/qel-fault-tmp/", temp.p);
    }
    // tempnam falls back to a directory that exists: the name is usable.
    QELFile file = QELFile::makeTempFile(QELString("qelf"));
    ASSERT_GT(file.getPath().len, 0);
    EXPECT_EQ(nullptr, strstr(file.getPath().p, "/nonexistent/"));
    ASSERT_TRUE(file.open(std::ios::out));
    file << QELString("x");
    EXPECT_TRUE(file.close());
    EXPECT_TRUE(file.exists());
    file.remove();
    EXPECT_FALSE(file.exists());
    QELString name = getTmpFileName("/nonexistent/qel-fault-tmp");
    EXPECT_GT(name.len, 0);
    EXPECT_EQ(nullptr, strstr(name.p, "/nonexistent/"));
    if (saved != nullptr)
        setenv("TMP", keep.c_str(), 1);
    else
        unsetenv("TMP");
}

// ------------------------------------------- a missing companion library

namespace {

// A copy of this binary and of libQELStd.so in a directory of their own,
// without libQELI18n.so beside them.
std::string copyWithoutCompanion()
{
    std::string dir = scratchDir("nocompanion");
    std::filesystem::copy_file(self(), dir + "/test_QELFault");
    std::filesystem::copy_file(std::string(QEL_TEST_BIN_DIR) + "/libQELStd.so", dir + "/libQELStd.so");
    return dir;
}

void runCopy(const std::string& dir, const char* mode, const std::string& extra)
{
    std::string program = dir + "/test_QELFault";
    std::string flag = std::string(CHILD_FLAG) + mode;
    unsetenv("LD_LIBRARY_PATH");
    execl(program.c_str(), program.c_str(), flag.c_str(), extra.c_str(), static_cast<char*>(nullptr));
    _exit(99); // the copy could not be started
}

} // namespace

TEST(QELFaultDeathTest, MissingCompanionLibraryStopsTheFirstRecord)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    std::string dir = copyWithoutCompanion();
    EXPECT_DEATH(runCopy(dir, "deserialize", ""),
                 AssertionReportAt("QELLog.cpp", 368,
                                   "QELBoolean QELLogDeserializer::deserializeLogEvent(QELLogEvent&, "
                                   "const QELString&, unsigned int, unsigned int)",
                                   "0"));
    std::filesystem::remove_all(dir);
}

TEST(QELFaultDeathTest, MissingCompanionLibraryStopsTheTranslationLoader)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    std::string dir = copyWithoutCompanion();
    std::string file = std::string(QEL_TEST_DATA_DIR) + "/i18n/Basic_fr.xml";
    EXPECT_DEATH(runCopy(dir, "translate", file),
                 AssertionReport("QELTextLiteralsCollection.cpp",
                                 "void QELTextLiteralsCollection::loadTranslation(const QELString&)", "0"));
    std::filesystem::remove_all(dir);
}
