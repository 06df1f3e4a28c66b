// QELProcessBench: starting and waiting for /bin/true, and collecting 256 MiB
// that a child writes, through launchInSeparateProcess against a hand-written
// fork/execv/waitpid with three pipes (and two reader threads to collect),
// posix_spawn with the same pipes, and, when installed, POCO's
// Process::launch and Qt's QProcess.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "QELStd.h"

#ifdef QEL_BENCH_POCO
#include <Poco/Pipe.h>
#include <Poco/Process.h>
#endif
#ifdef QEL_BENCH_QT
// In QELProcessBenchQt.cpp: Qt's uchar is not the library's, so the two
// headers never meet in one file.
void qprocessTrue(benchmark::State& state, const char* program);
void qprocessCollect(benchmark::State& state, const char* program, const char* count, size_t bytes);
#endif

extern char** environ;

namespace {

// The child that writes the 256 MiB itself: a small program beside this
// benchmark that writes its argument's count of 'a' bytes to standard output
// (the library's strings stop at a NUL, so no /dev/zero).
const char* const kCollectCount = "268435456";

const std::string& writerPath()
{
    static const std::string path = [] {
        char self[4096];
        ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
        std::string p(self, n > 0 ? static_cast<size_t>(n) : 0);
        return p.substr(0, p.rfind('/') + 1) + "bench_write_bytes";
    }();
    return path;
}
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

// The baseline reads both pipes with two threads, as the library does: a
// program that reads one pipe to its end before the other can deadlock on a
// child that fills the second one.
void BM_HandWritten_True(benchmark::State& state)
{
    char path[] = "/bin/true";
    char* argv[] = {path, NULL};
    for (auto _ : state) {
        std::string out, err;
        int status = handWrittenRun(path, argv, &out, &err, true);
        benchmark::DoNotOptimize(status);
    }
}
BENCHMARK(BM_HandWritten_True)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BM_Launch_Collect256MiB(benchmark::State& state)
{
    QELString args[] = {QELString(kCollectCount)};
    for (auto _ : state) {
        QELString out, err;
        int status = -1;
        launchInSeparateProcess(QELString(writerPath().c_str()), 1, args, &status, emptyString, &out, &err, NULL, NULL);
        if (static_cast<size_t>(out.length()) != kCollectBytes)
            state.SkipWithError("short output");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCollectBytes));
}
BENCHMARK(BM_Launch_Collect256MiB)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_HandWritten_Collect256MiB(benchmark::State& state)
{
    std::string program = writerPath(), count = kCollectCount;
    char* path = &program[0];
    char* argv[] = {path, &count[0], NULL};
    for (auto _ : state) {
        std::string out, err;
        handWrittenRun(path, argv, &out, &err, true);
        if (out.size() != kCollectBytes)
            state.SkipWithError("short output");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCollectBytes));
}
BENCHMARK(BM_HandWritten_Collect256MiB)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);

// posix_spawn with the same three pipes and the same readers.
int spawnRun(const char* path, char* const* argv, std::string* out, std::string* err, bool threads)
{
    int in[2], o[2], e[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(o, O_CLOEXEC) != 0 || pipe2(e, O_CLOEXEC) != 0)
        return -1;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, o[1], 1);
    posix_spawn_file_actions_adddup2(&actions, e[1], 2);
    pid_t child;
    int rc = posix_spawn(&child, path, &actions, NULL, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
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
    if (rc == 0)
        waitpid(child, &status, 0);
    close(o[0]);
    close(e[0]);
    return status;
}

void BM_PosixSpawn_True(benchmark::State& state)
{
    char path[] = "/bin/true";
    char* argv[] = {path, NULL};
    for (auto _ : state) {
        std::string out, err;
        int status = spawnRun(path, argv, &out, &err, true);
        benchmark::DoNotOptimize(status);
    }
}
BENCHMARK(BM_PosixSpawn_True)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BM_PosixSpawn_Collect256MiB(benchmark::State& state)
{
    std::string program = writerPath(), count = kCollectCount;
    char* path = &program[0];
    char* argv[] = {path, &count[0], NULL};
    for (auto _ : state) {
        std::string out, err;
        spawnRun(path, argv, &out, &err, true);
        if (out.size() != kCollectBytes)
            state.SkipWithError("short output");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCollectBytes));
}
BENCHMARK(BM_PosixSpawn_Collect256MiB)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);

#ifdef QEL_BENCH_POCO
void BM_Poco_True(benchmark::State& state)
{
    Poco::Process::Args args;
    for (auto _ : state) {
        Poco::Pipe in, out, err;
        Poco::ProcessHandle handle = Poco::Process::launch("/bin/true", args, &in, &out, &err);
        in.close();
        char piece[4096];
        while (out.readBytes(piece, sizeof piece) > 0) {
        }
        while (err.readBytes(piece, sizeof piece) > 0) {
        }
        int status = handle.wait();
        benchmark::DoNotOptimize(status);
    }
}
BENCHMARK(BM_Poco_True)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BM_Poco_Collect256MiB(benchmark::State& state)
{
    Poco::Process::Args args{kCollectCount};
    for (auto _ : state) {
        Poco::Pipe in, out, err;
        Poco::ProcessHandle handle = Poco::Process::launch(writerPath(), args, &in, &out, &err);
        in.close();
        std::string text, errText;
        auto reader = [](Poco::Pipe* pipe, std::string* text) {
            char piece[65536];
            int n;
            while ((n = pipe->readBytes(piece, sizeof piece)) > 0)
                text->append(piece, static_cast<size_t>(n));
        };
        std::thread t1(reader, &out, &text);
        std::thread t2(reader, &err, &errText);
        t1.join();
        t2.join();
        handle.wait();
        if (text.size() != kCollectBytes)
            state.SkipWithError("short output");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCollectBytes));
}
BENCHMARK(BM_Poco_Collect256MiB)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);
#endif

#ifdef QEL_BENCH_QT
void BM_QProcess_True(benchmark::State& state)
{
    qprocessTrue(state, "/bin/true");
}
BENCHMARK(BM_QProcess_True)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BM_QProcess_Collect256MiB(benchmark::State& state)
{
    qprocessCollect(state, writerPath().c_str(), kCollectCount, kCollectBytes);
}
BENCHMARK(BM_QProcess_Collect256MiB)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);
#endif

} // namespace

BENCHMARK_MAIN();
