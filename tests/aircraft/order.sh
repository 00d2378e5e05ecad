#!/usr/bin/env bash
# An application attached to cirrow-aircraft, both writing to one file: the application's lines
# and the aircraft's come in the order they happened, as they do in one process (the README's
# first flight application, which never flushes its output).
#   order.sh <cirrow-aircraft> <first_flight>
set -uo pipefail
aircraft=$1 app=$2
work=$(mktemp -d /tmp/cw-order-XXXXXX)
pid=
trap '[ -n "$pid" ] && kill "$pid" 2>/dev/null; rm -rf "$work"' EXIT
"$aircraft" --socket "$work/sock" >>"$work/out" 2>&1 &
pid=$!
for _ in $(seq 100); do [ -S "$work/sock" ] && break; sleep 0.05; done
MBUS_AIRCRAFT=$work/sock MBUS_QUIET=1 "$app" >>"$work/out" || { echo "FAIL: first_flight failed"; cat "$work/out"; exit 1; }
kill -TERM "$pid" && wait "$pid"
pid=
# Each line after the one before it in the file.
last=0
for line in "attached" "take off  *-> 0" "flight controller in the air" "flight phase 3" \
            "flight controller on the ground" "first flight complete" "ended"; do
    at=$(grep -n -m1 -- "$line" "$work/out" | cut -d: -f1)
    if [ -z "$at" ] || [ "$at" -le "$last" ]; then
        echo "FAIL: \"$line\" is not after line $last of the shared output:"
        cat -n "$work/out"
        exit 1
    fi
    last=$at
done
echo "the application's lines and the aircraft's are in the order they happened"
