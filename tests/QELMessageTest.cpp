// Tests of QELMessage: the template text, the argument count and its guard.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "QELMessage.h"
#include "QELInvariants.h"
#include "QELDeathTestPatterns.h"

namespace {

// The template is checked like any string after each step.
#define EXPECT_TEMPLATE(m, text)                                            \
    do {                                                                    \
        const QELMessage& m_ = (m);                                         \
        EXPECT_TRUE(stringInvariantHolds(&m_));                             \
        EXPECT_STREQ(m_.p, text);                                           \
        EXPECT_EQ(m_.len, static_cast<int>(strlen(text)));                  \
    } while (0)

std::string takesString(const QELString& s)
{
    return std::string(s.p, s.len);
}

TEST(QELMessageTest, DefaultMessageHasNoTextAndNoCount)
{
    QELMessage m;
    EXPECT_TEMPLATE(m, "");
    EXPECT_EQ(m.p, QELString::emptyPtr);
    EXPECT_EQ(m.alloc, 0u);
    EXPECT_EQ(m.argumentCount, -1);
}

TEST(QELMessageTest, MessageFromTextCopiesAndCounts)
{
    char text[] = "%s of %s";
    QELMessage m(text);
    EXPECT_TEMPLATE(m, "%s of %s");
    EXPECT_NE(m.p, text);
    EXPECT_EQ(m.alloc, 9u);
    EXPECT_EQ(m.argumentCount, 2);

    QELMessage plain("no markers");
    EXPECT_EQ(plain.argumentCount, 0);
    QELMessage empty("");
    EXPECT_EQ(empty.argumentCount, 0);
    EXPECT_EQ(empty.p, QELString::emptyPtr);
}

TEST(QELMessageTest, CountArgumentsCountsMarkersAndPercentPairs)
{
    struct Case {
        const char* text;
        int count;
    } cases[] = {
        { "%s of %s", 2 },
        { "100%% %s", 2 },  // deliberate: the pair counts as one as well
        { "", 0 },
        { "plain", 0 },
        { "%%", 1 },
        { "%s%s%s", 3 },
        { "%%%s", 2 },
        { "%%s", 1 },       // the pair, then a plain s
        { "a%sb%%c", 2 },
    };
    QELMessage m;
    for (const Case& c : cases)
        EXPECT_EQ(m.countArguments(c.text), c.count) << c.text;
    EXPECT_EQ(m.countArguments(NULL), 0);
    EXPECT_EQ(m.argumentCount, -1);  // counting stores nothing
}

TEST(QELMessageTest, AssignmentKeepsTheArgumentCount)
{
    QELMessage m("%s %s");
    m = "%s";  // another count: silently ignored
    EXPECT_TEMPLATE(m, "%s %s");
    EXPECT_EQ(m.argumentCount, 2);
    m = "%s and %s";  // same count: accepted
    EXPECT_TEMPLATE(m, "%s and %s");
    EXPECT_EQ(m.argumentCount, 2);
    m = "no markers";
    EXPECT_TEMPLATE(m, "%s and %s");
    m = "%% and %s";  // a pair counts as one
    EXPECT_TEMPLATE(m, "%% and %s");
}

TEST(QELMessageTest, MessageWithoutTextAcceptsAnyLaterText)
{
    QELMessage m;
    m = "%s";
    EXPECT_TEMPLATE(m, "%s");
    EXPECT_EQ(m.argumentCount, -1);  // the stored count is not changed
    m = "%s %s %s";
    EXPECT_TEMPLATE(m, "%s %s %s");
    m = "";
    EXPECT_TEMPLATE(m, "");
    EXPECT_EQ(m.argumentCount, -1);
}

TEST(QELMessageTest, AssignmentReusesTheBlockLikeAString)
{
    QELMessage m("a long %s template");
    char* p = m.p;
    unsigned int alloc = m.alloc;
    m = "short %s";
    EXPECT_EQ(m.p, p);
    EXPECT_EQ(m.alloc, alloc);
    EXPECT_TEMPLATE(m, "short %s");
    m = "a much longer %s template than before";
    EXPECT_EQ(m.alloc, strlen("a much longer %s template than before") + 1);
    EXPECT_TEMPLATE(m, "a much longer %s template than before");
    m = m.p;  // its own text
    EXPECT_TEMPLATE(m, "a much longer %s template than before");
}

TEST(QELMessageTest, MessageIsUsableAsItsText)
{
    QELMessage m("Disk %s is full");
    EXPECT_EQ(takesString(m), "Disk %s is full");
    const char* text = m;
    EXPECT_STREQ(text, "Disk %s is full");
    // The template comes first, then the count.
    EXPECT_EQ(static_cast<void*>(static_cast<QELString*>(&m)), static_cast<void*>(&m));
    EXPECT_EQ(reinterpret_cast<char*>(&m.argumentCount) - reinterpret_cast<char*>(&m),
              static_cast<std::ptrdiff_t>(sizeof(QELString)));
    QELMessage copy(m);
    EXPECT_TEMPLATE(copy, "Disk %s is full");
    EXPECT_EQ(copy.argumentCount, 1);
    EXPECT_NE(copy.p, m.p);
}

// ---------------------------------------------------------------------------
// Assertion reports

const std::string kMarkerReport = AssertionReport("QELMessage.cpp", "int QELMessage::countArguments(const char*)",
                                                  "(*(p+1)=='s') || (*(p+1)=='%' && p++)");

class QELMessageDeathTest : public ::testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

void count(const char* text)
{
    QELMessage m;
    m.countArguments(text);
}

void construct(const char* text)
{
    QELMessage m(text);
}

void assign(const char* text)
{
    QELMessage m;
    m = text;
}

TEST_F(QELMessageDeathTest, MalformedMarkersAbort)
{
    EXPECT_DEATH(count("50%"), kMarkerReport);       // "%" then the terminator
    EXPECT_DEATH(count("%d"), kMarkerReport);
    EXPECT_DEATH(count("%s %"), kMarkerReport);
    EXPECT_DEATH(count("%%%"), kMarkerReport);
    EXPECT_DEATH(construct("100% sure"), kMarkerReport);
    EXPECT_DEATH(assign("%x"), kMarkerReport);
}

}  // namespace
