// Tests of QELChildProcess: streams both ways, live output and log events,
// timeouts and signals, start failures, descriptors and zombies.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <atomic>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <malloc.h>

#include "QELStd.h"
#include "QELSystemCallFilter.h"

namespace {

const QELString CHILD = QELString(QEL_TEST_BIN_DIR "/qelscriptchild");

// The runner on the script child with the given steps.
void script(QELChildProcess& runner, std::initializer_list<const char*> steps)
{
    runner.program = CHILD;
    for (const char* step : steps)
        runner.addArgument(QELString(step));
}

std::string text(const QELString& s)
{
    return std::string(s.chars(), static_cast<size_t>(s.length()));
}

std::string text(const QELGBlob& b)
{
    return std::string(b.p == NULL ? "" : b.p, b.size);
}

// FNV-1a over a stream given in pieces.
struct StreamHash {
    uint64_t value = 1469598103934665603ULL;
    uint64_t bytes = 0;
    void add(const char* p, int n)
    {
        for (int i = 0; i < n; i++)
            value = (value ^ static_cast<unsigned char>(p[i])) * 1099511628211ULL;
        bytes += static_cast<uint64_t>(n);
    }
};

int openDescriptorCount()
{
    int count = 0;
    DIR* dir = opendir("/proc/self/fd");
    for (struct dirent* entry = readdir(dir); entry != NULL; entry = readdir(dir))
        count += entry->d_name[0] != '.';
    closedir(dir);
    return count;
}

// True when this process has no child left, running or zombie.
bool noChildLeft()
{
    return waitpid(-1, NULL, WNOHANG) == -1 && errno == ECHILD;
}

// True when `pid` is gone or a zombie no one has reaped yet.
bool notRunning(pid_t pid)
{
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    if (!std::getline(stat, line))
        return true;
    size_t close = line.rfind(')');
    return close != std::string::npos && line.size() > close + 2 && line[close + 2] == 'Z';
}

// True once `pid` has ended, waiting up to ten seconds for it: a signal sent
// to a process group reaches the grandchild at once, but the grandchild's
// exit is not synchronised with its parent's.
bool endsSoon(pid_t pid)
{
    for (int i = 0; i < 1000; ++i) {
        if (notRunning(pid))
            return true;
        usleep(10000);
    }
    return false;
}

int64_t elapsedMs(const struct timespec& from)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (now.tv_sec - from.tv_sec) * 1000 + (now.tv_nsec - from.tv_nsec) / 1000000;
}

uint64_t catBytes()
{
    const char* scaled = getenv("QEL_TEST_CAT_BYTES");
    return scaled != NULL ? strtoull(scaled, NULL, 10) : (1ULL << 30);
}

} // namespace

TEST(QELChildProcessTest, TrueExitsWithZero)
{
    QELChildProcess runner(QELString("/bin/true"));
    ASSERT_TRUE(runner.run());
    EXPECT_TRUE(runner.finished());
    EXPECT_TRUE(runner.exited());
    EXPECT_EQ(runner.exitCode(), 0);
    EXPECT_FALSE(runner.signaled());
    EXPECT_FALSE(runner.timedOut());
}

TEST(QELChildProcessTest, ExitCodeIsReported)
{
    QELChildProcess runner;
    script(runner, {"exit:7"});
    ASSERT_TRUE(runner.run());
    EXPECT_EQ(runner.exitCode(), 7);
    EXPECT_EQ(runner.terminationSignal(), 0);
}

TEST(QELChildProcessTest, EndingSignalIsReported)
{
    QELChildProcess runner(QELString("/bin/sh"));
    runner.addArgument(QELString("-c")).addArgument(QELString("kill -KILL $$"));
    ASSERT_TRUE(runner.run());
    EXPECT_TRUE(runner.signaled());
    EXPECT_EQ(runner.terminationSignal(), SIGKILL);
    EXPECT_FALSE(runner.exited());
    EXPECT_EQ(runner.exitCode(), -1);
}

TEST(QELChildProcessTest, WholeInputComesBackThroughCat)
{
    QELChildProcess runner;
    script(runner, {"cat"});
    runner.setInput(QELString("hello\nworld"));
    ASSERT_TRUE(runner.run());
    EXPECT_EQ(text(runner.output), "hello\nworld");
    EXPECT_EQ(runner.exitCode(), 0);
}

