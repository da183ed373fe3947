#!/usr/bin/env bash
# exports.sh LIBRARY EXPORTS_INC CORE_LIBRARY: the dynamic symbols are exactly the listed names, and the SONAME is right.
# exports.sh CODECS_LIBRARY HEADER: likewise, and the names are the functions that the header declares.
set -euo pipefail
library=$1 exports=$2 core=${3:-}

expect() {
  local defined
  defined=$(nm -D --defined-only "$1" | awk '{print $3}' | sort)
  diff <(echo "$defined") <(printf '%s\n' "${@:2}" | sort) || { echo "exported symbols of $1 differ from the list"; exit 1; }
}
mapfile -t names < <(sed -n 's/^ZEL_EXPORT(\(.*\))$/\1/p; s/^ZELC_API .*[ *]\(zelc[A-Za-z]*\)(.*/\1/p' "$exports")
expect "$library" "${names[@]}"
[ -z "$core" ] || expect "$core" zelMalloc zelFree ownGetNumThreads ownGetFeature zelGetMaxCacheSizeB
soname=${core:+libzeljy8.so.6.1}
readelf -d "$library" | grep -qF "[${soname:-libzelcodecs.so.1}]" || { echo "wrong SONAME"; exit 1; }
echo "exports: ${#names[@]} names"
