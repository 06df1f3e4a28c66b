// Tests of QELEncoding: converters, convertEncoding and its counters,
// equivalence, the locale/UTF-8 shortcuts and the wide-character functions.
#include <gtest/gtest.h>

#include <clocale>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include <unicode/ucnv.h>

#include "QELEncoding.h"
#include "QELInvariants.h"

namespace {

std::string str(const QELString& s)
{
    return std::string(s.p, s.len);
}

bool valid(const QELString& s)
{
    return stringInvariantHolds(&s);
}

// A converted result is a fresh copy sized exactly (or the shared empty).
bool exactCopy(const QELString& s)
{
    return s.len == 0 ? (s.p == QELString::emptyPtr && s.alloc == 0)
                      : s.alloc == static_cast<unsigned int>(s.len) + 1;
}

// Appends the UTF-8 encoding of code point c.
void putUtf8(std::string& out, unsigned int c)
{
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

} // namespace

// --- The converter ---

TEST(QELEncodingTest, ConverterFieldsAreInDocumentedOrderAndWidth)
{
    static_assert(std::is_same<decltype(QELEncodingConverter::converter), UConverter*>::value, "");
    static_assert(std::is_same<decltype(QELEncodingConverter::name), QELString>::value, "");
    static_assert(std::is_same<decltype(QELEncodingConverter::maxCharSize), int8_t>::value, "");
    EXPECT_LT(offsetof(QELEncodingConverter, converter), offsetof(QELEncodingConverter, name));
    EXPECT_LT(offsetof(QELEncodingConverter, name), offsetof(QELEncodingConverter, maxCharSize));
}

TEST(QELEncodingTest, OpenedConvertersKnowTheirCanonicalNameAndMaxCharSize)
{
    struct Case { const char* open; const char* name; int maxCharSize; } cases[] = {
        { "utf-8", "UTF-8", 3 },
        { "UTF-8", "UTF-8", 3 },
        { "ISO-8859-1", "ISO-8859-1", 1 },
        { "latin1", "ISO-8859-1", 1 },     // alias, canonicalised by ICU
        { "US-ASCII", "US-ASCII", 1 },
        { "UTF-16", "UTF-16", 2 },
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.open);
        QELEncodingConverter conv{QELString(c.open)};
        ASSERT_NE(conv.converter, nullptr);
        EXPECT_STREQ(conv.name.p, c.name);
        EXPECT_EQ(&conv.getEncodingName(), &conv.name);
        EXPECT_STREQ(conv.getEncodingName().p, c.name);
        EXPECT_EQ(conv.maxCharSize, c.maxCharSize);
    }
}

TEST(QELEncodingTest, EmptyNameOpensTheDefaultConverter)
{
    QELEncodingConverter conv{QELString("")};
    ASSERT_NE(conv.converter, nullptr);
    UErrorCode status = U_ZERO_ERROR;
    UConverter* def = ucnv_open(NULL, &status);
    ASSERT_TRUE(U_SUCCESS(status));
    EXPECT_STREQ(conv.name.p, ucnv_getName(def, &status));
    EXPECT_EQ(conv.maxCharSize, ucnv_getMaxCharSize(def));
    ucnv_close(def);
}

TEST(QELEncodingTest, UnknownCharsetLeavesTheConverterClosed)
{
    const char* names[] = { "no-such-charset", "utf-99", "x" };
    for (const char* n : names) {
        SCOPED_TRACE(n);
        QELEncodingConverter conv{QELString(n)};
        EXPECT_EQ(conv.converter, nullptr);
        EXPECT_EQ(conv.name.len, 0);
        EXPECT_TRUE(valid(conv.name));
        EXPECT_EQ(conv.maxCharSize, 0);
        EXPECT_STREQ(conv.getEncodingName().p, "");
    }
}

// --- Equivalence ---

