// QELRegression: inputs that the fuzz targets (fuzz/) found to break the
// library, each pinned by a test once fixed.
#include <unistd.h>

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include "QELEncoding.h"
#include "QELString.h"

namespace {

// Found by fuzz_encoding: ICU's UnicodeString constructor from bytes and a
// converter never returns on this SCSU text (51 bytes that decode to 71
// UTF-16 units), so convertEncoding hung.
const unsigned char SCSU_HANG[] = {
    0x63, 0xff, 0xff, 0x9f, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff,
    0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x0b, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff,
    0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x00};

// The UTF-8 form of SCSU_HANG, decoded with ucnv_toUChars.
std::string scsuAsUtf8()
{
    UErrorCode status = U_ZERO_ERROR;
    UConverter* c = ucnv_open("SCSU", &status);
    UChar units[256];
    int32_t n = ucnv_toUChars(c, units, 256, reinterpret_cast<const char*>(SCSU_HANG), -1, &status);
    ucnv_close(c);
    std::string utf8;
    icu::UnicodeString(units, n).toUTF8String(utf8);
    return utf8;
}

void convertScsuAndExit()
{
    alarm(20); // a hang ends the child by SIGALRM
    QELEncodingConverter from{QELString("SCSU")};
    QELEncodingConverter to{QELString("UTF-8")};
    int conversions = 0, failures = 0;
    QELString r = convertEncoding(QELString(reinterpret_cast<const char*>(SCSU_HANG)), &from, &to, conversions,
                                  failures);
    bool ok = conversions == 1 && failures == 0 && std::string(r.p, r.len) == scsuAsUtf8();
    _exit(ok ? 0 : 1);
}

} // namespace

TEST(QELRegressionTest, ConvertEncodingFromScsuReturnsTheDecodedText)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ASSERT_EQ(71u, icu::UnicodeString::fromUTF8(scsuAsUtf8()).length());
    EXPECT_EXIT(convertScsuAndExit(), testing::ExitedWithCode(0), "");
}
