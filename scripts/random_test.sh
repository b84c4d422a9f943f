#!/usr/bin/env bash
# Records random streams and verifies each recording: times that go back, repeat, pause and wrap, messages that are refused,
# appends, ends with and without a stop. None may be called damaged, and one that was stopped has to be whole.
#
#   scripts/random_test.sh [COUNT|SECONDSs] [BUILD]     10000 streams, or as many as "1200s" allow, by build/release
#
# Prints the seed of each stream that fails; `random_streams SEED` in the same build prints all of it. K2R_RANDOM_SEED is the
# first one, 1 by default. Streams are shared out among the processors.
set -euo pipefail

amount=${1:-10000}
program=$(cd "$(dirname "$0")/.." && realpath "${2:-build/release}")/bin/random_streams
first=${K2R_RANDOM_SEED:-1}
jobs=$(nproc)
work=$(mktemp -d --tmpdir="$([ -w /dev/shm ] && echo /dev/shm || echo /tmp)")
trap 'rm -rf "$work"' EXIT

case $amount in
  *s) count=0 seconds=${amount%s} share=$((100000000 / jobs)) ;;
  *) share=$(((amount + jobs - 1) / jobs)) count=$share seconds=0 ;;
esac
for ((job = 0; job < jobs; ++job)); do
  TMPDIR=$work "$program" $((first + job * share)) "$count" "$seconds" &
  pids+=($!)
done
status=0
for pid in "${pids[@]}"; do wait "$pid" || status=1; done
exit $status
