// qelrun: runs a program as a child of the library, streams this process's
// standard input to it, lets it write to this standard output, and replays
// the log events of its standard error on standard error as a text log.
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <unistd.h>

#include "QELStd.h"
#include "QELToolTexts.h"

namespace {

const char* const PROGRAM = "qelrun";

// Exit codes of a child that could not be run or was stopped, as timeout(1)
// and the shells have them.
const int EXIT_TIMED_OUT = 124;
const int EXIT_NOT_EXECUTABLE = 126;
const int EXIT_NOT_FOUND = 127;
const int EXIT_SIGNALED = 128;

struct RunOptions {
    const char* level = nullptr;
    const char* directory = nullptr;
    const char* timeout = nullptr;
    const char* killAfter = nullptr;
    bool help = false;
    bool version = false;
    int first = 0; // index of the program in argv
};

// The signal received last (SIGINT, SIGTERM or SIGHUP), to be passed on.
volatile sig_atomic_t forwardedSignal = 0;

extern "C" void rememberSignal(int signalNumber)
{
    forwardedSignal = signalNumber;
}

// Seconds with an optional suffix s, m, h or d, as timeout(1) takes them,
// in milliseconds. False when the text is not such a duration.
bool parseDuration(const char* text, int64_t& milliseconds)
{
    char* end = nullptr;
    errno = 0;
    double value = std::strtod(text, &end);
    if (end == text || errno != 0 || !std::isfinite(value) || value < 0)
        return false;
    double unit = 1;
    if (*end != '\0') {
        const char* suffixes = "smhd";
        const double units[] = { 1, 60, 3600, 86400 };
        const char* suffix = std::strchr(suffixes, *end);
        if (suffix == nullptr || end[1] != '\0')
            return false;
        unit = units[suffix - suffixes];
    }
    milliseconds = static_cast<int64_t>(std::ceil(value * unit * 1000));
    return milliseconds < (int64_t(1) << 50);
}

// The value of option `name` at argv[i] ("--name=value" or "--name value").
// Null when `word` is not that option; sets `missing` when it has no value.
const char* optionValue(int argc, char** argv, int& i, const char* name, bool& missing)
{
    size_t length = std::strlen(name);
    if (std::strncmp(argv[i], name, length) != 0)
        return nullptr;
    if (argv[i][length] == '=')
        return argv[i] + length + 1;
    if (argv[i][length] != '\0')
        return nullptr;
    if (i + 1 >= argc) {
        missing = true;
        return nullptr;
    }
    return argv[++i];
}

// Options end at the first word that is not one (the program) or at "--".
// Returns -1 when the command line is good, else the exit code of bad usage.
int parseOptions(int argc, char** argv, RunOptions& options)
{
    const char* names[] = { "--level", "--dir", "--timeout", "--kill-after" };
    const char** targets[] = { &options.level, &options.directory, &options.timeout, &options.killAfter };
    int i = 1;
    for (; i < argc && argv[i][0] == '-' && argv[i][1] != '\0'; i++) {
        const char* word = argv[i];
        if (std::strcmp(word, "--") == 0) {
            i++;
            break;
        }
        options.help = options.help || std::strcmp(word, "--help") == 0 || std::strcmp(word, "-h") == 0;
        options.version = options.version || std::strcmp(word, "--version") == 0;
        if (options.help || options.version)
            continue;
        bool missing = false;
        int matched = -1;
        for (int n = 0; n < 4 && matched < 0 && !missing; n++) {
            const char* value = optionValue(argc, argv, i, names[n], missing);
            if (value != nullptr) {
                *targets[n] = value;
                matched = n;
            }
        }
        if (missing)
            return toolUsage(PROGRAM, QELToolTexts::texts().missingArgument, QELString(word));
        if (matched < 0)
            return toolUsage(PROGRAM, QELToolTexts::texts().unknownOption, QELString(word));
    }
    options.first = i;
    if (!options.help && !options.version && i >= argc)
        return toolUsage(PROGRAM, QELToolTexts::texts().qelrunUsage);
    return -1;
}

// The runner's set-up from the options: the program looked up along PATH,
// input streamed from a pipe or file (none from a terminal), output straight
// to this standard output, the error stream only through the log. The child
// leads its own process group, so that a timeout or a forwarded signal
// reaches whatever it started too. Returns -1, or the exit code of bad usage.
int setUp(QELChildProcess& runner, const RunOptions& options, char** argv, QELLog& log)
{
    runner.program = QELString(argv[options.first]);
    for (int i = options.first + 1; argv[i] != nullptr; i++)
        runner.addArgument(QELString(argv[i]));
    runner.searchPath = true;
    runner.ownProcessGroup = true;
    if (options.directory != nullptr)
        runner.directory = QELString(options.directory);
    if (isatty(0))
        runner.streams[0] = QELChildProcess::Null;
    else
        runner.setInputDescriptor(0);
    runner.streams[1] = QELChildProcess::Inherit;
    runner.log = &log;
    runner.errorCallback = [](const char*, int) {}; // the log shows it; nothing is gathered
    QELString name = runner.program;
    runner.refusedRecordCallback = [name](const QELString&) {
        toolWarn(PROGRAM, QELToolTexts::texts().childRecordRefused, name);
    };
    int64_t timeout = -1, grace = -1;
    const char* bad = nullptr;
    if (options.timeout != nullptr && !parseDuration(options.timeout, timeout))
        bad = options.timeout;
    if (options.killAfter != nullptr && !parseDuration(options.killAfter, grace))
        bad = options.killAfter;
    if (bad != nullptr)
        return toolUsage(PROGRAM, QELToolTexts::texts().badDuration, QELString(bad));
    if (timeout > 0) // 0 means no timeout, as timeout(1) has it
        runner.setTimeout(timeout, grace);
    return -1;
}

void forwardSignals()
{
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = rememberSignal; // no SA_RESTART: the wait returns at once
    sigemptyset(&action.sa_mask);
    for (int signalNumber : { SIGINT, SIGTERM, SIGHUP })
        sigaction(signalNumber, &action, nullptr);
}

// Waits for the child, passing each signal received on to its group.
void waitForwarding(QELChildProcess& runner)
{
    while (!runner.wait(250)) {
        int signalNumber = forwardedSignal;
        forwardedSignal = 0;
        if (signalNumber != 0)
            runner.sendSignal(signalNumber);
    }
}

// The cause in this language, with the system's errno text.
QELString startCause(const QELChildProcess& runner)
{
    const QELToolTexts& texts = QELToolTexts::texts();
    if (runner.startCause == QELChildProcess::IsDirectory) // its EACCES says only "Permission denied"
        return fillLiteral(texts.causeIsDirectory, {});
    const QELParameterizedTextLiteral& cause = runner.startCause == QELChildProcess::NotFound ? texts.causeNotFound
        : runner.startCause == QELChildProcess::NotExecutable                                 ? texts.causeNotExecutable
                                                                                              : texts.causeNoProcess;
    return fillLiteral(cause, {}) + QELString(" (") + QELString(std::strerror(runner.startErrno)) + QELString(")");
}

int reportStartFailure(const QELChildProcess& runner, const RunOptions& options, const QELString& name)
{
    if (runner.startCause == QELChildProcess::DirectoryFailed) {
        toolError(PROGRAM, QELToolTexts::texts().cannotEnterDirectory, QELString(options.directory),
                  QELString(std::strerror(runner.startErrno)));
        return 1;
    }
    toolError(PROGRAM, QELToolTexts::texts().cannotStart, name, startCause(runner));
    if (runner.startCause == QELChildProcess::NotFound)
        return EXIT_NOT_FOUND;
    if (runner.startCause == QELChildProcess::SpawnFailed)
        return 1;
    return EXIT_NOT_EXECUTABLE;
}

// The child's exit code, or 124 after a timeout (128 + 9 when it had to be
// killed), or 128 + the signal that ended it; each but the first with one
// line saying why.
int reportEnd(const QELChildProcess& runner, const RunOptions& options, const QELString& name)
{
    if (runner.exited() && !runner.timedOut())
        return runner.exitCode();
    int signalNumber = runner.terminationSignal();
    QELString signalName(signalNumber != 0 ? strsignal(signalNumber) : "");
    if (runner.timedOut()) {
        toolError(PROGRAM, QELToolTexts::texts().childTimedOut, name, QELString(options.timeout));
        return signalNumber == SIGKILL ? EXIT_SIGNALED + SIGKILL : EXIT_TIMED_OUT;
    }
    toolError(PROGRAM, QELToolTexts::texts().childSignaled, name, QELString(signalNumber), signalName);
    return EXIT_SIGNALED + signalNumber;
}

} // namespace

int main(int argc, char** argv)
{
    RunOptions options;
    int usage = parseOptions(argc, argv, options);
    if (usage >= 0)
        return usage;
    if (options.help) {
        toolHelp(QELToolTexts::texts().qelrunHelp);
        return 0;
    }
    if (options.version) {
        std::printf("%s (QELStd) %s\n", PROGRAM, qelStdVersion());
        return 0;
    }
    QELTextLog log(std::cerr);
    int logLevel = getQELLogLevel();
    if (options.level != nullptr && !parseLevel(QELString(options.level), logLevel))
        return toolUsage(PROGRAM, QELToolTexts::texts().badLevel, QELString(options.level));
    log.setLogLevel(logLevel);

    QELChildProcess runner;
    usage = setUp(runner, options, argv, log);
    if (usage >= 0)
        return usage;
    QELString name(argv[options.first]);
    forwardSignals();
    if (!runner.start())
        return reportStartFailure(runner, options, name);
    waitForwarding(runner);
    std::cerr.flush();
    return reportEnd(runner, options, name);
}
