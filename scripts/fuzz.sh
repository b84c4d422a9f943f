#!/usr/bin/env bash
# Fuzzes readers of foreign bytes, one after another: fuzz.sh [SECONDS [TARGET...]]. All of them by default, 60 s each.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
targets=("${@:2}")

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target fuzzers
failures=0
if [ ${#targets[@]} -eq 0 ]; then
  for program in build/fuzz/bin/fuzz_*; do targets+=("${program##*/fuzz_}"); done
fi
for name in "${targets[@]}"; do
  fuzz/run.sh "build/fuzz/bin/fuzz_$name" "fuzz/corpus/$name" "fuzz/crashes/$name" "build/fuzz/fuzz/$name" "$seconds" ||
    failures=$((failures + 1))
done
exit "$((failures > 0))"
