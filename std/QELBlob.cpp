// QELBlob: counted byte buffers, their temporaries and concatenation.
#include "QELBlob.h"
#include "QELMemory.h"
#include "QELStartup.h"
#include "QELVariadicList.h"

#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "QELAssert.h"

QEL_SOURCE_FILE("QELBlob.cpp");

// The canonical empty temporary; it owns nothing and is never changed.
QEL_BUILT_AT(QEL_STAGE_VALUES) QELTBlob emptyTBlob;

// --- Internal byte helpers (no invariant checks: the operations do them) ---

// memcpy that accepts a null pointer when there is nothing to copy.
static inline void copyBytes(char* dst, const char* src, unsigned int n)
{
    if (n != 0)
        memcpy(dst, src, n);
}

// If src points into the n bytes at base, returns its offset there, else -1.
static inline long offsetIn(const char* src, const char* base, unsigned int n)
{
    if (src == NULL || base == NULL)
        return -1;
    uintptr_t s = reinterpret_cast<uintptr_t>(src);
    uintptr_t b = reinterpret_cast<uintptr_t>(base);
    return (s >= b && s < b + n) ? static_cast<long>(s - b) : -1;
}

// Makes b own exactly total bytes, keeping its first min(size, total) bytes:
// a wrapped buffer is copied into a new block, an owned one is realloc'ed.
static void growOwned(QELGBlob* b, unsigned int total)
{
    if (b->isWrap) {
        char* np = static_cast<char*>(qelAllocate(total));
        copyBytes(np, b->p, b->size < total ? b->size : total);
        b->p = np;
    } else {
        b->p = static_cast<char*>(qelReallocate(b->p, total));
    }
    b->size = total;
    b->isWrap = false;
}

// Appends n bytes from data to b (nothing for n == 0). Data that lies in b's
// own buffer (appending a blob to itself) is read from its new place.
static void appendBytes(QELGBlob* b, const char* data, unsigned int n)
{
    if (n == 0)
        return;
    unsigned int old = b->size;
    // Only an owned block can move under realloc; a wrapped one stays put.
    long off = b->isWrap ? -1 : offsetIn(data, b->p, old);
    growOwned(b, old + n);
    if (off >= 0)
        data = b->p + off;
    memcpy(b->p + old, data, n);
}

// Takes over src: copies its fields, then src no longer owns the buffer.
static inline void takeOver(QELGBlob* dst, const QELGBlob& src)
{
    QELGBlob& s = const_cast<QELGBlob&>(src);
    dst->p = s.p;
    dst->size = s.size;
    dst->isWrap = s.isWrap;
    s.isWrap = true;
}

// Copies n bytes from data into b's own block (sized exactly), as the
// assignments do; n == 0 empties b.
static void assignBytes(QELGBlob* b, const char* data, unsigned int n)
{
    if (n == 0) {
        if (!b->isWrap)
            free(b->p);
        b->p = NULL;
        b->size = 0;
        b->isWrap = true;
        return;
    }
    if (b->isWrap) {
        b->p = static_cast<char*>(qelAllocate(n));
        memcpy(b->p, data, n);
    } else {
        if (b->size != n)
            b->p = static_cast<char*>(qelReallocate(b->p, n));
        memmove(b->p, data, n);
    }
    b->size = n;
    b->isWrap = false;
}

// --- Hashing ---

// Each byte (taken as signed) is added to the hash so far times this.
static const unsigned int HASH_MULTIPLIER = 31;

unsigned int blobHashCode(const char* p, unsigned int n)
{
    unsigned int h = 0;
    for (unsigned int i = 0; i < n; i++)
        h = h * HASH_MULTIPLIER + static_cast<unsigned int>(static_cast<int>(static_cast<signed char>(p[i])));
    return h + n;
}

unsigned int QELGBlob::hashCode() const
{
    QEL_OPERATION("unsigned int QELGBlob::hashCode() const");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return blobHashCode(p, size);
}