TEST(QELChildProcessTest, CatOfAGigabyteReturnsEveryByte)
{
    const uint64_t total = catBytes();
    std::vector<char> block(65521); // prime, so pieces never line up with it
    for (size_t i = 0; i < block.size(); i++)
        block[i] = static_cast<char>((i * 7919) >> 3);
    uint64_t produced = 0;
    StreamHash sent, received;
    QELChildProcess runner;
    script(runner, {"cat"});
    runner.setInput([&](char* buffer, int capacity) {
        uint64_t left = total - produced;
        int n = static_cast<int>(left < static_cast<uint64_t>(capacity) ? left : static_cast<uint64_t>(capacity));
        for (int done = 0; done < n;) {
            size_t at = static_cast<size_t>((produced + static_cast<uint64_t>(done)) % block.size());
            int piece = std::min(n - done, static_cast<int>(block.size() - at));
            memcpy(buffer + done, block.data() + at, static_cast<size_t>(piece));
            done += piece;
        }
        sent.add(buffer, n);
        produced += static_cast<uint64_t>(n);
        return n;
    });
    runner.outputCallback = [&](const char* bytes, int count) { received.add(bytes, count); };
    ASSERT_TRUE(runner.run());
    EXPECT_EQ(runner.exitCode(), 0);
    EXPECT_EQ(sent.bytes, total);
    EXPECT_EQ(received.bytes, total);
    EXPECT_EQ(received.value, sent.value);
    EXPECT_EQ(runner.inputWritten, total);
}

TEST(QELChildProcessTest, ChildWritingTenMegabytesBeforeReadingFinishes)
{
    const int size = 10 * 1024 * 1024;
    QELChildProcess runner;
    script(runner, {"out:10485760", "count"});
    runner.setInput(QELBlob('x', size));
    runner.setTimeout(60000, 1000);
    ASSERT_TRUE(runner.run());
    EXPECT_FALSE(runner.timedOut());
    EXPECT_EQ(runner.output.size, static_cast<unsigned int>(size + 9));
    EXPECT_EQ(text(runner.output).substr(size), "10485760\n");
}

TEST(QELChildProcessTest, NulBytesSurviveCollectedAndInCallbacks)
{
    QELChildProcess collected;
    script(collected, {"nul"});
    ASSERT_TRUE(collected.run());
    EXPECT_EQ(text(collected.output), std::string("a\0b\0c", 5));

    std::string received;
    QELChildProcess streamed;
    script(streamed, {"nul"});
    streamed.outputCallback = [&](const char* bytes, int count) { received.append(bytes, count); };
    ASSERT_TRUE(streamed.run());
    EXPECT_EQ(received, std::string("a\0b\0c", 5));
    EXPECT_EQ(streamed.output.size, 0u);
}

TEST(QELChildProcessTest, ErrorStreamIsCollectedApart)
{
    QELChildProcess runner;
    script(runner, {"out:3", "err:4"});
    ASSERT_TRUE(runner.run());
    EXPECT_EQ(text(runner.output), "abc");
    EXPECT_EQ(text(runner.errorOutput), "abcd");
}

// A sink that closes the child's input when the first event arrives, after
// noting whether the child was still running then.
class ClosingLog : public QELLog {
public:
    QELChildProcess* runner = nullptr;
    bool childWasRunning = false;
    std::vector<std::string> messages;
    void log(const QELLogEvent& event) override
    {
        if (messages.empty())
            childWasRunning = !runner->reaped && ::kill(runner->pid, 0) == 0;
        messages.push_back(text(event.message));
        runner->closeInput();
    }
};

TEST(QELChildProcessTest, LogEventsArriveWhileTheChildRuns)
{
    int never[2];
    ASSERT_EQ(pipe(never), 0);
    QELChildProcess runner;
    ClosingLog log;
    log.runner = &runner;
    script(runner, {"log:first & <event>", "count"});
    runner.log = &log;
    runner.setInputDescriptor(never[0]); // never written: the child waits for the log
    runner.setTimeout(20000, 1000);
    ASSERT_TRUE(runner.run());
    close(never[0]);
    close(never[1]);
    EXPECT_FALSE(runner.timedOut());
    ASSERT_EQ(log.messages.size(), 1u);
    EXPECT_EQ(log.messages[0], "first & <event>");
    EXPECT_TRUE(log.childWasRunning);
    EXPECT_EQ(runner.exitCode(), 0);
    EXPECT_NE(text(runner.errorOutput).find("<!-- QELLog size="), std::string::npos);
}

