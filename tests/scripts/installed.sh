#!/usr/bin/env bash
# installed.sh BUILD_DIR SOURCE_DIR: installs into a scratch directory and builds the README's example against the
# result, by pkg-config and by CMake; both programs must run.
set -euo pipefail
build=$1 source=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
awk '/^```c$/ {on = 1; next} /^```$/ {on = 0} on' "$source/README.md" >"$scratch/example.c"
[ -s "$scratch/example.c" ] || { echo "no example in README.md"; exit 1; }

libdir=$(dirname "$(find "$scratch/prefix" -name libzeljy8.so.6.1)")
export PKG_CONFIG_PATH=$libdir/pkgconfig LD_LIBRARY_PATH=$libdir
flags=$(pkg-config --define-variable=prefix="$scratch/prefix" --cflags --libs zelj)
# shellcheck disable=SC2086
cc -std=c99 -Wall -Wextra -Wpedantic -Werror "$scratch/example.c" $flags -o "$scratch/by-pkg-config"
"$scratch/by-pkg-config"
LD_BIND_NOW=1 "$scratch/by-pkg-config" >/dev/null

cat >"$scratch/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(example C)
find_package(zelj REQUIRED)
add_executable(example example.c)
target_link_libraries(example PRIVATE zelj::zelj)
CMAKE
cmake -S "$scratch" -B "$scratch/build" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$scratch/build" >/dev/null
"$scratch/build/example"
