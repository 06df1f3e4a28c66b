// QELEncoding: character-set conversion of strings through ICU, and the
// UTF-8 / wide-character conversions.
#ifndef QELENCODING_H
#define QELENCODING_H

#include <cstddef>
#include <cstdint>

#include "QELExport.h"
#include "QELString.h"

// ICU's converter type; only the library's sources include ICU.
struct UConverter;

// One opened ICU converter with its canonical name and the most bytes one
// character can take in its charset. Owns the converter (closed by the
// destructor). A failed open leaves converter null, name empty and
// maxCharSize 0; conversions through it then pass the text through.
// Not copyable; not safe for use by two threads at once.
class QEL_API QELEncodingConverter {
public:
    UConverter* converter;
    QELString name;
    int8_t maxCharSize;

    // Opens the named charset; an empty name opens ICU's default converter
    // (the charset of the process's locale). Failure is not reported.
    QELEncodingConverter(const QELString& encodingName);
    ~QELEncodingConverter();

    // The canonical name as ICU reports it; empty if the open failed.
    QELString& getEncodingName();

    QELEncodingConverter(const QELEncodingConverter&) = delete;
    void operator=(const QELEncodingConverter&) = delete;
};

// Re-encodes s from from's charset to to's through UTF-16. A null or closed
// converter, or two equivalent ones, give a copy of s with the counters
// untouched. Otherwise conversions is incremented, and a decode or encode
// error increments failures and gives a copy of s unchanged.
QEL_API QELString convertEncoding(const QELString& s, QELEncodingConverter* from, QELEncodingConverter* to,
                                  int& conversions, int& failures);

// True only for two open converters with equal maxCharSize and names.
QEL_API bool equivalentConverters(QELEncodingConverter* a, QELEncodingConverter* b);

// Converts s from the locale's charset to UTF-8 (unchanged on failure).
QEL_API QELString localeToUtf8(const char* s);
// Deliberately the very same conversion as localeToUtf8 (locale to UTF-8),
// not the reverse direction: callers of this name get exactly that result.
QEL_API QELString utf8ToLocale(const char* s);

// UTF-8 to a new wide-character block, released with freeUtf16. Switches
// LC_CTYPE while it runs (not thread-safe); conversion errors of
// mbstowcs are not checked.
QEL_API wchar_t* utf8ToUtf16(const char* s);
QEL_API void freeUtf16(wchar_t* p);
// Wide characters to a new UTF-8 block, released with free. Switches
// LC_CTYPE while it runs; conversion errors of wcstombs are not checked.
QEL_API char* utf16ToUtf8(const wchar_t* s);

#endif
