#!/usr/bin/env bash
# Installs every Debian package the build, the tests and the tools need,
# skipping those already present. Pass --bench to add the benchmark peers,
# --coverage the coverage tools, --mutation the mutation run's tools.
set -euo pipefail

packages=(cmake g++ clang make pkg-config procps valgrind
          libicu-dev libxerces-c-dev unixodbc-dev libexpat1-dev
          googletest libgtest-dev libbenchmark-dev libclang-rt-14-dev
          git dpkg-dev abigail-tools doxygen)
packages+=(jq util-linux python3)  # the tool tests read qellog's JSON, drop root with setpriv, script input
case "${1:-}" in
  --bench) packages+=(libspdlog-dev qtbase5-dev libpoco-dev) ;;
  --coverage) packages+=(llvm-14) ;;
  --mutation) packages+=(ninja-build) ;;
esac

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  sudo_cmd=""
  [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${missing[@]}"
fi
