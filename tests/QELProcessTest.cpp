// Tests of the process functions: identity from ps, and child processes run
// through exec with their output collected and their log records replayed.
#include <gtest/gtest.h>

#include <dirent.h>
#include <stddef.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "QELLogEventGenerator.h"
#include "QELProcess.h"
#include "QELStd.h"
#include "QELDeathTestPatterns.h"

#if defined(__SANITIZE_ADDRESS__)
#define QEL_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QEL_TEST_SANITIZED 1
#endif
#endif
#include "QELSystemCallFilter.h"

namespace {

const std::string CHILD = std::string(QEL_TEST_BIN_DIR) + "/qelchild";

std::string str(const QELString& s)
{
    return std::string(s.chars(), s.length());
}

QELString qs(const std::string& s)
{
    return QELString(s.data(), static_cast<int>(s.size()));
}

// The result of one launchInSeparateProcess call.
struct ChildRun {
    bool started = false;
    int status = -12345;
    std::string out;
    std::string err;
};

ChildRun run(const std::string& command, const std::vector<std::string>& args, const std::string& input = "",
        QELLog* log = nullptr, const char* directory = nullptr)
{
    std::vector<QELString> argv;
    for (const std::string& a : args)
        argv.push_back(qs(a));
    QELString out, err;
    ChildRun r;
    r.started = launchInSeparateProcess(qs(command), static_cast<int>(argv.size()), argv.data(), &r.status,
                                        qs(input), &out, &err, log, directory);
    r.out = str(out);
    r.err = str(err);
    return r;
}

ChildRun runChild(const std::vector<std::string>& args, const std::string& input = "", QELLog* log = nullptr)
{
    return run(CHILD, args, input, log);
}

ChildRun runShell(const std::string& script, const std::string& input = "", QELLog* log = nullptr)
{
    return run("/bin/sh", {"-c", script}, input, log);
}

// The pattern qelchild writes: lines of 64 characters from `letter` on.
std::string pattern(char letter, size_t n)
{
    std::string text;
    text.reserve(n);
    for (size_t i = 0; i < n; i++)
        text += (i % 65 == 64) ? '\n' : static_cast<char>(letter + i % 65 % 26);
    return text;
}

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> result;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line))
        result.push_back(line);
    return result;
}

// A log that keeps a copy of every event that passes its level.
class CollectingLog : public QELLog {
public:
    std::vector<QELLogEvent> events;
    explicit CollectingLog(int level) { setLogLevel(level); }
    void log(const QELLogEvent& event) override
    {
        if (event.type <= logLevel)
            events.push_back(event);
    }
};

int countEntries(const char* directory)
{
    DIR* dir = opendir(directory);
    if (dir == nullptr)
        return -1;
    int n = 0;
    while (readdir(dir) != nullptr)
        n++;
    closedir(dir);
    return n;
}

long maxPipeSize()
{
    std::ifstream in("/proc/sys/fs/pipe-max-size");
    long size = 0;
    in >> size;
    return size;
}

} // namespace

// ---------------------------------------------------------------------------
// Identity

TEST(QELProcessTest, ProcessIdIsGetpid)
{
    EXPECT_EQ(getProcessId(), static_cast<int>(getpid()));
}

TEST(QELProcessTest, ParentProcessIdIgnoresItsArgument)
{
    for (int pid : {0, 1, -1, getProcessId(), 99999})
        EXPECT_EQ(getParentProcessId(pid), static_cast<int>(getppid())) << pid;
}

TEST(QELProcessTest, ProcessNameOfThisProcessIsItsCommandName)
{
    std::ifstream in("/proc/self/comm");
    std::string comm;
    std::getline(in, comm);
    EXPECT_EQ(str(getProcessName(getProcessId())), comm);
}

TEST(QELProcessTest, ProcessNameOfUnknownProcessIsPsHeaderOrEmpty)
{
    // ps prints only its header line for a process that does not exist.
    QELString name = getProcessName(999999999);
    EXPECT_EQ(str(name), "COMMAND");
}

// Where the shell finds no ps, nothing is read: every ps accessor gives the
// empty string.
TEST(QELProcessTest, WithoutPsTheProcessAccessorsAreEmpty)
{
    const char* path = getenv("PATH");
    const std::string saved = path != nullptr ? path : "";
    setenv("PATH", "/nonexistent-directory-for-this-test", 1);
    const std::string name = str(getProcessName(getProcessId()));
    const std::string where = str(getProcessPath(getProcessId()));
    const std::string line = str(getCommandLine());
    if (path != nullptr)
        setenv("PATH", saved.c_str(), 1);
    else
        unsetenv("PATH");
    EXPECT_EQ(name, "");
    EXPECT_EQ(where, "");
    EXPECT_EQ(line, "");
}

