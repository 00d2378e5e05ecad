#!/usr/bin/env bash
# cirrow-aircraft as a service and as a place several applications fly from.
#   service.sh <case> <cirrow-aircraft> <dir with the demo apps> <dir with aircraft_monitor> <cirrow-sim>
#              [<browser_test.sh> <artifacts dir>]
# cases: service (second instance, signals, --detach), apps (the quick-shot demo and a monitor on
# one aircraft), killed (an application killed mid-flight: the aircraft flies on and the report
# says so, a new application attaches), http (the live page after the quick shot: its state, and
# the page itself in headless Chromium, its screenshot kept as aircraft.png in the artifacts),
# referee (<referee_app> in place of browser_test.sh: two applications judged each on its own, one
# refused control; --strict through the aircraft; the failsafe landing; the JSON and JUnit reports),
# every (<scenarios dir> <examples dir> in place of browser_test.sh and the artifacts: every demo
# and example through cirrow-aircraft --strict under each shipped scenario, each with no mistake).
set -uo pipefail
case=$1 aircraft=$2 demos=$3 tools=$4 sim=$5 browser_test=${6:-} artifacts=${7:-}
work=$(mktemp -d /tmp/cw-aircraft-XXXXXX)
sock=$work/aircraft.sock
pid=
cleanup() { [ -n "$pid" ] && kill "$pid" 2>/dev/null; rm -rf "$work"; }
trap cleanup EXIT
failed=0
check() {  # check <what> <command...>
    local what=$1
    shift
    if ! "$@"; then
        echo "FAIL: $what"
        failed=1
    fi
}
has() { grep -q -- "$2" "$1" || { echo "--- $1 lacks: $2"; cat "$1"; return 1; }; }
start() {  # the aircraft in the foreground, in the background of this script
    "$aircraft" --socket "$sock" "$@" 2>"$work/aircraft.log" &
    pid=$!
    for _ in $(seq 100); do [ -S "$sock" ] && return 0; sleep 0.05; done
    echo "FAIL: the aircraft did not listen"; cat "$work/aircraft.log"; exit 1
}
stop() {  # SIGTERM, then the exit code must be ${1:-0} and the socket gone
    kill -TERM "$pid"
    wait "$pid"
    local code=$?
    pid=
    check "clean stop exits ${1:-0} (got $code)" test "$code" -eq "${1:-0}"
    check "the socket is removed" test ! -e "$sock"
}
app() { MBUS_AIRCRAFT=$sock MBUS_QUIET=1 "$@"; }

case $case in
service)
    check "--help lists every option" bash -c "'$aircraft' --help | grep -q -- '--socket.*' && '$aircraft' --help | grep -q -- '--pid-file'"
    "$aircraft" --bogus 2>"$work/err"; code=$?
    check "an unknown option exits 2 ($code)" test "$code" -eq 2
    check "an unknown option is named" has "$work/err" "unknown option --bogus"
    "$aircraft" --speed fast 2>"$work/err"
    check "a bad speed is named" has "$work/err" "--speed fast: must be a number"
    start
    "$aircraft" --socket "$sock" 2>"$work/second"; code=$?
    check "a second aircraft on the socket is refused ($code)" test "$code" -ne 0
    check "the refusal says why" has "$work/second" "another cirrow-aircraft is serving this socket"
    check "the first one still serves" test -S "$sock"
    stop
    check "the report is printed at the stop" has "$work/aircraft.log" "the referee's report"
    "$aircraft" --socket "$sock" --detach --pid-file "$work/pid" --log "$work/detached.log"; code=$?
    check "--detach returns at once with 0 ($code)" test "$code" -eq 0
    check "the pid file names a live aircraft" kill -0 "$(cat "$work/pid" 2>/dev/null)"
    check "the detached aircraft listens" test -S "$sock"
    kill -TERM "$(cat "$work/pid")"
    for _ in $(seq 100); do [ -e "$work/pid" ] || break; sleep 0.05; done
    check "the pid file is removed at the stop" test ! -e "$work/pid"
    check "the socket is removed at the stop" test ! -e "$sock"
    check "the detached aircraft's lines went to --log" has "$work/detached.log" "the referee's report"
    ;;
apps)
    start --speed 2
    app "$tools/aircraft_monitor" 40 >"$work/monitor.out" 2>&1 &
    monitor=$!
    MBUS_QUIET=1 "$sim" --aircraft "$sock" -- "$demos/demo_quick_shot" >"$work/quick_shot.out" 2>&1; code=$?
    check "the quick-shot demo flies against the aircraft through cirrow-sim --aircraft ($code)" test "$code" -eq 0
    check "the quick shot finished" has "$work/quick_shot.out" "quick shot finished"
    wait "$monitor"; code=$?
    check "the monitor saw the flight from its caches ($code)" test "$code" -eq 0
    check "the monitor saw it land" has "$work/monitor.out" "the aircraft flew and landed"
    stop
    check "both applications attached" has "$work/aircraft.log" "(aircraft_monitor .*) attached"
    check "both ended cleanly" has "$work/aircraft.log" "(demo_quick_shot .*) ended"
    ;;
