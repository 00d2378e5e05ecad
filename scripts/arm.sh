#!/usr/bin/env bash
# Builds cirrow, the stand-in middleware and the tests for the aircraft (32-bit ARM, hard float),
# runs the whole test suite under qemu-arm, checks the exported symbols and the footprint budget, and
# checks that an install for the aircraft holds no host tool; then flies the quick-shot and flight
# demos built for ARM under qemu-arm against a native cirrow-aircraft (from the host build, built
# there if needed) with a scenario, and checks their outcome and the link trace on both sides.
#   scripts/arm.sh [build-dir] [host-build-dir (default build)]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
build=${1:-build-arm}
host=${2:-build}
cmake --preset arm -B "$build" -DCW_WERROR=ON  # the project's own build: warnings are errors
cmake --build "$build" -j "$(nproc)"
ctest --test-dir "$build" --output-on-failure -j "$(nproc)"
scripts/check_abi.sh "$build/libcirrow.so" arm-linux-gnueabihf-nm
scripts/check_commands.sh "$build/libcirrow.so" arm-linux-gnueabihf-objdump
scripts/footprint.sh "$build"
scripts/check_install.sh --aircraft "$build"

# The ARM demos against the aircraft on the desk.
[ -f "$host/CMakeCache.txt" ] || cmake --preset "${CW_PRESET:-default}" -B "$host" >/dev/null  # the main job's configuration
cmake --build "$host" -j "$(nproc)" --target cirrow-aircraft cirrow-sim
scripts/fly_arm.sh "$host/platform/aircraft/cirrow-aircraft" "$build/platform/sim/demos" \
    "$build/tests/mbus/referee_app" "$host/platform/sim/cirrow-sim"
