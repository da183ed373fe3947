#!/usr/bin/env bash
# abi.sh LIBRARY SOURCE_DIR COMPILER: compares what callers are compiled with, and the names that the library exports,
# with the stored description. It goes with the SONAME: what would break programs that exist needs another one.
#   abi.sh --store SOURCE_DIR COMPILER   stores the present state, where something was added
set -euo pipefail
library=$1 source=$2 compiler=$3 here=$(dirname "$0")
command -v abidiff abidw >/dev/null || { echo "abidiff is missing (package abigail-tools): not compared"; exit 77; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

sed -n 's/^typedef enum \([A-Za-z]*\) {/ENUMERATION(\1)/p' "$source/include/zelj.h" >"$scratch/enumerations.inc"
"$compiler" -g -O0 -fPIC -shared -nostdlib -I "$source/include" -I "$source/src" -I "$scratch" \
  "$here/described.c" -o "$scratch/described.so"
if [ "$library" = --store ]; then
  abidw --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed --no-write-default-sizes \
    --no-parameter-names --type-id-style hash "$scratch/described.so" >"$here/zelj.abi"
  exit
fi
abidiff --no-default-suppression "$here/zelj.abi" "$scratch/described.so" ||
  { echo "the interface is not what it was"; exit 1; }
diff <(grep -o "elf-symbol name='described_[^']*" "$here/zelj.abi" | sed "s/.*described_//" | sort) \
  <(nm -D --defined-only "$library" | awk '{print $3}' | sort) || { echo "exported names have changed"; exit 1; }
echo "abi: as described, $(grep -c "elf-symbol name='described_" "$here/zelj.abi") functions"