killed)
    start --speed 2
    MBUS_AIRCRAFT=$sock MBUS_QUIET=1 "$demos/demo_flight" >"$work/flight.out" 2>&1 &
    flight=$!
    sleep 1.2
    kill -KILL "$flight"
    wait "$flight" 2>/dev/null
    for _ in $(seq 100); do grep -q "vanished" "$work/aircraft.log" && break; sleep 0.05; done
    check "the aircraft saw the application vanish" has "$work/aircraft.log" "(demo_flight .*) vanished"
    check "the aircraft is still flying" kill -0 "$pid"
    app "$tools/aircraft_monitor" 2 >"$work/monitor.out" 2>&1
    check "a new application attaches mid-flight and reads the caches" has "$work/monitor.out" "monitor: flight state"
    # Its controller gone, the flight controller lands by itself after the grace (3 s) and the descent.
    for _ in $(seq 200); do sed -n '/failsafe: lands by itself/,$p' "$work/aircraft.log" | grep -q "on the ground" && break; sleep 0.05; done
    check "the flight controller landed by itself" has "$work/aircraft.log" "failsafe: lands by itself"
    stop
    check "the report says the application vanished" has "$work/aircraft.log" "demo_flight .* vanished (crashed or was killed)"
    ;;
http)
    start --speed 2 --http 127.0.0.1:0
    if grep -q "without the live page" "$work/aircraft.log"; then
        echo "built without the live page: skipped"
        exit 77
    fi
    for _ in $(seq 50); do grep -q "live page at" "$work/aircraft.log" && break; sleep 0.1; done
    port=$(sed -n 's|.*live page at http://127.0.0.1:\([0-9]*\)/.*|\1|p' "$work/aircraft.log")
    app "$demos/demo_quick_shot" >"$work/quick_shot.out" 2>&1
    exec 3<>"/dev/tcp/127.0.0.1/$port"
    printf 'GET /api/state?since=0 HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n' >&3
    cat <&3 >"$work/state.json"
    check "the page's state shows the quick shot finished" has "$work/state.json" '"mission":"quick shot","mission_status":"finished"'
    check "the page's state lists the phases up and down" has "$work/state.json" '"phases":\[\[.*,3\].*,0\]\]'
    if [ -n "$browser_test" ]; then
        mkdir -p "$artifacts"
        check "the page shows the flight in a browser, without a console message" \
            "$browser_test" "http://127.0.0.1:$port/" "$artifacts/aircraft.png" \
            'ground → .*in the air.* → ground' 'quick shot: finished'
    fi
    stop
    ;;
referee)
    referee_app=$browser_test
    start --speed 2 --strict --report "$work/report.json" --junit "$work/report.xml"
    MBUS_QUIET=1 "$sim" --aircraft "$sock" --strict -- "$demos/demo_flight" >"$work/flight.out" 2>&1 &
    flight=$!
    for _ in $(seq 300); do grep -q "flight controller in the air" "$work/aircraft.log" && break; sleep 0.05; done
    MBUS_QUIET=1 "$sim" --aircraft "$sock" --strict -- "$demos/demo_quick_shot" >"$work/quick.out" 2>&1; code=$?
    check "the quick shot, refused control, ends with its own code, not 3 ($code)" test "$code" -ne 3
    check "the refused application gets its own report, without the other's flight" \
        has "$work/quick.out" "flight report for demo_quick_shot [0-9]*: 0 mistake(s)"
    check "the refusal is told to it" has "$work/quick.out" "control_enable refused (result byte 1: control is held by another application) \[refused\]"
    wait "$flight"; code=$?
    check "the flying application flies clean under --strict ($code)" test "$code" -eq 0
    check "its report is its own" has "$work/flight.out" "flight report for demo_flight [0-9]*: 0 mistake(s)"
    MBUS_QUIET=1 "$sim" --aircraft "$sock" --strict -- "$referee_app" airborne >"$work/airborne.out" 2>&1; code=$?
    check "an application ending in the air exits 3 under --strict through the aircraft ($code)" test "$code" -eq 3
    check "its report names the mistake and the rule" has "$work/airborne.out" "MISTAKE t=.* ended with the aircraft in the air \[ended-in-the-air\]"
    for _ in $(seq 300); do grep -q "on the ground" <(sed -n '/failsafe: lands by itself/,$p' "$work/aircraft.log") && break; sleep 0.05; done
    check "the flight controller lands by itself after the grace" has "$work/aircraft.log" "failsafe: lands by itself"
    stop 3
    check "the aircraft's report names each application" has "$work/aircraft.log" "MISTAKE t=.*: referee_app [0-9]*: the application ended with the aircraft in the air"
    check "the JSON report reads" python3 -c "import json,sys; r=json.load(open(sys.argv[1])); assert r['mistakes'] == 2, r['mistakes']; assert [a['mistakes'] for a in r['applications']] == [0, 0, 2], r" "$work/report.json"
    check "the JUnit report reads as JUnit" python3 "$(dirname "$0")/check_junit.py" "$work/report.xml" 3 2
    [ $failed -eq 0 ] || cat "$work/aircraft.log"
    ;;
every)
    scenarios=$browser_test examples=$artifacts
    for scenario in "" camera_refuses fault rough_day; do
        start --speed 4 --strict ${scenario:+--scenario "$scenarios/$scenario.toml"}
        for app in "$demos"/demo_{quick_shot,panorama,flight,marker,self_test,fault} "$examples"/{first_flight,hello_link,link_tour}; do
            MBUS_QUIET=1 "$sim" --aircraft "$sock" --strict -- "$app" >"$work/app.out" 2>&1; code=$?
            check "$(basename "$app") ${scenario:-without a scenario}: no mistake, not exit 3 ($code)" test "$code" -ne 3
            check "$(basename "$app") ${scenario:-without a scenario}: its own report" has "$work/app.out" "flight report for $(basename "$app") [0-9]*: 0 mistake(s)"
        done
        stop
    done
    ;;
*)
    echo "service.sh: unknown case $case" >&2
    exit 2
    ;;
esac
exit $failed
