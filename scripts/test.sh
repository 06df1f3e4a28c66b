#!/usr/bin/env bash
# Installs what is missing, then builds and runs every test three times: in
# the Release build with g++ (build/), in the Release build with clang
# (build-clang/), whose assertion reports the same death tests hold to the
# same bytes, and in an AddressSanitizer + UBSan build of the whole suite
# (build-asan/).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
jobs=$(nproc)

cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j"$jobs"
(cd build && ctest --output-on-failure -j"$jobs")

cmake -S . -B build-clang -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++
cmake --build build-clang -j"$jobs"
(cd build-clang && ctest --output-on-failure -j"$jobs")

cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DQEL_SANITIZE=ON -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g"
cmake --build build-asan -j"$jobs"
(cd build-asan && ctest --output-on-failure -j"$jobs")
