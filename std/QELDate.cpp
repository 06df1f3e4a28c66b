// QELDate: dates and times, their ODBC structures, text forms and seconds.
#include "QELDate.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include <sqltypes.h>

// The fields must overlay the ODBC structures exactly: getDate() and
// getTime() hand out pointers into this object.
static_assert(sizeof(TIMESTAMP_STRUCT) == 16, "unexpected TIMESTAMP_STRUCT size");
static_assert(offsetof(QELDate, year) == offsetof(TIMESTAMP_STRUCT, year), "year");
static_assert(offsetof(QELDate, month) == offsetof(TIMESTAMP_STRUCT, month), "month");
static_assert(offsetof(QELDate, day) == offsetof(TIMESTAMP_STRUCT, day), "day");
static_assert(offsetof(QELDate, hour) == offsetof(TIMESTAMP_STRUCT, hour), "hour");
static_assert(offsetof(QELDate, minute) == offsetof(TIMESTAMP_STRUCT, minute), "minute");
static_assert(offsetof(QELDate, second) == offsetof(TIMESTAMP_STRUCT, second), "second");
static_assert(offsetof(QELDate, fraction) == offsetof(TIMESTAMP_STRUCT, fraction), "fraction");
static_assert(offsetof(QELDate, minute) - offsetof(QELDate, hour) == offsetof(TIME_STRUCT, minute), "TIME_STRUCT");
static_assert(offsetof(QELDate, second) - offsetof(QELDate, hour) == offsetof(TIME_STRUCT, second), "TIME_STRUCT");

// The year that tm_year counts from.
static const int TM_YEAR_BASE = 1900;
static const long SECONDS_PER_HOUR = 3600;
static const long SECONDS_PER_DAY = 86400;
// The largest fraction a text form sets (its fraction is read as at most
// three digits).
static const uint32_t MAX_TEXT_FRACTION = 1000;

// Deliberate: the November entries (303, 304) are one day short of the
// calendar (304, 305), as the values of this exported table are part of the
// interface; the fallback count of QELmktime_i therefore places November
// dates one day early.
const int32_t month_offset[2][13] = {
    { 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 303, 334, 365 },
    { 0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 304, 335, 366 },
};

// Exported with month_offset as the calendar's second table; the library
// itself does not read it.
const int32_t dmsize[2][12] = {
    { 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31 },
    { 31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31 },
};

QELDate::QELDate()
{
    text[0] = '\0';
    empty();
}

QELDate::QELDate(DATE_STRUCT d)
{
    text[0] = '\0';
    setDate(&d);
}

QELDate::QELDate(TIME_STRUCT t)
{
    text[0] = '\0';
    setDate(&t);
}

QELDate::QELDate(TIMESTAMP_STRUCT ts)
{
    text[0] = '\0';
    setDate(&ts);
}

QELDate::QELDate(long seconds)
{
    text[0] = '\0';
    empty();
    setDate(seconds);
}

void QELDate::empty()
{
    year = 0;
    month = day = hour = minute = second = 0;
    fraction = 0;
    isNull = true;
}

void QELDate::setDate(const DATE_STRUCT* d)
{
    if (d == nullptr) {
        isNull = true;
        return;
    }
    year = d->year;
    month = d->month;
    day = d->day;
    hour = minute = second = 0;
    fraction = 0;
    isNull = false;
}

void QELDate::setDate(const TIME_STRUCT* t)
{
    if (t == nullptr) {
        isNull = true;
        return;
    }
    year = 0;
    month = day = 0;
    hour = t->hour;
    minute = t->minute;
    second = t->second;
    fraction = 0;
    isNull = false;
}

void QELDate::setDate(const TIMESTAMP_STRUCT* ts)
{
    if (ts == nullptr) {
        isNull = true;
        return;
    }
    year = ts->year;
    month = ts->month;
    day = ts->day;
    hour = ts->hour;
    minute = ts->minute;
    second = ts->second;
    fraction = ts->fraction;
    isNull = false;
}

QELDate& QELDate::operator=(const DATE_STRUCT* d)
{
    setDate(d);
    return *this;
}

QELDate& QELDate::operator=(const TIME_STRUCT* t)
{
    setDate(t);
    return *this;
}

QELDate& QELDate::operator=(const TIMESTAMP_STRUCT* ts)
{
    setDate(ts);
    return *this;
}

QELDate& QELDate::operator=(const QELDate& d)
{
    if (d.isNull) {
        empty();
        return *this;
    }
    year = d.year;
    month = d.month;
    day = d.day;
    hour = d.hour;
    minute = d.minute;
    second = d.second;
    fraction = d.fraction;
    isNull = false;
    return *this;
}

