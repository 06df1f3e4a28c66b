// QELLogDeserializerBench: splitting and parsing a 50 MB stream of framed
// records and plain lines, against expat parsing the same records one by one
// with a reset parser; 10 MB of one line against 10 MB of short lines; and
// 64 MB of hostile input against 64 MB of plain lines of the same shape.
#include <benchmark/benchmark.h>

#include <expat.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include "QELStd.h"

namespace {

const size_t kStreamBytes = 50 * 1000 * 1000;
const size_t kPiece = 12288;

// The stream as a child's standard error would carry it: four records in
// five, a plain line otherwise; and where each record lies in it.
struct Stream {
    std::string text;
    std::vector<std::pair<size_t, size_t>> records; // start, length of the XML

    Stream()
    {
        std::mt19937 rng(2024);
        QELLogEventXmlFormatter formatter;
        static const char* const words[] = {"connection", "to", "<server>", "failed", "&", "retrying",
                                            "in", "\"5\"", "seconds", "caf\xc3\xa9", "\t", "ok"};
        text.reserve(kStreamBytes + 4096);
        while (text.size() < kStreamBytes) {
            std::string message;
            int n = 4 + static_cast<int>(rng() % 20);
            for (int i = 0; i < n; i++) {
                message += words[rng() % 12];
                message += ' ';
            }
            if (rng() % 5 == 0) {
                text += "plain " + message + "\n";
                continue;
            }
            QELLogEvent event(QELString(message.c_str()), QELString(rng() % 2 ? "E1234" : ""),
                              1 + static_cast<int>(rng() % 6),
                              QELString(rng() % 4 == 0 ? "at module.cpp:42\nat main.cpp:7" : ""));
            QELString framed = formatter.formatEvent(event);
            records.push_back({text.size() + 29, static_cast<size_t>(framed.length()) - 29});
            text.append(framed.chars(), framed.length());
        }
    }
};

const Stream& stream()
{
    static const Stream s;
    return s;
}

// Counts events without formatting them.
class CountingDeserializer : public QELLogDeserializer {
public:
    size_t events = 0;
    CountingDeserializer() : QELLogDeserializer(NULL) {}
    void processEvent(const QELLogEvent& event) override
    {
        events += static_cast<size_t>(event.type) + 1;
    }
};

// Appends `text` to `d` in pipe-sized pieces, as exec's reader does.
void feedInPipePieces(QELLogDeserializer& d, const std::string& text)
{
    std::vector<char> piece(kPiece + 1);
    for (size_t at = 0; at < text.size(); at += kPiece) {
        size_t n = std::min(kPiece, text.size() - at);
        memcpy(piece.data(), text.data() + at, n);
        piece[n] = '\0';
        QELString wrapped;
        wrapped.wrap(piece.data());
        d.append(wrapped);
    }
}

void BM_Deserializer_Stream50MB(benchmark::State& state)
{
    const std::string& text = stream().text;
    for (auto _ : state) {
        CountingDeserializer d;
        feedInPipePieces(d, text);
        d.flush();
        benchmark::DoNotOptimize(d.events);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_Deserializer_Stream50MB)->Unit(benchmark::kMillisecond);

// The floor: expat alone on every record of the stream, reset between
// records, collecting the attributes' count and the text.
struct ExpatSink {
    size_t attributes = 0;
    std::string text;
};

void XMLCALL expatStart(void* data, const XML_Char*, const XML_Char** attributes)
{
    ExpatSink* sink = static_cast<ExpatSink*>(data);
    for (const XML_Char** a = attributes; *a; a += 2)
        sink->attributes++;
}

void XMLCALL expatText(void* data, const XML_Char* text, int length)
{
    static_cast<ExpatSink*>(data)->text.append(text, static_cast<size_t>(length));
}

void BM_Expat_RecordsOneByOne(benchmark::State& state)
{
    const Stream& s = stream();
    XML_Parser parser = XML_ParserCreate(NULL);
    ExpatSink sink;
    for (auto _ : state) {
        for (const auto& record : s.records) {
            XML_ParserReset(parser, NULL);
            XML_SetUserData(parser, &sink);
            XML_SetElementHandler(parser, expatStart, NULL);
            XML_SetCharacterDataHandler(parser, expatText);
            sink.text.clear();
            XML_Parse(parser, s.text.data() + record.first, static_cast<int>(record.second), XML_TRUE);
        }
        benchmark::DoNotOptimize(sink.attributes);
    }
    XML_ParserFree(parser);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * s.text.size()));
}
BENCHMARK(BM_Expat_RecordsOneByOne)->Unit(benchmark::kMillisecond);

