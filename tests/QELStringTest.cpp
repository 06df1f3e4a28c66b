// Tests of QELString: construction, ownership states, growth, lock/wrap,
// hashing, substrings, case, escaping, trimming, the UTF-16 view, the
// assertion reports, and a randomised comparison with std::string.
#include <gtest/gtest.h>

#include <malloc.h>

#include <clocale>
#include <climits>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "QELString.h"
#include "QELDeathTestPatterns.h"
#include "QELStringModel.h"
#include "QELInvariants.h"

#if defined(__SANITIZE_ADDRESS__)
#define QEL_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QEL_TEST_ASAN 1
#endif
#endif

// Defined in QELStringNdebugConsumer.cpp, a translation unit built with NDEBUG.
void destroyLockedStringInNdebugCode();

namespace {

// Checks the class invariant and that the text holds exactly `text`.
#define EXPECT_STRING(s, text)                                              \
    do {                                                                    \
        const QELString& s_ = (s);                                          \
        const std::string t_ = (text);                                      \
        EXPECT_TRUE(stringInvariantHolds(&s_));                             \
        EXPECT_EQ(s_.len, static_cast<int>(t_.size()));                     \
        EXPECT_EQ(std::string(s_.p, t_.size()), t_);                        \
        EXPECT_EQ(s_.p[t_.size()], '\0');                                   \
    } while (0)

// An empty string that owns nothing.
#define EXPECT_SHARED_EMPTY(s)                                              \
    do {                                                                    \
        const QELString& s_ = (s);                                          \
        EXPECT_EQ(s_.p, QELString::emptyPtr);                               \
        EXPECT_EQ(s_.len, 0);                                               \
        EXPECT_EQ(s_.alloc, 0u);                                            \
        EXPECT_EQ(QELString::emptyPtr[0], '\0');                            \
    } while (0)

// A value result: empty and unowned, or owning exactly len + 1 bytes.
#define EXPECT_EXACT_RESULT(s, text)                                        \
    do {                                                                    \
        const QELString& r_ = (s);                                          \
        const std::string rt_ = (text);                                     \
        EXPECT_STRING(r_, rt_);                                             \
        if (rt_.empty()) {                                                  \
            EXPECT_SHARED_EMPTY(r_);                                        \
        } else {                                                            \
            EXPECT_EQ(r_.alloc, rt_.size() + 1);                            \
        }                                                                   \
    } while (0)

// ---------------------------------------------------------------------------
// Construction

TEST(QELStringTest, EmptyStringsShareTheStaticEmptyBuffer)
{
    QELString a;
    QELString b(static_cast<const char*>(NULL));
    QELString c("");
    QELString d("abc", 0);
    QELString e(static_cast<const uchar*>(NULL));
    const uchar none[] = { 0 };
    QELString f(none);
    QELString g(a);
    for (const QELString* s : { &a, &b, &c, &d, &e, &f, &g }) {
        EXPECT_SHARED_EMPTY(*s);
        EXPECT_EQ(s->wbuf, nullptr);
        EXPECT_TRUE(s->isEmpty());
    }
}

TEST(QELStringTest, GlobalEmptyStringsOwnNothing)
{
    EXPECT_SHARED_EMPTY(emptyString);
    EXPECT_EQ(emptyString.wbuf, nullptr);
    QELString& t = getEmptyTString();
    EXPECT_EQ(&t, &getEmptyTString());
    EXPECT_SHARED_EMPTY(t);
    EXPECT_EQ(t.wbuf, nullptr);
}

TEST(QELStringTest, ConstructFromTextAllocatesExactly)
{
    struct Case {
        const char* s;
        int n;
        int len;
        const char* visible;
    } cases[] = {
        { "abc", -1, 3, "abc" },    // strlen
        { "abcdef", 3, 3, "abc" },  // exact count
        { "abc", 1, 1, "a" },
        { "héllo", -7, 6, "héllo" },  // any negative count means strlen
    };
    for (const Case& c : cases) {
        QELString s(c.s, c.n);
        EXPECT_STRING(s, std::string(c.visible));
        EXPECT_EQ(s.alloc, static_cast<unsigned int>(c.len) + 1);
        EXPECT_NE(s.p, c.s);
        EXPECT_EQ(s.wbuf, nullptr);
    }
}

TEST(QELStringTest, CountPastANulKeepsTheCountAsLength)
{
    const char text[] = { 'a', '\0', 'b', '\0' };
    QELString s(text, 3);
    EXPECT_EQ(s.len, 3);
    EXPECT_EQ(s.alloc, 4u);
    EXPECT_STREQ(s.p, "a");
    EXPECT_EQ(s.p[1], '\0');  // strncpy pads with NULs
    EXPECT_EQ(s.p[2], '\0');
    EXPECT_EQ(s.p[3], '\0');
    EXPECT_TRUE(stringInvariantHolds(&s));
}

TEST(QELStringTest, CharConstructorAlwaysAllocatesTwoBytes)
{
    QELString x('x');
    EXPECT_STRING(x, "x");
    EXPECT_EQ(x.alloc, 2u);
    QELString nul('\0');
    EXPECT_EQ(nul.len, 1);
    EXPECT_EQ(nul.alloc, 2u);
    EXPECT_STREQ(nul.p, "");
    EXPECT_NE(nul.p, QELString::emptyPtr);
    EXPECT_TRUE(stringInvariantHolds(&nul));
    EXPECT_EQ(nul.wbuf, nullptr);
}

TEST(QELStringTest, IntegerConstructorsKeepFixedBlocks)
{
    struct Case {
        int v;
        const char* text;
    } ints[] = {
        { 0, "0" }, { 42, "42" }, { -7, "-7" },
        { INT_MAX, "2147483647" }, { INT_MIN, "-2147483648" },  // 11 characters
    };
    for (const Case& c : ints) {
        QELString s(c.v);
        EXPECT_STRING(s, c.text);
        EXPECT_EQ(s.alloc, 12u);
        EXPECT_EQ(s.wbuf, nullptr);
    }
    struct LongCase {
        long v;
        const char* text;
    } longs[] = {
        { 0L, "0" }, { -1L, "-1" }, { 1234567890123L, "1234567890123" },
        { LONG_MAX, "9223372036854775807" }, { LONG_MIN, "-9223372036854775808" },
    };
    for (const LongCase& c : longs) {
        QELString s(c.v);
        EXPECT_STRING(s, c.text);
        EXPECT_EQ(s.alloc, 21u);
    }
}

TEST(QELStringTest, Utf16ConstructorConvertsToUtf8InAFourBytesPerUnitBlock)
{
    const uchar hello[] = { 'h', 0xE9, 'l', 'l', 'o', 0 };  // "héllo"
    QELString a(hello);
    EXPECT_STRING(a, "h\xC3\xA9llo");
    EXPECT_EQ(a.alloc, 4u * 5 + 1);  // not shrunk
    EXPECT_EQ(a.wbuf, nullptr);

    QELString b(hello, 2);
    EXPECT_STRING(b, "h\xC3\xA9");
    EXPECT_EQ(b.alloc, 9u);

    const uchar smile[] = { 0xD83D, 0xDE00, 'x', 0 };  // U+1F600 then x
    QELString c(smile);
    EXPECT_STRING(c, "\xF0\x9F\x98\x80x");
    EXPECT_EQ(c.alloc, 13u);

    const uchar euro[] = { 0x20AC, 0 };
    QELString d(euro, -1);
    EXPECT_STRING(d, "\xE2\x82\xAC");
    EXPECT_EQ(d.alloc, 5u);

    QELString e(hello, 0);
    EXPECT_SHARED_EMPTY(e);
}

TEST(QELStringTest, CopyOwnsExactlyItsTextEvenOfAWrappedOrOversizedString)
{
    QELString big("abc");
    big.resize(50);
    QELString copy(big);
    EXPECT_STRING(copy, "abc");
    EXPECT_EQ(copy.alloc, 4u);
    EXPECT_NE(copy.p, big.p);

    char literal[] = "wrapped";
    QELString w;
    w.wrap(literal);
    QELString wc(w);
    EXPECT_STRING(wc, "wrapped");
    EXPECT_EQ(wc.alloc, 8u);
    EXPECT_NE(wc.p, literal);

    QELString e;
    QELString ec(e);
    EXPECT_SHARED_EMPTY(ec);

    QELString owned;
    owned.resize(5);  // an owned but empty block
    QELString oc(owned);
    EXPECT_SHARED_EMPTY(oc);
}

// ---------------------------------------------------------------------------
// Assignment

TEST(QELStringTest, AssignmentFollowsTheBlockRules)
{
    // Into the shared empty string: a fresh exact block.
    QELString a;
    a = QELString("hello");
    EXPECT_STRING(a, "hello");
    EXPECT_EQ(a.alloc, 6u);

    // A shorter text is copied into the existing block, which never shrinks.
    char* before = a.p;
    a = QELString("hi");
    EXPECT_STRING(a, "hi");
    EXPECT_EQ(a.alloc, 6u);
    EXPECT_EQ(a.p, before);

    // A text as long as the block minus... equal to alloc needs a resize.
    a = QELString("abcdef");
    EXPECT_STRING(a, "abcdef");
    EXPECT_EQ(a.alloc, 7u);

    // An empty source into an owned block keeps the block.
    before = a.p;
    a = QELString();
    EXPECT_STRING(a, "");
    EXPECT_EQ(a.p, before);
    EXPECT_EQ(a.alloc, 7u);

    // An empty source into an unowned string gives emptyPtr.
    char literal[] = "lit";
    QELString w;
    w.wrap(literal);
    w = QELString();
    EXPECT_SHARED_EMPTY(w);
    EXPECT_STREQ(literal, "lit");

    // A longer source into a wrapping string: a fresh block, the wrapped
    // buffer is dropped without being written or freed.
    QELString w2;
    w2.wrap(literal);
    w2 = QELString("longer text");
    EXPECT_STRING(w2, "longer text");
    EXPECT_EQ(w2.alloc, 12u);
    EXPECT_STREQ(literal, "lit");
}

TEST(QELStringTest, SelfAssignmentAndAssignmentFromAWrapChangeNothing)
{
    QELString a("abcdef");
    QELString& ref = a;
    char* p = a.p;
    a = ref;
    EXPECT_STRING(a, "abcdef");
    EXPECT_EQ(a.p, p);
    EXPECT_EQ(a.alloc, 7u);

    // b wraps a's block; a then shortens its text in place. b = a finds the
    // same buffer and keeps even its stale length.
    QELString b;
    b.wrap(a);
    char* q = a.lock();
    q[3] = '\0';
    a.unlock(false);
    EXPECT_EQ(a.len, 3);
    b = a;
    EXPECT_EQ(b.len, 6);
    EXPECT_EQ(b.p, a.p);
    EXPECT_EQ(b.alloc, 0u);
    a = b;
    EXPECT_EQ(a.len, 3);
    EXPECT_EQ(a.alloc, 7u);
}

TEST(QELStringTest, AssignmentLeavesTheUtf16CacheAlone)
{
    QELString a("abc");
    const unsigned short* w = a.wchars();
    a = QELString("xyz");
    EXPECT_EQ(a.wbuf, w);
    EXPECT_EQ(a.wbuf[0], 'a');
}

// ---------------------------------------------------------------------------
// Concatenation and append

TEST(QELStringTest, PlusEqualsGrowsToExactlyTheSum)
{
    QELString s;
    s += QELString();
    EXPECT_SHARED_EMPTY(s);
    s += QELString("abc");
    EXPECT_STRING(s, "abc");
    EXPECT_EQ(s.alloc, 4u);
    s += QELString("de");
    EXPECT_STRING(s, "abcde");
    EXPECT_EQ(s.alloc, 6u);
    s.resize(20);
    char* p = s.p;
    s += QELString("fg");
    EXPECT_EQ(s.p, p);  // enough room: no reallocation
    EXPECT_EQ(s.alloc, 21u);
    EXPECT_STRING(s, "abcdefg");
    char* before = s.p;
    s += QELString();
    EXPECT_EQ(s.p, before);
    EXPECT_EQ(s.alloc, 21u);
}

TEST(QELStringTest, PlusEqualsOfItselfDoublesTheText)
{
    QELString s("abc");
    s += s;
    EXPECT_STRING(s, "abcabc");
    EXPECT_EQ(s.alloc, 7u);
    QELString w;
    w.wrap(s);
    s += w;  // w wraps the block that grows
    EXPECT_STRING(s, "abcabcabcabc");
}

TEST(QELStringTest, WrapOfNullGivesTheSharedEmptyString)
{
    QELString s("owned");
    s.wrap(static_cast<const char*>(nullptr));
    EXPECT_EQ(s.p, QELString::emptyPtr);
    EXPECT_EQ(s.len, 0);
    EXPECT_EQ(s.alloc, 0u);
    EXPECT_STRING(s, "");
}

TEST(QELStringTest, WrapThenAppendLeavesLiteralUntouched)
{
    char literal[] = "abc";
    QELString s;
    s.wrap(literal);
    EXPECT_EQ(s.p, literal);
    EXPECT_EQ(s.alloc, 0u);
    s += QELString("d");
    EXPECT_STRING(s, "abcd");
    EXPECT_NE(s.p, literal);
    EXPECT_EQ(s.alloc, 5u);
    EXPECT_STREQ(literal, "abc");

    QELString t;
    t.wrap(literal);
    t.append("xy");
    EXPECT_STRING(t, "abcxy");
    EXPECT_EQ(t.alloc, 6u);
    EXPECT_STREQ(literal, "abc");
}

TEST(QELStringTest, PlusBuildsAnExactResult)
{
    struct Case {
        const char* a;
        const char* b;
    } cases[] = {
        { "ab", "cd" }, { "ab", "" }, { "", "cd" }, { "x", "yz0123456789" },
    };
    for (const Case& c : cases) {
        QELString r = QELString(c.a) + QELString(c.b);
        EXPECT_EXACT_RESULT(r, std::string(c.a) + c.b);
    }
    QELString e = QELString() + QELString("");
    EXPECT_SHARED_EMPTY(e);
    QELString s("self");
    QELString ss = s + s;
    EXPECT_EXACT_RESULT(ss, "selfself");
}

TEST(QELStringTest, AppendTextWithCount)
{
    QELString s("x");
    s.append("abc", 2);
    EXPECT_STRING(s, "xab");
    EXPECT_EQ(s.alloc, 4u);

    // a, NUL, b with a count of 3: the block grows by 3, len only by 1.
    QELString t("12");
    const char anb[] = { 'a', '\0', 'b' };
    t.append(anb, 3);
    EXPECT_STRING(t, "12a");
    EXPECT_EQ(t.alloc, 6u);
    EXPECT_EQ(t.p[4], '\0');
    EXPECT_EQ(t.p[5], '\0');
    // The extra room is then used without reallocation.
    char* p = t.p;
    t.append("c");
    EXPECT_EQ(t.p, p);
    EXPECT_STRING(t, "12ac");
    EXPECT_EQ(t.alloc, 6u);
}

TEST(QELStringTest, AppendTextWithoutCountTakesTheWholeText)
{
    struct Case {
        int n;
    } counts[] = { { -1 }, { 0 }, { -100 } };
    for (const Case& c : counts) {
        QELString s("ab");
        s.append("cdef", c.n);
        EXPECT_STRING(s, "abcdef");
        EXPECT_EQ(s.alloc, 7u);
    }
    QELString e;
    e.append("");
    EXPECT_SHARED_EMPTY(e);
    e.append("", 0);
    EXPECT_SHARED_EMPTY(e);
    QELString f("ab");
    f.append(static_cast<const char*>(NULL));
    EXPECT_STRING(f, "ab");
    EXPECT_EQ(f.alloc, 3u);
}

TEST(QELStringTest, AppendWithCountDoesNotGrowWhenRoomRemains)
{
    QELString s("ab");
    s.resize(10);  // alloc 11
    char* p = s.p;
    s.append("xyz", 3);  // 11 > 2 + 3
    EXPECT_EQ(s.p, p);
    EXPECT_EQ(s.alloc, 11u);
    EXPECT_STRING(s, "abxyz");
    s.append("0123456", 6);  // alloc 11 <= 5 + 6: grows to 12
    EXPECT_EQ(s.alloc, 12u);
    EXPECT_STRING(s, "abxyz012345");
}

TEST(QELStringTest, AppendOfOwnTextSurvivesTheReallocation)
{
    QELString s("abcd");
    s.append(s.p);
    EXPECT_STRING(s, "abcdabcd");
    s.append(s.p + 2, 3);
    EXPECT_STRING(s, "abcdabcdcda");
}

TEST(QELStringTest, AppendCharacters)
{
    QELString s;
    s.append('\0');
    EXPECT_SHARED_EMPTY(s);
    s.append('\0', 5);
    EXPECT_SHARED_EMPTY(s);
    s.append('a');
    EXPECT_STRING(s, "a");
    EXPECT_EQ(s.alloc, 2u);
    s.append('b');
    EXPECT_STRING(s, "ab");
    EXPECT_EQ(s.alloc, 3u);
    s.append('c', 3);
    EXPECT_STRING(s, "abccc");
    EXPECT_EQ(s.alloc, 6u);
    s.append('\0');
    s.append('\0', 5);
    EXPECT_STRING(s, "abccc");
    EXPECT_EQ(s.alloc, 6u);
    s.resize(9);
    char* p = s.p;
    s.append('d');
    s.append('e', 3);
    EXPECT_EQ(s.p, p);
    EXPECT_STRING(s, "abcccdeee");
    EXPECT_EQ(s.alloc, 10u);
    s.append('f', 0);
    EXPECT_STRING(s, "abcccdeee");
    EXPECT_EQ(s.alloc, 10u);
    s.append('f', -3);
    EXPECT_STRING(s, "abcccdeee");

    // A count of 0 on an unowned buffer still makes the private copy.
    char literal[] = "lit";
    QELString w;
    w.wrap(literal);
    w.append('x', 0);
    EXPECT_STRING(w, "lit");
    EXPECT_NE(w.p, literal);
    EXPECT_EQ(w.alloc, 4u);
}

TEST(QELStringTest, AddStringListResizesOnce)
{
    QELString a("ab"), b(""), c("cde");
    const QELString* list[] = { &a, &b, &c, NULL };
    QELString s("x");
    s.add(list);
    EXPECT_STRING(s, "xabcde");
    EXPECT_EQ(s.alloc, 7u);

    QELString v("0");
    v.add(&a, &c, &a, static_cast<const QELString*>(NULL));
    EXPECT_STRING(v, "0abcdeab");
    EXPECT_EQ(v.alloc, 9u);

    // Enough room: no reallocation.
    QELString r("r");
    r.resize(10);
    char* p = r.p;
    r.add(list);
    EXPECT_EQ(r.p, p);
    EXPECT_EQ(r.alloc, 11u);
    EXPECT_STRING(r, "rabcde");

    // Itself in the list.
    QELString self("xy");
    self.add(&self, &self, static_cast<const QELString*>(NULL));
    EXPECT_STRING(self, "xyxyxy");
    EXPECT_EQ(self.alloc, 7u);

    // Many elements (the variadic form collects them all).
    QELString m;
    QELString one("1");
    m.add(&one, &one, &one, &one, &one, &one, &one, &one, &one, &one,
          &one, &one, &one, &one, &one, &one, &one, &one, &one, &one,
          static_cast<const QELString*>(NULL));
    EXPECT_STRING(m, "11111111111111111111");
    EXPECT_EQ(m.alloc, 21u);
}

TEST(QELStringTest, AddEmptyListGivesAnUnownedStringItsOwnBlock)
{
    const QELString* none[] = { NULL };
    QELString e;
    e.add(none);
    EXPECT_STRING(e, "");
    EXPECT_NE(e.p, QELString::emptyPtr);
    EXPECT_EQ(e.alloc, 1u);

    char literal[] = "lit";
    QELString w;
    w.wrap(literal);
    w.add(none);
    EXPECT_STRING(w, "lit");
    EXPECT_NE(w.p, literal);
    EXPECT_EQ(w.alloc, 4u);

    QELString o("own");
    char* p = o.p;
    o.add(none);
    EXPECT_EQ(o.p, p);
    EXPECT_EQ(o.alloc, 4u);  // total 3 < alloc 4: nothing to do

    const char* noText[] = { NULL };
    QELString e2;
    e2.add(noText);
    EXPECT_EQ(e2.alloc, 1u);
    EXPECT_NE(e2.p, QELString::emptyPtr);
}

TEST(QELStringTest, AddTextListResizesOnce)
{
    const char* list[] = { "ab", "", "cde", NULL };
    QELString s("x");
    s.add(list);
    EXPECT_STRING(s, "xabcde");
    EXPECT_EQ(s.alloc, 7u);

    QELString v;
    v.add("a", "bc", "", "def", static_cast<const char*>(NULL));
    EXPECT_STRING(v, "abcdef");
    EXPECT_EQ(v.alloc, 7u);

    QELString self("xy");
    self.add(self.p, self.p, static_cast<const char*>(NULL));
    EXPECT_STRING(self, "xyxyxy");

    std::vector<const char*> many(40, "ab");
    many.push_back(NULL);
    QELString m;
    m.add(many.data());
    EXPECT_EQ(m.len, 80);
    EXPECT_EQ(m.alloc, 81u);
}

// ---------------------------------------------------------------------------
// Sizing and state

TEST(QELStringTest, EmptyKeepsAnOwnedBlock)
{
    QELString s("abc");
    char* p = s.p;
    s.empty();
    EXPECT_STRING(s, "");
    EXPECT_EQ(s.p, p);
    EXPECT_EQ(s.alloc, 4u);

    char literal[] = "lit";
    QELString w;
    w.wrap(literal);
    w.empty();
    EXPECT_SHARED_EMPTY(w);
    EXPECT_STREQ(literal, "lit");

    QELString e;
    e.empty();
    EXPECT_SHARED_EMPTY(e);
}

TEST(QELStringTest, ResizeSetsTheExactCapacity)
{
    QELString s("abc");
    EXPECT_EQ(s.resize(0), 3u);
    EXPECT_EQ(s.alloc, 4u);
    EXPECT_EQ(s.resize(10), 10u);
    EXPECT_EQ(s.alloc, 11u);
    EXPECT_STRING(s, "abc");
    EXPECT_EQ(s.resize(5), 5u);  // shrinks as well
    EXPECT_EQ(s.alloc, 6u);
    EXPECT_EQ(s.resize(1), 3u);  // never below the text
    EXPECT_EQ(s.alloc, 4u);
    EXPECT_STRING(s, "abc");

    QELString e;
    EXPECT_EQ(e.resize(0), 0u);
    EXPECT_EQ(e.alloc, 1u);
    EXPECT_NE(e.p, QELString::emptyPtr);
    EXPECT_STRING(e, "");

    char literal[] = "lit";
    QELString w;
    w.wrap(literal);
    EXPECT_EQ(w.resize(0), 3u);
    EXPECT_EQ(w.alloc, 4u);
    EXPECT_NE(w.p, literal);
    EXPECT_STRING(w, "lit");
}

TEST(QELStringTest, NestedLocksCountInTheLength)
{
    QELString s("abc");
    EXPECT_FALSE(s.isLocked());
    EXPECT_FALSE(s.unlock(false));  // not locked
    EXPECT_FALSE(s.unlock(true));
    EXPECT_STRING(s, "abc");

    char* p = s.lock();
    EXPECT_EQ(p, s.p);
    EXPECT_EQ(s.len, -1);
    EXPECT_TRUE(s.isLocked());
    EXPECT_EQ(s.lock(), p);
    EXPECT_EQ(s.len, -2);
    p[1] = '\0';
    EXPECT_TRUE(s.unlock(false));  // one level remains
    EXPECT_TRUE(s.isLocked());
    EXPECT_EQ(s.len, -1);
    EXPECT_TRUE(s.unlock(false));  // recomputes
    EXPECT_FALSE(s.isLocked());
    EXPECT_STRING(s, "a");
    EXPECT_EQ(s.alloc, 4u);

    s.lock();
    s.lock();
    s.lock();
    EXPECT_EQ(s.len, -3);
    s.p[0] = 'z';
    EXPECT_TRUE(s.unlock(true));  // ends every level at once
    EXPECT_FALSE(s.isLocked());
    EXPECT_STRING(s, "z");
    EXPECT_FALSE(s.unlock(true));
}

TEST(QELStringTest, LockMakesAPrivateBlockOfAnUnownedBuffer)
{
    char literal[] = "lit";
    QELString w;
    w.wrap(literal);
    char* p = w.lock();
    EXPECT_NE(p, literal);
    EXPECT_EQ(w.alloc, 4u);
    p[0] = 'L';
    w.unlock(false);
    EXPECT_STRING(w, "Lit");
    EXPECT_STREQ(literal, "lit");

    QELString e;
    char* q = e.lock();
    EXPECT_NE(q, QELString::emptyPtr);
    EXPECT_EQ(e.alloc, 1u);
    EXPECT_EQ(q[0], '\0');
    e.unlock(false);
    EXPECT_STRING(e, "");
    EXPECT_EQ(QELString::emptyPtr[0], '\0');
}

TEST(QELStringTest, LockedBufferFilledUpToItsCapacity)
{
    QELString s;
    unsigned int room = s.resize(8);
    char* p = s.lock();
    memset(p, 'q', room);
    p[room] = '\0';
    EXPECT_TRUE(s.unlock(false));
    EXPECT_STRING(s, "qqqqqqqq");
    EXPECT_EQ(s.alloc, 9u);
}

TEST(QELStringTest, WrapSharesTheBuffer)
{
    QELString owner("owner text");
    QELString s("to be freed");  // freed by wrap (checked by the leak checker)
    s.wrap(owner);
    EXPECT_EQ(s.p, owner.p);
    EXPECT_EQ(s.len, owner.len);
    EXPECT_EQ(s.alloc, 0u);
    EXPECT_TRUE(stringInvariantHolds(&s));

    s.wrap("plain");
    EXPECT_STREQ(s.p, "plain");
    EXPECT_EQ(s.len, 5);
    EXPECT_EQ(s.alloc, 0u);

    QELString e;
    e.wrap(emptyString);
    EXPECT_SHARED_EMPTY(e);

    QELString self("self");
    char* p = self.p;
    self.wrap(self);  // wrapping its own buffer changes nothing
    EXPECT_EQ(self.p, p);
    EXPECT_EQ(self.alloc, 5u);
    self.wrap(self.p);
    EXPECT_EQ(self.alloc, 5u);
    EXPECT_STRING(self, "self");
}

TEST(QELStringTest, UnwrapCopiesWithRoomToSpare)
{
    char literal[] = "abc";
    QELString w;
    w.wrap(literal);
    EXPECT_TRUE(w.unwrap(5));
    EXPECT_NE(w.p, literal);
    EXPECT_EQ(w.alloc, 9u);
    EXPECT_STRING(w, "abc");
    EXPECT_FALSE(w.unwrap(5));
    EXPECT_EQ(w.alloc, 9u);

    QELString e;
    EXPECT_TRUE(e.unwrap(0));
    EXPECT_EQ(e.alloc, 1u);
    EXPECT_NE(e.p, QELString::emptyPtr);
}

// ---------------------------------------------------------------------------
// Hashing

TEST(QELStringTest, HashUsesSignedBytesPlusTheLength)
{
    struct Case {
        const char* s;
        unsigned int hash;
    } cases[] = {
        { "", 0u },
        { "a", 98u },                   // 97 + 1
        { "ab", 3107u },                // 97 * 31 + 98 + 2
        { "\xFF", 0u },                 // -1 + 1
        { "a\xFF", 97u * 31u - 1u + 2u },
        { "\x80", static_cast<unsigned int>(-128 + 1) },
    };
    for (const Case& c : cases) {
        EXPECT_EQ(QELString(c.s).hashCode(), c.hash) << c.s;
        EXPECT_EQ(stringHashCode(c.s), c.hash) << c.s;
    }
    EXPECT_EQ(stringHashCode(NULL), 0u);
}

TEST(QELStringTest, HashStopsAtAnEmbeddedNulOfALongText)
{
    std::mt19937 rng(99);
    for (int i = 0; i < 500; i++) {
        size_t n = 1 + rng() % 600;
        std::string t;
        for (size_t k = 0; k < n; k++)
            t += static_cast<char>(1 + rng() % 255);
        size_t nul = rng() % n;
        t[nul] = '\0';
        QELString s(t.data(), static_cast<int>(n));
        ASSERT_EQ(s.len, static_cast<int>(n));
        ASSERT_EQ(s.hashCode(), referenceHash(t.substr(0, nul)) + static_cast<unsigned int>(n)) << i;
        ASSERT_EQ(stringHashCode(s.p), referenceHash(t.substr(0, nul)) + static_cast<unsigned int>(nul)) << i;
    }
}

TEST(QELStringTest, HashCodeAddsTheLengthFieldNotTheScannedCount)
{
    QELString nul('\0');
    EXPECT_EQ(nul.hashCode(), 1u);
    EXPECT_EQ(stringHashCode(nul.p), 0u);
    const char anb[] = { 'a', '\0', 'b' };
    QELString s(anb, 3);
    EXPECT_EQ(s.hashCode(), 97u + 3u);
}

TEST(QELStringTest, HashMatchesTheByteLoopOnRandomText)
{
    std::mt19937 rng(1234);
    for (int i = 0; i < 3000; i++) {
        size_t n = i % 3 == 0 ? rng() % 1000 : rng() % 70;  // long texts take the wide path
        std::string t;
        for (size_t k = 0; k < n; k++)
            t += static_cast<char>(1 + rng() % 255);
        unsigned int expected = referenceHash(t) + static_cast<unsigned int>(n);
        QELString s(t.c_str());
        ASSERT_EQ(s.hashCode(), expected) << i;
        ASSERT_EQ(stringHashCode(t.c_str()), expected) << i;
    }
}

// ---------------------------------------------------------------------------
// Accessors

TEST(QELStringTest, AccessorsReadTheFields)
{
    QELString a("abc"), b("abd");
    EXPECT_EQ(a.length(), 3);
    EXPECT_EQ(a.chars(), a.p);
    EXPECT_EQ(static_cast<const char*>(a), a.p);
    EXPECT_LT(a.compare(b), 0);
    EXPECT_GT(b.compare(a), 0);
    EXPECT_EQ(a.compare(QELString("abc")), 0);
    EXPECT_TRUE(a == QELString("abc"));
    EXPECT_TRUE(a != b);
    EXPECT_TRUE(a == "abc");
    EXPECT_TRUE(a != "ab");
    EXPECT_FALSE(a.isEmpty());
}

// ---------------------------------------------------------------------------
// Substrings

TEST(QELStringTest, MidClampsAndOwnsExactly)
{
    QELString s("abcdef");
    struct Case {
        unsigned int start, count;
        const char* result;
    } cases[] = {
        { 3, 10, "def" },  // count clamped to the tail
        { 6, 1, "" },      // start at the end
        { 0, 0, "" },      // zero count
        { 0, 6, "abcdef" },
        { 1, 2, "bc" },
        { 5, 1, "f" },
        { 100, 1, "" },
        { 2, 0xFFFFFFFFu, "cdef" },
    };
    for (const Case& c : cases) {
        QELString r = s.mid(c.start, c.count);
        EXPECT_EXACT_RESULT(r, c.result);
    }
    struct Tail {
        unsigned int start;
        const char* result;
    } tails[] = { { 2, "cdef" }, { 6, "" }, { 0, "abcdef" }, { 5, "f" }, { 99, "" } };
    for (const Tail& t : tails) {
        QELString r = s.mid(t.start);
        EXPECT_EXACT_RESULT(r, t.result);
    }
    EXPECT_STRING(s, "abcdef");
}

TEST(QELStringTest, LeftAndRightClamp)
{
    QELString s("abc");
    struct Case {
        unsigned int n;
        const char* left;
        const char* right;
    } cases[] = {
        { 0, "", "" },
        { 1, "a", "c" },
        { 2, "ab", "bc" },
        { 3, "abc", "abc" },
        { 10, "abc", "abc" },
    };
    for (const Case& c : cases) {
        QELString l = s.left(c.n);
        QELString r = s.right(c.n);
        EXPECT_EXACT_RESULT(l, c.left);
        EXPECT_EXACT_RESULT(r, c.right);
    }
    QELString e;
    EXPECT_SHARED_EMPTY(e.left(5));
    EXPECT_SHARED_EMPTY(e.right(5));
    EXPECT_SHARED_EMPTY(e.mid(0, 5));
}

// ---------------------------------------------------------------------------
// Case, ASCII folding, reversal

TEST(QELStringTest, CaseChangesRewriteInPlace)
{
    QELString s("Hello, World 123 \xC3\xA9");
    char* p = s.p;
    s.toUpper();
    EXPECT_EQ(s.p, p);
    EXPECT_STRING(s, "HELLO, WORLD 123 \xC3\xA9");  // C locale: high bytes kept
    s.toLower();
    EXPECT_STRING(s, "hello, world 123 \xC3\xA9");
    s.toAscii();
    EXPECT_STRING(s, "hello, world 123 \x43\x29");
    EXPECT_EQ(s.p, p);

    QELString e;
    e.toUpper().toLower().toAscii();
    EXPECT_SHARED_EMPTY(e);
}

TEST(QELStringTest, ToAsciiOfByte0x80LeavesANulInsideTheText)
{
    QELString s("a\x80" "b");
    s.toAscii();
    EXPECT_EQ(s.len, 3);  // the length is not recomputed
    EXPECT_STREQ(s.p, "a");
    EXPECT_EQ(s.p[2], 'b');
}

TEST(QELStringTest, ToUpperOfAWrappedLiteralLeavesTheLiteralUnchanged)
{
    char literal[] = "mixed Case";
    struct Case {
        QELString& (QELString::*op)();
        const char* result;
    } cases[] = {
        { &QELString::toUpper, "MIXED CASE" },
        { &QELString::toLower, "mixed case" },
        { &QELString::toAscii, "mixed Case" },
        { &QELString::reverse, "esaC dexim" },
    };
    for (const Case& c : cases) {
        QELString w;
        w.wrap(literal);
        (w.*c.op)();
        EXPECT_STRING(w, c.result);
        EXPECT_NE(w.p, literal);
        EXPECT_EQ(w.alloc, 11u);
        EXPECT_STREQ(literal, "mixed Case");
    }
}

TEST(QELStringTest, CaseChangesFollowTheLocaleForSignedHighBytes)
{
    // In a Latin-1 locale toupper(-23) (byte 0xE9, e acute) gives 0xC9.
    const char* old = setlocale(LC_CTYPE, NULL);
    std::string saved = old ? old : "C";
    const char* names[] = { "de_DE.ISO-8859-1", "de_DE.iso88591", "fr_FR.ISO-8859-1", "en_US.ISO-8859-1" };
    bool found = false;
    for (const char* n : names)
        if (setlocale(LC_CTYPE, n) != NULL) {
            found = true;
            break;
        }
    if (!found)
        GTEST_SKIP() << "no Latin-1 locale installed";
    QELString s("\xE9t\xE9");
    s.toUpper();
    EXPECT_STRING(s, "\xC9T\xC9");
    s.toLower();
    EXPECT_STRING(s, "\xE9t\xE9");
    setlocale(LC_CTYPE, saved.c_str());
}

TEST(QELStringTest, ReverseSwapsBytes)
{
    struct Case {
        const char* in;
        const char* out;
    } cases[] = {
        { "abc", "cba" },
        { "", "" },
        { "a", "a" },
        { "ab", "ba" },
        { "abcd", "dcba" },
        { "\xC3\xA9x", "x\xA9\xC3" },  // byte by byte, UTF-8 included
    };
    for (const Case& c : cases) {
        QELString s(c.in);
        s.reverse();
        EXPECT_STRING(s, c.out);
    }
    QELString e;
    e.reverse();
    EXPECT_SHARED_EMPTY(e);
}

// ---------------------------------------------------------------------------
// Escaping

TEST(QELStringTest, EscapeCharsEscapesFourCharacters)
{
    struct Case {
        const char* in;
        const char* out;
    } cases[] = {
        { "\"\n", "\\\"\\n" },  // quote, line feed -> backslash quote backslash n
        { "a\rb", "a\\rb" },
        { "\\", "\\\\" },
        { "plain\ttab", "plain\ttab" },
        { "\"\"", "\\\"\\\"" },
        { "", "" },
    };
    for (const Case& c : cases) {
        QELString r = QELString(c.in).escapeChars();
        EXPECT_EXACT_RESULT(r, c.out);
    }
}

TEST(QELStringTest, EscapeCharPrefixesTheCharacterAndOptionallyTheEscape)
{
    QELString s("a/b\\c");
    EXPECT_EXACT_RESULT(s.escapeChar('/', '\\', true), "a\\/b\\\\c");
    EXPECT_EXACT_RESULT(s.escapeChar('/', '\\', false), "a\\/b\\c");
    EXPECT_EXACT_RESULT(s.escapeChar('x', '\\', false), "a/b\\c");
    EXPECT_EXACT_RESULT(QELString().escapeChar('/', '\\', true), "");
    EXPECT_EXACT_RESULT(QELString("%%").escapeChar('%', '%', true), "%%%%");
}

TEST(QELStringTest, UnescapeCharCollapsesPairsAndKeepsATrailingEscape)
{
    struct Case {
        const char* in;
        const char* out;
    } cases[] = {
        { "a\\\\b\\", "a\\b\\" },  // pair collapses, lone trailing escape stays
        { "\\a\\b", "ab" },
        { "\\\\\\", "\\\\" },
        { "\\", "\\" },
        { "plain", "plain" },
        { "", "" },
        { "\\\\", "\\" },
    };
    for (const Case& c : cases) {
        QELString r = QELString(c.in).unescapeChar('\\');
        EXPECT_EXACT_RESULT(r, c.out);
    }
}

TEST(QELStringTest, UnescapeOfEscapeIsTheIdentity)
{
    std::mt19937 rng(42);
    const char alphabet[] = "ab/\\%\"x \n";
    for (int i = 0; i < 3000; i++) {
        std::string t;
        size_t n = rng() % 20;
        for (size_t k = 0; k < n; k++)
            t += alphabet[rng() % (sizeof(alphabet) - 1)];
        char c = alphabet[rng() % (sizeof(alphabet) - 1)];
        char esc = alphabet[rng() % (sizeof(alphabet) - 1)];
        QELString s(t.c_str());
        QELString escaped = s.escapeChar(c, esc, true);
        QELString back = escaped.unescapeChar(esc);
        ASSERT_EQ(str(back), t) << "c=" << c << " esc=" << esc;
        EXPECT_TRUE(stringInvariantHolds(&back));
    }
}

// ---------------------------------------------------------------------------
// Trimming

TEST(QELStringTest, TrimDropsControlsSpacesAndHighBytes)
{
    struct Case {
        const char* in;
        const char* out;
    } cases[] = {
        { " \tx y \n", "x y" },
        { "   ", "" },
        { "", "" },
        { "abc", "abc" },
        { "caf\xC3\xA9", "caf" },        // deliberate: trailing UTF-8 is stripped
        { "abc\xA9", "abc" },            // a trailing byte 0xA9 is removed
        { "\xC3\xA9t\xC3\xA9", "t" },    // leading too
        { "\x01\x1F!\x7F\x1F", "!\x7F" },  // 127 is kept
        { "\xFF\xFF", "" },
        { "a", "a" },
        { " a b ", "a b" },
    };
    for (const Case& c : cases) {
        QELString r = QELString(c.in).trim();
        EXPECT_EXACT_RESULT(r, c.out);
    }
}

TEST(QELStringTest, TrimSpacesDropsOnlySpaces)
{
    struct Case {
        const char* in;
        const char* out;
    } cases[] = {
        { "\t x ", "\t x" },
        { "   ", "" },
        { "", "" },
        { " \xC3\xA9 ", "\xC3\xA9" },
        { "x", "x" },
        { "\n", "\n" },
    };
    for (const Case& c : cases) {
        QELString r = QELString(c.in).trimSpaces();
        EXPECT_EXACT_RESULT(r, c.out);
    }
}

// ---------------------------------------------------------------------------
// UTF-16 view

// Each wchars() call replaces the cache: the previous one is freed, so that
// repeated calls do not grow the heap.
TEST(QELStringTest, RepeatedWcharsKeepsOneCache)
{
    QELString s("some text to widen");
    s.wchars();
    const size_t before = mallinfo2().uordblks;
    for (int i = 0; i < 1000; i++)
        s.wchars();
    EXPECT_LE(mallinfo2().uordblks, before + 4096);
}

TEST(QELStringTest, WcharsGivesTerminatedUtf16Units)
{
    QELString s("h\xC3\xA9\xF0\x9F\x98\x80");  // h, e acute, U+1F600
    const unsigned short* w = s.wchars();
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(w, s.wbuf);
    const unsigned short expected[] = { 'h', 0xE9, 0xD83D, 0xDE00, 0 };
    for (int i = 0; i < 5; i++)
        EXPECT_EQ(w[i], expected[i]) << i;

    // The next call replaces the cache.
    s = QELString("ab");
    const unsigned short* w2 = s.wchars();
    EXPECT_EQ(w2[0], 'a');
    EXPECT_EQ(w2[1], 'b');
    EXPECT_EQ(w2[2], 0);

    QELString e;
    EXPECT_EQ(e.wchars()[0], 0);

    // Round trip through the UTF-16 constructor.
    QELString back(s.wchars());
    EXPECT_STRING(back, "ab");
}

// ---------------------------------------------------------------------------

TEST(QELStringTest, RandomOperationSequencesMatchAStdStringModel)
{
    for (unsigned int seed = 1; seed <= 3000; seed++) {
        StringDifferential d(seed);
        QELString s;
        StringModel m;
        std::string log = "seed " + std::to_string(seed) + ": ";
        for (int i = 0; i < 40; i++) {
            ASSERT_NO_FATAL_FAILURE(d.step(s, m, log)) << log;
            ASSERT_NO_FATAL_FAILURE(d.check(s, m, log));
        }
        for (const QELString& o : d.pool)
            ASSERT_TRUE(stringInvariantHolds(&o));
    }
}

// ---------------------------------------------------------------------------
// Assertion reports

std::string invariantText(const std::string& operand)
{
    std::string t = "( ( ( ((s)->len==0) && ((s)->p[0]=='\\0') ) || ( ((s)->len>0) && "
                     "((s)->p!=QELString::emptyPtr) ) ) && ( ((s)->alloc==0) || ((s)->alloc>(s)->len) ) )";
    std::string r;
    for (size_t i = 0; i < t.size(); i++) {
        if (t.compare(i, 3, "(s)") == 0) {
            r += "(" + operand + ")";
            i += 2;
        } else {
            r += t[i];
        }
    }
    return r;
}

// The whole report of the invariant over the given operand in an operation.
std::string report(const std::string& signature, const std::string& operand)
{
    return AssertionReport("QELString.cpp", signature, invariantText(operand));
}

class QELStringDeathTest : public ::testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(QELStringDeathTest, TheWholeInvariantIsReportedForThis)
{
    EXPECT_DEATH({
        QELString s("abc");
        s.lock();
        s.append("x");
    }, AssertionReport("QELString.cpp", "QELString& QELString::append(const char*, int)",
                       "( ( ( ((this)->len==0) && ((this)->p[0]=='\\0') ) || "
                       "( ((this)->len>0) && ((this)->p!=QELString::emptyPtr) ) ) && "
                       "( ((this)->alloc==0) || ((this)->alloc>(this)->len) ) )"));
}

// Each runs one operation with a locked operand.
void plusLockedLeft() { QELString a("ab"); QELString b("cd"); a.lock(); QELString c = a + b; }
void plusLockedRight() { QELString a("ab"); QELString b("cd"); b.lock(); QELString c = a + b; }
void midLocked() { QELString a("abcdef"); a.lock(); QELString c = a.mid(1, 2); }
void reverseLocked() { QELString a("abc"); a.lock(); a.reverse(); }
void plusEqualsLockedRight() { QELString a("abc"); QELString b("x"); b.lock(); a += b; }
void plusEqualsLockedThis() { QELString a("abc"); QELString b("x"); a.lock(); a += b; }
void assignLocked() { QELString a("abc"); QELString b("x"); b.lock(); a = b; }
void copyLocked() { QELString a("abc"); a.lock(); QELString b(a); }
void toUpperLocked() { QELString a("abc"); a.lock(); a.toUpper(); }
void trimLocked() { QELString a("abc"); a.lock(); QELString t = a.trim(); }
void hashLocked() { QELString a("abc"); a.lock(); a.hashCode(); }
void resizeLocked() { QELString a("abc"); a.lock(); a.resize(10); }
void emptyLocked() { QELString a("abc"); a.lock(); a.empty(); }
void addListLocked()
{
    QELString a("ab");
    QELString b("cd");
    QELString s;
    b.lock();
    const QELString* list[] = { &a, &b, NULL };
    s.add(list);
}
void addVariadicLocked()
{
    QELString a("ab");
    QELString b("cd");
    QELString s;
    a.lock();
    s.add(&b, &a, static_cast<const QELString*>(NULL));
}

TEST_F(QELStringDeathTest, LockedStringInOrdinaryOperations)
{
    EXPECT_DEATH(plusLockedLeft(), report("QELString operator+(const QELString&, const QELString&)", "&s1"));
    EXPECT_DEATH(plusLockedRight(), report("QELString operator+(const QELString&, const QELString&)", "&s2"));
    EXPECT_DEATH(midLocked(), report("QELString QELString::mid(unsigned int, unsigned int) const", "this"));
    EXPECT_DEATH(reverseLocked(), report("QELString& QELString::reverse()", "this"));
    EXPECT_DEATH(plusEqualsLockedRight(), report("const QELString& QELString::operator+=(const QELString&)", "&right"));
    EXPECT_DEATH(plusEqualsLockedThis(), report("const QELString& QELString::operator+=(const QELString&)", "this"));
    EXPECT_DEATH(assignLocked(), report("void QELString::operator=(const QELString&)", "&s"));
    EXPECT_DEATH(copyLocked(), report("QELString::QELString(const QELString&)", "&s"));
    EXPECT_DEATH(toUpperLocked(), report("QELString& QELString::toUpper()", "this"));
    EXPECT_DEATH(trimLocked(), report("QELString QELString::trim() const", "this"));
    EXPECT_DEATH(hashLocked(), report("unsigned int QELString::hashCode() const", "this"));
    EXPECT_DEATH(resizeLocked(), report("unsigned int QELString::resize(unsigned int)", "this"));
    EXPECT_DEATH(emptyLocked(), report("void QELString::empty()", "this"));
}

TEST_F(QELStringDeathTest, LockedElementOfAnAddList)
{
    EXPECT_DEATH(addListLocked(), report("QELString& QELString::add(const QELString* const*)", "*s"));
    // The variadic form hands its arguments to the list form.
    EXPECT_DEATH(addVariadicLocked(), report("QELString& QELString::add(const QELString* const*)", "*s"));
}

TEST_F(QELStringDeathTest, StringLeftLockedAbortsInTheDestructor)
{
    EXPECT_DEATH({
        QELString s("abc");
        s.lock();
    }, report("QELString::~QELString()", "this"));
}

TEST_F(QELStringDeathTest, ConsumerNdebugDoesNotDropTheDestructorCheck)
{
    EXPECT_DEATH(destroyLockedStringInNdebugCode(), report("QELString::~QELString()", "this"));
}

TEST_F(QELStringDeathTest, UnlockAfterOverfillingTheBlock)
{
    // The block of "abc" is 4 bytes; claim it is 2 after writing, so that the
    // recomputed length no longer fits (a memory-safe stand-in for a write
    // past alloc - 1).
    EXPECT_DEATH({
        QELString s("abc");
        s.lock();
        s.alloc = 2;
        s.unlock(false);
    }, report("bool QELString::unlock(bool)", "this"));
#ifndef QEL_TEST_ASAN
    // A real write over the terminator's place: strlen runs past the block.
    EXPECT_DEATH({
        QELString s("abc");
        char* q = s.lock();
        memset(q, 'x', s.alloc);
        s.unlock(false);
    }, report("bool QELString::unlock(bool)", "this"));
#endif
}

}  // namespace