TEST(QELEncodingTest, EquivalenceTable)
{
    QELEncodingConverter lower{QELString("utf-8")}, upper{QELString("UTF-8")};
    QELEncodingConverter latin{QELString("ISO-8859-1")}, alias{QELString("latin1")};
    QELEncodingConverter ascii{QELString("US-ASCII")};
    QELEncodingConverter bad1{QELString("bogus-1")}, bad2{QELString("bogus-1")};
    struct Case { const char* what; QELEncodingConverter* a; QELEncodingConverter* b; bool want; } cases[] = {
        { "a with itself", &lower, &lower, true },
        { "utf-8 and UTF-8", &lower, &upper, true },
        { "ISO-8859-1 and its alias", &latin, &alias, true },
        { "different charsets", &lower, &latin, false },
        { "same size, different names", &latin, &ascii, false },
        { "null first", NULL, &lower, false },
        { "null second", &lower, NULL, false },
        { "both null", NULL, NULL, false },
        { "failed with itself", &bad1, &bad1, false },
        { "two failed ones", &bad1, &bad2, false },
        { "failed and open", &bad1, &lower, false },
        { "open and failed", &lower, &bad1, false },
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(equivalentConverters(c.a, c.b), c.want);
    }
}

TEST(QELEncodingTest, EquivalenceNeedsEqualMaxCharSizeToo)
{
    QELEncodingConverter a{QELString("UTF-8")}, b{QELString("UTF-8")};
    ASSERT_TRUE(equivalentConverters(&a, &b));
    b.maxCharSize = 4;
    EXPECT_FALSE(equivalentConverters(&a, &b));
    b.maxCharSize = a.maxCharSize;
}

// --- convertEncoding ---

TEST(QELEncodingTest, PassThroughCasesLeaveCountersUntouched)
{
    QELEncodingConverter utf8{QELString("utf-8")}, upper{QELString("UTF-8")};
    QELEncodingConverter latin{QELString("ISO-8859-1")}, bad{QELString("bogus")};
    QELString s("caf\xc3\xa9");
    struct Case { const char* what; QELEncodingConverter* from; QELEncodingConverter* to; } cases[] = {
        { "null to", &latin, NULL },
        { "null from", NULL, &utf8 },
        { "both null", NULL, NULL },
        { "closed to", &latin, &bad },
        { "closed from", &bad, &utf8 },
        { "equivalent", &utf8, &upper },
        { "same converter", &latin, &latin },
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        int conversions = 3, failures = 7;
        QELString r = convertEncoding(s, c.from, c.to, conversions, failures);
        EXPECT_EQ(conversions, 3);
        EXPECT_EQ(failures, 7);
        EXPECT_EQ(str(r), str(s));
        EXPECT_NE(r.p, s.p); // a copy
        EXPECT_TRUE(exactCopy(r));
    }
}

TEST(QELEncodingTest, AbcBetweenTwoUtf8ConvertersIsUntouched)
{
    QELEncodingConverter a{QELString("utf-8")}, b{QELString("UTF-8")};
    int conversions = 0, failures = 0;
    QELString r = convertEncoding(QELString("abc"), &a, &b, conversions, failures);
    EXPECT_STREQ(r.p, "abc");
    EXPECT_EQ(conversions, 0);
    EXPECT_EQ(failures, 0);
}

TEST(QELEncodingTest, ConversionTable)
{
    QELEncodingConverter utf8{QELString("utf-8")}, latin{QELString("ISO-8859-1")};
    QELEncodingConverter ascii{QELString("US-ASCII")}, utf7{QELString("UTF-7")};
    struct Case {
        const char* what; QELEncodingConverter* from; QELEncodingConverter* to;
        std::string in, out;
    } cases[] = {
        { "UTF-8 e-acute read as ISO-8859-1", &latin, &utf8, "\xc3\xa9", "\xc3\x83\xc2\xa9" },
        { "ISO-8859-1 to UTF-8", &latin, &utf8, "caf\xe9", "caf\xc3\xa9" },
        { "UTF-8 to ISO-8859-1", &utf8, &latin, "caf\xc3\xa9", "caf\xe9" },
        { "ASCII to UTF-8", &ascii, &utf8, "plain", "plain" },
        { "empty text", &latin, &utf8, "", "" },
        { "UTF-8 to UTF-7", &utf8, &utf7, "\xc3\xa9", "+AOk-" },
        { "ISO-8859-1 to another charset than UTF-8", &latin, &utf7, "caf\xe9", "caf+AOk-" },
        { "empty text through ICU", &utf8, &latin, "", "" },
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        int conversions = 10, failures = 20;
        QELString r = convertEncoding(QELString(c.in.c_str()), c.from, c.to, conversions, failures);
        EXPECT_EQ(str(r), c.out);
        EXPECT_EQ(conversions, 11);
        EXPECT_EQ(failures, 20);
        EXPECT_TRUE(valid(r));
        EXPECT_TRUE(exactCopy(r));
    }
}

