#!/usr/bin/env bash
# sanitize.sh SANITIZERS: builds with the given sanitizers and runs the tests under them.
#   address,undefined  g++; the whole suite, the mutated files included
#   thread             clang and its OpenMP runtime, whose tool library tells the sanitizer about fork and join; the tests
#                      of functions that divide their work among threads, and of the codecs' teams
#   memory             clang; the suite on both variants, and mutated files of every format. What zlib, libdeflate, libpng
#                      and Little CMS write is told to the sanitizer. GoogleTest is built from its sources; strings and
#                      streams come from their templates
set -euo pipefail
cd "$(dirname "$0")/.."

sanitizers=$1
build=build-sanitize-${sanitizers//,/-}
options=(-G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "-DZELJ_SANITIZE=$sanitizers")
clang=(-DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14)
export ASAN_OPTIONS=detect_stack_use_after_return=1 UBSAN_OPTIONS=print_stacktrace=1

case $sanitizers in
  thread)
    cmake -S . -B "$build" "${options[@]}" "${clang[@]}"
    cmake --build "$build" --target zelj_tests zelj_internal_sse41 zelj_internal_avx2 zelj_codec_tests
    export OMP_TOOL_LIBRARIES=/usr/lib/llvm-14/lib/libarcher.so TSAN_OPTIONS=suppressions=$PWD/tools/thread/openmp.txt
    ctest --test-dir "$build" --output-on-failure -R 'threads\.|internal\.'
    ;;
  memory)
    # What the runtime of OpenMP writes is not seen, so that the strings of its environment would look unwritten.
    export MSAN_OPTIONS=intercept_strlen=0
    flags="-include $PWD/tools/memory/templates.h -fsanitize-ignorelist=$PWD/tools/memory/ignored.txt"
    cmake -S /usr/src/googletest -B "$build/googletest" "${options[@]}" "${clang[@]}" -DBUILD_GMOCK=OFF \
      "-DCMAKE_CXX_FLAGS=-fsanitize=memory $flags" "-DCMAKE_INSTALL_PREFIX=$PWD/$build/gtest"
    cmake --build "$build/googletest" --target install
    cmake -S . -B "$build" "${options[@]}" "${clang[@]}" "-DCMAKE_CXX_FLAGS=$flags" "-DCMAKE_PREFIX_PATH=$PWD/$build/gtest"
    cmake --build "$build" --target zelj_tests zelj_internal_sse41 zelj_internal_avx2 \
      jpeg_mutations jpeg2000_mutations dds_mutations tiff_mutations picture_mutations
    ctest --test-dir "$build" --output-on-failure -j "$(nproc)" -R 'suite\.(sse41|avx2)|internal\.|_mutations' -E picture
    # libpng compares bytes that it has written on its stack.
    MSAN_OPTIONS+=:intercept_memcmp=0 ctest --test-dir "$build" --output-on-failure -R picture_mutations
    ;;
  *)
    cmake -S . -B "$build" "${options[@]}"
    cmake --build "$build"
    ctest --test-dir "$build" --output-on-failure -j "$(nproc)"
    ;;
esac
