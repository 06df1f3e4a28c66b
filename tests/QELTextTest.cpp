// Tests of escapeXMLString and the binarySearch family.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "QELText.h"
#include "QELInvariants.h"
#include "QELDeathTestPatterns.h"

namespace {

std::string str(const QELString& s)
{
    return std::string(s.p, s.len);
}

// The escaping rules written out plainly, as a model.
std::string modelEscape(const std::string& in)
{
    bool special = false;
    for (unsigned char c : in)
        if (c == '"' || c == '<' || c == '>' || c == '&' || c == 9 || c == 10 || c == 13)
            special = true;
    if (!special)
        return in;
    std::string out;
    for (unsigned char c : in) {
        if (c == '"')
            out += "&quot;";
        else if (c == '&')
            out += "&amp;";
        else if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else if (c == 9 || c == 10 || c == 13)
            out += "&#" + std::to_string(c) + ";";
        else if (c >= 32)
            out += static_cast<char>(c);
    }
    return out;
}

// ---------------------------------------------------------------------------
// escapeXMLString

TEST(QELTextTest, EscapeXMLStringReplacesTheSpecialCharacters)
{
    struct Case {
        const char* in;
        const char* out;
    } cases[] = {
        { "a<b&c", "a&lt;b&amp;c" },
        { "\"", "&quot;" },
        { "x>y", "x&gt;y" },
        { "\t", "&#9;" },
        { "a\n", "a&#10;" },
        { "\r\n", "&#13;&#10;" },
        { "a\x07\n", "a&#10;" },          // another control is dropped once escaping applies
        { "\x01<\x1F", "&lt;" },
        { "<caf\xC3\xA9>", "&lt;caf\xC3\xA9&gt;" },  // UTF-8 passes unchanged
        { "\"<>&\t\n\r", "&quot;&lt;&gt;&amp;&#9;&#10;&#13;" },
        { "&amp;", "&amp;amp;" },
        { " \x7F\xFF&", " \x7F\xFF&amp;" },
    };
    for (const Case& c : cases) {
        QELString r = escapeXMLString(QELString(c.in));
        EXPECT_EQ(str(r), c.out) << c.in;
        EXPECT_TRUE(stringInvariantHolds(&r));
        EXPECT_FALSE(r.isLocked());
        EXPECT_EQ(r.p[r.len], '\0');
        EXPECT_EQ(r.alloc, static_cast<unsigned int>(r.len) + 1);
    }
}

TEST(QELTextTest, EscapeXMLStringWithoutSpecialsKeepsControlsAndCopies)
{
    struct Case {
        const char* in;
    } cases[] = {
        { "a\x07" "b" },          // a, byte 7, b: unchanged
        { "caf\xC3\xA9" },        // UTF-8 unchanged
        { "plain text" },
        { "\x01\x02\x1F" },
    };
    for (const Case& c : cases) {
        char buffer[32];
        strcpy(buffer, c.in);
        QELString w;
        w.wrap(buffer);
        QELString r = escapeXMLString(w);
        EXPECT_EQ(str(r), c.in);
        EXPECT_NE(r.p, buffer);  // a copy that owns its text
        EXPECT_EQ(r.alloc, strlen(c.in) + 1);
        EXPECT_TRUE(stringInvariantHolds(&r));
        EXPECT_STREQ(buffer, c.in);
    }
    QELString e = escapeXMLString(QELString());
    EXPECT_EQ(e.p, QELString::emptyPtr);
    EXPECT_EQ(e.len, 0);
    EXPECT_EQ(e.alloc, 0u);
}

TEST(QELTextTest, EscapeXMLStringLeavesItsOperandAlone)
{
    QELString s("a<b");
    char* p = s.p;
    QELString r = escapeXMLString(s);
    EXPECT_EQ(s.p, p);
    EXPECT_EQ(str(s), "a<b");
    EXPECT_EQ(s.alloc, 4u);
    EXPECT_EQ(str(r), "a&lt;b");
}

TEST(QELTextTest, EscapeXMLStringMatchesTheRulesOnRandomText)
{
    std::mt19937 rng(7);
    for (int i = 0; i < 5000; i++) {
        std::string t;
        size_t n = rng() % 40;
        for (size_t k = 0; k < n; k++) {
            // Mostly plain letters, sometimes specials, controls or high bytes.
            unsigned int r = rng() % 10;
            if (r < 5)
                t += static_cast<char>('a' + rng() % 26);
            else if (r < 7)
                t += "\"<>&\t\n\r"[rng() % 7];
            else if (r < 9)
                t += static_cast<char>(1 + rng() % 31);
            else
                t += static_cast<char>(0x80 + rng() % 128);
        }
        QELString r = escapeXMLString(QELString(t.c_str()));
        ASSERT_EQ(str(r), modelEscape(t)) << i;
        ASSERT_EQ(strlen(r.p), static_cast<size_t>(r.len));
        ASSERT_TRUE(stringInvariantHolds(&r));
        if (r.len > 0) {
            ASSERT_EQ(r.alloc, static_cast<unsigned int>(r.len) + 1);
        }
    }
}

// ---------------------------------------------------------------------------
// binarySearch over numbers

template <class T>
class QELBinarySearchTest : public ::testing::Test {};

using NumberTypes = ::testing::Types<unsigned char, signed char, unsigned short, short,
                                     unsigned int, int, float, double>;
TYPED_TEST_SUITE(QELBinarySearchTest, NumberTypes);

TYPED_TEST(QELBinarySearchTest, FindsAnEqualElementOrReturnsMinusOne)
{
    typedef TypeParam T;
    const T odd[] = { T(1), T(3), T(5) };
    struct Case {
        T key;
        int index;
    } cases[] = {
        { T(5), 2 }, { T(4), -1 }, { T(1), 0 }, { T(3), 1 }, { T(0), -1 }, { T(6), -1 }, { T(2), -1 },
    };
    for (const Case& c : cases)
        EXPECT_EQ(binarySearch(odd, 3, c.key), c.index) << +c.key;
    EXPECT_EQ(binarySearch(odd, 0, T(1)), -1);   // empty
    EXPECT_EQ(binarySearch(odd, -5, T(1)), -1);  // n < 1
    EXPECT_EQ(binarySearch(static_cast<const T*>(NULL), 0, T(1)), -1);
    EXPECT_EQ(binarySearch(odd, 1, T(1)), 0);
    EXPECT_EQ(binarySearch(odd, 1, T(3)), -1);
}

TYPED_TEST(QELBinarySearchTest, ReturnsTheFirstEqualElementProbed)
{
    typedef TypeParam T;
    const T same[] = { T(2), T(2), T(2), T(2), T(2) };
    EXPECT_EQ(binarySearch(same, 5, T(2)), 2);
    // lo 0, hi 6: probes 3 (value 3), then 1 (value 1): index 1, not 0.
    const T ones[] = { T(1), T(1), T(2), T(3), T(4), T(5), T(6) };
    EXPECT_EQ(binarySearch(ones, 7, T(1)), 1);
    // lo 0, hi 3: probes 1 (value 2) first.
    const T twos[] = { T(1), T(2), T(2), T(2) };
    EXPECT_EQ(binarySearch(twos, 4, T(2)), 1);
}

TYPED_TEST(QELBinarySearchTest, RandomSortedArrays)
{
    typedef TypeParam T;
    std::mt19937 rng(11);
    for (int i = 0; i < 2000; i++) {
        int n = static_cast<int>(rng() % 40);
        std::vector<T> v;
        for (int k = 0; k < n; k++)
            v.push_back(static_cast<T>(rng() % 100));
        std::sort(v.begin(), v.end());
        for (int probe = 0; probe < 5; probe++) {
            T key = static_cast<T>(rng() % 100);
            int r = binarySearch(v.data(), n, key);
            // The probing sequence, step by step.
            int lo = 0, hi = n - 1, expected = -1;
            while (lo <= hi) {
                int mid = (lo + hi) / 2;
                if (v[mid] == key) {
                    expected = mid;
                    break;
                }
                if (v[mid] < key)
                    lo = mid + 1;
                else
                    hi = mid - 1;
            }
            ASSERT_EQ(r, expected);
            if (std::binary_search(v.begin(), v.end(), key)) {
                ASSERT_GE(r, 0);
                ASSERT_TRUE(v[r] == key);
            } else {
                ASSERT_EQ(r, -1);
            }
        }
    }
}

TEST(QELTextTest, BinarySearchFollowsTheSignednessOfTheType)
{
    const unsigned char uc[] = { 1, 100, 200, 255 };
    EXPECT_EQ(binarySearch(uc, 4, static_cast<unsigned char>(200)), 2);
    EXPECT_EQ(binarySearch(uc, 4, static_cast<unsigned char>(255)), 3);
    const signed char sc[] = { -128, -1, 0, 127 };
    EXPECT_EQ(binarySearch(sc, 4, static_cast<signed char>(-1)), 1);
    EXPECT_EQ(binarySearch(sc, 4, static_cast<signed char>(-128)), 0);
    const unsigned short us[] = { 0, 1, 0x8000, 0xFFFF };
    EXPECT_EQ(binarySearch(us, 4, static_cast<unsigned short>(0xFFFF)), 3);
    const short ss[] = { SHRT_MIN, -1, 0, SHRT_MAX };
    EXPECT_EQ(binarySearch(ss, 4, static_cast<short>(SHRT_MIN)), 0);
    const unsigned int ui[] = { 0u, 1u, 0x80000000u, 0xFFFFFFFFu };
    EXPECT_EQ(binarySearch(ui, 4, 0x80000000u), 2);
    EXPECT_EQ(binarySearch(ui, 4, 0xFFFFFFFFu), 3);
    const int si[] = { INT_MIN, -5, 0, INT_MAX };
    EXPECT_EQ(binarySearch(si, 4, INT_MIN), 0);
    EXPECT_EQ(binarySearch(si, 4, -5), 1);
    const float f[] = { -FLT_MAX, -0.5f, 0.0f, 1.5f, FLT_MAX };
    EXPECT_EQ(binarySearch(f, 5, 1.5f), 3);
    EXPECT_EQ(binarySearch(f, 5, -0.0f), 2);  // -0 equals 0
    EXPECT_EQ(binarySearch(f, 5, 1.25f), -1);
    const double d[] = { -1e300, 0.25, 0.5, 1e300 };
    EXPECT_EQ(binarySearch(d, 4, 0.25), 1);
    EXPECT_EQ(binarySearch(d, 4, 0.3), -1);
}

// ---------------------------------------------------------------------------
// binarySearch over strings: deliberately descending

TEST(QELTextTest, StringSearchNeedsDescendingOrder)
{
    const char* down[] = { "c", "b", "a" };
    EXPECT_EQ(binarySearch(down, 3, QELString("b")), 1);
    EXPECT_EQ(binarySearch(down, 3, QELString("c")), 0);
    EXPECT_EQ(binarySearch(down, 3, QELString("a")), 2);
    EXPECT_EQ(binarySearch(down, 3, QELString("bb")), -1);
    EXPECT_EQ(binarySearch(down, 0, QELString("b")), -1);
    EXPECT_EQ(binarySearch(down, -1, QELString("b")), -1);

    // Ascending order: "a" is less than the probed "b", so the search goes to
    // the upper half and misses it.
    const char* up[] = { "a", "b", "c" };
    EXPECT_EQ(binarySearch(up, 3, QELString("a")), -1);
    EXPECT_EQ(binarySearch(up, 3, QELString("c")), -1);
    EXPECT_EQ(binarySearch(up, 3, QELString("b")), 1);  // the first probe

    // Byte-wise comparison: "\xC3" sorts above "z".
    const char* bytes[] = { "\xC3\xA9", "z", "Z", "" };
    EXPECT_EQ(binarySearch(bytes, 4, QELString("\xC3\xA9")), 0);
    EXPECT_EQ(binarySearch(bytes, 4, QELString("Z")), 2);
    EXPECT_EQ(binarySearch(bytes, 4, QELString("")), 3);

    // A null element reads as the empty text.
    const char* withNull[] = { "b", NULL };
    EXPECT_EQ(binarySearch(withNull, 2, QELString("")), 1);
}

TEST(QELTextTest, StringSearchOnRandomDescendingArrays)
{
    std::mt19937 rng(5);
    for (int i = 0; i < 2000; i++) {
        int n = static_cast<int>(rng() % 30);
        std::vector<std::string> words;
        for (int k = 0; k < n; k++) {
            std::string w;
            size_t len = rng() % 4;
            for (size_t j = 0; j < len; j++)
                w += static_cast<char>('a' + rng() % 4);
            words.push_back(w);
        }
        std::sort(words.begin(), words.end(), [](const std::string& a, const std::string& b) {
            return strcmp(a.c_str(), b.c_str()) > 0;
        });
        std::vector<const char*> array;
        for (const std::string& w : words)
            array.push_back(w.c_str());
        for (int probe = 0; probe < 5; probe++) {
            std::string key;
            size_t len = rng() % 4;
            for (size_t j = 0; j < len; j++)
                key += static_cast<char>('a' + rng() % 4);
            int r = binarySearch(array.data(), n, QELString(key.c_str()));
            bool present = std::find(words.begin(), words.end(), key) != words.end();
            if (present) {
                ASSERT_GE(r, 0);
                ASSERT_EQ(words[r], key);
            } else {
                ASSERT_EQ(r, -1);
            }
        }
    }
}

// ---------------------------------------------------------------------------
// Assertion reports

class QELTextDeathTest : public ::testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

void escapeLocked()
{
    QELString s("a<b");
    s.lock();
    QELString r = escapeXMLString(s);
}

TEST_F(QELTextDeathTest, EscapingALockedStringAborts)
{
    EXPECT_DEATH(escapeLocked(),
                 AssertionReport("text.cpp", "QELString escapeXMLString(const QELString&)",
                                 "( ( ( ((&s)->len==0) && ((&s)->p[0]=='\\0') ) || ( ((&s)->len>0) && "
                                 "((&s)->p!=QELString::emptyPtr) ) ) && ( ((&s)->alloc==0) || "
                                 "((&s)->alloc>(&s)->len) ) )"));
}

}  // namespace
