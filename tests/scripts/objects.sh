#!/usr/bin/env bash
# objects.sh OBJECT...: what no object of a variant may have.
#   - a weak or unique symbol: the linker would keep one copy for both variants, perhaps the one that an older processor
#     cannot run
#   - writable data or a constructor: the library keeps no state and does nothing when it is loaded
set -euo pipefail
[ $# -gt 0 ] || { echo "no objects given"; exit 1; }

weak=$(nm -A "$@" | awk '$(NF-1) ~ /^[WVu]$/')
[ -z "$weak" ] || { echo "weak symbols:"; echo "$weak"; exit 1; }

state=$(objdump -h "$@" | awk '/file format/ {file = $1}
  $2 ~ /^\.(data|bss|tdata|tbss|init_array|ctors)$/ && $3 !~ /^0+$/ {print file, $2, $3}')
[ -z "$state" ] || { echo "writable data or constructors:"; echo "$state"; exit 1; }
echo "objects: $# without weak symbols, writable data and constructors"
