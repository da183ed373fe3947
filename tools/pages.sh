#!/usr/bin/env bash
# pages.sh: the documentation as HTML in out/html. A warning of Doxygen is an error, and so is a link that leads nowhere.
set -euo pipefail
cd "$(dirname "$0")/.."
mkdir -p out
rm -rf out/html
doxygen docs/Doxyfile
cd out/html
broken=$(grep -oE '(href|src)="[^"#:]+["#]' ./*.html | sed -E 's/(href|src)="//; s/["#]$//' | sort -u |
  while IFS=: read -r page target; do [ -e "$target" ] || echo "$page: there is no $target"; done)
[ -z "$broken" ] || { echo "$broken"; exit 1; }
echo "pages: out/html/index.html"
