#!/usr/bin/env bash
# Writes the instruction table of a measuring run (scripts/bench.sh) into docs/speed.md, between
# the lines "<!-- bench table: begin -->" and "<!-- bench table: end -->", or checks that the
# committed table agrees with the run.
#   scripts/speed_doc.sh --write|--check ROWS [DOC]      (DOC defaults to docs/speed.md)
# ROWS holds one operation a line: label|bytes|instructions|floor|budget (as bench.sh writes it).
#
# --check compares the rows in order, label by label, and every figure with a tolerance of one
# instruction or 3 %, whichever is larger. A count is exact for one binary on one processor; it
# moves by an instruction or two with the compiler's version and by a few percent in the log
# lines, whose string functions the C library picks for the processor at load time. A change to
# a hot path moves its row by more than that.
set -euo pipefail

usage() {
  sed -n '2,5p' "$0" | sed 's/^# \{0,1\}//' >&2
  exit 2
}

mode=
case ${1:-} in
  --write) mode=write ;;
  --check) mode=check ;;
  -h|--help) sed -n '2,12p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
  *) usage ;;
esac
[ $# -ge 2 ] || usage
rows=$2
doc=${3:-"$(dirname "$0")/../docs/speed.md"}
begin='<!-- bench table: begin -->'
end='<!-- bench table: end -->'

fail() {
  echo "speed_doc: $*" >&2
  exit 1
}

[ -r "$rows" ] || fail "$rows: cannot read the measured rows"
[ -r "$doc" ] || fail "$doc: cannot read the document"
awk -F'|' 'NF != 5 || $2 !~ /^([0-9]+|-)$/ || $3 !~ /^[0-9.]+$/ || $4 !~ /^[0-9.]+$/ || $5 !~ /^[0-9.]+$/ { bad = NR }
           END { exit bad ? 1 : 0 }' "$rows" ||
  fail "$rows: a line is not label|bytes|instructions|floor|budget"
[ -s "$rows" ] || fail "$rows: no measured rows"
[ "$(grep -cxF "$begin" "$doc")" = 1 ] && [ "$(grep -cxF "$end" "$doc")" = 1 ] ||
  fail "$doc: needs one line \"$begin\" and one line \"$end\""
awk -v b="$begin" -v e="$end" '$0 == b { s = NR } $0 == e { t = NR } END { exit s < t ? 0 : 1 }' "$doc" ||
  fail "$doc: \"$end\" comes before \"$begin\""

# The table as the document shows it: one row per operation.
table() {
  echo "| operation | bytes | instructions | floor | budget |"
  echo "|---|---|---|---|---|"
  awk -F'|' '{ printf "| %s | %s | %s | %s | %s |\n", $1, $2, $3, $4, $5 }' "$rows"
}

if [ "$mode" = write ]; then
  new=$(mktemp)
  trap 'rm -f "$new"' EXIT
  awk -v b="$begin" -v e="$end" -v t="$(table)" '
    $0 == b { print; print t; skip = 1; next }
    $0 == e { skip = 0 }
    !skip' "$doc" >"$new"
  cat "$new" >"$doc"
  echo "speed_doc: $(wc -l <"$rows") rows written to $doc"
  exit 0
fi

# The committed rows, as label|bytes|instructions|floor|budget.
committed=$(awk -v b="$begin" -v e="$end" '
  $0 == b { on = 1; next }
  $0 == e { on = 0 }
  on && /^\|/ && !/^\| operation |^\|---/ {
    n = split($0, c, "|")
    row = ""
    for (i = 2; i < n; i++) { gsub(/^ +| +$/, "", c[i]); row = row (i > 2 ? "|" : "") c[i] }
    print row
  }' "$doc")

printf '%s\n' "$committed" | awk -F'|' -v doc="$doc" '
  function off(a, b,   d, tol) {
    if (a == "-" || b == "-") return a != b
    d = a - b; if (d < 0) d = -d
    tol = 0.03 * (b < 0 ? -b : b); if (tol < 1) tol = 1
    return d > tol
  }
  FILENAME == "-" { n++; label[n] = $1; for (i = 2; i <= 5; i++) fig[n, i] = $i; next }
  {
    m++
    if (m > n || $1 != label[m]) { printf "speed_doc: %s: row %d is \"%s\", the run has \"%s\"\n", doc, m, label[m], $1; bad++; next }
    for (i = 2; i <= 5; i++) if (off($i, fig[m, i])) {
      printf "speed_doc: %s: \"%s\": %s committed, %s measured\n", doc, $1, fig[m, i], $i; bad++
    }
  }
  END {
    if (n > m) { printf "speed_doc: %s: %d committed row(s) the run does not have\n", doc, n - m; bad++ }
    if (bad) { print "speed_doc: the table is stale: regenerate it with scripts/bench.sh --write-doc"; exit 1 }
  }' - "$rows" >&2
echo "speed_doc: $doc agrees with the run ($(wc -l <"$rows") rows)"