namespace {

// What a child started with a chosen argv reports about itself: pid,
// parent (twice, through getParentProcessId with two arguments), getppid,
// name, path and command line.
std::vector<std::string> identityOf(const std::vector<std::string>& argv)
{
    std::vector<std::string> args = {"reexec"};
    args.insert(args.end(), argv.begin(), argv.end());
    ChildRun r = runChild(args);
    EXPECT_TRUE(r.started);
    EXPECT_EQ(r.status, 0) << r.err;
    return lines(r.out);
}

} // namespace

TEST(QELProcessTest, ChildIdentityFollowsItsPsLine)
{
    struct Case {
        std::vector<std::string> argv; // argv[0] first
        const char* path;
        const char* commandLine;
    } cases[] = {
        // The name closes the line: nothing to cut, the path ends at the last "/".
        {{"/a/b/qelchild"}, "/a/b/", "/a/b/qelchild"},
        // The place beyond the blank after the name holds "x": no match.
        {{"/a/b/qelchild", "x", "y"}, "/a/b/", "/a/b/qelchild x y"},
        // No match, so the last "/" of the whole line counts (deliberate).
        {{"/a/b/qelchild", "/c/d"}, "/a/b/qelchild /c/", "/a/b/qelchild /c/d"},
        // An empty first argument puts a blank one place beyond: a match.
        {{"/a/b/qelchild", "", "y"}, "/a/b/", " y"},
        {{"/a/b/qelchild", "", "/c/d"}, "/a/b/", " /c/d"},
        // A longer file name still matches one place beyond the name.
        {{"/a/b/qelchildZ", "", "/c/d"}, "/a/b/", "  /c/d"},
        // The first occurrence fails the test, the second passes it.
        {{"/qelchild/x/qelchild", "", "z"}, "/qelchild/x/", " z"},
        // No "/": an empty path.
        {{"qelchild", "a"}, "", "qelchild a"},
        // A line of 32 bytes or more keeps its first 31.
        {{"/abcdefghij/abcdefghij/abcdefghij/qelchild"}, "/abcdefghij/abcdefghij/", "/abcdefghij/abcdefghij/abcdefgh"},
        {{"/a/qelchild", "1234567890", "1234567890", "12"}, "/a/", "/a/qelchild 1234567890 12345678"},
    };
    for (const Case& k : cases) {
        std::vector<std::string> id = identityOf(k.argv);
        ASSERT_EQ(id.size(), 7u) << k.argv[0];
        EXPECT_EQ(id[1], std::to_string(getpid())) << "parent";
        EXPECT_EQ(id[2], id[1]);
        EXPECT_EQ(id[3], id[1]);
        EXPECT_EQ(id[4], "qelchild");
        EXPECT_EQ(id[5], k.path) << k.argv[0] << " " << k.argv.size();
        EXPECT_EQ(id[6], k.commandLine) << k.argv[0] << " " << k.argv.size();
    }
}

TEST(QELProcessTest, CommandLineOfThisProcessIsAtMostThirtyOneCharacters)
{
    QELString line = getCommandLine();
    EXPECT_LE(line.length(), 31);
    EXPECT_GT(line.length(), 0);
    QELString path = getProcessPath(getProcessId());
    EXPECT_LE(path.length(), 31);
}

// ---------------------------------------------------------------------------
// Running children

TEST(QELProcessTest, OutputAndErrorAreCollectedApart)
{
    ChildRun r = runShell("printf 'to out\\n'; printf 'to err\\n' >&2; printf 'more out'");
    EXPECT_TRUE(r.started);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "to out\nmore out");
    EXPECT_EQ(r.err, "to err\n");
}

TEST(QELProcessTest, StatusIsTheRawWaitStatus)
{
    struct Case {
        const char* script;
        int status;
    } cases[] = {
        {"exit 0", 0},
        {"exit 1", 1 << 8},
        {"exit 3", 3 << 8},
        {"exit 255", 255 << 8},
        {"kill -TERM $$", SIGTERM},
        {"kill -KILL $$", SIGKILL},
    };
    for (const Case& k : cases) {
        ChildRun r = runShell(k.script);
        EXPECT_TRUE(r.started);
        EXPECT_EQ(r.status, k.status) << k.script;
    }
}

TEST(QELProcessTest, StatusMayBeNull)
{
    QELString out;
    QELString args[] = {QELString("-c"), QELString("echo hi")};
    EXPECT_TRUE(launchInSeparateProcess(QELString("/bin/sh"), 2, args, nullptr, emptyString, &out, nullptr, nullptr,
                                        nullptr));
    EXPECT_EQ(str(out), "hi\n");
}