TEST(QELEncodingTest, TextAfterAnEmbeddedNulOfTheTargetIsLost)
{
    // The length of the result is taken from the terminator, so a target
    // charset that writes NUL bytes cuts the text there.
    QELEncodingConverter utf8{QELString("utf-8")}, utf16be{QELString("UTF-16BE")};
    int conversions = 0, failures = 0;
    QELString r = convertEncoding(QELString("ab"), &utf8, &utf16be, conversions, failures);
    EXPECT_EQ(r.len, 0);
    EXPECT_EQ(conversions, 1);
    EXPECT_EQ(failures, 0);
}

TEST(QELEncodingTest, Latin1RoundTripOfEveryByte)
{
    QELEncodingConverter utf8{QELString("utf-8")}, latin{QELString("ISO-8859-1")};
    int conversions = 0, failures = 0;
    for (int b = 1; b < 256; b++) {
        char in[3] = { 'x', static_cast<char>(b), '\0' };
        QELString u = convertEncoding(QELString(in), &latin, &utf8, conversions, failures);
        std::string want = "x";
        putUtf8(want, static_cast<unsigned int>(b));
        ASSERT_EQ(str(u), want) << b;
        QELString back = convertEncoding(u, &utf8, &latin, conversions, failures);
        ASSERT_EQ(str(back), std::string(in)) << b;
    }
    EXPECT_EQ(conversions, 2 * 255);
    EXPECT_EQ(failures, 0);
}

// ISO-8859-1 to UTF-8 takes a direct road; it must give what ICU's own
// conversion through UTF-16 gives, with the same counters and block rule.
TEST(QELEncodingTest, Latin1ToUtf8DirectRoadMatchesIcu)
{
    QELEncodingConverter utf8{QELString("utf-8")}, latin{QELString("ISO-8859-1")};
    ASSERT_STREQ(latin.name.p, "ISO-8859-1");
    ASSERT_STREQ(utf8.name.p, "UTF-8");
    auto icu = [](const std::string& in) {
        std::vector<char> out(in.size() * 3 + 2);
        UErrorCode status = U_ZERO_ERROR;
        int32_t n = ucnv_convert("UTF-8", "ISO-8859-1", out.data(), (int32_t)out.size(), in.c_str(),
                                 (int32_t)in.size(), &status);
        EXPECT_TRUE(U_SUCCESS(status));
        return std::string(out.data(), (size_t)n);
    };
    int conversions = 0, failures = 0, expectedConversions = 0;
    auto check = [&](const std::string& in) {
        QELString r = convertEncoding(QELString(in.c_str()), &latin, &utf8, conversions, failures);
        expectedConversions++;
        const std::string text = in.substr(0, strlen(in.c_str())); // up to the first NUL
        ASSERT_EQ(str(r), icu(text)) << in;
        ASSERT_TRUE(valid(r));
        ASSERT_TRUE(exactCopy(r)) << r.len << " " << r.alloc;
        ASSERT_EQ(conversions, expectedConversions);
        ASSERT_EQ(failures, 0);
    };
    for (int b = 0; b < 256; b++) {
        check(std::string(1, static_cast<char>(b)));
        check(std::string("ab") + static_cast<char>(b) + "cdefghijklmnop" + static_cast<char>(b));
    }
    check("");
    std::mt19937 rng(88591);
    for (int i = 0; i < 3000; i++) {
        std::string in;
        const size_t n = rng() % 200;
        const unsigned highShare = rng() % 101;
        for (size_t k = 0; k < n; k++) {
            unsigned c = rng() % 100 < highShare ? 0x80 + rng() % 128 : 1 + rng() % 127;
            in += static_cast<char>(c);
        }
        if (rng() % 10 == 0 && n > 0)
            in[rng() % n] = '\0'; // the text ends there
        check(in);
    }
}

