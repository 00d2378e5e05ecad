#!/usr/bin/env bash
# Builds cirrow and runs the example application against the host middleware stand-in.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh --host-only
cmake -S . -B build-run -DCW_BUILD_TESTS=OFF > /dev/null
cmake --build build-run -j "$(nproc)" --target link_tour
exec build-run/examples/link_tour