TEST(QELProcessTest, ProgramThatCannotStartExitsWith255)
{
    const char* const commands[] = {"/nonexistent/program", "", "/", "relative-name-not-found",
                                    QEL_TEST_DATA_DIR};
    for (const char* command : commands) {
        ChildRun r = run(command, {"a"});
        EXPECT_TRUE(r.started) << command;
        ASSERT_TRUE(WIFEXITED(r.status)) << command;
        EXPECT_EQ(WEXITSTATUS(r.status), 255) << command;
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, "");
    }
}

TEST(QELProcessTest, CommandIsNotSearchedAlongPath)
{
    ChildRun r = run("sh", {"-c", "exit 0"});
    EXPECT_EQ(WEXITSTATUS(r.status), 255);
}

TEST(QELProcessTest, ArgumentsArePassedAsGivenWithCommandAsArgvZero)
{
    ChildRun r = runShell("printf '[%s]' \"$0\" \"$@\"", "");
    EXPECT_EQ(r.out, "[/bin/sh]");
    std::vector<QELString> argv = {QELString("-c"), QELString("printf '[%s]' \"$0\" \"$@\""), QELString("zero"),
                                   QELString("one two"), QELString(""), QELString("\xc3\xa9")};
    QELString out;
    int status = -1;
    EXPECT_TRUE(launchInSeparateProcess(QELString("/bin/sh"), 6, argv.data(), &status, emptyString, &out, nullptr,
                                        nullptr, nullptr));
    EXPECT_EQ(str(out), "[zero][one two][][\xc3\xa9]");
}

TEST(QELProcessTest, NegativeCountOrNullArgumentsPassTheCommandAlone)
{
    // sh without arguments reads its script from the input.
    const QELString script("printf '[%s]' \"$#\"");
    QELString unused[] = {QELString("-c"), QELString("exit 9")};
    struct Case {
        int argc;
        QELString* argv;
    } cases[] = {{-1, unused}, {2, nullptr}};
    for (const Case& c : cases) {
        QELString out;
        int status = -1;
        EXPECT_TRUE(launchInSeparateProcess(QELString("/bin/sh"), c.argc, c.argv, &status, script, &out, nullptr,
                                            nullptr, nullptr));
        EXPECT_EQ(str(out), "[0]") << c.argc;
        EXPECT_EQ(WEXITSTATUS(status), 0);
    }
}

TEST(QELProcessTest, EmptyInputClosesStandardInputAtOnce)
{
    ChildRun r = run("/bin/cat", {});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "");
    ChildRun c = runChild({"count"});
    EXPECT_EQ(c.out, "0\n");
}

TEST(QELProcessTest, InputReachesTheChildWhole)
{
    for (size_t size : {size_t(1), size_t(12287), size_t(12288), size_t(12289), size_t(100000),
                        size_t(5 * 1024 * 1024 + 3)}) {
        ChildRun r = runChild({"count"}, pattern('a', size));
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, std::to_string(size) + "\n");
    }
}

TEST(QELProcessTest, CatEchoesInputThatFitsThePipes)
{
    // All input is written before any output is read: cat can echo what the
    // input and output pipes hold together.
    std::string input = pattern('k', 1500 * 1000);
    ChildRun r = run("/bin/cat", {}, input);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.size(), input.size());
    EXPECT_TRUE(r.out == input);
}

TEST(QELProcessTest, PipesAreEnlargedToTheSystemMaximum)
{
    long max = maxPipeSize();
    ASSERT_GT(max, 0);
    ChildRun r = runChild({"pipe-sizes"});
    EXPECT_EQ(r.out, std::to_string(max) + " " + std::to_string(max) + " " + std::to_string(max) + "\n");
}

TEST(QELProcessTest, OutputBeforeInputUpToThePipeCapacityDoesNotBlock)
{
    // exec writes all input before reading any output (deliberate), so the
    // output written before the input is read must fit in the output pipe,
    // the input in the input pipe; up to those capacities nothing blocks.
    long max = maxPipeSize();
    size_t out = static_cast<size_t>(max) * 9 / 10;
    size_t in = static_cast<size_t>(max) * 9 / 10;
    ChildRun r = runChild({"write-then-read", std::to_string(out)}, pattern('q', in));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.size(), out);
    EXPECT_EQ(r.err, std::to_string(in) + "\n");
}

TEST(QELProcessTest, LargeOutputOnBothPipesIsCollectedWhole)
{
    const size_t outSize = 8 * 1024 * 1024 + 17, errSize = 6 * 1024 * 1024 + 5;
    ChildRun r = runChild({"big", std::to_string(outSize), std::to_string(errSize)});
    EXPECT_EQ(r.status, 0);
    ASSERT_EQ(r.out.size(), outSize);
    ASSERT_EQ(r.err.size(), errSize);
    EXPECT_TRUE(r.out == pattern('a', outSize));
    EXPECT_TRUE(r.err == pattern('A', errSize));
}