TEST(QELChildProcessTest, LastUnterminatedErrorLineReachesTheLog)
{
    QELBufferedTextLog log;
    QELChildProcess runner;
    script(runner, {"err:5"});
    runner.log = &log;
    ASSERT_TRUE(runner.run());
    EXPECT_EQ(text(log.getBuffer()), "          abcde\n");
}

TEST(QELChildProcessTest, RecordWithAnUnknownAttributeArrivesAsPlainLines)
{
    QELBufferedTextLog log;
    std::vector<std::string> refused;
    QELChildProcess runner;
    script(runner, {"badlog:strange", "log:normal"});
    runner.log = &log;
    runner.refusedRecordCallback = [&](const QELString& record) { refused.push_back(text(record)); };
    ASSERT_TRUE(runner.run());
    EXPECT_EQ(runner.exitCode(), 0);
    ASSERT_EQ(refused.size(), 1u);
    EXPECT_NE(refused[0].find("xmlns"), std::string::npos);
    std::string printed = text(log.getBuffer());
    EXPECT_NE(printed.find("          <!-- QELLog size="), std::string::npos);
    EXPECT_NE(printed.find("strange</Message>"), std::string::npos);
    EXPECT_NE(printed.find("<ERROR>   normal\n"), std::string::npos);
}

TEST(QELChildProcessTest, TimeoutTerminatesAChild)
{
    QELChildProcess runner;
    script(runner, {"sleep:100000"});
    runner.setTimeout(100, 5000);
    ASSERT_TRUE(runner.run());
    EXPECT_TRUE(runner.timedOut());
    EXPECT_EQ(runner.terminationSignal(), SIGTERM);
}

TEST(QELChildProcessTest, TimeoutKillsAChildIgnoringTermAfterTheGracePeriod)
{
    struct timespec started;
    clock_gettime(CLOCK_MONOTONIC, &started);
    QELChildProcess runner;
    script(runner, {"ignoreterm", "sleep:100000"});
    runner.setTimeout(500, 300);
    ASSERT_TRUE(runner.run());
    EXPECT_TRUE(runner.timedOut());
    EXPECT_EQ(runner.terminationSignal(), SIGKILL);
    EXPECT_GE(elapsedMs(started), 800);
}

TEST(QELChildProcessTest, GroupTimeoutSignalsTheGrandchild)
{
    QELChildProcess runner;
    script(runner, {"grandchild", "sleep:100000"});
    runner.ownProcessGroup = true;
    runner.setTimeout(300, 2000);
    ASSERT_TRUE(runner.run());
    EXPECT_TRUE(runner.timedOut());
    EXPECT_EQ(runner.terminationSignal(), SIGTERM);
    pid_t grandchild = static_cast<pid_t>(atoi(text(runner.output).c_str()));
    ASSERT_GT(grandchild, 0);
    EXPECT_TRUE(endsSoon(grandchild));
}

TEST(QELChildProcessTest, WaitWithALimitLeavesTheChildRunning)
{
    QELChildProcess runner;
    script(runner, {"sleep:100000"});
    ASSERT_TRUE(runner.start());
    EXPECT_FALSE(runner.wait(50));
    EXPECT_TRUE(runner.running());
    EXPECT_TRUE(runner.kill());
    EXPECT_TRUE(runner.wait());
    EXPECT_EQ(runner.terminationSignal(), SIGKILL);
    EXPECT_FALSE(runner.timedOut());
    EXPECT_FALSE(runner.kill());
}

std::atomic<int> handledSignals(0);
extern "C" void countSignal(int)
{
    handledSignals++;
}

