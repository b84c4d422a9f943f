#!/usr/bin/env bash
# Runs the real k2r with a fault in each, and looks at what it leaves. Calls on files fail or are cut short, one, three or
# all from one on; the process is killed at a call; a second one comes between two calls; memory runs short. docs/durability.md
# has the table that it prints.
#
#   scripts/fault_test.sh [RUNS] [BUILD]         5000 runs, drawn by K2R_FAULT_SEED, of the programs in build/release
#   scripts/fault_test.sh --only CASE [BUILD]    one run again, as a failure names it; its files stay
#
# Needs ffmpeg and python3.
set -euo pipefail

case=
if [ "${1:-}" = --only ]; then case=$2 && shift; fi
runs=${1:-5000}
bin=$(cd "$(dirname "$0")/.." && realpath "${2:-build/release}")/bin
work=$(mktemp -d --tmpdir="$([ -w /dev/shm ] && echo /dev/shm || echo /tmp)")
if [ -z "$case" ]; then trap 'rm -rf "$work"' EXIT; fi

python3 "$(dirname "$0")/fault_test.py" "$bin" "$work" "${K2R_FAULT_SEED:-$RANDOM}" "${case:-$runs}"
