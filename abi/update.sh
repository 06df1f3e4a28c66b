#!/usr/bin/env bash
# Regenerates abi/<library>.symbols and abi/<library>.abi from a build
# directory (default build-pkg, configured RelWithDebInfo). Run it when the
# exported set changes on purpose, and commit the result with the change.
set -euo pipefail
source "$(dirname "$0")/common.sh"
build="${1:-$source_dir/build-pkg}"
for lib in "${libraries[@]}"; do
  exported_symbols "$build/bin/lib$lib.so" > "$abi_dir/$lib.symbols"
  abi_dump "$build/bin/lib$lib.so" "$build" > "$abi_dir/$lib.abi"
  echo "abi: $lib: $(wc -l < "$abi_dir/$lib.symbols") exported symbols"
done
