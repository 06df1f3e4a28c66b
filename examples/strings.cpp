// Strings, blobs and charset conversion: the everyday text types.
#include <cstdio>

#include "QELStd.h"

int main()
{
    // Strings own exact blocks; empty strings share one buffer.
    QELString greeting("Hello");
    greeting += QELString(", ");
    greeting.append("world").append('!');
    std::printf("%s (length %d, hash %u)\n", greeting.chars(), greeting.length(), greeting.hashCode());

    // Derived values are new strings; in-place operations return *this.
    QELString word = greeting.mid(7, 5);
    std::printf("mid(7, 5) = %s, upper = %s\n", word.chars(), QELString(word).toUpper().chars());
    std::printf("trim = [%s]\n", QELString("  padded\t\n").trim().chars());

    // Wrapping borrows a caller's buffer; the first change copies it.
    const char* literal = "borrowed";
    QELString view;
    view.wrap(literal);
    view.append(" and copied");
    std::printf("%s / the literal is still \"%s\"\n", view.chars(), literal);

    // XML escaping for records and attributes.
    std::printf("escaped: %s\n", escapeXMLString(QELString("a<b & \"c\"")).chars());

    // Charset conversion through ICU: ISO-8859-1 bytes to UTF-8.
    QELEncodingConverter latin1(QELString("ISO-8859-1"));
    QELEncodingConverter utf8(QELString("UTF-8"));
    int conversions = 0;
    int failures = 0;
    QELString converted = convertEncoding(QELString("caf\xe9"), &latin1, &utf8, conversions, failures);
    std::printf("caf\\xe9 from %s: %s (%d conversion, %d failures)\n", latin1.getEncodingName().chars(),
                converted.chars(), conversions, failures);

    // Blobs are counted bytes; a chain of + allocates once and grows in place.
    QELBlob a("abc");
    QELBlob b("def");
    QELBlob joined = a + b + "ghi";
    std::printf("blob of %u bytes: %.*s\n", joined.size, static_cast<int>(joined.size), joined.p);
    return 0;
}
