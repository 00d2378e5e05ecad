#!/usr/bin/env bash
# Flies an application with cirrow-sim at speeds 1, 4 and 10 and checks that it ends the same way
# each time: the same exit code and outcome line, a flight report with no mistake and no drift and,
# with --corners, the same corners (same_corners.sh).
# Prints each flight's wall time.
#   fly_speeds.sh <cirrow-sim> [--corners] <app> [scenario.toml]
set -uo pipefail
sim=$1
shift
corners=0
if [ "$1" = --corners ]; then corners=1; shift; fi
app=$1 scenario=${2:-}
work=$(mktemp -d /tmp/cw-speeds-XXXXXX)
trap 'rm -rf "$work"' EXIT
fail() { echo "fly_speeds: $*" >&2; for f in "$work"/*.out; do echo "--- $f"; cat "$f"; done >&2; exit 1; }

for speed in 1 4 10; do
    start=$(date +%s.%N)
    MBUS_QUIET=0 "$sim" --speed "$speed" ${scenario:+"$scenario"} -- "$app" >"$work/$speed.out" 2>&1
    echo "$?" >"$work/$speed.code"
    printf 'fly_speeds: %s at speed %-2s: exit %s in %.1f s of wall time\n' "$(basename "$app")" "$speed" \
        "$(cat "$work/$speed.code")" "$(awk -v a="$start" -v b="$(date +%s.%N)" 'BEGIN { print b - a }')"
    grep -q "flight report: 0 mistake" "$work/$speed.out" || fail "speed $speed: the report holds a mistake"
    ! grep -q "time may have drifted" "$work/$speed.out" || fail "speed $speed: the application's time drifted"
done
outcome() { grep -E "(complete|FAILED|finished)$" "$1" | tail -1 | sed 's/^\[[ 0-9.]* s\] //'; }
for speed in 4 10; do
    cmp -s "$work/1.code" "$work/$speed.code" || fail "speed $speed: exit $(cat "$work/$speed.code"), at speed 1 $(cat "$work/1.code")"
    [ "$(outcome "$work/1.out")" = "$(outcome "$work/$speed.out")" ] ||
        fail "speed $speed ended \"$(outcome "$work/$speed.out")\", speed 1 \"$(outcome "$work/1.out")\""
    [ "$corners" = 0 ] || "$(dirname "$0")/same_corners.sh" "$work/1.out" "$work/$speed.out" ||
        fail "speed $speed: the square's corners differ from speed 1's"
done
echo "fly_speeds: $(basename "$app") flew the same at speeds 1, 4 and 10"
