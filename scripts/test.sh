#!/usr/bin/env bash
# All tests, from a fresh clone: installs what is needed, checks layering and format, runs clang-tidy over what changed,
# builds the release and the sanitizer preset and runs every test in both. The last lines are the test runner's own summary.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh --tests
scripts/lint.sh --quick
scripts/lint.sh --changed
for preset in release asan; do
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
done
for preset in release asan; do
  echo "tests of the preset $preset"
  ctest --preset "$preset" -j "$(nproc)" --progress
done