TEST(QELProcessTest, HundredMegabytesOfOutputArrive)
{
    ChildRun r = runShell("yes abcdefghijklmnopqrstuvwxyz | head -c 104857600");
    EXPECT_EQ(r.status, 0);
    ASSERT_EQ(r.out.size(), 104857600u);
    static const char line[] = "abcdefghijklmnopqrstuvwxyz\n";
    size_t wrong = 0;
    for (size_t i = 0; i < r.out.size(); i++)
        wrong += r.out[i] != line[i % 27];
    EXPECT_EQ(wrong, 0u);
}

TEST(QELProcessTest, ChildKilledBySignalMidOutputReportsTheSignal)
{
    struct Case {
        int signal;
        size_t bytes;
    } cases[] = {{SIGKILL, 0}, {SIGKILL, 3000000}, {SIGSEGV, 100000}, {SIGTERM, 12288}};
    for (const Case& k : cases) {
        ChildRun r = runChild({"signal", std::to_string(k.signal), std::to_string(k.bytes)});
        EXPECT_TRUE(r.started);
        ASSERT_TRUE(WIFSIGNALED(r.status)) << k.signal;
        EXPECT_EQ(WTERMSIG(r.status), k.signal);
        EXPECT_EQ(r.out.size(), k.bytes);
        EXPECT_EQ(r.err, "dying\n");
    }
}

TEST(QELProcessTest, ChildThatClosesItsOutputEarlyIsStillWaitedFor)
{
    auto start = std::chrono::steady_clock::now();
    ChildRun r = runChild({"close-early", "300"});
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(r.out, "bye\n");
    ASSERT_TRUE(WIFEXITED(r.status));
    EXPECT_EQ(WEXITSTATUS(r.status), 4);
    EXPECT_GE(seconds, 0.25);
}

TEST(QELProcessTest, ChildThatDoesNotReadItsInputDoesNotKillTheCaller)
{
    sigset_t before, after, pending;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    struct sigaction actionBefore, actionAfter;
    sigaction(SIGPIPE, nullptr, &actionBefore);
    ChildRun r = runShell("exit 7", pattern('p', 4 * 1024 * 1024));
    EXPECT_TRUE(r.started);
    EXPECT_EQ(WEXITSTATUS(r.status), 7);
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    sigaction(SIGPIPE, nullptr, &actionAfter);
    EXPECT_EQ(sigismember(&before, SIGPIPE), sigismember(&after, SIGPIPE));
    EXPECT_EQ(actionBefore.sa_handler, actionAfter.sa_handler);
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

namespace {

// The bits of one "Sig...:" line of a /proc status text.
unsigned long long signalField(const std::string& status, const std::string& name)
{
    size_t at = status.find(name + ":\t");
    return at == std::string::npos ? ~0ULL : std::stoull(status.substr(at + name.size() + 2, 16), nullptr, 16);
}

unsigned long long signalBit(int number)
{
    return 1ULL << (number - 1);
}

void noteSignal(int)
{
}

} // namespace

// The program starts with the caller's signal mask and ignored signals, as
// after fork and execv, and no handler of the caller; the caller's own mask
// and handlers are as they were.
TEST(QELProcessTest, ChildStartsWithTheCallersMaskAndIgnoredSignals)
{
    sigset_t usr1, before, during;
    sigemptyset(&usr1);
    sigaddset(&usr1, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &usr1, &before);
    struct sigaction ignore = {}, handle = {}, oldUsr2, oldHup, hupAfter;
    ignore.sa_handler = SIG_IGN;
    handle.sa_handler = noteSignal;
    sigaction(SIGUSR2, &ignore, &oldUsr2);
    sigaction(SIGHUP, &handle, &oldHup);

    QELString out, err;
    QELString args[] = {QELString("^Sig"), QELString("/proc/self/status")};
    int status = -1;
    EXPECT_TRUE(launchInSeparateProcess(QELString("/bin/grep"), 2, args, &status, emptyString, &out, &err, nullptr,
                                        nullptr));
    pthread_sigmask(SIG_SETMASK, nullptr, &during);
    sigaction(SIGHUP, nullptr, &hupAfter);
    sigaction(SIGUSR2, &oldUsr2, nullptr);
    sigaction(SIGHUP, &oldHup, nullptr);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);

    EXPECT_EQ(0, status);
    const std::string text(out.p, static_cast<size_t>(out.len));
    EXPECT_EQ(signalBit(SIGUSR1), signalField(text, "SigBlk") & signalBit(SIGUSR1)) << text;
    EXPECT_EQ(signalBit(SIGUSR2), signalField(text, "SigIgn") & signalBit(SIGUSR2)) << text;
    EXPECT_EQ(0u, signalField(text, "SigCgt") & signalBit(SIGHUP)) << text;
    EXPECT_EQ(1, sigismember(&during, SIGUSR1));
    EXPECT_EQ(0, sigismember(&during, SIGHUP));
    EXPECT_EQ(reinterpret_cast<void*>(noteSignal), reinterpret_cast<void*>(hupAfter.sa_handler));
}

