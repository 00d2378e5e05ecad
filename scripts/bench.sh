#!/usr/bin/env bash
# Instructions per call of the hot paths, each beside its floor, counted by callgrind at -O2
# against the null middleware (bench/); the loop's own instructions are taken off. Then the
# pushing thread's CPU time alone and under contention (bench/cw_contention).
#   scripts/bench.sh [--check | --write-doc] [build-dir]   (default build-bench; RelWithDebInfo: -O2)
#   --check       fails when a figure is over its budget, when docs/speed.md's table disagrees with
#                 this run (scripts/speed_doc.sh), when the pusher slows down under contention, or
#                 when the socket path through cirrow-aircraft is over its limits (scripts/bench_aircraft.sh)
#   --write-doc   writes this run's table into docs/speed.md
set -euo pipefail
cd "$(dirname "$0")/.."
mode=show
case ${1:-} in
  --check) mode=check; shift ;;
  --write-doc) mode=write; shift ;;
  -h|--help) sed -n '2,9p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
  -*) echo "bench: unknown option $1 (--check, --write-doc or a build directory)" >&2; exit 2 ;;
esac
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

# operation  floor  bytes  budget  label. Budget: "=N" instructions, "xF" times the floor, "=N+op/D"
# N plus a share of another operation (the flight state push writes its state line once every
# 102). A handler may cost twice its record's copy plus 12, a getter twice plus 10, from the
# copies of 6, 10, 12 and 6 instructions of the 16-, 36-, 59- and 14-byte records.
budgets="push_gimbal_info copy16 16 =24 push handler, gimbal info (4/5)
push_motor copy36 36 =32 push handler, motor state (3/90)
push_sensor copy59 59 =36 push handler, sensors (3/106)
push_fc_state copy14 14 =24+fc_state_line/102 push handler, flight state (3/91)
get_gimbal_info copy16 16 =22 getter, gimbal info
get_motor copy36 36 =30 getter, motor state
get_sensor copy59 59 =34 getter, sensors
get_fc_state copy14 14 =22 getter, flight state
adv_control pack26 26 =100 \`cw_v1_flight_api_adv_control\` (send only)
usrlog_line usrlog_snprintf - x0.8 a usrlog line (\`... v1_send fail %d\`)"

# Operations not yet brought within their budget: shown against it, not failed. One that is
# within it fails, so that it leaves this list and its budget is kept.
pending=""

echo "$budgets" | awk -v runs="$runs" -v check="$([ "$mode" = check ] && echo 1 || echo 0)" \
    -v pending=" $pending " -v rows="$out/rows" '
  FILENAME == ARGV[1] { total[$1] = $2; next }
  function per(op) { return (total[op] - total["empty"]) / runs }
  function fig(x) { x = sprintf("%.1f", x); sub(/\.0$/, "", x); return x }
  {
    op = $1; fl = $2; bytes[op] = $3; cost[op] = per(op); floor = per(fl); b = $4
    label = $5; for (i = 6; i <= NF; i++) label = label " " $i
    if (substr(b, 1, 1) == "x") {
      limit = substr(b, 2) * floor
    } else if (split(substr(b, 2), part, /[+\/]/) == 3) {
      limit = part[1] + per(part[2]) / part[3]
    } else {
      limit = substr(b, 2) + 0
    }
    late = index(pending, " " op " ") > 0
    verdict = fig(cost[op]) + 0 <= fig(limit) + 0 ? "ok" : "OVER"  # as shown, to 0.1 instruction
    if (late) {
      verdict = verdict == "ok" ? "ok: take off the pending list" : "over (pending)"
      if (verdict ~ /^ok/) bad++
    } else if (verdict != "ok") {
      bad++
    }
    printf "| %-16s | %5s | %8.1f | %-15s | %7.1f | %7.1f | %s\n", op, bytes[op], cost[op], fl, floor, limit, verdict
    print label "|" bytes[op] "|" fig(cost[op]) "|" fig(floor) "|" fig(limit) >rows
  }
  END {
    # A getter of a smaller record costs no more than one of a larger record, but for the one
    # extra load and store a size that is not a multiple of 8 bytes takes, and the one add that
    # puts the address of the published slot in a register for those two moves.
    split("fc_state gimbal_info motor sensor", order, " ")
    for (i = 1; i < 4; i++) for (j = i + 1; j <= 4; j++) {
      a = "get_" order[i]; b = "get_" order[j]
      if (cost[a] > cost[b] + 3) { printf "OVER: %s (%d B) costs more than %s (%d B)\n", a, bytes[a], b, bytes[b]; bad++ }
    }
    printf "fc_state_line: %.1f instructions (its share of a flight state push: %.1f)\n", per("fc_state_line"), per("fc_state_line") / 102
    if (check && bad) { printf "bench: %d figure(s) over budget\n", bad; exit 1 }
  }' "$out/totals" - |
  { echo "| operation        | bytes | instr/op | floor           | instr   | budget  |"
    echo "|------------------|-------|----------|-----------------|---------|---------|"
    cat; }

case $mode in
  write) scripts/speed_doc.sh --write "$out/rows" docs/speed.md ;;
  check) scripts/speed_doc.sh --check "$out/rows" docs/speed.md ;;
esac

if [ "$mode" = check ]; then
  "$build/bench/cw_contention" --check
else
  "$build/bench/cw_contention"
fi

# The socket path: 10 s of pushes to four applications (CI keeps it short; docs/aircraft.md has the
# 10-minute figures).
if [ "$mode" = check ]; then
  scripts/bench_aircraft.sh --check "$build" 10
else
  scripts/bench_aircraft.sh "$build" 10
fi
