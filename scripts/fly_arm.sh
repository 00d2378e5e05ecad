#!/usr/bin/env bash
# Flies the quick-shot and flight demos built for ARM, under qemu-arm, against a native
# cirrow-aircraft flying a scenario (a rough day: late gimbal answers, a slower state stream, a
# silent battery), one after the other; checks each demo's outcome and the link trace written on
# the application's side and on the aircraft's. Then the referee through the aircraft: the ARM
# referee application ending in the air exits 3 under cirrow-sim --aircraft --strict, a clean one 0,
# each with its own report. Then flies the ARM square (tests/clock/square.c), timed by its own
# clock, against an aircraft at speeds 1, 4 and 10, the ARM build's libmbus_clock.so preloaded
# in the ARM process, and checks that it passes the same corners.
#   scripts/fly_arm.sh <cirrow-aircraft> <ARM build's demo directory> [<ARM referee_app> <cirrow-sim>]
set -euo pipefail
cd "$(dirname "$0")/.."
aircraft=$1 demos=$2 referee_app=${3:-} sim=${4:-}
work=$(mktemp -d /tmp/cw-fly-arm-XXXXXX)
sock=$work/aircraft.sock
pid=
trap '[ -n "$pid" ] && kill "$pid" 2>/dev/null; rm -rf "$work"' EXIT
fail() { echo "fly_arm: $*" >&2; for f in "$work"/*.out "$work"/aircraft.log; do echo "--- $f"; cat "$f"; done >&2; exit 1; }
has() { grep -q -- "$2" "$1" || fail "$1 lacks: $2"; }

MBUS_TRACE=$work/aircraft.trace "$aircraft" --socket "$sock" --scenario platform/sim/scenarios/rough_day.toml \
    2>"$work/aircraft.log" &
pid=$!
for _ in $(seq 100); do [ -S "$sock" ] && break; sleep 0.05; done
[ -S "$sock" ] || fail "the aircraft did not listen on $sock"
for demo in quick_shot flight; do
    echo "fly_arm: demo_$demo (ARM, qemu-arm) against cirrow-aircraft"
    MBUS_AIRCRAFT=$sock MBUS_TRACE=$work/$demo.trace MBUS_QUIET=0 timeout 120 \
        qemu-arm -L /usr/arm-linux-gnueabihf "$demos/demo_$demo" >"$work/$demo.out" 2>&1 ||
        fail "demo_$demo failed"
done
if [ -n "$referee_app" ]; then
    for mistake in clean airborne; do
        echo "fly_arm: referee_app $mistake (ARM, qemu-arm) under cirrow-sim --aircraft --strict"
        code=0
        MBUS_QUIET=1 timeout 120 "$sim" --aircraft "$sock" --strict -- \
            qemu-arm -L /usr/arm-linux-gnueabihf "$referee_app" "$mistake" >"$work/referee_$mistake.out" 2>&1 || code=$?
        want=0
        [ "$mistake" = airborne ] && want=3
        [ "$code" -eq "$want" ] || fail "referee_app $mistake exited $code, not $want"
    done
    has "$work/referee_clean.out" "flight report for [a-z_-]* [0-9]*: 0 mistake(s)"
    has "$work/referee_airborne.out" "ended with the aircraft in the air \[ended-in-the-air\]"
fi
kill -TERM "$pid"
wait "$pid" || fail "the aircraft did not stop cleanly"
pid=
has "$work/quick_shot.out" "quick shot finished"
has "$work/flight.out" "flight complete"
box="REQ  10/32   -> 0x1107 vision.qs_set_box              len=20 value0=1 box=\\[0.4,0.35,0.2,0.3\\]"
has "$work/quick_shot.trace" "$box"
has "$work/quick_shot.trace" "PUSH 3/91    <-        flight.fc_state                len=12 phase=3"
has "$work/aircraft.trace" "$box"
has "$work/aircraft.trace" "PUSH 3/91    <-        flight.fc_state"
has "$work/aircraft.log" "gimbal answers late to one command"
has "$work/aircraft.log" "(demo_flight .*) ended"
echo "fly_arm: both ARM demos flew against cirrow-aircraft; outcome and trace checked${referee_app:+; the ARM referee application exits 3 under --strict for its own mistake}"

arm=$(cd "$demos/../../.." && pwd)
for speed in 1 4 10; do
    echo "fly_arm: the square (ARM, qemu-arm) against cirrow-aircraft at speed $speed"
    rm -f "$sock"
    "$aircraft" --socket "$sock" --speed "$speed" --scenario tests/clock/square_hold.toml \
        2>"$work/aircraft-$speed.log" &
    pid=$!
    for _ in $(seq 100); do [ -S "$sock" ] && break; sleep 0.05; done
    start=$SECONDS
    MBUS_AIRCRAFT=$sock MBUS_QUIET=0 timeout 120 qemu-arm -L /usr/arm-linux-gnueabihf \
        -E LD_PRELOAD="$arm/platform/mbus/libmbus_clock.so" "$arm/tests/clock/square" >"$work/square-$speed.out" 2>&1 ||
        fail "the square failed at speed $speed"
    echo "fly_arm: the square at speed $speed took $((SECONDS - start)) s"
    kill -TERM "$pid"
    wait "$pid" || fail "the aircraft at speed $speed did not stop cleanly"
    pid=
done
for speed in 4 10; do
    tests/clock/same_corners.sh "$work/square-1.out" "$work/square-$speed.out" ||
        fail "the ARM square's corners differ at speed $speed"
done
echo "fly_arm: the ARM square passed the same corners at speeds 1, 4 and 10"
