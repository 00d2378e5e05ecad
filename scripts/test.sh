#!/usr/bin/env bash
# Builds cirrow and the host middleware stand-in, and runs the whole test suite under ctest.
#   scripts/test.sh [build-dir] [extra cmake arguments...]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh --host-only
build=${1:-build}
shift || true
cmake -S . -B "$build" -DCW_WERROR=ON "$@"
cmake --build "$build" -j "$(nproc)"
ctest --test-dir "$build" --output-on-failure -j "$(nproc)"
