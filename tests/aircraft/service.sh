#!/usr/bin/env bash
# cirrow-aircraft as a service and as a place several applications fly from.
#   service.sh <case> <cirrow-aircraft> <dir with the demo apps> <dir with aircraft_monitor> <cirrow-sim>
#              [<browser_test.sh> <artifacts dir>]
# cases: service (second instance, signals, --detach), apps (the quick-shot demo and a monitor on
# one aircraft), killed (an application killed mid-flight: the aircraft flies on and the report
# says so, a new application attaches), http (the live page after the quick shot: its state, and
# the page itself in headless Chromium, its screenshot kept as aircraft.png in the artifacts);
# careless and hostile clients (aircraft_hostile, in $CW_HOSTILE), each while the quick-shot demo
# flies to its end: noread (a client that never reads is cut, the aircraft's memory bounded),
# floods (distinct unserved receivers and distinct names: another client's answers stay prompt),
# fdlimit (idle connections at a lowered descriptor limit), files (sockets, pid files, the
# default directory, another user), scenario (nan, a pathological key, a FIFO), httpcaps;
# referee (<referee_app> in place of browser_test.sh: two applications judged each on its own, one
# refused control; --strict through the aircraft; the failsafe landing; the JSON and JUnit reports),
# every (<scenarios dir> <examples dir> in place of browser_test.sh and the artifacts: every demo
# and example through cirrow-aircraft --strict under each shipped scenario, each with no mistake).
set -uo pipefail
case=$1 aircraft=$2 demos=$3 tools=$4 sim=$5 browser_test=${6:-} artifacts=${7:-}
work=$(mktemp -d /tmp/cw-aircraft-XXXXXX)
sock=$work/aircraft.sock
pid=
cleanup() { [ -n "$pid" ] && kill "$pid" 2>/dev/null; [ -n "${CW_KEEP:-}" ] || rm -rf "$work"; }
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
    ${launch:-} "$aircraft" --socket "$sock" "$@" 2>"$work/aircraft.log" &
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
hostile=${CW_HOSTILE:-}
quick_shot() {  # the quick-shot demo through cirrow-sim --aircraft, in the background ($quick)
    MBUS_QUIET=1 "$sim" --aircraft "$sock" -- "$demos/demo_quick_shot" >"$work/quick_shot.out" 2>&1 &
    quick=$!
}
quick_shot_landed() {
    wait "$quick"
    local code=$?
    check "the quick-shot demo flew to its end meanwhile ($code)" test "$code" -eq 0
    check "the quick shot finished" has "$work/quick_shot.out" "quick shot finished"
}
rss_kib() { awk "/^$1:/ {print \$2}" "/proc/$pid/status"; }
lacks() { ! grep -q -- "$2" "$1" || { echo "--- $1 has: $2"; grep -- "$2" "$1" | head -3; return 1; }; }
start_with_page() {  # the aircraft at speed 2 with its live page on loopback ($port); skipped without it
    start --speed 2 --http 127.0.0.1:0
    if grep -q "without the live page" "$work/aircraft.log"; then
        echo "built without the live page: skipped"
        exit 77
    fi
    for _ in $(seq 50); do grep -q "live page at" "$work/aircraft.log" && break; sleep 0.1; done
    port=$(sed -n 's|.*live page at http://127.0.0.1:\([0-9]*\)/.*|\1|p' "$work/aircraft.log")
}

case $case in
service)
    check "--help lists every option" bash -c "'$aircraft' --help | grep -q -- '--socket.*' && '$aircraft' --help | grep -q -- '--pid-file'"
    "$aircraft" --bogus 2>"$work/err"; code=$?
    check "an unknown option exits 2 ($code)" test "$code" -eq 2
    check "an unknown option is named" has "$work/err" "unknown option --bogus"
    "$aircraft" --socket "$sock" --http 127.0.0.1:99999 2>"$work/err"; code=$?
    check "a port out of range exits 2 ($code)" test "$code" -eq 2
    check "and is named" has "$work/err" "--http 127.0.0.1:99999: port 99999 is out of range (0 to 65535)"
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
    start_with_page
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
            'on the ground → .*in the air.* → on the ground' 'quick shot: finished'
    fi
    stop
    ;;
