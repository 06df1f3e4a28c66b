// Tests of the log sinks, the text and framed XML formatters and printers.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <sstream>
#include <string>

#include "QELConfiguration.h"
#include "QELException.h"
#include "QELLog.h"
#include "QELText.h"
#include "QELInvariants.h"
#include "QELDeathTestPatterns.h"

namespace {

std::string str(const QELString& s)
{
    return std::string(s.p, (size_t)s.len);
}

// An event with a fixed timestamp: 2006-03-05 14:07:09.
QELLogEvent event(const char* message, int type, const char* code = "",
                  const char* trace = "")
{
    QELLogEvent e(QELString(message), QELString(code), type, QELString(trace));
    QELString when("2006-03-05 14:07:09");
    e.timestamp.setDate(when);
    return e;
}

// The framed record as it must come out, built from the public pieces.
std::string expectedXml(const QELLogEvent& e)
{
    std::string record = "<Message type=\"";
    record += MESSAGE_XML_TYPES[e.type];
    record += "\"";
    if (e.code.len != 0)
        record += " code=\"" + str(e.code) + "\"";
    record += " timestamp=\"" + str(e.timestamp.getXmlTimestamp()) + "\"";
    if (e.stackTrace.len != 0)
        record += " stackTrace=\"" + str(escapeXMLString(e.stackTrace)) + "\"";
    record += ">" + str(escapeXMLString(e.message)) + "</Message>\n";
    std::string size = std::to_string(record.size());
    while (size.size() < 8)
        size += ' ';
    return "<!-- QELLog size=" + size + " -->" + record;
}

std::string expectedText(const QELLogEvent& e)
{
    std::string text = MESSAGE_TEXT_TYPES[e.type] + str(e.message) + "\n";
    if (e.stackTrace.len != 0)
        text += str(e.stackTrace) + "\n";
    return text;
}

// A formatter that counts its calls, to see which steps of log() ran.
class CountingFormatter : public QELLogEventFormatter {
public:
    int calls = 0;
    virtual QELString formatEvent(const QELLogEvent&)
    {
        calls++;
        return QELString("x");
    }
};

class CountingPrinter : public QELLogEventPrinter {
public:
    int calls = 0;
    std::string last;
    virtual void printEvent(const QELString& text)
    {
        calls++;
        last = str(text);
    }
};

// The configured level while the program was loaded, as QEL_STDERR saw it.
const int levelAtLoad = getQELLogLevel();

} // namespace

TEST(QELLogTest, HeaderConstantsFrameTheRecord)
{
    EXPECT_STREQ("<!-- QELLog size=", QEL_LOG_EVENT_HEADER_START.p);
    EXPECT_EQ(17, QEL_LOG_EVENT_HEADER_START.len);
    EXPECT_STREQ(" -->", QEL_LOG_EVENT_HEADER_END.p);
    EXPECT_EQ(4, QEL_LOG_EVENT_HEADER_END.len);
}

TEST(QELLogTest, NewSinkTakesConfiguredLevel)
{
    // The test configuration has no setup file: the default level 5.
    unsetenv("QEL_LOG_LEVEL");
    {
        QELNullLog log;
        EXPECT_EQ(getQELLogLevel(), log.logLevel);
        EXPECT_EQ(5, log.logLevel);
    }
    setenv("QEL_LOG_LEVEL", "2", 1);
    {
        QELBufferedTextLog text;
        QELBufferedXmlLog xml;
        std::ostringstream out;
        QELTextLog stream(out);
        EXPECT_EQ(2, text.logLevel);
        EXPECT_EQ(2, xml.logLevel);
        EXPECT_EQ(2, stream.logLevel);
    }
    setenv("QEL_LOG_LEVEL", "9", 1); // out of range: 5
    {
        QELNullLog log;
        EXPECT_EQ(5, log.logLevel);
    }
    unsetenv("QEL_LOG_LEVEL");
}

TEST(QELLogTest, SinkKeepsLevelsAtMostItsOwn)
{
    // Level 3 ("WARNING") keeps 0 to 3 and drops 4 to 6.
    QELBufferedTextLog log;
    log.setLogLevel(3);
    EXPECT_EQ(3, log.logLevel);
    std::string expected;
    for (int type = 0; type <= 6; type++) {
        QELLogEvent e = event("m", type);
        log.log(e);
        if (type <= 3)
            expected += expectedText(e);
        EXPECT_EQ(expected, str(log.getBuffer())) << "type " << type;
    }
}

