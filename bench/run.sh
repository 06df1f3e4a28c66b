#!/usr/bin/env bash
# Builds the benchmarks twice (assertions on, the default, and
# -DQEL_ASSERTIONS=OFF), runs the whole suite with each, and writes
# bench/RESULTS.md. Peers from Debian packages: bash scripts/setup.sh --bench.
#
# Usage: bench/run.sh [BUILD_DIR]   (default: build-bench in the repository;
#                                    the second build goes to BUILD_DIR-noassert)
# QEL_BENCH_JOBS sets the build parallelism (default 2).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-bench}
jobs=${QEL_BENCH_JOBS:-2}
# The JSON of each program stays in $build/bench-results/{on,off}, so that
# bench/results.py can rewrite RESULTS.md from them (e.g. after editing
# bench/NOTES.md) without running the suite again.
out=$build/bench-results
rm -rf "$out"

configure_and_build() { # dir assertions
    cmake -S "$root" -B "$1" -DCMAKE_BUILD_TYPE=Release -DQEL_BUILD_BENCH=ON -DQEL_ASSERTIONS="$2" \
        -DQEL_BUILD_TESTS=OFF -DQEL_BUILD_TOOLS=OFF -DQEL_BUILD_EXAMPLES=OFF >/dev/null
    cmake --build "$1" -j"$jobs" >/dev/null
}

# Per-program options: short microbenchmarks are repeated and the median
# taken; the heavy ones fix their own iteration counts in the source. The
# start-up benchmarks measure wall time on a possibly shared machine, so their
# repetitions run in random interleaved order and a busy moment hits both sides.
options_for() {
    case "$1" in
        QELString|QELDate|QELLog|QELContainer|QELEncoding)
            echo "--benchmark_min_time=0.1 --benchmark_repetitions=3" ;;
        QELSetup|QELProcess|QELChildProcess)
            echo "--benchmark_min_time=0.1 --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true" ;;
        *) echo "--benchmark_min_time=0.2" ;;
    esac
}

run_suite() { # build dir, results dir
    mkdir -p "$2"
    for program in "$1"/bin/bench_QEL*; do
        name=${program##*/bench_}
        echo "== $name" >&2
        # shellcheck disable=SC2046
        "$program" $(options_for "$name") --benchmark_out="$2/$name.json" --benchmark_out_format=json \
            >&2 || echo "$name failed" >&2
    done
}

echo "Building with assertions (default) in $build" >&2
configure_and_build "$build" ON
mkdir -p "$out"
echo "Building with -DQEL_ASSERTIONS=OFF in $build-noassert" >&2
configure_and_build "$build-noassert" OFF

start=$(date +%s)
run_suite "$build" "$out/on"
run_suite "$build-noassert" "$out/off"
elapsed=$(( $(date +%s) - start ))

{
    cpu=$(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2- | sed 's/^ *//')
    compiler=$(grep -E '^CMAKE_CXX_COMPILER:' "$build/CMakeCache.txt" | cut -d= -f2)
    echo "- CPU: $cpu"
    echo "- Cores: $(nproc) online ($(grep -c ^processor /proc/cpuinfo) listed in /proc/cpuinfo)"
    echo "- Memory: $(awk '/MemTotal/ {printf "%.1f GiB", $2 / 1048576}' /proc/meminfo)"
    echo "- Compiler: $("$compiler" --version | head -1) (-O2, Release)"
    echo "- System: $(uname -sr), $(. /etc/os-release && echo "$PRETTY_NAME")"
    echo "- Load average at the end of the run: $(cut -d' ' -f1-3 /proc/loadavg)"
    echo "- Run: $(date -u '+%Y-%m-%d %H:%M UTC'), both builds' suites in ${elapsed} s"
} > "$out/machine.md"

python3 "$root/bench/results.py" "$out/on" "$out/off" "$out/machine.md" "$root/bench/RESULTS.md"
echo "Wrote $root/bench/RESULTS.md" >&2
