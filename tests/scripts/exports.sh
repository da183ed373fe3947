#!/usr/bin/env bash
# exports.sh LIBRARY EXPORTS_INC CORE_LIBRARY: the dynamic symbols are exactly the listed names; neither library has a
# constructor of its own or writable data.
set -euo pipefail
library=$1 exports=$2 core=$3

defined() { nm -D --defined-only "$1" | awk '{print $3}' | sort; }
expect() {
  diff <(defined "$1") <(printf '%s\n' "${@:2}" | sort) || { echo "exported symbols of $1 differ from the list"; exit 1; }
}
mapfile -t names < <(sed -n 's/^ZEL_EXPORT(\(.*\))$/\1/p' "$exports")
expect "$library" "${names[@]}"
expect "$core" zelMalloc zelFree ownGetNumThreads ownGetFeature zelGetMaxCacheSizeB

# The C runtime's own objects add one word to .data, one entry to .init_array and a byte of .bss; ours add nothing.
for file in "$library" "$core"; do
  nm "$file" | awk '$2 ~ /^[dDbB]$/ {print $3}' | grep -vE '^(__dso_handle|completed\.0|_DYNAMIC|_GLOBAL_OFFSET_TABLE_|__TMC_END__|__frame_dummy_init_array_entry|__do_global_dtors_aux_fini_array_entry|_edata|_end|__bss_start|_ZTV.*|.*__ubsan.*|s_libVer.*|_ZN.*s_libVer.*)$' \
    && { echo "writable data in $file"; exit 1; }
  [ "$(readelf -W -S "$file" | awk '$2 == ".init_array" {print $6}')" = 000008 ] || { echo "a constructor in $file"; exit 1; }
done
readelf -d "$library" | grep -q 'SONAME.*\[libzeljy8.so.6.1\]' || { echo "wrong SONAME"; exit 1; }
echo "exports: ${#names[@]} names"
