#!/usr/bin/env bash
# clang-format (every C and C++ source and header) and clang-tidy (the library's sources, with
# the compile commands of a host build directory).
#   scripts/lint.sh [build-dir]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
mapfile -t files < <(git ls-files -- '*.c' '*.cc' '*.cpp' '*.h' '*.hpp')
clang-format --dry-run --Werror "${files[@]}"
echo "clang-format: clean (${#files[@]} files)"
scripts/check_commands.sh
mapfile -t lib < <(git ls-files -- 'cw_basic/*.cpp')
status=0
# A file per run, as many runs at once as there are cores.
out=$(printf '%s\0' "${lib[@]}" | xargs -0 -n 1 -P "$(nproc)" clang-tidy -p "$build" --quiet 2>&1) || status=$?
echo "$out" | grep -v -E '^[0-9]+ warnings? generated|^Suppressed|^Use -header-filter' || true
[ $status -eq 0 ] || { echo "clang-tidy: findings above"; exit 1; }
echo "clang-tidy: clean (${#lib[@]} files)"
