// QELLogDeserializerModel: the deserializer tests' harness: frames and
// records as the formatter writes them, collectors that keep what a
// deserializer delivers, expectations on events, and random streams built
// together with the events they must give.
#ifndef QELLOGDESERIALIZERMODEL_H
#define QELLOGDESERIALIZERMODEL_H

#include <gtest/gtest.h>

#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include <algorithm>
#include <string>
#include <vector>

#include "QELLogDeserializer.h"
#include "QELLogEventGenerator.h"
#include "QELStd.h"

// The frame the XML formatter puts before a record of this many bytes.
inline std::string header(long size)
{
    char text[64];
    snprintf(text, sizeof text, "<!-- QELLog size=%-8ld -->", size);
    return text;
}

inline std::string frame(const std::string& record)
{
    return header(static_cast<long>(record.size())) + record;
}

inline std::string str(const QELString& s)
{
    return std::string(s.chars(), s.length());
}

inline QELString qs(const std::string& s)
{
    return QELString(s.data(), static_cast<int>(s.size()));
}

// A deserializer that keeps a copy of every event it delivers, and whether
// it came from a record (state 3 during delivery) or a plain line (state 2).
template <class Deserializer>
class CollectorOf : public Deserializer {
public:
    std::vector<QELLogEvent> events;
    std::vector<bool> fromRecord;
    CollectorOf() : Deserializer(NULL) {}
    void processEvent(const QELLogEvent& event) override
    {
        EXPECT_TRUE(this->state == 2 || this->state == 3);
        events.push_back(event);
        fromRecord.push_back(this->state == 3);
    }
    void feed(const std::string& text) { this->append(qs(text)); }
};
using Collector = CollectorOf<QELLogDeserializer>;

// A tolerant collector that also keeps each refused record, and how many
// events had been delivered when it was refused.
class TolerantCollector : public CollectorOf<QELTolerantLogDeserializer> {
public:
    std::vector<std::string> refused;
    std::vector<size_t> refusedAfter;
    void recordRefused(const QELString& record) override
    {
        refused.push_back(std::string(record.chars(), record.length()));
        refusedAfter.push_back(events.size());
    }
};

inline constexpr const char* SAMPLE_RECORD =
    "<Message type=\"WARNING\" code=\"E42\" timestamp=\"2006- 3-05T14:07:09Z\" "
    "stackTrace=\"at a&#10;at &lt;b&gt;\">a &lt;b&gt; &amp; &quot;c&quot;&#9;d</Message>\n";

inline void expectSample(const QELLogEvent& e)
{
    EXPECT_EQ(e.type, 3);
    EXPECT_EQ(str(e.code), "E42");
    EXPECT_EQ(str(e.stackTrace), "at a\nat <b>");
    EXPECT_EQ(str(e.message), "a <b> & \"c\"\td");
    EXPECT_FALSE(e.timestamp.isNull);
    EXPECT_EQ(e.timestamp.year, 2006);
    EXPECT_EQ(e.timestamp.month, 3);
    EXPECT_EQ(e.timestamp.day, 5);
    EXPECT_EQ(e.timestamp.hour, 14);
    EXPECT_EQ(e.timestamp.minute, 7);
    EXPECT_EQ(e.timestamp.second, 9);
}

inline void expectSameEvent(const QELLogEvent& got, const QELLogEvent& want, const std::string& context)
{
    EXPECT_EQ(str(got.message), str(want.message)) << context;
    EXPECT_EQ(str(got.code), str(want.code)) << context;
    EXPECT_EQ(got.type, want.type) << context;
    EXPECT_EQ(str(got.stackTrace), str(want.stackTrace)) << context;
    EXPECT_EQ(got.timestamp.year, want.timestamp.year) << context;
    EXPECT_EQ(got.timestamp.month, want.timestamp.month) << context;
    EXPECT_EQ(got.timestamp.day, want.timestamp.day) << context;
    EXPECT_EQ(got.timestamp.hour, want.timestamp.hour) << context;
    EXPECT_EQ(got.timestamp.minute, want.timestamp.minute) << context;
    EXPECT_EQ(got.timestamp.second, want.timestamp.second) << context;
}

inline void expectPlain(const QELLogEvent& e, const std::string& line)
{
    EXPECT_EQ(str(e.message), line);
    EXPECT_EQ(e.type, 0);
    EXPECT_TRUE(e.code.isEmpty());
    EXPECT_TRUE(e.stackTrace.isEmpty());
    long now = static_cast<long>(time(NULL));
    QELDate today(now);
    EXPECT_EQ(e.timestamp.year, today.year);
}

inline std::string formatted(const QELLogEvent& e)
{
    QELLogEventXmlFormatter formatter;
    return str(formatter.formatEvent(e));
}

// One expected delivery: a record's event or a plain line.
struct Expected {
    bool record;
    QELLogEvent event;
    std::string line;
};

