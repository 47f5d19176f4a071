#!/usr/bin/env bash
# Builds and runs every test. ./test.sh --preset asan does the same with the address and
# undefined-behaviour sanitizers.
set -euo pipefail
cd "$(dirname "$0")"
preset=default
if [ "${1:-}" = "--preset" ]; then
    preset=${2:?--preset needs a name}
fi
scripts/install-deps.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset" -j "$(nproc)"