// --- QELGBlob ---

QELGBlob& QELGBlob::add(const QELGBlob* const* list)
{
    QEL_OPERATION("QELGBlob& QELGBlob::add(const QELGBlob* const*)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    unsigned int total = size;
    if (list != NULL) {
        for (const QELGBlob* const* s = list; *s != NULL; ++s) {
            QEL_ASSERT(QEL_BLOB_INVARIANT(*s));
            total += (*s)->size;
        }
    }
    if (total > size) {
        char* old = isWrap ? NULL : p; // only an owned block can move
        unsigned int oldSize = size;
        growOwned(this, total);
        unsigned int at = oldSize;
        for (const QELGBlob* const* s = list; *s != NULL; ++s) {
            // This blob itself in the list contributes its old bytes.
            unsigned int n = *s == this ? oldSize : (*s)->size;
            if (n == 0)
                continue;
            // An element viewing this blob's old bytes reads them in place.
            long off = offsetIn((*s)->p, old, oldSize);
            const char* src = off >= 0 ? p + off : (*s)->p;
            memcpy(p + at, src, n);
            at += n;
        }
    }
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return *this;
}

QELGBlob& QELGBlob::add(const QELGBlob* first, ...)
{
    va_list ap;
    va_start(ap, first);
    QELVariadicList<const QELGBlob*> list(first, ap);
    va_end(ap);
    return add(list.get());
}

QELGBlob& QELGBlob::add(const char* const* list)
{
    QEL_OPERATION("QELGBlob& QELGBlob::add(const char* const*)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    unsigned int total = size;
    if (list != NULL) {
        for (const char* const* s = list; *s != NULL; ++s)
            total += static_cast<unsigned int>(strlen(*s));
    }
    if (total > size) {
        char* old = isWrap ? NULL : p; // only an owned block can move
        unsigned int oldSize = size;
        growOwned(this, total);
        unsigned int at = oldSize;
        for (const char* const* s = list; *s != NULL; ++s) {
            // A text inside the old block is measured and copied where the
            // block now lies: the old one has been freed. Its terminator lies
            // in the old block's bytes, which kept their place at the front.
            long off = offsetIn(*s, old, oldSize);
            const char* src = off >= 0 ? p + off : *s;
            unsigned int n = static_cast<unsigned int>(off >= 0 ? strnlen(src, oldSize - static_cast<unsigned int>(off))
                                                                : strlen(src));
            memcpy(p + at, src, n);
            at += n;
        }
    }
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return *this;
}

QELGBlob& QELGBlob::add(const char* first, ...)
{
    va_list ap;
    va_start(ap, first);
    QELVariadicList<const char*> list(first, ap);
    va_end(ap);
    return add(list.get());
}

void QELGBlob::empty()
{
    QEL_OPERATION("void QELGBlob::empty()");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    if (!isWrap)
        free(p);
    p = NULL;
    size = 0;
    isWrap = true;
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
}

unsigned int QELGBlob::setSize(unsigned int n)
{
    QEL_OPERATION("unsigned int QELGBlob::setSize(unsigned int)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    if (n == 0) {
        if (!isWrap)
            free(p);
        p = NULL;
        size = 0;
        isWrap = true;
    } else if (!isWrap) {
        if (size != n) {
            p = static_cast<char*>(qelReallocate(p, n));
            size = n;
        }
    } else {
        // A wrapped buffer is never written: copy what fits into a new block.
        growOwned(this, n);
    }
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return n;
}

QELTBlob QELGBlob::mid(unsigned int start, unsigned int count) const
{
    QEL_OPERATION("QELTBlob QELGBlob::mid(unsigned int, unsigned int) const");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    if (start >= size || count == 0)
        return QELTBlob(emptyTBlob);
    QELTBlob t(count);
    unsigned int n = size - start;
    memcpy(t.p, p + start, n < count ? n : count);
    QEL_ASSERT(QEL_BLOB_INVARIANT(&t));
    return t;
}

QELTBlob QELGBlob::mid(unsigned int start) const
{
    QEL_OPERATION("QELTBlob QELGBlob::mid(unsigned int) const");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    if (start >= size)
        return QELTBlob(emptyTBlob);
    QELTBlob t(size - start);
    memcpy(t.p, p + start, size - start);
    QEL_ASSERT(QEL_BLOB_INVARIANT(&t));
    return t;
}

QELTBlob QELGBlob::left(unsigned int n) const
{
    QEL_OPERATION("QELTBlob QELGBlob::left(unsigned int) const");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    if (n == 0)
        return QELTBlob(emptyTBlob);
    QELTBlob t(n);
    copyBytes(t.p, p, n < size ? n : size);
    QEL_ASSERT(QEL_BLOB_INVARIANT(&t));
    return t;
}

QELTBlob QELGBlob::right(unsigned int n) const
{
    QEL_OPERATION("QELTBlob QELGBlob::right(unsigned int) const");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    if (n == 0)
        return QELTBlob(emptyTBlob);
    QELTBlob t(n);
    unsigned int m = n < size ? n : size;
    copyBytes(t.p, p + (size - m), m);
    QEL_ASSERT(QEL_BLOB_INVARIANT(&t));
    return t;
}

QELGBlob& QELGBlob::reverse()
{
    QEL_OPERATION("QELGBlob& QELGBlob::reverse()");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    if (size == 0)
        return *this;
    if (!isWrap) {
        for (unsigned int i = 0, j = size - 1; i < j; i++, j--) {
            char c = p[i];
            p[i] = p[j];
            p[j] = c;
        }
    } else {
        // Deliberate: the new block stays marked as
        // wrapped, so this blob never frees it.
        char* np = static_cast<char*>(qelAllocate(size));
        for (unsigned int i = 0; i < size; i++)
            np[i] = p[size - 1 - i];
        p = np;
    }
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return *this;
}

void QELGBlob::wrap(const QELGBlob& s)
{
    QEL_OPERATION("void QELGBlob::wrap(const QELGBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s));
    // Wrapping one's own buffer changes nothing (and must not free it).
    if (s.p == p)
        return;
    if (!isWrap)
        free(p);
    p = s.p;
    size = s.p != NULL ? s.size : 0;
    isWrap = true;
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
}

void QELGBlob::wrap(const char* data, unsigned int n)
{
    QEL_OPERATION("void QELGBlob::wrap(const char*, unsigned int)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    // Re-wrapping an owned buffer would free it under the view: no change.
    if (!isWrap && data == p)
        return;
    if (!isWrap)
        free(p);
    p = const_cast<char*>(data);
    size = data != NULL ? n : 0;
    isWrap = true;
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
}

bool QELGBlob::unwrap()
{
    QEL_OPERATION("bool QELGBlob::unwrap()");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    if (!isWrap || p == NULL)
        return false;
    if (size > 0) {
        char* np = static_cast<char*>(qelAllocate(size));
        memcpy(np, p, size);
        p = np;
        isWrap = false;
    } else {
        p = NULL;
    }
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return true;
}

// --- QELBlob ---

QELBlob::QELBlob(unsigned int n)
{
    QEL_OPERATION("QELBlob::QELBlob(unsigned int)");
    if (n != 0) {
        p = static_cast<char*>(qelAllocate(n));
        size = n;
        isWrap = false;
    }
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
}

QELBlob::QELBlob(const char* s)
{
    QEL_OPERATION("QELBlob::QELBlob(const char*)");
    if (s != NULL && *s != '\0') {
        size = static_cast<unsigned int>(strlen(s));
        p = static_cast<char*>(qelAllocate(size));
        memcpy(p, s, size);
        isWrap = false;
    }
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
}

QELBlob::QELBlob(const char* data, unsigned int n)
{
    QEL_OPERATION("QELBlob::QELBlob(const char*, unsigned int)");
    if (n != 0) {
        p = static_cast<char*>(qelAllocate(n));
        if (data != NULL)
            memcpy(p, data, n);
        size = n;
        isWrap = false;
    }
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
}

QELBlob::QELBlob(char c, unsigned int n)
{
    QEL_OPERATION("QELBlob::QELBlob(char, unsigned int)");
    if (n != 0) {
        p = static_cast<char*>(qelAllocate(n));
        memset(p, c, n);
        size = n;
        isWrap = false;
    }
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
}

QELBlob::QELBlob(const QELBlob& s) : QELGBlob()
{
    QEL_OPERATION("QELBlob::QELBlob(const QELBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s));
    if (s.size != 0) {
        p = static_cast<char*>(qelAllocate(s.size));
        memcpy(p, s.p, s.size);
        size = s.size;
        isWrap = false;
    }
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
}

QELBlob::QELBlob(const QELBlob& s, unsigned int n) : QELGBlob()
{
    QEL_OPERATION("QELBlob::QELBlob(const QELBlob&, unsigned int)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s));
    if (n != 0) {
        p = static_cast<char*>(qelAllocate(n));
        copyBytes(p, s.p, n < s.size ? n : s.size);
        size = n;
        isWrap = false;
    }
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
}

QELBlob::QELBlob(const QELTBlob& t) : QELGBlob()
{
    QEL_OPERATION("QELBlob::QELBlob(const QELTBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(&t));
    if (!t.isWrap) {
        takeOver(this, t);
    } else if (t.size != 0) {
        p = static_cast<char*>(qelAllocate(t.size));
        memcpy(p, t.p, t.size);
        size = t.size;
        isWrap = false;
    }
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
}

QELBlob::~QELBlob()
{
    QEL_OPERATION("QELBlob::~QELBlob()");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    if (!isWrap)
        free(p);
}

QELBlob& QELBlob::operator=(const QELBlob& s)
{
    QEL_OPERATION("QELBlob& QELBlob::operator=(const QELBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s));
    if (p == s.p)
        return *this;
    assignBytes(this, s.p, s.size);
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return *this;
}

QELBlob& QELBlob::operator=(const char* s)
{
    QEL_OPERATION("QELBlob& QELBlob::operator=(const char*)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    assignBytes(this, s, s != NULL ? static_cast<unsigned int>(strlen(s)) : 0);
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return *this;
}

QELBlob& QELBlob::operator=(const QELTBlob& t)
{
    QEL_OPERATION("QELBlob& QELBlob::operator=(const QELTBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    QEL_ASSERT(QEL_BLOB_INVARIANT(&t));
    if (t.size == 0) {
        assignBytes(this, NULL, 0);
    } else if (!t.isWrap) {
        if (!isWrap)
            free(p);
        takeOver(this, t);
    } else if (p != t.p) {
        assignBytes(this, t.p, t.size);
    }
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return *this;
}

QELBlob& QELBlob::operator+=(const QELBlob& right)
{
    QEL_OPERATION("QELBlob& QELBlob::operator+=(const QELBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    QEL_ASSERT(QEL_BLOB_INVARIANT(&right));
    appendBytes(this, right.p, right.size);
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return *this;
}

QELBlob& QELBlob::operator+=(const char* s)
{
    QEL_OPERATION("QELBlob& QELBlob::operator+=(const char*)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    if (s != NULL)
        appendBytes(this, s, static_cast<unsigned int>(strlen(s)));
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return *this;
}

QELBlob& QELBlob::operator+=(const QELTBlob& t)
{
    QEL_OPERATION("QELBlob& QELBlob::operator+=(const QELTBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    QEL_ASSERT(QEL_BLOB_INVARIANT(&t));
    if (t.size != 0) {
        if (size == 0) {
            if (!isWrap)
                free(p);
            takeOver(this, t);
        } else {
            appendBytes(this, t.p, t.size);
        }
    }
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return *this;
}

void QELBlob::add(void* data, int n)
{
    QEL_OPERATION("void QELBlob::add(void*, int)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    if (data != NULL && n > 0)
        appendBytes(this, static_cast<const char*>(data), static_cast<unsigned int>(n));
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
}

// --- QELTBlob ---

QELTBlob::QELTBlob(unsigned int n)
{
    QEL_OPERATION("QELTBlob::QELTBlob(unsigned int)");
    if (n != 0) {
        p = static_cast<char*>(qelAllocate(n));
        size = n;
        isWrap = false;
    }
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
}

QELTBlob::QELTBlob(const QELTBlob& t) : QELGBlob()
{
    QEL_OPERATION("QELTBlob::QELTBlob(const QELTBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(&t));
    takeOver(this, t);
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
}

QELTBlob::~QELTBlob()
{
    QEL_OPERATION("QELTBlob::~QELTBlob()");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    if (!isWrap)
        free(p);
}

QELTBlob& QELTBlob::operator=(const QELBlob& s)
{
    QEL_OPERATION("QELTBlob& QELTBlob::operator=(const QELBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s));
    if (!isWrap && p != s.p)
        free(p);
    p = s.p;
    size = s.size;
    isWrap = true;
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return *this;
}

QELTBlob& QELTBlob::operator=(const QELTBlob& t)
{
    QEL_OPERATION("QELTBlob& QELTBlob::operator=(const QELTBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    QEL_ASSERT(QEL_BLOB_INVARIANT(&t));
    if (&t == this)
        return *this;
    if (!isWrap && p != t.p)
        free(p);
    takeOver(this, t);
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return *this;
}

QELTBlob& QELTBlob::operator=(const char* s)
{
    QEL_OPERATION("QELTBlob& QELTBlob::operator=(const char*)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    if (!isWrap)
        free(p);
    p = const_cast<char*>(s);
    size = s != NULL ? static_cast<unsigned int>(strlen(s)) : 0;
    isWrap = true;
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return *this;
}

QELTBlob& QELTBlob::operator+=(const QELGBlob& right)
{
    QEL_OPERATION("QELTBlob& QELTBlob::operator+=(const QELGBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    QEL_ASSERT(QEL_BLOB_INVARIANT(&right));
    appendBytes(this, right.p, right.size);
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return *this;
}

QELTBlob& QELTBlob::operator+=(const char* s)
{
    QEL_OPERATION("QELTBlob& QELTBlob::operator+=(const char*)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    if (s != NULL)
        appendBytes(this, s, static_cast<unsigned int>(strlen(s)));
    QEL_ASSERT(QEL_BLOB_INVARIANT(this));
    return *this;
}

// --- Concatenation ---

QELTBlob operator+(const QELBlob& s1, const QELBlob& s2)
{
    QEL_OPERATION("QELTBlob operator+(const QELBlob&, const QELBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s1));
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s2));
    unsigned int total = s1.size + s2.size;
    if (total == 0)
        return QELTBlob(emptyTBlob);
    QELTBlob t(total);
    copyBytes(t.p, s1.p, s1.size);
    copyBytes(t.p + s1.size, s2.p, s2.size);
    QEL_ASSERT(QEL_BLOB_INVARIANT(&t));
    return t;
}

QELTBlob operator+(const QELBlob& s1, const char* s2)
{
    QEL_OPERATION("QELTBlob operator+(const QELBlob&, const char*)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s1));
    unsigned int n = s2 != NULL ? static_cast<unsigned int>(strlen(s2)) : 0;
    unsigned int total = s1.size + n;
    if (total == 0)
        return QELTBlob(emptyTBlob);
    QELTBlob t(total);
    copyBytes(t.p, s1.p, s1.size);
    copyBytes(t.p + s1.size, s2, n);
    QEL_ASSERT(QEL_BLOB_INVARIANT(&t));
    return t;
}

QELTBlob operator+(const char* s1, const QELBlob& s2)
{
    QEL_OPERATION("QELTBlob operator+(const char*, const QELBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s2));
    unsigned int n = s1 != NULL ? static_cast<unsigned int>(strlen(s1)) : 0;
    unsigned int total = n + s2.size;
    if (total == 0)
        return QELTBlob(emptyTBlob);
    QELTBlob t(total);
    copyBytes(t.p, s1, n);
    copyBytes(t.p + n, s2.p, s2.size);
    QEL_ASSERT(QEL_BLOB_INVARIANT(&t));
    return t;
}

QELTBlob operator+(const QELTBlob& s1, const QELBlob& s2)
{
    QEL_OPERATION("QELTBlob operator+(const QELTBlob&, const QELBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s1));
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s2));
    // The temporary is grown in place and then handed on.
    QELTBlob& t = const_cast<QELTBlob&>(s1);
    appendBytes(&t, s2.p, s2.size);
    QELTBlob r(t);
    QEL_ASSERT(QEL_BLOB_INVARIANT(&r));
    return r;
}

QELTBlob operator+(const QELTBlob& s1, const QELTBlob& s2)
{
    QEL_OPERATION("QELTBlob operator+(const QELTBlob&, const QELTBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s1));
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s2));
    QELTBlob& t = const_cast<QELTBlob&>(s1);
    appendBytes(&t, s2.p, s2.size);
    QELTBlob r(t);
    QEL_ASSERT(QEL_BLOB_INVARIANT(&r));
    return r;
}

QELTBlob operator+(const QELTBlob& s1, const char* s2)
{
    QEL_OPERATION("QELTBlob operator+(const QELTBlob&, const char*)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s1));
    QELTBlob& t = const_cast<QELTBlob&>(s1);
    if (s2 != NULL)
        appendBytes(&t, s2, static_cast<unsigned int>(strlen(s2)));
    QELTBlob r(t);
    QEL_ASSERT(QEL_BLOB_INVARIANT(&r));
    return r;
}

QELTBlob operator+(const char* s1, const QELTBlob& s2)
{
    QEL_OPERATION("QELTBlob operator+(const char*, const QELTBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s2));
    // Deliberate: s1 goes after the temporary's bytes.
    QELTBlob& t = const_cast<QELTBlob&>(s2);
    if (s1 != NULL)
        appendBytes(&t, s1, static_cast<unsigned int>(strlen(s1)));
    QELTBlob r(t);
    QEL_ASSERT(QEL_BLOB_INVARIANT(&r));
    return r;
}

QELTBlob operator+(const QELBlob& s1, const QELTBlob& s2)
{
    QEL_OPERATION("QELTBlob operator+(const QELBlob&, const QELTBlob&)");
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s1));
    QEL_ASSERT(QEL_BLOB_INVARIANT(&s2));
    QELTBlob& t = const_cast<QELTBlob&>(s2);
    if (s1.size != 0) {
        unsigned int n = s1.size;
        unsigned int old = t.size;
        // s1 may view the temporary's own bytes: find them after the move.
        long off = t.isWrap ? -1 : offsetIn(s1.p, t.p, old);
        if (!t.isWrap) {
            t.p = static_cast<char*>(qelReallocate(t.p, n + old));
            memmove(t.p + n, t.p, old);
        } else {
            char* np = static_cast<char*>(qelAllocate(n + old));
            copyBytes(np + n, t.p, old);
            t.p = np;
        }
        const char* src = off >= 0 ? t.p + n + off : s1.p;
        memmove(t.p, src, n);
        t.size = n + old;
        t.isWrap = false;
    }
    QELTBlob r(t);
    QEL_ASSERT(QEL_BLOB_INVARIANT(&r));
    return r;
}
