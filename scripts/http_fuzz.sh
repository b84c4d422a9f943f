#!/usr/bin/env bash
# Sends random and broken requests to a server over real sockets, and looks whether it still serves.
#
#   scripts/http_fuzz.sh [SECONDS] [BUILD]     600 seconds, to the server of build/asan
#
# Prints the seed, which K2R_HTTP_SEED sets. What a sanitizer finds ends the server, and its report is printed. Needs
# python3.
set -euo pipefail

seconds=${1:-600}
root=$(cd "$(dirname "$0")/.." && pwd)
program=$(cd "$root" && realpath "${2:-build/asan}")/bin/http_sample_server
seed=${K2R_HTTP_SEED:-$RANDOM}
exec python3 "$root/scripts/http_fuzz.py" "$program" "$root/fuzz/corpus/httpRequest" "$seconds" "$seed"