TEST(QELEncodingTest, EncodeOverflowCountsAFailureAndReturnsTheInput)
{
    // One character in ISO-2022-JP needs its escape sequences on both
    // sides (8 bytes), more than one unit times the maximal size (6) plus
    // one: the extraction overflows.
    QELEncodingConverter utf8{QELString("utf-8")}, jis{QELString("ISO-2022-JP")};
    ASSERT_NE(jis.converter, nullptr);
    ASSERT_EQ(jis.maxCharSize, 6);
    int conversions = 0, failures = 0;
    QELString in("\xe3\x81\x82"); // HIRAGANA LETTER A
    QELString r = convertEncoding(in, &utf8, &jis, conversions, failures);
    EXPECT_EQ(conversions, 1);
    EXPECT_EQ(failures, 1);
    EXPECT_EQ(str(r), str(in));
    EXPECT_TRUE(exactCopy(r));

    // The target converter was reset: the next conversion starts clean.
    r = convertEncoding(QELString("a\xe3\x81\x82"), &utf8, &jis, conversions, failures);
    EXPECT_EQ(str(r), "a\x1b$B$\"\x1b(B");
    EXPECT_EQ(conversions, 2);
    EXPECT_EQ(failures, 1);
}

TEST(QELEncodingTest, DecodeErrorCountsAFailureAndReturnsTheInput)
{
    // With ICU's stop callback an invalid sequence is an error.
    QELEncodingConverter utf8{QELString("utf-8")}, latin{QELString("ISO-8859-1")};
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setToUCallBack(utf8.converter, UCNV_TO_U_CALLBACK_STOP, NULL, NULL, NULL, &status);
    ASSERT_TRUE(U_SUCCESS(status));
    struct Case { const char* what; std::string in; } cases[] = {
        { "invalid lead byte", "ab\xff" },
        { "lone continuation byte", "\x80z" },
        { "truncated sequence", "x\xe2\x82" },
        { "overlong encoding", "\xc0\xaf" },
        { "surrogate", "\xed\xa0\x80" },
    };
    int conversions = 0, failures = 0;
    int attempts = 0, failed = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        QELString r = convertEncoding(QELString(c.in.c_str()), &utf8, &latin, conversions, failures);
        attempts++;
        failed++;
        EXPECT_EQ(str(r), c.in);
        EXPECT_TRUE(exactCopy(r));
        EXPECT_EQ(conversions, attempts);
        EXPECT_EQ(failures, failed);
        // The source converter was reset: a valid text now converts.
        QELString ok = convertEncoding(QELString("\xc3\xa9"), &utf8, &latin, conversions, failures);
        attempts++;
        EXPECT_EQ(str(ok), "\xe9");
        EXPECT_EQ(conversions, attempts);
        EXPECT_EQ(failures, failed);
    }
}

TEST(QELEncodingTest, UnmappableCharacterWithStopCallbackCountsAFailure)
{
    QELEncodingConverter utf8{QELString("utf-8")}, latin{QELString("ISO-8859-1")};
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setFromUCallBack(latin.converter, UCNV_FROM_U_CALLBACK_STOP, NULL, NULL, NULL, &status);
    int conversions = 0, failures = 0;
    QELString r = convertEncoding(QELString("1\xe2\x82\xac"), &utf8, &latin, conversions, failures);
    EXPECT_EQ(str(r), "1\xe2\x82\xac");
    EXPECT_EQ(conversions, 1);
    EXPECT_EQ(failures, 1);
    r = convertEncoding(QELString("\xc3\xa9"), &utf8, &latin, conversions, failures);
    EXPECT_EQ(str(r), "\xe9");
    EXPECT_EQ(failures, 1);
}

// --- Locale shortcuts ---

namespace {

std::string randomBytes(std::mt19937& rng, unsigned int maxLen)
{
    std::uniform_int_distribution<unsigned int> len(0, maxLen), byte(1, 255);
    std::string s;
    for (unsigned int n = len(rng), i = 0; i < n; i++)
        s += static_cast<char>(byte(rng));
    return s;
}

} // namespace

