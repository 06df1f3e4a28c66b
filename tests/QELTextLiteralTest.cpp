// Tests of QELTextLiteral, QELParameterizedTextLiteral and QELMessageLiteral:
// the placeholder tokeniser with its deliberate oddities, the filling in of
// values against a std::string model, updates and message levels.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "QELTextLiteral.h"
#include "QELInvariants.h"
#include "QELDeathTestPatterns.h"

namespace {

void expectLiteralInvariant(const QELParameterizedTextLiteral& l)
{
    EXPECT_TRUE(QEL_TEXT_LITERAL_INVARIANT((&l)));
    EXPECT_TRUE(QEL_PARAMETERIZED_TEXT_LITERAL_INVARIANT((&l)));
    EXPECT_TRUE(stringInvariantHolds(&l.id));
    EXPECT_TRUE(stringInvariantHolds(&l.text));
}

std::vector<std::string> pieces(const QELParameterizedTextLiteral& l)
{
    std::vector<std::string> result;
    if (l.preprocessedTextTokens == nullptr)
        return result;
    for (int i = 0; i <= l.parameterCount; ++i) {
        EXPECT_TRUE(stringInvariantHolds(&l.preprocessedTextTokens[i]));
        result.push_back(std::string(l.preprocessedTextTokens[i].chars(), l.preprocessedTextTokens[i].length()));
    }
    return result;
}

std::vector<int32_t> sequence(const QELParameterizedTextLiteral& l)
{
    std::vector<int32_t> result;
    if (l.preprocessedParameterSequenceTokens == nullptr)
        return result;
    for (int i = 0; i < l.parameterCount; ++i)
        result.push_back(l.preprocessedParameterSequenceTokens[i]);
    return result;
}

std::string str(const QELString& s)
{
    return std::string(s.chars(), s.length());
}

// A model of the tokeniser written independently over std::string.
struct ModelTokens {
    std::vector<std::string> pieces;
    std::vector<int32_t> sequence;
    int32_t maxParameterNumber = -1;
};

ModelTokens modelTokenise(const std::string& text)
{
    ModelTokens m;
    std::vector<std::string> pieces;
    std::vector<int32_t> sequence;
    const std::size_t n = text.size();
    std::size_t start = 0;
    while (start < n) {
        const std::size_t brace = text.find('{', start);
        if (brace == std::string::npos)
            break;
        // The brace must leave room for two more characters, unless the
        // text ends in "{}".
        if (brace + 3 > n && !(brace + 2 == n && text[brace + 1] == '}'))
            break;
        std::size_t end = brace + 1;
        // A number beyond the signed 32-bit range is no placeholder.
        const std::size_t digitsStart = end;
        while (end < n && text[end] >= '0' && text[end] <= '9')
            ++end;
        const std::string digits = text.substr(digitsStart, end - digitsStart);
        const std::size_t significant = digits.find_first_not_of('0');
        const std::string trimmed = significant == std::string::npos ? "" : digits.substr(significant);
        const bool fits = trimmed.size() < 10 || (trimmed.size() == 10 && trimmed <= "2147483647");
        const int32_t number = fits && !trimmed.empty() ? int32_t(std::stoll(trimmed)) : 0;
        if (fits && end < n && text[end] == '}') {
            pieces.push_back(text.substr(start, brace - start));
            sequence.push_back(int32_t(number));
            start = end + 1;
        } else {
            start = end;
        }
    }
    if (sequence.empty())
        return m;
    pieces.push_back(start < n ? text.substr(start) : std::string());
    for (int32_t v : sequence)
        m.maxParameterNumber = std::max(m.maxParameterNumber, v);
    m.pieces = pieces;
    m.sequence = sequence;
    return m;
}

} // namespace

// ---------------------------------------------------------------------------
// QELTextLiteral

TEST(QELTextLiteralTest, ConstructorStoresIdAndText)
{
    QELTextLiteral l("app.title", "Repository Browser");
    EXPECT_EQ(str(l.id), "app.title");
    EXPECT_EQ(str(l.text), "Repository Browser");
    EXPECT_TRUE(QEL_TEXT_LITERAL_INVARIANT((&l)));
}

TEST(QELTextLiteralTest, UpdateWithTextReplacesIt)
{
    QELTextLiteral l("t", "old");
    l.update("new text", nullptr);
    EXPECT_EQ(str(l.text), "new text");
    EXPECT_EQ(str(l.id), "t");
}

