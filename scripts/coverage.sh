#!/usr/bin/env bash
# Coverage of the library and the tools by the whole suite: a clang build with
# source-based coverage in build-coverage/, every ctest entry run with its
# profiles collected, then line, branch and region coverage per file of std/,
# i18n/, include/ and tools/, the library's own total (std/ and i18n/), and
# the decisions outside assertion expansions. The inline functions of the
# public headers (include/) are listed but left out of the library's total:
# a program that uses one carries its own copy, and the dynamic linker binds
# the library's calls to that copy, so the library's own stays unexecuted. The tool tests run the installed copies of the
# instrumented tools and libraries (tests/tools/lib.sh passes
# LLVM_PROFILE_FILE through its clean environment), and child programs
# inherit it, so their runs count too.
# Writes the tables to build-coverage/coverage.txt and prints them; --report
# prints them again from the profiles of the last run, without building or
# running anything.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build-coverage
profiles="$PWD/$build/profiles"

# Continuous mode (%c in the profile name, with counters relocated at run
# time) keeps the counters in the profile file as the program runs, so that
# the death tests' children, which die by abort before any exit handler,
# count too. %8m: each instrumented module merges its runs into a pool of
# eight files, so the thousands of child processes do not leave one each.
# Atomic counter updates: the runner tests call the library from sixteen
# threads at once, and plain increments lost counts there.
run_suite() {
  bash scripts/setup.sh --coverage
  local flags="-mllvm -runtime-counter-relocation -fprofile-update=atomic"
  CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O0 -g" \
    -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" -DQEL_COVERAGE=ON > /dev/null
  cmake --build "$build" -j"$(nproc)"
  rm -rf "$profiles" && mkdir -p "$profiles"
  (cd "$build" && LLVM_PROFILE_FILE="$profiles/%c%8m.profraw" ctest -j"$(nproc)" --output-on-failure) || true
  llvm-profdata-14 merge -sparse "$profiles"/*.profraw -o "$build/all.profdata"
}

[ "${1:-}" = --report ] || run_suite
objects=("$build/bin/libQELStd.so" -object "$build/bin/libQELI18n.so")
for tool in qelconfig qellog qelrun; do
  [ -x "$build/bin/$tool" ] && objects+=(-object "$build/bin/$tool")
done
ignored='(^/usr/|/tests/|/build-coverage/)'

report() { # report [SOURCE DIRECTORY...]: the table, restricted to those sources when given
  llvm-cov-14 report "${objects[@]}" -instr-profile="$build/all.profdata" \
    -ignore-filename-regex="$ignored" -show-branch-summary "$@"
}

# llvm-cov counts every condition of every assertion expansion (each clause of
# a class invariant, checked at entry and exit of each operation) as branches
# of the operation; their false sides need a corrupted object. This table
# counts the decisions written in the file itself, outside macro expansions,
# each condition's two sides merged over every instantiation of its function.
decisions_filter='
def sides: [group_by(.[0:4])[] | [(map(.[4]) | add), (map(.[5]) | add)]];
def tally: {count: (length * 2),
            missed: (map((if .[0] == 0 then 1 else 0 end) + (if .[1] == 0 then 1 else 0 end)) | add // 0)};
def pct: if .count == 0 then "-" else ((10000 * (.count - .missed) / .count | round) / 100 | tostring) + "%" end;
def total($title; $pattern): map(select(.name | test($pattern)) | .t)
  | {count: (map(.count) | add), missed: (map(.missed) | add)} | ["TOTAL " + $title, .count, .missed, pct];
[.data[0].files[] | {name: (.filename | ltrimstr($root + "/")), t: (.branches | sides | tally)}] as $files
| ["Filename", "Decisions", "Missed", "Cover"],
  ($files[] | select(.t.count > 0) | [.name, .t.count, .t.missed, (.t | pct)]),
  ($files | total("library"; "^(std|i18n)/")),
  ($files | total("tools"; "^tools/"))
| @tsv'
decisions() {
  llvm-cov-14 export "${objects[@]}" -instr-profile="$build/all.profdata" -ignore-filename-regex="$ignored" \
    2> /dev/null | jq -r --arg root "$PWD" "$decisions_filter" |
    awk -F'\t' '{ printf "%-40s %10s %8s %9s\n", $1, $2, $3, $4 }'
}

{
  echo "== Library and tools, per file"
  report
  echo
  echo "== Library alone (std/ and i18n/)"
  report std i18n
  echo
  echo "== Decision branches outside assertion expansions"
  decisions
} | tee "$build/coverage.txt"
