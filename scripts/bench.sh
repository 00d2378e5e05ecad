#!/usr/bin/env bash
# Instructions per call of the hot paths, each beside its floor, counted by callgrind at -O2
# against the null middleware (bench/); the loop's own instructions are taken off. With --check,
# fails when a figure is over its budget, then checks the pusher's CPU time under contention and
# the socket path through cirrow-aircraft for a short while (scripts/bench_aircraft.sh).
#   scripts/bench.sh [--check] [build-dir]      (default build-bench; RelWithDebInfo: -O2)
set -euo pipefail
cd "$(dirname "$0")/.."
check=0
if [ "${1:-}" = "--check" ]; then
  check=1
  shift
fi
build=${1:-build-bench}

cmake -S . -B "$build" -DCW_BUILD_BENCH=ON >/dev/null
type=$(sed -n 's/^CMAKE_BUILD_TYPE:[A-Z]*=//p' "$build/CMakeCache.txt")
sanitize=$(sed -n 's/^CW_SANITIZE:[A-Z]*=//p' "$build/CMakeCache.txt")
if [ "$type" != "RelWithDebInfo" ] || [ -n "$sanitize" ]; then
  echo "bench: $build must be a RelWithDebInfo (-O2) build without sanitizers" >&2
  exit 2
fi
cmake --build "$build" -j 2 --target cw_count cw_contention cw_aircraft_bench

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
runs=$(valgrind --tool=callgrind --collect-atstart=no --callgrind-out-file="$out/cg" "$build/bench/cw_count" \
         2>"$out/log" | sed -n 's/^runs //p')
for f in "$out"/cg.*; do
  name=$(sed -n 's/^desc: Trigger: Client Request: //p' "$f")
  total=$(sed -n 's/^totals: //p' "$f")
  echo "$name $total"
done >"$out/totals"

# operation  floor  bytes  budget: "=N" instructions, "xF" times the floor, "=N+op/D" N plus a
# share of another operation (the flight state update writes its state line once every 102).
budgets="push_gimbal_info copy16 16 =38
push_motor copy36 36 =50
push_sensor copy59 59 =56
push_fc_state copy14 14 =38+fc_state_line/102
get_gimbal_info copy16 16 =22
get_motor copy36 36 =30
get_sensor copy59 59 =34
get_fc_state copy14 14 =22
adv_control pack26 26 =100
usrlog_line usrlog_snprintf - x0.8"

echo "$budgets" | awk -v runs="$runs" -v check="$check" '
  FILENAME == ARGV[1] { total[$1] = $2; next }
  function per(op) { return (total[op] - total["empty"]) / runs }
  {
    op = $1; fl = $2; bytes[op] = $3; cost[op] = per(op); floor = per(fl); b = $4
    if (substr(b, 1, 1) == "x") {
      limit = substr(b, 2) * floor
    } else if (split(substr(b, 2), part, /[+\/]/) == 3) {
      limit = part[1] + per(part[2]) / part[3]
    } else {
      limit = substr(b, 2) + 0
    }
    verdict = cost[op] <= limit ? "ok" : "OVER"
    if (verdict != "ok") bad++
    printf "| %-16s | %5s | %8.1f | %-15s | %7.1f | %7.1f | %-4s |\n", op, bytes[op], cost[op], fl, floor, limit, verdict
  }
  END {
    # A getter of a smaller record costs no more than one of a larger record, but for the one
    # extra load and store a size that is not a multiple of 8 bytes takes.
    split("fc_state gimbal_info motor sensor", order, " ")
    for (i = 1; i < 4; i++) for (j = i + 1; j <= 4; j++) {
      a = "get_" order[i]; b = "get_" order[j]
      if (cost[a] > cost[b] + 2) { printf "OVER: %s (%d B) costs more than %s (%d B)\n", a, bytes[a], b, bytes[b]; bad++ }
    }
    printf "fc_state_line: %.1f instructions (its share of a flight state push: %.1f)\n", per("fc_state_line"), per("fc_state_line") / 102
    if (check && bad) { printf "bench: %d figure(s) over budget\n", bad; exit 1 }
  }' "$out/totals" - |
  { echo "| operation        | bytes | instr/op | floor           | instr   | budget  |      |"
    echo "|------------------|-------|----------|-----------------|---------|---------|------|"
    cat; }

if [ "$check" = 1 ]; then
  "$build/bench/cw_contention" --check
else
  "$build/bench/cw_contention"
fi

# The socket path: 10 s of pushes to four applications (CI keeps it short; docs/aircraft.md has the
# 10-minute figures).
if [ "$check" = 1 ]; then
  scripts/bench_aircraft.sh --check "$build" 10
else
  scripts/bench_aircraft.sh "$build" 10
fi
