#!/usr/bin/env bash
# Runs `k2r serve` with 20 live inputs, clients, hooks, retention and reloads in a build with a sanitizer, and fails on any
# report of it.
#
#   scripts/serve_tsan.sh [SECONDS] [BUILD]     60 seconds, of build/tsan; build/asan works as well
#
# BUILD needs the targets k2r and k2r_module. Needs ffmpeg and python3. What it recorded, the log and the reports stay in
# BUILD/serve_storm.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "$root" && realpath "${2:-build/tsan}")
exec python3 "$root/scripts/serve_storm.py" "$build" "$build/serve_storm" "${1:-60}"
