// qelrun: runs a program as a child of the library, feeds it this process's
// standard input, prints its standard output, and replays the log events of
// its standard error on the terminal as a text log.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "QELStd.h"
#include "QELToolTexts.h"

namespace {

const char* const PROGRAM = "qelrun";

// The library runs exactly the path it is given; a bare name is looked up
// along PATH here, as a shell would.
QELString resolveProgram(const char* name)
{
    if (std::strchr(name, '/') != nullptr)
        return QELString(name);
    const char* path = std::getenv("PATH");
    QELString dirs(path ? path : "/usr/local/bin:/usr/bin:/bin");
    int start = 0;
    for (int i = 0; i <= dirs.length(); i++) {
        if (i < dirs.length() && dirs.chars()[i] != ':')
            continue;
        QELString candidate = dirs.mid(start, i - start);
        start = i + 1;
        if (candidate.isEmpty())
            candidate = QELString(".");
        candidate.append('/').append(name);
        if (access(candidate.chars(), X_OK) == 0)
            return candidate;
    }
    return QELString(name);
}

// All of standard input, unless it is a terminal (nothing to feed then).
bool readStandardInput(QELString& input)
{
    if (isatty(0))
        return true;
    char chunk[65536];
    for (;;) {
        ssize_t n = read(0, chunk, sizeof chunk);
        if (n == 0)
            return true;
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        input.append(chunk, static_cast<int>(n));
    }
}

int exitCodeOf(int status)
{
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    if (WIFSIGNALED(status))
        return 128 + WTERMSIG(status);
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    int first = 1;
    const char* level = nullptr;
    const char* directory = nullptr;
    for (; first < argc && argv[first][0] == '-'; first++) {
        const char* option = argv[first];
        if (std::strcmp(option, "--") == 0) {
            first++;
            break;
        }
        if (std::strcmp(option, "--help") == 0 || std::strcmp(option, "-h") == 0) {
            toolHelp(QELToolTexts::texts().qelrunHelp);
            return 0;
        }
        bool valued = std::strcmp(option, "--level") == 0 || std::strcmp(option, "--dir") == 0;
        if (!valued)
            return toolUsage(PROGRAM, QELToolTexts::texts().unknownOption, QELString(option));
        if (first + 1 >= argc)
            return toolUsage(PROGRAM, QELToolTexts::texts().missingArgument, QELString(option));
        (option[2] == 'l' ? level : directory) = argv[++first];
    }
    if (first >= argc)
        return toolUsage(PROGRAM, QELToolTexts::texts().qelrunUsage);

    QELTextLog log(std::cerr);
    int logLevel = getQELLogLevel();
    if (level != nullptr && !parseLevel(QELString(level), logLevel))
        return toolUsage(PROGRAM, QELToolTexts::texts().badLevel, QELString(level));
    log.setLogLevel(logLevel);

    struct stat st;
    if (directory != nullptr && (stat(directory, &st) != 0 || !S_ISDIR(st.st_mode))) {
        toolError(PROGRAM, QELToolTexts::texts().noSuchDirectory, QELString(directory));
        return 1;
    }
    QELString command = resolveProgram(argv[first]);
    if (access(command.chars(), X_OK) != 0) {
        toolError(PROGRAM, QELToolTexts::texts().cannotRun, command);
        return 1;
    }
    std::vector<QELString> arguments(argv + first + 1, argv + argc);
    QELString input;
    if (!readStandardInput(input)) {
        toolError(PROGRAM, QELToolTexts::texts().cannotRead, QELString("-"));
        return 1;
    }
    QELString out;
    QELString err;
    int status = 0;
    if (!launchInSeparateProcess(command, static_cast<int>(arguments.size()), arguments.data(), &status,
                                 input, &out, &err, &log, directory)) {
        toolError(PROGRAM, QELToolTexts::texts().cannotRun, command);
        return 1;
    }
    std::cerr.flush();
    std::fwrite(out.chars(), 1, out.length(), stdout);
    std::fflush(stdout);
    return exitCodeOf(status);
}
