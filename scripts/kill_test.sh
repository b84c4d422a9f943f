#!/usr/bin/env bash
# Kills `k2r record` at random moments, again and again, and looks at what it leaves: nothing that the bootstrap had named
# is lost or changed, the recording verifies (0 or 5), an append continues, and ffmpeg plays the result.
#
#   scripts/kill_test.sh [KILLS] [BUILD]     300 kills of the programs in build/release
#
# K2R_KILL_SEED repeats a run's random moments as far as a clock allows. Needs ffmpeg and python3.
set -euo pipefail

kills=${1:-300}
bin=$(cd "$(dirname "$0")/.." && realpath "${2:-build/release}")/bin
seed=${K2R_KILL_SEED:-$RANDOM}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
echo "seed $seed, $kills kills"

exec python3 "$(dirname "$0")/kill_test.py" "$kills" "$bin" "$seed" "$work"
