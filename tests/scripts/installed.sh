#!/usr/bin/env bash
# installed.sh BUILD_DIR SOURCE_DIR: installs into a scratch directory, moves what was installed, and builds the README's
# example against it there, by pkg-config and by CMake. Both programs must run without any help of the environment.
set -euo pipefail
build=$1 source=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
unset LD_LIBRARY_PATH

cmake --install "$build" --prefix "$scratch/first" >/dev/null
mkdir "$scratch/some where"
mv "$scratch/first" "$scratch/some where/else"
prefix="$scratch/some where/else"
awk '/^```c$/ {on = 1; next} /^```$/ {on = 0} on' "$source/README.md" >"$scratch/example.c"
[ -s "$scratch/example.c" ] || { echo "no example in README.md"; exit 1; }

libdir=$(dirname "$(find "$prefix" -name libzeljy8.so.6.1)")
for library in libzeljy8.so.6.1 libzelcore.so; do
  readelf -d "$libdir/$library" | grep -q 'RUNPATH.*\[$ORIGIN\]' || { echo "$library does not look beside itself"; exit 1; }
done
[ -z "$(ldd "$libdir/libzeljy8.so.6.1" | grep 'not found')" ] || { echo "the library lacks what it needs"; exit 1; }

export PKG_CONFIG_PATH=$libdir/pkgconfig
eval "flags=($(pkg-config --cflags --libs zelj))"
cc -std=c99 -Wall -Wextra -Wpedantic -Werror "$scratch/example.c" "${flags[@]}" -Wl,-rpath,"$libdir" -o "$scratch/by-pkg-config"
"$scratch/by-pkg-config"
LD_BIND_NOW=1 "$scratch/by-pkg-config" >/dev/null

cat >"$scratch/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(example C)
find_package(zelj REQUIRED)
add_executable(example example.c)
target_link_libraries(example PRIVATE zelj::zelj)
CMAKE
cmake -S "$scratch" -B "$scratch/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$scratch/build" >/dev/null
"$scratch/build/example"
