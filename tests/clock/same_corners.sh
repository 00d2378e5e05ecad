#!/usr/bin/env bash
# Checks that two flights of the square (tests/clock/square.c) passed the same nine corners: each
# within 0.5 m (north, east, height) and 5 degrees of heading of the other's. Names any that differ.
#   same_corners.sh <output of flight A> <output of flight B>
set -uo pipefail
a=$(grep -E "^(climbed|corner|turned) " "$1") b=$(grep -E "^(climbed|corner|turned) " "$2")
[ "$(printf '%s\n' "$a" | wc -l)" = 9 ] && [ "$(printf '%s\n' "$b" | wc -l)" = 9 ] ||
    { echo "same_corners: $1 or $2 does not hold the square's nine corners" >&2; exit 1; }
paste -d' ' <(printf '%s\n' "$a") <(printf '%s\n' "$b") | awk '
    function abs(x) { return x < 0 ? -x : x }
    { dn = $4 - $14; de = $6 - $16; dh = $8 - $18; dy = abs($10 - $20); if (dy > 180) dy = 360 - dy
      if ($1 != $11 || $2 != $12 || sqrt(dn * dn + de * de + dh * dh) > 0.5 || dy > 5) { print "same_corners: differ: " $0; bad = 1 } }
    END { exit bad }' >&2
