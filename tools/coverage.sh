#!/usr/bin/env bash
# coverage.sh [--lines]: how much of the library and of the codecs the tests execute, by clang's counters. Fails where a
# part has less than 97 % of its lines or 93 % of its branches. --lines prints each line that nothing has executed.
set -euo pipefail
cd "$(dirname "$0")/.."

build=build-coverage
cmake --preset coverage >/dev/null
cmake --build --preset coverage
rm -rf "$build/profiles"
# Programs add to some files each. What a process that is ended on purpose leaves half-written does not count.
ctest --preset coverage -j "$(nproc)"
llvm-profdata-14 merge -failure-mode=all -sparse "$build"/profiles/*.profraw -o "$build/all.profdata"

programs=("$build/tests/zelj_tests")
for program in "$build"/tests/zelj_internal_* "$build"/tests/codec/{zelj_*_tests,*_mutations} \
  "$build/tools/zelcodec/zelcodec"; do
  programs+=(-object "$program")
done
llvm-cov-14 export "${programs[@]}" -instr-profile "$build/all.profdata" -format=text src codecs \
  >"$build/coverage.json"
python3 tools/coverage.py "$build/coverage.json" "$@"
