// QELBlobModel: the std::vector<char> model of the blobs for the randomised
// tests: the bytes of a blob, its soundness, the canonical empty blob, the
// reference hash, and a driver that applies random operations to a blob and
// to the model and compares them after every step.
#ifndef QELBLOBMODEL_H
#define QELBLOBMODEL_H

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "QELBlob.h"
#include "QELString.h"

// The bytes of a blob as a std::string (embedded NULs kept).
inline std::string bytes(const QELGBlob& b)
{
    return b.size == 0 ? std::string() : std::string(b.p, b.size);
}

inline bool valid(const QELGBlob& b)
{
    return QEL_BLOB_INVARIANT(&b);
}

inline bool isCanonicalEmpty(const QELGBlob& b)
{
    return b.p == NULL && b.size == 0 && b.isWrap;
}

// Reference hash: h * 31 + signed byte, plus the length.
inline unsigned int modelHash(const std::vector<char>& v)
{
    unsigned int h = 0;
    for (char c : v)
        h = h * 31 + static_cast<unsigned int>(static_cast<int>(static_cast<signed char>(c)));
    return h + static_cast<unsigned int>(v.size());
}

// Expected state of the blob under test.
struct BlobModel {
    std::vector<char> data;
    bool isWrap = true;
    bool nullP = true; // the canonical empty blob

    void setOwned(const std::vector<char>& v)
    {
        data = v;
        if (v.empty()) { isWrap = true; nullP = true; } else { isWrap = false; nullP = false; }
    }
    void canonical() { data.clear(); isWrap = true; nullP = true; }
};

class BlobDifferential {
public:
    explicit BlobDifferential(unsigned int seed) : rng(seed)
    {
        // Stable caller buffers that the blob may wrap; never written.
        for (int i = 0; i < 8; i++) {
            pool.push_back(randomBytes(0, 12));
            poolCopy.push_back(pool.back());
        }
    }

    unsigned int pick(unsigned int n) { return std::uniform_int_distribution<unsigned int>(0, n - 1)(rng); }

    std::string randomBytes(unsigned int lo, unsigned int hi, bool noNul = false)
    {
        unsigned int n = lo + pick(hi - lo + 1);
        std::string s;
        for (unsigned int i = 0; i < n; i++) {
            char c = static_cast<char>(pick(256));
            if (noNul && c == '\0')
                c = 'N';
            s += c;
        }
        return s;
    }

    static std::vector<char> vec(const std::string& s) { return std::vector<char>(s.begin(), s.end()); }

    // Fills bytes [from, size) of an owned blob and its model with known
    // values (the library leaves them uninitialised).
    void fillTail(QELGBlob& b, std::vector<char>& v, unsigned int from)
    {
        for (unsigned int i = from; i < b.size; i++) {
            char c = static_cast<char>('A' + (i % 26));
            b.p[i] = c;
            v[i] = c;
        }
    }

    void check(const QELBlob& b, const BlobModel& m, const char* op)
    {
        SCOPED_TRACE(op);
        ASSERT_TRUE(valid(b));
        ASSERT_EQ(b.size, m.data.size());
        if (b.size > 0) {
            ASSERT_EQ(0, memcmp(b.p, m.data.data(), b.size));
        }
        ASSERT_EQ(b.isWrap, m.isWrap);
        ASSERT_EQ(b.p == NULL, m.nullP);
        ASSERT_EQ(b.hashCode(), modelHash(m.data));
        ASSERT_TRUE(isCanonicalEmpty(emptyTBlob));
        for (size_t i = 0; i < pool.size(); i++)
            ASSERT_EQ(pool[i], poolCopy[i]) << "a wrapped buffer was written";
    }

