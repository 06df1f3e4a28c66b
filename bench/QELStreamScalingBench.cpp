// QELStreamScalingBench: the two stream readers at 1 MB, 10 MB, 100 MB and
// 1 GB, each beside its peer, with the time per megabyte and the peak
// resident set of the run.
// - The log deserializer against expat reading the same records as one
//   document, both fed in 12288-byte pipe pieces from one 1 MB block of
//   framed records and plain lines repeated, so that the input takes the same
//   memory at every size and the resident set shows what the reader keeps.
// - QELFile::getFullLine against std::getline on a file of that size, made of
//   one 1 MB block of mixed lines repeated, read from the page cache.
// Each is named Scaling/<reader>/<qel|std>/<megabytes>, with the counters
// ns_per_item (nanoseconds per megabyte) and peak_rss_MB (the high-water mark
// of the resident set during the run, reset before it through clear_refs),
// which bench/curves.py draws and tabulates.
#include <benchmark/benchmark.h>

#include <expat.h>
#include <string.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "QELStd.h"

namespace {

const size_t MEGABYTE = 1000 * 1000;
const size_t PIPE_PIECE = 12288;

// The peak resident set since the last reset, in megabytes.
double peakResidentMegabytes()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.compare(0, 6, "VmHWM:") == 0)
            return std::stod(line.substr(6)) * 1024 / MEGABYTE;
    return 0;
}

void resetPeakResident()
{
    std::ofstream("/proc/self/clear_refs") << "5";
}

// Times the run and records both counters; `run` reads `megabytes` MB once.
template <typename Run> void measure(benchmark::State& state, Run run)
{
    const size_t megabytes = static_cast<size_t>(state.range(0));
    resetPeakResident();
    for (auto _ : state)
        run(megabytes);
    // Megabytes per nanosecond, inverted: nanoseconds per megabyte.
    state.counters["ns_per_item"] = benchmark::Counter(static_cast<double>(state.iterations() * megabytes) / 1e9,
                                                       benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["peak_rss_MB"] = peakResidentMegabytes();
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * megabytes * MEGABYTE));
}

// --- The log stream ---

// One megabyte of a child's standard error: four records in five, a plain
// line otherwise; and where each record's XML lies in it.
struct LogBlock {
    std::string text;
    std::vector<std::pair<size_t, size_t>> records;

    LogBlock()
    {
        std::mt19937 rng(2024);
        QELLogEventXmlFormatter formatter;
        static const char* const words[] = { "connection", "to",    "<server>", "failed",      "&",  "retrying",
                                             "in",         "\"5\"", "seconds",  "caf\xc3\xa9", "\t", "ok" };
        for (;;) {
            std::string message;
            for (int i = 0, n = 4 + static_cast<int>(rng() % 20); i < n; i++)
                message += std::string(words[rng() % 12]) + ' ';
            std::string piece;
            if (rng() % 5 == 0) {
                piece = "plain " + message + "\n";
            } else {
                QELLogEvent event(QELString(message.c_str()), QELString(rng() % 2 ? "E1234" : ""),
                                  1 + static_cast<int>(rng() % 6), emptyString);
                QELString framed = formatter.formatEvent(event);
                piece.assign(framed.p, static_cast<size_t>(framed.len));
            }
            if (text.size() + piece.size() > MEGABYTE)
                break;
            if (piece[0] == '<')
                records.push_back({ text.size() + 29, piece.size() - 29 });
            text += piece;
        }
        text.append(MEGABYTE - text.size(), '\n'); // empty lines fill the block to one megabyte
    }
};

const LogBlock& logBlock()
{
    static const LogBlock block;
    return block;
}

class CountingDeserializer : public QELLogDeserializer {
public:
    size_t events = 0;
    CountingDeserializer() : QELLogDeserializer(NULL) { }
    void processEvent(const QELLogEvent& event) override { events += static_cast<size_t>(event.type) + 1; }
};

void deserializeMegabytes(size_t megabytes)
{
    const std::string& block = logBlock().text;
    std::vector<char> piece(PIPE_PIECE + 1);
    CountingDeserializer d;
    for (size_t m = 0; m < megabytes; m++) {
        for (size_t at = 0; at < block.size(); at += PIPE_PIECE) {
            size_t n = std::min(PIPE_PIECE, block.size() - at);
            memcpy(piece.data(), block.data() + at, n);
            piece[n] = '\0';
            QELString wrapped;
            wrapped.wrap(piece.data());
            d.append(wrapped);
        }
    }
    d.flush();
    benchmark::DoNotOptimize(d.events);
}

void XMLCALL countAttributes(void* data, const XML_Char*, const XML_Char** attributes)
{
    for (const XML_Char** a = attributes; *a; a += 2)
        ++*static_cast<size_t*>(data);
}