noread)
    # A client sends data-manager takes and never reads its replies: it is read no further once
    # 256 KiB wait for it, and cut when not a byte was taken for 10 s. Before: 2.3 GB in 24 s.
    start --speed 2
    quick_shot
    before=$(rss_kib VmRSS)
    "$hostile" noread "$sock" 30 >"$work/noread.out"; code=$?
    check "the client that never reads is cut ($code)" test "$code" -eq 0
    cat "$work/noread.out"
    peak=$(rss_kib VmHWM)
    echo "the aircraft's memory: $before KiB before, at most $peak KiB during"
    check "the aircraft's memory grew by less than 32 MiB ($before -> $peak KiB)" test $((peak - before)) -lt 32768
    quick_shot_landed
    stop
    check "the aircraft says why it cut the client" has "$work/aircraft.log" "(hostile-noread) cut: it stopped reading"
    check "the report says it was cut, not that it vanished" has "$work/aircraft.log" "hostile-noread was cut by the aircraft: it stopped reading"
    ;;
floods)
    # Requests to ever new receivers where no module listens, and ever new application names
    # (with a newline meant to forge a report line): another client's answers stay prompt.
    extra=()
    "$aircraft" --help | grep -q -- --http-public && extra=(--http 127.0.0.1:0)
    start --speed 2 "${extra[@]}"
    quick_shot
    "$hostile" receivers "$sock" 20000 &
    flood1=$!
    "$hostile" names "$sock" 1000 &
    flood2=$!
    "$hostile" probe "$sock" 6 250 >"$work/probe.out"; code=$?
    cat "$work/probe.out"
    check "another client's answers came within 250 ms during the floods ($code)" test "$code" -eq 0
    wait "$flood1"; code1=$?
    wait "$flood2"; code2=$?
    check "the floods ran to their end ($code1, $code2)" test "$code1" -eq 0 -a "$code2" -eq 0
    quick_shot_landed
    stop
    check "the report lists a bounded number of items, and counts the rest" has "$work/aircraft.log" "more mistake(s)"
    check "an application's name cannot forge a report line" lacks "$work/aircraft.log" "^  MISTAKE forged"
    check "a newline in a name is shown escaped" has "$work/aircraft.log" 'hostile-7\\x0A  MISTAKE forged'
    ;;
fdlimit)
    # 200 connections that never say Hello against an aircraft limited to 64 descriptors, while the
    # demo flies: the aircraft stops accepting for a moment, says so once, and serves the demo.
    launch="prlimit --nofile=64:64" start --speed 2
    quick_shot
    sleep 0.5
    cpu() { awk '{print $14 + $15}' "/proc/$pid/stat"; }
    before=$(cpu)
    "$hostile" idle "$sock" 200 4
    echo "the aircraft's CPU time over the 4 s at the limit: $(($(cpu) - before)) tick(s) of 1/$(getconf CLK_TCK) s"
    quick_shot_landed
    app "$tools/aircraft_monitor" 2 >"$work/monitor.out" 2>&1
    check "a new application attaches after the idle ones" has "$work/monitor.out" "monitor: flight state"
    stop
    said=$(grep -c 'cannot accept an application' "$work/aircraft.log")
    check "the descriptor limit is said once a time it is reached, not per attempt ($said)" test "$said" -ge 1 -a "$said" -le 5
    check "connections without Hello are cut" has "$work/aircraft.log" "without Hello cut: no Hello within 2000 ms"
    ;;
