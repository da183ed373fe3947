#!/usr/bin/env bash
# types.sh PACKAGE_DIR SCRATCH: the type hints hold, where mypy is there.
set -euo pipefail
command -v mypy >/dev/null || { echo "skipped: no mypy"; exit 77; }
cd "$1"
mypy --strict --cache-dir "$2/mypy" zelj
