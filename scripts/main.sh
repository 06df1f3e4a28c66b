#!/usr/bin/env bash
# Installs what is missing, builds the library, installs it into ./out/home
# and runs the example program against the installed home.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j"$(nproc)"
cmake --install build --prefix "$PWD/out/home" > /dev/null
out/home/bin/qel-example-strings