// A signal that interrupts the wait for the child (a handler installed
// without SA_RESTART) does not lose the child's status: the wait is resumed,
// and after it ends the stale EINTR left in errno changes nothing.
TEST(QELProcessTest, WaitInterruptedByASignalStillStoresTheStatus)
{
    struct sigaction interrupt = {}, previous;
    interrupt.sa_handler = noteSignal; // no SA_RESTART: waitpid fails with EINTR
    sigaction(SIGUSR1, &interrupt, &previous);
    const pthread_t caller = pthread_self();
    std::thread signaller([caller] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        pthread_kill(caller, SIGUSR1);
    });
    QELString args[] = {QELString("-c"), QELString("sleep 0.6; exit 3")};
    int status = -1;
    bool started = launchInSeparateProcess(QELString("/bin/sh"), 2, args, &status, emptyString, nullptr, nullptr,
                                           nullptr, nullptr);
    signaller.join();
    sigaction(SIGUSR1, &previous, nullptr);
    EXPECT_TRUE(started);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(3, WEXITSTATUS(status));
}

// A SIGPIPE that was already pending for the caller is the caller's: the
// writes leave it pending instead of consuming it with their own.
TEST(QELProcessTest, CallersPendingPipeSignalStaysPending)
{
    sigset_t pipeSignal, before, pending;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, &before);
    pthread_kill(pthread_self(), SIGPIPE);
    ChildRun r = runShell("exit 7", pattern('p', 4 * 1024 * 1024));
    EXPECT_EQ(WEXITSTATUS(r.status), 7);
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 1);
    struct timespec zero = {0, 0};
    EXPECT_EQ(sigtimedwait(&pipeSignal, nullptr, &zero), SIGPIPE);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(QELProcessTest, JoinedOutputArrivesInErrorInWritingOrder)
{
    QELString both;
    QELString args[] = {QELString("-c"), QELString("echo a; echo b >&2; echo c; echo d >&2")};
    int status = -1;
    EXPECT_TRUE(launchInSeparateProcess(QELString("/bin/sh"), 2, args, &status, emptyString, &both, &both, nullptr,
                                        nullptr));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(str(both), "a\nb\nc\nd\n");
}

TEST(QELProcessTest, NullOutputAndErrorJoinAndStillFeedTheLog)
{
    CollectingLog log(6);
    QELString args[] = {QELString("-c"), QELString("echo from-out; echo from-err >&2")};
    int status = -1;
    EXPECT_TRUE(launchInSeparateProcess(QELString("/bin/sh"), 2, args, &status, emptyString, nullptr, nullptr, &log,
                                        nullptr));
    EXPECT_EQ(status, 0);
    ASSERT_EQ(log.events.size(), 2u);
    EXPECT_EQ(str(log.events[0].message), "from-out");
    EXPECT_EQ(str(log.events[1].message), "from-err");
}

TEST(QELProcessTest, OutputOnlyLeavesErrorUncollectedButLogged)
{
    CollectingLog log(6);
    QELString out;
    QELString args[] = {QELString("-c"), QELString("echo o; echo e >&2")};
    EXPECT_TRUE(launchInSeparateProcess(QELString("/bin/sh"), 2, args, nullptr, emptyString, &out, nullptr, &log,
                                        nullptr));
    EXPECT_EQ(str(out), "o\n");
    ASSERT_EQ(log.events.size(), 1u);
    EXPECT_EQ(str(log.events[0].message), "e");
}

TEST(QELProcessTest, OutputIsAppendedToWhatTheStringsHeld)
{
    QELString out("old out|"), err("old err|");
    QELString args[] = {QELString("-c"), QELString("printf new; printf NEW >&2")};
    EXPECT_TRUE(launchInSeparateProcess(QELString("/bin/sh"), 2, args, nullptr, emptyString, &out, &err, nullptr,
                                        nullptr));
    EXPECT_EQ(str(out), "old out|new");
    EXPECT_EQ(str(err), "old err|NEW");
}

