#!/usr/bin/env bash
# sanitize.sh SANITIZERS: builds with the given sanitizers and runs the tests under them, by the presets of the same names.
#   address,undefined  g++; the whole suite, the mutated files included
#   thread             clang and its OpenMP runtime, whose tool library tells the sanitizer about fork and join; the tests
#                      of functions that divide their work among threads, and of the codecs' teams
#   memory             clang; the suite on both variants, and mutated files of every format. What zlib, libdeflate, libpng
#                      and Little CMS write is told to the sanitizer. GoogleTest is built from its sources; strings and
#                      streams come from their templates. What the runtime of OpenMP writes is not seen, so that the strings
#                      of its environment would look unwritten; libpng compares bytes that it has written on its stack
set -euo pipefail
cd "$(dirname "$0")/.."

preset=${1//,/-}
if [ "$preset" = memory ]; then
  build=$PWD/build-sanitize-memory
  flags="-include $PWD/tools/memory/templates.h -fsanitize-ignorelist=$PWD/tools/memory/ignored.txt"
  cmake -S /usr/src/googletest -B "$build/googletest" -G Ninja -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_GMOCK=OFF "-DCMAKE_CXX_FLAGS=-fsanitize=memory $flags" \
    "-DCMAKE_INSTALL_PREFIX=$build/gtest"
  cmake --build "$build/googletest" --target install
fi
cmake --preset "$preset"
cmake --build --preset "$preset"
jobs=$(nproc)
[ "$preset" = thread ] && jobs=1
ctest --preset "$preset" -j "$jobs"
[ "$preset" != memory ] || ctest --preset memory-pictures