TEST(QELLogTest, EveryLevelAgainstEverySinkLevel)
{
    for (int level = -2; level <= 8; level++) {
        for (int type = 0; type <= 6; type++) {
            QELBufferedXmlLog log;
            log.setLogLevel(level);
            log.log(event("m", type));
            EXPECT_EQ(type <= level, log.getBuffer().len > 0)
                << "level " << level << " type " << type;
        }
    }
}

TEST(QELLogTest, NegativeLevelDropsEvenNone)
{
    QELBufferedTextLog log;
    log.setLogLevel(0);
    log.log(event("kept", 0));
    EXPECT_EQ(std::string(10, ' ') + "kept\n", str(log.getBuffer()));
    log.setLogLevel(-1);
    EXPECT_EQ(-1, log.logLevel);
    log.log(event("dropped", 0));
    EXPECT_EQ(std::string(10, ' ') + "kept\n", str(log.getBuffer()));
}

TEST(QELLogTest, InvalidLevelAboveSinkLevelIsDroppedUnchecked)
{
    // The level test comes first: an invalid level that is dropped never
    // reaches the formatter.
    QELBufferedXmlLog log;
    log.setLogLevel(6);
    log.log(event("m", 7));
    log.log(event("m", 1000));
    EXPECT_EQ(0, log.getBuffer().len);
}

TEST(QELLogTest, LogStepsFormatterThenPrinter)
{
    CountingFormatter formatter;
    CountingPrinter printer;
    QELLog log;
    log.setLogLevel(6);
    EXPECT_EQ(nullptr, log.formatter);
    EXPECT_EQ(nullptr, log.printer);
    log.log(event("m", 1)); // no formatter: nothing happens
    log.printer = &printer;
    log.log(event("m", 1)); // still no formatter: the printer is not called
    EXPECT_EQ(0, printer.calls);
    log.printer = nullptr;
    log.formatter = &formatter;
    log.log(event("m", 1)); // formatted, no printer
    EXPECT_EQ(1, formatter.calls);
    log.printer = &printer;
    log.log(event("m", 1));
    EXPECT_EQ(2, formatter.calls);
    EXPECT_EQ(1, printer.calls);
    EXPECT_EQ("x", printer.last);
    log.log(event("m", 7)); // above the level
    EXPECT_EQ(2, formatter.calls);
}

TEST(QELLogTest, NullLogWritesNothing)
{
    QELNullLog log;
    EXPECT_EQ(nullptr, log.formatter);
    EXPECT_EQ(nullptr, log.printer);
    for (int level : {-1, 0, 6, 100}) {
        log.setLogLevel(level);
        for (int type : {-5, 0, 1, 6, 7})
            log.log(event("m", type)); // never formats, so never aborts
    }
}

TEST(QELLogTest, TextPrefixesAreTenCharacters)
{
    static const char* const prefixes[7] = {
        "          ", "<FATAL>   ", "<ERROR>   ", "<WARNING> ",
        "<STATUS>  ", "<INFO>    ", "<DEBUG>   "};
    QELLogEventTextFormatter formatter;
    for (int type = 0; type <= 6; type++) {
        QELString text = formatter.formatEvent(event("msg", type));
        EXPECT_EQ(std::string(prefixes[type]) + "msg\n", str(text));
        EXPECT_EQ(14, text.len);
    }
}

TEST(QELLogTest, TextFormatOfErrorWithAndWithoutStackTrace)
{
    QELLogEventTextFormatter formatter;
    EXPECT_EQ("<ERROR>   disk full\n",
              str(formatter.formatEvent(event("disk full", 2))));
    EXPECT_EQ("<ERROR>   disk full\nat main\n  at f\n",
              str(formatter.formatEvent(event("disk full", 2, "E42", "at main\n  at f"))));
    // Code and timestamp are not written; nothing is escaped.
    EXPECT_EQ("<INFO>    a<b&c \"q\"\n",
              str(formatter.formatEvent(event("a<b&c \"q\"", 5, "<code>"))));
    // An empty message still gives the prefix and the line feed.
    EXPECT_EQ("<DEBUG>   \n", str(formatter.formatEvent(event("", 6))));
}

