// Tests of QELLogDeserializer and of the log record parser of libQELI18n.so.
#include <gtest/gtest.h>

#include <regex.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "QELLogDeserializerModel.h"
#include "QELStd.h"
#include "QELDeathTestPatterns.h"

// ---------------------------------------------------------------------------
// Records

TEST(QELLogDeserializerTest, NewDeserializerIsEmptyInStateOneWithoutParser)
{
    QELBufferedTextLog log;
    QELLogDeserializer d(&log);
    EXPECT_EQ(d.state, 1);
    EXPECT_TRUE(d.buffer.isEmpty());
    EXPECT_EQ(d.log, &log);
    EXPECT_EQ(d.parser, nullptr);
    EXPECT_EQ(d.parserLog.formatter, nullptr);
}

TEST(QELLogDeserializerTest, WholeRecordYieldsItsEventWithEveryField)
{
    Collector c;
    c.feed(frame(SAMPLE_RECORD));
    ASSERT_EQ(c.events.size(), 1u);
    expectSample(c.events[0]);
    EXPECT_EQ(c.state, 1);
    EXPECT_TRUE(c.buffer.isEmpty());
    EXPECT_NE(c.parser, nullptr);
}

TEST(QELLogDeserializerTest, RecordSplitInHeaderBodyAndEndYieldsOneEvent)
{
    std::string text = frame(SAMPLE_RECORD);
    Collector c;
    c.feed(text.substr(0, 10));   // inside the header
    EXPECT_TRUE(c.events.empty());
    c.feed(text.substr(10, 60));  // into the body
    EXPECT_TRUE(c.events.empty());
    EXPECT_EQ(c.state, 3);
    c.feed(text.substr(70));      // the rest
    ASSERT_EQ(c.events.size(), 1u);
    expectSample(c.events[0]);
}

TEST(QELLogDeserializerTest, RecordCutAtEveryBytePositionYieldsOneEvent)
{
    std::string text = frame(SAMPLE_RECORD) + "after\n";
    for (size_t cut = 0; cut <= text.size(); cut++) {
        Collector c;
        c.feed(text.substr(0, cut));
        c.feed(text.substr(cut));
        ASSERT_EQ(c.events.size(), 2u) << "cut " << cut;
        expectSample(c.events[0]);
        expectPlain(c.events[1], "after");
    }
}

TEST(QELLogDeserializerTest, RecordFedByteByByteYieldsOneEvent)
{
    std::string text = frame(SAMPLE_RECORD);
    Collector c;
    for (char ch : text) {
        EXPECT_TRUE(c.events.empty());
        c.feed(std::string(1, ch));
    }
    ASSERT_EQ(c.events.size(), 1u);
    expectSample(c.events[0]);
}

TEST(QELLogDeserializerTest, TwoRecordsBackToBackWithAnyLineEndsYieldTwoEvents)
{
    const char* const separators[] = {"", "\n", "\r\n", "\n\n\n", "\r\r\r\n\n\r"};
    for (const char* sep : separators) {
        for (size_t cut = 0; cut < 300; cut += 7) {
            std::string text = frame(SAMPLE_RECORD) + sep + frame(SAMPLE_RECORD) + sep;
            Collector c;
            c.feed(text.substr(0, cut));
            c.feed(text.substr(cut));
            ASSERT_EQ(c.events.size(), 2u) << "separator length " << strlen(sep) << " cut " << cut;
            expectSample(c.events[0]);
            expectSample(c.events[1]);
            EXPECT_TRUE(c.buffer.isEmpty());
        }
    }
}

TEST(QELLogDeserializerTest, FormatterRecordsRoundTripEveryField)
{
    QELTestRandom random(7);
    QELBufferedXmlLog xml;
    xml.setLogLevel(6);
    std::vector<QELLogEvent> sent;
    for (int i = 0; i < 500; i++) {
        sent.push_back(randomLogEvent(random, 30));
        xml.log(sent.back());
    }
    Collector c;
    c.append(xml.getBuffer());
    ASSERT_EQ(c.events.size(), sent.size());
    for (size_t i = 0; i < sent.size(); i++)
        expectSameEvent(c.events[i], sent[i], "event " + std::to_string(i));
}

TEST(QELLogDeserializerTest, ShortestAcceptedRecordHasTenBytes)
{
    Collector c;
    c.feed(frame("<Message/>"));
    ASSERT_EQ(c.events.size(), 1u);
    EXPECT_EQ(c.events[0].type, 0);
    EXPECT_TRUE(c.events[0].message.isEmpty());
}

TEST(QELLogDeserializerTest, UnknownLevelNameGivesLevelZero)
{
    Collector c;
    c.feed(frame("<Message type=\"debug\">x</Message>\n"));
    ASSERT_EQ(c.events.size(), 1u);
    EXPECT_EQ(c.events[0].type, 0);
    EXPECT_EQ(str(c.events[0].message), "x");
}

TEST(QELLogDeserializerTest, LargeRecordInPipeSizedPiecesYieldsOneEvent)
{
    std::string message(3 * 1000 * 1000, 'm');
    for (size_t i = 0; i < message.size(); i += 997)
        message[i] = '&';
    QELLogEvent event(qs(message), QELString("BIG"), 4, emptyString);
    std::string text = formatted(event);
    Collector c;
    for (size_t i = 0; i < text.size(); i += 12288)
        c.feed(text.substr(i, 12288));
    ASSERT_EQ(c.events.size(), 1u);
    EXPECT_EQ(str(c.events[0].message), message);
    EXPECT_EQ(c.events[0].type, 4);
}

// ---------------------------------------------------------------------------
// Headers and sizes

