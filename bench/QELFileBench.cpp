// Benchmarks of QELFile::getFullLine against std::getline on a 100 MB file
// of mixed lines (short, medium and longer than one 1023-byte chunk).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include <unistd.h>

#include "QELFile.h"

namespace {

// The test file, written once per run into the temporary directory and
// removed at exit.
class MixedLines {
public:
    std::string path;
    size_t bytes = 0;
    size_t lines = 0;

    MixedLines()
    {
        path = (std::filesystem::temp_directory_path() /
                ("qel_bench_lines_" + std::to_string(::getpid()) + ".txt")).string();
        std::mt19937 rng(1023);
        std::string line;
        std::ofstream out(path, std::ios::binary);
        static const char alphabet[] =
            "abcdefghijklmnopqrstuvwxyz ABCDEFGHIJKLMNOPQRSTUVWXYZ 0123456789 =,.;:\"\\/-_";
        while (bytes < 100u * 1024 * 1024) {
            unsigned r = rng() % 100;
            size_t n = r < 70 ? rng() % 80 : r < 95 ? 80 + rng() % 320 : 1000 + rng() % 4000;
            line.clear();
            for (size_t i = 0; i < n; i++)
                line += alphabet[rng() % (sizeof alphabet - 1)];
            line += rng() % 10 == 0 ? "\r\n" : "\n";
            out.write(line.data(), (std::streamsize)line.size());
            bytes += line.size();
            lines++;
        }
    }
    ~MixedLines() { std::remove(path.c_str()); }
};

const MixedLines& mixedLines()
{
    static MixedLines file;
    return file;
}

void BM_StdGetline(benchmark::State& state)
{
    const MixedLines& file = mixedLines();
    for (auto _ : state) {
        std::ifstream in(file.path, std::ios::binary);
        std::string line;
        size_t total = 0, count = 0;
        while (std::getline(in, line)) {
            total += line.size();
            count++;
        }
        benchmark::DoNotOptimize(total);
        if (count != file.lines)
            state.SkipWithError("line count");
    }
    state.SetBytesProcessed((int64_t)(state.iterations() * file.bytes));
}
BENCHMARK(BM_StdGetline)->Unit(benchmark::kMillisecond)->MinTime(2.0);

void getFullLine(benchmark::State& state, int flags)
{
    const MixedLines& file = mixedLines();
    for (auto _ : state) {
        QELFile in(QELString(file.path.c_str()));
        in.open(std::ios::in | std::ios::binary);
        size_t total = 0, count = 0;
        for (;;) {
            QELString line = in.getFullLine(flags);
            if (in.stream.eof() && line.len == 0)
                break;
            total += (size_t)line.len;
            count++;
        }
        benchmark::DoNotOptimize(total);
        if (flags == 0 && count != file.lines)
            state.SkipWithError("line count");
    }
    state.SetBytesProcessed((int64_t)(state.iterations() * file.bytes));
}

void BM_QELGetFullLine0(benchmark::State& state)
{
    getFullLine(state, 0);
}
BENCHMARK(BM_QELGetFullLine0)->Unit(benchmark::kMillisecond)->MinTime(2.0);

void BM_QELGetFullLineTrim(benchmark::State& state)
{
    getFullLine(state, 0x40);
}
BENCHMARK(BM_QELGetFullLineTrim)->Unit(benchmark::kMillisecond)->MinTime(2.0);

void BM_QELGetFullLineAllFlags(benchmark::State& state)
{
    getFullLine(state, 0x7F);
}
BENCHMARK(BM_QELGetFullLineAllFlags)->Unit(benchmark::kMillisecond)->MinTime(2.0);

} // namespace

BENCHMARK_MAIN();