TEST(QELTextLiteralTest, UpdateWithEmptyTextKeepsTheOldOne)
{
    QELTextLiteral l("t", "old");
    l.update("", nullptr);
    EXPECT_EQ(str(l.text), "old");
    l.update(QELString(), nullptr);
    EXPECT_EQ(str(l.text), "old");
}

TEST(QELTextLiteralTest, UpdateIgnoresTheElement)
{
    QELTextLiteral l("t", "old");
    int notAnElement = 0;
    l.update("new", reinterpret_cast<const QELDOMElement*>(&notAnElement));
    EXPECT_EQ(str(l.text), "new");
    EXPECT_EQ(notAnElement, 0);
}

TEST(QELTextLiteralTest, UpdateThroughTheBaseIsVirtual)
{
    QELParameterizedTextLiteral p("p", "none");
    QELTextLiteral& base = p;
    base.update("now {0}", nullptr);
    EXPECT_EQ(p.parameterCount, 1);
    EXPECT_EQ(pieces(p), (std::vector<std::string>{"now ", ""}));
}

TEST(QELTextLiteralTest, DeletingThroughTheBaseFreesTheTokens)
{
    QELTextLiteral* l = new QELMessageLiteral("m", "{0} and {1}", "INFO");
    delete l; // the sanitizer build reports a leak if the arrays stay
    SUCCEED();
}

// ---------------------------------------------------------------------------
// Tokeniser

struct TokenCase {
    const char* text;
    std::vector<std::string> pieces; // empty: not tokenised
    std::vector<int32_t> sequence;
    int32_t maxParameterNumber;
    const char* why;
};

TEST(QELParameterizedTextLiteralTest, TokenisesTheTableOfTexts)
{
    const std::vector<TokenCase> cases = {
        {"Copy {0} to {1}", {"Copy ", " to ", ""}, {0, 1}, 1, "two parameters, empty last piece"},
        {"{1}{1}", {"", "", ""}, {1, 1}, 1, "repeated number counts twice"},
        {"{}", {"", ""}, {0}, 0, "empty braces are parameter 0, also as the whole text"},
        {"{}x", {"", "x"}, {0}, 0, "empty braces are parameter 0"},
        {"a{}b", {"a", "b"}, {0}, 0, "empty braces inside a text"},
        {"x{5", {}, {}, -1, "brace within the last two characters"},
        {"Value {}", {"Value ", ""}, {0}, 0, "empty braces ending the text are parameter 0"},
        {"{0}x{}", {"", "x", ""}, {0, 0}, 0, "empty braces at the end after another placeholder"},
        {"a{1", {}, {}, -1, "a digit after a brace in the last two characters"},
        {"{0}a{", {"", "a{"}, {0}, 0, "a brace as the last character stops the scan"},
        {"{0}a{1", {"", "a{1"}, {0}, 0, "an unclosed number at the end stops the scan"},
        {"{0}a{x", {"", "a{x"}, {0}, 0, "a brace and a letter at the end stop the scan"},
        {"a{x}b{0}c", {"x}b", "c"}, {0}, 0, "a non-placeholder brace drops the text before it"},
        {"no placeholders", {}, {}, -1, "plain text"},
        {"", {}, {}, -1, "empty text"},
        {"{", {}, {}, -1, "lone brace"},
        {"}{", {}, {}, -1, "reversed braces"},
        {"{12}", {"", ""}, {12}, 12, "several digits"},
        {"{007}x", {"", "x"}, {7}, 7, "leading zeros"},
        {"{3}{0}", {"", "", ""}, {3, 0}, 3, "numbers out of order"},
        {"{0}{", {"", "{"}, {0}, 0, "trailing brace is kept in the last piece"},
        {"{0} {1", {"", " {1"}, {0}, 0, "unclosed number at the end is kept"},
        {"{0} {1x", {"", "x"}, {0}, 0, "unclosed number before the end drops its text"},
        {"ab{1x}{2}", {"x}", ""}, {2}, 2, "unclosed number drops the text and its digits"},
        {"{0}{{1}}", {"", "", "}"}, {0, 1}, 1, "doubled braces"},
        {"{-1}{0}", {"-1}", ""}, {0}, 0, "a sign is not a digit"},
        {"{ 1}x{2}", {" 1}x", ""}, {2}, 2, "a blank is not a digit"},
        {"{4294967297}x", {}, {}, -1, "a number beyond 32 bits is text, not {1}"},
        {"{4294967296}", {}, {}, -1, "a number beyond 32 bits is text, not {0}"},
        {"{2147483648}x", {}, {}, -1, "a number beyond the signed range is text"},
        {"a{99999999999999999999}b{0}c", {"}b", "c"}, {0}, 0, "an overlong number drops text as any odd brace"},
        {"{2147483647}", {"", ""}, {INT32_MAX}, INT32_MAX, "the largest number that fits"},
        {"{0000000000002}x", {"", "x"}, {2}, 2, "leading zeros do not count against the range"},
        {"Größe: {0} ✓", {"Größe: ", " ✓"}, {0}, 0, "UTF-8 bytes are copied as they are"},
        {"{0}\n{1}\n", {"", "\n", "\n"}, {0, 1}, 1, "line breaks"},
    };
    for (const TokenCase& c : cases) {
        SCOPED_TRACE(std::string(c.text) + " : " + c.why);
        QELParameterizedTextLiteral l("id", c.text);
        expectLiteralInvariant(l);
        EXPECT_EQ(str(l.text), c.text);
        EXPECT_EQ(pieces(l), c.pieces);
        EXPECT_EQ(sequence(l), c.sequence);
        EXPECT_EQ(l.parameterCount, int32_t(c.sequence.size()));
        EXPECT_EQ(l.maxParameterNumber, c.maxParameterNumber);
        if (c.sequence.empty()) {
            EXPECT_EQ(l.preprocessedTextTokens, nullptr);
            EXPECT_EQ(l.preprocessedParameterSequenceTokens, nullptr);
        }
        // The independent model agrees with every row.
        const ModelTokens m = modelTokenise(c.text);
        EXPECT_EQ(m.pieces, c.pieces);
        EXPECT_EQ(m.sequence, c.sequence);
    }
}

