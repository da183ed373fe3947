#!/usr/bin/env bash
# arm64.sh [--whole] [BUILD]: builds everything for ARM64 by cross compilation in BUILD (build-arm64) and tests it under
# qemu-aarch64: the primitives' suite, the digest of all results beside that of build/, and the tool, which must make the
# files that the one in build/ makes. Some minutes; with --whole, the suite repeats all that it does at random, and the
# codecs' own tests run too.
#
# ARM64 libraries of Debian (libpng, GoogleTest and what they need) are unpacked in BUILD/root; nothing is installed.
set -euo pipefail
cd "$(dirname "$0")/.."
whole=0
[ "${1-}" = --whole ] && { whole=1; shift; }
build=$(realpath -m "${1-build-arm64}")
root=$build/root
tools/need.sh --all arm64

# Debian's archive for ARM64, asked by an apt whose state is in the build folder. What the cross compiler brings itself (the
# C library, the compiler's runtimes) stays out.
fetch_libraries() {
  local apt=$build/apt
  local options=(-qq -y -o APT::Architecture=arm64 -o APT::Architectures::=arm64 -o Dir::State="$apt" -o Dir::Cache="$apt"
                 -o Dir::State::status="$apt/status" -o APT::Sandbox::User=root)
  mkdir -p "$apt/lists/partial" "$apt/archives/partial"
  : >"$apt/status"
  apt-get "${options[@]}" update
  apt-get "${options[@]}" install --no-install-recommends --download-only \
    libpng-dev zlib1g-dev liblcms2-dev libdeflate-dev libgtest-dev libcli11-dev nlohmann-json3-dev \
    libjpeg62-turbo-dev libtiff-dev libopenjp2-7-dev libsquish-dev >/dev/null
  rm -rf "$root" && mkdir -p "$root"
  for package in "$apt"/archives/*.deb; do
    case ${package##*/} in
      libc6*|libc-*|linux-libc-dev*|libgcc*|libstdc++*|libgomp*|gcc-*) ;;
      *) dpkg-deb -x "$package" "$root" ;;
    esac
  done
  # One folder of libraries, and links inside of it.
  cp -a "$root/lib/." "$root/usr/lib/" && rm -rf "$root/lib"
  find "$root/usr/lib" -type l -lname '/*' -exec sh -c 'ln -sf "$(basename "$(readlink "$1")")" "$1"' - {} \;
  touch "$root/complete"
}

[ -e "$root/complete" ] || fetch_libraries
cmake -S . -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/aarch64-linux-gnu.cmake" -DZELJ_ARM64_ROOT="$root" \
  -DZELJ_WERROR=ON >/dev/null
cmake --build "$build"

emulator=(qemu-aarch64 -L /usr/aarch64-linux-gnu -E LD_LIBRARY_PATH="$root/usr/lib/aarch64-linux-gnu")
suite=(--gtest_brief=1 --brief)
[ $whole = 0 ] || suite=(--gtest_brief=1)
"${emulator[@]}" "$build/tests/zelj_tests" "${suite[@]}"
"${emulator[@]}" "$build/tests/zelj_internal_neon" --gtest_brief=1
"${emulator[@]}" "$build/tests/zelj_tests_library" --gtest_brief=1 --gtest_filter='Version.*'
"${emulator[@]}" "$build/tests/codec/zelj_c_interface_tests" --gtest_brief=1
[ $whole = 0 ] || "${emulator[@]}" "$build/tests/codec/zelj_codec_tests" --gtest_brief=1

# The x86-64 build tells what both must agree in.
[ -e build/CMakeCache.txt ] || cmake -S . -B build -G Ninja >/dev/null
cmake --build build --target zelj_digest zelj_calls zelcodec >/dev/null
expected=$(build/tests/digest/zelj_digest sse41 fuzz/corpus)
found=$("${emulator[@]}" "$build/tests/digest/zelj_digest" neon fuzz/corpus)
printf 'x86-64: %s\nARM64:  %s\n' "$expected" "$found"
[ "$found" = "$expected" ] || { echo "the results differ"; exit 1; }
tests/scripts/same_files.sh "$PWD/build/tools/zelcodec/zelcodec" "${emulator[@]}" "$build/tools/zelcodec/zelcodec"

echo "instructions of functions that take more than 1.2 times those of sse41:"
bench/calls/beside.py build "$build" --above 1.2
