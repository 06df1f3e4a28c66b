// encoding: character-set conversion of strings through ICU converters,
// the library-wide locale and UTF-8 converters, and the wide-character
// conversions.
#include "QELEncoding.h"
#include "QELMemory.h"
#include "QELStartup.h"

#include <clocale>
#include <cstdlib>
#include <cstdint>
#include <cstring>

#include <unicode/ucnv.h>
#include <unicode/unistr.h>

// --- QELEncodingConverter ---

// Invalid bytes and characters the target charset lacks end the conversion
// with an error instead of ICU's default substitution, so that convertEncoding
// counts the failure and hands back the input unchanged.
static void stopOnBadInput(UConverter* c)
{
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setToUCallBack(c, UCNV_TO_U_CALLBACK_STOP, NULL, NULL, NULL, &status);
    status = U_ZERO_ERROR;
    ucnv_setFromUCallBack(c, UCNV_FROM_U_CALLBACK_STOP, NULL, NULL, NULL, &status);
}

QELEncodingConverter::QELEncodingConverter(const QELString& encodingName) : converter(NULL), name(), maxCharSize(0)
{
    UErrorCode status = U_ZERO_ERROR;
    // A null name makes ICU open its default converter.
    UConverter* c = ucnv_open(encodingName.len == 0 ? NULL : encodingName.p, &status);
    if (U_SUCCESS(status)) {
        converter = c;
        UErrorCode nameStatus = U_ZERO_ERROR;
        name = QELString(ucnv_getName(c, &nameStatus));
        maxCharSize = static_cast<int8_t>(ucnv_getMaxCharSize(c));
        stopOnBadInput(c);
    }
}

QELEncodingConverter::~QELEncodingConverter()
{
    if (converter != NULL)
        ucnv_close(converter);
    // A library-wide converter used after its destruction at exit then
    // passes text through instead of touching a closed converter.
    converter = NULL;
}

QELString& QELEncodingConverter::getEncodingName()
{
    return name;
}

// The library-wide converters, built when the library is loaded: UTF-8,
// and the process's default charset (ICU's default converter).
QEL_BUILT_AT(QEL_STAGE_CONVERTERS) static QELEncodingConverter utf8(QELString("utf-8"));
QEL_BUILT_AT(QEL_STAGE_CONVERTERS) static QELEncodingConverter locale(QELString(""));

// --- Conversion ---

bool equivalentConverters(QELEncodingConverter* a, QELEncodingConverter* b)
{
    return a != NULL && b != NULL && a->converter != NULL && b->converter != NULL && a->maxCharSize == b->maxCharSize
        && strcmp(a->name.p, b->name.p) == 0;
}

// True when from is ICU's ISO-8859-1 converter and to its UTF-8 one.
static inline bool isLatin1ToUtf8(QELEncodingConverter* from, QELEncodingConverter* to)
{
    if (ucnv_getType(from->converter) != UCNV_LATIN_1 || ucnv_getType(to->converter) != UCNV_UTF8)
        return false;
    UErrorCode status = U_ZERO_ERROR;
    const char* fromName = ucnv_getName(from->converter, &status);
    const char* toName = ucnv_getName(to->converter, &status);
    return U_SUCCESS(status) && strcmp(fromName, "ISO-8859-1") == 0 && strcmp(toName, "UTF-8") == 0;
}

// Writes the n ISO-8859-1 bytes at in as UTF-8 at out (room for 2n bytes);
// returns the number of bytes written. Eight bytes below 0x80 are copied at
// once; other bytes one by one, without a branch on the byte's value.
static size_t latin1ToUtf8(const char* in, size_t n, char* out)
{
    const unsigned char* p = reinterpret_cast<const unsigned char*>(in);
    unsigned char* q = reinterpret_cast<unsigned char*>(out);
    size_t i = 0;
    while (i + 8 <= n) {
        uint64_t w;
        memcpy(&w, p + i, 8);
        if ((w & 0x8080808080808080ull) == 0) {
            memcpy(q, &w, 8);
            q += 8;
            i += 8;
            continue;
        }
        for (size_t end = i + 8; i < end; i++) {
            const unsigned c = p[i];
            const unsigned high = c >> 7;
            q[0] = static_cast<unsigned char>(high ? 0xC0 | (c >> 6) : c);
            q[1] = static_cast<unsigned char>(0x80 | (c & 0x3F));
            q += 1 + high;
        }
    }
    for (; i < n; i++) {
        const unsigned c = p[i];
        const unsigned high = c >> 7;
        q[0] = static_cast<unsigned char>(high ? 0xC0 | (c >> 6) : c);
        q[1] = static_cast<unsigned char>(0x80 | (c & 0x3F));
        q += 1 + high;
    }
    return static_cast<size_t>(q - reinterpret_cast<unsigned char*>(out));
}

// ISO-8859-1 to UTF-8 directly: every byte is the code point of the same
// value, below 0x80 copied, above written as two bytes, and none can fail.
// Same temporary, same size and same result as the road through UTF-16,
// without the 2n-byte UTF-16 string.
static QELString latin1TextToUtf8(const QELString& s, size_t n, QELEncodingConverter* to)
{
    int32_t room = static_cast<int32_t>(n) * to->maxCharSize;
    QELString t;
    t.resize(static_cast<unsigned int>(room) + 2);
    char* buffer = t.lock();
    buffer[room + 1] = '\0';
    const size_t written = latin1ToUtf8(s.p, n, buffer);
    buffer[written] = '\0';
    t.unlock(false);
    return QELString(t); // the exact-size copy, whether or not t's return is elided
}

