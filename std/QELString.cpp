// QELString: construction, assignment, growth, lock/wrap, hashing and the
// derived substring, case, escape, trim and UTF-16 operations.
#include "QELString.h"
#include "QELMemory.h"
#include "QELStartup.h"
#include "QELVariadicList.h"

#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctype.h>

#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include "QELAssert.h"

QEL_SOURCE_FILE("QELString.cpp");

// The one-byte terminator shared by every empty string. Constant-initialised
// so that static initialisers of other files may build strings at any time.
static char qelEmptyBuffer[1] = { '\0' };
char* QELString::emptyPtr = qelEmptyBuffer;

// Built at load time, before every object that may use it.
QEL_BUILT_AT(QEL_STAGE_VALUES) QELString emptyString;

QELString& getEmptyTString()
{
    static QELString qelEmptyTString;
    return qelEmptyTString;
}

// ---------------------------------------------------------------------------
// File-local helpers. They never assert: each operation checks the invariant
// itself so that a report names that operation.

// Grows (or sizes) the block of `s` to exactly `size` bytes. An owned block is
// reallocated; a buffer that is not owned (emptyPtr or a wrapped one) is
// copied into a fresh block and left untouched.
static inline void resizeBlock(QELString& s, unsigned int size)
{
    if (s.alloc != 0) {
        s.p = static_cast<char*>(qelReallocate(s.p, size));
    } else {
        char* np = static_cast<char*>(qelAllocate(size));
        memcpy(np, s.p, s.len);
        np[s.len] = '\0';
        s.p = np;
    }
    s.alloc = size;
}

// Makes `t` (a freshly constructed empty string) own exactly n + 1 bytes,
// n > 0, holding the n bytes at `src` and a terminator.
static inline void fillExactly(QELString& t, const char* src, unsigned int n)
{
    t.p = static_cast<char*>(qelAllocate(n + 1));
    memcpy(t.p, src, n);
    t.p[n] = '\0';
    t.alloc = n + 1;
    t.len = static_cast<int>(n);
}

// The offset of `src` inside the owned block of `s`, or -1 when it lies
// elsewhere: a source inside the block moves with it when it is reallocated
// (appending a string to itself).
static inline ptrdiff_t offsetInBlock(const QELString& s, const char* src)
{
    uintptr_t a = reinterpret_cast<uintptr_t>(src);
    uintptr_t b = reinterpret_cast<uintptr_t>(s.p);
    if (s.alloc != 0 && a >= b && a < b + s.alloc)
        return static_cast<ptrdiff_t>(a - b);
    return -1;
}

// ---------------------------------------------------------------------------
// Construction and destruction.

QELString::QELString(const char* s, int n)
{
    wbuf = NULL;
    init(s, n);
}

QELString::QELString(const uchar* s, int n)
{
    wbuf = NULL;
    init(s, n);
}

