// QELChildProcessBench: the streaming runner against hand-written
// posix_spawn and poll loops and against Qt's QProcess: start and wait for
// /bin/true, cat of 256 MiB in and out at once, and the latency from a
// child's QEL_STDERR record to the parent's log.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "QELStd.h"

extern char** environ;

#ifdef QEL_BENCH_QT
void qprocessTrue(benchmark::State& state, const char* program);
void qprocessCat(benchmark::State& state, const char* program, size_t bytes);
#endif

namespace {

const size_t kCatBytes = 256u << 20;
const int kPiece = 65536;

std::string benchProgram(const char* name)
{
    char self[4096];
    ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    self[n > 0 ? n : 0] = '\0';
    std::string path(self);
    return path.substr(0, path.rfind('/') + 1) + name;
}

void BM_ChildProcess_True(benchmark::State& state)
{
    for (auto _ : state) {
        QELChildProcess runner(QELString("/bin/true"));
        if (!runner.run() || runner.exitCode() != 0)
            state.SkipWithError("run failed");
    }
}
BENCHMARK(BM_ChildProcess_True)->UseRealTime()->Unit(benchmark::kMicrosecond);

// posix_spawn with the same three pipes, read to their end, then waitpid.
void BM_PosixSpawnPipes_True(benchmark::State& state)
{
    char path[] = "/bin/true";
    char* argv[] = {path, NULL};
    for (auto _ : state) {
        int in[2], out[2], err[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0)
            state.SkipWithError("pipe");
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, in[0], 0);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        posix_spawn_file_actions_adddup2(&actions, err[1], 2);
        pid_t child;
        posix_spawn(&child, path, &actions, NULL, argv, environ);
        posix_spawn_file_actions_destroy(&actions);
        close(in[0]);
        close(in[1]);
        close(out[1]);
        close(err[1]);
        char piece[256];
        while (read(out[0], piece, sizeof piece) > 0) {
        }
        while (read(err[0], piece, sizeof piece) > 0) {
        }
        close(out[0]);
        close(err[0]);
        int status;
        waitpid(child, &status, 0);
    }
}
BENCHMARK(BM_PosixSpawnPipes_True)->UseRealTime()->Unit(benchmark::kMicrosecond);

// posix_spawn and waitpid alone: no pipes at all.
void BM_PosixSpawnBare_True(benchmark::State& state)
{
    char path[] = "/bin/true";
    char* argv[] = {path, NULL};
    for (auto _ : state) {
        pid_t child;
        posix_spawn(&child, path, NULL, NULL, argv, environ);
        int status;
        waitpid(child, &status, 0);
    }
}
BENCHMARK(BM_PosixSpawnBare_True)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BM_ChildProcess_Cat256MiB(benchmark::State& state)
{
    std::vector<char> block(kPiece, 'c');
    for (auto _ : state) {
        size_t sent = 0, received = 0;
        QELChildProcess runner(QELString("/bin/cat"));
        runner.setInput([&](char* buffer, int capacity) {
            size_t n = std::min({kCatBytes - sent, static_cast<size_t>(capacity), block.size()});
            memcpy(buffer, block.data(), n);
            sent += n;
            return static_cast<int>(n);
        });
        runner.outputCallback = [&](const char*, int count) { received += static_cast<size_t>(count); };
        if (!runner.run() || received != kCatBytes)
            state.SkipWithError("short output");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCatBytes));
}
BENCHMARK(BM_ChildProcess_Cat256MiB)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(3);

// The hand-written peer: cat with non-blocking pipes and one poll loop.
size_t pollLoopCat(const std::vector<char>& block)
{
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0)
        return 0;
    char path[] = "/bin/cat";
    char* argv[] = {path, NULL};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    pid_t child;
    posix_spawn(&child, path, &actions, NULL, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    fcntl(in[1], F_SETFL, O_NONBLOCK);
    fcntl(out[0], F_SETFL, O_NONBLOCK);
    size_t sent = 0, received = 0;
    char piece[kPiece];
    int writer = in[1];
    while (out[0] >= 0) {
        struct pollfd fds[2] = {{out[0], POLLIN, 0}, {writer, POLLOUT, 0}};
        poll(fds, writer >= 0 ? 2 : 1, -1);
        if (writer >= 0 && fds[1].revents != 0) {
            ssize_t n = write(writer, block.data(), std::min(kCatBytes - sent, block.size()));
            sent += n > 0 ? static_cast<size_t>(n) : 0;
            if (sent == kCatBytes) {
                close(writer);
                writer = -1;
            }
        }
        if (fds[0].revents != 0) {
            ssize_t n = read(out[0], piece, sizeof piece);
            if (n == 0) {
                close(out[0]);
                out[0] = -1;
            }
            received += n > 0 ? static_cast<size_t>(n) : 0;
        }
    }
    int status;
    waitpid(child, &status, 0);
    return received;
}

void BM_PollLoop_Cat256MiB(benchmark::State& state)
{
    std::vector<char> block(kPiece, 'c');
    for (auto _ : state)
        if (pollLoopCat(block) != kCatBytes)
            state.SkipWithError("short output");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kCatBytes));
}
BENCHMARK(BM_PollLoop_Cat256MiB)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(3);

int64_t monotonicNs()
{
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<int64_t>(t.tv_sec) * 1000000000 + t.tv_nsec;
}

// A sink that takes each event's message as the child's send time in
// nanoseconds of CLOCK_MONOTONIC (system-wide) and keeps the delay.
class LatencyLog : public QELLog {
public:
    std::vector<int64_t> delays;
    void log(const QELLogEvent& event) override
    {
        int64_t now = monotonicNs();
        if (event.type == 2)
            delays.push_back(now - strtoll(event.message.chars(), NULL, 10));
    }
};

void BM_ChildProcess_LogLatency(benchmark::State& state)
{
    std::string child = benchProgram("bench_log_latency_child");
    std::vector<int64_t> all;
    for (auto _ : state) {
        LatencyLog log;
        QELChildProcess runner(QELString(child.c_str()));
        runner.addArgument(QELString("200"));
        runner.log = &log;
        runner.errorCallback = [](const char*, int) {};
        if (!runner.run() || log.delays.size() != 200)
            state.SkipWithError("records lost");
        all.insert(all.end(), log.delays.begin(), log.delays.end());
    }
    std::sort(all.begin(), all.end());
    if (!all.empty()) {
        state.counters["median_us"] = static_cast<double>(all[all.size() / 2]) / 1000.0;
        state.counters["p99_us"] = static_cast<double>(all[all.size() * 99 / 100]) / 1000.0;
    }
}
BENCHMARK(BM_ChildProcess_LogLatency)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(3);

#ifdef QEL_BENCH_QT
void BM_QProcess_True(benchmark::State& state)
{
    qprocessTrue(state, "/bin/true");
}
BENCHMARK(BM_QProcess_True)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BM_QProcess_Cat256MiB(benchmark::State& state)
{
    qprocessCat(state, "/bin/cat", kCatBytes);
}
BENCHMARK(BM_QProcess_Cat256MiB)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(3);
#endif

} // namespace

BENCHMARK_MAIN();
