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
targets=(push record text answer aircraft scenario capture)
cmake --build "$build" -j "$(nproc)" --target "${targets[@]/#/fuzz_}"
declare -A max_len=([push]=4096 [record]=1100 [text]=512 [answer]=512 [aircraft]=8192 [scenario]=4096 [capture]=8192)
mkdir -p "$build/artifacts"

# One target for its time; prints its executions, and on a crash what it found.
fuzz_one() {
    local t=$1 log="$build/fuzz_$1.log" status=0
    mkdir -p "$build/corpus/$t"
    MBUS_QUIET=1 "$build/fuzz/fuzz_$t" -max_total_time="$seconds" -max_len="${max_len[$t]}" -timeout=10 \
        -print_final_stats=1 -artifact_prefix="$build/artifacts/$t-" "$build/corpus/$t" "fuzz/corpus/$t" \
        >"$log" 2>&1 || status=1
    if [ $status -ne 0 ]; then
        grep -E "ERROR|SUMMARY|Test unit written" "$log" || tail -20 "$log"
    fi
    printf 'fuzz_%-7s %10s execs in %ss\n' "$t" "$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")" "$seconds"
    return $status
}

# As many targets at once as there are cores, each for its full time.
status=0
cores=$(nproc)
for ((i = 0; i < ${#targets[@]}; i += cores)); do
    pids=()
    for t in "${targets[@]:i:cores}"; do
        fuzz_one "$t" &
        pids+=($!)
    done
    for pid in "${pids[@]}"; do
        wait "$pid" || status=1
    done
done
exit "$status"
