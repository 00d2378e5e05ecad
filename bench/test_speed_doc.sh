#!/usr/bin/env bash
# scripts/speed_doc.sh on a small document: the table written from a run is checked back, figures
# moved past the tolerance or rows added, lost or renamed are caught, the text around the table is
# kept, and bad inputs are refused with their name.
set -uo pipefail
tool=$(cd "$(dirname "$0")/.." && pwd)/scripts/speed_doc.sh
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir"
failures=0
expect() {  # expect STATUS MESSAGE-PART -- command...
  local want=$1 part=$2 out rc
  shift 3
  out=$("$@" 2>&1)
  rc=$?
  if [ "$rc" != "$want" ] || [[ "$out" != *"$part"* ]]; then
    echo "FAIL: $* -> $rc, wanted $want and \"$part\":"
    echo "$out"
    failures=$((failures + 1))
  fi
}

printf 'Intro.\n<!-- bench table: begin -->\nold\n<!-- bench table: end -->\nAfter.\n' >doc.md
printf 'getter, gimbal info|16|16|7|22\nflight state (3/91)|14|41.8|9|29.8\nusrlog line|-|615|2181|1744.8\n' >run
expect 0 "3 rows written" -- "$tool" --write run doc.md
expect 0 "agrees" -- "$tool" --check run doc.md
[ "$(head -1 doc.md)$(tail -1 doc.md)" = "Intro.After." ] || { echo "FAIL: text around the table changed"; failures=$((failures + 1)); }
grep -qx '| flight state (3/91) | 14 | 41.8 | 9 | 29.8 |' doc.md || { echo "FAIL: row not written"; failures=$((failures + 1)); }

# One instruction, or 3 % of a large figure, is noise; more is a stale table.
sed 's/|16|16|/|16|17|/; s/|615|/|630|/' run >near
expect 0 "agrees" -- "$tool" --check near doc.md
sed 's/|16|16|/|16|18|/' run >far
expect 1 '"getter, gimbal info": 16 committed, 18 measured' -- "$tool" --check far doc.md
sed 's/|615|/|640|/' run >far
expect 1 "615 committed, 640 measured" -- "$tool" --check far doc.md
sed 's/|-|615|/|59|615|/' run >far
expect 1 "- committed, 59 measured" -- "$tool" --check far doc.md

# Rows must be the run's, in its order.
head -2 run >fewer
expect 1 "1 committed row(s) the run does not have" -- "$tool" --check fewer doc.md
{ cat run; echo 'getter, sensors|59|23|13|34'; } >more
expect 1 'row 4 is "", the run has "getter, sensors"' -- "$tool" --check more doc.md
sed 's/^getter, gimbal info/getter, gimbal/' run >renamed
expect 1 'row 1 is "getter, gimbal info", the run has "getter, gimbal"' -- "$tool" --check renamed doc.md

# Bad inputs: named, non-zero exit, document untouched.
cp doc.md kept.md
printf 'getter|16|sixteen|7|22\n' >bad
expect 1 "bad: a line is not label|bytes|instructions|floor|budget" -- "$tool" --write bad doc.md
: >empty
expect 1 "empty: no measured rows" -- "$tool" --write empty doc.md
expect 1 "missing: cannot read the measured rows" -- "$tool" --check missing doc.md
grep -v 'bench table: end' doc.md >nomarker.md
expect 1 'nomarker.md: needs one line' -- "$tool" --write run nomarker.md
printf '<!-- bench table: end -->\n<!-- bench table: begin -->\n' >reversed.md
expect 1 'comes before' -- "$tool" --check run reversed.md
expect 2 "--write|--check" -- "$tool" --rewrite run doc.md
cmp -s doc.md kept.md || { echo "FAIL: a refused write changed the document"; failures=$((failures + 1)); }

[ "$failures" = 0 ] && echo "speed_doc: all cases pass"
exit "$failures"
