#!/usr/bin/env bash
# An application attached to cirrow-aircraft flying at speed 4 gets the speed in the aircraft's
# Welcome: under cirrow-sim --aircraft its sleeps and timed waits last a quarter of their time.
#   attached.sh <cirrow-aircraft> <cirrow-sim> <clock_probe>
set -uo pipefail
work=$(mktemp -d /tmp/cw-attached-XXXXXX)
pid=
trap '[ -n "$pid" ] && kill "$pid" 2>/dev/null; rm -rf "$work"' EXIT
"$1" --socket "$work/sock" --speed 4 2>"$work/aircraft.log" &
pid=$!
for _ in $(seq 100); do [ -S "$work/sock" ] && break; sleep 0.05; done
MBUS_QUIET=0 "$2" --aircraft "$work/sock" -- "$3" 4
