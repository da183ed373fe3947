#!/usr/bin/env bash
# format.sh [--check]: brings the tracked sources into the form of .clang-format; with --check only names those that deviate,
# and the lines above 120 columns, which clang-format leaves alone where they are comments.
set -euo pipefail
cd "$(dirname "$0")/.."
format=$(command -v clang-format-14 || command -v clang-format)
mapfile -t files < <(git ls-files '*.cpp' '*.h' '*.c')

if [ "${1:-}" != --check ]; then
  "$format" -i "${files[@]}"
  exit
fi
bad=0
"$format" --dry-run -Werror "${files[@]}" || bad=1
if grep -nE '^.{121,}$' "${files[@]}"; then
  echo "lines above 120 columns"
  bad=1
fi
exit $bad
