// fuzz_childprocess: the runner's stream handling against random child
// behaviours. The input is a script for the scripted child (writes to either
// stream, reads of its input, log records, an early exit) followed by the
// bytes fed to its input, whole or through a callback in random pieces.
// Properties: the run ends, every byte the child wrote arrives in order,
// every record reaches the log, and the exit code is the script's.
#include <stddef.h>
#include <stdint.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "FuzzCheck.h"
#include "QELStd.h"

namespace {

// What the script makes the child produce.
struct Expected {
    std::string output;
    size_t errorBytes = 0;
    int records = 0;
    int exitCode = 0;
    size_t inputRead = 0; // input bytes the script reads (more may be given)
    bool readsAll = false;
    bool lineOpen = false; // error text without a line end: a record after it joins the line
};

std::string pattern(size_t n)
{
    std::string text(n, '\0');
    for (size_t i = 0; i < n; i++)
        text[i] = static_cast<char>('a' + i % 65536 % 26);
    return text;
}

// One step from two bytes; false when the script ends there.
bool addStep(uint8_t op, uint8_t size, const std::string& input, std::vector<std::string>& steps, Expected& e)
{
    size_t n = static_cast<size_t>(size) * 97;
    switch (op % 7) {
    case 0: steps.push_back("out:" + std::to_string(n)); e.output += pattern(n); break;
    case 1:
        steps.push_back("err:" + std::to_string(n));
        e.errorBytes += n;
        e.lineOpen = e.lineOpen || n > 0;
        break;
    case 2: steps.push_back("nul"); e.output += std::string("a\0b\0c", 5); break;
    case 3:
        steps.push_back("log:r" + std::to_string(size));
        e.records += !e.lineOpen;
        e.lineOpen = false; // the record ends with a line end
        break;
    case 4: {
        steps.push_back("in:" + std::to_string(n));
        size_t got = std::min(n, input.size() - std::min(e.inputRead, input.size()));
        e.inputRead += got;
        break;
    }
    case 5:
        steps.push_back("cat");
        e.output += input.substr(std::min(e.inputRead, input.size()));
        e.inputRead = input.size();
        e.readsAll = true;
        break;
    default: steps.push_back("exit:" + std::to_string(size)); e.exitCode = size; return false;
    }
    return true;
}

class CountingLog : public QELLog {
public:
    int records = 0;
    void log(const QELLogEvent& event) override { records += event.type == 2; }
};

std::string childPath()
{
    char self[4096];
    ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    self[n > 0 ? n : 0] = '\0';
    std::string path(self);
    return path.substr(0, path.rfind('/') + 1) + "qelscriptchild";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    size_t stepBytes = std::min<size_t>(data[0] % 16, (size - 2) / 2) * 2;
    bool whole = data[1] & 1;
    std::string input(reinterpret_cast<const char*>(data) + 2 + stepBytes, size - 2 - stepBytes);
    std::vector<std::string> steps;
    Expected expected;
    for (size_t i = 0; i < stepBytes && addStep(data[2 + i], data[3 + i], input, steps, expected); i += 2) {
    }

    static const std::string child = childPath();
    CountingLog log;
    QELChildProcess runner(QELString(child.c_str()));
    for (const std::string& step : steps)
        runner.addArgument(QELString(step.c_str()));
    runner.log = &log;
    runner.setTimeout(20000, 1000);
    size_t given = 0;
    if (whole) {
        runner.setInput(QELBlob(input.data(), static_cast<unsigned int>(input.size())));
    } else {
        runner.setInput([&](char* buffer, int capacity) {
            size_t piece = std::min({input.size() - given, static_cast<size_t>(capacity), size_t(1) + given % 7});
            memcpy(buffer, input.data() + given, piece);
            given += piece;
            return static_cast<int>(piece);
        });
    }
    FUZZ_CHECK(runner.run());
    FUZZ_CHECK(!runner.timedOut());
    FUZZ_CHECK(runner.exitCode() == expected.exitCode);
    FUZZ_CHECK(std::string(runner.output.p == NULL ? "" : runner.output.p, runner.output.size) == expected.output);
    FUZZ_CHECK(log.records == expected.records);
    FUZZ_CHECK(runner.errorOutput.size >= expected.errorBytes);
    FUZZ_CHECK(!expected.readsAll || runner.inputWritten == input.size());
    return 0;
}
