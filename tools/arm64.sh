#!/usr/bin/env bash
# arm64.sh [--whole] [BUILD]: builds everything for ARM64 by cross compilation in BUILD (build-arm64) and tests it under
# qemu-aarch64: the primitives' suite, the digest of all functions beside that of build/, codecs and tool on files that the
# x86-64 tool wrote. Without --whole the suite repeats less and the codecs' own tests are left out: some minutes.
#
# ARM64 libraries of Debian (libpng, GoogleTest and what they need) are unpacked in BUILD/root; nothing is installed.
set -euo pipefail
cd "$(dirname "$0")/.."
whole=0
[ "${1-}" = --whole ] && { whole=1; shift; }
build=$(realpath -m "${1-build-arm64}")
root=$build/root

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
    libpng-dev zlib1g-dev liblcms2-dev libdeflate-dev libgtest-dev libcli11-dev nlohmann-json3-dev >/dev/null
  rm -rf "$root" && mkdir -p "$root"
  for package in "$apt"/archives/*.deb; do
    case ${package##*/} in
      libc6*|libc-*|linux-libc-dev*|libgcc*|libstdc++*|gcc-*) ;;
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
