// QELXmlEscape: the one XML escaping of the library, used by escapeXMLString
// and by the XML log formatter. Internal to the library.
//
// Each byte becomes: an entity for the seven characters '"', '&', '<', '>',
// tab, line feed and carriage return; nothing for the other control
// characters (dropped); itself otherwise. Deliberately odd: text with none
// of the seven is copied unchanged, its other control characters included.
#ifndef QELXMLESCAPE_H
#define QELXMLESCAPE_H

#include <stddef.h>
#include <string.h>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Bytes each input byte takes in escaped text.
struct QELXmlEscapeWidths {
    unsigned char width[256] = {};
    constexpr QELXmlEscapeWidths()
    {
        for (int c = 0; c < 256; c++)
            width[c] = c < 32 ? 0 : 1;
        width[static_cast<unsigned char>('"')] = 6;
        width[static_cast<unsigned char>('&')] = 5;
        width[static_cast<unsigned char>('<')] = 4;
        width[static_cast<unsigned char>('>')] = 4;
        width[static_cast<unsigned char>('\t')] = 4;
        width[static_cast<unsigned char>('\n')] = 5;
        width[static_cast<unsigned char>('\r')] = 5;
    }
};
constexpr QELXmlEscapeWidths qelXmlEscapeWidths; // built at compile time

// Whether any of the n bytes at s needs an entity; sets nul when one of
// them is a NUL byte. Sixteen bytes at a time where the processor allows.
inline bool qelXmlNeedsEntity(const char* s, size_t n, bool& nul)
{
    const unsigned char* u = reinterpret_cast<const unsigned char*>(s);
    unsigned special = 0, zero = 0;
    size_t i = 0;
#if defined(__SSE2__)
    const __m128i quote = _mm_set1_epi8('"'), amp = _mm_set1_epi8('&');
    const __m128i lt = _mm_set1_epi8('<'), gt = _mm_set1_epi8('>');
    const __m128i tab = _mm_set1_epi8('\t'), lf = _mm_set1_epi8('\n');
    const __m128i cr = _mm_set1_epi8('\r'), nil = _mm_setzero_si128();
    for (; i + 16 <= n; i += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(u + i));
        const __m128i m = _mm_or_si128(
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, quote), _mm_cmpeq_epi8(v, amp)),
                         _mm_or_si128(_mm_cmpeq_epi8(v, lt), _mm_cmpeq_epi8(v, gt))),
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, tab), _mm_cmpeq_epi8(v, lf)), _mm_cmpeq_epi8(v, cr)));
        special |= static_cast<unsigned>(_mm_movemask_epi8(m));
        zero |= static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, nil)));
    }
#endif
    for (; i < n; i++) {
        special |= qelXmlEscapeWidths.width[u[i]] > 1;
        zero |= u[i] == 0;
    }
    if (zero != 0)
        nul = true;
    return special != 0;
}

// Length of the escaped form of the n bytes at s, computed without building
// it. `special` tells whether any byte needs an entity (when none does, the
// text is copied unchanged); nul is set when a NUL byte is copied.
inline size_t qelXmlEscapedLength(const char* s, size_t n, bool& special, bool& nul)
{
    bool zero = false;
    special = qelXmlNeedsEntity(s, n, zero);
    if (!special) {
        nul = nul || zero;
        return n;
    }
    const unsigned char* u = reinterpret_cast<const unsigned char*>(s);
    size_t total = 0;
    for (size_t i = 0; i < n; i++)
        total += qelXmlEscapeWidths.width[u[i]];
    return total;
}

// Writes the escaped form of the n bytes at s (an unchanged copy when
// `special` is false); returns the end of what was written.
inline char* qelXmlEscapeInto(char* out, const char* s, size_t n, bool special)
{
    if (!special) {
        memcpy(out, s, n);
        return out + n;
    }
    const unsigned char* u = reinterpret_cast<const unsigned char*>(s);
    for (size_t i = 0; i < n; i++) {
        const unsigned char c = u[i];
        switch (c) {
        case '"':
            memcpy(out, "&quot;", 6);
            out += 6;
            break;
        case '&':
            memcpy(out, "&amp;", 5);
            out += 5;
            break;
        case '<':
            memcpy(out, "&lt;", 4);
            out += 4;
            break;
        case '>':
            memcpy(out, "&gt;", 4);
            out += 4;
            break;
        case '\t':
            memcpy(out, "&#9;", 4);
            out += 4;
            break;
        case '\n':
            memcpy(out, "&#10;", 5);
            out += 5;
            break;
        case '\r':
            memcpy(out, "&#13;", 5);
            out += 5;
            break;
        default:
            if (c >= 32)
                *out++ = static_cast<char>(c);
        }
    }
    return out;
}

#endif
