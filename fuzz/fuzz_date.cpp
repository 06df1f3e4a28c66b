// fuzz_date: QELDate::setDate(QELString&) on any text, checked field by field
// against a direct model of the parse, then every text form written.
#include <cstdint>
#include <cstring>
#include <string>

#include "QELDate.h"
#include "QELString.h"
#include "FuzzCheck.h"

namespace {

struct Fields {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, fraction = 0;
    bool isNull = true;
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Reads at most `max` digits at `i`.
int readNumber(const std::string& s, size_t& i, int max)
{
    int v = 0;
    for (int n = 0; n < max && i < s.size() && isDigit(s[i]); ++n, ++i)
        v = v * 10 + (s[i] - '0');
    return v;
}

void skipNonDigits(const std::string& s, size_t& i)
{
    while (i < s.size() && !isDigit(s[i]))
        ++i;
}

Fields model(const std::string& s)
{
    Fields f;
    size_t i = 0;
    skipNonDigits(s, i);
    if (i == s.size())
        return f;
    std::string rest = s.substr(i);
    bool timeAlone = rest.find_first_of("/ -") == std::string::npos && rest.find(':') != std::string::npos;
    if (!timeAlone) {
        f.year = readNumber(s, i, 4);
        skipNonDigits(s, i);
        f.month = readNumber(s, i, 2);
        skipNonDigits(s, i);
        f.day = readNumber(s, i, 2);
        skipNonDigits(s, i);
    }
    f.hour = readNumber(s, i, 2);
    skipNonDigits(s, i);
    f.minute = readNumber(s, i, 2);
    skipNonDigits(s, i);
    f.second = readNumber(s, i, 2);
    skipNonDigits(s, i);
    f.fraction = readNumber(s, i, 3);
    if (f.fraction > 1000)
        f.fraction = 1000;
    f.isNull = !(f.year || f.month || f.day || f.hour || f.minute || f.second || f.fraction);
    return f;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // The parser sees the text up to its terminator: cut at the first NUL.
    std::string text(reinterpret_cast<const char*>(data), strnlen(reinterpret_cast<const char*>(data), size));
    QELString s(text.c_str());
    QELDate d;
    d.setDate(); // start from a non-null date: the parse must reset every field
    d.setDate(s);
    Fields f = model(text);
    FUZZ_CHECK(d.isNull == f.isNull);
    FUZZ_CHECK(d.year == f.year);
    FUZZ_CHECK(d.month == f.month);
    FUZZ_CHECK(d.day == f.day);
    FUZZ_CHECK(d.hour == f.hour);
    FUZZ_CHECK(d.minute == f.minute);
    FUZZ_CHECK(d.second == f.second);
    FUZZ_CHECK(static_cast<int>(d.fraction) == f.fraction);
    FUZZ_CHECK(s == text.c_str()); // the text itself is not changed

    // Every text form fits its buffer and is well formed.
    // (each pointer points into the date's buffer: check one at a time)
    const char* form = d.chars();
    FUZZ_CHECK(form != nullptr && strlen(form) < sizeof(d.text));
    form = d.getHour();
    FUZZ_CHECK(form != nullptr && strlen(form) < sizeof(d.text));
    form = d.getODBCDate();
    FUZZ_CHECK(form != nullptr && strlen(form) < sizeof(d.text));
    form = d.getODBCTimestamp();
    FUZZ_CHECK(form != nullptr && strlen(form) < sizeof(d.text));
    QELString xml = d.getXmlTimestamp();
    FUZZ_CHECK(xml.len > 0 && xml.p[xml.len - 1] == 'Z');
    long seconds = static_cast<long>(d);
    if (d.isNull)
        FUZZ_CHECK(seconds == -1);
    // A copy keeps the value fields.
    QELDate copy;
    copy = d;
    FUZZ_CHECK(copy.isNull == d.isNull && copy.year == d.year && copy.second == d.second);
    return 0;
}
