#!/usr/bin/env bash
# need.sh [--all] WORK...: makes sure that what a piece of work needs is there: programs, headers and modules, however they
# came here. As root, where apt-get is, the packages of what is missing are installed. Otherwise what is missing is named, and
# where it is something that the work cannot do without (with --all: anything), the script fails. WORK is one or more of build,
# tests, ci, arm64.
set -euo pipefail
all=0
[ "${1-}" = --all ] && { all=1; shift; }

# kind | what must be there | packages, of which the first known one is taken | what for; "?" before it: goes without
needs_of() {
  case $1 in
    build) cat <<'END' ;;
program|c++|g++|
program|cmake|cmake|
program|ninja|ninja-build|
program|pkg-config|pkg-config pkgconf|
program|python3|python3|the report
header|png.h|libpng-dev|
header|zlib.h|zlib1g-dev|
header|lcms2.h|liblcms2-dev|
header|libdeflate.h|libdeflate-dev|
header|CLI/CLI.hpp|libcli11-dev|
header|nlohmann/json.hpp|nlohmann-json3-dev|
END
    tests) cat <<'END' ;;
header|gtest/gtest.h|libgtest-dev|
header|jpeglib.h|libjpeg62-turbo-dev libjpeg-turbo8-dev libjpeg-dev|?JPEG files beside libjpeg-turbo
header|libavcodec/avcodec.h|libavcodec-dev|?lossless JPEG beside libavcodec
module|libopenjp2|libopenjp2-7-dev|?JPEG 2000 beside OpenJPEG
header|tiff.h|libtiff-dev|?TIFF beside libtiff
header|squish.h|libsquish-dev|?textures beside libsquish
python|PIL|python3-pil|?metadata, textures and arrays beside Pillow
python|numpy|python3-numpy|?the Python package
program|mypy|mypy|?the types of the Python package
program|djpeg|libjpeg-turbo-progs|?options of JPEG beside cjpeg and djpeg
program|opj_compress|libopenjp2-tools|?options of JPEG 2000 beside its programs
program|tiffcp|libtiff-tools|?options of TIFF beside tiffcp
version|convert ImageMagick|imagemagick|?options beside ImageMagick
program|qemu-x86_64|qemu-user|?a processor without AVX2
program|abidiff|abigail-tools|?the binary interface beside its description
END
    ci) cat <<'END' ;;
program|git|git|
program|clang-format-14|clang-format-14|
program|clang-tidy-14|clang-tidy-14|
program|clang++-14|clang-14|
file|/usr/lib/llvm-14/lib/clang/*/lib/linux/libclang_rt.asan-x86_64.a|libclang-rt-14-dev|
file|/usr/lib/llvm-14/lib/libomp.so|libomp-14-dev|
program|doxygen|doxygen|
program|valgrind|valgrind|
program|groff|groff|
program|chromedriver|chromium-driver chromium-chromedriver|
program|lintian|lintian|
program|dpkg-shlibdeps|dpkg-dev|
program|file|file|
program|debootstrap|debootstrap|
header|benchmark/benchmark.h|libbenchmark-dev|
header|turbojpeg.h|libturbojpeg0-dev|
file|/usr/src/googletest/googletest|googletest|
END
    arm64) cat <<'END' ;;
program|aarch64-linux-gnu-g++|g++-aarch64-linux-gnu|
program|qemu-aarch64|qemu-user|
program|dpkg-deb|dpkg|
END
    *) echo "need.sh: there is no work called $1" >&2; exit 1 ;;
  esac
}

present() {
  case $1 in
    program) command -v "$2" >/dev/null ;;
    # A program whose name others have too: one of that name must call itself so.
    version) type -aP "${2% *}" | while read -r program; do "$program" -version 2>/dev/null || true; done | grep -q "${2#* }" ;;
    # Without a compiler nobody can tell; it is missing itself then.
    header) ! command -v c++ >/dev/null || echo "#include <$2>" | c++ -std=c++17 -E -x c++ - >/dev/null 2>&1 || {
      [ "$2" = jpeglib.h ] && printf '#include <stdio.h>\n#include <jpeglib.h>\n' | c++ -E -x c++ - >/dev/null 2>&1; } ;;
    module) pkg-config --exists "$2" 2>/dev/null ;;
    python) "$([ -x /usr/bin/python3 ] && echo /usr/bin/python3 || echo python3)" -c "import $2" 2>/dev/null ;;
    file) compgen -G "$2" >/dev/null ;;
  esac
}

# The needs of all the work that are not there, as lines of the table.
missing() {
  local kind what packages why
  for work in "$@"; do needs_of "$work"; done | while IFS='|' read -r kind what packages why; do
    present "$kind" "$what" || echo "$kind|$what|$packages|$why"
  done
}

# The first of several names that this system's archive has.
known() {
  for package in $1; do
    if apt-cache show "$package" >/dev/null 2>&1; then echo "$package"; return; fi
  done
  echo "${1%% *}"
}

install() { # install LINES: all their packages at once, or one by one where that fails
  local packages=() one
  while IFS='|' read -r _ _ one _; do packages+=("$(known "$one")"); done <<<"$1"
  echo "installing: ${packages[*]}"
  apt-get install -y -qq --no-install-recommends "${packages[@]}" >/dev/null ||
    for one in "${packages[@]}"; do apt-get install -y -qq --no-install-recommends "$one" >/dev/null || true; done
}

lines=$(missing "$@")
[ -n "$lines" ] || exit 0
if [ "$(id -u)" -eq 0 ] && command -v apt-get >/dev/null; then
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq || true
  for _ in 1 2; do # the second time for headers, where the first time brought the compiler
    install "$lines"
    lines=$(missing "$@")
    [ -n "$lines" ] || exit 0
  done
fi

needed=0
while IFS='|' read -r kind what packages why; do
  case $kind in file) kind="" ;; version) kind="program " ;; python) kind="Python module " ;; module) kind="library " ;; *) kind+=" " ;; esac
  name="$kind$what (package ${packages// / or })"
  if [[ $why == \?* ]] && [ $all = 0 ]; then
    echo "absent: $name; left out: ${why#\?}" >&2
  else
    echo "missing: $name${why:+, for ${why#\?}}" >&2
    needed=1
  fi
done <<<"$lines"
exit $needed