TEST(QELProcessTest, NulByteCutsThePieceShort)
{
    ChildRun r = runShell("printf 'ab\\000cd'");
    EXPECT_EQ(r.out, "ab");
    // A piece that starts with a NUL adds nothing at all.
    r = runShell("printf '\\000lost'");
    EXPECT_EQ(r.out, "");
}

TEST(QELProcessTest, ChildRunsInTheGivenDirectory)
{
    ChildRun r = run(CHILD, {"pwd"}, "", nullptr, "/");
    EXPECT_EQ(r.out, "/\n");
    char* real = realpath(QEL_TEST_BIN_DIR, nullptr);
    ASSERT_NE(real, nullptr);
    // A relative command is taken from the new directory.
    ChildRun rel = run("./qelchild", {"pwd"}, "", nullptr, QEL_TEST_BIN_DIR);
    EXPECT_EQ(rel.status, 0);
    EXPECT_EQ(rel.out, std::string(real) + "\n");
    free(real);
}

TEST(QELProcessTest, MissingDirectoryIsIgnored)
{
    char here[4096];
    ASSERT_NE(getcwd(here, sizeof here), nullptr);
    ChildRun r = run(CHILD, {"pwd"}, "", nullptr, "/nonexistent/directory");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, std::string(here) + "\n");
}

TEST(QELProcessTest, NoPipeEndLeaksIntoTheChild)
{
    int extra = open("/dev/null", O_RDONLY); // without close-on-exec: inherited as usual
    ASSERT_GE(extra, 0);
    std::vector<std::string> inheritable = {"0", "1", "2"};
    for (int fd = 3; fd < 1024; fd++) {
        int flags = fcntl(fd, F_GETFD);
        if (flags != -1 && !(flags & FD_CLOEXEC))
            inheritable.push_back(std::to_string(fd));
    }
    ChildRun r = runChild({"fds"});
    close(extra);
    std::vector<std::string> fds = lines(r.out);
    ASSERT_GE(fds.size(), 4u);
    EXPECT_EQ(fds[0], "0");
    EXPECT_EQ(fds[1], "1");
    EXPECT_EQ(fds[2], "2");
    EXPECT_NE(std::find(fds.begin(), fds.end(), std::to_string(extra)), fds.end());
    // Only what the caller left open without close-on-exec reaches the child.
    for (const std::string& fd : fds)
        EXPECT_NE(std::find(inheritable.begin(), inheritable.end(), fd), inheritable.end()) << fd;
}

TEST(QELProcessTest, NoDescriptorOrThreadLeaksOverAThousandRuns)
{
    int fdsBefore = countEntries("/proc/self/fd");
    int threadsBefore = countEntries("/proc/self/task");
    for (int i = 0; i < 1000; i++) {
        QELString out, err;
        int status = -1;
        ASSERT_TRUE(launchInSeparateProcess(QELString("/bin/true"), 0, nullptr, &status,
                                            i % 2 ? QELString("input") : emptyString, &out, &err, nullptr, nullptr));
        ASSERT_EQ(status, 0);
    }
    EXPECT_EQ(countEntries("/proc/self/fd"), fdsBefore);
    EXPECT_EQ(countEntries("/proc/self/task"), threadsBefore);
}

TEST(QELProcessTest, ExecInSeparateProcessReturnsAtOnce)
{
    char pattern[4096];
    const char* tmp = getenv("TMPDIR");
    snprintf(pattern, sizeof pattern, "%s/qelprocessXXXXXX", tmp != nullptr && tmp[0] ? tmp : P_tmpdir);
    ASSERT_NE(mkdtemp(pattern), nullptr);
    std::string directory = pattern;
    QELString args[] = {QELString("-c"), QELString("sleep 1; pwd > marker")};
    auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(execInSeparateProcess(QELString("/bin/sh"), 2, args, directory.c_str()));
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_LT(seconds, 0.9);
    std::string marker = directory + "/marker";
    struct stat st;
    EXPECT_NE(stat(marker.c_str(), &st), 0);
    for (int i = 0; i < 100 && (stat(marker.c_str(), &st) != 0 || st.st_size == 0); i++)
        usleep(50 * 1000);
    std::ifstream in(marker);
    std::string written;
    std::getline(in, written);
    char* real = realpath(directory.c_str(), nullptr);
    EXPECT_EQ(written, real != nullptr ? real : "");
    free(real);
    unlink(marker.c_str());
    rmdir(directory.c_str());
}

// ---------------------------------------------------------------------------
// Log records from the child: the whole road

