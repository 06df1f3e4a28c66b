#!/bin/bash
# Checks the layout (clang-format, .clang-format) and the checks of
# .clang-tidy over the sources and headers of std/, i18n/, tools/ and
# include/, with the compile commands of a build tree; exits non-zero on any
# finding.
#   scripts/lint.sh            (build tree: BUILD_DIR, default build/)
# A build tree without compile_commands.json is configured again to write it
# (configuring only; nothing is built).
set -u
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${BUILD_DIR:-$ROOT/build}
JOBS=${JOBS:-2}
cd "$ROOT" || exit 1

if [ ! -f "$BUILD/compile_commands.json" ]; then
  cmake -S "$ROOT" -B "$BUILD" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >"$BUILD.lint-configure.log" 2>&1 \
    || { cat "$BUILD.lint-configure.log"; exit 1; }
fi

mapfile -t sources < <(ls std/*.cpp i18n/*.cpp tools/*.cpp)
mapfile -t headers < <(ls std/*.h tools/*.h include/*.h)
status=0

echo "== clang-format"
clang-format --dry-run --Werror "${sources[@]}" "${headers[@]}" || status=1

echo "== clang-tidy"
# Headers are checked through the sources that include them (the header
# filter of .clang-tidy).
printf '%s\n' "${sources[@]}" \
  | xargs -P "$JOBS" -n 1 clang-tidy -p "$BUILD" --quiet 2>/dev/null \
  || status=1

exit $status