// Copies a broken-down time into the date fields, fraction 0.
static void setFromTm(QELDate* date, const tm* t)
{
    // Wraps, without overflow, for huge years.
    date->year = static_cast<int16_t>(static_cast<unsigned>(t->tm_year) + static_cast<unsigned>(TM_YEAR_BASE));
    date->month = static_cast<uint16_t>(t->tm_mon + 1);
    date->day = static_cast<uint16_t>(t->tm_mday);
    date->hour = static_cast<uint16_t>(t->tm_hour);
    date->minute = static_cast<uint16_t>(t->tm_min);
    date->second = static_cast<uint16_t>(t->tm_sec);
    date->fraction = 0;
    date->isNull = false;
}

// --- Parsing: no system calls. ---

static inline bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Reads at most `maxDigits` decimal digits at *s and advances past them.
static unsigned int readDigits(const char*& s, int maxDigits)
{
    unsigned int v = 0;
    for (int i = 0; i < maxDigits && isDigit(*s); i++, s++)
        v = v * 10 + static_cast<unsigned int>(*s - '0');
    return v;
}

static void skipNonDigits(const char*& s)
{
    while (*s != '\0' && !isDigit(*s))
        s++;
}

void QELDate::setDate(const QELString& textIn)
{
    empty();
    const char* s = textIn.p;
    if (s == nullptr || *s == '\0')
        return;
    skipNonDigits(s);
    if (*s == '\0')
        return;

    // A time alone has colons but none of the date separators.
    bool timeAlone = true;
    bool hasColon = false;
    for (const char* q = s; *q != '\0'; q++) {
        if (*q == '/' || *q == ' ' || *q == '-') {
            timeAlone = false;
            break;
        }
        if (*q == ':')
            hasColon = true;
    }
    if (!(timeAlone && hasColon)) {
        year = static_cast<int16_t>(readDigits(s, 4));
        skipNonDigits(s);
        month = static_cast<uint16_t>(readDigits(s, 2));
        skipNonDigits(s);
        day = static_cast<uint16_t>(readDigits(s, 2));
        skipNonDigits(s);
    }
    hour = static_cast<uint16_t>(readDigits(s, 2));
    skipNonDigits(s);
    minute = static_cast<uint16_t>(readDigits(s, 2));
    skipNonDigits(s);
    second = static_cast<uint16_t>(readDigits(s, 2));
    skipNonDigits(s);
    fraction = readDigits(s, 3);
    if (fraction > MAX_TEXT_FRACTION)
        fraction = MAX_TEXT_FRACTION;

    if (year == 0 && hour == 0 && month == 0 && day == 0 && minute == 0 && second == 0 && fraction == 0)
        return;
    isNull = false;
}

void QELDate::getDate(TIMESTAMP_STRUCT* ts) const
{
    ts->year = year;
    ts->month = month;
    ts->day = day;
    ts->hour = hour;
    ts->minute = minute;
    ts->second = second;
    ts->fraction = fraction;
}

void QELDate::getDate(DATE_STRUCT* d) const
{
    d->year = year;
    d->month = month;
    d->day = day;
}

void QELDate::getDate(TIME_STRUCT* t) const
{
    t->hour = hour;
    t->minute = minute;
    t->second = second;
}

TIMESTAMP_STRUCT* QELDate::getDate() const
{
    if (year == 0 && month == 0 && day == 0 && hour == 0 && minute == 0 && second == 0 && fraction == 0)
        return nullptr;
    return reinterpret_cast<TIMESTAMP_STRUCT*>(const_cast<int16_t*>(&year));
}

TIME_STRUCT* QELDate::getTime() const
{
    if (hour == 0 && minute == 0 && second == 0)
        return nullptr;
    return reinterpret_cast<TIME_STRUCT*>(const_cast<uint16_t*>(&hour));
}

// --- Text forms: no system calls. ---

namespace {

// Writes one text form with printf's rules for the formats the forms use
// ("%02d", "%2d", "%04d", "%d"), digit by digit into a stack buffer: the
// forms are written on every log record, and printf's format parsing and
// locale handling cost several times the digits themselves. The buffer holds
// the longest form of any field values: 48 characters, the ODBC timestamp of
// year -32768, every other field 65535 and the fraction 2^31.
class DateText {
public:
    // `value` right-aligned in at least `width` characters, `pad` before it.
    void number(uint32_t value, int width, char pad)
    {
        if (value < 100 && width == 2) {
            put(value < 10 ? pad : static_cast<char>('0' + value / 10));
            put(static_cast<char>('0' + value % 10));
            return;
        }
        char digits[10];
        int count = 0;
        do {
            digits[count++] = static_cast<char>('0' + value % 10);
            value /= 10;
        } while (value != 0);
        for (int i = count; i < width; i++)
            put(pad);
        while (count > 0)
            put(digits[--count]);
    }

