#!/usr/bin/env bash
# The library as other people's builds use it: builds the two libraries with
# debug information in build-pkg, then checks the exported symbols and the
# ABI against abi/, builds the API reference, compiles every public header
# alone, builds the .deb and TGZ packages, and builds and runs the consumer
# (tests/install/consumer) against the .deb extracted into a scratch
# directory (g++, clang, pkg-config), as an add_subdirectory and through
# FetchContent from this repository's current commit.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
src="$PWD"
build="$src/build-pkg"
jobs=$(nproc)

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DQEL_BUILD_TESTS=OFF -DQEL_BUILD_EXAMPLES=OFF > /dev/null
cmake --build "$build" -j"$jobs"

echo "== exported symbols and ABI"
bash abi/check.sh "$build"

echo "== API reference"
cmake --build "$build" --target docs

echo "== every public header alone, -Wall -Wextra -Werror"
for cxx in g++ clang++; do
  for header in include/*.h; do
    echo "#include \"$(basename "$header")\"" |
      "$cxx" -std=c++17 -Wall -Wextra -Werror -fsyntax-only -Iinclude -I"$build/include" -x c++ -
  done
done

echo "== packages"
(cd "$build" && cpack -G "DEB;TGZ" > /dev/null)
deb=$(ls "$build"/qelstd_*.deb)
root="$build/deb-root"
rm -rf "$root"
dpkg -x "$deb" "$root"
home="$root/opt/qelstd"

consumer() { # MODE CXX WORK [extra -D...]
  cmake -DSOURCE_DIR="$src" -DMODE="$1" -DCXX="$2" -DWORK_DIR="$build/$3" "${@:4}" \
        -P tests/install/RunConsumer.cmake
}
echo "== consumer against the .deb: g++, clang"
consumer prefix g++ consumer-deb-gcc -DQEL_HOME="$home"
consumer prefix clang++ consumer-deb-clang -DQEL_HOME="$home"

echo "== consumer through pkg-config"
work="$build/consumer-pkgconfig"
mkdir -p "$work"
# shellcheck disable=SC2046
g++ -std=c++17 -Wall -Wextra -Werror tests/install/consumer/*.cpp -o "$work/consumer" \
    $(PKG_CONFIG_PATH="$home/lib/pkgconfig" pkg-config --cflags --libs qelstd)
"$work/consumer"

echo "== consumer with the library as a subproject"
consumer subdirectory g++ consumer-subdirectory
consumer fetchcontent g++ consumer-fetchcontent
echo "== package check passed"