TEST(QELLogDeserializerTest, HeaderSizesOutsideTenToTenMillionMakePlainLines)
{
    struct Case {
        long size;
        bool accepted;
    } cases[] = {
        {0, false}, {5, false}, {9, false}, {10, true}, {11, true},
        {9999999, true}, {10000000, true}, {10000001, false}, {99999999, false},
    };
    for (const Case& k : cases) {
        Collector c;
        std::string head = header(k.size);
        c.feed(head);
        if (k.accepted) {
            EXPECT_EQ(c.state, 3) << k.size;
            EXPECT_EQ(c.recordSize, k.size);
            EXPECT_EQ(str(c.buffer), head); // kept until the record is whole
        } else {
            c.feed("abc\n");
            ASSERT_EQ(c.events.size(), 1u) << k.size;
            expectPlain(c.events[0], head + "abc");
            EXPECT_FALSE(c.fromRecord[0]);
        }
    }
}

TEST(QELLogDeserializerTest, HeaderNumberSkipsBlanksAndStopsAtFirstNonDigit)
{
    const std::string record = "<Message type=\"INFO\">hi</Message>\n"; // 34 bytes
    const char* const heads[] = {
        "<!-- QELLog size=34       -->",
        "<!-- QELLog size=   34    -->",
        "<!-- QELLog size=34xxxxxxxxxx",
        "<!-- QELLog size=0034 junk-->",
    };
    for (const char* h : heads) {
        ASSERT_EQ(strlen(h), 29u) << h;
        Collector c;
        c.feed(std::string(h) + record);
        ASSERT_EQ(c.events.size(), 1u) << h;
        EXPECT_EQ(c.events[0].type, 5) << h;
        EXPECT_EQ(str(c.events[0].message), "hi") << h;
    }
}

TEST(QELLogDeserializerTest, HeaderWithoutDigitsOrWithSignIsPlainLine)
{
    const char* const heads[] = {
        "<!-- QELLog size=-34      -->",
        "<!-- QELLog size=+34      -->",
        "<!-- QELLog size=         -->",
        "<!-- QELLOG size=34       -->",
    };
    for (const char* h : heads) {
        ASSERT_EQ(strlen(h), 29u) << h;
        Collector c;
        c.feed(std::string(h) + "<Message type=\"INFO\">hi</Message>\n");
        ASSERT_EQ(c.events.size(), 1u) << h;
        expectPlain(c.events[0], std::string(h) + "<Message type=\"INFO\">hi</Message>");
    }
}

TEST(QELLogDeserializerTest, ShortTextThatMayBecomeHeaderWaits)
{
    Collector c;
    c.feed("<!-- QELLog size=12");
    EXPECT_TRUE(c.events.empty());
    EXPECT_EQ(c.state, 1);
    EXPECT_EQ(str(c.buffer), "<!-- QELLog size=12");
    c.feed("\n");
    // Now 20 bytes that cannot be a header any more: the number is 12, but
    // fewer than 29 bytes are there and the line ends.
    EXPECT_TRUE(c.events.empty()); // still a possible header prefix
    c.flush();
    ASSERT_EQ(c.events.size(), 1u);
    expectPlain(c.events[0], "<!-- QELLog size=12");
}

TEST(QELLogDeserializerTest, ShortTextThatCannotBeHeaderIsPlainLine)
{
    Collector c;
    c.feed("<!-- QELLox\n");
    ASSERT_EQ(c.events.size(), 1u);
    expectPlain(c.events[0], "<!-- QELLox");
}

// ---------------------------------------------------------------------------
// Plain lines and line ends

TEST(QELLogDeserializerTest, PlainLineWaitsForItsLineEnd)
{
    Collector c;
    c.feed("hello");
    EXPECT_TRUE(c.events.empty());
    EXPECT_EQ(c.state, 2);
    c.feed(" world");
    EXPECT_TRUE(c.events.empty());
    c.feed("\n");
    ASSERT_EQ(c.events.size(), 1u);
    expectPlain(c.events[0], "hello world");
    EXPECT_EQ(c.state, 1);
    EXPECT_TRUE(c.buffer.isEmpty());
}

TEST(QELLogDeserializerTest, LineEndsAreLfCrLfCrAndCrCrLf)
{
    struct Case {
        const char* text;
        std::vector<std::string> lines;
    } cases[] = {
        {"a\n", {"a"}},                          // line feed
        {"a\r\n", {"a"}},                        // CR LF is one line end
        {"a\r", {"a"}},                          // CR alone
        {"a\r\r\n", {"a"}},                      // CR CR LF is one line end
        {"a\r\r\r\n", {"a", ""}},                // a third CR starts a line
        {"a\n\r", {"a", ""}},                    // LF CR: the CR ends an empty line
        {"a\n\n", {"a", ""}},                    // empty line
        {"\n", {""}},                            // empty line alone
        {"a\r\nb\rc\nd\r\r\ne\n", {"a", "b", "c", "d", "e"}},
        {"x\ty  z\n", {"x\ty  z"}},              // blanks and tabs are kept
    };
    for (const Case& k : cases) {
        std::string text = k.text;
        // The same lines whatever the cut.
        for (size_t cut = 0; cut <= text.size(); cut++) {
            Collector c;
            c.feed(text.substr(0, cut));
            c.feed(text.substr(cut));
            ASSERT_EQ(c.events.size(), k.lines.size()) << "text " << k.text << " cut " << cut;
            for (size_t i = 0; i < k.lines.size(); i++)
                expectPlain(c.events[i], k.lines[i]);
        }
    }
}