TEST(QELParameterizedTextLiteralTest, CopyToGivesCopyAToB)
{
    QELParameterizedTextLiteral l("copy", "Copy {0} to {1}");
    void* values = l.prapareForParameters();
    l.setParameterValue(values, 0, "A");
    l.setParameterValue(values, 1, "B");
    const QELString text = l.createParametrizedText(values);
    EXPECT_EQ(str(text), "Copy A to B");
    EXPECT_TRUE(stringInvariantHolds(&text));
    expectLiteralInvariant(l);
}

TEST(QELParameterizedTextLiteralTest, RepeatedNumberUsesTheSameValue)
{
    QELParameterizedTextLiteral l("twice", "{1}{1}");
    void* values = l.prapareForParameters(); // two entries: 0 and 1
    l.setParameterValue(values, 1, "ab");
    EXPECT_EQ(str(l.createParametrizedText(values)), "abab");
}

TEST(QELParameterizedTextLiteralTest, UnsetValuesAreEmpty)
{
    QELParameterizedTextLiteral l("gap", "<{0}|{2}>");
    void* values = l.prapareForParameters(); // three entries
    l.setParameterValue(values, 2, "two");
    EXPECT_EQ(str(l.createParametrizedText(values)), "<|two>");
}

TEST(QELParameterizedTextLiteralTest, ValuesMayBeSetTwice)
{
    QELParameterizedTextLiteral l("v", "[{0}]");
    void* values = l.prapareForParameters();
    l.setParameterValue(values, 0, "first value, longer");
    l.setParameterValue(values, 0, "second");
    EXPECT_EQ(str(l.createParametrizedText(values)), "[second]");
}

TEST(QELParameterizedTextLiteralTest, PiecesAreSharedByEveryFill)
{
    QELParameterizedTextLiteral l("n", "{0} of {1}");
    const QELString* tokens = l.preprocessedTextTokens;
    for (int i = 0; i < 100; ++i) {
        void* values = l.prapareForParameters();
        l.setParameterValue(values, 0, QELString(i));
        l.setParameterValue(values, 1, "100");
        EXPECT_EQ(str(l.createParametrizedText(values)), std::to_string(i) + " of 100");
    }
    EXPECT_EQ(l.preprocessedTextTokens, tokens);
    expectLiteralInvariant(l);
}

TEST(QELParameterizedTextLiteralTest, PreprocessingATokenisedTextAgainChangesNothing)
{
    QELParameterizedTextLiteral l("n", "{0} of {1}");
    const QELString* tokens = l.preprocessedTextTokens;
    const int32_t* sequence = l.preprocessedParameterSequenceTokens;
    l.preprocessParameters(false);
    l.preprocessParameters(true);
    EXPECT_EQ(l.preprocessedTextTokens, tokens);
    EXPECT_EQ(l.preprocessedParameterSequenceTokens, sequence);
    EXPECT_EQ(l.parameterCount, 2);
    EXPECT_EQ(l.maxParameterNumber, 1);
    EXPECT_EQ(str(tokens[1]), " of ");
    expectLiteralInvariant(l);
}

