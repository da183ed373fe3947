#!/usr/bin/env bash
# pages.sh: the documentation as HTML in out/html. A warning of Doxygen is an error.
set -euo pipefail
cd "$(dirname "$0")/.."
mkdir -p out
doxygen docs/Doxyfile
echo "pages: out/html/index.html"
