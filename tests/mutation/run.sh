#!/usr/bin/env bash
# Mutation run: builds the Release suite in build-mutation/ (once), then
# makes, builds and tests single-change mutants of std/ and i18n/ with a fixed
# seed and writes tests/mutation/RESULTS.md. Arguments go to mutate.py
# (--count N, --seed S, --files std/a.cpp,..., --list). Not part of CI: a
# run of 150 mutants takes about an hour on two cores.
set -euo pipefail
cd "$(dirname "$0")/../.."
bash scripts/setup.sh --mutation
# A mutant changes one library source: the test programs load the rebuilt
# shared library, so they are not relinked against it.
cmake -S . -B build-mutation -G Ninja -DCMAKE_BUILD_TYPE=Release -DQEL_BUILD_EXAMPLES=ON \
      -DCMAKE_LINK_DEPENDS_NO_SHARED=ON > /dev/null
exec python3 tests/mutation/mutate.py --build build-mutation "$@"
