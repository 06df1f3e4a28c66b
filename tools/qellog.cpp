// qellog: prints streams of framed XML log records and plain lines as text,
// re-framed XML or JSON lines, filtered by level, time and pattern;
// `qellog emit` writes one record to standard error through QEL_STDERR.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <iostream>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "QELLogPrinter.h"
#include "QELLogReader.h"
#include "QELStd.h"
#include "QELToolTexts.h"

namespace {

const char* const PROGRAM = "qellog";

// Streams are read in pieces of this size; the reader keeps at most an
// unfinished record or a bounded piece of a line besides.
const size_t CHUNK = 64 * 1024;

// How long --follow waits at the end of the file before looking again.
const long FOLLOW_PAUSE_NANOSECONDS = 200 * 1000 * 1000;

struct ReadOptions {
    bool follow = false;
};

// At the end of a followed file: flushes what was printed, notices a
// truncated file (reading starts again at its beginning), and waits.
void waitForMore(int fd, QELLogReader& reader)
{
    std::fflush(stdout);
    struct stat st;
    off_t position = lseek(fd, 0, SEEK_CUR);
    if (fstat(fd, &st) == 0 && position >= 0 && st.st_size < position) {
        reader.finish();
        lseek(fd, 0, SEEK_SET);
        return;
    }
    struct timespec pause = { 0, FOLLOW_PAUSE_NANOSECONDS };
    nanosleep(&pause, nullptr);
}

// Feeds one descriptor to the reader; false on a read error (errno kept).
bool replay(int fd, QELLogReader& reader, const ReadOptions& options)
{
    std::vector<char> chunk(CHUNK);
    struct stat st;
    bool followable = options.follow && fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    while (!toolOutputFailed()) {
        ssize_t n = read(fd, chunk.data(), chunk.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;
        if (n == 0 && !followable)
            break;
        if (n == 0)
            waitForMore(fd, reader);
        else
            reader.append(chunk.data(), static_cast<size_t>(n));
    }
    reader.finish();
    return true;
}

int readFiles(const std::vector<QELString>& files, QELLogReader& reader, const ReadOptions& options)
{
    int status = 0;
    for (const QELString& file : files) {
        bool standardInput = file == "-";
        int fd = standardInput ? 0 : open(file.chars(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            toolSystemError(PROGRAM, QELToolTexts::texts().cannotOpenCause, file, errno);
            status = 1;
            continue;
        }
        if (!replay(fd, reader, options)) {
            toolSystemError(PROGRAM, QELToolTexts::texts().cannotOpenCause, file, errno);
            status = 1;
        }
        if (!standardInput)
            close(fd);
    }
    return status;
}

// One of `names` (the index into them), or a usage error naming the choices.
bool parseChoice(const ToolArguments& args, const char* option, const char* const* names, int& choice)
{
    QELString value = args.value(option);
    QELString valid;
    for (int i = 0; names[i] != nullptr; i++) {
        if (value == names[i])
            choice = i;
        valid.append(i == 0 ? "" : ", ").append(names[i]);
    }
    if (choice >= 0)
        return true;
    toolUsage(PROGRAM, QELToolTexts::texts().badChoice, value, QELString(option), valid);
    return false;
}

bool parseTimeOption(const ToolArguments& args, const char* option, int64_t& key)
{
    if (!args.has(option))
        return true;
    if (qelParseLogTime(args.value(option).chars(), std::time(nullptr), key))
        return true;
    toolUsage(PROGRAM, QELToolTexts::texts().badTime, args.value(option));
    return false;
}

bool wantsColour(const ToolArguments& args, bool& colour)
{
    static const char* const whens[] = { "auto", "always", "never", nullptr };
    int when = 0;
    if (args.has("--color") && (when = -1, !parseChoice(args, "--color", whens, when)))
        return false;
    const char* noColour = std::getenv("NO_COLOR");
    const char* term = std::getenv("TERM");
    bool terminal =
        isatty(1) && (noColour == nullptr || *noColour == '\0') && !(term != nullptr && std::strcmp(term, "dumb") == 0);
    colour = when == 1 || (when == 0 && terminal);
    return true;
}

// Fills the print options from the command line; false after reporting bad usage.
bool printOptions(const ToolArguments& args, QELLogPrintOptions& options, regex_t& pattern)
{
    static const char* const outputs[] = { "short", "full", "xml", "json", nullptr };
    int output = args.has("--xml") ? QEL_OUTPUT_XML : QEL_OUTPUT_SHORT;
    if (args.has("--output") && (output = -1, !parseChoice(args, "--output", outputs, output)))
        return false;
    options.output = static_cast<QELLogOutput>(output);
    if (args.has("--level") && !parseLevel(args.value("--level"), options.level)) {
        toolUsage(PROGRAM, QELToolTexts::texts().badLevel, args.value("--level"));
        return false;
    }
    options.plainLines = !args.has("--no-plain");
    if (!wantsColour(args, options.colour) || !parseTimeOption(args, "--since", options.since)
        || !parseTimeOption(args, "--until", options.until))
        return false;
    if (!args.has("--grep"))
        return true;
    int error = regcomp(&pattern, args.value("--grep").chars(), REG_EXTENDED | REG_NOSUB);
    if (error != 0) {
        char reason[256];
        regerror(error, &pattern, reason, sizeof reason);
        toolUsage(PROGRAM, QELToolTexts::texts().badPattern, args.value("--grep"), QELString(reason));
        return false;
    }
    options.pattern = &pattern;
    return true;
}

int printStreams(const ToolArguments& args)
{
    QELLogPrintOptions options;
    regex_t pattern;
    if (!printOptions(args, options, pattern))
        return 2;
    std::vector<QELString> files = args.words;
    if (files.empty())
        files.push_back(QELString("-"));
    ReadOptions readOptions;
    readOptions.follow = args.has("--follow");
    if (readOptions.follow && files.size() != 1)
        return toolUsage(PROGRAM, QELToolTexts::texts().followOneFile);
    QELLogPrinter printer(options, stdout, PROGRAM);
    QELLogReader reader(printer);
    int status = readFiles(files, reader, readOptions);
    if (options.pattern != nullptr)
        regfree(&pattern);
    return toolFinish(PROGRAM, status);
}

int emit(const ToolArguments& args)
{
    int level = 0;
    if (!args.has("--level") || args.words.size() != 1)
        return toolUsage(PROGRAM, QELToolTexts::texts().qellogUsage);
    if (!parseLevel(args.value("--level"), level) || level < 1)
        return toolUsage(PROGRAM, QELToolTexts::texts().badLevel, args.value("--level"));
    // The record's code attribute is written as it stands: escaped here, so
    // that a reader gets back the code that was given.
    QELLogEvent event(args.words[0], escapeXMLString(args.value("--code")), level, QELString());
    QEL_STDERR.log(event);
    std::cerr.flush();
    return std::cerr.fail() ? 1 : toolFinish(PROGRAM, 0);
}

} // namespace

int main(int argc, char** argv)
{
    ToolArguments args;
    bool emitting = argc > 1 && std::strcmp(argv[1], "emit") == 0;
    static const char* const valued[] = { "--level", "--code",  "--output", "--grep",
                                          "--since", "--until", "--color",  nullptr };
    static const char* const flags[] = { "--xml", "--no-plain", "--follow", "--help", "--version", nullptr };
    static const char* const emitValued[] = { "--level", "--code", nullptr };
    static const char* const emitFlags[] = { "--help", nullptr };
    QELString bad;
    // emit's message is its one operand: it may start with "-".
    bool parsed = emitting ? args.parse(argc - 2, argv + 2, emitValued, emitFlags, bad, true)
                           : args.parse(argc - 1, argv + 1, valued, flags, bad);
    if (!parsed)
        return toolBadOption(PROGRAM, args, bad);
    if (args.has("--help")) {
        toolHelp(QELToolTexts::texts().qellogHelp);
        return toolFinish(PROGRAM, 0);
    }
    if (args.has("--version")) {
        toolVersion(PROGRAM);
        return toolFinish(PROGRAM, 0);
    }
    return emitting ? emit(args) : printStreams(args);
}
