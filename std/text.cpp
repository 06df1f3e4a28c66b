// text: XML escaping and the binarySearch family.
#include "QELText.h"

#include <cstdlib>
#include <cstring>

#include "QELAssert.h"
#include "QELXmlEscape.h"

QEL_SOURCE_FILE("text.cpp");

// ---------------------------------------------------------------------------
// XML escaping

// Returns a copy of `s` when nothing needs an entity; otherwise a string that
// owns exactly its escaped text. The text ends at its first NUL.
QELString escapeXMLString(const QELString& s)
{
    QEL_OPERATION("QELString escapeXMLString(const QELString&)");
    QEL_ASSERT(QEL_STRING_INVARIANT(&s));
    const size_t n = strlen(s.p);
    bool special = false, nul = false;
    const size_t total = qelXmlEscapedLength(s.p, n, special, nul);
    QELString t; // one named result
    if (!special) {
        t = s;
        return t;
    }
    t.resize(static_cast<unsigned int>(total));
    char* end = qelXmlEscapeInto(t.lock(), s.p, n, true);
    *end = '\0';
    t.unlock(false);
    return t;
}

// ---------------------------------------------------------------------------
// Binary search: lo = 0, hi = n - 1, mid = (lo + hi) / 2 until lo passes hi.

template <class T> static inline int qelBinarySearch(const T* array, int n, T key)
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

int binarySearch(const unsigned char* array, int n, unsigned char key)
{
    return qelBinarySearch(array, n, key);
}
int binarySearch(const signed char* array, int n, signed char key)
{
    return qelBinarySearch(array, n, key);
}
int binarySearch(const unsigned short* array, int n, unsigned short key)
{
    return qelBinarySearch(array, n, key);
}
int binarySearch(const short* array, int n, short key)
{
    return qelBinarySearch(array, n, key);
}
int binarySearch(const unsigned int* array, int n, unsigned int key)
{
    return qelBinarySearch(array, n, key);
}
int binarySearch(const int* array, int n, int key)
{
    return qelBinarySearch(array, n, key);
}
int binarySearch(const float* array, int n, float key)
{
    return qelBinarySearch(array, n, key);
}
int binarySearch(const double* array, int n, double key)
{
    return qelBinarySearch(array, n, key);
}

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