    // "%0<width>d": the sign counts towards the width, zeros follow it.
    void signedNumber(int32_t value, int width)
    {
        if (value >= 0) {
            number(static_cast<uint32_t>(value), width, '0');
            return;
        }
        put('-');
        number(0u - static_cast<uint32_t>(value), width - 1, '0');
    }

    // "%04d-%02d-%02d" with `separator` in place of '-'.
    void date(const QELDate& d, char separator)
    {
        signedNumber(d.year, 4);
        put(separator);
        number(d.month, 2, '0');
        put(separator);
        number(d.day, 2, '0');
    }

    // "%02d:%02d:%02d".
    void time(const QELDate& d)
    {
        number(d.hour, 2, '0');
        put(':');
        number(d.minute, 2, '0');
        put(':');
        number(d.second, 2, '0');
    }

    void put(char c) { chars[length++] = c; }

    // Copies the text into `target`, cut as snprintf cuts it to the date's
    // 30-character buffer, and returns `target`.
    const char* copyTo(char* target) const
    {
        const size_t kept = length < sizeof(QELDate::text) - 1 ? length : sizeof(QELDate::text) - 1;
        memcpy(target, chars, kept);
        target[kept] = '\0';
        return target;
    }

    char chars[48];
    size_t length = 0;
};

} // namespace

const char* QELDate::chars() const
{
    DateText out;
    if (year == 0) {
        out.time(*this);
    } else {
        out.date(*this, '/');
        if (hour != 0 || minute != 0 || second != 0) {
            out.put(' ');
            out.time(*this);
        }
    }
    return out.copyTo(text);
}

const char* QELDate::getHour() const
{
    DateText out;
    out.time(*this);
    return out.copyTo(text);
}

const char* QELDate::getODBCDate() const
{
    DateText out;
    out.date(*this, '-');
    return out.copyTo(text);
}

// The fraction is printed as printf's "%d" of its int value, so a fraction
// above INT_MAX comes out negative.
const char* QELDate::getODBCTimestamp() const
{
    DateText out;
    out.date(*this, '-');
    out.put(' ');
    out.time(*this);
    if (fraction != 0) {
        out.put('.');
        out.signedNumber(static_cast<int32_t>(fraction), 0);
    }
    return out.copyTo(text);
}

// "%04d-%2d-%02dT%02d:%02d:%02dZ": deliberately a blank, not a zero, before
// a one-digit month. Never cut: the text is a string of its own.
QELString QELDate::getXmlTimestamp() const
{
    DateText out;
    out.signedNumber(year, 4);
    out.put('-');
    out.number(month, 2, ' ');
    out.put('-');
    out.number(day, 2, '0');
    out.put('T');
    out.time(*this);
    out.put('Z');
    return QELString(out.chars, static_cast<int>(out.length));
}

// --- System calls: clock, time zone and the system's calendar. ---

// The UTC fields of `seconds`, exactly as gmtime gives them, computed here
// (days to civil date in the proleptic Gregorian calendar) rather than
// through gmtime, which takes the C library's time-zone lock on every call.
// Values far enough out that the year could leave gmtime's int range
// (about +-3.5e13 years) go to gmtime_r itself, which gives gmtime's result
// and its failure.
namespace {

// A calendar date packed into one word: bit 63 set when filled, bits 25-56
// the day number since the epoch, 9-24 the year, 5-8 the month, 0-4 the day.
const int PACKED_DAY_NUMBER = 25, PACKED_YEAR = 9, PACKED_MONTH = 5;
const uint64_t PACKED_FILLED = uint64_t(1) << 63;

// The last day converted, for the next conversion of the same day: clock
// readings (log events) fall on the same day again and again, and the civil
// calculation is the dearest part of a conversion. One word, so that threads
// share it without a lock; only day numbers that fit 32 bits and years from
// 0 to 65535 are kept.
std::atomic<uint64_t> lastCalendarDay(0);

struct CivilDate {
    long year, month, day;
};

// Days since 1970-01-01 to the proleptic Gregorian date, in eras of 400
// years (146097 days) counted from 0000-03-01.
CivilDate civilFromDays(long days)
{
    const long z = days + 719468;
    const long era = (z >= 0 ? z : z - 146096) / 146097;
    const long doe = z - era * 146097;                                      // [0, 146096]
    const long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365; // [0, 399]
    const long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);               // [0, 365]
    const long mp = (5 * doy + 2) / 153;                                    // [0, 11], March first
    const long d = doy - (153 * mp + 2) / 5 + 1;                            // [1, 31]
    const long m = mp < 10 ? mp + 3 : mp - 9;                               // [1, 12]
    return { yoe + era * 400 + (m <= 2 ? 1 : 0), m, d };
}