files)
    # The socket: 0600 whatever the umask; a second aircraft's socket made at the path since is
    # left alone at the first one's exit.
    umask 000
    start
    umask 022
    check "the socket's mode is 0600 under umask 000 ($(stat -c %a "$sock"))" test "$(stat -c %a "$sock")" = 600
    first=$pid
    rm "$sock"
    pid=
    start
    second=$pid
    kill -TERM "$first"; wait "$first"
    check "the first aircraft left the second one's socket" test -S "$sock"
    app "$tools/aircraft_monitor" 1 >"$work/monitor.out" 2>&1
    check "the second aircraft still serves" has "$work/monitor.out" "monitor: flight state"
    stop
    # The pid file: an existing one (a live pid, or not a pid file) is refused and kept, a
    # symlink is never followed, a stale one of ours is replaced, and it is removed only by its aircraft.
    echo precious >"$work/precious"
    ln -s "$work/precious" "$work/link.pid"
    "$aircraft" --socket "$sock" --pid-file "$work/link.pid" 2>"$work/err" & p=$!; wait $p; code=$?
    check "a symlinked pid file is refused ($code)" test "$code" -ne 0
    check "the symlink's target is untouched" test "$(cat "$work/precious")" = precious
    echo $$ >"$work/live.pid"
    "$aircraft" --socket "$sock" --pid-file "$work/live.pid" 2>"$work/err"; code=$?
    check "a pid file naming a live process is refused ($code)" test "$code" -ne 0
    check "the refusal says why" has "$work/err" "names a running process"
    check "that pid file is kept" test "$(cat "$work/live.pid")" = $$
    sh -c 'exit 0' & dead=$!; wait $dead
    echo $dead >"$work/stale.pid"
    start --pid-file "$work/stale.pid"
    check "a stale pid file is replaced" test "$(cat "$work/stale.pid")" = "$pid"
    stop
    check "the pid file is removed at the stop" test ! -e "$work/stale.pid"
    # Another user: where the test can switch users, a directory at the default path that is not
    # the user's own is refused, and a connection from another user is refused.
    nobody=$(id -u nobody 2>/dev/null)
    as_nobody() { env -u XDG_RUNTIME_DIR setpriv --reuid="$nobody" --regid="$(id -g nobody)" --clear-groups "$@"; }
    if [ "$(id -u)" = 0 ] && command -v setpriv >/dev/null && [ -n "$nobody" ] &&
        as_nobody test -x "$aircraft" -a -x "$hostile"; then
        dir=/tmp/cirrow-aircraft-$nobody
        if [ ! -e "$dir" ]; then
            mkdir -m 0777 "$dir"  # root's, open to all: an impostor could have put its socket there
            as_nobody "$aircraft" 2>"$work/err"; code=$?
            rmdir "$dir"
            check "a default directory not the user's own is refused ($code)" test "$code" -ne 0
            check "the refusal says why" has "$work/err" "not a private directory of this user's"
        fi
        start
        chmod 0666 "$sock"  # past the file's mode: the aircraft itself checks who connects
        chmod o+x "$work"
        as_nobody "$hostile" probe "$sock" 0.1 1000 >/dev/null 2>&1; code=$?
        check "another user's connection is refused ($code)" test "$code" -ne 0
        stop
        check "the refusal is logged" has "$work/aircraft.log" "refused a connection from uid $nobody"
        group=$(id -gn nobody)
        start --group "$group"
        check "with --group the socket is 0660 and the group's" test "$(stat -c %a:%G "$sock")" = "660:$group"
        as_nobody "$hostile" probe "$sock" 0.1 1000 >/dev/null 2>&1; code=$?
        check "a member of the group attaches ($code)" test "$code" -eq 0
        stop
    else
        echo "not root, no setpriv, or the build not reachable by nobody: the other-user cases are skipped"
    fi
    ;;
