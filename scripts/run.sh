#!/usr/bin/env bash
# Builds cirrow and flies the quick-shot demo against the virtual aircraft: take-off, the quick
# shot of a target box followed from the library's caches, landing.
#   scripts/run.sh [build-dir (default build)]
# The build directory and its configuration (the `default` preset, or the one CW_PRESET names:
# CI's is `dev`, warnings as errors) are the test command's (scripts/test.sh), so the tests after
# this rebuild nothing this built.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh --host-only
build=${1:-build}
cmake --preset "${CW_PRESET:-default}" -B "$build" > /dev/null
cmake --build "$build" -j "$(nproc)" --target demo_quick_shot cirrow-sim cw_dissector
exec "$build/platform/sim/cirrow-sim" -- "$build/platform/sim/demos/demo_quick_shot"