TEST(QELLogDeserializerTest, PlainLinesAndRecordsInterleave)
{
    Collector c;
    c.feed("first\r\n" + frame(SAMPLE_RECORD) + "second\n" + frame(SAMPLE_RECORD) + "\nthird\n");
    ASSERT_EQ(c.events.size(), 5u);
    expectPlain(c.events[0], "first");
    expectSample(c.events[1]);
    expectPlain(c.events[2], "second");
    expectSample(c.events[3]);
    expectPlain(c.events[4], "third");
}

TEST(QELLogDeserializerTest, HeaderInsideLineIsPartOfThePlainLine)
{
    Collector c;
    c.feed("x" + frame(SAMPLE_RECORD));
    ASSERT_EQ(c.events.size(), 1u);
    std::string line = "x" + frame(SAMPLE_RECORD);
    line.pop_back();
    expectPlain(c.events[0], line);
}

TEST(QELLogDeserializerTest, LongLineInPiecesIsDeliveredOnceWhole)
{
    std::string piece(12288, 'z');
    Collector c;
    for (int i = 0; i < 200; i++)
        c.feed(piece);
    EXPECT_TRUE(c.events.empty());
    EXPECT_EQ(c.scanned, 200 * 12288);
    c.feed("\n");
    ASSERT_EQ(c.events.size(), 1u);
    EXPECT_EQ(c.events[0].message.length(), 200 * 12288);
}

TEST(QELLogDeserializerTest, BufferEmptiedOrReplacedByCallerIsWhatIsPending)
{
    Collector c;
    c.feed("dropped");
    EXPECT_EQ(str(c.buffer), "dropped");
    c.buffer.empty();
    c.feed("kept\n");
    c.feed("also dropped");
    c.buffer = QELString("replaced");
    c.feed(" line\n");
    ASSERT_EQ(c.events.size(), 2u);
    expectPlain(c.events[0], "kept");
    expectPlain(c.events[1], "replaced line");
    EXPECT_TRUE(c.buffer.isEmpty());
}

TEST(QELLogDeserializerTest, TextStopsAtItsFirstNul)
{
    Collector c;
    QELString text;
    text.init("ab\0cd\n", 6); // len 6, visible "ab"
    c.append(text);
    EXPECT_TRUE(c.events.empty());
    EXPECT_EQ(str(c.buffer), "ab");
    c.feed("\n");
    ASSERT_EQ(c.events.size(), 1u);
    expectPlain(c.events[0], "ab");
}

// ---------------------------------------------------------------------------
// Records that do not parse

TEST(QELLogDeserializerTest, RecordThatDoesNotParseComesOutWithItsHeader)
{
    struct Case {
        const char* record;
        std::vector<std::string> lines; // after the header
    } cases[] = {
        {"<Message type=\"INFO\">abc</Messag>\n", {"<Message type=\"INFO\">abc</Messag>"}},
        {"<Message type=\"INFO\">a&b</Message>\n", {"<Message type=\"INFO\">a&b</Message>"}},
        {"<Message>x</Message><Message/>\n", {"<Message>x</Message><Message/>"}},
        {"<Message><b>bold</b></Message>\n", {"<Message><b>bold</b></Message>"}},      // child element
        {"<Other type=\"INFO\">x</Other>\n", {"<Other type=\"INFO\">x</Other>"}},        // not a Message
        {"plain text, no XML\n", {"plain text, no XML"}},
        {"<Message>one\ntwo</Mess>\n", {"<Message>one", "two</Mess>"}},                   // two lines
        {"<!DOCTYPE Message><Message>x</Message>\n", {"<!DOCTYPE Message><Message>x</Message>"}},
        {"<Message>\xff\xfe</Message>\n", {"<Message>\xff\xfe</Message>"}},              // not UTF-8
        {"<Message type=\"INFO\" type=\"INFO\"/>\n", {"<Message type=\"INFO\" type=\"INFO\"/>"}},
        {"<Message>x<!-- note --></Message>\n", {"<Message>x<!-- note --></Message>"}},   // a comment
        {"<!-- c --><Message>x</Message>\n", {"<!-- c --><Message>x</Message>"}},
    };
    for (const Case& k : cases) {
        std::string record = k.record;
        std::string text = frame(record) + "next\n";
        for (size_t cut = 0; cut <= text.size(); cut += 3) {
            Collector c;
            c.feed(text.substr(0, cut));
            c.feed(text.substr(cut));
            ASSERT_EQ(c.events.size(), k.lines.size() + 1) << record << " cut " << cut;
            expectPlain(c.events[0], header(static_cast<long>(record.size())) + k.lines[0]);
            for (size_t i = 1; i < k.lines.size(); i++)
                expectPlain(c.events[i], k.lines[i]);
            expectPlain(c.events.back(), "next");
        }
    }
}

TEST(QELLogDeserializerTest, RecordFollowingRejectedRecordIsStillFound)
{
    std::string bad = "<Message>x</Mes>\n";
    Collector c;
    c.feed(frame(bad) + frame(SAMPLE_RECORD));
    ASSERT_EQ(c.events.size(), 2u);
    expectPlain(c.events[0], header(static_cast<long>(bad.size())) + "<Message>x</Mes>");
    expectSample(c.events[1]);
}

TEST(QELLogDeserializerTest, OversizedHeaderSwallowsFollowingRecordsIntoPlainLines)
{
    // A size that reaches past the next record: the window does not parse,
    // so both come out as plain lines, byte for byte.
    std::string second = frame(SAMPLE_RECORD);
    std::string text = header(40) + "abc\n" + second + "tail\n";
    Collector c;
    c.feed(text);
    ASSERT_EQ(c.events.size(), 3u);
    expectPlain(c.events[0], header(40) + "abc");
    expectSample(c.events[1]);
    expectPlain(c.events[2], "tail");
}