// A stream of records and plain lines with the events it must give, made so
// that no line end of one item can join with the next.
inline std::string makeStream(QELTestRandom& random, int items, std::vector<Expected>& expected)
{
    static const char* const lineEnds[] = {"\n", "\r\n", "\r", "\r\r\n"};
    static const char* const runs[] = {"", "", "\n", "\r\n", "\n\n\r\r"};
    static const char* const pieces[] = {"a", "Z", " ", "\t", "<", ">", "&", "\"", "=", "-->", "<!--",
                                         "<!-- QELLog size=", "0", "\xc3\xa9", "QELLog", "<Message"};
    std::string stream;
    bool mayBeEmptyLine = true; // nothing before ends in a CR, no record before
    for (int i = 0; i < items; i++) {
        uint32_t kind = random.below(10);
        if (kind < 4) {
            QELLogEvent e = randomLogEvent(random, 20);
            stream += formatted(e) + runs[random.below(5)];
            expected.push_back({true, e, ""});
            mayBeEmptyLine = false;
            continue;
        }
        std::string line;
        if (kind == 4) {
            // A header whose size is out of range.
            static const long sizes[] = {0, 5, 9, 10000001};
            line = header(sizes[random.below(4)]);
        } else if (kind == 5) {
            // A header in range over text that is not XML.
            line = header(10 + random.below(200)) + "x";
        }
        int n = static_cast<int>(random.below(30));
        for (int k = 0; k < n; k++)
            line += pieces[random.below(sizeof pieces / sizeof pieces[0])];
        if (line.empty() && !mayBeEmptyLine)
            line = "e";
        const char* end = line.empty() ? "\n" : lineEnds[random.below(4)];
        stream += line + end;
        expected.push_back({false, QELLogEvent(emptyString), line});
        mayBeEmptyLine = end[0] == '\n' || strcmp(end, "\r\n") == 0 || strcmp(end, "\r\r\n") == 0;
    }
    // Sometimes a last line without a line end, which only flush delivers.
    if (random.below(2) == 0) {
        std::string line = "unterminated " + std::to_string(random.below(1000));
        stream += line;
        expected.push_back({false, QELLogEvent(emptyString), line});
    }
    return stream;
}

inline void checkEvents(const std::vector<QELLogEvent>& got, const std::vector<Expected>& want, const std::string& context)
{
    ASSERT_EQ(got.size(), want.size()) << context;
    for (size_t i = 0; i < want.size(); i++) {
        std::string at = context + " event " + std::to_string(i);
        if (want[i].record) {
            expectSameEvent(got[i], want[i].event, at);
        } else {
            EXPECT_EQ(str(got[i].message), want[i].line) << at;
            EXPECT_EQ(got[i].type, 0) << at;
        }
    }
}

inline std::string withoutLineEnds(const std::string& text)
{
    std::string out;
    out.reserve(text.size());
    for (char ch : text)
        if (ch != '\n' && ch != '\r')
            out += ch;
    return out;
}

// Fragments of streams gone wrong: whole records, records cut short or with
// a byte broken, lone headers whose size no record can fill, line ends and
// text. Any window a header frames either is a whole formatter record or
// does not parse.
inline std::string makeDamagedStream(QELTestRandom& random, int fragments)
{
    static const char* const texts[] = {"a", "bc", "<", "&", ">", "\"", "\n", "\r", "\r\n", "\n\n", "0", "12",
                                        "<!--", "-->", "<!-- QELLog", "<!-- QELLog size=", "QELLog size=",
                                        "\xc3\xa9", "xyz"};
    std::string stream;
    for (int i = 0; i < fragments; i++) {
        uint32_t kind = random.below(12);
        if (kind < 3) {
            stream += formatted(randomLogEvent(random, 12));
        } else if (kind == 3) {
            std::string r = formatted(randomLogEvent(random, 12));
            stream += r.substr(0, random.below(static_cast<uint32_t>(r.size())));
        } else if (kind == 4) {
            std::string r = formatted(randomLogEvent(random, 12));
            r[29 + random.below(static_cast<uint32_t>(r.size() - 29))] = '<';
            stream += r;
        } else if (kind == 5) {
            stream += header(10 + random.below(50)); // too small for any record
        } else if (kind == 6) {
            static const long sizes[] = {0, 3, 9, 10000001, 123456789};
            stream += header(sizes[random.below(5)]);
        } else {
            stream += texts[random.below(sizeof texts / sizeof texts[0])];
        }
    }
    return stream;
}

// Sums up every event it is given, instead of keeping them: how many, and a
// hash of their levels and messages in order.
class EventDigest : public QELLogDeserializer {
public:
    size_t count = 0;
    uint64_t hash = 1469598103934665603ULL;
    EventDigest() : QELLogDeserializer(NULL) {}
    void processEvent(const QELLogEvent& event) override { add(event.type, event.message.chars(), event.message.length()); }
    void add(int type, const char* text, size_t n)
    {
        count++;
        mix(static_cast<unsigned char>(type));
        for (size_t i = 0; i < n; i++)
            mix(static_cast<unsigned char>(text[i]));
        mix('\n');
    }

private:
    void mix(unsigned char byte) { hash = (hash ^ byte) * 1099511628211ULL; }
};

// Feeds `text` in pieces of `small` bytes over its first `smallBytes`, then
// of `large` bytes, through one reused string; then flushes.
inline void feedInPieces(QELLogDeserializer& d, const std::string& text, size_t small, size_t smallBytes,
                         size_t large)
{
    QELString chunk;
    for (size_t at = 0; at < text.size();) {
        size_t n = std::min(at < smallBytes ? small : large, text.size() - at);
        chunk.empty();
        chunk.append(text.data() + at, static_cast<int>(n));
        d.append(chunk);
        at += n;
    }
    d.flush();
}

#endif
