// fuzz_encoding: convertEncoding between fuzzer-chosen charsets on any text.
// Properties: the counters move as described (no conversion between
// equivalent or closed converters; a failure gives back the input), a text
// never comes back longer than its buffer allows, and a conversion into
// UTF-8 equals ICU's own conversion of the same bytes.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include "QELEncoding.h"
#include "QELString.h"
#include "FuzzCheck.h"

namespace {

const char* const CHARSETS[] = {
    "utf-8", "UTF-8", "ISO-8859-1", "ISO-8859-15", "windows-1252", "US-ASCII", "UTF-16", "UTF-16BE",
    "UTF-16LE", "UTF-32", "Shift_JIS", "EUC-JP", "GB18030", "Big5", "KOI8-R", "ibm-037", "UTF-7",
    "SCSU", "BOCU-1", "CESU-8", "ISO-2022-JP", "HZ-GB-2312", "", "no-such-charset",
};
const size_t CHARSET_COUNT = sizeof CHARSETS / sizeof CHARSETS[0];

std::string pickCharset(FuzzedDataProvider& provider)
{
    if (provider.ConsumeIntegralInRange<int>(0, 15) == 0)
        return provider.ConsumeRandomLengthString(24); // any name at all
    return CHARSETS[provider.ConsumeIntegralInRange<size_t>(0, CHARSET_COUNT - 1)];
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider provider(data, size);
    std::string fromName = pickCharset(provider);
    std::string toName = pickCharset(provider);
    std::string text = provider.ConsumeRemainingBytesAsString();
    text.resize(strlen(text.c_str()));
    fromName.resize(strlen(fromName.c_str()));
    toName.resize(strlen(toName.c_str()));

    static const bool trace = getenv("QEL_FUZZ_TRACE") != nullptr;
    if (trace) {
        fprintf(stderr, "from \"%s\" to \"%s\", %zu bytes:", fromName.c_str(), toName.c_str(), text.size());
        for (unsigned char c : text)
            fprintf(stderr, " %02x", c);
        fprintf(stderr, "\n");
    }
    QELEncodingConverter from{QELString(fromName.c_str())};
    QELEncodingConverter to{QELString(toName.c_str())};
    const QELString s(text.c_str());
    int conversions = 7, failures = 3;
    QELString r = convertEncoding(s, &from, &to, conversions, failures);
    FUZZ_CHECK(r.len >= 0 && r.p[r.len] == '\0' && static_cast<size_t>(r.len) == strlen(r.p));
    FUZZ_CHECK(s == text.c_str());

    const bool open = from.converter != nullptr && to.converter != nullptr;
    if (!open || equivalentConverters(&from, &to)) {
        FUZZ_CHECK(conversions == 7 && failures == 3);
        FUZZ_CHECK(r == s);
        return 0;
    }
    FUZZ_CHECK(conversions == 8);
    FUZZ_CHECK(failures == 3 || failures == 4);
    if (failures == 4) {
        FUZZ_CHECK(r == s); // a failed conversion gives back the input bytes
        return 0;
    }
    FUZZ_CHECK(from.maxCharSize > 0 && to.maxCharSize > 0);
    // n UTF-16 units take at most n * maxCharSize bytes.
    // ICU's own decode, measured first (its UnicodeString constructor from
    // bytes never returns on some SCSU texts).
    UErrorCode status = U_ZERO_ERROR;
    UConverter* reference = ucnv_open(from.getEncodingName().p, &status);
    FUZZ_CHECK(U_SUCCESS(status));
    int32_t units = ucnv_toUChars(reference, nullptr, 0, text.c_str(), -1, &status);
    status = U_ZERO_ERROR;
    icu::UnicodeString decoded;
    if (units > 0) {
        UChar* buffer = decoded.getBuffer(units + 1);
        units = ucnv_toUChars(reference, buffer, units + 1, text.c_str(), -1, &status);
        decoded.releaseBuffer(U_SUCCESS(status) ? units : 0);
    }
    ucnv_close(reference);
    FUZZ_CHECK(static_cast<long>(r.len) <= static_cast<long>(decoded.length()) * to.maxCharSize + 1);
    if (strcmp(to.getEncodingName().p, "UTF-8") == 0) {
        std::string want;
        decoded.toUTF8String(want);
        want.resize(strlen(want.c_str())); // the result's text ends at a NUL
        FUZZ_CHECK(std::string(r.p, r.len) == want);
    }
    // Converting the same text again gives the same result (no state left
    // in either converter).
    QELString again = convertEncoding(s, &from, &to, conversions, failures);
    FUZZ_CHECK(again == r);
    return 0;
}
