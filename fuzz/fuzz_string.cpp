// fuzz_string: the string operations on any text, each checked against a
// direct model: escapeXMLString, escapeChars, escapeChar with unescapeChar
// as its inverse, trim, trimSpaces, and mid/left/right with random bounds.
#include <cstdint>
#include <cstring>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>

#include "QELString.h"
#include "QELText.h"
#include "FuzzCheck.h"

namespace {

std::string str(const QELString& s)
{
    FUZZ_CHECK(s.len >= 0 && s.p != nullptr && s.p[s.len] == '\0');
    return std::string(s.p, s.len);
}

std::string modelXml(const std::string& s)
{
    if (s.find_first_of("\"<>&\t\n\r") == std::string::npos)
        return s;
    std::string r;
    for (unsigned char c : s) {
        switch (c) {
        case '"': r += "&quot;"; break;
        case '&': r += "&amp;"; break;
        case '<': r += "&lt;"; break;
        case '>': r += "&gt;"; break;
        case '\t': r += "&#9;"; break;
        case '\n': r += "&#10;"; break;
        case '\r': r += "&#13;"; break;
        default:
            if (c >= 32)
                r += static_cast<char>(c);
        }
    }
    return r;
}

std::string modelEscapeChars(const std::string& s)
{
    std::string r;
    for (char c : s) {
        if (c == '\n') r += "\\n";
        else if (c == '\r') r += "\\r";
        else if (c == '"') r += "\\\"";
        else if (c == '\\') r += "\\\\";
        else r += c;
    }
    return r;
}

std::string modelEscapeChar(const std::string& s, char c, char esc, bool escapeEsc)
{
    std::string r;
    for (char x : s) {
        if (x == c || (escapeEsc && x == esc))
            r += esc;
        r += x;
    }
    return r;
}

std::string modelUnescapeChar(const std::string& s, char esc)
{
    std::string r;
    for (size_t i = 0; i < s.size(); i++) {
        if (s[i] == esc && i + 1 < s.size())
            i++;
        r += s[i];
    }
    return r;
}

// Deliberately signed: bytes 0x80 to 0xFF count as trimmable.
std::string modelTrim(const std::string& s, bool spacesOnly)
{
    auto trimmable = [&](char c) { return spacesOnly ? c == ' ' : static_cast<signed char>(c) < 33; };
    size_t a = 0;
    while (a < s.size() && trimmable(s[a]))
        a++;
    if (a == s.size())
        return std::string();
    size_t b = s.size();
    while (trimmable(s[b - 1]))
        b--;
    return s.substr(a, b - a);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider provider(data, size);
    // NUL cannot be an escape character: the result would hold a NUL and its
    // text would end there. Both characters are chosen among the others.
    char c = static_cast<char>(provider.ConsumeIntegralInRange<int>(1, 255));
    char esc = static_cast<char>(provider.ConsumeIntegralInRange<int>(1, 255));
    unsigned int start = provider.ConsumeIntegral<uint32_t>() % 300;
    unsigned int count = provider.ConsumeIntegral<uint32_t>();
    if (provider.ConsumeBool())
        count %= 300;
    std::string text = provider.ConsumeRemainingBytesAsString();
    text.resize(strlen(text.c_str())); // the string's text ends at a NUL
    const QELString s(text.c_str());
    FUZZ_CHECK(str(s) == text);

    FUZZ_CHECK(str(escapeXMLString(s)) == modelXml(text));
    FUZZ_CHECK(str(s.escapeChars()) == modelEscapeChars(text));

    // escapeChar with escapeEsc true is undone by unescapeChar; with false
    // only when the text holds no escape character of its own.
    QELString escaped = s.escapeChar(c, esc, true);
    FUZZ_CHECK(str(escaped) == modelEscapeChar(text, c, esc, true));
    FUZZ_CHECK(str(escaped.unescapeChar(esc)) == text);
    QELString partly = s.escapeChar(c, esc, false);
    FUZZ_CHECK(str(partly) == modelEscapeChar(text, c, esc, false));
    if (text.find(esc) == std::string::npos)
        FUZZ_CHECK(str(partly.unescapeChar(esc)) == text);
    FUZZ_CHECK(str(s.unescapeChar(esc)) == modelUnescapeChar(text, esc));

    FUZZ_CHECK(str(s.trim()) == modelTrim(text, false));
    FUZZ_CHECK(str(s.trimSpaces()) == modelTrim(text, true));

    // Positions are clamped, never asserted.
    const size_t len = text.size();
    std::string want = (start >= len || count == 0) ? std::string() : text.substr(start, count);
    QELString m = s.mid(start, count);
    FUZZ_CHECK(str(m) == want);
    FUZZ_CHECK(str(s.mid(start)) == (start >= len ? std::string() : text.substr(start)));
    unsigned int n = count % 400;
    FUZZ_CHECK(str(s.left(n)) == text.substr(0, n));
    FUZZ_CHECK(str(s.right(n)) == (n >= len ? text : text.substr(len - n)));
    FUZZ_CHECK(str(s) == text); // the const operations left the operand alone
    return 0;
}
