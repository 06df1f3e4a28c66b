// encoding: character-set conversion of strings through ICU converters,
// the library-wide locale and UTF-8 converters, and the wide-character
// conversions.
#include "QELEncoding.h"

#include <clocale>
#include <cstdlib>
#include <cstring>

#include <unicode/ucnv.h>
#include <unicode/unistr.h>

// --- QELEncodingConverter ---

QELEncodingConverter::QELEncodingConverter(const QELString& encodingName)
    : converter(NULL), name(), maxCharSize(0)
{
    UErrorCode status = U_ZERO_ERROR;
    // A null name makes ICU open its default converter.
    UConverter* c = ucnv_open(encodingName.len == 0 ? NULL : encodingName.p, &status);
    if (U_SUCCESS(status)) {
        converter = c;
        UErrorCode nameStatus = U_ZERO_ERROR;
        name = QELString(ucnv_getName(c, &nameStatus));
        maxCharSize = static_cast<int8_t>(ucnv_getMaxCharSize(c));
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
static QELEncodingConverter utf8(QELString("utf-8"));
static QELEncodingConverter locale(QELString(""));

// --- Conversion ---

bool equivalentConverters(QELEncodingConverter* a, QELEncodingConverter* b)
{
    return a != NULL && b != NULL && a->converter != NULL && b->converter != NULL
        && a->maxCharSize == b->maxCharSize && strcmp(a->name.p, b->name.p) == 0;
}

QELString convertEncoding(const QELString& s, QELEncodingConverter* from,
                          QELEncodingConverter* to, int& conversions, int& failures)
{
    if (from == NULL || to == NULL || from->converter == NULL || to->converter == NULL)
        return s;
    if (equivalentConverters(from, to))
        return s;
    conversions++;

    // Decode the whole text into UTF-16 with the source charset: measure
    // first, then decode once into a buffer of that size. (ICU's UnicodeString
    // constructor from bytes and a converter never returns on some SCSU texts
    // whose UTF-16 form has more units than the text has bytes.)
    UErrorCode status = U_ZERO_ERROR;
    int32_t units = ucnv_toUChars(from->converter, NULL, 0, s.p, -1, &status);
    if (status == U_BUFFER_OVERFLOW_ERROR || status == U_STRING_NOT_TERMINATED_WARNING)
        status = U_ZERO_ERROR;
    icu::UnicodeString u;
    if (U_SUCCESS(status) && units > 0) {
        UChar* decoded = u.getBuffer(units + 1);
        units = ucnv_toUChars(from->converter, decoded, units + 1, s.p, -1, &status);
        u.releaseBuffer(U_SUCCESS(status) ? units : 0);
    }
    if (U_FAILURE(status)) {
        failures++;
        ucnv_reset(from->converter);
        return s;
    }

    // Encode into a block sized for the worst case of the target charset.
    int32_t room = u.length() * to->maxCharSize;
    QELString t;
    t.resize(static_cast<unsigned int>(room) + 2);
    char* buffer = t.lock();
    buffer[room + 1] = '\0';
    status = U_ZERO_ERROR;
    u.extract(buffer, room + 1, to->converter, status);
    t.unlock(false);
    if (U_FAILURE(status)) {
        failures++;
        ucnv_reset(to->converter);
        return s;
    }
    return t;
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

wchar_t* utf8ToUtf16(const char* s)
{
    // Counted under whatever LC_CTYPE is current, before the switch.
    size_t count = mbstowcs(NULL, s, 0);
    wchar_t* block = static_cast<wchar_t*>(malloc((count + 1) * sizeof(wchar_t)));
    // setlocale's result lives in a buffer that the next call may free.
    const char* current = setlocale(LC_CTYPE, "");
    char* kept = current != NULL ? strdup(current) : NULL;
    setlocale(LC_CTYPE, "UTF-8");
    mbstowcs(block, s, count + 1);
    setlocale(LC_CTYPE, kept);
    free(kept);
    return block;
}

void freeUtf16(wchar_t* p)
{
    free(p);
}

char* utf16ToUtf8(const wchar_t* s)
{
    size_t count = wcstombs(NULL, s, 0);
    char* block = static_cast<char*>(malloc(count + 1));
    const char* current = setlocale(LC_CTYPE, "");
    char* kept = current != NULL ? strdup(current) : NULL;
    setlocale(LC_CTYPE, "UTF-8");
    wcstombs(block, s, count + 1);
    setlocale(LC_CTYPE, kept);
    free(kept);
    return block;
}