CivilDate civilFromDaysRemembered(long days)
{
    const uint64_t last = lastCalendarDay.load(std::memory_order_relaxed);
    const uint64_t dayNumber = static_cast<uint32_t>(days);
    if ((last & PACKED_FILLED) != 0 && ((last >> PACKED_DAY_NUMBER) & 0xffffffffu) == dayNumber)
        return { static_cast<long>((last >> PACKED_YEAR) & 0xffff), static_cast<long>((last >> PACKED_MONTH) & 0xf),
                 static_cast<long>(last & 0x1f) };
    const CivilDate date = civilFromDays(days);
    if (days == static_cast<int32_t>(days) && date.year >= 0 && date.year <= 0xffff)
        lastCalendarDay.store(PACKED_FILLED | dayNumber << PACKED_DAY_NUMBER
                                  | static_cast<uint64_t>(date.year) << PACKED_YEAR
                                  | static_cast<uint64_t>(date.month) << PACKED_MONTH | static_cast<uint64_t>(date.day),
                              std::memory_order_relaxed);
    return date;
}

} // namespace

void QELDate::setDate(long seconds)
{
    const long LIMIT = 1L << 50; // about 35 million years either way
    if (seconds < -LIMIT || seconds > LIMIT) {
        time_t t = static_cast<time_t>(seconds);
        tm g;
        if (gmtime_r(&t, &g) == nullptr) {
            empty();
            return;
        }
        setFromTm(this, &g);
        return;
    }
    long days = seconds / SECONDS_PER_DAY;
    long rem = seconds % SECONDS_PER_DAY;
    if (rem < 0) {
        rem += SECONDS_PER_DAY;
        days--;
    }
    const CivilDate date = civilFromDaysRemembered(days);
    // The year wraps as setFromTm's does, for years beyond 16 bits.
    year = static_cast<int16_t>(static_cast<unsigned long>(date.year));
    month = static_cast<uint16_t>(date.month);
    day = static_cast<uint16_t>(date.day);
    hour = static_cast<uint16_t>(rem / SECONDS_PER_HOUR);
    minute = static_cast<uint16_t>(rem % SECONDS_PER_HOUR / 60);
    second = static_cast<uint16_t>(rem % 60);
    fraction = 0;
    isNull = false;
}

void QELDate::setDate()
{
    time_t now = time(nullptr);
    const tm* l = localtime(&now);
    if (l == nullptr) {
        empty();
        return;
    }
    setFromTm(this, l);
}

QELDate::operator long() const
{
    if (isNull)
        return -1;
    tm t = {};
    t.tm_year = year - TM_YEAR_BASE;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = second;
    t.tm_isdst = -1;
    return QELmktime_i(&t, 0);
}

long QELmktime_i(tm* t, int local)
{
    int isdst = t->tm_isdst;
    time_t r = mktime(t);
    if (r >= 0)
        return static_cast<long>(r);

    // The system refused the date (or placed it before 1970): count the days
    // ourselves. The leap rule by four alone is exact from 1901 to 2038.
    t->tm_isdst = isdst;
    errno = 0;
    int years = t->tm_mon / 12;
    int mon = t->tm_mon % 12;
    if (mon < 0) {
        mon += 12;
        years--;
    }
    t->tm_year += years;
    t->tm_mon = mon;
    if (static_cast<unsigned int>(t->tm_year - 1) > 137) {
        errno = EINVAL;
        return -1;
    }

    long days = 0;
    if (t->tm_year > 70) {
        for (int y = 70; y < t->tm_year; y++)
            days += (y % 4 == 0) ? 366 : 365;
    } else {
        for (int y = 69; y >= t->tm_year; y--)
            days -= (y % 4 == 0) ? 366 : 365;
    }
    days += month_offset[t->tm_year % 4 == 0 ? 1 : 0][t->tm_mon];
    days += t->tm_mday - 1;
    long result = ((days * 24 + t->tm_hour) * 60 + t->tm_min) * 60 + t->tm_sec;

    if (local != 0) {
        tzset();
        result += timezone;
        if (t->tm_isdst == -1) {
            // Ask the system about the same calendar in a year it handles:
            // the calendar repeats every 28 years within 1901 to 2099.
            tm probe = *t;
            probe.tm_year = (t->tm_year + 13) % 28 + 71;
            probe.tm_isdst = -1;
            mktime(&probe);
            t->tm_isdst = probe.tm_isdst;
        }
        if (t->tm_isdst > 0)
            result -= SECONDS_PER_HOUR;
    }

    if ((result < 1 && t->tm_year > 70) || (result >= 0 && t->tm_year <= 69)) {
        errno = EINVAL;
        return -1;
    }
    return result;
}
