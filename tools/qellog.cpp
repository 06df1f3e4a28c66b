// qellog: prints streams of framed XML log records and plain lines as text
// or re-framed XML, filtered by level; `qellog emit` writes one record to
// standard error through QEL_STDERR.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>
#include <vector>

#include "QELStd.h"
#include "QELToolTexts.h"

namespace {

const char* const PROGRAM = "qellog";

// Streams are read in pieces of this size, so memory stays constant however
// large the input (the deserializer keeps only an unfinished line or record).
const size_t CHUNK = 64 * 1024;

// Feeds one descriptor to the deserializer; false on a read error.
bool replay(int fd, QELLogDeserializer& deserializer)
{
    std::vector<char> chunk(CHUNK);
    for (;;) {
        ssize_t n = read(fd, chunk.data(), chunk.size());
        if (n == 0)
            return true;
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        // Text cannot hold NUL bytes: they are dropped, every other byte kept.
        char* end = std::remove(chunk.data(), chunk.data() + n, '\0');
        deserializer.append(QELString(chunk.data(), static_cast<int>(end - chunk.data())));
    }
}

int printStreams(const ToolArguments& args)
{
    int level = 6;
    if (args.has("--level") && !parseLevel(args.value("--level"), level))
        return toolUsage(PROGRAM, QELToolTexts::texts().badLevel, args.value("--level"));
    QELTextLog text(std::cout);
    QELXmlLog xml(std::cout);
    QELLog* log = args.has("--xml") ? static_cast<QELLog*>(&xml) : static_cast<QELLog*>(&text);
    log->setLogLevel(level);

    int status = 0;
    std::vector<QELString> files = args.words;
    if (files.empty())
        files.push_back(QELString("-"));
    for (const QELString& file : files) {
        bool standardInput = file == "-";
        int fd = standardInput ? 0 : open(file.chars(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            toolError(PROGRAM, QELToolTexts::texts().fileMissing, file);
            status = 1;
            continue;
        }
        QELLogDeserializer deserializer(log);
        if (!replay(fd, deserializer)) {
            toolError(PROGRAM, QELToolTexts::texts().cannotRead, file);
            status = 1;
        }
        deserializer.flush();
        if (!standardInput)
            close(fd);
    }
    std::cout.flush();
    return status;
}

int emit(const ToolArguments& args)
{
    int level = 0;
    if (!args.has("--level") || args.words.size() != 1)
        return toolUsage(PROGRAM, QELToolTexts::texts().qellogUsage);
    if (!parseLevel(args.value("--level"), level) || level < 1)
        return toolUsage(PROGRAM, QELToolTexts::texts().badLevel, args.value("--level"));
    QELLogEvent event(args.words[0], args.value("--code"), level, QELString());
    QEL_STDERR.log(event);
    std::cerr.flush();
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    ToolArguments args;
    bool emitting = argc > 1 && std::strcmp(argv[1], "emit") == 0;
    static const char* const valued[] = { "--level", "--code", nullptr };
    static const char* const flags[] = { "--xml", "--help", nullptr };
    QELString bad;
    if (!args.parse(argc - (emitting ? 2 : 1), argv + (emitting ? 2 : 1), valued, flags, bad))
        return toolUsage(PROGRAM, QELToolTexts::texts().unknownOption, bad);
    if (args.has("--help")) {
        toolHelp(QELToolTexts::texts().qellogHelp);
        return 0;
    }
    return emitting ? emit(args) : printStreams(args);
}
