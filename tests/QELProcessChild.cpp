// qelchild: the child program that the process tests run. Built on the
// library; each mode exercises one side of a parent's exec call.
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "QELLogEventGenerator.h"
#include "QELChildWrite.h"
#include "QELStd.h"

static void writeText(int fd, const std::string& text)
{
    writeAll(fd, text.data(), text.size());
}

static size_t readAll(int fd)
{
    char piece[65536];
    size_t total = 0;
    for (;;) {
        ssize_t n = read(fd, piece, sizeof piece);
        if (n <= 0)
            return total;
        total += static_cast<size_t>(n);
    }
}

// `n` bytes of the repeating pattern that begins with `letter`, in lines of
// 64 characters plus a line feed.
static std::string pattern(char letter, size_t n)
{
    std::string text;
    text.reserve(n);
    for (size_t i = 0; i < n; i++)
        text += (i % 65 == 64) ? '\n' : static_cast<char>(letter + i % 65 % 26);
    return text;
}

// Identity as the library sees it, one value per line.
static int printIdentity()
{
    int pid = getProcessId();
    std::string text;
    text += std::to_string(pid) + "\n";
    text += std::to_string(getParentProcessId(0)) + "\n";
    text += std::to_string(getParentProcessId(123456)) + "\n";
    text += std::to_string(getppid()) + "\n";
    text += std::string(getProcessName(pid).chars()) + "\n";
    text += std::string(getProcessPath(pid).chars()) + "\n";
    text += std::string(getCommandLine().chars()) + "\n";
    writeText(1, text);
    return 0;
}

int main(int argc, char** argv)
{
    const char* identity = getenv("QELCHILD_IDENTITY");
    if (identity != NULL && identity[0] == '1')
        return printIdentity();
    if (argc < 2)
        return 2;
    std::string mode = argv[1];
    long a = argc > 2 ? atol(argv[2]) : 0;
    long b = argc > 3 ? atol(argv[3]) : 0;

    if (mode == "log") {
        // One event per level 1 to 6 through the library's standard-error
        // sink, a plain line on each stream between them.
        QEL_STDERR.setLogLevel(6);
        for (int level = 1; level <= 6; level++) {
            QELString message("child event ");
            message.append(QELString(level));
            QEL_STDERR.log(QELLogEvent(message, QELString("C").append(QELString(level)), level,
                                       level == 2 ? QELString("at child.cpp:2") : emptyString));
            fprintf(stderr, "plain error line %d\n", level);
            fflush(stderr);
            printf("output line %d\n", level);
            fflush(stdout);
        }
        return 0;
    }
    if (mode == "roundtrip") {
        // `b` random events from seed `a`, every one through QEL_STDERR.
        QEL_STDERR.setLogLevel(6);
        QELTestRandom random(static_cast<uint64_t>(a));
        for (long i = 0; i < b; i++)
            QEL_STDERR.log(randomLogEvent(random, 40));
        return 0;
    }
    if (mode == "unknown-attribute") {
        std::string record = "<Message type=\"INFO\" level=\"3\" timestamp=\"2006- 3-05T14:07:09Z\">x</Message>\n";
        char header[64];
        snprintf(header, sizeof header, "<!-- QELLog size=%-8d -->", static_cast<int>(record.size()));
        writeText(2, header + record);
        return 0;
    }
    if (mode == "echo") {
        char piece[65536];
        for (;;) {
            ssize_t n = read(0, piece, sizeof piece);
            if (n <= 0)
                return 0;
            writeAll(1, piece, static_cast<size_t>(n));
        }
    }
    if (mode == "count") {
        // Reads all input, then reports how many bytes came.
        size_t n = readAll(0);
        writeText(1, std::to_string(n) + "\n");
        return 0;
    }
    if (mode == "write-then-read") {
        // `a` bytes of output before reading any input, then the count.
        writeText(1, pattern('a', static_cast<size_t>(a)));
        size_t n = readAll(0);
        writeText(2, std::to_string(n) + "\n");
        return 0;
    }
    if (mode == "big") {
        // `a` bytes on standard output and `b` on standard error, in
        // alternating pieces so that both pipes fill at once.
        std::string out = pattern('a', static_cast<size_t>(a));
        std::string err = pattern('A', static_cast<size_t>(b));
        size_t o = 0, e = 0;
        const size_t piece = 50000;
        while (o < out.size() || e < err.size()) {
            size_t n = std::min(piece, out.size() - o);
            writeAll(1, out.data() + o, n);
            o += n;
            n = std::min(piece, err.size() - e);
            writeAll(2, err.data() + e, n);
            e += n;
        }
        return 0;
    }
    if (mode == "exit")
        return static_cast<int>(a);
    if (mode == "signal") {
        // `b` bytes of output, then death by signal `a`.
        writeText(1, pattern('a', static_cast<size_t>(b)));
        writeText(2, "dying\n");
        signal(static_cast<int>(a), SIG_DFL);
        raise(static_cast<int>(a));
        return 99;
    }
    if (mode == "pwd") {
        char directory[PATH_MAX];
        if (getcwd(directory, sizeof directory) == NULL)
            return 3;
        writeText(1, std::string(directory) + "\n");
        return 0;
    }
    if (mode == "pipe-sizes") {
        writeText(1, std::to_string(fcntl(0, F_GETPIPE_SZ)) + " " + std::to_string(fcntl(1, F_GETPIPE_SZ)) + " " +
                         std::to_string(fcntl(2, F_GETPIPE_SZ)) + "\n");
        return 0;
    }
    if (mode == "fds") {
        // The descriptors open in this process, one per line.
        std::string text;
        for (int fd = 0; fd < 1024; fd++)
            if (fcntl(fd, F_GETFD) != -1)
                text += std::to_string(fd) + "\n";
        writeText(1, text);
        return 0;
    }
    if (mode == "no-line-end") {
        QEL_STDERR.setLogLevel(6);
        QEL_STDERR.log(QELLogEvent(QELString("complete"), emptyString, 3, emptyString));
        writeText(2, "unterminated tail");
        return 0;
    }
    if (mode == "close-early") {
        // Closes both output streams, then lives on for `a` milliseconds.
        writeText(1, "bye\n");
        close(1);
        close(2);
        usleep(static_cast<useconds_t>(a) * 1000);
        return 4;
    }
    if (mode == "reexec") {
        // Runs this program again with the given argv[0] and arguments and
        // QELCHILD_IDENTITY=1, so that ps shows exactly that line.
        char self[PATH_MAX];
        ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
        if (n <= 0)
            return 5;
        self[n] = '\0';
        setenv("QELCHILD_IDENTITY", "1", 1);
        execv(self, argv + 2);
        return 6;
    }
    return 2;
}