// ---------------------------------------------------------------------------
// flush, destruction, log target

TEST(QELLogDeserializerTest, FlushDeliversRemainderWithoutLineEndAsLastLine)
{
    Collector c;
    c.feed("one\ntwo");
    ASSERT_EQ(c.events.size(), 1u);
    c.flush();
    ASSERT_EQ(c.events.size(), 2u);
    expectPlain(c.events[1], "two");
    EXPECT_TRUE(c.buffer.isEmpty());
    c.flush();
    EXPECT_EQ(c.events.size(), 2u);
}

TEST(QELLogDeserializerTest, FlushTurnsPendingRecordIntoPlainLines)
{
    std::string text = frame(SAMPLE_RECORD);
    std::string partial = text.substr(0, 80);
    Collector c;
    c.feed("before\n" + partial);
    EXPECT_EQ(c.state, 3);
    c.flush();
    ASSERT_EQ(c.events.size(), 2u);
    expectPlain(c.events[0], "before");
    expectPlain(c.events[1], partial);
    EXPECT_TRUE(c.buffer.isEmpty());
}

TEST(QELLogDeserializerTest, FlushOfPendingRecordWithLinesGivesEachLine)
{
    std::string partial = header(500) + "a\r\nb\rc";
    Collector c;
    c.feed(partial);
    EXPECT_EQ(c.state, 3);
    c.flush();
    ASSERT_EQ(c.events.size(), 3u);
    expectPlain(c.events[0], header(500) + "a");
    expectPlain(c.events[1], "b");
    expectPlain(c.events[2], "c");
}

TEST(QELLogDeserializerTest, FlushOfEmptyDeserializerDeliversNothing)
{
    Collector c;
    c.flush();
    EXPECT_TRUE(c.events.empty());
}

TEST(QELLogDeserializerTest, DestructionDoesNotFlush)
{
    QELBufferedTextLog log;
    log.setLogLevel(6);
    {
        QELLogDeserializer d(&log);
        d.append(QELString("kept\npending"));
    }
    EXPECT_EQ(str(log.getBuffer()), std::string(MESSAGE_TEXT_TYPES[0]) + "kept\n");
}

TEST(QELLogDeserializerTest, TargetLogFiltersByLevel)
{
    QELBufferedTextLog log;
    log.setLogLevel(3);
    QELLogDeserializer d(&log);
    std::string text = "plain\n";
    for (int level = 0; level <= 6; level++) {
        QELLogEvent e(QELString("level ").append(QELString(level)), emptyString, level, emptyString);
        text += formatted(e);
    }
    d.append(qs(text));
    std::string expected = std::string(MESSAGE_TEXT_TYPES[0]) + "plain\n";
    for (int level = 0; level <= 3; level++)
        expected += std::string(MESSAGE_TEXT_TYPES[level]) + "level " + std::to_string(level) + "\n";
    EXPECT_EQ(str(log.getBuffer()), expected);
}

TEST(QELLogDeserializerTest, NullLogMakesAndDropsEvents)
{
    QELLogDeserializer d(NULL);
    d.append(qs("line\n" + frame(SAMPLE_RECORD) + "rest"));
    EXPECT_EQ(d.state, 2);
    EXPECT_EQ(str(d.buffer), "rest");
    EXPECT_NE(d.parser, nullptr);
    d.flush();
    EXPECT_TRUE(d.buffer.isEmpty());
}

TEST(QELLogDeserializerTest, BaseProcessEventPassesToLog)
{
    QELBufferedXmlLog log;
    log.setLogLevel(6);
    QELLogDeserializer d(&log);
    d.processEvent(QELLogEvent(QELString("direct"), QELString("D1"), 2, emptyString));
    Collector c;
    c.append(log.getBuffer());
    ASSERT_EQ(c.events.size(), 1u);
    EXPECT_EQ(str(c.events[0].message), "direct");
    EXPECT_EQ(str(c.events[0].code), "D1");
    EXPECT_EQ(c.events[0].type, 2);
}

TEST(QELLogDeserializerTest, DeserializeLogEventParsesRangeAndReportsFailure)
{
    QELLogDeserializer d(NULL);
    std::string text = "junk" + std::string(SAMPLE_RECORD) + "more junk";
    QELLogEvent event(emptyString);
    EXPECT_TRUE(d.deserializeLogEvent(event, qs(text), 4, static_cast<unsigned>(strlen(SAMPLE_RECORD))));
    expectSample(event);
    QELLogEvent other(emptyString);
    EXPECT_FALSE(d.deserializeLogEvent(other, qs(text), 0, static_cast<unsigned>(strlen(SAMPLE_RECORD))));
    EXPECT_FALSE(d.deserializeLogEvent(other, qs(text), 4, 20));
    QELLogEvent third(emptyString);
    EXPECT_TRUE(d.deserializeLogEvent(third, qs(text), 4, static_cast<unsigned>(strlen(SAMPLE_RECORD))));
    expectSample(third);
    EXPECT_NE(QELLogDeserializer::createLogEventParser, nullptr);
    EXPECT_NE(QELLogDeserializer::parseLogEvent, nullptr);
    EXPECT_NE(QELLogDeserializer::deleteLogEventParser, nullptr);
}

