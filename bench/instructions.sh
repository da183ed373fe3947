#!/usr/bin/env bash
# instructions.sh BENCH_PROGRAM REGEX: instructions per unit of the benchmark rows whose names match, counted by callgrind.
# The counts are the same from run to run, whatever else the machine does.
set -euo pipefail
program=$1 regex=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

valgrind --tool=callgrind --callgrind-out-file="$scratch/out" "$program" "--instructions=$regex" >"$scratch/log" 2>&1 ||
  { tail -5 "$scratch/log"; exit 1; }

echo "| work | contender | instructions per unit | unit |"
echo "|---|---|---|---|"
for dump in $(ls -v "$scratch"/out.*); do
  name=$(sed -n 's/^desc: Trigger: Client Request: //p' "$dump")
  total=$(sed -n 's/^\(totals\|summary\): //p' "$dump" | head -1)
  [ -n "$name" ] && IFS='|' read -r row contender units unit <<<"$name" &&
    awk -v r="$row" -v c="$contender" -v t="$total" -v n="$units" -v u="$unit" \
      'BEGIN {printf "| %s | %s | %.1f | %s |\n", r, c, t / n, u}'
done
