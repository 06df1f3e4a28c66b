# Shared by abi/update.sh and abi/check.sh: the two libraries and how their
# exported symbols and ABI dumps are read from a build directory whose
# libraries carry debug information (RelWithDebInfo).
libraries=(QELStd QELI18n)
abi_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
source_dir="$(dirname "$abi_dir")"

# The exported (defined, dynamic) symbols of a library, mangled, one a line.
exported_symbols() {
  nm -D --defined-only "$1" | awk '{print $3}' | LC_ALL=C sort -u
}

# The libabigail dump of a library (BUILD as $2), limited to the types of
# the public headers, with source paths relative to the source and build
# directories, so that no path of the machine it was made on stays in it.
abi_dump() {
  abidw --no-corpus-path --no-show-locs --no-comp-dir-path --drop-private-types \
        --headers-dir "$source_dir/include" --headers-dir "$2/include" "$1" |
    sed -e "s|$source_dir/||g" -e "s|$2/||g"
}