// A text sink writes what its formatter's formatEvent returns, whichever
// way it gets there: records short and long, with a NUL in the message or
// the stack trace (the record ends there), with and without a stack trace.
TEST(QELLogTest, TextSinkWritesExactlyWhatTheFormatterReturns)
{
    const std::string longMessage(5000, 'x');
    const QELLogEvent events[] = {
        event("disk full", 2),
        event("disk full", 2, "E42", "at main\n  at f"),
        event("", 6),
        event(longMessage.c_str(), 3),
        event("m", 1, "", longMessage.c_str()),
        QELLogEvent(QELString("ab\0cd", 5), QELString(), 2, QELString("trace")),
        QELLogEvent(QELString("ab"), QELString(), 4, QELString("t\0u", 3)),
        QELLogEvent(QELString("\0", 1), QELString(), 0, QELString()),
    };
    QELLogEventTextFormatter formatter;
    for (const QELLogEvent& e : events) {
        std::ostringstream out;
        QELTextLog log(out);
        log.setLogLevel(6);
        log.log(e);
        EXPECT_EQ(str(formatter.formatEvent(e)), out.str());
    }
    std::ostringstream cut;
    QELTextLog log(cut);
    log.setLogLevel(6);
    log.log(QELLogEvent(QELString("ab\0cd", 5), QELString(), 2, QELString("trace")));
    EXPECT_EQ("<ERROR>   ab", cut.str());
}

// A formatter derived from the text formatter is asked for every record.
TEST(QELLogTest, TextSinkUsesADerivedFormattersOwnText)
{
    struct Shouting : QELLogEventTextFormatter {
        QELString formatEvent(const QELLogEvent&) override { return QELString("LOUD\n"); }
    } shouting;
    std::ostringstream out;
    QELTextLog log(out);
    log.setLogLevel(6);
    log.formatter = &shouting;
    log.log(event("quiet", 5));
    EXPECT_EQ("LOUD\n", out.str());
}

TEST(QELLogTest, XmlRecordOfSimpleEvent)
{
    QELLogEventXmlFormatter formatter;
    const char* record =
        "<Message type=\"ERROR\" timestamp=\"2006- 3-05T14:07:09Z\">disk full</Message>\n";
    std::string expected = "<!-- QELLog size=" + std::to_string(strlen(record));
    while (expected.size() < 17 + 8)
        expected += ' ';
    expected += std::string(" -->") + record;
    EXPECT_EQ(expected, str(formatter.formatEvent(event("disk full", 2))));
    EXPECT_EQ("<!-- QELLog size=75       --><Message type=\"ERROR\" timestamp=\"2006- 3-05T14:07:09Z\">disk full</Message>\n",
              str(formatter.formatEvent(event("disk full", 2))));
}

// A NUL in the message, code or stack trace ends the record's text there:
// the result is an unlocked string whose length is that of its text, and it
// copies like any other string.
TEST(QELLogTest, XmlRecordEndsAtANulOfItsFields)
{
    QELLogEventXmlFormatter formatter;
    struct {
        QELLogEvent e;
        const char* textBeforeNul;
    } cases[] = {
        { QELLogEvent(QELString("ab\0cd", 5), QELString(), 2, QELString()), "<Message type=\"ERROR\" timestamp=" },
        { QELLogEvent(QELString("m"), QELString("C\0D", 3), 2, QELString()), "<Message type=\"ERROR\" code=\"C" },
        { QELLogEvent(QELString("m"), QELString(), 2, QELString("t\0u", 3)), "<Message type=\"ERROR\" timestamp=" },
    };
    for (auto& c : cases) {
        QELString record = formatter.formatEvent(c.e);
        EXPECT_FALSE(record.isLocked());
        EXPECT_EQ(static_cast<size_t>(record.len), strlen(record.p));
        EXPECT_TRUE(stringInvariantHolds(&record));
        QELString copy(record);
        EXPECT_STREQ(copy.p, record.p);
        EXPECT_EQ(0u, std::string(record.p).find("<!-- QELLog size="));
        EXPECT_NE(std::string::npos, std::string(record.p).find(c.textBeforeNul)) << record.p;
    }
}

TEST(QELLogTest, XmlAttributesInOrder)
{
    QELLogEventXmlFormatter formatter;
    // Code right after the type, stack trace after the timestamp.
    std::string text = str(formatter.formatEvent(event("m", 3, "C-7", "trace")));
    EXPECT_EQ("<Message type=\"WARNING\" code=\"C-7\" timestamp=\"2006- 3-05T14:07:09Z\" stackTrace=\"trace\">m</Message>\n",
              text.substr(29));
    // No code attribute for an empty code, no stack trace for an empty one.
    text = str(formatter.formatEvent(event("m", 0)));
    EXPECT_EQ(std::string::npos, text.find("code="));
    EXPECT_EQ(std::string::npos, text.find("stackTrace="));
    EXPECT_NE(std::string::npos, text.find("type=\"NONE\""));
}

