#!/usr/bin/env bash
# Runs one libFuzzer binary and prints a line: run.sh PROGRAM SEEDS CRASHES WORK SECONDS
# Works on a copy of the seeds, in WORK; what it found stays there. Exits with 1 where an input failed.
set -euo pipefail
program=$1 seeds=$2 crashes=$3 work=$4 seconds=$5
name=$(basename "$seeds")

# Targets that write files need no disk for it.
if [ -z "${TMPDIR:-}" ] && [ -w /dev/shm ]; then export TMPDIR=/dev/shm; fi

rm -rf "$work"
mkdir -p "$work/corpus"
cp "$seeds"/* "$work/corpus"
if [ -d "$crashes" ]; then cp "$crashes"/* "$work/corpus"; fi

if "$program" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=1024 -malloc_limit_mb=256 -print_final_stats=1 \
    -artifact_prefix="$work/" "$work/corpus" >"$work/log" 2>&1; then
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/log")
  echo "$name: $executions executions in $seconds s, no input failed"
else
  tail -n 40 "$work/log"
  echo "$name: an input failed; it is in $work, and belongs into $crashes once the fault is mended"
  exit 1
fi
