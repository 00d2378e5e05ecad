#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, AddressSanitizer + UndefinedBehaviorSanitizer) and runs
# each for a bounded time from its seed corpus in fuzz/corpus/<target>/.
#   scripts/fuzz.sh [build-dir]        CW_FUZZ_SECONDS=<n> per target (default 40)
# New inputs go to <build-dir>/corpus/<target>/, a crashing input to <build-dir>/artifacts/.
# Prints the executions per target; exits non-zero when a target finds a crash.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-fuzz}
seconds=${CW_FUZZ_SECONDS:-40}
cc=$(command -v clang-14 || command -v clang)
cxx=$(command -v clang++-14 || command -v clang++)
cmake -S . -B "$build" -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" -DCW_BUILD_FUZZ=ON \
      -DCW_BUILD_TESTS=OFF -DCW_BUILD_EXAMPLES=OFF -DCW_WERROR=ON -DCW_SANITIZE=address,undefined \
      -DCMAKE_CXX_FLAGS=-fno-sanitize-recover=undefined -DCMAKE_C_FLAGS=-fno-sanitize-recover=undefined >/dev/null
targets=(push record text answer aircraft)
cmake --build "$build" -j "$(nproc)" --target "${targets[@]/#/fuzz_}"
declare -A max_len=([push]=4096 [record]=1100 [text]=512 [answer]=512 [aircraft]=8192)
mkdir -p "$build/artifacts"
status=0
for t in "${targets[@]}"; do
    mkdir -p "$build/corpus/$t"
    log="$build/fuzz_$t.log"
    if ! MBUS_QUIET=1 "$build/fuzz/fuzz_$t" -max_total_time="$seconds" -max_len="${max_len[$t]}" -timeout=10 \
        -print_final_stats=1 -artifact_prefix="$build/artifacts/$t-" "$build/corpus/$t" "fuzz/corpus/$t" >"$log" 2>&1; then
        status=1
        grep -E "ERROR|SUMMARY|Test unit written" "$log" || tail -20 "$log"
    fi
    printf 'fuzz_%-7s %10s execs in %ss\n' "$t" "$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")" "$seconds"
done
exit "$status"