TEST(QELLogDeserializerTest, CallbacksFillEventDirectly)
{
    QELLogEvent event(emptyString);
    const char* attributes[] = {"type", "ERROR", "code", "X&Y", "timestamp", "2010-12-31T23:59:58Z",
                                "stackTrace", "frame 1", NULL};
    startLogEventElement(&event, "AnyName", attributes);
    logEventText(&event, "abc", 2);
    logEventText(&event, "def", 3);
    logEventText(&event, "zzz", 0);
    EXPECT_EQ(event.type, 2);
    EXPECT_EQ(str(event.code), "X&Y");
    EXPECT_EQ(str(event.stackTrace), "frame 1");
    EXPECT_EQ(str(event.message), "abdef");
    EXPECT_EQ(event.timestamp.year, 2010);
    EXPECT_EQ(event.timestamp.month, 12);
    EXPECT_EQ(event.timestamp.second, 58);
}

TEST(QELLogDeserializerTest, ParserEntryPointsReportElementAndDecodedText)
{
    QELLogDeserializer d(NULL);
    QELLogEvent event(emptyString);
    ASSERT_TRUE(d.deserializeLogEvent(event, QELString(SAMPLE_RECORD), 0, static_cast<unsigned>(strlen(SAMPLE_RECORD))));

    struct Seen {
        std::vector<std::string> names;
        std::string text;
        int calls = 0;
    } seen;
    QELBufferedTextLog parserLog;
    parserLog.setLogLevel(6);
    void* parser = QELLogDeserializer::createLogEventParser(
        &seen, &parserLog,
        [](void* user, const char* name, const char** attributes) {
            Seen* s = static_cast<Seen*>(user);
            s->names.push_back(name);
            for (const char** a = attributes; *a; a += 2)
                s->names.push_back(std::string(a[0]) + "=" + a[1]);
        },
        [](void* user, const char* text, int length) {
            Seen* s = static_cast<Seen*>(user);
            s->text.append(text, static_cast<size_t>(length));
            s->calls++;
        });
    ASSERT_NE(parser, nullptr);
    EXPECT_TRUE(QELLogDeserializer::parseLogEvent(QELString("<Message a=\"&lt;1&gt;\">x &amp; y&#13;&#10;z</Message>\n"), parser));
    EXPECT_EQ(seen.names, (std::vector<std::string>{"Message", "a=<1>"}));
    EXPECT_EQ(seen.text, "x & y\r\nz");
    EXPECT_EQ(seen.calls, 1);
    EXPECT_TRUE(parserLog.getBuffer().isEmpty());
    // A failure is reported to the parser's own log; the parser is reusable.
    EXPECT_FALSE(QELLogDeserializer::parseLogEvent(QELString("<Message>"), parser));
    EXPECT_FALSE(parserLog.getBuffer().isEmpty());
    EXPECT_FALSE(QELLogDeserializer::parseLogEvent(QELString(""), parser));
    seen = Seen();
    EXPECT_TRUE(QELLogDeserializer::parseLogEvent(QELString("<Message/>"), parser));
    EXPECT_EQ(seen.names, (std::vector<std::string>{"Message"}));
    EXPECT_EQ(seen.calls, 0);
    QELLogDeserializer::deleteLogEventParser(parser);

    // Without a log of its own a parser refuses bad records silently.
    int starts = 0;
    void* silent = QELLogDeserializer::createLogEventParser(
        &starts, nullptr, [](void* user, const char*, const char**) { ++*static_cast<int*>(user); },
        [](void*, const char*, int) {});
    EXPECT_FALSE(QELLogDeserializer::parseLogEvent(QELString("<Message>"), silent));
    EXPECT_FALSE(QELLogDeserializer::parseLogEvent(QELString("<Other/>"), silent));
    EXPECT_TRUE(QELLogDeserializer::parseLogEvent(QELString("<Message/>"), silent));
    EXPECT_EQ(starts, 2);
    QELLogDeserializer::deleteLogEventParser(silent);
}

// ---------------------------------------------------------------------------
// The tolerant deserializer

namespace {

// A record that names an attribute the parser does not know, in two lines.
const char* const FOREIGN_RECORD = "<Message type=\"ERROR\" xmlns=\"urn:other\">one\ntwo</Message>\n";

// Good records around a refused one, with the lines the refused one gives.
std::string streamWithForeignRecord()
{
    return "before\n" + frame(SAMPLE_RECORD) + frame(FOREIGN_RECORD) + frame(SAMPLE_RECORD) + "after\n";
}

void expectForeignRecordAsLines(const TolerantCollector& c, const std::string& context)
{
    ASSERT_EQ(c.events.size(), 6u) << context;
    expectPlain(c.events[0], "before");
    expectSample(c.events[1]);
    expectPlain(c.events[2], header(static_cast<long>(strlen(FOREIGN_RECORD))) +
                                 "<Message type=\"ERROR\" xmlns=\"urn:other\">one");
    expectPlain(c.events[3], "two</Message>");
    expectSample(c.events[4]);
    expectPlain(c.events[5], "after");
    EXPECT_FALSE(c.fromRecord[2]);
    ASSERT_EQ(c.refused.size(), 1u) << context;
    EXPECT_EQ(c.refused[0], FOREIGN_RECORD);
    EXPECT_EQ(c.refusedAfter[0], 2u); // before its lines
}

} // namespace

TEST(QELTolerantLogDeserializerTest, UnknownAttributeGivesPlainLinesAndOneRefusal)
{
    TolerantCollector c;
    c.feed(streamWithForeignRecord());
    expectForeignRecordAsLines(c, "whole");
    EXPECT_TRUE(c.buffer.isEmpty());
    EXPECT_EQ(c.state, 1);
}

TEST(QELTolerantLogDeserializerTest, EveryCutOfTheStreamGivesTheSameEvents)
{
    std::string text = streamWithForeignRecord();
    for (size_t cut = 0; cut <= text.size(); cut++) {
        TolerantCollector c;
        c.feed(text.substr(0, cut));
        c.feed(text.substr(cut));
        expectForeignRecordAsLines(c, "cut " + std::to_string(cut));
    }
    TolerantCollector bytes;
    for (char ch : text)
        bytes.feed(std::string(1, ch));
    expectForeignRecordAsLines(bytes, "byte by byte");
}

