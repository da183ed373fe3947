#!/usr/bin/env bash
# installed.sh BUILD_DIR PYTHON: what is installed of the C interface and of the Python package is moved, and used there
# without any help of the environment: by pkg-config, by CMake, and from Python by its tests.
set -euo pipefail
build=$(realpath "$1") python=$2 here=$(realpath "$(dirname "$0")")
source=$(realpath "$here/../..")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
unset LD_LIBRARY_PATH PYTHONPATH ZELJ_CODECS_LIBRARY

cmake --install "$build" --prefix "$scratch/first" >/dev/null
mkdir "$scratch/some where"
mv "$scratch/first" "$scratch/some where/else"
prefix="$scratch/some where/else"
libdir=$(dirname "$(find "$prefix" -name libzelcodecs.so.1)")
readelf -d "$libdir/libzelcodecs.so.1" | grep -q 'RUNPATH.*\[$ORIGIN\]' ||
  { echo "the library does not look beside itself"; exit 1; }
! ldd "$libdir/libzelcodecs.so.1" | grep 'not found' || exit 1

cd "$scratch"  # from where nothing of the source tree is seen
awk '/^```c$/ {on = 1; next} /^```$/ {on = 0} on' "$source/docs/python.md" >example.c
[ -s example.c ] || { echo "no example in docs/python.md"; exit 1; }
cp "$source/images/coffee.png" in.png
try() { rm -f out.jpg && "$@" && [ -s out.jpg ]; }
export PKG_CONFIG_PATH=$libdir/pkgconfig
eval "flags=($(pkg-config --cflags --libs zelcodecs))"
cc -std=c99 -Wall -Wextra -Wpedantic -Werror example.c "${flags[@]}" -o by-pkg-config
try ./by-pkg-config

cat >CMakeLists.txt <<'CMAKE'
cmake_minimum_required(VERSION 3.22)
project(example C)
find_package(zelcodecs 1 REQUIRED)
add_executable(example example.c)
target_link_libraries(example PRIVATE zelj::zelcodecs)
CMAKE
cmake -S . -B build -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build build >/dev/null
try build/example

package=$(dirname "$(find "$prefix" -path '*/zelj/__init__.py')")
[ -f "$package/py.typed" ] || { echo "the type hints are not marked"; exit 1; }
PYTHONPATH=$(dirname "$package") "$python" -B "$here/test_zelj.py"
PYTHONPATH=$(dirname "$package") "$python" -B -c '
import sys, zelj
used = {line.split(maxsplit=5)[-1].strip() for line in open("/proc/self/maps") if "libzel" in line}
foreign = [path for path in used if not path.startswith(sys.argv[1])]
if not used or foreign: sys.exit(f"libraries from elsewhere: {foreign}")' "$prefix"
