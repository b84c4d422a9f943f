#!/usr/bin/env bash
# Formats every C++ file of the tree; with --check it only reports whether that would change one.
set -euo pipefail
cd "$(dirname "$0")/.."
mode=(-i)
if [ "${1:-}" = --check ]; then mode=(--dry-run --Werror); fi
git ls-files -z '*.cpp' '*.h' | xargs -0 clang-format "${mode[@]}"
