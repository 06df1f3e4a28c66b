// fuzz_logstream: QELLogDeserializer::append on any byte stream, cut at
// fuzzer-chosen points, then flush. Properties: the events account for every
// input byte (each plain line is the next stretch of input up to its line end,
// each record is a header and its N bytes), the buffer is empty after flush,
// and the events do not depend on where the stream was cut. A stream that the
// base deserializer would stop on goes through QELTolerantLogDeserializer,
// whose events and refusals must not depend on the cuts either.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "QELLogDeserializer.h"
#include "FuzzCheck.h"
#include "LogCollector.h"

namespace {

using fuzz::Collector;

bool attributeAllowed(const std::string& name)
{
    return name == "type" || name == "code" || name == "timestamp" || name == "stackTrace";
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Deliberate stop steered around: an attribute other than type, code,
// timestamp and stackTrace on a record's Message element stops the process
// (startLogEventElement asserts 0). Inputs with a Message start tag whose
// attributes are not all known, or that cannot be read here, go to the
// tolerant deserializer instead. (The parser refuses a DOCTYPE, so no
// attribute can come from a default or an entity.)
bool hasForbiddenAttribute(const std::string& s)
{
    for (size_t at = s.find("<Message"); at != std::string::npos; at = s.find("<Message", at + 1)) {
        size_t i = at + 8;
        if (i < s.size() && !isSpace(s[i]) && s[i] != '>' && s[i] != '/')
            continue; // another element name
        for (;;) {
            while (i < s.size() && isSpace(s[i]))
                i++;
            if (i >= s.size())
                return true;
            if (s[i] == '>' || s[i] == '/')
                break;
            size_t nameStart = i;
            while (i < s.size() && !isSpace(s[i]) && s[i] != '=' && s[i] != '>' && s[i] != '/')
                i++;
            if (!attributeAllowed(s.substr(nameStart, i - nameStart)))
                return true;
            while (i < s.size() && isSpace(s[i]))
                i++;
            if (i >= s.size() || s[i] != '=')
                return true;
            i++;
            while (i < s.size() && isSpace(s[i]))
                i++;
            if (i >= s.size() || (s[i] != '"' && s[i] != '\''))
                return true;
            size_t close = s.find(s[i], i + 1);
            if (close == std::string::npos)
                return true;
            i = close + 1;
        }
    }
    return false;
}

// The tolerant deserializer, for the inputs the base one stops on: it keeps
// the events and counts the refused records.
class TolerantRun : public QELTolerantLogDeserializer {
public:
    std::vector<fuzz::Seen> events;
    size_t refused = 0;
    TolerantRun() : QELTolerantLogDeserializer(nullptr) {}
    void processEvent(const QELLogEvent& event) override
    {
        FUZZ_CHECK(event.type >= 0 && event.type <= 6);
        events.push_back({event.type, std::string(event.message.p, event.message.len),
                          std::string(event.code.p, event.code.len),
                          std::string(event.stackTrace.p, event.stackTrace.len), event.timestamp});
    }
    void recordRefused(const QELString& record) override
    {
        FUZZ_CHECK(record.len >= 10);
        refused++;
    }
};

// Property for those inputs: the tolerant deserializer never stops the
// process, and its events and refusals do not depend on the cuts.
void checkTolerant(const std::string& input, const std::vector<size_t>& cuts)
{
    TolerantRun cutRun;
    size_t pos = 0;
    for (size_t cut : cuts) {
        if (pos >= input.size())
            break;
        size_t n = cut % (input.size() - pos + 1);
        cutRun.append(QELString(input.data() + pos, static_cast<int>(n)));
        pos += n;
    }
    cutRun.append(QELString(input.data() + pos, static_cast<int>(input.size() - pos)));
    cutRun.flush();
    FUZZ_CHECK(cutRun.buffer.len == 0);
    TolerantRun wholeRun;
    wholeRun.append(QELString(input.data(), static_cast<int>(input.size())));
    wholeRun.flush();
    FUZZ_CHECK(wholeRun.refused == cutRun.refused);
    FUZZ_CHECK(wholeRun.events.size() == cutRun.events.size());
    for (size_t i = 0; i < wholeRun.events.size(); i++)
        FUZZ_CHECK(wholeRun.events[i] == cutRun.events[i]);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider provider(data, size);
    size_t cutCount = provider.ConsumeIntegralInRange<size_t>(0, 16);
    std::vector<size_t> cuts;
    for (size_t i = 0; i < cutCount; i++)
        cuts.push_back(provider.ConsumeIntegral<uint16_t>());
    std::string input = provider.ConsumeRemainingBytesAsString();
    // The stream reaches the deserializer as terminated text (listenPipe cuts
    // at a NUL): make the bytes NUL-free so that lengths are the byte counts.
    for (char& c : input)
        if (c == '\0')
            c = '\1';
    if (hasForbiddenAttribute(input)) {
        checkTolerant(input, cuts);
        return 0;
    }

    // Cut where the fuzzer says, in order, each cut taken modulo the rest.
    Collector cutRun(input);
    size_t pos = 0;
    for (size_t cut : cuts) {
        if (pos >= input.size())
            break;
        size_t n = cut % (input.size() - pos + 1);
        QELString piece(input.data() + pos, static_cast<int>(n));
        cutRun.append(piece);
        pos += n;
    }
    QELString rest(input.data() + pos, static_cast<int>(input.size() - pos));
    cutRun.append(rest);
    cutRun.flushing = true;
    cutRun.flush();
    FUZZ_CHECK(cutRun.buffer.len == 0);
    FUZZ_CHECK(cutRun.offset == input.size());

    // The same stream in one piece gives the same events.
    Collector wholeRun(input);
    QELString whole(input.data(), static_cast<int>(input.size()));
    wholeRun.append(whole);
    wholeRun.flushing = true;
    wholeRun.flush();
    FUZZ_CHECK(wholeRun.offset == input.size());
    FUZZ_CHECK(wholeRun.events.size() == cutRun.events.size());
    for (size_t i = 0; i < wholeRun.events.size(); i++)
        FUZZ_CHECK(wholeRun.events[i] == cutRun.events[i]);
    return 0;
}