QELString::QELString(const QELString& s)
{
    QEL_OPERATION("QELString::QELString(const QELString&)");
    wbuf = NULL;
    QEL_ASSERT(QEL_STRING_INVARIANT(&s));
    if (s.len == 0) {
        p = emptyPtr;
        len = 0;
        alloc = 0;
    } else {
        len = s.len;
        alloc = static_cast<unsigned int>(s.len) + 1;
        p = static_cast<char*>(qelAllocate(alloc));
        memcpy(p, s.p, s.len);
        p[s.len] = '\0';
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
}

QELString::QELString(char c)
{
    QEL_OPERATION("QELString::QELString(char)");
    wbuf = NULL;
    p = static_cast<char*>(qelAllocate(2));
    p[0] = c;
    p[1] = '\0';
    len = 1;
    alloc = 2;
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
}

// Blocks of the number constructors: the longest decimal text of the type
// ("-2147483648", "-9223372036854775808") and its NUL.
static const unsigned int INT_TEXT_BLOCK = 12;
static const unsigned int LONG_TEXT_BLOCK = 21;

QELString::QELString(int v)
{
    QEL_OPERATION("QELString::QELString(int)");
    wbuf = NULL;
    alloc = INT_TEXT_BLOCK;
    p = static_cast<char*>(qelAllocate(alloc));
    len = snprintf(p, alloc, "%d", v);
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
}

QELString::QELString(long v)
{
    QEL_OPERATION("QELString::QELString(long int)");
    wbuf = NULL;
    alloc = LONG_TEXT_BLOCK;
    p = static_cast<char*>(qelAllocate(alloc));
    len = snprintf(p, alloc, "%ld", v);
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
}

// A null `s` gives the empty string; a negative `n` takes strlen(s). An `n`
// that runs past a NUL of `s` is kept as the length (callers pass counts).
// Out of line so that the check is compiled into the library, whatever
// NDEBUG the including program defines.
QELString::~QELString()
{
    QEL_OPERATION("QELString::~QELString()");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    if (alloc != 0)
        free(p);
}

void QELString::init(const char* s, int n)
{
    QEL_OPERATION("void QELString::init(const char*, int)");
    size_t l;
    if (s == NULL)
        l = 0;
    else if (n < 0)
        l = strlen(s);
    else
        l = static_cast<size_t>(n);
    if (l == 0) {
        p = emptyPtr;
        len = 0;
        alloc = 0;
    } else {
        alloc = static_cast<unsigned int>(l) + 1;
        p = static_cast<char*>(qelAllocate(alloc));
        if (n < 0)
            memcpy(p, s, l);
        else
            strncpy(p, s, l);
        p[l] = '\0';
        len = static_cast<int>(l);
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
}

// UTF-16 to UTF-8 through ICU into a block of 4 bytes per unit plus one,
// which is kept at that size.
void QELString::init(const uchar* s, int n)
{
    QEL_OPERATION("void QELString::init(const uchar*, int)");
    int32_t l;
    if (s == NULL)
        l = 0;
    else if (n < 0)
        l = u_strlen(reinterpret_cast<const UChar*>(s));
    else
        l = n;
    if (l == 0) {
        p = emptyPtr;
        len = 0;
        alloc = 0;
    } else {
        icu::UnicodeString us(reinterpret_cast<const UChar*>(s), l);
        alloc = 4 * static_cast<unsigned int>(l) + 1;
        p = static_cast<char*>(qelAllocate(alloc));
        int32_t written = us.extract(0, us.length(), p, alloc, "utf-8");
        if (written < 0)
            written = 0;
        else if (static_cast<unsigned int>(written) >= alloc)
            written = static_cast<int32_t>(alloc) - 1;
        len = written;
        p[written] = '\0';
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
}

// ---------------------------------------------------------------------------
// Assignment and concatenation.

// No change at all when both already share one buffer; the block never shrinks.
void QELString::operator=(const QELString& s)
{
    QEL_OPERATION("void QELString::operator=(const QELString&)");
    QEL_ASSERT(QEL_STRING_INVARIANT(&s));
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    if (p == s.p)
        return;
    unsigned int n = static_cast<unsigned int>(s.len);
    if (n < alloc) {
        memmove(p, s.p, n);
        p[n] = '\0';
    } else if (n == 0) {
        p = emptyPtr;
    } else {
        if (alloc != 0)
            p = static_cast<char*>(qelReallocate(p, n + 1));
        else
            p = static_cast<char*>(qelAllocate(n + 1));
        memcpy(p, s.p, n);
        p[n] = '\0';
        alloc = n + 1;
    }
    len = s.len;
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
}

// An empty `right` changes nothing; otherwise grows to exactly the sum + 1.
const QELString& QELString::operator+=(const QELString& right)
{
    QEL_OPERATION("const QELString& QELString::operator+=(const QELString&)");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    QEL_ASSERT(QEL_STRING_INVARIANT(&right));
    if (right.len != 0) {
        unsigned int rlen = static_cast<unsigned int>(right.len);
        unsigned int needed = static_cast<unsigned int>(len) + rlen + 1;
        const char* src = right.p;
        if (needed > alloc) {
            // Appending itself, or a string wrapping this block.
            ptrdiff_t off = offsetInBlock(*this, src);
            resizeBlock(*this, needed);
            if (off >= 0)
                src = p + off;
        }
        memcpy(p + len, src, rlen);
        len += right.len;
        p[len] = '\0';
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    return *this;
}

// An empty total returns a string that owns nothing; otherwise the result
// owns exactly total + 1 bytes.
QELString operator+(const QELString& s1, const QELString& s2)
{
    QEL_OPERATION("QELString operator+(const QELString&, const QELString&)");
    QEL_ASSERT(QEL_STRING_INVARIANT(&s1));
    QEL_ASSERT(QEL_STRING_INVARIANT(&s2));
    unsigned int n1 = static_cast<unsigned int>(s1.len);
    unsigned int n2 = static_cast<unsigned int>(s2.len);
    unsigned int total = n1 + n2;
    QELString t; // as empty as getEmptyTString(); one named result for NRVO
    if (total != 0) {
        t.p = static_cast<char*>(qelAllocate(total + 1));
        t.alloc = total + 1;
        memcpy(t.p, s1.p, n1);
        memcpy(t.p + n1, s2.p, n2);
        t.p[total] = '\0';
        t.len = static_cast<int>(total);
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(&t));
    return t;
}

// n < 1 appends the whole of `s`; n >= 1 reserves n more characters but
// advances len only to the first NUL among them. A null `s` changes nothing.
QELString& QELString::append(const char* s, int n)
{
    QEL_OPERATION("QELString& QELString::append(const char*, int)");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    if (s != NULL) {
        if (n < 1) {
            unsigned int l = static_cast<unsigned int>(strlen(s));
            if (l != 0) {
                unsigned int needed = static_cast<unsigned int>(len) + l + 1;
                if (needed > alloc) {
                    ptrdiff_t off = offsetInBlock(*this, s);
                    resizeBlock(*this, needed);
                    if (off >= 0)
                        s = p + off;
                }
                memcpy(p + len, s, l);
                len += static_cast<int>(l);
                p[len] = '\0';
            }
        } else {
            unsigned int un = static_cast<unsigned int>(n);
            if (alloc <= static_cast<unsigned int>(len) + un) {
                ptrdiff_t off = offsetInBlock(*this, s);
                resizeBlock(*this, static_cast<unsigned int>(len) + un + 1);
                if (off >= 0)
                    s = p + off;
            }
            // strncpy semantics: copy up to n bytes, pad the rest with NULs.
            size_t k = strnlen(s, un);
            memmove(p + len, s, k);
            memset(p + len + k, 0, un - k + 1);
            len += static_cast<int>(k);
        }
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    return *this;
}

// A NUL changes nothing.
QELString& QELString::append(char c)
{
    QEL_OPERATION("QELString& QELString::append(char)");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    if (c != '\0') {
        if (alloc <= static_cast<unsigned int>(len) + 1)
            resizeBlock(*this, static_cast<unsigned int>(len) + 2);
        p[len] = c;
        p[len + 1] = '\0';
        len++;
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    return *this;
}

// A NUL or a negative count changes nothing. A count of 0 still gives an
// unowned string its own block, as any growth check that fires does.
QELString& QELString::append(char c, int count)
{
    QEL_OPERATION("QELString& QELString::append(char, int)");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    if (c != '\0' && count >= 0) {
        unsigned int uc = static_cast<unsigned int>(count);
        if (alloc <= static_cast<unsigned int>(len) + uc)
            resizeBlock(*this, static_cast<unsigned int>(len) + uc + 1);
        memset(p + len, c, uc);
        len += count;
        p[len] = '\0';
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    return *this;
}

// One exact resize for the whole list; an unowned string always gets its
// own block, even for an empty list.
QELString& QELString::add(const QELString* const* list)
{
    QEL_OPERATION("QELString& QELString::add(const QELString* const*)");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    unsigned int total = static_cast<unsigned int>(len);
    for (const QELString* const* s = list; *s != NULL; s++) {
        QEL_ASSERT(QEL_STRING_INVARIANT(*s));
        total += static_cast<unsigned int>((*s)->len);
    }
    uintptr_t oldp = reinterpret_cast<uintptr_t>(p);
    if (total >= alloc)
        resizeBlock(*this, total + 1);
    char* d = p + len;
    for (const QELString* const* s = list; *s != NULL; s++) {
        const char* src = (*s)->p;
        if (reinterpret_cast<uintptr_t>(src) == oldp) // this string, or one wrapping its block
            src = p;
        memcpy(d, src, (*s)->len);
        d += (*s)->len;
    }
    *d = '\0';
    len = static_cast<int>(total);
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    return *this;
}

// The arguments from `first` up to a null pointer form the list.
QELString& QELString::add(const QELString* first, ...)
{
    va_list ap;
    va_start(ap, first);
    QELVariadicList<const QELString*> list(first, ap);
    va_end(ap);
    return add(list.get());
}

// Plain NUL-terminated strings, one exact resize, terminator written once.
// Lengths are taken once, before anything is written, so an element that
// points into this string's own block copies the text it had at the call.
// The lengths of this many list items are kept on the stack; a longer list
// takes them from the heap.
static const size_t LOCAL_LIST_LENGTHS = 16;

QELString& QELString::add(const char* const* list)
{
    QEL_OPERATION("QELString& QELString::add(const char* const*)");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    size_t count = 0;
    while (list[count] != NULL)
        count++;
    size_t localLengths[LOCAL_LIST_LENGTHS];
    size_t* lengths =
        count <= LOCAL_LIST_LENGTHS ? localLengths : static_cast<size_t*>(qelAllocate(count * sizeof(size_t)));
    unsigned int total = static_cast<unsigned int>(len);
    for (size_t i = 0; i < count; i++) {
        lengths[i] = strlen(list[i]);
        total += static_cast<unsigned int>(lengths[i]);
    }
    uintptr_t oldp = reinterpret_cast<uintptr_t>(p);
    uintptr_t oldEnd = oldp + alloc;
    if (total >= alloc)
        resizeBlock(*this, total + 1);
    char* d = p + len;
    for (size_t i = 0; i < count; i++) {
        const char* src = list[i];
        uintptr_t a = reinterpret_cast<uintptr_t>(src);
        if (a >= oldp && a < oldEnd) // a pointer into this string's own block
            src = p + (a - oldp);
        memmove(d, src, lengths[i]);
        d += lengths[i];
    }
    *d = '\0';
    len = static_cast<int>(total);
    if (lengths != localLengths)
        free(lengths);
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    return *this;
}

QELString& QELString::add(const char* first, ...)
{
    va_list ap;
    va_start(ap, first);
    QELVariadicList<const char*> list(first, ap);
    va_end(ap);
    return add(list.get());
}

// ---------------------------------------------------------------------------
// Sizing and state.

// An owned block is kept; an unowned string goes back to emptyPtr.
void QELString::empty()
{
    QEL_OPERATION("void QELString::empty()");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    len = 0;
    if (alloc != 0)
        p[0] = '\0';
    else
        p = emptyPtr;
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
}

// Sizes the block to exactly max(n, len) + 1 bytes, shrinking or growing.
unsigned int QELString::resize(unsigned int n)
{
    QEL_OPERATION("unsigned int QELString::resize(unsigned int)");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    unsigned int target = n > static_cast<unsigned int>(len) ? n : static_cast<unsigned int>(len);
    unsigned int size = target + 1;
    if (alloc != size)
        resizeBlock(*this, size);
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    return alloc - 1;
}

// Nested locks count down in len; an unowned buffer is copied first.
char* QELString::lock()
{
    QEL_OPERATION("char* QELString::lock()");
    if (len < 0) {
        len--;
        return p;
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    if (alloc == 0)
        resizeBlock(*this, static_cast<unsigned int>(len) + 1);
    len = -1;
    return p;
}

// Returns false on an unlocked string. Recomputes len from the text when the
// last level is released, or at once for every level when `recompute`.
bool QELString::unlock(bool recompute)
{
    QEL_OPERATION("bool QELString::unlock(bool)");
    if (len >= 0)
        return false;
    len++;
    if (len < 0 && !recompute)
        return true;
    len = static_cast<int>(strlen(p));
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    return true;
}

// Wrapping a string that already shares this buffer changes nothing.
void QELString::wrap(const QELString& s)
{
    QEL_OPERATION("void QELString::wrap(const QELString&)");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    QEL_ASSERT(QEL_STRING_INVARIANT(&s));
    if (p != s.p) {
        if (alloc != 0)
            free(p);
        p = s.p;
        len = s.len;
        alloc = 0;
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
}

// A null `s` gives the shared empty string.
void QELString::wrap(const char* s)
{
    QEL_OPERATION("void QELString::wrap(const char*)");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    if (s == NULL)
        s = emptyPtr;
    if (p != s) {
        if (alloc != 0)
            free(p);
        p = const_cast<char*>(s);
        len = static_cast<int>(strlen(s));
        alloc = 0;
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
}

// Returns false when the buffer is already owned.
bool QELString::unwrap(unsigned int extra)
{
    QEL_OPERATION("bool QELString::unwrap(unsigned int)");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    if (alloc != 0)
        return false;
    resizeBlock(*this, static_cast<unsigned int>(len) + extra + 1);
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    return true;
}

// ---------------------------------------------------------------------------
// Hashing: h = h * 31 + signed byte over the text, plus a length.

// The byte loop h = h * 31 + b is evaluated in blocks with precomputed powers
// of 31, which gives the same 32-bit result with much shorter dependency
// chains: eight bytes per step in scalar code, 32 per step with AVX2.

static const unsigned int qelPow31[9] = {
    1u, 31u, 961u, 29791u, 923521u, 28629151u, 887503681u, 887503681u * 31u, 887503681u * 31u * 31u,
};

// True when one of the eight bytes of x is zero.
static inline bool hasZeroByte(uint64_t x)
{
    return ((x - 0x0101010101010101ull) & ~x & 0x8080808080808080ull) != 0;
}

// Sum of the eight bytes of x, taken unsigned and in memory order, weighted
// 31^7 .. 31^0: each half is summed in its own 32-bit lane (at most
// 255 * 30784, so no lane overflows into its neighbour), then the halves.
static inline unsigned int qelHash8(uint64_t x)
{
    const uint64_t m = 0x000000FF000000FFull;
    uint64_t v = ((x & m) * 29791u + ((x >> 8) & m) * 961u) + (((x >> 16) & m) * 31u + ((x >> 24) & m));
    return static_cast<unsigned int>(v) * 923521u + static_cast<unsigned int>(v >> 32);
}

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#include <immintrin.h>
#define QEL_HASH_AVX2 1

static constexpr unsigned int qelPow31Of(int e)
{
    unsigned int r = 1;
    for (int i = 0; i < e; i++)
        r *= 31u;
    return r;
}

// 31^(28 - 4j) for j = 0..7: the weight of lane j, which holds bytes
// 4j .. 4j + 3 of a 32-byte chunk.
struct QELLaneWeights {
    unsigned int w[8];
    constexpr QELLaneWeights() : w()
    {
        for (int j = 0; j < 8; j++)
            w[j] = qelPow31Of(28 - 4 * j);
    }
};
alignas(32) static constexpr QELLaneWeights qelLaneWeightsTable;

// Hashes whole 32-byte chunks of [s, s + n) into h while none holds a NUL;
// returns the number of bytes consumed (a multiple of 32).
__attribute__((target("avx2"))) static size_t qelHashChunksAvx2(const char* s, size_t n, unsigned int* hp)
{
    // Each chunk is folded into eight 32-bit lanes of four bytes each
    // (31^3 b0 + 31^2 b1 + 31 b2 + b3, bytes signed) by two multiply-adds:
    // bytes times (31, 1) into 16-bit pairs, pairs times (961, 1) into the
    // lanes; the values are small, so nothing saturates. The lanes of all
    // chunks accumulate as acc * 31^32 + lanes (wrapping, like the hash).
    const unsigned int p32 = qelPow31Of(32);
    const __m256i mul = _mm256_set1_epi32(static_cast<int>(p32));
    const __m256i pairWeights = _mm256_set1_epi16(0x011F);     // bytes 31, 1
    const __m256i quadWeights = _mm256_set1_epi32(0x000103C1); // words 961, 1
    const __m256i zero = _mm256_setzero_si256();
    __m256i acc = zero;
    size_t i = 0;
    for (; i + 32 <= n; i += 32) {
        __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i));
        if (_mm256_movemask_epi8(_mm256_cmpeq_epi8(v, zero)) != 0)
            break;
        const __m256i lanes = _mm256_madd_epi16(_mm256_maddubs_epi16(pairWeights, v), quadWeights);
        acc = _mm256_add_epi32(_mm256_mullo_epi32(acc, mul), lanes);
    }
    if (i == 0)
        return 0;
    // Weigh each lane by its place in a chunk, then sum the eight.
    __m256i sum = _mm256_mullo_epi32(acc, _mm256_load_si256(reinterpret_cast<const __m256i*>(qelLaneWeightsTable.w)));
    __m128i s4 = _mm_add_epi32(_mm256_castsi256_si128(sum), _mm256_extracti128_si256(sum, 1));
    s4 = _mm_add_epi32(s4, _mm_shuffle_epi32(s4, 0x4E));
    s4 = _mm_add_epi32(s4, _mm_shuffle_epi32(s4, 0xB1));
    unsigned int h = *hp;
    for (size_t k = 0; k < i; k += 32)
        h *= p32;
    *hp = h + static_cast<unsigned int>(_mm_cvtsi128_si32(s4));
    return i;
}

// Whether the processor has AVX2, asked once when the library is loaded. A
// hash taken by another library's static initialiser before this one has run
// sees false and takes the scalar road, which gives the same value.
static bool qelDetectAvx2()
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
}
static const bool qelHaveAvx2 = qelDetectAvx2();

// From this many bytes on the AVX2 routine is used (measured: already at 64
// bytes it takes half the time of the scalar blocks).
static const size_t QEL_HASH_AVX2_MIN = 32;
#endif

// Hashes the bytes at s up to the first NUL; `n` bytes are known to be
// readable (the buffer holds at least n + 1). Returns the hash and stores the
// number of bytes hashed in *count.
__attribute__((always_inline)) static inline unsigned int qelHashText(const char* s, size_t n, size_t* count)
{
    const signed char* b = reinterpret_cast<const signed char*>(s);
    unsigned int h = 0;
    size_t i = 0;
#ifdef QEL_HASH_AVX2
    if (n >= QEL_HASH_AVX2_MIN && qelHaveAvx2)
        i = qelHashChunksAvx2(s, n, &h);
#endif
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    for (; i + 8 <= n; i += 8) {
        uint64_t x;
        memcpy(&x, s + i, 8);
        if (hasZeroByte(x))
            break;
        unsigned int block = qelHash8(x);
        if ((x & 0x8080808080808080ull) != 0) // bytes 0x80-0xFF count 256 less
            block -= 256u * qelHash8((x >> 7) & 0x0101010101010101ull);
        h = h * qelPow31[8] + block;
    }
    if (i + 8 > n && i < n && n >= 8) {
        // The last r < 8 bytes: reload the final eight and clear the ones
        // already hashed (zeros in front weigh nothing).
        size_t r = n - i;
        uint64_t x;
        memcpy(&x, s + n - 8, 8);
        x &= ~0ull << (8 * (8 - r));
        if (!hasZeroByte(x | (0x0101010101010101ull >> (8 * r)))) {
            unsigned int block = qelHash8(x);
            if ((x & 0x8080808080808080ull) != 0)
                block -= 256u * qelHash8((x >> 7) & 0x0101010101010101ull);
            h = h * qelPow31[r] + block;
            i = n;
        }
    }
#endif
    // The tail, a block holding a NUL, or text running past n.
    for (; b[i] != 0; i++)
        h = h * 31u + static_cast<unsigned int>(b[i]);
    *count = i;
    return h;
}

// Adds the field len (not the scanned count).
unsigned int QELString::hashCode() const
{
    QEL_OPERATION("unsigned int QELString::hashCode() const");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    size_t count;
    return qelHashText(p, static_cast<size_t>(len), &count) + static_cast<unsigned int>(len);
}

// Adds the number of bytes scanned; a null pointer hashes as the empty text.
unsigned int stringHashCode(const char* s)
{
    if (s == NULL)
        return 0;
    size_t count;
    unsigned int h = qelHashText(s, strlen(s), &count);
    return h + static_cast<unsigned int>(count);
}

// ---------------------------------------------------------------------------
// Substrings. Each returns a copy of getEmptyTString() for an empty result,
// else a string owning exactly its length + 1 bytes. Positions are clamped.

QELString QELString::mid(unsigned int start, unsigned int count) const
{
    QEL_OPERATION("QELString QELString::mid(unsigned int, unsigned int) const");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    unsigned int l = static_cast<unsigned int>(len);
    QELString t;
    if (start < l && count != 0)
        fillExactly(t, p + start, l - start < count ? l - start : count);
    QEL_ASSERT(QEL_STRING_INVARIANT(&t));
    return t;
}

QELString QELString::mid(unsigned int start) const
{
    QEL_OPERATION("QELString QELString::mid(unsigned int) const");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    unsigned int l = static_cast<unsigned int>(len);
    QELString t;
    if (start < l)
        fillExactly(t, p + start, l - start);
    QEL_ASSERT(QEL_STRING_INVARIANT(&t));
    return t;
}

QELString QELString::left(unsigned int n) const
{
    QEL_OPERATION("QELString QELString::left(unsigned int) const");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    unsigned int l = static_cast<unsigned int>(len);
    unsigned int m = n < l ? n : l;
    QELString t;
    if (m != 0)
        fillExactly(t, p, m);
    QEL_ASSERT(QEL_STRING_INVARIANT(&t));
    return t;
}

QELString QELString::right(unsigned int n) const
{
    QEL_OPERATION("QELString QELString::right(unsigned int) const");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    unsigned int l = static_cast<unsigned int>(len);
    unsigned int m = n < l ? n : l;
    QELString t;
    if (m != 0)
        fillExactly(t, p + (l - m), m);
    QEL_ASSERT(QEL_STRING_INVARIANT(&t));
    return t;
}

// ---------------------------------------------------------------------------
// In-place rewriting. A wrapped buffer is never written: the rewritten text
// goes into a new block of len + 1 bytes.

// Rewrites every byte up to the terminator with `f` (applied to the signed
// byte value), into a private block when the buffer is not owned.
template <class F> static inline void rewriteBytes(QELString& s, F f)
{
    const char* src = s.p;
    char* dst = s.p;
    if (s.alloc == 0) {
        dst = static_cast<char*>(qelAllocate(static_cast<size_t>(s.len) + 1));
        memcpy(dst, src, static_cast<size_t>(s.len) + 1);
    }
    for (size_t i = 0; src[i] != '\0'; i++)
        dst[i] = static_cast<char>(f(static_cast<signed char>(src[i])));
    if (s.alloc == 0) {
        dst[s.len] = '\0';
        s.p = dst;
        s.alloc = static_cast<unsigned int>(s.len) + 1;
    }
}

QELString& QELString::toLower()
{
    QEL_OPERATION("QELString& QELString::toLower()");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    if (len != 0) {
#ifdef __GLIBC__
        // The table behind tolower(), indexable from -128 to 255.
        const int32_t* table = *__ctype_tolower_loc();
        rewriteBytes(*this, [table](int c) { return table[c]; });
#else
        rewriteBytes(*this, [](int c) { return tolower(c); });
#endif
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    return *this;
}

QELString& QELString::toUpper()
{
    QEL_OPERATION("QELString& QELString::toUpper()");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    if (len != 0) {
#ifdef __GLIBC__
        const int32_t* table = *__ctype_toupper_loc();
        rewriteBytes(*this, [table](int c) { return table[c]; });
#else
        rewriteBytes(*this, [](int c) { return toupper(c); });
#endif
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    return *this;
}

QELString& QELString::toAscii()
{
    QEL_OPERATION("QELString& QELString::toAscii()");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    if (len != 0)
        rewriteBytes(*this, [](int c) { return c & 0x7f; });
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    return *this;
}

// Byte-wise: multi-byte UTF-8 sequences come out reversed too (intended).
QELString& QELString::reverse()
{
    QEL_OPERATION("QELString& QELString::reverse()");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    size_t n = static_cast<size_t>(len);
    if (n != 0) {
        if (alloc == 0) {
            char* np = static_cast<char*>(qelAllocate(n + 1));
            for (size_t i = 0; i < n; i++)
                np[i] = p[n - 1 - i];
            np[n] = '\0';
            p = np;
            alloc = static_cast<unsigned int>(n) + 1;
        } else {
            char* a = p;
            char* b = p + n - 1;
            while (a < b) {
                char c = *a;
                *a++ = *b;
                *b-- = c;
            }
        }
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    return *this;
}

// ---------------------------------------------------------------------------
// Escaping and trimming; each returns a new string.

// Allocates the exact block of a result of n > 0 bytes; the caller fills it.
static inline char* reserveExactly(QELString& t, size_t n)
{
    t.p = static_cast<char*>(qelAllocate(n + 1));
    t.alloc = static_cast<unsigned int>(n) + 1;
    t.len = static_cast<int>(n);
    t.p[n] = '\0';
    return t.p;
}

// Line feed -> \n, carriage return -> \r, " -> \", \ -> \\.
QELString QELString::escapeChars() const
{
    QEL_OPERATION("QELString QELString::escapeChars() const");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    size_t n = 0, extra = 0;
    for (; p[n] != '\0'; n++) {
        char c = p[n];
        if (c == '\n' || c == '\r' || c == '"' || c == '\\')
            extra++;
    }
    QELString t;
    if (n != 0) {
        char* d = reserveExactly(t, n + extra);
        for (const char* s = p; *s != '\0'; s++) {
            switch (*s) {
            case '\n':
                *d++ = '\\';
                *d++ = 'n';
                break;
            case '\r':
                *d++ = '\\';
                *d++ = 'r';
                break;
            case '"':
                *d++ = '\\';
                *d++ = '"';
                break;
            case '\\':
                *d++ = '\\';
                *d++ = '\\';
                break;
            default:
                *d++ = *s;
                break;
            }
        }
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(&t));
    return t;
}

// `esc` before every `c`, and before every `esc` too when escapeEsc.
QELString QELString::escapeChar(char c, char esc, bool escapeEsc) const
{
    QEL_OPERATION("QELString QELString::escapeChar(char, char, bool) const");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    size_t n = 0, extra = 0;
    for (; p[n] != '\0'; n++) {
        if (p[n] == c || (escapeEsc && p[n] == esc))
            extra++;
    }
    QELString t;
    if (n != 0) {
        char* d = reserveExactly(t, n + extra);
        for (const char* s = p; *s != '\0'; s++) {
            if (*s == c || (escapeEsc && *s == esc))
                *d++ = esc;
            *d++ = *s;
        }
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(&t));
    return t;
}

// Drops an `esc` followed by a byte and copies that byte as it stands; a
// trailing lone `esc` is kept.
QELString QELString::unescapeChar(char esc) const
{
    QEL_OPERATION("QELString QELString::unescapeChar(char) const");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    size_t n = 0, dropped = 0;
    for (; p[n] != '\0'; n++) {
        if (p[n] == esc && p[n + 1] != '\0') {
            dropped++;
            n++;
        }
    }
    QELString t;
    if (n != dropped) {
        char* d = reserveExactly(t, n - dropped);
        for (const char* s = p; *s != '\0'; s++) {
            if (*s == esc && s[1] != '\0')
                s++;
            *d++ = *s;
        }
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(&t));
    return t;
}

// Trims bytes whose signed value is below 33: controls, the space and,
// deliberately, every byte from 0x80 to 0xFF ("café" trims to "caf").
QELString QELString::trim() const
{
    QEL_OPERATION("QELString QELString::trim() const");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    const char* s = p;
    while (*s != '\0' && static_cast<signed char>(*s) < 33)
        s++;
    QELString t;
    if (*s != '\0') {
        // The front scan stopped on a kept byte: the back scan needs no bound.
        const char* e = p + len - 1;
        while (static_cast<signed char>(*e) < 33)
            e--;
        fillExactly(t, s, static_cast<unsigned int>(e - s + 1));
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(&t));
    return t;
}

// Trims only spaces (32).
QELString QELString::trimSpaces() const
{
    QEL_OPERATION("QELString QELString::trimSpaces() const");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    const char* s = p;
    while (*s == ' ')
        s++;
    QELString t;
    if (*s != '\0') {
        const char* e = p + len - 1;
        while (*e == ' ')
            e--;
        fillExactly(t, s, static_cast<unsigned int>(e - s + 1));
    }
    QEL_ASSERT(QEL_STRING_INVARIANT(&t));
    return t;
}

// ---------------------------------------------------------------------------
// UTF-16 view: replaces the cache with (units + 1) 16-bit units, terminated.
const unsigned short* QELString::wchars()
{
    QEL_OPERATION("const short unsigned int* QELString::wchars()");
    QEL_ASSERT(QEL_STRING_INVARIANT(this));
    if (wbuf != NULL)
        free(wbuf);
    icu::UnicodeString us(p, "utf-8");
    int32_t n = us.length();
    wbuf = static_cast<unsigned short*>(qelAllocate(static_cast<size_t>(n) * 2 + 2));
    UErrorCode err = U_ZERO_ERROR;
    us.extract(reinterpret_cast<UChar*>(wbuf), n + 1, err);
    wbuf[n] = 0;
    return wbuf;
}