TEST(QELTolerantLogDeserializerTest, AnyUnknownNameIsRefusedWhereverItStands)
{
    const char* const records[] = {
        "<Message xmlns=\"u\" type=\"INFO\">x</Message>\n",
        "<Message type=\"INFO\" Type=\"INFO\">x</Message>\n",
        "<Message code=\"C\" timestamp=\"2006- 3-05T14:07:09Z\" level=\"1\">x</Message>\n",
        "<Message stacktrace=\"s\">x</Message>\n",
    };
    for (const char* record : records) {
        TolerantCollector c;
        c.feed(frame(record));
        ASSERT_EQ(c.refused.size(), 1u) << record;
        EXPECT_EQ(c.refused[0], record);
        ASSERT_EQ(c.events.size(), 1u) << record;
        std::string line(record, strlen(record) - 1);
        expectPlain(c.events[0], header(static_cast<long>(strlen(record))) + line);
    }
}

TEST(QELTolerantLogDeserializerTest, KnownAttributesAndBrokenRecordsAreNotRefused)
{
    TolerantCollector c;
    std::string broken = "<Message type=\"INFO\">abc</Messag>\n";
    c.feed(frame(SAMPLE_RECORD) + frame(broken));
    EXPECT_TRUE(c.refused.empty());
    ASSERT_EQ(c.events.size(), 2u);
    expectSample(c.events[0]);
    expectPlain(c.events[1], header(static_cast<long>(broken.size())) + "<Message type=\"INFO\">abc</Messag>");
}

TEST(QELTolerantLogDeserializerTest, DefaultHookIgnoresRefusalAndLinesReachTheLog)
{
    QELBufferedTextLog log;
    log.setLogLevel(6);
    QELTolerantLogDeserializer d(&log);
    d.append(qs(frame("<Message xmlns=\"u\">x</Message>\n") + frame(SAMPLE_RECORD)));
    std::string want = std::string(MESSAGE_TEXT_TYPES[0]) + header(31) + "<Message xmlns=\"u\">x</Message>\n" +
                       MESSAGE_TEXT_TYPES[3] + "a <b> & \"c\"\td\nat a\nat <b>\n";
    EXPECT_EQ(str(log.getBuffer()), want);
}

TEST(QELTolerantLogDeserializerTest, ReusedAfterFlushAsIfNew)
{
    // A runner flushes at the end of each child and feeds the next one; a
    // line end that opens the next stream is a line of its own.
    const std::string first = "partial line without end" + frame(SAMPLE_RECORD).substr(0, 40);
    const std::string second = "\n" + streamWithForeignRecord();
    TolerantCollector reused;
    reused.feed(frame(SAMPLE_RECORD) + frame(FOREIGN_RECORD));
    reused.flush();
    reused.feed(first);
    reused.flush();
    size_t before = reused.events.size();
    reused.refused.clear();
    reused.feed(second);
    reused.flush();
    TolerantCollector fresh;
    fresh.feed(second);
    fresh.flush();
    ASSERT_EQ(reused.events.size() - before, fresh.events.size());
    for (size_t i = 0; i < fresh.events.size(); i++)
        expectSameEvent(reused.events[before + i], fresh.events[i], "event " + std::to_string(i));
    expectPlain(fresh.events[0], "");
    EXPECT_EQ(reused.refused.size(), 1u);
}

TEST(QELTolerantLogDeserializerTest, FlushAfterRecordLeavesNoLineEndToSkip)
{
    TolerantCollector c;
    c.feed(frame(SAMPLE_RECORD));
    c.flush();
    c.feed("\nnext\n");
    ASSERT_EQ(c.events.size(), 3u);
    expectPlain(c.events[1], "");
    expectPlain(c.events[2], "next");
}

// ---------------------------------------------------------------------------
// Hostile streams: tens of megabytes built to make the reader work hard. The
// ctest entry of these tests has a time limit; work that grew faster than
// the stream (rescanning what waits, copying what is pending) exceeds it.

namespace {

// 64 MiB, or QEL_TEST_HOSTILE_BYTES: the sanitizer build, many times slower
// per byte, runs a smaller stream under the same time limit.
size_t hostileBytes()
{
    const char* scaled = getenv("QEL_TEST_HOSTILE_BYTES");
    return scaled != nullptr ? static_cast<size_t>(strtoull(scaled, nullptr, 10)) : (64u << 20);
}

const size_t HOSTILE_BYTES = hostileBytes();

// Runs `text` in pieces of 64 KiB, and in pieces of 7 bytes or of one byte
// over its first megabytes (then of 64 KiB), and checks that each way gives
// the events `expected` sums up. Rescanning what waits, or copying what is
// pending, at each small piece would take hours over those megabytes.
void expectDigestInEveryPieceSize(const std::string& text, const EventDigest& expected, const char* what)
{
    const size_t large = 64u << 10;
    const struct {
        size_t small, smallBytes;
    } ways[] = {{large, 0}, {7, 16u << 20}, {1, 4u << 20}};
    for (const auto& way : ways) {
        EventDigest d;
        feedInPieces(d, text, way.small, way.smallBytes, large);
        EXPECT_EQ(d.count, expected.count) << what << ", pieces of " << way.small;
        EXPECT_EQ(d.hash, expected.hash) << what << ", pieces of " << way.small;
        EXPECT_TRUE(d.buffer.isEmpty()) << what;
    }
}

// A header start followed by `fill` repeated up to HOSTILE_BYTES: no line
// end anywhere, so flush delivers it all as one line.
std::string headerStartThen(const std::string& opening, const std::string& fill)
{
    std::string text = "<!-- QELLog size=" + opening;
    text.reserve(HOSTILE_BYTES + fill.size());
    while (text.size() < HOSTILE_BYTES)
        text += fill;
    return text;
}

} // namespace