TEST(QELChildProcessTest, RunWaitsOnAcrossSignalHandlers)
{
    struct sigaction action, previous;
    memset(&action, 0, sizeof action);
    action.sa_handler = countSignal; // no SA_RESTART: poll fails with EINTR
    sigaction(SIGUSR1, &action, &previous);
    pthread_t self = pthread_self();
    std::thread signaller([self] {
        for (int i = 0; i < 5; i++) {
            usleep(20000);
            pthread_kill(self, SIGUSR1);
        }
    });
    QELChildProcess runner;
    script(runner, {"sleep:300"});
    bool ran = runner.run();
    signaller.join();
    sigaction(SIGUSR1, &previous, NULL);
    EXPECT_TRUE(ran);
    EXPECT_EQ(runner.exitCode(), 0);
    EXPECT_GT(handledSignals.load(), 0);
}

TEST(QELChildProcessTest, DestroyingARunningRunnerKillsAndReapsTheChild)
{
    pid_t pid;
    {
        QELChildProcess runner;
        script(runner, {"sleep:100000"});
        ASSERT_TRUE(runner.start());
        pid = runner.pid;
    }
    EXPECT_EQ(::kill(pid, 0), -1);
    EXPECT_TRUE(noChildLeft());
}

struct StartFailureCase {
    const char* name;
    const char* program;
    const char* directory;
    int cause;
    int error;
};

TEST(QELChildProcessTest, StartFailuresAreReportedWithTheirCause)
{
    char scratch[] = QEL_TEST_BIN_DIR "/qelchildXXXXXX";
    ASSERT_NE(mkdtemp(scratch), nullptr);
    std::string plain = std::string(scratch) + "/plain";
    std::ofstream(plain) << "data\n";
    std::string garbage = std::string(scratch) + "/garbage";
    std::ofstream(garbage) << "\x01\x02 no program\n";
    chmod(garbage.c_str(), 0755);
    std::string loop = std::string(scratch) + "/loop";
    std::string belowPlain = plain + "/program";
    ASSERT_EQ(symlink(loop.c_str(), loop.c_str()), 0);
    const StartFailureCase cases[] = {
        // program missing
        {"not found", "/nonexistent/program", "", QELChildProcess::NotFound, ENOENT},
        // a file without the execute bit
        {"not executable", plain.c_str(), "", QELChildProcess::NotExecutable, EACCES},
        // a directory as the program
        {"directory", scratch, "", QELChildProcess::IsDirectory, EACCES},
        // the working directory is missing
        {"chdir", "/bin/true", "/nonexistent/dir", QELChildProcess::DirectoryFailed, ENOENT},
        // the working directory is a file
        {"chdir to a file", "/bin/true", plain.c_str(), QELChildProcess::DirectoryFailed, ENOTDIR},
        // a file in the program's path where a directory should be
        {"file as a directory", belowPlain.c_str(), "", QELChildProcess::NotFound, ENOTDIR},
        // a good working directory, a missing program
        {"missing in a good directory", "/nonexistent/program", "/", QELChildProcess::NotFound, ENOENT},
        // executable bits on a file of no known format
        {"no format", garbage.c_str(), "", QELChildProcess::NotExecutable, ENOEXEC},
        // a path that never resolves: no cause of its own
        {"link loop", loop.c_str(), "", QELChildProcess::SpawnFailed, ELOOP},
    };
    // Under valgrind the spawn is a plain fork, and only the child learns that
    // the file has no format it can run (it then ends with 127): the start
    // itself succeeds.
    const char* preload = getenv("LD_PRELOAD");
    const bool underValgrind = preload != nullptr && strstr(preload, "vgpreload") != nullptr;
    for (const StartFailureCase& c : cases) {
        SCOPED_TRACE(c.name);
        if (underValgrind && c.error == ENOEXEC)
            continue;
        QELChildProcess runner(QELString(c.program));
        runner.directory = QELString(c.directory);
        EXPECT_FALSE(runner.start());
        EXPECT_EQ(runner.state, QELChildProcess::StartFailed);
        EXPECT_EQ(runner.startCause, c.cause);
        EXPECT_EQ(runner.startErrno, c.error);
        EXPECT_FALSE(runner.startFailureText().isEmpty());
        EXPECT_FALSE(runner.wait());
        EXPECT_FALSE(runner.start());
    }
    QELChildProcess missing(QELString("/nonexistent/program"));
    missing.start();
    EXPECT_EQ(text(missing.startFailureText()), "not found (No such file or directory)");
    QELChildProcess looping{QELString(loop.c_str())};
    EXPECT_FALSE(looping.run());
    EXPECT_EQ(text(looping.startFailureText()), "cannot start a process (Too many levels of symbolic links)");
    unlink(loop.c_str());
    unlink(garbage.c_str());
    unlink(plain.c_str());
    rmdir(scratch);
}

