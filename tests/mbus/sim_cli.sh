#!/usr/bin/env bash
# cirrow-sim's command line: each mistake a user makes is refused before anything runs, naming
# what they typed; --check reports every problem of a scenario, in the file's order.
#   sim_cli.sh CIRROW_SIM SCENARIO_DIR WORK_DIR
set -uo pipefail
sim=$1 scenarios=$2 dir=$3
rm -rf "$dir" && mkdir -p "$dir"
failed=0

# expect CODE REGEX ARGS...: cirrow-sim ARGS exits with CODE and prints something matching REGEX
# (the output's lines joined by spaces); the application (`touch ran`) never runs when CODE is 2.
expect() {
    local code=$1 re=$2 out rc joined
    shift 2
    rm -f "$dir/ran"
    out=$(cd "$dir" && "$sim" "$@" 2>&1)
    rc=$?
    joined=$(tr '\n' ' ' <<<"$out" | sed 's/ $//')
    if [ "$rc" -ne "$code" ] || ! grep -Eq -- "$re" <<<"$joined" || { [ "$code" -eq 2 ] && [ -e "$dir/ran" ]; }; then
        echo "FAIL: cirrow-sim $*: exit $rc (expected $code), output:"
        echo "$out" | sed 's/^/    /'
        failed=1
    fi
}
printf '#!/bin/sh\ntouch ran\n' > "$dir/app" && chmod +x "$dir/app"
mkdir "$dir/folder"
good=$scenarios/../../../platform/sim/scenarios/rough_day.toml

expect 0 '--speed X.*--strict.*--aircraft SOCKET.*--check FILE' --help
expect 2 '^cirrow-sim: ./app: no -- before the application' ./app
expect 2 'cirrow-sim: --speed needs a number before --' --speed -- ./app
expect 2 'cirrow-sim: --aircraft needs the aircraft.s socket path before --' --aircraft -- ./app
expect 2 'cirrow-sim: --speed needs a number usage' --speed
expect 2 'cirrow-sim: --speed abc: expected a number from 0.01 to 100' --speed abc -- ./app
expect 2 'cirrow-sim: --speed 1000: expected a number from 0.01 to 100' --speed 1000 -- ./app
expect 2 'cirrow-sim: --speed nan: expected' --speed nan -- ./app
expect 2 'cirrow-sim: folder: is a directory, not a file$' --check folder
expect 2 'cirrow-sim: missing.toml: no such file$' --check missing.toml
expect 2 'cirrow-sim: folder: is a directory, not a file$' folder -- ./app
expect 2 'cirrow-sim: missing.toml: no such file$' missing.toml -- ./app
expect 2 'cirrow-sim: --check takes one scenario file and nothing else' --speed 2 --check "$good"
expect 2 'cirrow-sim: --check takes one scenario file and nothing else' --check
expect 2 'cirrow-sim: one scenario at a time \(got a.toml and b.toml\)' a.toml b.toml -- ./app
expect 2 'cirrow-sim: --speed does not apply with --aircraft' --aircraft "$dir/sock" --speed 2 -- ./app
expect 2 "cirrow-sim: $good does not apply with --aircraft" --aircraft "$dir/sock" "$good" -- ./app
expect 2 'cirrow-sim: no application to run \(after --\)' --strict --
expect 2 'cirrow-sim: unknown option --fast' --fast -- ./app
m=$scenarios/many_problems.toml
expect 2 "^$m:1: speed = 500 is outside 0.01..100 $m:3: start = 120 is outside 0..100 $m:5: unknown key \"west\" in \[wind\] .* $m:9: camera serves no command 3/128 .* $m:13: delay_ms applies to answer = \"late\" only$" --check "$m"
expect 0 '^$' --check "$good"
expect 0 '' --speed 50 -- ./app
[ -e "$dir/ran" ] || { echo "FAIL: cirrow-sim --speed 50 -- ./app did not run the application"; failed=1; }
[ $failed -eq 0 ] && echo "cirrow-sim command line: all cases as expected"
exit $failed