TEST(HostileLogStreamTest, HeaderStartFollowedByMegabytesOfDigitsOrBlanks)
{
    struct Variant {
        const char* what;
        std::string opening, fill;
    } variants[] = {
        {"digits", "", "1234567890"},
        {"blanks", "", " "},
        {"blanks then digits", "            ", "0987654321"},
        {"a valid size over blanks", "10000000", " "},
    };
    for (const Variant& v : variants) {
        std::string text = headerStartThen(v.opening, v.fill);
        EventDigest expected;
        expected.add(0, text.data(), text.size());
        expectDigestInEveryPieceSize(text, expected, v.what);
    }
}

TEST(HostileLogStreamTest, LinesOfBogusHeadersEachAskingForTenMegabytes)
{
    // Every header asks for a record that spans the headers after it, so
    // each window completes 30 bytes after the last and none parses.
    const std::string line = header(10000000);
    std::string text;
    text.reserve(HOSTILE_BYTES + 64);
    EventDigest expected;
    while (text.size() < HOSTILE_BYTES) {
        text += line + "\n";
        expected.add(0, line.data(), line.size());
    }
    expectDigestInEveryPieceSize(text, expected, "bogus headers");
}

TEST(HostileLogStreamTest, MegabytesOfLinesEndedByCarriageReturnsOnly)
{
    const std::string line = "no line feed in sight";
    std::string text;
    EventDigest expected;
    while (text.size() < (16u << 20)) {
        text += line + "\r";
        expected.add(0, line.data(), line.size());
    }
    expectDigestInEveryPieceSize(text, expected, "carriage returns");
}

TEST(HostileLogStreamTest, RecordsBetweenBogusHeadersAreStillFound)
{
    // A record follows each bogus header: the header's window spans the
    // record and does not parse, so the header is a line and the record an
    // event; the last header's window never fills and flush gives its lines.
    const std::string record = formatted(QELLogEvent(QELString("found"), QELString("C"), 3, emptyString));
    const std::string bogus = header(100000);
    std::string text;
    EventDigest expected;
    while (text.size() < (8u << 20)) {
        text += bogus + "\n" + record;
        expected.add(0, bogus.data(), bogus.size());
        expected.add(3, "found", 5);
    }
    expectDigestInEveryPieceSize(text, expected, "records between headers");
}

// ---------------------------------------------------------------------------
// Randomised streams

TEST(QELLogDeserializerTest, RandomStreamsCutAnywhereGiveTheSameEvents)
{
    for (uint64_t seed = 1; seed <= 150; seed++) {
        QELTestRandom random(seed);
        std::vector<Expected> expected;
        std::string stream = makeStream(random, 40, expected);
        static const size_t maxPieces[] = {1, 2, 7, 29, 64, 1000, 12288};
        for (size_t maxPiece : maxPieces) {
            if (maxPiece == 1 && seed > 20)
                continue; // byte by byte is slow; a few seeds suffice
            Collector c;
            for (size_t at = 0; at < stream.size();) {
                size_t n = 1 + random.below(static_cast<uint32_t>(maxPiece));
                c.feed(stream.substr(at, n));
                at += n;
                ASSERT_TRUE(c.state >= 1 && c.state <= 3);
            }
            c.flush();
            EXPECT_TRUE(c.buffer.isEmpty());
            checkEvents(c.events, expected, "seed " + std::to_string(seed) + " pieces " + std::to_string(maxPiece));
        }
    }
}

TEST(QELLogDeserializerTest, DamagedStreamsLoseNoByte)
{
    for (uint64_t seed = 1; seed <= 300; seed++) {
        QELTestRandom random(seed * 7919);
        std::string stream = makeDamagedStream(random, 60);
        Collector c;
        for (size_t at = 0; at < stream.size();) {
            size_t n = 1 + random.below(random.below(2) ? 40 : 3000);
            c.feed(stream.substr(at, n));
            at += n;
        }
        c.flush();
        // Every byte but the line ends is in a plain line or in a record.
        std::string rebuilt;
        size_t records = 0;
        for (size_t i = 0; i < c.events.size(); i++) {
            if (c.fromRecord[i]) {
                rebuilt += formatted(c.events[i]);
                records++;
            } else {
                rebuilt += str(c.events[i].message);
            }
        }
        EXPECT_EQ(withoutLineEnds(rebuilt), withoutLineEnds(stream)) << "seed " << seed;
        EXPECT_GT(records, 0u) << "seed " << seed;
    }
}

TEST(QELLogDeserializerTest, RandomBytesNeverCrashAndComeOutAsLines)
{
    for (uint64_t seed = 1; seed <= 100; seed++) {
        QELTestRandom random(seed);
        std::string stream;
        for (int i = 0; i < 3000; i++) {
            char ch = static_cast<char>(1 + random.below(255));
            stream += ch;
            if (random.below(200) == 0)
                stream += "<!-- QELLog size=" + std::to_string(random.below(100)) + "   -->";
        }
        Collector c;
        for (size_t at = 0; at < stream.size();) {
            size_t n = 1 + random.below(500);
            c.feed(stream.substr(at, n));
            at += n;
        }
        c.flush();
        std::string rebuilt;
        for (size_t i = 0; i < c.events.size(); i++) {
            EXPECT_FALSE(c.fromRecord[i]);
            rebuilt += str(c.events[i].message);
        }
        EXPECT_EQ(withoutLineEnds(rebuilt), withoutLineEnds(stream)) << "seed " << seed;
    }
}

