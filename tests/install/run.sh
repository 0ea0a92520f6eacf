#!/bin/sh
# Installs the build tree into a temporary prefix, as `make install` does, and
# uses it as an embedding program would: the C and C++ examples built through
# pkg-config and through CMake's find_package, run and compared with
# examples/example.out; the Python module installed with pip (offline) and its
# unit tests and example run against the installed library.
# Usage: run.sh SOURCE_DIR BUILD_DIR
set -eu
src=$1
build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" > "$work/install.log"
lib=$(ls -d "$prefix"/lib*/libparvex.so.1 | head -n 1)
libdir=$(dirname "$lib")
for file in "$prefix/bin/parvex" "$prefix/share/man/man1/parvex.1" "$prefix/include/parvex/parvex.h" \
            "$libdir/libparvex.a" "$libdir/pkgconfig/parvex.pc" "$libdir/cmake/Parvex/ParvexConfig.cmake"; do
  [ -e "$file" ] || { echo "not installed: $file"; exit 1; }
done

# A sanitized library needs its runtime loaded first in programs that are not
# sanitized themselves (the examples, Python).
asan=$(ldd "$lib" | sed -n 's/.*=> \(\/[^ ]*libasan[^ ]*\).*/\1/p')
if [ -n "$asan" ]; then
  export LD_PRELOAD="$asan" ASAN_OPTIONS=detect_leaks=0
fi
export LD_LIBRARY_PATH="$libdir"

check() {  # check NAME COMMAND...: runs an example on a fresh file, compares its output
  name=$1
  shift
  rm -f "$work/$name.pvx"
  "$@" "$work/$name.pvx" > "$work/$name.out"
  diff -u "$src/examples/example.out" "$work/$name.out" || { echo "example $name differs"; exit 1; }
}

export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2046 # the flags are meant to split
cc -std=c99 -Wall -Werror -o "$work/pc_c" "$src/examples/example.c" $(pkg-config --cflags --libs parvex)
c++ -std=c++20 -Wall -Werror -o "$work/pc_cpp" "$src/examples/example.cc" $(pkg-config --cflags --libs parvex)
check pkgconfig_c "$work/pc_c"
check pkgconfig_cpp "$work/pc_cpp"

cmake -S "$src/examples" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" > "$work/cmake.log"
cmake --build "$work/cmake" > "$work/cmake-build.log"
check find_package_c "$work/cmake/example_c"
check find_package_cpp "$work/cmake/example_cpp"

# The Python module: pip from a copy of python/ (the build writes beside its
# sources), no network, no build isolation; any python3 with setuptools and wheel.
python=
for candidate in /usr/bin/python3 python3; do
  if "$candidate" -c 'import setuptools, wheel, pip' 2> /dev/null; then python=$candidate; break; fi
done
[ -n "$python" ] || { echo "no python3 with pip, setuptools and wheel"; exit 1; }
cp -r "$src/python" "$work/python-src"
"$python" -m pip install --quiet --no-build-isolation --no-index --no-deps --target "$work/site" \
  "$work/python-src" > "$work/pip.log" 2>&1 || { cat "$work/pip.log"; exit 1; }
export PYTHONPATH="$work/site" PARVEX_LIBRARY="$lib" PYTHONDONTWRITEBYTECODE=1
check python "$python" "$src/examples/example.py"
"$python" -m unittest discover -s "$src/tests/python" -t "$src/tests/python"
echo "installed, examples and Python module: ok"