TEST(QELEncodingTest, Utf8ToLocaleIsTheSameConversionAsLocaleToUtf8)
{
    // Both go from the default charset to UTF-8, like these two converters.
    QELEncodingConverter def{QELString("")}, utf8{QELString("utf-8")};
    std::mt19937 rng(2024);
    std::vector<std::string> inputs = { "", "abc", "caf\xc3\xa9", "\xe9", "\xff\xfe",
                                        "\xe2\x82\xac 10", "\xf0\x9d\x84\x9e" };
    for (int i = 0; i < 3000; i++)
        inputs.push_back(randomBytes(rng, 12));
    for (const std::string& in : inputs) {
        QELString a = localeToUtf8(in.c_str());
        QELString b = utf8ToLocale(in.c_str());
        int conversions = 0, failures = 0;
        QELString c = convertEncoding(QELString(in.c_str()), &def, &utf8, conversions, failures);
        ASSERT_EQ(str(a), str(b));
        ASSERT_EQ(str(a), str(c));
        ASSERT_TRUE(valid(a));
        ASSERT_TRUE(valid(b));
    }
}

TEST(QELEncodingTest, LocaleShortcutsAcceptNull)
{
    EXPECT_EQ(localeToUtf8(NULL).len, 0);
    EXPECT_EQ(utf8ToLocale(NULL).len, 0);
}

// --- Wide characters ---

// Runs with a UTF-8 environment locale, restoring the environment after.
class QELEncodingWideTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        const char* old = getenv("LC_ALL");
        hadLcAll = old != NULL;
        if (hadLcAll)
            oldLcAll = old;
        setenv("LC_ALL", "C.UTF-8", 1);
        ASSERT_NE(setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    }
    void TearDown() override
    {
        if (hadLcAll)
            setenv("LC_ALL", oldLcAll.c_str(), 1);
        else
            unsetenv("LC_ALL");
        setlocale(LC_CTYPE, "C");
    }
    bool hadLcAll = false;
    std::string oldLcAll;
};

TEST_F(QELEncodingWideTest, Utf8ToUtf16Table)
{
    struct Case { const char* in; std::wstring want; } cases[] = {
        { "", L"" },
        { "abc", L"abc" },
        { "caf\xc3\xa9", L"caf\u00e9" },
        { "\xe2\x82\xac", L"\u20ac" },
        { "\xf0\x9d\x84\x9e", L"\U0001D11E" }, // one wide character (4 bytes)
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.in);
        wchar_t* w = utf8ToUtf16(c.in);
        ASSERT_NE(w, nullptr);
        EXPECT_EQ(std::wstring(w), c.want);
        char* back = utf16ToUtf8(w);
        EXPECT_STREQ(back, c.in);
        free(back);
        freeUtf16(w);
    }
}

TEST_F(QELEncodingWideTest, RandomRoundTrips)
{
    std::mt19937 rng(77);
    std::uniform_int_distribution<unsigned int> len(0, 16), cp(1, 0x10FFFF), small(1, 0x7FF);
    for (int i = 0; i < 2000; i++) {
        std::wstring want;
        std::string utf8;
        for (unsigned int n = len(rng), k = 0; k < n; k++) {
            unsigned int c = (k % 2) ? small(rng) : cp(rng);
            if (c >= 0xD800 && c <= 0xDFFF)
                c = 0xFFFD;
            want += static_cast<wchar_t>(c);
            putUtf8(utf8, c);
        }
        wchar_t* w = utf8ToUtf16(utf8.c_str());
        ASSERT_EQ(std::wstring(w), want) << i;
        char* back = utf16ToUtf8(w);
        ASSERT_EQ(std::string(back), utf8) << i;
        free(back);
        freeUtf16(w);
    }
}

TEST_F(QELEncodingWideTest, LeavesLcCtypeAtTheEnvironmentLocale)
{
    // The locale kept around the conversion is the one setlocale(LC_CTYPE,
    // "") installs, so afterwards LC_CTYPE follows the environment.
    setlocale(LC_CTYPE, "C");
    wchar_t* w = utf8ToUtf16("plain");
    EXPECT_EQ(std::wstring(w), L"plain");
    EXPECT_STREQ(setlocale(LC_CTYPE, NULL), "C.UTF-8");
    setlocale(LC_CTYPE, "C");
    char* back = utf16ToUtf8(w);
    EXPECT_STREQ(back, "plain");
    EXPECT_STREQ(setlocale(LC_CTYPE, NULL), "C.UTF-8");
    free(back);
    freeUtf16(w);
}
