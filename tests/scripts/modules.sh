#!/usr/bin/env bash
# modules.sh INDEX OBJECT...: the index names every exported function once, under the module whose object defines it, and
# every module. An object's path ends in FAMILY/MODULE.cpp.o.
set -euo pipefail
index=$1
shift

defined() {
  local object module
  for object in "$@"; do
    module=$(echo "$object" | sed -E 's|.*/([^/]+/[^/]+)\.cpp\.o$|\1|')
    echo "$module -"
    nm -C --defined-only "$object" | sed -nE "s/^[0-9a-f]+ T ([a-z0-9_]+::)?(zel[ij]\w+)(\(.*)?$/\2/p" | sed "s|^|$module |"
  done | sort -u
}
indexed() {
  awk '/^### `/ {split($0, part, "`"); module = part[2]; print module, "-"; next}
       module { while (match($0, /`zel[ij][A-Za-z0-9_]+`/)) {
         print module, substr($0, RSTART + 1, RLENGTH - 2); $0 = substr($0, RSTART + RLENGTH)} }' "$index" | sort
}
# Routines of the frame have exported-style names, but are not exported: the index tells of the module alone.
diff <(defined "$@" | awk '$1 !~ /^frame\// || $2 == "-" || $2 ~ /^zelj/') <(indexed) || { echo "$index and the objects differ"; exit 1; }
echo "modules: the index agrees with $# objects"
