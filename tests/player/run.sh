#!/usr/bin/env bash
# Plays recordings in headless Chromium: run.sh K2R CHROMIUM. Installs the libraries that it drives the browser with on
# the first run.
set -euo pipefail
k2r=$1 chromium=$2
cd "$(dirname "$0")"

[ -d node_modules ] || npm install --no-package-lock --no-audit --no-fund --silent
K2R=$k2r CHROMIUM=$chromium node --test playlist.mjs
