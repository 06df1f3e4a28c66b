// The QProcess peers of QELProcessBench, in a file of their own: Qt's
// uchar (unsigned char) and the library's (unsigned short) cannot meet.
#include <benchmark/benchmark.h>

#include <QProcess>
#include <QStringList>

void qprocessTrue(benchmark::State& state, const char* program)
{
    for (auto _ : state) {
        QProcess process;
        process.start(QString::fromLatin1(program), QStringList());
        process.waitForFinished(-1);
        QByteArray out = process.readAllStandardOutput();
        QByteArray err = process.readAllStandardError();
        benchmark::DoNotOptimize(out.constData());
        benchmark::DoNotOptimize(err.constData());
    }
}

// QProcess reads both channels in its own loop; the output is gathered into
// one QByteArray as it arrives.
void qprocessCollect(benchmark::State& state, const char* program, const char* count, size_t bytes)
{
    for (auto _ : state) {
        QProcess process;
        QByteArray out, err;
        process.start(QString::fromLocal8Bit(program), QStringList{QString::fromLatin1(count)});
        process.closeWriteChannel();
        for (;;) {
            bool more = process.waitForReadyRead(-1);
            out += process.readAllStandardOutput();
            err += process.readAllStandardError();
            if (!more && process.state() == QProcess::NotRunning)
                break;
        }
        process.waitForFinished(-1);
        out += process.readAllStandardOutput();
        if (static_cast<size_t>(out.size()) != bytes)
            state.SkipWithError("short output");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
