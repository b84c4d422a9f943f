#!/usr/bin/env bash
# Fuzzes every reader of foreign bytes, one after another: fuzz.sh [SECONDS], 60 each by default.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target fuzzers
failures=0
for program in build/fuzz/bin/fuzz_*; do
  name=${program##*/fuzz_}
  fuzz/run.sh "$program" "fuzz/corpus/$name" "fuzz/crashes/$name" "build/fuzz/fuzz/$name" "$seconds" ||
    failures=$((failures + 1))
done
exit "$((failures > 0))"
