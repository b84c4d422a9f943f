#!/usr/bin/env bash
# Records from live servers in a directory of its own.   run.sh K2R
set -euo pipefail
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
/usr/bin/python3 "$(dirname "$0")/live_test.py" "$1" "$directory"
