#!/usr/bin/env bash
# Faults against a daemon, in a directory of its own.   run.sh K2R CLOCK_LIBRARY [OPTION...]
set -euo pipefail
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
/usr/bin/python3 "$(dirname "$0")/faults_test.py" "$1" "$2" "$directory" "${@:3}"
