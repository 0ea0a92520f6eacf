#!/usr/bin/env bash
# Installs, from Debian's packages, whatever the build, the tests, the fuzzers
# or the benchmarks need and the machine lacks. Called by the Makefile; safe to
# run again (it installs nothing when everything is present).
set -euo pipefail

# package -> a file (or a glob) whose presence proves the package is installed
declare -A probe=(
  [cmake]=/usr/bin/cmake
  [g++]=/usr/bin/g++
  [make]=/usr/bin/make
  [ninja-build]=/usr/bin/ninja
  [pkg-config]=/usr/bin/pkg-config
  [libgtest-dev]=/usr/include/gtest/gtest.h
  [libgmock-dev]=/usr/include/gmock/gmock.h
  [libbenchmark-dev]=/usr/include/benchmark/benchmark.h
  [libsqlite3-dev]=/usr/include/sqlite3.h
  [libedit-dev]=/usr/include/histedit.h
  [clang]=/usr/bin/clang++
  [libclang-rt-dev]=/usr/lib/llvm-14/lib/clang/14.0.6/lib/linux/libclang_rt.fuzzer-x86_64.a
  [unicode-data]=/usr/share/unicode/UnicodeData.txt
  [postgresql]='/usr/lib/postgresql/*/bin/initdb'
  [sqlite3]=/usr/bin/sqlite3
  [python3-pip]=/usr/lib/python3/dist-packages/pip
  [python3-setuptools]=/usr/lib/python3/dist-packages/setuptools
  [python3-wheel]=/usr/lib/python3/dist-packages/wheel
)

wanted=("$@")
[ ${#wanted[@]} -gt 0 ] || wanted=("${!probe[@]}")

missing=()
for pkg in "${wanted[@]}"; do
  file=${probe[$pkg]:-}
  if [ -z "$file" ] || ! compgen -G "$file" > /dev/null; then missing+=("$pkg"); fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "install-deps: installing ${missing[*]}" >&2
if [ "$(id -u)" -ne 0 ]; then SUDO=sudo; else SUDO=; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -q
$SUDO apt-get install -y -q --no-install-recommends "${missing[@]}"
