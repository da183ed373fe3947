#!/usr/bin/env bash
# build.sh OUT: builds the Debian packages and puts them into the folder OUT.
set -euo pipefail
cd "$(dirname "$0")/.."
out=$1
umask 022

cmake --preset package >/dev/null
cmake --build --preset package
rm -rf build-package/packages
(cd build-package && cpack -G DEB -B packages)
mkdir -p "$out"
cp build-package/packages/*.deb "$out"
ls -l "$out"/*.deb
