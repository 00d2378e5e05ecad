#!/usr/bin/env bash
# Builds cirrow and the host middleware stand-in, and runs the whole test suite under ctest.
#   scripts/test.sh [build-dir (default build)] [extra cmake arguments...]
# The build directory and its configuration (the `default` preset, RelWithDebInfo, or the one
# CW_PRESET names: CI's is `dev`, warnings as errors) are the main job's (scripts/run.sh): what it
# built is not built again.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh --host-only
build=${1:-build}
shift || true
cmake --preset "${CW_PRESET:-default}" -B "$build" "$@"
cmake --build "$build" -j "$(nproc)"
ctest --test-dir "$build" --output-on-failure -j "$(nproc)"
