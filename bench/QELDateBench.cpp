// QELDateBench: parsing "2006-03-05 14:07:09.123" with QELDate::setDate
// against strptime (plus the fraction by hand) and POCO's DateTimeParser, and
// writing each text form against snprintf of the same format and against
// strftime of the same fields.
// Names: BM_Date_<operation>/<qel|strptime|poco|snprintf|strftime>.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "QELDate.h"

#ifdef QEL_BENCH_POCO
#include <Poco/DateTime.h>
#include <Poco/DateTimeParser.h>
#endif

namespace {

const char kText[] = "2006-03-05 14:07:09.123";

void BM_Date_parse_qel(benchmark::State& state)
{
    QELString text(kText);
    QELDate d;
    for (auto _ : state) {
        d.setDate(text);
        benchmark::DoNotOptimize(d.fraction);
        benchmark::ClobberMemory();
    }
    if (d.fraction != 123 || d.year != 2006)
        state.SkipWithError("wrong parse");
}
BENCHMARK(BM_Date_parse_qel)->Name("BM_Date_parse/qel");

void BM_Date_parse_strptime(benchmark::State& state)
{
    struct tm t;
    long fraction = 0;
    for (auto _ : state) {
        const char* text = kText;
        benchmark::DoNotOptimize(text);
        const char* rest = strptime(text, "%Y-%m-%d %H:%M:%S", &t);
        fraction = (rest && *rest == '.') ? strtol(rest + 1, NULL, 10) : 0;
        benchmark::DoNotOptimize(t);
        benchmark::DoNotOptimize(fraction);
    }
    if (fraction != 123 || t.tm_year != 106)
        state.SkipWithError("wrong parse");
}
BENCHMARK(BM_Date_parse_strptime)->Name("BM_Date_parse/strptime");

#ifdef QEL_BENCH_POCO
void BM_Date_parse_poco(benchmark::State& state)
{
    const std::string text(kText);
    Poco::DateTime dt;
    int tzd = 0;
    for (auto _ : state) {
        Poco::DateTimeParser::parse("%Y-%m-%d %H:%M:%S.%i", text, dt, tzd);
        benchmark::DoNotOptimize(dt);
    }
    if (dt.millisecond() != 123 || dt.year() != 2006)
        state.SkipWithError("wrong parse");
}
BENCHMARK(BM_Date_parse_poco)->Name("BM_Date_parse/poco");
#endif

// ---------------------------------------------------------------- writing

QELDate parsedDate()
{
    QELString text(kText);
    QELDate d;
    d.setDate(text);
    return d;
}

struct Fields {
    int year = 2006, month = 3, day = 5, hour = 14, minute = 7, second = 9, fraction = 123;
};

// The strftime peers start from a struct tm already broken down, as the
// library starts from the fields a QELDate already holds: neither side
// converts from seconds inside the loop.
struct tm brokenDown()
{
    Fields f;
    struct tm t = {};
    t.tm_year = f.year - 1900;
    t.tm_mon = f.month - 1;
    t.tm_mday = f.day;
    t.tm_hour = f.hour;
    t.tm_min = f.minute;
    t.tm_sec = f.second;
    return t;
}

// Runs strftime with `format` on the broken-down date, checking once that
// it writes `expected`, the library's text for the same fields.
void strftimeLoop(benchmark::State& state, const char* format, const char* expected)
{
    struct tm t = brokenDown();
    char buf[30];
    for (auto _ : state) {
        benchmark::DoNotOptimize(t);
        strftime(buf, sizeof buf, format, &t);
        benchmark::DoNotOptimize(buf);
        benchmark::ClobberMemory();
    }
    if (strcmp(buf, expected) != 0)
        state.SkipWithError("strftime wrote another text");
}

void BM_Date_chars_qel(benchmark::State& state)
{
    QELDate d = parsedDate();
    for (auto _ : state) {
        benchmark::DoNotOptimize(d.year);
        const char* s = d.chars();
        benchmark::DoNotOptimize(s);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Date_chars_qel)->Name("BM_Date_chars/qel");

void BM_Date_chars_snprintf(benchmark::State& state)
{
    Fields f;
    char buf[30];
    for (auto _ : state) {
        benchmark::DoNotOptimize(f);
        snprintf(buf, sizeof buf, "%04d/%02d/%02d %02d:%02d:%02d", f.year, f.month, f.day, f.hour, f.minute,
                 f.second);
        benchmark::DoNotOptimize(buf);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Date_chars_snprintf)->Name("BM_Date_chars/snprintf");

void BM_Date_chars_strftime(benchmark::State& state)
{
    strftimeLoop(state, "%Y/%m/%d %H:%M:%S", parsedDate().chars());
}
BENCHMARK(BM_Date_chars_strftime)->Name("BM_Date_chars/strftime");

void BM_Date_getHour_qel(benchmark::State& state)
{
    QELDate d = parsedDate();
    for (auto _ : state) {
        benchmark::DoNotOptimize(d.hour);
        const char* s = d.getHour();
        benchmark::DoNotOptimize(s);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Date_getHour_qel)->Name("BM_Date_getHour/qel");

void BM_Date_getHour_snprintf(benchmark::State& state)
{
    Fields f;
    char buf[30];
    for (auto _ : state) {
        benchmark::DoNotOptimize(f);
        snprintf(buf, sizeof buf, "%02d:%02d:%02d", f.hour, f.minute, f.second);
        benchmark::DoNotOptimize(buf);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Date_getHour_snprintf)->Name("BM_Date_getHour/snprintf");

void BM_Date_getHour_strftime(benchmark::State& state)
{
    strftimeLoop(state, "%H:%M:%S", parsedDate().getHour());
}
BENCHMARK(BM_Date_getHour_strftime)->Name("BM_Date_getHour/strftime");

void BM_Date_getODBCDate_qel(benchmark::State& state)
{
    QELDate d = parsedDate();
    for (auto _ : state) {
        benchmark::DoNotOptimize(d.year);
        const char* s = d.getODBCDate();
        benchmark::DoNotOptimize(s);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Date_getODBCDate_qel)->Name("BM_Date_getODBCDate/qel");

void BM_Date_getODBCDate_snprintf(benchmark::State& state)
{
    Fields f;
    char buf[30];
    for (auto _ : state) {
        benchmark::DoNotOptimize(f);
        snprintf(buf, sizeof buf, "%04d-%02d-%02d", f.year, f.month, f.day);
        benchmark::DoNotOptimize(buf);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Date_getODBCDate_snprintf)->Name("BM_Date_getODBCDate/snprintf");

void BM_Date_getODBCDate_strftime(benchmark::State& state)
{
    strftimeLoop(state, "%Y-%m-%d", parsedDate().getODBCDate());
}
BENCHMARK(BM_Date_getODBCDate_strftime)->Name("BM_Date_getODBCDate/strftime");

void BM_Date_getODBCTimestamp_qel(benchmark::State& state)
{
    QELDate d = parsedDate();
    for (auto _ : state) {
        benchmark::DoNotOptimize(d.year);
        const char* s = d.getODBCTimestamp();
        benchmark::DoNotOptimize(s);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Date_getODBCTimestamp_qel)->Name("BM_Date_getODBCTimestamp/qel");

void BM_Date_getODBCTimestamp_snprintf(benchmark::State& state)
{
    Fields f;
    char buf[30];
    for (auto _ : state) {
        benchmark::DoNotOptimize(f);
        snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d.%d", f.year, f.month, f.day, f.hour, f.minute,
                 f.second, f.fraction);
        benchmark::DoNotOptimize(buf);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Date_getODBCTimestamp_snprintf)->Name("BM_Date_getODBCTimestamp/snprintf");

// strftime has no fraction: its digits are appended by hand, as the
// strptime peer reads them by hand.
void BM_Date_getODBCTimestamp_strftime(benchmark::State& state)
{
    struct tm t = brokenDown();
    Fields f;
    char buf[30];
    for (auto _ : state) {
        benchmark::DoNotOptimize(t);
        benchmark::DoNotOptimize(f.fraction);
        size_t n = strftime(buf, sizeof buf, "%Y-%m-%d %H:%M:%S.", &t);
        char digits[12];
        int k = 0;
        for (unsigned v = (unsigned)f.fraction; k == 0 || v != 0; v /= 10)
            digits[k++] = (char)('0' + v % 10);
        while (k > 0)
            buf[n++] = digits[--k];
        buf[n] = '\0';
        benchmark::DoNotOptimize(buf);
        benchmark::ClobberMemory();
    }
    if (strcmp(buf, parsedDate().getODBCTimestamp()) != 0)
        state.SkipWithError("strftime wrote another text");
}
BENCHMARK(BM_Date_getODBCTimestamp_strftime)->Name("BM_Date_getODBCTimestamp/strftime");

// getXmlTimestamp returns a new string: the peer builds a std::string.
void BM_Date_getXmlTimestamp_qel(benchmark::State& state)
{
    QELDate d = parsedDate();
    for (auto _ : state) {
        benchmark::DoNotOptimize(d.year);
        QELString s = d.getXmlTimestamp();
        benchmark::DoNotOptimize(s.p);
    }
}
BENCHMARK(BM_Date_getXmlTimestamp_qel)->Name("BM_Date_getXmlTimestamp/qel");

void BM_Date_getXmlTimestamp_snprintf(benchmark::State& state)
{
    Fields f;
    for (auto _ : state) {
        benchmark::DoNotOptimize(f);
        char buf[30];
        int n = snprintf(buf, sizeof buf, "%04d-%2d-%02dT%02d:%02d:%02dZ", f.year, f.month, f.day, f.hour,
                         f.minute, f.second);
        std::string s(buf, (size_t)n);
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(BM_Date_getXmlTimestamp_snprintf)->Name("BM_Date_getXmlTimestamp/snprintf");

// glibc's "%_m" pads the month with a blank, as the XML form does.
void BM_Date_getXmlTimestamp_strftime(benchmark::State& state)
{
    struct tm t = brokenDown();
    std::string s;
    for (auto _ : state) {
        benchmark::DoNotOptimize(t);
        char buf[30];
        size_t n = strftime(buf, sizeof buf, "%Y-%_m-%dT%H:%M:%SZ", &t);
        s = std::string(buf, n);
        benchmark::DoNotOptimize(s.data());
    }
    if (s != parsedDate().getXmlTimestamp().p)
        state.SkipWithError("strftime wrote another text");
}
BENCHMARK(BM_Date_getXmlTimestamp_strftime)->Name("BM_Date_getXmlTimestamp/strftime");

} // namespace

BENCHMARK_MAIN();