    // One random operation on b; returns the operation's name.
    const char* step(QELBlob& b, BlobModel& m)
    {
        switch (pick(26)) {
        case 0: {
            std::string s = randomBytes(0, 10);
            QELBlob src(s.data(), static_cast<unsigned int>(s.size()));
            b = src;
            m.setOwned(vec(s));
            return "operator=(QELBlob)";
        }
        case 1: {
            std::string s = randomBytes(0, 10, true);
            b = s.c_str();
            m.setOwned(vec(s));
            return "operator=(const char*)";
        }
        case 2: {
            std::string s = randomBytes(0, 10);
            QELBlob src(s.data(), static_cast<unsigned int>(s.size()));
            b += src;
            if (!s.empty()) {
                m.data.insert(m.data.end(), s.begin(), s.end());
                m.isWrap = false;
                m.nullP = false;
            }
            return "operator+=(QELBlob)";
        }
        case 3: {
            std::string s = randomBytes(0, 10, true);
            b += s.c_str();
            if (!s.empty()) {
                m.data.insert(m.data.end(), s.begin(), s.end());
                m.isWrap = false;
                m.nullP = false;
            }
            return "operator+=(const char*)";
        }
        case 4: { // append an owning temporary
            std::string s = randomBytes(0, 10);
            QELBlob src(s.data(), static_cast<unsigned int>(s.size()));
            unsigned int start = pick(12);
            QELTBlob t = src.mid(start);
            bool takes = m.data.empty() && t.size > 0;
            b += t;
            if (start < s.size()) {
                m.data.insert(m.data.end(), s.begin() + start, s.end());
                m.isWrap = false;
                m.nullP = false;
            }
            if (takes && !t.isWrap)
                return "bad";
            return "operator+=(QELTBlob)";
        }
        case 5: { // append a non-owning temporary (a view of a pool buffer)
            QELBlob& src = viewSource();
            QELTBlob t;
            t = src;
            bool wasEmpty = m.data.empty();
            b += t;
            if (src.size > 0) {
                m.data.insert(m.data.end(), src.p, src.p + src.size);
                if (wasEmpty) { m.isWrap = true; m.nullP = false; }
                else { m.isWrap = false; m.nullP = false; }
            }
            return "operator+=(view QELTBlob)";
        }
        case 6: { // b = x + b + "s" + y
            std::string x = randomBytes(0, 6), y = randomBytes(0, 6), s = randomBytes(0, 4, true);
            QELBlob bx(x.data(), static_cast<unsigned int>(x.size()));
            QELBlob by(y.data(), static_cast<unsigned int>(y.size()));
            b = bx + b + s.c_str() + by;
            std::vector<char> v = vec(x);
            v.insert(v.end(), m.data.begin(), m.data.end());
            v.insert(v.end(), s.begin(), s.end());
            v.insert(v.end(), y.begin(), y.end());
            m.setOwned(v);
            return "b = x + b + s + y";
        }
        case 7: { // b = "s" + b.mid(..) : appends s after the sub-blob
            std::string s = randomBytes(0, 5, true);
            unsigned int start = pick(m.data.size() + 2);
            QELBlob r = s.c_str() + b.mid(start);
            std::vector<char> v;
            if (start < m.data.size())
                v.assign(m.data.begin() + start, m.data.end());
            v.insert(v.end(), s.begin(), s.end());
            b = r;
            m.setOwned(v);
            return "b = s + b.mid(start)";
        }
        case 8: { // add(list) including b itself
            std::string x = randomBytes(0, 5);
            QELBlob bx(x.data(), static_cast<unsigned int>(x.size()));
            const QELGBlob* list[] = { &bx, &b, &bx, NULL };
            std::vector<char> v = m.data;
            v.insert(v.end(), x.begin(), x.end());
            v.insert(v.end(), m.data.begin(), m.data.end());
            v.insert(v.end(), x.begin(), x.end());
            bool grows = v.size() > m.data.size();
            b.add(list);
            if (grows) { m.data = v; m.isWrap = false; m.nullP = false; }
            return "add(list)";
        }
        case 9: {
            std::string x = randomBytes(0, 4, true), y = randomBytes(0, 4, true);
            b.add(x.c_str(), y.c_str(), nullptr);
            if (!x.empty() || !y.empty()) {
                m.data.insert(m.data.end(), x.begin(), x.end());
                m.data.insert(m.data.end(), y.begin(), y.end());
                m.isWrap = false;
                m.nullP = false;
            }
            return "add(const char*, ...)";
        }
        case 10: {
            std::string x = randomBytes(0, 6);
            b.add(static_cast<void*>(&x[0]), static_cast<int>(x.size()));
            if (!x.empty()) {
                m.data.insert(m.data.end(), x.begin(), x.end());
                m.isWrap = false;
                m.nullP = false;
            }
            return "add(void*, int)";
        }
        case 11: {
            unsigned int n = pick(16);
            unsigned int old = static_cast<unsigned int>(m.data.size());
            b.setSize(n);
            if (n == 0) {
                m.canonical();
            } else {
                m.data.resize(n);
                m.isWrap = false;
                m.nullP = false;
                if (n > old)
                    fillTail(b, m.data, old);
            }
            return "setSize";
        }
        case 12: { // wrap a pool buffer
            size_t i = pick(static_cast<unsigned int>(pool.size()));
            unsigned int n = pick(static_cast<unsigned int>(pool[i].size()) + 1);
            const char* data = pool[i].data();
            if (data == b.p && !b.isWrap)
                return "skip";
            b.wrap(data, n);
            m.data.assign(data, data + n);
            m.isWrap = true;
            m.nullP = false;
            return "wrap(data, n)";
        }
        case 13: {
            bool want = m.isWrap && !m.nullP;
            bool got = b.unwrap();
            if (got != want)
                return "bad";
            if (want) {
                if (m.data.empty()) m.canonical();
                else m.isWrap = false;
            }
            return "unwrap";
        }
        case 14:
            b.empty();
            m.canonical();
            return "empty";
        case 15: {
            bool wrapped = b.isWrap && b.size > 0;
            char* before = b.p;
            b.reverse();
            std::reverse(m.data.begin(), m.data.end());
            if (wrapped) {
                if (b.p == before || !b.isWrap)
                    return "bad";
                // Deliberately leaked by the blob: the test owns it from here.
                b.isWrap = false;
                m.isWrap = false;
            }
            return "reverse";
        }
        case 16: { // b = b.left(n)
            unsigned int n = pick(m.data.size() + 4);
            b = b.left(n);
            if (n == 0) { m.canonical(); return "b = b.left(0)"; }
            unsigned int have = static_cast<unsigned int>(m.data.size());
            m.data.resize(n);
            m.isWrap = false;
            m.nullP = false;
            if (n > have)
                fillTail(b, m.data, have);
            return "b = b.left(n)";
        }
        case 17: { // b = b.right(n)
            unsigned int n = pick(m.data.size() + 4);
            b = b.right(n);
            if (n == 0) { m.canonical(); return "b = b.right(0)"; }
            unsigned int have = static_cast<unsigned int>(m.data.size());
            unsigned int k = n < have ? n : have;
            std::vector<char> v(m.data.end() - k, m.data.end());
            v.resize(n);
            m.data = v;
            m.isWrap = false;
            m.nullP = false;
            if (n > k)
                fillTail(b, m.data, k);
            return "b = b.right(n)";
        }
        case 18: { // b = b.mid(start, count)
            unsigned int start = pick(m.data.size() + 2), count = pick(8);
            QELBlob r(b.mid(start, count));
            if (start >= m.data.size() || count == 0) {
                if (!isCanonicalEmpty(r))
                    return "bad";
                b = r;
                m.canonical();
                return "b = b.mid(s, c) empty";
            }
            unsigned int avail = static_cast<unsigned int>(m.data.size()) - start;
            unsigned int k = count < avail ? count : avail;
            std::vector<char> v(m.data.begin() + start, m.data.begin() + start + k);
            v.resize(count);
            if (count > k)
                fillTail(r, v, k);
            b = r;
            m.setOwned(v);
            return "b = b.mid(s, c)";
        }
        case 19: { // copy, then check independence
            QELBlob c(b);
            if (c.size > 0 && (c.isWrap || c.p == b.p))
                return "bad";
            b = c;
            if (!m.data.empty()) { m.isWrap = false; m.nullP = false; }
            else m.canonical(); // an empty copy empties (or keeps) b
            return "copy";
        }
        case 20: { // QELBlob(b, n)
            unsigned int n = pick(m.data.size() + 4);
            QELBlob c(b, n);
            std::vector<char> v = m.data;
            unsigned int have = static_cast<unsigned int>(v.size());
            v.resize(n);
            if (n > have)
                fillTail(c, v, have);
            b = c;
            m.setOwned(v);
            return "QELBlob(b, n)";
        }
        case 21:
            b += b;
            if (!m.data.empty()) {
                std::vector<char> v = m.data;
                m.data.insert(m.data.end(), v.begin(), v.end());
                m.isWrap = false;
            }
            return "b += b";
        case 22: { // b = a + temporary (prepend into the temporary)
            std::string x = randomBytes(0, 6);
            QELBlob bx(x.data(), static_cast<unsigned int>(x.size()));
            b = bx + b.mid(0);
            std::vector<char> v = vec(x);
            v.insert(v.end(), m.data.begin(), m.data.end());
            m.setOwned(v);
            return "b = x + b.mid(0)";
        }
        case 23: { // wrap another blob
            QELBlob& src = viewSource();
            if (src.p == b.p)
                return "skip";
            b.wrap(src);
            m.data.assign(src.p, src.p + src.size);
            m.isWrap = true;
            m.nullP = src.p == NULL;
            return "wrap(QELGBlob)";
        }
        case 24: { // assign a temporary chain
            std::string x = randomBytes(0, 5), s = randomBytes(0, 4, true);
            QELBlob bx(x.data(), static_cast<unsigned int>(x.size()));
            QELTBlob t = b.mid(0) + bx;
            t += s.c_str();
            t = t + b;
            b = t;
            std::vector<char> v = m.data;
            v.insert(v.end(), x.begin(), x.end());
            v.insert(v.end(), s.begin(), s.end());
            v.insert(v.end(), m.data.begin(), m.data.end());
            m.setOwned(v);
            return "b = ((b.mid(0) + x) += s) + b";
        }
        default: { // hash only
            if (b.hashCode() != blobHashCode(b.p, b.size))
                return "bad";
            return "hash";
        }
        }
    }

    // A blob viewing one of the pool buffers (possibly the empty blob).
    QELBlob& viewSource()
    {
        size_t i = pick(static_cast<unsigned int>(pool.size()));
        views[0].empty();
        if (!pool[i].empty() && pick(4) != 0)
            views[0].wrap(pool[i].data(), static_cast<unsigned int>(pool[i].size()));
        return views[0];
    }

    std::mt19937 rng;
    std::vector<std::string> pool, poolCopy;
    QELBlob views[1];
};

#endif
