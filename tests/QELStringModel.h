// QELStringModel: the std::string model of QELString for the randomised
// tests: the text of a string, the reference hash, and a driver that applies
// random operations to a string and to the model (which also predicts the
// block size and the ownership state) and compares them after every step.
#ifndef QELSTRINGMODEL_H
#define QELSTRINGMODEL_H

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "QELInvariants.h"
#include "QELString.h"

inline std::string str(const QELString& s)
{
    return std::string(s.p, s.len);
}

inline unsigned int referenceHash(const std::string& s)
{
    unsigned int h = 0;
    for (char c : s)
        h = h * 31u + static_cast<unsigned int>(static_cast<int>(static_cast<signed char>(c)));
    return h;
}

// A randomised comparison with a std::string model. The model also predicts
// the block size and the ownership state after every step.

struct StringModel {
    std::string text;
    unsigned int alloc = 0;
    const char* unownedP = QELString::emptyPtr;  // expected p while alloc == 0
};

class StringDifferential {
public:
    explicit StringDifferential(unsigned int seed) : rng(seed)
    {
        const char* texts[] = { "", "a", "hello world", " \t trim me \n", "caf\xC3\xA9",
                                "a/b\\c\"d\ne\rf", "UPPER lower", "%s and %%" };
        for (const char* t : texts) {
            pool.emplace_back(t);
            char* buf = new char[strlen(t) + 1];
            strcpy(buf, t);
            literals.push_back(buf);
            literalCopies.emplace_back(t);
        }
    }
    ~StringDifferential()
    {
        for (char* b : literals)
            delete[] b;
    }

    std::mt19937 rng;
    std::vector<QELString> pool;       // never mutated, may be wrapped
    std::vector<char*> literals;       // caller buffers, may be wrapped
    std::vector<std::string> literalCopies;

    unsigned int pick(unsigned int n) { return static_cast<unsigned int>(rng() % n); }

    std::string randomText(size_t maxLen)
    {
        // No 0x80: toAscii would turn it into a NUL inside the text.
        static const char alphabet[] = "abcXYZ  \t\n\r\"\\/%09\x81\xA9\xC3\xFF";
        size_t n = pick(static_cast<unsigned int>(maxLen + 1));
        std::string t;
        for (size_t i = 0; i < n; i++)
            t += alphabet[pick(sizeof(alphabet) - 1)];
        return t;
    }

    static bool trimmable(char c) { return c != '\0' && static_cast<signed char>(c) < 33; }

    // Value results are either the shared empty string or exact blocks.
    static void checkResult(const QELString& r, const std::string& expected, const char* what)
    {
        ASSERT_TRUE(stringInvariantHolds(&r)) << what;
        ASSERT_EQ(str(r), expected) << what;
        ASSERT_EQ(r.p[r.len], '\0') << what;
        if (expected.empty()) {
            ASSERT_EQ(r.p, QELString::emptyPtr) << what;
            ASSERT_EQ(r.alloc, 0u) << what;
        } else {
            ASSERT_EQ(r.alloc, expected.size() + 1) << what;
        }
    }

    // The model's assignment rule.
    static void modelAssign(StringModel& m, const QELString& s, const QELString& from)
    {
        if (s.p == from.p)
            return;
        m.text = str(from);
        unsigned int n = static_cast<unsigned int>(from.len);
        if (n < m.alloc) {
        } else if (n == 0) {
            m.unownedP = QELString::emptyPtr;
        } else {
            m.alloc = n + 1;
        }
    }

    static void modelGrowTo(StringModel& m, unsigned int size) { m.alloc = size; }