TEST(QELParameterizedTextLiteralTest, NullValueArrayFillsNothing)
{
    QELParameterizedTextLiteral l("n", "a{0}b{1}c");
    EXPECT_EQ(str(l.createParametrizedText(nullptr)), "abc");
}

TEST(QELParameterizedTextLiteralTest, EmptyBracesAtTheStartTakeValueZero)
{
    QELParameterizedTextLiteral l("n", "{} items");
    void* values = l.prapareForParameters();
    l.setParameterValue(values, 0, "3");
    EXPECT_EQ(str(l.createParametrizedText(values)), "3 items");
}

TEST(QELParameterizedTextLiteralTest, OddBraceDropsTextFromTheResult)
{
    QELParameterizedTextLiteral l("odd", "a{x}b{0}c");
    void* values = l.prapareForParameters();
    l.setParameterValue(values, 0, "V");
    EXPECT_EQ(str(l.createParametrizedText(values)), "x}bVc");
}

TEST(QELParameterizedTextLiteralTest, UpdateWithEmptyTextKeepsTextAndTokens)
{
    QELParameterizedTextLiteral l("u", "Copy {0} to {1}");
    const QELString* tokens = l.preprocessedTextTokens;
    const int32_t* numbers = l.preprocessedParameterSequenceTokens;
    l.update("", nullptr);
    EXPECT_EQ(str(l.text), "Copy {0} to {1}");
    EXPECT_EQ(l.preprocessedTextTokens, tokens);
    EXPECT_EQ(l.preprocessedParameterSequenceTokens, numbers);
    EXPECT_EQ(l.parameterCount, 2);
    EXPECT_EQ(l.maxParameterNumber, 1);
    expectLiteralInvariant(l);
}

TEST(QELParameterizedTextLiteralTest, UpdateRetokenisesTheNewText)
{
    QELParameterizedTextLiteral l("u", "Copy {0} to {1}");
    l.update("Nach {1} kopiert: {0}", nullptr);
    EXPECT_EQ(pieces(l), (std::vector<std::string>{"Nach ", " kopiert: ", ""}));
    EXPECT_EQ(sequence(l), (std::vector<int32_t>{1, 0}));
    EXPECT_EQ(l.maxParameterNumber, 1);
    expectLiteralInvariant(l);
    void* values = l.prapareForParameters();
    l.setParameterValue(values, 0, "a.txt");
    l.setParameterValue(values, 1, "/tmp");
    EXPECT_EQ(str(l.createParametrizedText(values)), "Nach /tmp kopiert: a.txt");
}

TEST(QELParameterizedTextLiteralTest, UpdateToPlainTextDropsTheTokens)
{
    QELParameterizedTextLiteral l("u", "{0} {1} {2}");
    l.update("plain", nullptr);
    EXPECT_EQ(l.preprocessedTextTokens, nullptr);
    EXPECT_EQ(l.preprocessedParameterSequenceTokens, nullptr);
    EXPECT_EQ(l.parameterCount, 0);
    EXPECT_EQ(l.maxParameterNumber, -1);
    expectLiteralInvariant(l);
    l.update("again {4}", nullptr);
    EXPECT_EQ(l.parameterCount, 1);
    EXPECT_EQ(l.maxParameterNumber, 4);
    expectLiteralInvariant(l);
}

TEST(QELParameterizedTextLiteralTest, CopiesOwnTheirTokens)
{
    QELParameterizedTextLiteral a("a", "x{0}y");
    QELParameterizedTextLiteral b(a);
    EXPECT_NE(a.preprocessedTextTokens, b.preprocessedTextTokens);
    EXPECT_EQ(pieces(b), pieces(a));
    QELParameterizedTextLiteral c("c", "plain");
    c = a;
    EXPECT_EQ(str(c.id), "a");
    EXPECT_EQ(pieces(c), pieces(a));
    QELParameterizedTextLiteral& self = c;
    c = self; // assignment to itself keeps everything
    EXPECT_EQ(pieces(c), pieces(a));
    a.update("{1}", nullptr);
    EXPECT_EQ(pieces(b), (std::vector<std::string>{"x", "y"}));
    expectLiteralInvariant(a);
    expectLiteralInvariant(b);
    expectLiteralInvariant(c);
}

