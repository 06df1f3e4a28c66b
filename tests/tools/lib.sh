# Shared helpers of the tool tests: a scratch directory, expectations on
# exit codes and output, and a summary line.
set -u
HOME_DIR=$1
BIN=$HOME_DIR/bin
SCRATCH=$(mktemp -d)
trap 'rm -rf "$SCRATCH"' EXIT
passed=0
failed=0

# A clean environment: only what the test sets itself, and where the coverage
# run asks for them, the profile file names of the instrumented tools.
run_clean() {
    local profile=()
    [ -n "${LLVM_PROFILE_FILE:-}" ] && profile=(LLVM_PROFILE_FILE="$LLVM_PROFILE_FILE")
    env -i PATH="$BIN:/usr/bin:/bin" LSAN_OPTIONS="${LSAN_OPTIONS:-}" ASAN_OPTIONS="${ASAN_OPTIONS:-}" \
        "${profile[@]}" "$@"
}

check() { # check NAME CONDITION...
    local name=$1
    shift
    if "$@"; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        echo "FAILED: $name" >&2
    fi
}

# Runs a command, keeping its exit code in RC, its output in OUT and ERR.
capture() {
    "$@" > "$SCRATCH/out" 2> "$SCRATCH/err" < "${STDIN_FILE:-/dev/null}"
    RC=$?
    OUT=$(cat "$SCRATCH/out")
    ERR=$(cat "$SCRATCH/err")
}

contains() { [[ "$1" == *"$2"* ]]; }
lacks() { [[ "$1" != *"$2"* ]]; }
equals() { [ "$1" = "$2" ]; }

finish() {
    echo "$passed passed, $failed failed"
    [ "$failed" -eq 0 ]
}