    void step(QELString& s, StringModel& m, std::string& log)
    {
        unsigned int op = pick(27);
        log += std::to_string(op) + " ";
        unsigned int len = static_cast<unsigned int>(m.text.size());
        switch (op) {
        case 0: {  // append whole text
            std::string t = randomText(6);
            s.append(t.c_str(), -static_cast<int>(pick(3)));
            if (!t.empty()) {
                if (len + t.size() + 1 > m.alloc)
                    m.alloc = static_cast<unsigned int>(len + t.size() + 1);
                m.text += t;
            }
            break;
        }
        case 1: {  // append with a count, possibly past a NUL
            std::string t = randomText(6);
            if (pick(3) == 0)
                t.insert(pick(static_cast<unsigned int>(t.size() + 1)), 1, '\0');
            unsigned int n = 1 + pick(8);
            std::vector<char> buf(t.begin(), t.end());
            buf.resize(std::max<size_t>(buf.size(), n) + 1, '\0');
            s.append(buf.data(), static_cast<int>(n));
            if (m.alloc <= len + n)
                m.alloc = len + n + 1;
            m.text += std::string(buf.data(), strnlen(buf.data(), n));
            break;
        }
        case 2: {  // append a character
            char c = pick(4) == 0 ? '\0' : static_cast<char>('a' + pick(26));
            s.append(c);
            if (c != '\0') {
                if (m.alloc <= len + 1)
                    m.alloc = len + 2;
                m.text += c;
            }
            break;
        }
        case 3: {  // append repeated characters
            char c = pick(4) == 0 ? '\0' : static_cast<char>('a' + pick(26));
            unsigned int count = pick(6);
            s.append(c, static_cast<int>(count));
            if (c != '\0') {
                if (m.alloc <= len + count)
                    m.alloc = len + count + 1;
                m.text += std::string(count, c);
            }
            break;
        }
        case 4: {  // += another string, a pool string or itself
            unsigned int which = pick(3);
            QELString other(randomText(5).c_str());
            const QELString& r = which == 0 ? other : which == 1 ? pool[pick(static_cast<unsigned int>(pool.size()))] : s;
            std::string rt = str(r);
            s += r;
            if (!rt.empty()) {
                if (len + rt.size() + 1 > m.alloc)
                    m.alloc = static_cast<unsigned int>(len + rt.size() + 1);
                m.text += rt;
            }
            break;
        }
        case 5: {  // s = s + x or s = x + s
            QELString other(randomText(5).c_str());
            bool sFirst = pick(2);
            QELString r = sFirst ? s + other : other + s;
            std::string expected = sFirst ? m.text + str(other) : str(other) + m.text;
            ASSERT_NO_FATAL_FAILURE(checkResult(r, expected, "operator+"));
            modelAssign(m, s, r);
            s = r;
            break;
        }
        case 6: {  // mid with a count
            unsigned int start = pick(len + 3), count = pick(len + 3);
            QELString r = s.mid(start, count);
            std::string expected = start >= len || count == 0 ? "" : m.text.substr(start, count);
            ASSERT_NO_FATAL_FAILURE(checkResult(r, expected, "mid"));
            modelAssign(m, s, r);
            s = r;
            break;
        }
        case 7: {  // mid tail, left, right
            unsigned int n = pick(len + 3);
            unsigned int kind = pick(3);
            QELString r = kind == 0 ? s.mid(n) : kind == 1 ? s.left(n) : s.right(n);
            std::string expected;
            if (kind == 0)
                expected = n >= len ? "" : m.text.substr(n);
            else if (kind == 1)
                expected = m.text.substr(0, std::min(n, len));
            else
                expected = m.text.substr(len - std::min(n, len));
            ASSERT_NO_FATAL_FAILURE(checkResult(r, expected, "mid/left/right"));
            modelAssign(m, s, r);
            s = r;
            break;
        }
        case 8: case 9: case 10: {  // case changes and ASCII folding (C locale)
            if (op == 8)
                s.toUpper();
            else if (op == 9)
                s.toLower();
            else
                s.toAscii();
            for (char& c : m.text) {
                if (op == 8 && c >= 'a' && c <= 'z')
                    c = static_cast<char>(c - 32);
                else if (op == 9 && c >= 'A' && c <= 'Z')
                    c = static_cast<char>(c + 32);
                else if (op == 10)
                    c = static_cast<char>(c & 0x7f);
            }
            if (len != 0 && m.alloc == 0)
                m.alloc = len + 1;
            break;
        }
        case 11: {  // reverse
            s.reverse();
            m.text = std::string(m.text.rbegin(), m.text.rend());
            if (len != 0 && m.alloc == 0)
                m.alloc = len + 1;
            break;
        }
        case 12: {  // trim / trimSpaces
            bool spaces = pick(2);
            QELString r = spaces ? s.trimSpaces() : s.trim();
            std::string expected;
            size_t b = 0, e = len;
            if (spaces) {
                while (b < e && m.text[b] == ' ')
                    b++;
                while (e > b && m.text[e - 1] == ' ')
                    e--;
            } else {
                while (b < e && trimmable(m.text[b]))
                    b++;
                while (e > b && trimmable(m.text[e - 1]))
                    e--;
            }
            expected = m.text.substr(b, e - b);
            ASSERT_NO_FATAL_FAILURE(checkResult(r, expected, "trim"));
            modelAssign(m, s, r);
            s = r;
            break;
        }
        case 13: {  // escapeChar then maybe back
            static const char chars[] = "/\\%a\"";
            char c = chars[pick(5)], esc = chars[pick(5)];
            bool escEsc = pick(2);
            QELString r = s.escapeChar(c, esc, escEsc);
            std::string expected;
            for (char x : m.text) {
                if (x == c || (escEsc && x == esc))
                    expected += esc;
                expected += x;
            }
            ASSERT_NO_FATAL_FAILURE(checkResult(r, expected, "escapeChar"));
            QELString u = r.unescapeChar(esc);
            std::string unesc;
            for (size_t i = 0; i < expected.size(); i++) {
                if (expected[i] == esc && i + 1 < expected.size())
                    i++;
                unesc += expected[i];
            }
            ASSERT_NO_FATAL_FAILURE(checkResult(u, unesc, "unescapeChar"));
            if (escEsc) {
                ASSERT_EQ(unesc, m.text);
            }
            const QELString& keep = pick(2) ? r : u;
            modelAssign(m, s, keep);
            s = keep;
            break;
        }
        case 14: {  // escapeChars
            QELString r = s.escapeChars();
            std::string expected;
            for (char x : m.text) {
                if (x == '\n')
                    expected += "\\n";
                else if (x == '\r')
                    expected += "\\r";
                else if (x == '"')
                    expected += "\\\"";
                else if (x == '\\')
                    expected += "\\\\";
                else
                    expected += x;
            }
            ASSERT_NO_FATAL_FAILURE(checkResult(r, expected, "escapeChars"));
            if (pick(3) == 0) {
                modelAssign(m, s, r);
                s = r;
            }
            break;
        }
        case 15: {  // resize
            unsigned int n = pick(len + 10);
            unsigned int room = s.resize(n);
            m.alloc = std::max(n, len) + 1;
            ASSERT_EQ(room, m.alloc - 1);
            break;
        }
        case 16: {  // empty
            s.empty();
            m.text.clear();
            if (m.alloc == 0)
                m.unownedP = QELString::emptyPtr;
            break;
        }
        case 17: {  // wrap a caller's buffer
            unsigned int i = pick(static_cast<unsigned int>(literals.size()));
            s.wrap(literals[i]);
            m.text = literalCopies[i];
            m.alloc = 0;
            m.unownedP = literals[i];
            break;
        }
        case 18: {  // wrap a pool string
            const QELString& o = pool[pick(static_cast<unsigned int>(pool.size()))];
            s.wrap(o);
            m.text = str(o);
            m.alloc = 0;
            m.unownedP = o.p;
            break;
        }
        case 19: {  // unwrap
            unsigned int extra = pick(5);
            bool expected = m.alloc == 0;
            ASSERT_EQ(s.unwrap(extra), expected);
            if (expected)
                m.alloc = len + extra + 1;
            break;
        }
        case 20: {  // lock, overwrite within the capacity, unlock
            char* q = s.lock();
            if (m.alloc == 0)
                m.alloc = len + 1;
            unsigned int depth = 1 + pick(2);
            for (unsigned int d = 1; d < depth; d++)
                ASSERT_EQ(s.lock(), q);
            unsigned int n = pick(m.alloc);  // at most alloc - 1 characters
            for (unsigned int i = 0; i < n; i++)
                q[i] = static_cast<char>('k' + pick(5));
            q[n] = '\0';
            bool recompute = pick(2);
            ASSERT_TRUE(s.unlock(recompute));
            if (!recompute && depth > 1) {
                ASSERT_TRUE(s.isLocked());
                ASSERT_TRUE(s.unlock(false));
            }
            ASSERT_FALSE(s.isLocked());
            m.text = std::string(q, n);
            break;
        }
        case 21: {  // add a list of strings (may include itself)
            QELString a(randomText(4).c_str()), b(randomText(4).c_str());
            const QELString* list[4] = { &a, pick(2) ? &s : &b, &pool[pick(static_cast<unsigned int>(pool.size()))], NULL };
            std::string expected = m.text;
            for (int i = 0; i < 3; i++)
                expected += str(*list[i]);
            s.add(list);
            if (expected.size() >= m.alloc)
                m.alloc = static_cast<unsigned int>(expected.size() + 1);
            m.text = expected;
            break;
        }
        case 22: {  // add a list of texts
            std::string a = randomText(4), b = randomText(4);
            s.add(a.c_str(), b.c_str(), static_cast<const char*>(NULL));
            std::string expected = m.text + a + b;
            if (expected.size() >= m.alloc)
                m.alloc = static_cast<unsigned int>(expected.size() + 1);
            m.text = expected;
            break;
        }
        case 23: {  // assignment from another string
            QELString other(randomText(8).c_str());
            modelAssign(m, s, other);
            s = other;
            break;
        }
        case 24: {  // copy construction
            QELString c(s);
            ASSERT_NO_FATAL_FAILURE(checkResult(c, m.text, "copy"));
            break;
        }
        case 25: {  // hash
            unsigned int h = s.hashCode();
            ASSERT_EQ(h, referenceHash(m.text) + len);
            ASSERT_EQ(stringHashCode(s.p), h);
            break;
        }
        case 26: {  // empty list on the string: an unowned buffer gets its own block
            const QELString* none[] = { NULL };
            s.add(none);
            if (len >= m.alloc)
                m.alloc = len + 1;
            break;
        }
        }
    }

    void check(const QELString& s, const StringModel& m, const std::string& log)
    {
        ASSERT_FALSE(s.isLocked()) << log;
        ASSERT_TRUE(stringInvariantHolds(&s)) << log;
        ASSERT_EQ(s.len, static_cast<int>(m.text.size())) << log;
        ASSERT_EQ(std::string(s.p, s.len), m.text) << log;
        ASSERT_EQ(s.p[s.len], '\0') << log;
        ASSERT_EQ(strlen(s.p), m.text.size()) << log;
        ASSERT_EQ(s.alloc, m.alloc) << log;
        if (m.alloc == 0) {
            ASSERT_EQ(s.p, m.unownedP) << log;
        }
        for (size_t i = 0; i < literals.size(); i++)
            ASSERT_STREQ(literals[i], literalCopies[i].c_str()) << log;
        ASSERT_EQ(QELString::emptyPtr[0], '\0') << log;
    }
};

#endif