// Random texts built from literal characters, placeholders and brace debris,
// tokenised and filled against the std::string model.
TEST(QELParameterizedTextLiteralTest, RandomTextsMatchTheStdStringModel)
{
    std::mt19937 random(20261122);
    const std::vector<std::string> parts = {
        "a", "b", " ", "xyz", "é", "\n", "{", "}", "{}", "{0}", "{1}", "{2}", "{3}",
        "{9}", "{12}", "{x", "{1x", "}}", "{{", "0", "7", "{4294967296}", "{2147483648}"};
    int tokenised = 0;
    for (int round = 0; round < 5000; ++round) {
        std::string text;
        const int count = int(random() % 12);
        for (int i = 0; i < count; ++i)
            text += parts[random() % parts.size()];
        SCOPED_TRACE(text);
        QELParameterizedTextLiteral l("r", QELString(text.c_str()));
        expectLiteralInvariant(l);
        const ModelTokens m = modelTokenise(text);
        ASSERT_EQ(pieces(l), m.pieces);
        ASSERT_EQ(sequence(l), m.sequence);
        ASSERT_EQ(l.maxParameterNumber, m.maxParameterNumber);
        if (m.sequence.empty())
            continue;
        ++tokenised;
        std::vector<std::string> values(std::size_t(m.maxParameterNumber) + 1);
        void* array = l.prapareForParameters();
        for (std::size_t v = 0; v < values.size(); ++v) {
            if (random() % 4 == 0)
                continue; // left empty
            values[v] = "v" + std::to_string(random() % 1000) + (random() % 2 ? "é" : "");
            l.setParameterValue(array, int(v), QELString(values[v].c_str()));
        }
        std::string expected;
        for (std::size_t i = 0; i < m.sequence.size(); ++i)
            expected += m.pieces[i] + values[std::size_t(m.sequence[i])];
        expected += m.pieces.back();
        const QELString filled = l.createParametrizedText(array);
        ASSERT_TRUE(stringInvariantHolds(&filled));
        ASSERT_EQ(str(filled), expected);
        // An update with the same text gives the same tokens again.
        l.update(QELString(text.c_str()), nullptr);
        ASSERT_EQ(pieces(l), m.pieces);
    }
    EXPECT_GT(tokenised, 2000);
}

// ---------------------------------------------------------------------------
// QELMessageLiteral

TEST(QELMessageLiteralTest, LevelComesFromTheLevelWord)
{
    const struct {
        const char* word;
        int32_t level;
    } cases[] = {
        {"FATAL", 1}, {"ERROR", 2}, {"WARNING", 3}, {"STATUS", 4}, {"INFO", 5}, {"DEBUG", 6},
        {"Warning", 0},  // case counts
        {"NONE", 0},     // not in the word list
        {"", 0},         // empty word
        {" INFO", 0},    // no trimming
        {"INFO ", 0},
        {"ERRORS", 0},   // no prefix match
        {"ERR", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.word);
        QELMessageLiteral m("id", "text", c.word);
        EXPECT_EQ(m.level, c.level);
        EXPECT_EQ(str(m.levelName), c.word);
        EXPECT_TRUE(QEL_MESSAGE_LITERAL_INVARIANT((&m)));
    }
}

TEST(QELMessageLiteralTest, IsAParameterizedLiteralWithEmptyAdditionalText)
{
    QELMessageLiteral m("disk.full", "Disk {0} is full ({1}%)", "ERROR");
    EXPECT_TRUE(m.additionalText.isEmpty());
    EXPECT_EQ(m.parameterCount, 2);
    void* values = m.prapareForParameters();
    m.setParameterValue(values, 0, "C:");
    m.setParameterValue(values, 1, "99");
    EXPECT_EQ(str(m.createParametrizedText(values)), "Disk C: is full (99%)");
    expectLiteralInvariant(m);
}

TEST(QELMessageLiteralTest, InitLevelFollowsAChangedLevelName)
{
    QELMessageLiteral m("id", "text", "INFO");
    m.levelName = "DEBUG";
    m.initLevel();
    EXPECT_EQ(m.level, 6);
    m.levelName = "debug";
    m.initLevel();
    EXPECT_EQ(m.level, 0);
}

TEST(QELMessageLiteralTest, UpdateKeepsTheLevel)
{
    QELMessageLiteral m("id", "Old {0}", "WARNING");
    m.update("New {0}!", nullptr);
    EXPECT_EQ(m.level, 3);
    EXPECT_EQ(pieces(m), (std::vector<std::string>{"New ", "!"}));
}

