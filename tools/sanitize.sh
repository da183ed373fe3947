#!/usr/bin/env bash
# sanitize.sh SANITIZERS: builds with the given sanitizers and runs the tests under them.
#   address,undefined  g++; the whole suite, the mutated files included
#   thread             clang and its OpenMP runtime, whose tool library tells the sanitizer about fork and join; the tests
#                      of functions that divide their work among threads
set -euo pipefail
cd "$(dirname "$0")/.."

sanitizers=$1
build=build-sanitize-${sanitizers//,/-}
options=(-G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "-DZELJ_SANITIZE=$sanitizers")
export ASAN_OPTIONS=detect_stack_use_after_return=1 UBSAN_OPTIONS=print_stacktrace=1

if [ "$sanitizers" = thread ]; then
  cmake -S . -B "$build" "${options[@]}" -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14
  cmake --build "$build" --target zelj_tests zelj_internal_sse41 zelj_internal_avx2 zelj_codec_tests
  export OMP_TOOL_LIBRARIES=/usr/lib/llvm-14/lib/libarcher.so
  export TSAN_OPTIONS=ignore_noninstrumented_modules=1
  ctest --test-dir "$build" --output-on-failure -R 'threads\.|internal\.'
else
  cmake -S . -B "$build" "${options[@]}"
  cmake --build "$build"
  ctest --test-dir "$build" --output-on-failure -j "$(nproc)"
fi