TEST(QELProcessTest, ChildEventsReachTheParentLogFilteredByLevel)
{
    CollectingLog collected(3);
    ChildRun r = runChild({"log"}, "", &collected);
    EXPECT_EQ(r.status, 0);
    // Raw text: all six framed records and the plain lines, in order.
    std::vector<std::string> errLines = lines(r.err);
    ASSERT_EQ(errLines.size(), 12u) << r.err;
    for (int level = 1; level <= 6; level++) {
        EXPECT_EQ(errLines[2 * (level - 1)].compare(0, 17, "<!-- QELLog size="), 0);
        EXPECT_NE(errLines[2 * (level - 1)].find(std::string("type=\"") + MESSAGE_XML_TYPES[level] + "\""),
                  std::string::npos);
        EXPECT_EQ(errLines[2 * level - 1], "plain error line " + std::to_string(level));
    }
    EXPECT_EQ(r.out, "output line 1\noutput line 2\noutput line 3\noutput line 4\noutput line 5\noutput line 6\n");
    // Levels 1 to 3 and the plain lines (level 0) pass a log at level 3.
    std::vector<std::string> seen;
    for (const QELLogEvent& e : collected.events)
        seen.push_back(std::to_string(e.type) + ":" + str(e.code) + ":" + str(e.message));
    std::vector<std::string> expected = {
        "1:C1:child event 1", "0::plain error line 1", "2:C2:child event 2", "0::plain error line 2",
        "3:C3:child event 3", "0::plain error line 3", "0::plain error line 4", "0::plain error line 5",
        "0::plain error line 6",
    };
    EXPECT_EQ(seen, expected);
    ASSERT_GE(collected.events.size(), 3u);
    EXPECT_EQ(str(collected.events[2].stackTrace), "at child.cpp:2");
}

TEST(QELProcessTest, ChildEventsPrintThroughATextLog)
{
    QELBufferedTextLog log;
    log.setLogLevel(2);
    ChildRun r = runChild({"log"}, "", &log);
    std::string expected;
    for (int level = 1; level <= 6; level++) {
        if (level == 1)
            expected += "<FATAL>   child event 1\n";
        if (level == 2)
            expected += "<ERROR>   child event 2\nat child.cpp:2\n";
        expected += "          plain error line " + std::to_string(level) + "\n";
    }
    EXPECT_EQ(str(log.getBuffer()), expected);
}

TEST(QELProcessTest, ThousandsOfRandomEventsRoundTripFieldByField)
{
    for (uint64_t seed : {11u, 12u, 13u}) {
        const int count = 1500;
        CollectingLog log(6);
        ChildRun r = runChild({"roundtrip", std::to_string(seed), std::to_string(count)}, "", &log);
        EXPECT_EQ(r.status, 0);
        QELTestRandom random(seed);
        QELLogEventXmlFormatter formatter;
        std::string raw;
        ASSERT_EQ(log.events.size(), static_cast<size_t>(count)) << "seed " << seed;
        for (int i = 0; i < count; i++) {
            QELLogEvent want = randomLogEvent(random, 40);
            raw += str(formatter.formatEvent(want));
            const QELLogEvent& got = log.events[i];
            std::string at = "seed " + std::to_string(seed) + " event " + std::to_string(i);
            EXPECT_EQ(str(got.message), str(want.message)) << at;
            EXPECT_EQ(str(got.code), str(want.code)) << at;
            EXPECT_EQ(got.type, want.type) << at;
            EXPECT_EQ(str(got.stackTrace), str(want.stackTrace)) << at;
            EXPECT_EQ(str(got.timestamp.getXmlTimestamp()), str(want.timestamp.getXmlTimestamp())) << at;
        }
        EXPECT_TRUE(r.err == raw) << "seed " << seed;
    }
}

TEST(QELProcessTest, ParentBufferedXmlLogRewritesTheChildRecordsByteForByte)
{
    // Every event of the child passes a level-6 parent log, whose XML form
    // is then exactly what the child wrote.
    QELBufferedXmlLog log;
    log.setLogLevel(6);
    ChildRun r = runChild({"roundtrip", "21", "2000"}, "", &log);
    EXPECT_EQ(r.status, 0);
    EXPECT_GT(r.err.size(), 100000u);
    EXPECT_TRUE(str(log.getBuffer()) == r.err);
    // At level 2 only the fatal and error events are kept.
    QELBufferedXmlLog strict;
    strict.setLogLevel(2);
    ChildRun s = runChild({"roundtrip", "21", "2000"}, "", &strict);
    QELTestRandom random(21);
    QELLogEventXmlFormatter formatter;
    std::string expected;
    for (int i = 0; i < 2000; i++) {
        QELLogEvent e = randomLogEvent(random, 40);
        if (e.type <= 2)
            expected += str(formatter.formatEvent(e));
    }
    EXPECT_TRUE(str(strict.getBuffer()) == expected);
    EXPECT_TRUE(s.err == r.err);
}

