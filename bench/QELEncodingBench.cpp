// QELEncodingBench: 10 MB of ISO-8859-1 text converted to UTF-8 with
// convertEncoding, against ICU's ucnv_convert and iconv on the same bytes.
// Names: BM_Encoding_latin1ToUtf8/<qel|icu|iconv>.
#include <benchmark/benchmark.h>

#include <iconv.h>
#include <unicode/ucnv.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "QELEncoding.h"

namespace {

const size_t kBytes = 10 * 1000 * 1000;

// Mostly ASCII prose with a Latin-1 letter now and then (no NUL byte: the
// library's strings are NUL-terminated).
const std::string& latin1Text()
{
    static std::string text = [] {
        std::mt19937 rng(8859);
        static const char ascii[] = "abcdefghijklmnopqrstuvwxyz ABCDEFGHIJKLMNOPQRSTUVWXYZ 0123456789 .,;\n";
        std::string s;
        s.reserve(kBytes);
        while (s.size() < kBytes) {
            unsigned r = rng() % 100;
            if (r < 8)
                s += (char)(0xC0 + rng() % 64); // accented letters
            else
                s += ascii[rng() % (sizeof ascii - 1)];
        }
        return s;
    }();
    return text;
}

size_t utf8Length(const std::string& latin1)
{
    size_t n = 0;
    for (unsigned char c : latin1)
        n += c < 0x80 ? 1 : 2;
    return n;
}

void BM_Encoding_qel(benchmark::State& state)
{
    const std::string& text = latin1Text();
    const size_t expected = utf8Length(text);
    QELString s(text.c_str(), (int)text.size());
    QELEncodingConverter from(QELString("ISO-8859-1")), to(QELString("UTF-8"));
    int conversions = 0, failures = 0;
    for (auto _ : state) {
        QELString out = convertEncoding(s, &from, &to, conversions, failures);
        if ((size_t)out.length() != expected)
            state.SkipWithError("wrong length");
        benchmark::DoNotOptimize(out.p);
    }
    if (failures != 0)
        state.SkipWithError("conversion failed");
    state.SetBytesProcessed((int64_t)(state.iterations() * text.size()));
}
BENCHMARK(BM_Encoding_qel)->Name("BM_Encoding_latin1ToUtf8/qel")->Unit(benchmark::kMillisecond);

// ICU's one-call conversion into a fresh block of the worst-case size, the
// result then copied into a std::string of its size: the same allocations as
// the library's temporary and its returned copy.
void BM_Encoding_icu(benchmark::State& state)
{
    const std::string& text = latin1Text();
    const size_t expected = utf8Length(text);
    const size_t capacity = text.size() * 3 + 2;
    for (auto _ : state) {
        std::unique_ptr<char[]> block(new char[capacity]);
        char* buffer = block.get();
        UErrorCode status = U_ZERO_ERROR;
        int32_t n = ucnv_convert("UTF-8", "ISO-8859-1", buffer, (int32_t)capacity, text.data(),
                                 (int32_t)text.size(), &status);
        if (U_FAILURE(status) || (size_t)n != expected)
            state.SkipWithError("ucnv_convert failed");
        std::string out(buffer, (size_t)n);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed((int64_t)(state.iterations() * text.size()));
}
BENCHMARK(BM_Encoding_icu)->Name("BM_Encoding_latin1ToUtf8/icu")->Unit(benchmark::kMillisecond);

void BM_Encoding_iconv(benchmark::State& state)
{
    const std::string& text = latin1Text();
    const size_t expected = utf8Length(text);
    const size_t capacity = text.size() * 3 + 2;
    iconv_t cd = iconv_open("UTF-8", "ISO-8859-1");
    for (auto _ : state) {
        std::unique_ptr<char[]> block(new char[capacity]);
        char* buffer = block.get();
        char* in = const_cast<char*>(text.data());
        size_t inLeft = text.size();
        char* out = buffer;
        size_t outLeft = capacity;
        iconv(cd, NULL, NULL, NULL, NULL);
        size_t r = iconv(cd, &in, &inLeft, &out, &outLeft);
        size_t n = (size_t)(out - buffer);
        if (r == (size_t)-1 || n != expected)
            state.SkipWithError("iconv failed");
        std::string result(buffer, n);
        benchmark::DoNotOptimize(result.data());
    }
    iconv_close(cd);
    state.SetBytesProcessed((int64_t)(state.iterations() * text.size()));
}
BENCHMARK(BM_Encoding_iconv)->Name("BM_Encoding_latin1ToUtf8/iconv")->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
