// The QProcess peer of QELChildProcessBench's cat, in a file of its own: Qt's
// uchar (unsigned char) and the library's (unsigned short) cannot meet.
#include <benchmark/benchmark.h>

#include <QProcess>
#include <QStringList>

// QProcess writes from its own buffer while the loop waits for output; at
// most 1 MiB is queued ahead of what the child has taken.
void qprocessCat(benchmark::State& state, const char* program, size_t bytes)
{
    QByteArray block(65536, 'c');
    for (auto _ : state) {
        QProcess process;
        process.start(QString::fromLocal8Bit(program), QStringList());
        process.waitForStarted(-1);
        size_t sent = 0, received = 0;
        while (received < bytes) {
            while (sent < bytes && process.bytesToWrite() < (1 << 20)) {
                qint64 n = static_cast<qint64>(std::min(bytes - sent, static_cast<size_t>(block.size())));
                process.write(block.constData(), n);
                sent += static_cast<size_t>(n);
                if (sent == bytes)
                    process.closeWriteChannel();
            }
            if (!process.waitForReadyRead(-1) && process.state() == QProcess::NotRunning)
                break;
            received += static_cast<size_t>(process.readAllStandardOutput().size());
        }
        process.waitForFinished(-1);
        if (received != bytes)
            state.SkipWithError("short output");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
