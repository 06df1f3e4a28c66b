#!/usr/bin/env bash
# Installs what is missing, then builds and runs every test twice: in the
# normal build and in an AddressSanitizer + UBSan build of the whole suite.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
jobs=$(nproc)

cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j"$jobs"
(cd build && ctest --output-on-failure -j"$jobs")

cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DQEL_SANITIZE=ON -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g"
cmake --build build-asan -j"$jobs"
(cd build-asan && ctest --output-on-failure -j"$jobs")
