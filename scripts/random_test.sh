#!/usr/bin/env bash
# Records random streams and verifies each recording: times that go back, repeat, pause and wrap, messages that are refused,
# appends, ends with and without a stop. None may be called damaged, and one that was stopped has to be whole.
#
#   scripts/random_test.sh [COUNT|SECONDSs] [BUILD]     10000 streams, or as many as "1200s" allow, by build/release
#
# Ends with the first stream that fails, and prints its seed; `random_streams SEED` in the same build prints all of it.
# K2R_RANDOM_SEED is the first one, 1 by default. Streams are shared out among the processors.
set -euo pipefail

amount=${1:-10000}
program=$(cd "$(dirname "$0")/.." && realpath "${2:-build/release}")/bin/random_streams
first=${K2R_RANDOM_SEED:-1}
jobs=$(nproc)
work=$(mktemp -d --tmpdir="$([ -w /dev/shm ] && echo /dev/shm || echo /tmp)")
trap 'rm -rf "$work"' EXIT

case $amount in
  *s) seconds=${amount%s} share=$((100000000 / jobs)) ;;
  *) share=$(((amount + jobs - 1) / jobs)) seconds=0 ;;  # 0 is no limit
esac
for ((job = 0; job < jobs; ++job)); do
  TMPDIR=$work timeout "$seconds" "$program" $((first + job * share)) "$share" &
  pids+=($!)
done
status=0
for pid in "${pids[@]}"; do
  wait "$pid" || [ $? = 124 ] || status=1  # 124: the time is over, and no stream has failed
done
exit $status
