#!/usr/bin/env bash
# Coverage of the library and the tools by the whole suite: a clang build with
# source-based coverage in build-coverage/, every ctest entry run with its
# profiles collected (the tool tests run the installed, instrumented tools),
# then line, branch and region coverage per file of std/, i18n/ and tools/.
# Writes the table to build-coverage/coverage.txt and prints it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh --coverage
build=build-coverage
CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O0 -g" \
      -DQEL_COVERAGE=ON > /dev/null
cmake --build "$build" -j"$(nproc)"
profiles="$PWD/$build/profiles"
rm -rf "$profiles" && mkdir -p "$profiles"
(cd "$build" && LLVM_PROFILE_FILE="$profiles/%p-%m.profraw" ctest -j"$(nproc)" --output-on-failure) || true
llvm-profdata-14 merge -sparse "$profiles"/*.profraw -o "$build/all.profdata"
objects=("$build/bin/libQELStd.so" -object "$build/bin/libQELI18n.so")
for tool in qelconfig qellog qelrun; do
  [ -x "$build/bin/$tool" ] && objects+=(-object "$build/bin/$tool")
done
llvm-cov-14 report "${objects[@]}" -instr-profile="$build/all.profdata" \
  -ignore-filename-regex='(^/usr/|/tests/|/build-coverage/)' -show-branch-summary | tee "$build/coverage.txt"
