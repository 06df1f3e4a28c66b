#!/usr/bin/env bash
# Runs every test program of a build under valgrind memcheck, one at a time;
# any memory error or definite leak fails (the wchars() cache is suppressed).
# Usage: scripts/valgrind.sh [BUILD_DIR]   (default: build)
set -uo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
export QEL_CONFIGURATION_PATH="$PWD/tests/data/conf/"
# Valgrind runs code about fifty times slower: the child process tests stream
# 20 MiB instead of 1 GiB and start 100 children instead of 10,000, and the
# hostile streams and inputs (tens of megabytes each, and under ASan in the
# sanitizer build) are left out.
export QEL_TEST_CAT_BYTES=$((20 << 20)) QEL_TEST_RUNS=100 GTEST_FILTER='-Hostile*:*Hostile*'
logs=$(mktemp -d)
run_one() {
    local test=$1 logs=$2
    local name
    name=$(basename "$test")
    if valgrind --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite \
            --suppressions=tests/valgrind.supp -q "$test" > "$logs/$name.log" 2>&1; then
        echo "valgrind: $name clean"
    else
        echo "valgrind: $name FAILED"
        grep -E -A8 "^==[0-9]+== [A-Z0-9]|Failure$|FAILED" "$logs/$name.log" | head -80
        return 1
    fi
}
export -f run_one
ls "$build"/bin/test_* | grep -v '/test_QELHostile$' | xargs -P 1 -I{} bash -c 'run_one "$1" "$2"' _ {} "$logs"
status=$?
rm -rf "$logs"
exit $status
