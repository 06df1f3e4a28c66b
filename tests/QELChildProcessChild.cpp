// qelscriptchild: the child program of the runner tests, benchmarks and fuzz
// target. Each argument is one step, run in order:
//   out:N  err:N   write N pattern bytes to standard output / error
//   nul            write "a\0b\0c" to standard output
//   cat            copy standard input to standard output until its end
//   count          read standard input to its end, print the byte count
//   in:N           read N bytes of standard input (fewer at its end)
//   log:TEXT       write a framed ERROR record with TEXT to standard error
//   badlog:TEXT    the same with an attribute no reader knows (xmlns)
//   fds            print each open descriptor (but the listing's own)
//   ignoreterm     ignore SIGTERM
//   grandchild     start a grandchild that prints its pid and sleeps
//   sleep:MS       sleep
//   closeout       close standard output
//   exit:N         exit with N (the default end is exit 0)
#include <dirent.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "QELChildWrite.h"
#include "QELStd.h"

static void writePattern(int fd, size_t n)
{
    char block[65536];
    for (size_t i = 0; i < sizeof block; i++)
        block[i] = static_cast<char>('a' + i % 26);
    while (n > 0) {
        size_t piece = n < sizeof block ? n : sizeof block;
        writeAll(fd, block, piece);
        n -= piece;
    }
}

// Reads up to `limit` bytes of standard input (all of it for SIZE_MAX),
// copying them to standard output when `echo`. Returns the count.
static size_t readInput(size_t limit, bool echo)
{
    char piece[65536];
    size_t total = 0;
    while (total < limit) {
        size_t want = limit - total < sizeof piece ? limit - total : sizeof piece;
        ssize_t n = read(0, piece, want);
        if (n <= 0)
            break;
        if (echo)
            writeAll(1, piece, static_cast<size_t>(n));
        total += static_cast<size_t>(n);
    }
    return total;
}

static void listDescriptors()
{
    DIR* dir = opendir("/proc/self/fd");
    if (dir == NULL)
        _exit(91);
    std::string text;
    for (struct dirent* entry = readdir(dir); entry != NULL; entry = readdir(dir))
        if (entry->d_name[0] != '.' && atoi(entry->d_name) != dirfd(dir))
            text += std::string(entry->d_name) + "\n";
    closedir(dir);
    writeAll(1, text.data(), text.size());
}

static void logRecord(const char* text)
{
    QELLogEventXmlFormatter formatter;
    QELLogEvent event(QELString(text), QELString("T1"), 2, QELString());
    QELString record = formatter.formatEvent(event);
    writeAll(2, record.chars(), static_cast<size_t>(record.length()));
}

// The record of logRecord with an xmlns attribute before its type, framed
// again for its new size.
static void logRecordWithUnknownAttribute(const char* text)
{
    QELLogEventXmlFormatter formatter;
    QELLogEvent event(QELString(text), QELString("T1"), 2, QELString());
    std::string record = formatter.formatEvent(event).chars();
    std::string body = record.substr(29);
    body.replace(body.find("<Message "), 9, "<Message xmlns=\"urn:qel\" ");
    char header[64];
    snprintf(header, sizeof header, "<!-- QELLog size=%-8zu -->", body.size());
    std::string framed = header + body;
    writeAll(2, framed.data(), framed.size());
}

static void startGrandchild()
{
    pid_t child = fork();
    if (child == 0) {
        std::string line = std::to_string(getpid()) + "\n";
        writeAll(1, line.data(), line.size());
        for (;;)
            pause();
    }
}

static void sleepMs(long ms)
{
    struct timespec t = {ms / 1000, (ms % 1000) * 1000000};
    nanosleep(&t, NULL);
}

// Runs one step; false for an unknown one.
static bool step(const std::string& word)
{
    std::string name = word.substr(0, word.find(':'));
    const char* value = word.find(':') == std::string::npos ? "" : word.c_str() + word.find(':') + 1;
    size_t number = strtoull(value, NULL, 10);
    if (name == "out" || name == "err")
        writePattern(name == "out" ? 1 : 2, number);
    else if (name == "nul")
        writeAll(1, "a\0b\0c", 5);
    else if (name == "cat" || name == "count" || name == "in") {
        size_t total = readInput(name == "in" ? number : SIZE_MAX, name == "cat");
        if (name == "count")
            printf("%zu\n", total), fflush(stdout);
    } else if (name == "log")
        logRecord(value);
    else if (name == "badlog")
        logRecordWithUnknownAttribute(value);
    else if (name == "fds")
        listDescriptors();
    else if (name == "ignoreterm")
        signal(SIGTERM, SIG_IGN);
    else if (name == "grandchild")
        startGrandchild();
    else if (name == "sleep")
        sleepMs(static_cast<long>(number));
    else if (name == "closeout")
        close(1);
    else if (name == "exit")
        _exit(static_cast<int>(number));
    else
        return false;
    return true;
}

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; i++)
        if (!step(argv[i]))
            return 99;
    return 0;
}
