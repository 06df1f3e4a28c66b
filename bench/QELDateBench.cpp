// QELDateBench: parsing "2006-03-05 14:07:09.123" with QELDate::setDate
// against strptime (plus the fraction by hand) and POCO's DateTimeParser, and
// writing each text form against snprintf of the same format.
// Names: BM_Date_<operation>/<qel|strptime|poco|snprintf>.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
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

} // namespace

BENCHMARK_MAIN();
