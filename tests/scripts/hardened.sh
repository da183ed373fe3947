#!/usr/bin/env bash
# hardened.sh TOOL ARCHIVE LIBRARY...: how the files were linked and compiled. In each that is loaded: addresses resolved
# and sealed at load, no stack that can be executed, guards on the stack; the shared libraries stay loaded. In the archive's
# objects, which the library is made of too: landing pads for indirect branches, and no need of a stack that can be
# executed. The binding has no guards: it runs before the guard word is there.
set -euo pipefail
tool=$1 archive=$2 libraries=("${@:3}")

fail() { echo "$1: $2"; exit 1; }
has() { grep -q "$2" <<<"$1"; }

for file in "$tool" "${libraries[@]}"; do
  dynamic=$(readelf -dW "$file") segments=$(readelf -lW "$file")
  has "$dynamic" 'FLAGS_1.*NOW' || fail "$file" "binds lazily"
  has "$segments" 'GNU_RELRO' || fail "$file" "addresses are not sealed"
  has "$segments" 'GNU_STACK.* RW ' || fail "$file" "the stack can be executed"
  has "$(readelf -sW "$file")" '__stack_chk_fail' || fail "$file" "no guards on the stack"
done
for library in "${libraries[@]}"; do
  has "$(readelf -dW "$library")" 'FLAGS_1.*NODELETE' || fail "$library" "is unloaded"
done
has "$(readelf -sW "$tool" "${libraries[0]}")" '__[a-z]*_chk@' || fail "$tool" "no checked copies"

objects=$(ar t "$archive" | wc -l)
[ "$(readelf -nW "$archive" 2>/dev/null | grep -c IBT)" -eq "$objects" ] || fail "$archive" "an object without landing pads"
[ "$(readelf -SW "$archive" | grep -c '\.note\.GNU-stack .* 00  *0  *0 ')" -eq "$objects" ] ||
  fail "$archive" "an object asks for a stack that can be executed"
[ "$(nm -A "$archive" | grep -c 'bind.cpp.o:.*__stack_chk')" -eq 0 ] || fail "$archive" "the binding has guards"
echo "hardened: $tool, ${libraries[*]}, $objects objects"
