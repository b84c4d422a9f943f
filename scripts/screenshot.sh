#!/usr/bin/env bash
# Makes docs/page.png, the picture of the page in README.md: screenshot.sh [BUILD]. Needs what the test `page` needs, which
# has to have run once.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "${1:-build/release}")
K2R=$build/bin/k2r WEB=$build/share/k2r/web node tests/page/screenshot.mjs docs/page.png
ls -l docs/page.png
