#!/usr/bin/env bash
# The main job: installs what is missing, builds, installs a home in
# build/home and runs a short demonstration of the tools on it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release > /dev/null
cmake --build build -j"$(nproc)" --target QELStd QELI18n qelconfig qellog qelrun \
      qel-example-strings qel-example-containers qel-example-logging qel-example-setup qel-example-texts
home="$PWD/build/home"
cmake --install build --prefix "$home" > /dev/null
export PATH="$home/bin:$PATH"
unset QEL_CONFIGURATION_PATH QEL_LOG_LEVEL

echo
echo "== qelconfig: where the library finds everything, and where each value comes from"
qelconfig
echo
echo "== qelrun: a child logs at several levels; the parent's log keeps WARNING and above"
status=0
QEL_LOG_LEVEL=6 qelrun --level WARNING sh examples/demo-child.sh || status=$?
echo "== the child exited with code $status"
echo
echo "== the same child, its events kept down to DEBUG, its output dropped"
QEL_LOG_LEVEL=6 qelrun --level DEBUG sh examples/demo-child.sh > /dev/null || true
echo
echo "== the tools speak the user's language (QEL_I18N_LANG=fr, then de)"
QEL_I18N_LANG=fr qelrun --level loud true || true
QEL_I18N_LANG=de qelconfig get Directory/Nowhere || true
