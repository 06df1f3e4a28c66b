#!/usr/bin/env bash
# Fails when a library built in the given directory (default build-pkg,
# configured RelWithDebInfo) exports another set of symbols than
# abi/<library>.symbols lists, or when abidiff finds an incompatible change
# against the dump abi/<library>.abi of the released version.
set -euo pipefail
source "$(dirname "$0")/common.sh"
build="${1:-$source_dir/build-pkg}"
status=0
for lib in "${libraries[@]}"; do
  if ! diff -u "$abi_dir/$lib.symbols" <(exported_symbols "$build/bin/lib$lib.so") > "$build/$lib.symbols.diff"; then
    echo "abi: $lib exports another set of symbols than abi/$lib.symbols (- listed, + exported):"
    c++filt < "$build/$lib.symbols.diff"
    status=1
  fi
  abi_dump "$build/bin/lib$lib.so" "$build" > "$build/$lib.abi"
  rc=0
  abidiff --no-show-locs "$abi_dir/$lib.abi" "$build/$lib.abi" > "$build/$lib.abidiff" || rc=$?
  # abidiff's exit status is a bit set: 4 any change, 8 an incompatible one.
  if (( rc & 8 )) || (( rc & 3 )); then
    echo "abi: $lib: incompatible change against abi/$lib.abi:"
    cat "$build/$lib.abidiff"
    status=1
  elif (( rc & 4 )); then
    echo "abi: $lib: compatible changes against abi/$lib.abi (see $build/$lib.abidiff)"
  fi
done
[ "$status" -eq 0 ] && echo "abi: exported symbols and ABI as recorded"
exit "$status"