// The peer with no per-record cost at all: expat on every record of the
// stream as the content of one document, with one parser and no reset.
void BM_Expat_RecordsAsOneStream(benchmark::State& state)
{
    const Stream& s = stream();
    ExpatSink sink;
    for (auto _ : state) {
        XML_Parser parser = XML_ParserCreate(NULL);
        XML_SetUserData(parser, &sink);
        XML_SetElementHandler(parser, expatStart, NULL);
        XML_SetCharacterDataHandler(parser, expatText);
        XML_Parse(parser, "<Records>", 9, XML_FALSE);
        for (const auto& record : s.records)
            XML_Parse(parser, s.text.data() + record.first, static_cast<int>(record.second), XML_FALSE);
        XML_Parse(parser, "</Records>", 10, XML_TRUE);
        XML_ParserFree(parser);
        benchmark::DoNotOptimize(sink.attributes);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * s.text.size()));
}
BENCHMARK(BM_Expat_RecordsAsOneStream)->Unit(benchmark::kMillisecond);

// 10 MB of standard error in pipe-sized pieces: one line without a line end
// until the last byte, against the same bytes cut into 100-byte lines.
void feedTenMegabytes(benchmark::State& state, bool withLineEnds)
{
    const size_t total = 10 * 1000 * 1000;
    std::string text(total, 'x');
    if (withLineEnds)
        for (size_t i = 99; i < total; i += 100)
            text[i] = '\n';
    text[total - 1] = '\n';
    for (auto _ : state) {
        CountingDeserializer d;
        feedInPipePieces(d, text);
        benchmark::DoNotOptimize(d.events);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * total));
}

void BM_Deserializer_TenMegabytesOneLine(benchmark::State& state)
{
    feedTenMegabytes(state, false);
}
BENCHMARK(BM_Deserializer_TenMegabytesOneLine)->Unit(benchmark::kMillisecond);

void BM_Deserializer_TenMegabytesShortLines(benchmark::State& state)
{
    feedTenMegabytes(state, true);
}
BENCHMARK(BM_Deserializer_TenMegabytesShortLines)->Unit(benchmark::kMillisecond);

// 64 MB built to make the reader work hard, each beside 64 MB of harmless
// plain text of the same shape: one line that opens with a header start and
// goes on in digits, against one line of letters; lines that are all
// headers asking for 10 MB records, against lines of letters as long.
const size_t kHostileBytes = 64u << 20;

std::string repeatedUpTo64MB(const std::string& opening, const std::string& unit)
{
    std::string text = opening;
    text.reserve(kHostileBytes + unit.size());
    while (text.size() < kHostileBytes)
        text += unit;
    return text + "\n";
}

void feed64MB(benchmark::State& state, const std::string& text)
{
    for (auto _ : state) {
        CountingDeserializer d;
        feedInPipePieces(d, text);
        d.flush();
        benchmark::DoNotOptimize(d.events);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_Deserializer_HeaderStartThenDigits64MB(benchmark::State& state)
{
    feed64MB(state, repeatedUpTo64MB("<!-- QELLog size=", "1234567890"));
}
BENCHMARK(BM_Deserializer_HeaderStartThenDigits64MB)->Unit(benchmark::kMillisecond);

void BM_Deserializer_OneLine64MB(benchmark::State& state)
{
    feed64MB(state, repeatedUpTo64MB("", "abcdefghij"));
}
BENCHMARK(BM_Deserializer_OneLine64MB)->Unit(benchmark::kMillisecond);

void BM_Deserializer_BogusHeaderLines64MB(benchmark::State& state)
{
    feed64MB(state, repeatedUpTo64MB("", "<!-- QELLog size=10000000 -->\n"));
}
BENCHMARK(BM_Deserializer_BogusHeaderLines64MB)->Unit(benchmark::kMillisecond);

void BM_Deserializer_ShortLines64MB(benchmark::State& state)
{
    feed64MB(state, repeatedUpTo64MB("", "abcdefghijklmnopqrstuvwxyzabc\n"));
}
BENCHMARK(BM_Deserializer_ShortLines64MB)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
