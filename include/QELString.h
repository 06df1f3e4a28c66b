// QELString: the string class of the library and its operations.
#ifndef QELSTRING_H
#define QELSTRING_H

#include <cstdlib>
#include <cstring>

#include "QELExport.h"
#include "QELTypes.h"

// The class invariant, over any string pointer expression `s`: an empty
// string has an empty buffer, a non-empty one never points at the shared
// empty buffer, and an owned block is strictly larger than the text.
// Meaningful only while the string is unlocked: the unsigned alloc is
// compared with the signed len on purpose, so that a locked string's negative
// len fails it (a -Wsign-compare warning wherever the macro is expanded).
// clang-format off
#define QEL_STRING_INVARIANT(s) ( ( ( ((s)->len==0) && ((s)->p[0]=='\0') ) || ( ((s)->len>0) && ((s)->p!=QELString::emptyPtr) ) ) && ( ((s)->alloc==0) || ((s)->alloc>(s)->len) ) )
// clang-format on

// A NUL-terminated 8-bit (UTF-8 by convention) string in one of three
// ownership states: shared empty (p == emptyPtr, alloc 0), owning a heap
// block of exactly alloc bytes (alloc > len), or wrapping a buffer that
// belongs to someone else (alloc 0); every mutation first copies a wrapped
// buffer. While locked for direct writing, len holds minus the lock depth.
// Deliberately odd: the UTF-16 cache (wbuf) is not freed by the destructor.
class QEL_API QELString {
public:
    char* p;
    int len;
    unsigned int alloc;
    unsigned short* wbuf;

    // The one-byte terminator buffer shared by every empty string.
    static QEL_DATA char* emptyPtr;

    QELString() : p(emptyPtr), len(0), alloc(0), wbuf(NULL) { }
    QELString(const char* s, int n = -1);
    QELString(const uchar* s, int n = -1);
    QELString(const QELString& s);
    // Always a 2-byte block, even for '\0' (length 1, visible text empty).
    QELString(char c);
    QELString(int v);
    QELString(long v);
    // Checks the invariant (a string left locked aborts here), then frees an
    // owned block. Deliberately leaves wbuf alone: the UTF-16 cache leaks.
    ~QELString();

    void init(const char* s, int n);
    void init(const uchar* s, int n);

    void operator=(const QELString& s);
    const QELString& operator+=(const QELString& right);

    QELString& append(const char* s, int n = -1);
    QELString& append(char c);
    QELString& append(char c, int count);
    QELString& add(const QELString* const* list);
    QELString& add(const QELString* first, ...);
    QELString& add(const char* const* list);
    QELString& add(const char* first, ...);

    void empty();
    unsigned int resize(unsigned int n);
    // Direct write access to at most alloc - 1 characters plus a terminator,
    // valid until the matching unlock().
    char* lock();
    bool isLocked() const { return len < 0; }
    bool unlock(bool recompute = false);
    // The wrapped buffer must outlive this string or its next mutation.
    void wrap(const QELString& s);
    void wrap(const char* s);
    bool unwrap(unsigned int extra);
    unsigned int hashCode() const;

    QELString mid(unsigned int start, unsigned int count) const;
    QELString mid(unsigned int start) const;
    QELString left(unsigned int n) const;
    QELString right(unsigned int n) const;
    QELString& toLower();
    QELString& toUpper();
    QELString& toAscii();
    QELString& reverse();
    QELString escapeChars() const;
    QELString escapeChar(char c, char esc, bool escapeEsc) const;
    QELString unescapeChar(char esc) const;
    QELString trim() const;
    QELString trimSpaces() const;
    // UTF-16 rendering, owned by the string and valid until the next call.
    const unsigned short* wchars();

    int length() const { return len; }
    const char* chars() const { return p; }
    operator const char*() const { return p; }
    bool isEmpty() const { return len == 0; }
    int compare(const QELString& s) const { return strcmp(p, s.p); }
    bool operator==(const QELString& s) const { return strcmp(p, s.p) == 0; }
    bool operator!=(const QELString& s) const { return strcmp(p, s.p) != 0; }
    bool operator==(const char* s) const { return strcmp(p, s) == 0; }
    bool operator!=(const char* s) const { return strcmp(p, s) != 0; }
};

QEL_API QELString operator+(const QELString& s1, const QELString& s2);

QEL_API unsigned int stringHashCode(const char* s);

// The shared empty string, built when the library is loaded.
extern QEL_DATA QELString emptyString;

// The function-local static empty string that empty results are copied from.
QEL_API QELString& getEmptyTString();

#endif
