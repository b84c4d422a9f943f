#!/usr/bin/env bash
# Checks the tree against its own rules: includes go down only, comments name files that exist, formatting, clang-tidy.
#   scripts/lint.sh [BUILD]   BUILD has a compile_commands.json; build/release by default. --quick leaves clang-tidy out.
set -euo pipefail
cd "$(dirname "$0")/.."

python3 scripts/check_includes.py
python3 scripts/check_comments.py
scripts/format.sh --check
if [ "${1:-}" = --quick ]; then exit 0; fi

build=${1:-build/release}
[ -f "$build/compile_commands.json" ] || { echo "no $build/compile_commands.json: configure a preset first" >&2; exit 1; }
git ls-files '*.cpp' | grep -vE '^(tests|fuzz|bench|examples)/' |
  xargs -P "$(nproc)" -n 4 clang-tidy -p "$build" --quiet --extra-arg=-Wno-unknown-warning-option 2>/dev/null