// ---------------------------------------------------------------------------
// Assertions

const char* const PREPARE_SIGNATURE = "void* QELParameterizedTextLiteral::prapareForParameters() const";
const char* const CREATE_SIGNATURE = "QELString QELParameterizedTextLiteral::createParametrizedText(void*) const";

// The report of a failed check in the family's source.
std::string report(const std::string& signature, const std::string& expression)
{
    return AssertionReport("QELTextLiteral.cpp", signature, expression);
}

class QELParameterizedTextLiteralDeathTest : public ::testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(QELParameterizedTextLiteralDeathTest, PrepareWithoutPlaceholderStops)
{
    QELParameterizedTextLiteral l("x", "x{5");
    EXPECT_DEATH(l.prapareForParameters(),
                 report(PREPARE_SIGNATURE, "parameterCount > 0"));
}

TEST_F(QELParameterizedTextLiteralDeathTest, FillWithoutPlaceholderStops)
{
    QELParameterizedTextLiteral l("x", "plain");
    EXPECT_DEATH(l.createParametrizedText(nullptr),
                 report(CREATE_SIGNATURE, "parameterCount > 0"));
}

TEST_F(QELParameterizedTextLiteralDeathTest, MissingTextTokensStop)
{
    QELParameterizedTextLiteral l("x", "plain");
    EXPECT_DEATH(
        {
            l.parameterCount = 1;
            l.prapareForParameters();
        },
        report(PREPARE_SIGNATURE, "preprocessedTextTokens != __null"));
    EXPECT_DEATH(
        {
            l.parameterCount = 1;
            l.createParametrizedText(nullptr);
        },
        report(CREATE_SIGNATURE, "preprocessedTextTokens != __null"));
}

TEST_F(QELParameterizedTextLiteralDeathTest, MissingSequenceTokensStop)
{
    QELParameterizedTextLiteral l("x", "a{0}b");
    EXPECT_DEATH(
        {
            l.preprocessedParameterSequenceTokens = nullptr;
            l.prapareForParameters();
        },
        report(PREPARE_SIGNATURE, "preprocessedParameterSequenceTokens != __null"));
    EXPECT_DEATH(
        {
            l.preprocessedParameterSequenceTokens = nullptr;
            l.createParametrizedText(nullptr);
        },
        report(CREATE_SIGNATURE, "preprocessedParameterSequenceTokens != __null"));
}

TEST_F(QELParameterizedTextLiteralDeathTest, NegativeParameterNumberStops)
{
    // The scanner never yields a negative number; a damaged token does.
    QELParameterizedTextLiteral l("x", "{0}x");
    EXPECT_DEATH(
        {
            l.preprocessedParameterSequenceTokens[0] = -1;
            l.createParametrizedText(l.prapareForParameters());
        },
        report(CREATE_SIGNATURE, "preprocessedParameterSequenceTokens[i] >= 0"));
}

TEST_F(QELParameterizedTextLiteralDeathTest, ParameterNumberAboveMaximumStops)
{
    QELParameterizedTextLiteral l("x", "{1}{0}");
    EXPECT_DEATH(
        {
            l.maxParameterNumber = 0;
            l.createParametrizedText(l.prapareForParameters());
        },
        report(CREATE_SIGNATURE, "preprocessedParameterSequenceTokens[i] <= maxParameterNumber"));
}

TEST_F(QELParameterizedTextLiteralDeathTest, BrokenInvariantStopsUpdate)
{
    QELParameterizedTextLiteral l("x", "plain");
    EXPECT_DEATH(
        {
            l.parameterCount = 3;
            l.update("new", nullptr);
        },
        report("virtual void QELParameterizedTextLiteral::update(const QELString&, const QELDOMElement*)",
               "( ( ((this)->preprocessedTextTokens==__null) == ((this)->preprocessedParameterSequenceTokens==__null) ) "
               "&& ( ((this)->preprocessedTextTokens==__null) ? ((this)->parameterCount==0) : "
               "((this)->parameterCount>0) ) && ((this)->maxParameterNumber>=-1) )"));
}

TEST_F(QELParameterizedTextLiteralDeathTest, InvalidLevelBreaksTheMessageInvariant)
{
    EXPECT_DEATH(
        {
            QELMessageLiteral m("x", "t", "INFO");
            m.level = 9;
        },
        report("virtual QELMessageLiteral::~QELMessageLiteral()", "( ((this)->level>=0) && ((this)->level<=6) )"));
}
