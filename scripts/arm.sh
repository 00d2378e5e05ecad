#!/usr/bin/env bash
# Builds cirrow, the stand-in middleware and the tests for the aircraft (32-bit ARM, hard float),
# runs the whole test suite under qemu-arm, checks the exported symbols and the footprint budget, and
# checks that an install for the aircraft holds no host tool.
#   scripts/arm.sh [build-dir]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
build=${1:-build-arm}
cmake --preset arm -B "$build"
cmake --build "$build" -j "$(nproc)"
ctest --test-dir "$build" --output-on-failure -j "$(nproc)"
scripts/check_abi.sh "$build/libcirrow.so" arm-linux-gnueabihf-nm
scripts/footprint.sh "$build"
scripts/check_install.sh --aircraft "$build"