// ---------------------------------------------------------------------------
// Assertion reports

namespace {

// The reports name the family's source and a fixed line.
const char* const DESERIALIZE_SIGNATURE =
    "QELBoolean QELLogDeserializer::deserializeLogEvent(QELLogEvent&, const QELString&, unsigned int, "
    "unsigned int)";
const std::string APPEND_REPORT =
    AssertionReportAt("QELLog.cpp", 489, "void QELLogDeserializer::append(const QELString&)", "0");
const std::string LOAD_REPORT = AssertionReportAt("QELLog.cpp", 368, DESERIALIZE_SIGNATURE, "0");
const std::string ENTRY_POINT_REPORT = AssertionReportAt("QELLog.cpp", 374, DESERIALIZE_SIGNATURE, "0");
const std::string ATTRIBUTE_REPORT =
    AssertionReportAt("QELLog.cpp", 333, "void startLogEventElement(void*, const char*, const char**)", "0");

} // namespace

TEST(QELLogDeserializerDeathTest, StateOutsideOneToThreeAbortsInAppend)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (int bad : {0, 4, -1}) {
        EXPECT_DEATH(
            {
                QELLogDeserializer d(NULL);
                d.state = bad;
                d.append(QELString("x"));
            },
            APPEND_REPORT);
    }
}

TEST(QELLogDeserializerDeathTest, UnknownAttributeInRecordAborts)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            QELLogDeserializer d(NULL);
            d.append(qs(frame("<Message type=\"INFO\" level=\"3\">x</Message>\n")));
        },
        ATTRIBUTE_REPORT);
}

TEST(QELLogDeserializerDeathTest, AttributeNamesAreComparedExactly)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const char* const names[] = {"Type", "codes", "time", "stacktrace", ""};
    for (const char* name : names) {
        QELLogEvent event(emptyString);
        const char* attributes[] = {"type", "INFO", name, "v", NULL};
        EXPECT_DEATH(startLogEventElement(&event, "Message", attributes), ATTRIBUTE_REPORT) << name;
    }
}

namespace {

// Runs a record through a fresh process whose loader finds, through
// LD_LIBRARY_PATH, the stand-in companion library in `directory`.
void feedRecordWithCompanionIn(const char* directory)
{
    std::string path = std::string(QEL_TEST_BIN_DIR) + "/" + directory;
    setenv("LD_LIBRARY_PATH", path.c_str(), 1);
    EXPECT_DEATH(
        {
            QELLogDeserializer d(NULL);
            d.append(QELString(frame(SAMPLE_RECORD).c_str()));
        },
        ENTRY_POINT_REPORT);
    unsetenv("LD_LIBRARY_PATH");
}

} // namespace

TEST(QELLogDeserializerDeathTest, CompanionWithoutCreateLogEventParserAborts)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    feedRecordWithCompanionIn("fake-i18n-none");
}

TEST(QELLogDeserializerDeathTest, CompanionWithoutParseLogEventAborts)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    feedRecordWithCompanionIn("fake-i18n-create");
}

// Run only inside the copy made by the next test, where no companion
// library lies beside libQELStd.so.
TEST(QELLogDeserializerChild, FeedsOneRecord)
{
    const char* child = getenv("QEL_DESERIALIZER_CHILD");
    if (child == NULL || strcmp(child, "1") != 0)
        GTEST_SKIP() << "runs as a child of MissingCompanionLibraryAborts";
    QELLogDeserializer d(NULL);
    d.append(QELString(frame(SAMPLE_RECORD).c_str()));
}

TEST(QELLogDeserializerDeathTest, MissingCompanionLibraryAborts)
{
    // The library is looked up beside libQELStd.so; copies of this test and
    // of libQELStd.so in an empty directory have none there.
    char self[4096];
    ssize_t selfLength = readlink("/proc/self/exe", self, sizeof self - 1);
    ASSERT_GT(selfLength, 0);
    self[selfLength] = '\0';
    const char* tmp = getenv("TMPDIR");
    std::string pattern = std::string(tmp != NULL && tmp[0] != '\0' ? tmp : P_tmpdir) + "/qeldeserializerXXXXXX";
    std::vector<char> dir(pattern.begin(), pattern.end());
    dir.push_back('\0');
    ASSERT_NE(mkdtemp(dir.data()), nullptr);
    std::string target(dir.data());
    std::string copy = std::string("cp '") + self + "' '" + target + "/test_child' && cp '" + QEL_TEST_BIN_DIR +
                       "/libQELStd.so' '" + target + "/'";
    ASSERT_EQ(system(copy.c_str()), 0);
    std::string run = "env -u LD_LIBRARY_PATH QEL_DESERIALIZER_CHILD=1 '" + target +
                      "/test_child' --gtest_filter=QELLogDeserializerChild.FeedsOneRecord 2>&1";
    FILE* pipe = popen(run.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string output;
    char piece[4096];
    size_t n;
    while ((n = fread(piece, 1, sizeof piece, pipe)) > 0)
        output.append(piece, n);
    int status = pclose(pipe);
    std::string clean = "rm -rf '" + target + "'";
    EXPECT_EQ(system(clean.c_str()), 0);
    EXPECT_NE(status, 0);
    regex_t report;
    ASSERT_EQ(0, regcomp(&report, LOAD_REPORT.c_str(), REG_EXTENDED | REG_NOSUB));
    EXPECT_EQ(0, regexec(&report, output.c_str(), 0, NULL, 0)) << output;
    regfree(&report);
}
