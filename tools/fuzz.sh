#!/usr/bin/env bash
# fuzz.sh HOURS [TARGET...]            fuzzes the targets on all cores; the time is divided among them
# fuzz.sh --each SECONDS [TARGET...]   each target for so long, two at a time
# fuzz.sh --minimise [TARGET...]       puts into fuzz/corpus the fewest small inputs that reach what the work folder reaches
#
# Without a target: all of them. A target goes on from fuzz/corpus, for whole files also from fuzz/seeds, and from what it
# has found before, in build-fuzz/work; it ends at its first finding. At the end stand executions, edges of the code
# reached, inputs that are new, and findings, whose inputs lie in build-fuzz/findings; with any, the exit status is 1.
# An input that takes more than 10 seconds or 512 MiB is a finding too.
set -euo pipefail
cd "$(dirname "$0")/.."
export build=build-fuzz

usage() {
  sed -n '2,4s/^# //p' "$0" >&2
  exit 2
}

case ${1:-} in
  --each) seconds=${2:-} jobs=2 && shift 2 || usage ;;
  --minimise) seconds=0 jobs=$(nproc) && shift ;;
  *) hours=${1:-} jobs=$(nproc) && shift || usage ;;
esac
[[ ${seconds-0} =~ ^[0-9]+$ && ${hours-0} =~ ^[0-9]+(\.[0-9]+)?$ ]] || usage

mapfile -t targets < <(find fuzz -name '*_fuzz.cpp' -printf '%f\n' | sed 's/\.cpp$//' | sort)
for target; do
  [[ " ${targets[*]} " == *" $target "* ]] || { echo "there is no target $target, but: ${targets[*]}" >&2; exit 2; }
done
if [ $# -gt 0 ]; then targets=("$@"); fi

mkdir -p "$build"
cmake --preset fuzzing >"$build/build.log" || { cat "$build/build.log"; exit 1; }
cmake --build --preset fuzzing >"$build/build.log" || { cat "$build/build.log"; exit 1; }

[ -n "${seconds:-}" ] || seconds=$(awk "BEGIN { print int($hours * 3600 * $jobs / ${#targets[@]}) }")
export seconds
export ASAN_OPTIONS=quarantine_size_mb=16 UBSAN_OPTIONS=print_stacktrace=1

# The folders of a target: what it has found, which is made where it is missing; its seeds; what is kept of findings.
prepare() {
  work=$build/work/$1 seeds=fuzz/seeds/$1 kept=fuzz/corpus/$1
  mkdir -p "$work" "$build/findings"
  inputs=("$work")
  local folder
  for folder in "$seeds" "$kept"; do
    if [ -d "$folder" ]; then inputs+=("$folder"); fi
  done
}

fuzz() {
  prepare "$1"
  # Calls of primitives are short: what libFuzzer computes to choose the next input would take longer than they do.
  local options=(-max_len=256 -entropic=0)
  if [ -f "fuzz/$1.cpp" ]; then options=(-max_len=6000 -dict="fuzz/${1%_fuzz}.dict"); fi
  find "$work" -type f | wc -l >"$work.before"
  local status=0
  "$build/fuzz/$1" "${options[@]}" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=512 -print_final_stats=1 \
    -artifact_prefix="$build/findings/$1-" "${inputs[@]}" >"$work.log" 2>&1 || status=$?
  echo "$status" >"$work.status"
}

# What seeds reach need not be kept, nor what is longer than 1.5 KB. Names of seeds have an ending, those of inputs none.
minimise() {
  prepare "$1"
  local fresh=$build/minimised/$1
  rm -rf "$fresh" && mkdir -p "$fresh"
  if [ -d "$seeds" ]; then cp "$seeds"/* "$fresh"; fi
  "$build/fuzz/$1" -merge=1 -use_counters=0 "$fresh" "${inputs[@]}" >"$work.log" 2>&1
  rm -rf "$kept" && mkdir -p "$kept"
  find "$fresh" -type f ! -name '*.*' -size -1500c -exec cp {} "$kept" \;
}
export -f prepare fuzz minimise

if [ "$seconds" = 0 ]; then
  printf '%s\n' "${targets[@]}" | xargs -P "$jobs" -I{} bash -euc 'minimise {}'
  du -sh --apparent-size fuzz/corpus
  exit
fi

printf '%s\n' "${targets[@]}" | xargs -P "$jobs" -I{} bash -euc 'fuzz {}'

printf '%-26s %12s %8s %8s %8s  %s\n' target executions 'a second' edges new findings
total=0 findings=0
for target in "${targets[@]}"; do
  log=$build/work/$target
  stat() { sed -n "s/^stat::$1: *//p" "$log.log" | tail -1; }
  executions=$(stat number_of_executed_units) edges=$(grep -oE 'cov: [0-9]+' "$log.log" | tail -1 | cut -c6-)
  new=$(($(find "$log" -type f | wc -l) - $(cat "$log.before")))
  finding=-
  if [ "$(cat "$log.status")" != 0 ]; then
    finding=$(grep -m1 -E '^SUMMARY|^==.*ERROR|runtime error' "$log.log" || echo "see $log.log")
    findings=$((findings + 1))
  fi
  total=$((total + ${executions:-0}))
  printf '%-26s %12s %8s %8s %8s  %s\n' "$target" "${executions:-0}" "$(stat average_exec_per_sec)" "${edges:-0}" "$new" "$finding"
done
echo "$total executions of ${#targets[@]} targets, $seconds s each, $findings with findings ($(date '+%F %T'))"
[ "$findings" = 0 ]