scenario)
    # Scenario files that must be refused with a message, quickly, by every reader.
    printf 'speed = nan\n' >"$work/nan.toml"
    printf '[[event]]\ntime = 1.0\nmodule = "gimbal"\nanswer = "late"\ndelay_ms = nan\n' >"$work/delay.toml"
    printf '[battery]\nstart = inf\n' >"$work/inf.toml"
    printf 'speed = 1\xff\n' >"$work/utf8.toml"
    python3 -c "print('a' + '.a' * 300000 + ' = 1')" >"$work/dotted.toml"
    python3 -c "print('a = ' + '[' * 5000 + ']' * 5000)" >"$work/deep.toml"
    mkfifo "$work/fifo.toml"
    for f in nan:"speed = nan" delay:"delay_ms = nan" inf:"start = inf" utf8:"not valid UTF-8" \
             dotted:"dotted parts" deep:"nested deeper" fifo:"not a regular file"; do
        name=${f%%:*} says=${f#*:}
        timeout 20 "$sim" --check "$work/$name.toml" >"$work/$name.err" 2>&1; code=$?
        check "cirrow-sim --check refuses $name.toml with exit 2 ($code)" test "$code" -eq 2
        check "and says why" has "$work/$name.err" "$says"
    done
    check "the line is named" has "$work/delay.err" "delay.toml:5:"
    timeout 20 "$aircraft" --socket "$sock" --scenario "$work/fifo.toml" 2>"$work/err"; code=$?
    check "cirrow-aircraft refuses a FIFO as its scenario ($code)" test "$code" -eq 2
    timeout 20 "$aircraft" --socket "$sock" --scenario "$work/dotted.toml" 2>"$work/err"; code=$?
    check "cirrow-aircraft refuses the pathological key ($code)" test "$code" -eq 2
    MBUS_SCENARIO=$work/dotted.toml timeout 20 "$demos/demo_quick_shot" >"$work/app.out" 2>&1; code=$?
    check "an application under MBUS_SCENARIO is refused with a message, not a crash ($code)" test "$code" -ne 0 -a "$code" -lt 128
    check "and says why" has "$work/app.out" "dotted parts"
    # Numbers from options and the environment: nan and inf are refused too.
    "$aircraft" --socket "$sock" --speed nan 2>"$work/err"; code=$?
    check "--speed nan is refused ($code)" test "$code" -eq 2
    MBUS_SIM=1 MBUS_SIM_SPEED=inf timeout 20 "$demos/demo_quick_shot" >"$work/app.out" 2>&1; code=$?
    check "MBUS_SIM_SPEED=inf is refused ($code)" test "$code" -ne 0
    check "and named" has "$work/app.out" "MBUS_SIM_SPEED=inf: must be a number"
    ;;
httpcaps)
    start_with_page
    quick_shot
    # Request heads with too many lines, a line too long, lines streamed without end: refused, the
    # aircraft's memory bounded (before: 400 MiB of header lines took it from 11 MB to 837 MB); 500
    # idle connections and 200 slow senders: the page still answers within 3 s (before: 100 idle
    # connections kept it unanswered for a minute).
    before=$(rss_kib VmRSS)
    python3 "$(dirname "$0")/http_hostile.py" "$port" >"$work/page.out"; code=$?
    cat "$work/page.out"
    check "the page's caps hold against hostile clients ($code)" test "$code" -eq 0
    peak=$(rss_kib VmHWM)
    echo "the aircraft's memory: $before KiB before, at most $peak KiB during"
    check "the aircraft's memory grew by less than 32 MiB ($before -> $peak KiB)" test $((peak - before)) -lt 32768
    # A 100 MiB body is refused, not read whole.
    code=$(head -c 104857600 /dev/zero | timeout 20 curl -s -o /dev/null -w '%{http_code}' --max-time 15 \
        -X POST --data-binary @- "http://127.0.0.1:$port/api/state")
    check "a 100 MiB body is refused ($code)" test "$code" = 413
    quick_shot_landed
    stop
    "$aircraft" --socket "$sock" --http 0.0.0.0:0 2>"$work/err"; code=$?
    check "--http on an address other machines reach needs --http-public ($code)" test "$code" -eq 2
    check "and says why" has "$work/err" "add --http-public"
    start --http 0.0.0.0:0 --http-public
    for _ in $(seq 50); do grep -q "live page at" "$work/aircraft.log" && break; sleep 0.1; done
    check "with --http-public it warns" has "$work/aircraft.log" "WARNING: the live page is served on 0.0.0.0"
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