TEST(QELChildProcessTest, NoParentDescriptorReachesTheChild)
{
    int plain = open("/dev/null", O_RDONLY); // deliberately not close-on-exec
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    QELChildProcess runner;
    script(runner, {"fds"});
    ASSERT_TRUE(runner.run());
    EXPECT_EQ(text(runner.output), "0\n1\n2\n");
    close(plain);
    close(ends[0]);
    close(ends[1]);
}

TEST(QELChildProcessTest, PathIsSearchedOnlyWhenAsked)
{
    QELChildProcess bare(QELString("true"));
    EXPECT_FALSE(bare.start());
    EXPECT_EQ(bare.startCause, QELChildProcess::NotFound);
    QELChildProcess searched(QELString("true"));
    searched.searchPath = true;
    ASSERT_TRUE(searched.run());
    EXPECT_EQ(searched.exitCode(), 0);
}

TEST(QELChildProcessTest, EnvironmentAdditionsAndRemovals)
{
    setenv("QEL_CHILD_REMOVED", "gone", 1);
    setenv("QEL_CHILD_REPLACED", "old", 1);
    QELChildProcess runner(QELString("/usr/bin/env"));
    runner.setEnvironment(QELString("QEL_CHILD_ADDED"), QELString("a=b"));
    runner.setEnvironment(QELString("QEL_CHILD_REPLACED"), QELString("new"));
    runner.unsetEnvironment(QELString("QEL_CHILD_REMOVED"));
    ASSERT_TRUE(runner.run());
    std::string environment = text(runner.output);
    EXPECT_NE(environment.find("QEL_CHILD_ADDED=a=b\n"), std::string::npos);
    EXPECT_NE(environment.find("QEL_CHILD_REPLACED=new\n"), std::string::npos);
    EXPECT_EQ(environment.find("QEL_CHILD_REPLACED=old"), std::string::npos);
    EXPECT_EQ(environment.find("QEL_CHILD_REMOVED"), std::string::npos);
    EXPECT_NE(environment.find("PATH="), std::string::npos);
}

TEST(QELChildProcessTest, WorkingDirectoryIsChanged)
{
    QELChildProcess runner(QELString("/bin/pwd"));
    runner.directory = QELString("/");
    ASSERT_TRUE(runner.run());
    EXPECT_EQ(text(runner.output), "/\n");
}

// A runner destroyed while its child runs kills the child and gives back
// what it holds, the reader of the child's log records included: starting
// and dropping runners again and again leaves the heap as it was.
TEST(QELChildProcessTest, RunnerDroppedWhileRunningGivesBackItsLogReader)
{
    QELBufferedTextLog log;
    auto startAndDrop = [&log] {
        QELChildProcess runner;
        script(runner, {"sleep:10000"});
        runner.log = &log;
        EXPECT_TRUE(runner.start());
    };
    startAndDrop();
    const size_t before = mallinfo2().uordblks;
    for (int i = 0; i < 100; i++)
        startAndDrop();
    EXPECT_LE(mallinfo2().uordblks, before + 4096);
}

TEST(QELChildProcessTest, NullStreamsGiveNothingAndEndOfInput)
{
    QELChildProcess runner;
    script(runner, {"count", "out:10"});
    runner.streams[0] = QELChildProcess::Null;
    runner.streams[2] = QELChildProcess::Null;
    runner.setInput(QELString("ignored"));
    ASSERT_TRUE(runner.run());
    EXPECT_EQ(text(runner.output), "0\nabcdefghij");

    QELChildProcess silent;
    script(silent, {"out:10"});
    silent.streams[1] = QELChildProcess::Null;
    ASSERT_TRUE(silent.run());
    EXPECT_EQ(silent.output.size, 0u);
}