TEST(QELLogTest, XmlEscapesMessageAndTraceButNotCode)
{
    QELLogEventXmlFormatter formatter;
    std::string text = str(formatter.formatEvent(
        event("a<b&c \"d\" >\t\n\r\x01z", 4, "<&\">", "at <f>\n")));
    EXPECT_EQ("<Message type=\"STATUS\" code=\"<&\">\" timestamp=\"2006- 3-05T14:07:09Z\""
              " stackTrace=\"at &lt;f&gt;&#10;\">"
              "a&lt;b&amp;c &quot;d&quot; &gt;&#9;&#10;&#13;z</Message>\n",
              text.substr(29));
    // Without any character that needs an entity, control characters stay.
    text = str(formatter.formatEvent(event("a\x07" "b", 5)));
    EXPECT_NE(std::string::npos, text.find(">a\x07" "b</Message>"));
    // UTF-8 passes through.
    text = str(formatter.formatEvent(event("caf\xc3\xa9 & th\xc3\xa9", 5)));
    EXPECT_NE(std::string::npos, text.find(">caf\xc3\xa9 &amp; th\xc3\xa9</Message>"));
}

TEST(QELLogTest, XmlTimestampPadsMonthWithBlank)
{
    QELLogEventXmlFormatter formatter;
    struct Case {
        const char* date;
        const char* stamp;
    } cases[] = {
        {"2006-03-05 14:07:09", "2006- 3-05T14:07:09Z"},
        {"1999-12-31 23:59:59", "1999-12-31T23:59:59Z"},
        {"0001-01-01 00:00:01", "0001- 1-01T00:00:01Z"},
        {"10:20:30", "0000- 0-00T10:20:30Z"},          // a time alone
    };
    for (const Case& c : cases) {
        QELLogEvent e = event("m", 5);
        QELString when(c.date);
        e.timestamp.setDate(when);
        std::string text = str(formatter.formatEvent(e));
        EXPECT_NE(std::string::npos, text.find(std::string("timestamp=\"") + c.stamp + "\""))
            << c.date << ": " << text;
        EXPECT_EQ(expectedXml(e), text);
    }
    // A null date writes its zero fields.
    QELLogEvent e = event("m", 5);
    e.timestamp.empty();
    EXPECT_EQ(expectedXml(e), str(formatter.formatEvent(e)));
    // Fields out of their ranges are written as the date writes them.
    e.timestamp.year = -12;
    e.timestamp.month = 123;
    e.timestamp.day = 456;
    e.timestamp.hour = 100;
    e.timestamp.minute = 65535;
    e.timestamp.second = 7;
    EXPECT_EQ(expectedXml(e), str(formatter.formatEvent(e)));
    // One field of three digits among common ones, each field in turn.
    uint16_t QELDate::*const fields[] = {&QELDate::day, &QELDate::hour, &QELDate::minute, &QELDate::second};
    for (uint16_t QELDate::*field : fields) {
        QELLogEvent one = event("m", 5);
        one.timestamp.setDate(QELString("2006-03-05 14:07:09"));
        one.timestamp.*field = 100;
        const std::string text = str(formatter.formatEvent(one));
        EXPECT_EQ(expectedXml(one), text);
        EXPECT_NE(std::string::npos, text.find("100")) << text;
    }
}

TEST(QELLogTest, HeaderIsAlways29Bytes)
{
    QELLogEventXmlFormatter formatter;
    for (size_t n : {0, 1, 9, 10, 100, 1000, 12345, 100000}) {
        QELLogEvent e = event(std::string(n, 'x').c_str(), 5);
        QELString text = formatter.formatEvent(e);
        std::string s = str(text);
        ASSERT_GE(s.size(), 29u);
        EXPECT_EQ("<!-- QELLog size=", s.substr(0, 17));
        EXPECT_EQ(" -->", s.substr(25, 4));
        const std::string field = s.substr(17, 8);
        EXPECT_EQ(std::to_string(s.size() - 29), field.substr(0, field.find(' ')));
        EXPECT_EQ('\n', s.back());
        EXPECT_EQ(expectedXml(e), s);
    }
}

