#!/usr/bin/env bash
# Runs every test program of a build under valgrind memcheck, one at a time;
# any memory error or definite leak fails (the wchars() cache is suppressed).
# Usage: scripts/valgrind.sh [BUILD_DIR]   (default: build)
set -uo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
export QEL_CONFIGURATION_PATH="$PWD/tests/data/conf/"
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
ls "$build"/bin/test_* | xargs -P 1 -I{} bash -c 'run_one "$1" "$2"' _ {} "$logs"
status=$?
rm -rf "$logs"
exit $status
