// QELStringBench: the string hot paths (appending 16-byte pieces, operator+,
// mid, toUpper, hashCode) on 64-byte and 1 KiB texts, each beside
// std::string and, when Qt Core is available, QByteArray. Every benchmark is
// named BM_String_<operation>_<size>/<qel|std|qt> so that results pair up.
#include <benchmark/benchmark.h>

#include <cctype>
#include <functional>
#include <string>

#include "QELString.h"

#ifdef QEL_BENCH_QT
// In QELStringBenchQt.cpp: Qt's uchar is not the library's, so the two
// headers never meet in one file.
void appendQt(benchmark::State& state, size_t size);
void plusQt(benchmark::State& state, size_t size);
void midQt(benchmark::State& state, size_t size);
void upperQt(benchmark::State& state, size_t size);
void hashQt(benchmark::State& state, size_t size);
#endif

// A printable mixed-case text of n bytes (deterministic).
std::string makeText(size_t n)
{
    static const char alphabet[] = "The quick Brown fox JUMPS over 13 lazy dogs; ";
    std::string s;
    s.reserve(n);
    for (size_t i = 0; i < n; i++)
        s += alphabet[(i * 7 + i / 5) % (sizeof alphabet - 1)];
    return s;
}

namespace {

const char kPiece[] = "0123456789abcdef"; // 16 bytes

// ---------------------------------------------------------------- append

void appendQel(benchmark::State& state, size_t size)
{
    const QELString piece(kPiece, 16);
    for (auto _ : state) {
        QELString s;
        for (size_t n = 0; n < size; n += 16)
            s += piece;
        benchmark::DoNotOptimize(s.p);
    }
}

void appendStd(benchmark::State& state, size_t size)
{
    const std::string piece(kPiece, 16);
    for (auto _ : state) {
        std::string s;
        for (size_t n = 0; n < size; n += 16)
            s += piece;
        benchmark::DoNotOptimize(s.data());
    }
}

// ---------------------------------------------------------------- operator+

void plusQel(benchmark::State& state, size_t size)
{
    std::string text = makeText(size);
    const QELString a(text.c_str(), (int)(size / 2)), b(text.c_str() + size / 2, (int)(size - size / 2));
    for (auto _ : state) {
        QELString s = a + b;
        benchmark::DoNotOptimize(s.p);
    }
}

void plusStd(benchmark::State& state, size_t size)
{
    std::string text = makeText(size);
    const std::string a = text.substr(0, size / 2), b = text.substr(size / 2);
    for (auto _ : state) {
        std::string s = a + b;
        benchmark::DoNotOptimize(s.data());
    }
}

// ---------------------------------------------------------------- mid

void midQel(benchmark::State& state, size_t size)
{
    std::string text = makeText(size);
    const QELString s(text.c_str(), (int)size);
    for (auto _ : state) {
        QELString m = s.mid((unsigned)(size / 4), (unsigned)(size / 2));
        benchmark::DoNotOptimize(m.p);
    }
}

void midStd(benchmark::State& state, size_t size)
{
    const std::string s = makeText(size);
    for (auto _ : state) {
        std::string m = s.substr(size / 4, size / 2);
        benchmark::DoNotOptimize(m.data());
    }
}

// ---------------------------------------------------------------- toUpper
// In place on both sides: the std:: peer is the usual toupper loop.

void upperQel(benchmark::State& state, size_t size)
{
    std::string text = makeText(size);
    QELString s(text.c_str(), (int)size);
    for (auto _ : state) {
        s.toUpper();
        benchmark::DoNotOptimize(s.p);
        benchmark::ClobberMemory();
    }
}

void upperStd(benchmark::State& state, size_t size)
{
    std::string s = makeText(size);
    for (auto _ : state) {
        for (char& c : s)
            c = (char)toupper((unsigned char)c);
        benchmark::DoNotOptimize(s.data());
        benchmark::ClobberMemory();
    }
}

// ---------------------------------------------------------------- hashCode

void hashQel(benchmark::State& state, size_t size)
{
    std::string text = makeText(size);
    const QELString s(text.c_str(), (int)size);
    for (auto _ : state) {
        benchmark::DoNotOptimize(s.p);
        unsigned h = s.hashCode();
        benchmark::DoNotOptimize(h);
    }
}

void hashStd(benchmark::State& state, size_t size)
{
    const std::string s = makeText(size);
    std::hash<std::string> hasher;
    for (auto _ : state) {
        benchmark::DoNotOptimize(s.data());
        size_t h = hasher(s);
        benchmark::DoNotOptimize(h);
    }
}


typedef void (*Fn)(benchmark::State&, size_t);

void registerOne(const char* op, size_t size, const char* who, Fn fn)
{
    std::string name = std::string("BM_String_") + op + "_" + (size == 64 ? "64" : "1K") + "/" + who;
    benchmark::RegisterBenchmark(name.c_str(), fn, size);
}

struct Registrar {
    Registrar()
    {
        struct Op {
            const char* name;
            Fn qel, std_;
#ifdef QEL_BENCH_QT
            Fn qt;
#endif
        };
        static const Op ops[] = {
#ifdef QEL_BENCH_QT
            {"append16", appendQel, appendStd, appendQt},
            {"plus", plusQel, plusStd, plusQt},
            {"mid", midQel, midStd, midQt},
            {"toUpper", upperQel, upperStd, upperQt},
            {"hashCode", hashQel, hashStd, hashQt},
#else
            {"append16", appendQel, appendStd},
            {"plus", plusQel, plusStd},
            {"mid", midQel, midStd},
            {"toUpper", upperQel, upperStd},
            {"hashCode", hashQel, hashStd},
#endif
        };
        for (const Op& op : ops)
            for (size_t size : {(size_t)64, (size_t)1024}) {
                registerOne(op.name, size, "qel", op.qel);
                registerOne(op.name, size, "std", op.std_);
#ifdef QEL_BENCH_QT
                registerOne(op.name, size, "qt", op.qt);
#endif
            }
    }
} registrar;

} // namespace

BENCHMARK_MAIN();