TEST(QELProcessTest, UnterminatedLastPieceOfErrorIsDroppedFromTheLogOnly)
{
    CollectingLog log(6);
    ChildRun r = runChild({"no-line-end"}, "", &log);
    EXPECT_EQ(r.status, 0);
    ASSERT_EQ(log.events.size(), 1u);
    EXPECT_EQ(str(log.events[0].message), "complete");
    EXPECT_EQ(log.events[0].type, 3);
    EXPECT_NE(r.err.find("unterminated tail"), std::string::npos);
    EXPECT_EQ(r.err.compare(r.err.size() - 17, 17, "unterminated tail"), 0);
}

namespace {

// Without reader threads both pipes are read in the calling thread: exits
// with 0 when output, error and status arrived whole.
void runWithoutThreads()
{
    if (!forbidThreads())
        _exit(3);
    QELString out, err;
    int status = -7;
    bool started = launchInSeparateProcess(QELString("/bin/sh"), 2,
                                           std::vector<QELString>{QELString("-c"), QELString("echo out; echo err >&2; exit 4")}.data(),
                                           &status, emptyString, &out, &err, nullptr, nullptr);
    _exit(!started ? 1 : str(out) != "out\n" ? 2 : str(err) != "err\n" ? 4 : WEXITSTATUS(status) != 4 ? 5 : 0);
}

// Without pipes the child still runs on the caller's own streams and its
// status arrives; nothing is collected. Exits with 0 when so.
void runWithoutPipes()
{
    if (!forbidPipes())
        _exit(3);
    QELString out, err;
    int status = -7;
    bool started = launchInSeparateProcess(QELString("/bin/sh"), 2,
                                           std::vector<QELString>{QELString("-c"), QELString("exit 6")}.data(),
                                           &status, QELString("input"), &out, &err, nullptr, nullptr);
    _exit(!started ? 1 : !str(out).empty() || !str(err).empty() ? 2 : WEXITSTATUS(status) != 6 ? 4 : 0);
}

// With the caller's standard input closed, the new pipes would take
// descriptor 0: they are moved above 2, so that the child's input is the
// pipe. Exits with 0 when cat echoed its input.
void runWithStandardInputClosed()
{
    close(0);
    QELString out;
    int status = -7;
    launchInSeparateProcess(QELString("/bin/cat"), 0, nullptr, &status, QELString("through the pipe"), &out,
                            nullptr, nullptr, nullptr);
    _exit(str(out) == "through the pipe" && WEXITSTATUS(status) == 0 ? 0 : 1);
}

// Runs both exec forms with forks forbidden and exits with 0 when both
// returned false, left the status alone and closed every pipe end.
void runWithoutForks()
{
    if (!forbidForks())
        _exit(3);
    int before = countEntries("/proc/self/fd");
    QELString out, err;
    int status = -7;
    bool started = launchInSeparateProcess(QELString("/bin/true"), 0, nullptr, &status, QELString("in"), &out, &err,
                                           nullptr, nullptr);
    bool detached = execInSeparateProcess(QELString("/bin/true"), 0, nullptr, nullptr);
    int after = countEntries("/proc/self/fd");
    _exit(started ? 1 : detached ? 2 : status != -7 ? 4 : after != before ? 5 : 0);
}

} // namespace

TEST(QELProcessDeathTest, FailedForkReturnsFalseAndClosesEveryPipeEnd)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // Exit code 0: forks forbidden, exec false, no descriptor left open.
    EXPECT_EXIT(runWithoutForks(), ::testing::ExitedWithCode(0), "");
}

TEST(QELProcessDeathTest, WithoutThreadsBothPipesAreReadByTheCaller)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(runWithoutThreads(), ::testing::ExitedWithCode(0), "");
}

TEST(QELProcessDeathTest, WithoutPipesTheChildStillRunsAndItsStatusArrives)
{
#ifdef QEL_TEST_SANITIZED
    GTEST_SKIP() << "the sanitizers' runtime checks memory through a pipe of its own, which this test forbids";
#endif
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(runWithoutPipes(), ::testing::ExitedWithCode(0), "");
}

TEST(QELProcessDeathTest, PipesStayAboveTheStandardDescriptors)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(runWithStandardInputClosed(), ::testing::ExitedWithCode(0), "");
}

TEST(QELProcessDeathTest, UnknownAttributeFromChildStopsTheParent)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            QELString err;
            QELString args[] = {QELString("unknown-attribute")};
            int status;
            launchInSeparateProcess(QELString(CHILD.c_str()), 1, args, &status, emptyString, nullptr, &err,
                                    nullptr, nullptr);
        },
        AssertionReportAt("QELLog.cpp", 333, "void startLogEventElement(void*, const char*, const char**)", "0"));
}
