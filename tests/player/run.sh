#!/usr/bin/env bash
# What browsers and independent parsers make of recordings: run.sh K2R CHROMIUM. Installs the libraries that it does so
# with where they are not there.
set -euo pipefail
k2r=$1 chromium=$2
cd "$(dirname "$0")"

if [ ! node_modules/.package-lock.json -nt package.json ]; then
  npm install --no-package-lock --no-audit --no-fund --silent
  touch node_modules/.package-lock.json
fi
K2R=$k2r CHROMIUM=$chromium node --test playlist.mjs mp4.mjs
