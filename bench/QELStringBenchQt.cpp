// The QByteArray peers of QELStringBench, in a file of their own: Qt's
// uchar (unsigned char) and the library's (unsigned short) cannot meet.
#include <benchmark/benchmark.h>

#include <string>

#include <QByteArray>
#include <QHash>

std::string makeText(size_t n);

static const char kPiece[] = "0123456789abcdef"; // 16 bytes

void appendQt(benchmark::State& state, size_t size)
{
    const QByteArray piece(kPiece, 16);
    for (auto _ : state) {
        QByteArray s;
        for (size_t n = 0; n < size; n += 16)
            s += piece;
        benchmark::DoNotOptimize(s.constData());
    }
}

void plusQt(benchmark::State& state, size_t size)
{
    std::string text = makeText(size);
    const QByteArray a(text.c_str(), (int)(size / 2)), b(text.c_str() + size / 2, (int)(size - size / 2));
    for (auto _ : state) {
        QByteArray s = a + b;
        benchmark::DoNotOptimize(s.constData());
    }
}

void midQt(benchmark::State& state, size_t size)
{
    std::string text = makeText(size);
    const QByteArray s(text.c_str(), (int)size);
    for (auto _ : state) {
        QByteArray m = s.mid((int)(size / 4), (int)(size / 2));
        m.detach(); // mid may share the data; make it a real copy like the others
        benchmark::DoNotOptimize(m.constData());
    }
}

void upperQt(benchmark::State& state, size_t size)
{
    std::string text = makeText(size);
    QByteArray s(text.c_str(), (int)size);
    for (auto _ : state) {
        s = std::move(s).toUpper(); // in place when the data is not shared
        benchmark::DoNotOptimize(s.constData());
    }
}

void hashQt(benchmark::State& state, size_t size)
{
    std::string text = makeText(size);
    const QByteArray s(text.c_str(), (int)size);
    for (auto _ : state) {
        benchmark::DoNotOptimize(s.constData());
        uint h = qHash(s);
        benchmark::DoNotOptimize(h);
    }
}
