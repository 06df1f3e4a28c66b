#!/bin/bash
# Builds the libFuzzer targets in their own build tree (clang, ASan+UBSan)
# and runs each one for SECONDS seconds (default 60) on a copy of its seed
# corpus, then prints the executions and the coverage reached per target.
#   fuzz/run.sh [SECONDS] [TARGET...]
# BUILD_DIR overrides the build tree (default build-fuzz beside fuzz/).
# FUZZ_SEED fixes libFuzzer's random seed (default 0: a new one each run), so
# that a run can be repeated input for input.
set -u
SECONDS_PER_TARGET=${1:-60}
shift || true
FUZZ_DIR=$(cd "$(dirname "$0")" && pwd)
ROOT=$(dirname "$FUZZ_DIR")
BUILD=${BUILD_DIR:-$ROOT/build-fuzz}
JOBS=${JOBS:-2}
TARGETS=(fuzz_date fuzz_logstream fuzz_logrecord fuzz_fullline fuzz_string fuzz_stringcore fuzz_blob fuzz_setup fuzz_translation fuzz_textliteral fuzz_encoding fuzz_childprocess)
[ $# -gt 0 ] && TARGETS=("$@")

SAN="-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer"
cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_CXX_FLAGS="$SAN" -DCMAKE_C_FLAGS="$SAN" \
  -DQEL_BUILD_FUZZ=ON -DQEL_BUILD_TESTS=OFF -DQEL_BUILD_TOOLS=OFF -DQEL_BUILD_EXAMPLES=OFF \
  >"$BUILD.configure.log" 2>&1 || { cat "$BUILD.configure.log"; exit 1; }
cmake --build "$BUILD" -j"$JOBS" --target fuzz_all || exit 1

# The configuration read at load time comes from the test configuration.
export QEL_CONFIGURATION_PATH="$ROOT/tests/data/conf/"
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:symbolize=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export LSAN_OPTIONS="suppressions=$ROOT/tests/lsan.supp"

WORK="$BUILD/fuzz-run"
mkdir -p "$WORK"
status=0
printf '%-18s %12s %8s %8s %s\n' target execs cov ft result
for t in "${TARGETS[@]}"; do
  corpus="$WORK/corpus-$t"
  mkdir -p "$corpus" "$WORK/artifacts-$t"
  cp -n "$FUZZ_DIR/corpus/$t/"* "$corpus/" 2>/dev/null
  dict=()
  [ -f "$FUZZ_DIR/$t.dict" ] && dict=(-dict="$FUZZ_DIR/$t.dict")
  log="$WORK/$t.log"
  "$BUILD/bin/$t" "$corpus" "${dict[@]}" -max_total_time="$SECONDS_PER_TARGET" \
    -seed="${FUZZ_SEED:-0}" -max_len=4096 -timeout=20 -rss_limit_mb=2560 -print_final_stats=1 \
    -artifact_prefix="$WORK/artifacts-$t/" >"$log" 2>&1
  rc=$?
  execs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' | tail -1)
  cov=$(grep -o 'cov: [0-9]*' "$log" | tail -1 | grep -o '[0-9]*')
  ft=$(grep -o 'ft: [0-9]*' "$log" | tail -1 | grep -o '[0-9]*')
  result=ok
  if [ $rc -ne 0 ]; then result="FAILED (rc $rc, see $log)"; status=1; fi
  printf '%-18s %12s %8s %8s %s\n' "$t" "${execs:-?}" "${cov:-?}" "${ft:-?}" "$result"
  # What went wrong, where the log itself may not be kept (a CI run).
  [ $rc -ne 0 ] && grep -m8 -E 'property failed|ERROR:|SUMMARY:|^ *#[0-9]+ 0x.* in (QEL|LLVMFuzzerTestOneInput)' "$log" | sed 's/^/    /'
done
exit $status
