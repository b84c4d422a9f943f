#!/usr/bin/env bash
# Fuzzes every reader of foreign bytes, one after another: fuzz.sh [SECONDS], 60 each by default.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target fuzzers
failures=0
for source in fuzz/*.cpp; do
  name=$(basename "$source" .cpp)
  if [ "$name" = replayMain ]; then continue; fi
  fuzz/run.sh "build/fuzz/bin/fuzz_$name" "fuzz/corpus/$name" "fuzz/crashes/$name" "build/fuzz/fuzz/$name" "$seconds" ||
    failures=$((failures + 1))
done
exit "$((failures > 0))"
