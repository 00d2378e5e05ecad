#!/usr/bin/env bash
# Builds cirrow and flies the quick-shot demo against the virtual aircraft: take-off, the quick
# shot of a target box followed from the library's caches, landing.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh --host-only
cmake -S . -B build-run -DCW_BUILD_TESTS=OFF > /dev/null
cmake --build build-run -j "$(nproc)" --target demo_quick_shot cirrow-sim
exec build-run/platform/sim/cirrow-sim -- build-run/platform/sim/demos/demo_quick_shot
