// text: XML escaping and the binarySearch family.
#include "QELText.h"

#include <cstdlib>
#include <cstring>

#include "QELAssert.h"

QEL_SOURCE_FILE("text.cpp");

// ---------------------------------------------------------------------------
// XML escaping

// Output bytes of each input byte once escaping applies: entities for the
// seven special characters, 0 for the other control characters (dropped),
// 1 for everything else.
static unsigned char qelXmlWidth(unsigned char c)
{
    switch (c) {
    case '"': return 6;   // &quot;
    case '&': return 5;   // &amp;
    case '<': return 4;   // &lt;
    case '>': return 4;   // &gt;
    case '\t': return 4;  // &#9;
    case '\n': return 5;  // &#10;
    case '\r': return 5;  // &#13;
    default: return c < 32 ? 0 : 1;
    }
}

static inline bool qelXmlSpecial(unsigned char c)
{
    return c == '"' || c == '<' || c == '>' || c == '&' || c == '\t' || c == '\n' || c == '\r';
}

// Returns a copy of `s` when nothing needs an entity; otherwise a string that
// owns exactly its escaped text.
QELString escapeXMLString(const QELString& s)
{
    QEL_OPERATION("QELString escapeXMLString(const QELString&)");
    QEL_ASSERT(QEL_STRING_INVARIANT(&s));
    const unsigned char* b = reinterpret_cast<const unsigned char*>(s.p);
    size_t count = 0, total = 0;
    for (const unsigned char* q = b; *q != 0; q++) {
        count += qelXmlSpecial(*q);
        total += qelXmlWidth(*q);
    }
    QELString t;  // one named result
    if (count == 0) {
        t = s;
        return t;
    }
    // Sized for the escaped text exactly (within the count * 5 + len bound).
    t.resize(static_cast<unsigned int>(total));
    char* d = t.lock();
    for (const unsigned char* q = b; *q != 0; q++) {
        switch (*q) {
        case '"': memcpy(d, "&quot;", 6); d += 6; break;
        case '&': memcpy(d, "&amp;", 5); d += 5; break;
        case '<': memcpy(d, "&lt;", 4); d += 4; break;
        case '>': memcpy(d, "&gt;", 4); d += 4; break;
        case '\t': memcpy(d, "&#9;", 4); d += 4; break;
        case '\n': memcpy(d, "&#10;", 5); d += 5; break;
        case '\r': memcpy(d, "&#13;", 5); d += 5; break;
        default:
            if (*q >= 32)
                *d++ = static_cast<char>(*q);
            break;
        }
    }
    *d = '\0';
    t.unlock(false);
    return t;
}

// ---------------------------------------------------------------------------
// Binary search: lo = 0, hi = n - 1, mid = (lo + hi) / 2 until lo passes hi.

template <class T>
static inline int qelBinarySearch(const T* array, int n, T key)
{
    int lo = 0, hi = n - 1;
    while (lo <= hi) {
        int mid = (lo + hi) / 2;
        const T e = array[mid];
        if (e == key)
            return mid;
        if (e < key)
            lo = mid + 1;
        else
            hi = mid - 1;
    }
    return -1;
}

int binarySearch(const unsigned char* array, int n, unsigned char key) { return qelBinarySearch(array, n, key); }
int binarySearch(const signed char* array, int n, signed char key) { return qelBinarySearch(array, n, key); }
int binarySearch(const unsigned short* array, int n, unsigned short key) { return qelBinarySearch(array, n, key); }
int binarySearch(const short* array, int n, short key) { return qelBinarySearch(array, n, key); }
int binarySearch(const unsigned int* array, int n, unsigned int key) { return qelBinarySearch(array, n, key); }
int binarySearch(const int* array, int n, int key) { return qelBinarySearch(array, n, key); }
int binarySearch(const float* array, int n, float key) { return qelBinarySearch(array, n, key); }
int binarySearch(const double* array, int n, double key) { return qelBinarySearch(array, n, key); }

// Deliberately inverted: a negative strcmp(key, element) moves to the upper
// half, so the array must be in descending order.
int binarySearch(const char** array, int n, const QELString& key)
{
    int lo = 0, hi = n - 1;
    while (lo <= hi) {
        int mid = (lo + hi) / 2;
        const char* e = array[mid] != NULL ? array[mid] : "";
        int c = strcmp(key.p, e);
        if (c == 0)
            return mid;
        if (c < 0)
            lo = mid + 1;
        else
            hi = mid - 1;
    }
    return -1;
}