void expatMegabytes(size_t megabytes)
{
    const LogBlock& block = logBlock();
    size_t attributes = 0;
    XML_Parser parser = XML_ParserCreate(NULL);
    XML_SetUserData(parser, &attributes);
    XML_SetElementHandler(parser, countAttributes, NULL);
    XML_Parse(parser, "<Records>", 9, XML_FALSE);
    for (size_t m = 0; m < megabytes; m++)
        for (const auto& record : block.records)
            XML_Parse(parser, block.text.data() + record.first, static_cast<int>(record.second), XML_FALSE);
    XML_Parse(parser, "</Records>", 10, XML_TRUE);
    XML_ParserFree(parser);
    benchmark::DoNotOptimize(attributes);
}

void BM_StreamDeserializer_QEL(benchmark::State& state)
{
    deserializeMegabytes(1); // untimed: the block is made and the record parser loaded once
    measure(state, deserializeMegabytes);
}

void BM_StreamDeserializer_Expat(benchmark::State& state)
{
    logBlock();
    measure(state, expatMegabytes);
}

// --- The line file ---

// A file of `megabytes` MB of mixed lines (short, medium and longer than one
// 1023-byte chunk, one in ten ended by CR LF), written once and removed at
// exit.
class LineFile {
public:
    std::string path;

    explicit LineFile(size_t megabytes)
    {
        path = (std::filesystem::temp_directory_path()
                / ("qel_bench_scaling_" + std::to_string(::getpid()) + "_" + std::to_string(megabytes) + ".txt"))
                   .string();
        std::string block = mixedLines();
        std::ofstream out(path, std::ios::binary);
        for (size_t m = 0; m < megabytes; m++)
            out.write(block.data(), static_cast<std::streamsize>(block.size()));
    }
    ~LineFile() { std::remove(path.c_str()); }

private:
    static std::string mixedLines()
    {
        std::mt19937 rng(1023);
        static const char alphabet[] = "abcdefghijklmnopqrstuvwxyz ABCDEFGHIJKLMNOPQRSTUVWXYZ 0123456789 =,.;:";
        std::string block;
        while (block.size() < MEGABYTE) {
            unsigned r = rng() % 100;
            size_t n = r < 70 ? rng() % 80 : r < 95 ? 80 + rng() % 320 : 1000 + rng() % 4000;
            std::string line;
            for (size_t i = 0; i < n; i++)
                line += alphabet[rng() % (sizeof alphabet - 1)];
            line += rng() % 10 == 0 ? "\r\n" : "\n";
            block += line;
        }
        block.resize(MEGABYTE);
        block.back() = '\n';
        return block;
    }
};

const LineFile& lineFile(size_t megabytes)
{
    static std::vector<std::unique_ptr<LineFile>> files;
    for (const auto& file : files)
        if (file->path.find("_" + std::to_string(megabytes) + ".txt") != std::string::npos)
            return *file;
    files.push_back(std::make_unique<LineFile>(megabytes));
    return *files.back();
}

void BM_StreamGetFullLine_QEL(benchmark::State& state)
{
    const LineFile& file = lineFile(static_cast<size_t>(state.range(0)));
    measure(state, [&file](size_t) {
        QELFile in(QELString(file.path.c_str()));
        in.open(std::ios::in | std::ios::binary);
        size_t total = 0;
        for (;;) {
            QELString line = in.getFullLine(0);
            if (in.stream.eof() && line.len == 0)
                break;
            total += static_cast<size_t>(line.len);
        }
        benchmark::DoNotOptimize(total);
    });
}

void BM_StreamGetFullLine_StdGetline(benchmark::State& state)
{
    const LineFile& file = lineFile(static_cast<size_t>(state.range(0)));
    measure(state, [&file](size_t) {
        std::ifstream in(file.path, std::ios::binary);
        std::string line;
        size_t total = 0;
        while (std::getline(in, line))
            total += line.size();
        benchmark::DoNotOptimize(total);
    });
}

// Sizes in megabytes, each read once per run; CPU time, so that a shared
// machine's load moves the figures less.
void sizes(benchmark::internal::Benchmark* b)
{
    b->Unit(benchmark::kMillisecond);
    b->Arg(1)->Arg(10)->Arg(100)->Arg(1000);
}

} // namespace

BENCHMARK(BM_StreamDeserializer_QEL)->Name("Scaling/deserializer/qel")->Apply(sizes)->Iterations(1);
BENCHMARK(BM_StreamDeserializer_Expat)->Name("Scaling/deserializer/std")->Apply(sizes)->Iterations(1);
BENCHMARK(BM_StreamGetFullLine_QEL)->Name("Scaling/getFullLine/qel")->Apply(sizes)->Iterations(1);
BENCHMARK(BM_StreamGetFullLine_StdGetline)->Name("Scaling/getFullLine/std")->Apply(sizes)->Iterations(1);

BENCHMARK_MAIN();
