#!/usr/bin/env bash
# Builds cirrow and flies the quick-shot demo against the virtual aircraft: take-off, the quick
# shot of a target box followed from the library's caches, landing.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh --host-only
# The build directory the README's demo, Wireshark and test commands use.
cmake -S . -B build > /dev/null
cmake --build build -j "$(nproc)" --target demo_quick_shot cirrow-sim cw_dissector
exec build/platform/sim/cirrow-sim -- build/platform/sim/demos/demo_quick_shot