TEST(QELLogTest, LargestRecordHasSevenDigitsAndOneBlank)
{
    QELLogEventXmlFormatter formatter;
    QELLogEvent probe = event("", 5);
    const size_t fixed = str(formatter.formatEvent(probe)).size() - 29;
    std::string message(9999999 - fixed, 'a');
    QELLogEvent e = event(message.c_str(), 5);
    QELString text = formatter.formatEvent(e);
    ASSERT_EQ(29 + 9999999, text.len);
    EXPECT_EQ("<!-- QELLog size=9999999  -->", std::string(text.p, 29));
}

TEST(QELLogTest, StreamPrinterWritesExactLengthUnflushed)
{
    std::ostringstream first, second;
    QELLogEventStreamPrinter printer(first);
    EXPECT_EQ(&first, printer.stream);
    printer.printEvent(QELString("abc"));
    printer.printEvent(QELString(""));
    EXPECT_EQ("abc", first.str());
    printer.setOutputStream(second);
    printer.printEvent(QELString("de"));
    EXPECT_EQ("abc", first.str());
    EXPECT_EQ("de", second.str());
}

TEST(QELLogTest, BufferPrinterAppends)
{
    QELLogEventBufferPrinter printer;
    EXPECT_EQ(0, printer.buffer.len);
    std::string expected;
    for (int i = 0; i < 1000; i++) {
        std::string piece = std::to_string(i) + ",";
        printer.printEvent(QELString(piece.c_str()));
        expected += piece;
        ASSERT_TRUE(stringInvariantHolds(&printer.buffer));
    }
    printer.printEvent(QELString());
    EXPECT_EQ(expected, str(printer.buffer));
}

TEST(QELLogTest, TextAndXmlSinksOnStreams)
{
    std::ostringstream out, other;
    QELTextLog text(out);
    text.setLogLevel(6);
    EXPECT_EQ(&text.eventFormatter, text.formatter);
    EXPECT_EQ(&text.eventPrinter, text.printer);
    text.log(event("one", 1));
    text.setOutputStream(other);
    text.log(event("two", 2));
    EXPECT_EQ("<FATAL>   one\n", out.str());
    EXPECT_EQ("<ERROR>   two\n", other.str());

    std::ostringstream xout, xother;
    QELXmlLog xml(xout);
    xml.setLogLevel(6);
    EXPECT_EQ(&xml.eventFormatter, xml.formatter);
    EXPECT_EQ(&xml.eventPrinter, xml.printer);
    QELLogEvent e1 = event("one", 1), e2 = event("two", 2);
    xml.log(e1);
    xml.setOutputStream(xother);
    xml.log(e2);
    EXPECT_EQ(expectedXml(e1), xout.str());
    EXPECT_EQ(expectedXml(e2), xother.str());
}

TEST(QELLogTest, BufferedXmlKeepsRecordsBackToBack)
{
    QELBufferedXmlLog log;
    log.setLogLevel(6);
    QELLogEvent e1 = event("first", 2, "c1"), e2 = event("second <2>", 6, "", "t");
    log.log(e1);
    log.log(e2);
    EXPECT_EQ(expectedXml(e1) + expectedXml(e2), str(log.getBuffer()));
    EXPECT_EQ(&log.eventPrinter.buffer, &log.getBuffer());
}

TEST(QELLogTest, BufferedTextKeepsEverything)
{
    QELBufferedTextLog log;
    log.setLogLevel(6);
    std::string expected;
    for (int i = 0; i < 200; i++) {
        QELLogEvent e = event(std::to_string(i).c_str(), i % 7, "", i % 3 ? "" : "st");
        log.log(e);
        expected += expectedText(e);
    }
    EXPECT_EQ(expected, str(log.getBuffer()));
}

TEST(QELLogTest, GlobalStderrSinkIsXmlOnStandardError)
{
    EXPECT_EQ(&std::cerr, QEL_STDERR.eventPrinter.stream);
    EXPECT_EQ(&QEL_STDERR.eventFormatter, QEL_STDERR.formatter);
    EXPECT_EQ(&QEL_STDERR.eventPrinter, QEL_STDERR.printer);
    EXPECT_EQ(levelAtLoad, QEL_STDERR.logLevel);
    std::ostringstream out;
    QEL_STDERR.setOutputStream(out);
    QELLogEvent e = event("to stderr", 3);
    QEL_STDERR.log(e);
    QEL_STDERR.log(event("too verbose", 6));
    QEL_STDERR.setOutputStream(std::cerr);
    EXPECT_EQ(expectedXml(e), out.str());
}

