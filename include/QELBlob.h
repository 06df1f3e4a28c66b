// QELBlob: counted byte buffers (general, owning and temporary blobs).
#ifndef QELBLOB_H
#define QELBLOB_H

#include <cstddef>

#include "QELExport.h"

// The class invariant, over any blob pointer expression `b`: either the
// canonical empty blob (size 0, null p, not owned) or any non-null buffer
// (owned or wrapped, possibly of size 0).
// clang-format off
#define QEL_BLOB_INVARIANT(b) ( ( ( ((b)->size==0) && ((b)->p==NULL) && ((b)->isWrap==true) ) || ( ((b)->p!=NULL) ) ) )
// clang-format on

class QELBlob;
class QELTBlob;

// The shared representation of every blob: size bytes at p, no terminator.
// isWrap true means p is not owned (a caller's buffer, a buffer already
// handed on, or the canonical empty blob) and is never written or freed;
// false means p is a malloc block of exactly size bytes owned by the blob.
// Only QELBlob and QELTBlob objects exist; they add no fields.
class QEL_API QELGBlob {
public:
    char* p;
    unsigned int size;
    bool isWrap;

    // h = h * 31 + signed byte over the bytes, plus size; 0 for empty.
    unsigned int hashCode() const;

    // Appends every blob of the null-terminated list in order with at most
    // one (re)allocation; an empty list or empty elements change nothing.
    QELGBlob& add(const QELGBlob* const* list);
    // The arguments from first on form the list; end it with a null pointer.
    QELGBlob& add(const QELGBlob* first, ...);
    // Same with NUL-terminated strings (their strlen bytes, no terminator).
    QELGBlob& add(const char* const* list);
    QELGBlob& add(const char* first, ...);

    // Frees an owned buffer and becomes the canonical empty blob.
    void empty();
    // Sizes the buffer to n bytes (0 empties); a wrapped buffer is copied
    // into an owned block. New bytes are uninitialised. Returns n.
    unsigned int setSize(unsigned int n);

    // Empty when start >= size or count is 0. Deliberately keeps size count
    // even when fewer bytes are available (the tail is uninitialised).
    QELTBlob mid(unsigned int start, unsigned int count) const;
    // The trailing bytes from start; empty when start >= size.
    QELTBlob mid(unsigned int start) const;
    // n bytes holding the first min(n, size); empty when n is 0.
    QELTBlob left(unsigned int n) const;
    // n bytes holding the last min(n, size) at their start; empty for 0.
    QELTBlob right(unsigned int n) const;

    // Reverses the bytes in place. Deliberately, a wrapped blob gets a new
    // block that it keeps marked as wrapped, so the blob never frees it.
    QELGBlob& reverse();

    // Views b's buffer (after freeing an owned one); b must outlive the view.
    void wrap(const QELGBlob& b);
    // Views n bytes at data (size 0 for null data); data must outlive it.
    void wrap(const char* data, unsigned int n);
    // Copies a wrapped buffer into an owned block. Returns false when the
    // buffer is already owned or p is null; a wrapped size-0 buffer becomes
    // the canonical empty blob.
    bool unwrap();

protected:
    QELGBlob() : p(NULL), size(0), isWrap(true) { }
    ~QELGBlob() { }
};

// The owning blob value. Copies are deep; initialising or assigning from a
// QELTBlob takes over its buffer instead of copying it.
class QEL_API QELBlob : public QELGBlob {
public:
    using QELGBlob::add;

    // n uninitialised owned bytes; 0 gives the canonical empty blob.
    QELBlob(unsigned int n = 0);
    // The strlen(s) bytes of s; null or "" gives the empty blob.
    QELBlob(const char* s);
    // n bytes copied from data, left uninitialised when data is null.
    QELBlob(const char* data, unsigned int n);
    // n bytes all equal to c.
    QELBlob(char c, unsigned int n);
    QELBlob(const QELBlob& s);
    // n bytes holding the first min(n, s.size) bytes of s.
    QELBlob(const QELBlob& s, unsigned int n);
    // Takes over t's buffer when t owns it (t becomes a view), else copies.
    QELBlob(const QELTBlob& t);
    ~QELBlob();

    QELBlob& operator=(const QELBlob& s);
    QELBlob& operator=(const char* s);
    // Takes over t's buffer when t owns it (t becomes a view), else copies.
    QELBlob& operator=(const QELTBlob& t);

    QELBlob& operator+=(const QELBlob& right);
    QELBlob& operator+=(const char* s);
    // Into an empty blob this takes over t's buffer and ownership state.
    QELBlob& operator+=(const QELTBlob& t);

    // Appends n bytes from data; nothing for null data or n <= 0.
    void add(void* data, int n);
    // The same for a char buffer (which would otherwise be ambiguous with
    // the variadic string form).
    void add(char* data, int n) { add(static_cast<void*>(data), n); }
};

// The temporary blob that every blob-producing operation returns. Copying
// or assigning from a QELTBlob moves the buffer: the receiver takes p, size
// and ownership, the (const) source stays a valid non-owning view of the
// same bytes. The operator+ overloads on a QELTBlob append into its buffer.
class QEL_API QELTBlob : public QELGBlob {
public:
    QELTBlob(unsigned int n = 0);
    QELTBlob(const QELTBlob& t);
    ~QELTBlob();

    // Becomes a non-owning view of s.
    QELTBlob& operator=(const QELBlob& s);
    // Takes over t's buffer as the copy constructor does.
    QELTBlob& operator=(const QELTBlob& t);
    // Becomes a non-owning view of the strlen(s) bytes of s.
    QELTBlob& operator=(const char* s);

    QELTBlob& operator+=(const QELGBlob& right);
    QELTBlob& operator+=(const char* s);
};

// The canonical empty temporary that empty results are taken from. It owns
// nothing, so taking it over leaves it unchanged; never change it.
extern QEL_DATA QELTBlob emptyTBlob;

// hashCode() over n bytes at p; equal to the string hash of the same bytes.
QEL_API unsigned int blobHashCode(const char* p, unsigned int n);

// New owned blobs of exactly the total size; empty when the total is 0.
QEL_API QELTBlob operator+(const QELBlob& s1, const QELBlob& s2);
QEL_API QELTBlob operator+(const QELBlob& s1, const char* s2);
QEL_API QELTBlob operator+(const char* s1, const QELBlob& s2);
// These append into the temporary s1 and hand its buffer on.
QEL_API QELTBlob operator+(const QELTBlob& s1, const QELBlob& s2);
QEL_API QELTBlob operator+(const QELTBlob& s1, const QELTBlob& s2);
QEL_API QELTBlob operator+(const QELTBlob& s1, const char* s2);
// Deliberately appends s1's bytes after s2's, like the overload above.
QEL_API QELTBlob operator+(const char* s1, const QELTBlob& s2);
// Puts s1's bytes in front of the temporary s2's and hands its buffer on.
QEL_API QELTBlob operator+(const QELBlob& s1, const QELTBlob& s2);

#endif
