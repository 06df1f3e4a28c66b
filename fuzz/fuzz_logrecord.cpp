// fuzz_logrecord: events of any content formatted by QELLogEventXmlFormatter,
// compared with the record built step by step from escapeXMLString and
// getXmlTimestamp, then read back through the deserializer between plain
// lines and cut at fuzzer-chosen points. Properties: the framed text is
// exactly that step-by-step record, every input byte is accounted for, and an
// event whose texts XML can carry comes back with the same type, code,
// message, stack trace and timestamp.
#include <cstdint>
#include <cstring>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>

#include "QELLog.h"
#include "QELLogDeserializer.h"
#include "QELText.h"
#include "FuzzCheck.h"
#include "LogCollector.h"

namespace {

const char* const TYPES[] = {"NONE", "FATAL", "ERROR", "WARNING", "STATUS", "INFO", "DEBUG"};

std::string text(const QELString& s) { return std::string(s.p, s.len); }

std::string reference(const QELLogEvent& e)
{
    std::string r = "<Message type=\"";
    r += TYPES[e.type];
    r += "\"";
    if (e.code.len > 0)
        r += " code=\"" + text(e.code) + "\"";
    r += " timestamp=\"" + text(e.timestamp.getXmlTimestamp()) + "\"";
    if (e.stackTrace.len > 0)
        r += " stackTrace=\"" + text(escapeXMLString(e.stackTrace)) + "\"";
    r += ">" + text(escapeXMLString(e.message)) + "</Message>\n";
    std::string number = std::to_string(r.size());
    if (number.size() < 8)
        number.resize(8, ' ');
    return "<!-- QELLog size=" + number + " -->" + r;
}

// Text that XML carries unchanged: printable ASCII, and tab, line feed and
// carriage return (which escapeXMLString turns into character references).
bool carried(const std::string& s, bool attribute)
{
    for (unsigned char c : s) {
        if (c >= 0x80 || (c < 32 && (attribute || (c != 9 && c != 10 && c != 13))))
            return false;
        if (attribute && (c == '"' || c == '<' || c == '&'))
            return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider provider(data, size);
    const int type = provider.ConsumeIntegralInRange<int>(0, 6);
    QELDate stamp;
    if (provider.ConsumeBool()) {
        stamp.setDate(static_cast<long>(provider.ConsumeIntegralInRange<int64_t>(-4000000000LL, 8000000000LL)));
    } else { // any field values at all, out of range included
        stamp.year = provider.ConsumeIntegral<int16_t>();
        stamp.month = provider.ConsumeIntegral<uint16_t>();
        stamp.day = provider.ConsumeIntegral<uint16_t>();
        stamp.hour = provider.ConsumeIntegral<uint16_t>();
        stamp.minute = provider.ConsumeIntegral<uint16_t>();
        stamp.second = provider.ConsumeIntegral<uint16_t>();
        stamp.isNull = provider.ConsumeBool();
    }
    const std::string code = nulFree(provider.ConsumeRandomLengthString(40));
    const std::string trace = nulFree(provider.ConsumeRandomLengthString(200));
    const std::string before = nulFree(provider.ConsumeRandomLengthString(40));
    size_t cuts[3];
    for (size_t& c : cuts)
        c = provider.ConsumeIntegral<uint16_t>();
    const std::string message = nulFree(provider.ConsumeRemainingBytesAsString());

    QELLogEvent event(QELString(message.c_str()), QELString(code.c_str()), type, QELString(trace.c_str()));
    event.timestamp = stamp;
    if (stamp.isNull)
        event.timestamp.isNull = true; // keep the fields: a null date is still written
    event.timestamp.year = stamp.year;
    event.timestamp.month = stamp.month;
    event.timestamp.day = stamp.day;
    event.timestamp.hour = stamp.hour;
    event.timestamp.minute = stamp.minute;
    event.timestamp.second = stamp.second;

    QELLogEventXmlFormatter formatter;
    QELString framed = formatter.formatEvent(event);
    const std::string want = reference(event);
    FUZZ_CHECK(text(framed) == want);

    // Deliberate stop steered around: the code is written unescaped, so a
    // double quote in it can smuggle in another attribute, which stops the
    // reading process (startLogEventElement asserts 0). Such events are
    // only formatted, not read back.
    if (code.find('"') != std::string::npos)
        return 0;
    // A plain line before, one after without its line end (flush delivers it).
    std::string plain = before;
    for (char& c : plain)
        if (c == '\r' || c == '\n')
            c = ' ';
    if (!plain.empty() && plain[0] == '<')
        plain[0] = ' '; // the plain line must not begin a header itself
    std::string stream = plain + "\n" + want + "after";
    fuzz::Collector collector(stream);
    size_t pos = 0;
    for (size_t cut : cuts) {
        size_t n = cut % (stream.size() - pos + 1);
        collector.append(QELString(stream.data() + pos, static_cast<int>(n)));
        pos += n;
    }
    collector.append(QELString(stream.data() + pos, static_cast<int>(stream.size() - pos)));
    collector.flushing = true;
    collector.flush();
    FUZZ_CHECK(collector.offset == stream.size());
    FUZZ_CHECK(collector.events.size() >= 3);
    FUZZ_CHECK(collector.events.front().message == plain);
    FUZZ_CHECK(collector.events.back().message == "after");

    if (carried(code, true) && carried(trace, false) && carried(message, false)) {
        // The record parses: exactly one event between the two plain lines.
        FUZZ_CHECK(collector.events.size() == 3);
        const fuzz::Seen& got = collector.events[1];
        FUZZ_CHECK(got.type == type);
        FUZZ_CHECK(got.code == code);
        FUZZ_CHECK(got.stackTrace == trace);
        FUZZ_CHECK(got.message == message);
        // The timestamp is what parsing its XML text gives.
        QELDate expected;
        QELString written = event.timestamp.getXmlTimestamp();
        expected.setDate(written);
        FUZZ_CHECK(got.timestamp.isNull == expected.isNull);
        FUZZ_CHECK(got.timestamp.year == expected.year && got.timestamp.month == expected.month &&
                   got.timestamp.day == expected.day && got.timestamp.hour == expected.hour &&
                   got.timestamp.minute == expected.minute && got.timestamp.second == expected.second);
    }
    return 0;
}
