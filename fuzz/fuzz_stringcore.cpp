// fuzz_stringcore: programs of QELString core operations on three strings,
// the strings themselves as operands included (s += s, s.add(&s, &s)), run
// against std::string. After every step each string satisfies its invariant,
// holds the model's text, and hashes like the free function.
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>

#include "QELBlob.h"
#include "QELString.h"
#include "FuzzCheck.h"

namespace {

// The invariant compares the unsigned alloc with the signed len on purpose.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wsign-compare"
bool stringInvariantHolds(const QELString& s)
{
    return QEL_STRING_INVARIANT(&s);
}
#pragma GCC diagnostic pop

void check(const QELString& s, const std::string& m)
{
    FUZZ_CHECK(stringInvariantHolds(s));
    FUZZ_CHECK(s.len == static_cast<int>(m.size()));
    FUZZ_CHECK(memcmp(s.p, m.c_str(), m.size() + 1) == 0);
    // Both hashes stop at the first NUL; hashCode() adds len, the free
    // function the bytes it scanned. They differ when toAscii() has made a
    // NUL inside the text (len is kept), by exactly len - strlen.
    const unsigned int visible = static_cast<unsigned int>(strlen(s.p));
    FUZZ_CHECK(s.hashCode() == stringHashCode(s.p) - visible + static_cast<unsigned int>(s.len));
    if (visible == static_cast<unsigned int>(s.len))
        FUZZ_CHECK(s.hashCode() == blobHashCode(s.p, visible));
}

std::string mapped(const std::string& m, int (*f)(int))
{
    std::string r = m;
    for (char& c : r)
        c = static_cast<char>(f(static_cast<signed char>(c)));
    return r;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider provider(data, size);
    // A caller buffer to wrap: it must never be written.
    std::string literal = provider.ConsumeRandomLengthString(40);
    literal.resize(strlen(literal.c_str()));
    const std::string literalCopy = literal;
    QELString s[3];
    std::string m[3];
    for (int step = 0; step < 48 && provider.remaining_bytes() > 0; step++) {
        const int op = provider.ConsumeIntegralInRange<int>(0, 17);
        const int i = provider.ConsumeIntegralInRange<int>(0, 2);
        const int j = provider.ConsumeIntegralInRange<int>(0, 2);
        const int n = provider.ConsumeIntegralInRange<int>(-1, 40);
        const char c = static_cast<char>(provider.ConsumeIntegral<uint8_t>());
        QELString& a = s[i];
        std::string& ma = m[i];
        const std::string mj = m[j];
        switch (op) {
        case 0: { // fresh text
            std::string t = provider.ConsumeRandomLengthString(40);
            t.resize(strlen(t.c_str()));
            QELString fresh(t.c_str());
            a = fresh;
            ma = t;
            break;
        }
        case 1: // +=, itself included
            a += s[j];
            ma += mj;
            break;
        case 2: { // append(s, n): n < 1 appends all, else at most n bytes
            std::string t = provider.ConsumeRandomLengthString(40);
            t.resize(strlen(t.c_str()));
            a.append(t.c_str(), n);
            ma += n < 1 ? t : t.substr(0, static_cast<size_t>(n));
            break;
        }
        case 3:
            a.append(c);
            if (c != '\0')
                ma += c;
            break;
        case 4:
            if (n > 0) {
                a.append(c, n);
                if (c != '\0')
                    ma.append(static_cast<size_t>(n), c);
            }
            break;
        case 5: { // operator+
            QELString sum = s[i] + s[j];
            check(sum, ma + mj);
            a = sum;
            ma = ma + mj;
            break;
        }
        case 6: // variadic add, itself included
            a.add(&s[j], &s[i], static_cast<const QELString*>(nullptr));
            ma = ma + mj + ma;
            break;
        case 7: { // add of plain strings
            std::string t = provider.ConsumeRandomLengthString(20);
            t.resize(strlen(t.c_str()));
            a.add(t.c_str(), "-", static_cast<const char*>(nullptr));
            ma += t + "-";
            break;
        }
        case 8:
            a.empty();
            ma.clear();
            break;
        case 9: { // resize keeps the text
            unsigned int room = a.resize(n < 0 ? 0 : static_cast<unsigned int>(n));
            FUZZ_CHECK(room >= ma.size() && room >= static_cast<unsigned int>(n < 0 ? 0 : n));
            FUZZ_CHECK(a.alloc == room + 1);
            break;
        }
        case 10: { // lock, write within the block, unlock
            char* p = a.lock();
            FUZZ_CHECK(a.isLocked());
            FUZZ_CHECK(a.alloc > 0);
            if (c != '\0' && a.alloc >= 2 && ma.size() + 1 < a.alloc) {
                p[ma.size()] = c;
                p[ma.size() + 1] = '\0';
                ma += c;
            }
            FUZZ_CHECK(a.unlock(false));
            FUZZ_CHECK(!a.isLocked());
            break;
        }
        case 11:
            a.wrap(literal.c_str());
            ma = literal;
            FUZZ_CHECK(a.alloc == 0);
            break;
        case 12:
            a.unwrap(n < 0 ? 0 : static_cast<unsigned int>(n));
            break;
        case 13:
            a.toUpper();
            ma = mapped(ma, toupper);
            break;
        case 14:
            a.toLower();
            ma = mapped(ma, tolower);
            break;
        case 15:
            // Deliberate: toAscii() turns a byte 0x80 into a NUL inside the
            // text and keeps len; later operations then copy by strcpy or by
            // len as each one does. Such texts are not modelled: skipped.
            if (ma.find('\x80') != std::string::npos)
                break;
            a.toAscii();
            ma = mapped(ma, toascii);
            break;
        case 16:
            a.reverse();
            ma = std::string(ma.rbegin(), ma.rend());
            break;
        case 17: // assignment, itself included
            a = s[j];
            if (a.p != nullptr)
                ma = mj;
            break;
        }
        for (int x = 0; x < 3; x++) {
            check(s[x], m[x]);
            if (m[x].size() > 1024) { // keep the texts short
                s[x].empty();
                m[x].clear();
            }
        }
        FUZZ_CHECK(literal == literalCopy); // a wrapped buffer is never written
    }
    return 0;
}
