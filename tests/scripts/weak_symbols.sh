#!/usr/bin/env bash
# weak_symbols.sh OBJECT...: no object of a variant may define a weak or unique symbol: the linker would keep one copy for
# both variants, perhaps the one that older processors cannot run.
set -euo pipefail
[ $# -gt 0 ] || { echo "no objects given"; exit 1; }
found=$(nm -A "$@" | awk '$(NF-1) ~ /^[WVu]$/')
[ -z "$found" ] || { echo "$found"; exit 1; }
echo "weak symbols: none in $# objects"
