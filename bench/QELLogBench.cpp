// Benchmarks of the log formatters and sinks, and of spdlog formatting the
// same messages (when its headers are installed).
#include <benchmark/benchmark.h>

#include <ostream>
#include <streambuf>
#include <string>

#include "QELLog.h"

#if __has_include(<spdlog/spdlog.h>)
#define FMT_HEADER_ONLY
#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/details/null_mutex.h>
#define QEL_BENCH_SPDLOG 1
#endif

namespace {

// A stream that accepts and drops everything.
class NullBuffer : public std::streambuf {
protected:
    int overflow(int c) override { return c; }
    std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};
NullBuffer nullBuffer;
std::ostream nullStream(&nullBuffer);

const char* const shortMessage = "Connection to repository server established in 42 ms";
const char* const escapedMessage = "Value <a & b> is \"out\" of range\tfor column";

QELLogEvent makeEvent(const char* message, const char* code = "", const char* trace = "")
{
    return QELLogEvent(QELString(message), QELString(code), 5, QELString(trace));
}

// An event as a caller without code or stack trace makes it: the message
// from a C string, the library's shared empty string for the other two.
QELLogEvent makeMessageEvent(const char* message)
{
    return QELLogEvent(QELString(message), emptyString, 5, emptyString);
}

void BM_QELTextFormat(benchmark::State& state)
{
    QELLogEventTextFormatter formatter;
    QELLogEvent event = makeEvent(shortMessage);
    for (auto _ : state) {
        QELString text = formatter.formatEvent(event);
        benchmark::DoNotOptimize(text.p);
    }
}
BENCHMARK(BM_QELTextFormat);

void BM_QELXmlFormat(benchmark::State& state)
{
    QELLogEventXmlFormatter formatter;
    QELLogEvent event = makeEvent(shortMessage, "QEL-1042");
    for (auto _ : state) {
        QELString text = formatter.formatEvent(event);
        benchmark::DoNotOptimize(text.p);
    }
}
BENCHMARK(BM_QELXmlFormat);

void BM_QELXmlFormatEscaped(benchmark::State& state)
{
    QELLogEventXmlFormatter formatter;
    QELLogEvent event = makeEvent(escapedMessage, "", "at f()\nat main()");
    for (auto _ : state) {
        QELString text = formatter.formatEvent(event);
        benchmark::DoNotOptimize(text.p);
    }
}
BENCHMARK(BM_QELXmlFormatEscaped);

void BM_QELXmlFormatLong(benchmark::State& state)
{
    QELLogEventXmlFormatter formatter;
    std::string message(4000, 'x');
    QELLogEvent event = makeEvent(message.c_str());
    for (auto _ : state) {
        QELString text = formatter.formatEvent(event);
        benchmark::DoNotOptimize(text.p);
    }
    state.SetBytesProcessed((int64_t)(state.iterations() * message.size()));
}
BENCHMARK(BM_QELXmlFormatLong);

// The whole road: make the event (reads the clock), filter, format, write.
void BM_QELTextLogNewEvent(benchmark::State& state)
{
    QELTextLog log(nullStream);
    log.setLogLevel(6);
    for (auto _ : state)
        log.log(makeMessageEvent(shortMessage));
}
BENCHMARK(BM_QELTextLogNewEvent);

void BM_QELXmlLogNewEvent(benchmark::State& state)
{
    QELXmlLog log(nullStream);
    log.setLogLevel(6);
    for (auto _ : state)
        log.log(makeMessageEvent(shortMessage));
}
BENCHMARK(BM_QELXmlLogNewEvent);

void BM_QELXmlLogFiltered(benchmark::State& state)
{
    QELXmlLog log(nullStream);
    log.setLogLevel(2);
    QELLogEvent event = makeEvent(shortMessage);
    for (auto _ : state)
        log.log(event);
}
BENCHMARK(BM_QELXmlLogFiltered);

void BM_QELBufferedXmlLog(benchmark::State& state)
{
    QELLogEvent event = makeEvent(shortMessage);
    for (auto _ : state) {
        QELBufferedXmlLog log;
        log.setLogLevel(6);
        for (int i = 0; i < 1000; i++)
            log.log(event);
        benchmark::DoNotOptimize(log.getBuffer().p);
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BM_QELBufferedXmlLog);

#ifdef QEL_BENCH_SPDLOG
// A sink that formats every message with the logger's pattern and drops it,
// so that the cost measured is spdlog's formatting, as for the QEL sinks.
class FormattingNullSink : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
protected:
    void sink_it_(const spdlog::details::log_msg& msg) override
    {
        spdlog::memory_buf_t formatted;
        formatter_->format(msg, formatted);
        nullStream.write(formatted.data(), (std::streamsize)formatted.size());
    }
    void flush_() override {}
};

void spdlogFormat(benchmark::State& state, const char* pattern, const char* message)
{
    auto sink = std::make_shared<FormattingNullSink>();
    spdlog::logger logger("bench", sink);
    if (pattern)
        logger.set_pattern(pattern);
    logger.set_level(spdlog::level::trace);
    for (auto _ : state)
        logger.info(message);
}

// spdlog's default pattern: "[%Y-%m-%d %H:%M:%S.%e] [%n] [%l] %v".
void BM_SpdlogDefaultPattern(benchmark::State& state)
{
    spdlogFormat(state, nullptr, shortMessage);
}
BENCHMARK(BM_SpdlogDefaultPattern);

// The nearest pattern to the QEL text line: the level and the message.
void BM_SpdlogLevelAndMessage(benchmark::State& state)
{
    spdlogFormat(state, "<%l> %v", shortMessage);
}
BENCHMARK(BM_SpdlogLevelAndMessage);

// The nearest pattern to the QEL XML record (no escaping, no framing).
void BM_SpdlogXmlLikePattern(benchmark::State& state)
{
    spdlogFormat(state, "<Message type=\"%l\" timestamp=\"%Y-%m-%dT%H:%M:%SZ\">%v</Message>",
                 shortMessage);
}
BENCHMARK(BM_SpdlogXmlLikePattern);

void BM_SpdlogFiltered(benchmark::State& state)
{
    auto sink = std::make_shared<FormattingNullSink>();
    spdlog::logger logger("bench", sink);
    logger.set_level(spdlog::level::err);
    for (auto _ : state)
        logger.info(shortMessage);
}
BENCHMARK(BM_SpdlogFiltered);
#endif

} // namespace

BENCHMARK_MAIN();
