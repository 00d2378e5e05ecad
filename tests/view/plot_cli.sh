#!/usr/bin/env bash
# cirrow-plot's command line: its help, and a clear refusal naming the input for each bad one.
#   plot_cli.sh CIRROW_PLOT WORK_DIR
set -uo pipefail
plot=$1 dir=$2
rm -rf "$dir" && mkdir -p "$dir"
failed=0

# expect CODE REGEX ARGS...: cirrow-plot ARGS exits with CODE and prints something matching REGEX.
expect() {
    local code=$1 re=$2 out rc
    shift 2
    out=$("$plot" "$@" 2>&1)
    rc=$?
    if [ "$rc" -ne "$code" ] || ! tr '\n' ' ' <<<"$out" | grep -Eq -- "$re"; then
        echo "FAIL: cirrow-plot $*: exit $rc (expected $code), output:"
        echo "$out" | sed 's/^/    /'
        failed=1
    fi
}

# A capture: the pcap header with the link type $2, then one fc_state push (cut short by $3 bytes).
capture() {
    local file=$1 linktype=$2 cut=${3:-0}
    {
        printf '\xd4\xc3\xb2\xa1\x02\x00\x04\x00\x00\x00\x00\x00\x00\x00\x00\x00\xff\xff\x00\x00'
        printf "$linktype"'\x00\x00\x00'
        printf '\x01\x00\x00\x00\x00\x00\x00\x00\x16\x00\x00\x00\x16\x00\x00\x00'
        printf '\x01\x02\x03\x5b\xff\xff\x00\x00\x00\x00\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x03\x00'
    } >"$file.full"
    head -c $(($(stat -c %s "$file.full") - cut)) "$file.full" >"$file"
}
capture "$dir/good.pcap" '\x93'
capture "$dir/ether.pcap" '\x01'
capture "$dir/cut.pcap" '\x93' 3
echo "not a capture" >"$dir/text.pcap"

expect 0 '-o FILE.*--title TEXT.*--http HOST:PORT.*--speed X.*--help' --help
expect 2 'no capture given'
expect 2 'unknown option --bogus' "$dir/good.pcap" --bogus
expect 2 'either -o FILE or --http' "$dir/good.pcap"
expect 2 'either -o FILE or --http' "$dir/good.pcap" -o "$dir/x.html" --http 127.0.0.1:0
expect 2 '-o needs a value' "$dir/good.pcap" -o
expect 2 '--speed fast: expected a number' "$dir/good.pcap" --http 127.0.0.1:0 --speed fast
expect 1 "$dir/none.pcap: no such file" "$dir/none.pcap" -o "$dir/x.html"
expect 1 "cirrow-plot: $dir: is a directory, not a file" "$dir" -o "$dir/x.html"
expect 1 "$dir/text.pcap: not a link capture" "$dir/text.pcap" -o "$dir/x.html"
expect 1 "$dir/ether.pcap: link type 1, expected 147" "$dir/ether.pcap" -o "$dir/x.html"
expect 1 "$dir/cut.pcap: record 1 at byte 24 is truncated" "$dir/cut.pcap" -o "$dir/x.html"
expect 1 "$dir/no/such/dir/x.html: cannot write" "$dir/good.pcap" -o "$dir/no/such/dir/x.html"
expect 2 '--http 127.0.0.1:http: expected HOST:PORT, the port a number from 0 to 65535' "$dir/good.pcap" --http 127.0.0.1:http
expect 2 '--http 127.0.0.1:99999: port 99999 is out of range \(0 to 65535\)' "$dir/good.pcap" --http 127.0.0.1:99999
expect 2 '--speed applies to --http only' "$dir/good.pcap" -o "$dir/x.html" --speed 3
expect 2 '--title applies to -o only' "$dir/good.pcap" --http 127.0.0.1:0 --title T
expect 2 '--speed inf: expected a number' "$dir/good.pcap" --http 127.0.0.1:0 --speed inf
expect 0 "$dir/x.html: 1 messages" "$dir/good.pcap" -o "$dir/x.html"
grep -q 'window.CW_DATA = {' "$dir/x.html" || { echo "FAIL: $dir/x.html holds no data"; failed=1; }
[ $failed -eq 0 ] && echo "cirrow-plot command line: all cases as expected"
exit $failed