TEST(QELChildProcessTest, AChildThatStopsReadingNeverKillsTheParent)
{
    QELChildProcess runner;
    script(runner, {"in:10", "exit:4"});
    runner.setInput(QELBlob('y', 20 * 1024 * 1024));
    ASSERT_TRUE(runner.run());
    EXPECT_EQ(runner.exitCode(), 4);
    EXPECT_LT(runner.inputWritten, 20u * 1024 * 1024);
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

TEST(QELChildProcessTest, InputIsStreamedFromADescriptor)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::thread writer([&] {
        std::string piece(100000, 'z');
        for (int i = 0; i < 30; i++)
            if (write(ends[1], piece.data(), piece.size()) < 0)
                break;
        close(ends[1]);
    });
    QELChildProcess runner;
    script(runner, {"count"});
    runner.setInputDescriptor(ends[0]);
    ASSERT_TRUE(runner.run());
    writer.join();
    close(ends[0]);
    EXPECT_EQ(text(runner.output), "3000000\n");
}

// A program named relative to the working directory is run from there
// (no PATH search).
TEST(QELChildProcessTest, RelativeProgramIsFoundInTheWorkingDirectory)
{
    QELChildProcess runner(QELString("pwd"));
    runner.directory = QELString("/usr/bin");
    ASSERT_TRUE(runner.run());
    EXPECT_EQ(text(runner.output), "/usr/bin\n");
}

TEST(QELChildProcessTest, UnsettingANameLeavesLongerNamesThatStartWithIt)
{
    setenv("QEL_CHILD_PREFIX", "gone", 1);
    setenv("QEL_CHILD_PREFIX_LONGER", "kept", 1);
    QELChildProcess runner(QELString("/usr/bin/env"));
    runner.unsetEnvironment(QELString("QEL_CHILD_PREFIX"));
    ASSERT_TRUE(runner.run());
    unsetenv("QEL_CHILD_PREFIX");
    unsetenv("QEL_CHILD_PREFIX_LONGER");
    std::string environment = text(runner.output);
    EXPECT_EQ(environment.find("QEL_CHILD_PREFIX="), std::string::npos);
    EXPECT_NE(environment.find("QEL_CHILD_PREFIX_LONGER=kept\n"), std::string::npos);
}

TEST(QELChildProcessTest, ARunnerThatNeverStartedHasNoFailureTextAndNoSignal)
{
    QELChildProcess runner(QELString("/bin/true"));
    EXPECT_TRUE(runner.startFailureText().isEmpty());
    EXPECT_FALSE(runner.terminate());
    EXPECT_FALSE(runner.wait());
    ASSERT_TRUE(runner.run());
    EXPECT_TRUE(runner.startFailureText().isEmpty());
    EXPECT_FALSE(runner.sendSignal(SIGTERM)); // finished
}

TEST(QELChildProcessTest, ZeroTimeoutTerminatesAtOnceAndHugeLimitsWaitWhole)
{
    QELChildProcess quick;
    script(quick, {"sleep:100000"});
    quick.setTimeout(0, -1);
    ASSERT_TRUE(quick.run());
    EXPECT_TRUE(quick.timedOut());
    EXPECT_EQ(quick.terminationSignal(), SIGTERM);

    QELChildProcess whole(QELString("/bin/true"));
    ASSERT_TRUE(whole.start());
    EXPECT_TRUE(whole.wait(int64_t(3) * 1000 * 1000 * 1000)); // beyond what poll takes at once
    EXPECT_EQ(whole.exitCode(), 0);
}

TEST(QELChildProcessTest, RefusedRecordWithoutACallbackStillArrivesAsPlainLines)
{
    QELBufferedTextLog log;
    QELChildProcess runner;
    script(runner, {"badlog:strange"});
    runner.log = &log;
    ASSERT_TRUE(runner.run());
    EXPECT_NE(text(log.getBuffer()).find("strange</Message>"), std::string::npos);
}

TEST(QELChildProcessTest, InputDescriptorThatCannotBeReadEndsTheInput)
{
    int directory = open("/", O_RDONLY | O_DIRECTORY);
    ASSERT_GE(directory, 0);
    QELChildProcess runner;
    script(runner, {"count"});
    runner.setInputDescriptor(directory);
    ASSERT_TRUE(runner.run());
    close(directory);
    EXPECT_EQ(text(runner.output), "0\n");
}

