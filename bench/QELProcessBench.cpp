// QELProcessBench: starting and waiting for /bin/true, and collecting 256 MiB
// that a child writes, through launchInSeparateProcess against a hand-written
// fork/execv/waitpid with three pipes (and two reader threads to collect).
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "QELStd.h"

namespace {

const char* const kCollectScript = "head -c 268435456 /dev/zero | tr '\\0' a";
const size_t kCollectBytes = 268435456;

// The baseline: three pipes, fork, dup2 and execv in the child; the parent
// closes its ends and reads standard output and error with two threads.
int handWrittenRun(const char* path, char* const* argv, std::string* out, std::string* err, bool threads)
{
    int in[2], o[2], e[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(o, O_CLOEXEC) != 0 || pipe2(e, O_CLOEXEC) != 0)
        return -1;
    pid_t child = fork();
    if (child == 0) {
        dup2(in[0], 0);
        dup2(o[1], 1);
        dup2(e[1], 2);
        execv(path, argv);
        _exit(127);
    }
    close(in[0]);
    close(o[1]);
    close(e[1]);
    close(in[1]);
    auto reader = [](int fd, std::string* text) {
        char piece[65536];
        ssize_t n;
        while ((n = read(fd, piece, sizeof piece)) > 0)
            text->append(piece, static_cast<size_t>(n));
    };
    if (threads) {
        std::thread t1(reader, o[0], out);
        std::thread t2(reader, e[0], err);
        t1.join();
        t2.join();
    } else {
        reader(o[0], out);
        reader(e[0], err);
    }
    int status = 0;
    waitpid(child, &status, 0);
    close(o[0]);
    close(e[0]);
    return status;
}

void BM_Launch_True(benchmark::State& state)
{
    for (auto _ : state) {
        QELString out, err;
        int status = -1;
        launchInSeparateProcess(QELString("/bin/true"), 0, NULL, &status, emptyString, &out, &err, NULL, NULL);
        benchmark::DoNotOptimize(status);
    }
}
BENCHMARK(BM_Launch_True)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BM_HandWritten_True(benchmark::State& state)
{
    char path[] = "/bin/true";
    char* argv[] = {path, NULL};
    for (auto _ : state) {
        std::string out, err;
        int status = handWrittenRun(path, argv, &out, &err, false);
        benchmark::DoNotOptimize(status);
    }
}
BENCHMARK(BM_HandWritten_True)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BM_Launch_Collect256MiB(benchmark::State& state)
{
    QELString args[] = {QELString("-c"), QELString(kCollectScript)};
    for (auto _ : state) {
        QELString out, err;
        int status = -1;
        launchInSeparateProcess(QELString("/bin/sh"), 2, args, &status, emptyString, &out, &err, NULL, NULL);
        if (static_cast<size_t>(out.length()) != kCollectBytes)
            state.SkipWithError("short output");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCollectBytes));
}
BENCHMARK(BM_Launch_Collect256MiB)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_HandWritten_Collect256MiB(benchmark::State& state)
{
    char path[] = "/bin/sh";
    char c[] = "-c";
    std::string script = kCollectScript;
    char* argv[] = {path, c, &script[0], NULL};
    for (auto _ : state) {
        std::string out, err;
        handWrittenRun(path, argv, &out, &err, true);
        if (out.size() != kCollectBytes)
            state.SkipWithError("short output");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCollectBytes));
}
BENCHMARK(BM_HandWritten_Collect256MiB)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace

BENCHMARK_MAIN();
