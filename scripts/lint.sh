#!/usr/bin/env bash
# Checks the tree against its own rules: includes go down only, comments name files that exist, the texts that
# the module logs are in docs/hosting.md, CHANGELOG.md has the version, formatting, clang-tidy.
#   scripts/lint.sh                    all of it
#   scripts/lint.sh --quick            without clang-tidy
#   scripts/lint.sh --changed [BASE]   clang-tidy only, over what changed since BASE; by default since origin/main, or
#                                      since the commit before if HEAD is that
# clang-tidy has a configuration of its own without precompiled headers: they are another compiler's, and what a source
# forgot to include does not compile here.
set -euo pipefail
cd "$(dirname "$0")/.."

build=build/lint
# Each file takes clang-tidy some ten seconds. More than this many are for the run over the whole tree.
most_changed=6

product() { grep -vE '^(tests|fuzz|bench|examples)/' || true; }

# The sources that changed, and those beside a header that changed.
changed_sources() {
  git diff --name-only --diff-filter=d "$1" -- '*.cpp' '*.h' | sed 's/\.h$/.cpp/' | sort -u |
    while read -r file; do [ ! -f "$file" ] || echo "$file"; done
}

# clang-tidy counts suppressed warnings on standard error; everything else there is an error to be seen.
tidy() {
  xargs -r -P "$(nproc)" -n 4 clang-tidy -p "$build" --quiet --extra-arg=-Wno-unknown-warning-option \
    2> >(grep -vE '^[0-9]+ warnings?( and [0-9]+ errors?)? generated' >&2)
}

if [ "${1:-}" != --changed ]; then
  python3 scripts/check_includes.py
  python3 scripts/check_comments.py
  python3 scripts/check_log_texts.py
  python3 scripts/check_changelog.py
  scripts/format.sh --check
  [ "${1:-}" != --quick ] || exit 0
fi

cmake --preset release -B "$build" -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON -DK2R_TESTS=OFF >/dev/null
if [ "${1:-}" = --changed ]; then
  base=${2:-$(git rev-parse --verify -q origin/main || true)}
  if [ -z "$base" ] || git diff --quiet "$base" HEAD; then base=$(git rev-parse --verify -q HEAD~1 || git hash-object -t tree /dev/null); fi
  mapfile -t files < <(changed_sources "$base" | product)
  echo "clang-tidy: ${#files[@]} sources changed since $(git rev-parse --short "$base")"
  if [ ${#files[@]} -gt $most_changed ]; then echo "clang-tidy: looks at the first $most_changed; scripts/lint.sh looks at all"; fi
  [ ${#files[@]} -eq 0 ] || printf '%s\n' "${files[@]:0:$most_changed}" | tidy
else
  git ls-files '*.cpp' | product | tidy
fi