// Random events against the reference built from escapeXMLString,
// getXmlTimestamp and plain concatenation.
TEST(QELLogTest, RandomEventsMatchReferenceFormat)
{
    std::mt19937 rng(20061105);
    auto randomText = [&rng](size_t maxLen) {
        std::string s;
        size_t n = rng() % (maxLen + 1);
        for (size_t i = 0; i < n; i++) {
            unsigned r = rng() % 10;
            char c;
            if (r < 5)
                c = (char)('a' + rng() % 26);
            else if (r < 7)
                c = "\"<>&\t\n\r"[rng() % 7];
            else
                c = (char)(1 + rng() % 255); // any byte but NUL
            s += c;
        }
        if (rng() % 4 == 0) // a text without special characters
            for (char& c : s)
                if (strchr("\"<>&\t\n\r", c))
                    c = '.';
        return s;
    };
    QELLogEventXmlFormatter xml;
    QELLogEventTextFormatter text;
    for (int i = 0; i < 5000; i++) {
        std::string message = randomText(i % 10 == 0 ? 3000 : 60);
        std::string code = rng() % 2 ? randomText(8) : "";
        std::string trace = rng() % 3 == 0 ? randomText(100) : "";
        QELLogEvent e(QELString(message.c_str()), QELString(code.c_str()),
                      (int)(rng() % 7), QELString(trace.c_str()));
        e.timestamp.setDate((long)(rng() % 4000000000u));
        if (rng() % 20 == 0) { // odd fields
            e.timestamp.year = (int16_t)(rng() % 65536);
            e.timestamp.month = (uint16_t)(rng() % 200);
            e.timestamp.day = (uint16_t)(rng() % 200);
        }
        ASSERT_EQ(expectedXml(e), str(xml.formatEvent(e))) << "event " << i;
        ASSERT_EQ(expectedText(e), str(text.formatEvent(e))) << "event " << i;
    }
}

// The formatters' reports name a fixed line of QELLog.cpp and the operation.
const char* const TEXT_FORMAT_SIGNATURE =
    "virtual QELString QELLogEventTextFormatter::formatEvent(const QELLogEvent&)";
const char* const XML_FORMAT_SIGNATURE =
    "virtual QELString QELLogEventXmlFormatter::formatEvent(const QELLogEvent&)";

class QELLogDeathTest : public ::testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(QELLogDeathTest, TextFormatterRejectsInvalidLevel)
{
    QELLogEventTextFormatter formatter;
    const std::string report = AssertionReportAt("QELLog.cpp", 135, TEXT_FORMAT_SIGNATURE, "0");
    EXPECT_DEATH(formatter.formatEvent(event("m", 7)), report);
    EXPECT_DEATH(formatter.formatEvent(event("m", -1)), report);
    // Through a sink: -1 passes every level filter of 0 or more.
    QELBufferedTextLog log;
    EXPECT_DEATH(log.log(event("m", -1)), report);
    std::ostringstream out;
    QELTextLog streamLog(out);
    EXPECT_DEATH(streamLog.log(event("m", -1)), report);
}

TEST_F(QELLogDeathTest, XmlFormatterRejectsInvalidLevel)
{
    QELLogEventXmlFormatter formatter;
    const std::string report = AssertionReportAt("QELLog.cpp", 166, XML_FORMAT_SIGNATURE, "0");
    EXPECT_DEATH(formatter.formatEvent(event("m", 7)), report);
    EXPECT_DEATH(formatter.formatEvent(event("m", -100)), report);
    QELBufferedXmlLog log;
    log.setLogLevel(1000);
    EXPECT_DEATH(log.log(event("m", 8)), report);
}

TEST_F(QELLogDeathTest, XmlFormatterRejectsRecordOver9999999Bytes)
{
    QELLogEventXmlFormatter formatter;
    QELLogEvent probe = event("", 5);
    const size_t fixed = str(formatter.formatEvent(probe)).size() - 29;
    std::string message(10000000 - fixed, 'a');
    QELLogEvent e = event(message.c_str(), 5);
    EXPECT_DEATH(formatter.formatEvent(e),
                 AssertionReportAt("QELLog.cpp", 194, XML_FORMAT_SIGNATURE, "0"));
    // Escaping counts: a message under the limit that grows past it.
    std::string amps(2000000, '&'); // 10000000 bytes once escaped
    QELLogEvent escaped = event(amps.c_str(), 5);
    EXPECT_DEATH(formatter.formatEvent(escaped), AssertionReportAt("QELLog.cpp", 194, XML_FORMAT_SIGNATURE, "0"));
}
