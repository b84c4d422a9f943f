#!/usr/bin/env bash
# Runs tests in a browser: browser.sh BUILD CHROMIUM TEST... Installs the libraries that they need where they are missing.
set -euo pipefail
build=$1 chromium=$2
shift 2
cd "$(dirname "$0")"

# Several tests may begin at once.
(
  flock 9
  if [ ! node_modules/.package-lock.json -nt package.json ]; then
    npm install --no-package-lock --no-audit --no-fund --silent
    touch node_modules/.package-lock.json
  fi
) 9<package.json
K2R=$build/bin/k2r WEB=$build/share/k2r/web CHROMIUM=$chromium node --test "$@"
