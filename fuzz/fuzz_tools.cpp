// fuzz_tools: the tools' record path (QELLogReader and qellog's printer) on
// any byte stream, cut at fuzzer-chosen points, with a small piece size so
// that long lines are reached. Properties: nothing stops the process, in any
// output form; no plain event is longer than a piece or holds a line end;
// the events do not depend on where the stream was cut; and the records
// printed as XML read back to the same records.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "FuzzCheck.h"
#include "QELLogPrinter.h"
#include "QELLogReader.h"

namespace {

struct Collected {
    bool plain;
    int type;
    std::string code, message, stackTrace;
    bool operator==(const Collected& o) const
    {
        return plain == o.plain && type == o.type && code == o.code && message == o.message
               && stackTrace == o.stackTrace;
    }
};

class Collector : public QELLogEventSink {
public:
    std::vector<Collected> events;
    void event(const QELLogEvent& e, bool plain) override
    {
        events.push_back({ plain, e.type, e.code.chars(), e.message.chars(), e.stackTrace.chars() });
    }
};

std::vector<Collected> readAll(const std::string& input, const std::vector<size_t>& cuts, size_t pieceSize)
{
    Collector collector;
    QELLogReader reader(collector, pieceSize);
    size_t pos = 0;
    for (size_t cut : cuts) {
        size_t n = cut % (input.size() - pos + 1);
        reader.append(input.data() + pos, n);
        pos += n;
    }
    reader.append(input.data() + pos, input.size() - pos);
    reader.finish();
    return collector.events;
}

std::string print(const std::string& input, const QELLogPrintOptions& options, size_t pieceSize)
{
    char* text = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&text, &size);
    {
        QELLogPrinter printer(options, out, nullptr);
        QELLogReader reader(printer, pieceSize);
        reader.append(input.data(), input.size());
        reader.finish();
    }
    std::fclose(out);
    std::string printed(text, size);
    std::free(text);
    return printed;
}

// The text the XML form keeps: control characters other than tab, line
// feed and carriage return cannot be written in XML.
std::string xmlKept(const std::string& s)
{
    std::string kept;
    for (char c : s)
        if (static_cast<unsigned char>(c) >= 0x20 || c == '\t' || c == '\n' || c == '\r')
            kept += c;
    return kept;
}

std::vector<Collected> recordsOf(const std::vector<Collected>& events, bool keptInXml)
{
    std::vector<Collected> records;
    for (Collected e : events) {
        if (e.plain)
            continue;
        if (keptInXml) {
            e.code = xmlKept(e.code);
            e.message = xmlKept(e.message);
            e.stackTrace = xmlKept(e.stackTrace);
        }
        records.push_back(e);
    }
    return records;
}

bool plainHeader(const std::vector<Collected>& events)
{
    for (const Collected& e : events)
        if (e.plain && e.message.find("<!-- QELLog") != std::string::npos)
            return true;
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider provider(data, size);
    size_t pieceSize = provider.ConsumeIntegralInRange<size_t>(1, 64);
    QELLogPrintOptions options;
    options.output = static_cast<QELLogOutput>(provider.ConsumeIntegralInRange<int>(0, 3));
    options.level = provider.ConsumeIntegralInRange<int>(0, 6);
    options.plainLines = provider.ConsumeBool();
    options.colour = provider.ConsumeBool();
    std::vector<size_t> cuts(provider.ConsumeIntegralInRange<size_t>(0, 16));
    for (size_t& cut : cuts)
        cut = provider.ConsumeIntegral<uint16_t>();
    std::string input = provider.ConsumeRemainingBytesAsString();

    std::vector<Collected> cutEvents = readAll(input, cuts, pieceSize);
    for (const Collected& e : cutEvents)
        if (e.plain)
            FUZZ_CHECK(e.message.size() <= pieceSize && e.message.find_first_of("\r\n") == std::string::npos);
    std::vector<Collected> wholeEvents = readAll(input, {}, pieceSize);
    FUZZ_CHECK(wholeEvents == cutEvents);

    print(input, options, pieceSize);
    if (plainHeader(cutEvents))
        return 0;  // a plain line could frame a record of its own once printed
    QELLogPrintOptions xml;
    xml.output = QEL_OUTPUT_XML;
    std::vector<Collected> reread = readAll(print(input, xml, pieceSize), {}, pieceSize);
    FUZZ_CHECK(recordsOf(reread, false) == recordsOf(cutEvents, true));
    return 0;
}