// Decodes the whole text into UTF-16 with the source charset: measures
// first, then decodes once into a buffer of that size. (ICU's UnicodeString
// constructor from bytes and a converter never returns on some SCSU texts
// whose UTF-16 form has more units than the text has bytes.) Returns false,
// with the converter reset, when the text does not decode.
static bool decodeToUtf16(const QELString& s, QELEncodingConverter* from, icu::UnicodeString& u)
{
    UErrorCode status = U_ZERO_ERROR;
    int32_t units = ucnv_toUChars(from->converter, NULL, 0, s.p, -1, &status);
    if (status == U_BUFFER_OVERFLOW_ERROR || status == U_STRING_NOT_TERMINATED_WARNING)
        status = U_ZERO_ERROR;
    if (U_SUCCESS(status) && units > 0) {
        UChar* decoded = u.getBuffer(units + 1);
        units = ucnv_toUChars(from->converter, decoded, units + 1, s.p, -1, &status);
        u.releaseBuffer(U_SUCCESS(status) ? units : 0);
    }
    if (U_FAILURE(status)) {
        ucnv_reset(from->converter);
        return false;
    }
    return true;
}

// Encodes u with the target charset into t, a block sized for the worst case
// of that charset. Returns false, with the converter reset, when a
// character does not encode.
static bool encodeFromUtf16(const icu::UnicodeString& u, QELEncodingConverter* to, QELString& t)
{
    int32_t room = u.length() * to->maxCharSize;
    t.resize(static_cast<unsigned int>(room) + 2);
    char* buffer = t.lock();
    buffer[room + 1] = '\0';
    UErrorCode status = U_ZERO_ERROR;
    u.extract(buffer, room + 1, to->converter, status);
    if (U_FAILURE(status))
        buffer[0] = '\0'; // the temporary is dropped: no unwritten byte is read
    t.unlock(false);
    if (U_FAILURE(status)) {
        ucnv_reset(to->converter);
        return false;
    }
    return true;
}

QELString convertEncoding(const QELString& s, QELEncodingConverter* from, QELEncodingConverter* to, int& conversions,
                          int& failures)
{
    if (from == NULL || to == NULL || from->converter == NULL || to->converter == NULL)
        return s;
    if (equivalentConverters(from, to))
        return s;
    conversions++;
    if (isLatin1ToUtf8(from, to)) {
        const size_t n = strlen(s.p);
        if (n < (1u << 28))
            return latin1TextToUtf8(s, n, to);
    }
    icu::UnicodeString u;
    QELString t;
    if (!decodeToUtf16(s, from, u) || !encodeFromUtf16(u, to, t)) {
        failures++;
        return s;
    }
    return QELString(t); // the exact-size copy, whether or not t's return is elided
}

QELString localeToUtf8(const char* s)
{
    int conversions = 0, failures = 0;
    return convertEncoding(QELString(s), &locale, &utf8, conversions, failures);
}

QELString utf8ToLocale(const char* s)
{
    // Deliberately the same direction as localeToUtf8.
    int conversions = 0, failures = 0;
    return convertEncoding(QELString(s), &locale, &utf8, conversions, failures);
}

// --- Wide characters (these switch the process-wide LC_CTYPE) ---

// Ends the block that count + 1 units were allocated for after a conversion
// that wrote `written` units (-1 on an invalid sequence): an invalid text
// gives an empty block, a text that converted to more units than counted is
// cut at the block's end, so the result is always terminated.
template <typename Unit> static Unit* terminatedBlock(Unit* block, size_t written, size_t count)
{
    block[written == static_cast<size_t>(-1) ? 0 : (written < count ? written : count)] = 0;
    return block;
}

// Runs convert under LC_CTYPE "UTF-8" and puts the previous locale back.
template <typename Convert> static size_t underUtf8Locale(Convert convert)
{
    // setlocale's result lives in a buffer that the next call may free.
    const char* current = setlocale(LC_CTYPE, "");
    const size_t keptSize = current != NULL ? strlen(current) + 1 : 0;
    char* kept = current != NULL ? static_cast<char*>(memcpy(qelAllocate(keptSize), current, keptSize)) : NULL;
    setlocale(LC_CTYPE, "UTF-8");
    const size_t written = convert();
    setlocale(LC_CTYPE, kept);
    free(kept);
    return written;
}

wchar_t* utf8ToUtf16(const char* s)
{
    // Counted under whatever LC_CTYPE is current, before the switch.
    size_t count = mbstowcs(NULL, s, 0);
    if (count == static_cast<size_t>(-1))
        count = 0; // unconvertible here: the block still holds a terminator
    wchar_t* block = static_cast<wchar_t*>(qelAllocate((count + 1) * sizeof(wchar_t)));
    const size_t written = underUtf8Locale([&] { return mbstowcs(block, s, count + 1); });
    return terminatedBlock(block, written, count);
}

void freeUtf16(wchar_t* p)
{
    free(p);
}

char* utf16ToUtf8(const wchar_t* s)
{
    size_t count = wcstombs(NULL, s, 0);
    if (count == static_cast<size_t>(-1))
        count = 0; // unconvertible here: the block still holds a terminator
    char* block = static_cast<char*>(qelAllocate(count + 1));
    const size_t written = underUtf8Locale([&] { return wcstombs(block, s, count + 1); });
    return terminatedBlock(block, written, count);
}
