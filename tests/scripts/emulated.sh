#!/usr/bin/env bash
# emulated.sh PROGRAM: the suite, with fewer random rounds, on the shared library: on an emulated processor with SSE4.1 and
# nothing newer, where it must choose the small variant, and on one with everything, where it must choose the large one.
set -euo pipefail
command -v qemu-x86_64 >/dev/null || { echo "qemu-x86_64 is not here"; exit 77; }
qemu-x86_64 -cpu Penryn "$1" --brief
qemu-x86_64 -cpu max "$1" --gtest_filter='Version.*'