TEST(QELChildProcessTest, NonBlockingInputDescriptorIsReadAsItsDataArrives)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    std::thread writer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (write(ends[1], "late data", 9) != 9)
            return;
        close(ends[1]);
    });
    QELChildProcess runner;
    script(runner, {"count"});
    runner.setInputDescriptor(ends[0]);
    ASSERT_TRUE(runner.run());
    writer.join();
    close(ends[0]);
    EXPECT_EQ(text(runner.output), "9\n");
}

TEST(QELChildProcessTest, TenThousandRunsLeaveNoDescriptorOrZombie)
{
    int before = openDescriptorCount();
    const char* scaled = getenv("QEL_TEST_RUNS");
    int runs = scaled != NULL ? atoi(scaled) : 10000;
    int failures = 0;
    for (int i = 0; i < runs; i++) {
        QELChildProcess runner(QELString("/bin/true"));
        failures += !(runner.run() && runner.exitCode() == 0);
    }
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(openDescriptorCount(), before);
    EXPECT_TRUE(noChildLeft());
}

TEST(QELChildProcessTest, SixteenThreadsOfFiveHundredChildren)
{
    int before = openDescriptorCount();
    const char* scaled = getenv("QEL_TEST_RUNS");
    int perThread = scaled != NULL ? atoi(scaled) / 20 : 500;
    std::atomic<int> failures(0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 16; t++) {
        threads.emplace_back([&, t] {
            std::string word = std::to_string(t);
            for (int i = 0; i < perThread; i++) {
                QELChildProcess runner(QELString("/bin/cat"));
                runner.setInput(QELString(word.c_str()));
                if (!runner.run() || runner.exitCode() != 0 || text(runner.output) != word)
                    failures++;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(openDescriptorCount(), before);
    EXPECT_TRUE(noChildLeft());
}

TEST(QELChildProcessDeathTest, InvariantCoversEveryState)
{
    QELChildProcess runner;
    EXPECT_TRUE(QEL_CHILD_PROCESS_INVARIANT(&runner));
    runner.state = QELChildProcess::Running;
    EXPECT_FALSE(QEL_CHILD_PROCESS_INVARIANT(&runner));
    runner.state = QELChildProcess::Finished;
    runner.code = 0;
    EXPECT_TRUE(QEL_CHILD_PROCESS_INVARIANT(&runner));
    runner.signal = 9;
    EXPECT_FALSE(QEL_CHILD_PROCESS_INVARIANT(&runner));
    EXPECT_DEATH(runner.wait(), "QELChildProcess\\.cpp:[0-9]+: bool QELChildProcess::wait\\(int64_t\\): "
                                "Assertion .*\\(\\(this\\)->state==QELChildProcess::NotStarted\\)");
    runner.state = QELChildProcess::NotStarted;
    runner.signal = 0;
}

// Without pipes the runner cannot start: the cause is a spawn failure with
// the pipe's errno, and nothing is left open. Exits with 0 when so.
static void startWithoutPipes()
{
    if (!forbidPipes())
        _exit(3);
    const int before = openDescriptorCount();
    QELChildProcess runner(QELString("/bin/true"));
    const bool started = runner.start();
    _exit(started ? 1
          : runner.startCause != QELChildProcess::SpawnFailed || runner.startErrno != EMFILE ? 2
          : openDescriptorCount() != before ? 4
          : 0);
}

TEST(QELChildProcessDeathTest, WithoutPipesTheStartFailsAndLeavesNothingOpen)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(startWithoutPipes(), ::testing::ExitedWithCode(0), "");
}

// With the caller's standard input closed, /dev/null for the child's input
// would take descriptor 0: it is moved above 2, so that the child still
// reads it as its input. Exits with 0 when the child read nothing, at once.
static void runWithStandardInputClosed()
{
    close(0);
    QELChildProcess runner;
    script(runner, {"count"});
    runner.streams[0] = QELChildProcess::Null;
    _exit(runner.run() && text(runner.output) == "0\n" ? 0 : 1);
}

TEST(QELChildProcessDeathTest, NullInputWorksWithTheCallersStandardInputClosed)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(runWithStandardInputClosed(), ::testing::ExitedWithCode(0), "");
}
