#!/usr/bin/env bash
# The page in a real browser: the quick-shot demo flies with its capture recorded; the capture is
# replayed into the live page and also written as a file; headless Chromium must show both the
# phases ground -> in the air -> ground and the quick shot finished, without a console message.
# Screenshots go to ARTIFACTS (live.png, recorded.png). Exit 77 (skipped) without Chromium.
#   browser.sh CIRROW_SIM DEMO CIRROW_PLOT BROWSER_TEST WORK_DIR ARTIFACTS
set -euo pipefail
sim=$1 demo=$2 plot=$3 browser_test=$4 dir=$5 artifacts=$6
if ! command -v chromium >/dev/null && ! command -v chromium-browser >/dev/null; then
    echo "view_browser: chromium is missing: skipped"
    exit 77
fi
rm -rf "$dir" && mkdir -p "$dir" "$artifacts"
MBUS_QUIET=1 MBUS_PCAP="$dir/quick_shot.pcap" "$sim" --speed 2 -- "$demo" >"$dir/demo.log" 2>&1 || {
    cat "$dir/demo.log"
    exit 1
}
expect=('on the ground → .*in the air.* → on the ground' 'quick shot: finished')

"$plot" "$dir/quick_shot.pcap" --http 127.0.0.1:0 --speed 0 >"$dir/serve.log" 2>&1 &
server=$!
trap 'kill $server 2>/dev/null || true' EXIT
for _ in $(seq 100); do
    grep -q 'replay done' "$dir/serve.log" && break
    sleep 0.1
done
url=$(grep -o 'http://[0-9.]*:[0-9]*/' "$dir/serve.log") || { cat "$dir/serve.log"; exit 1; }
"$browser_test" "$url" "$artifacts/live.png" "${expect[@]}"
kill -TERM $server
wait $server
grep -q 'cirrow-plot: stopped' "$dir/serve.log" || { echo "the server did not stop cleanly"; exit 1; }
trap - EXIT

"$plot" "$dir/quick_shot.pcap" -o "$dir/quick_shot.html"
"$browser_test" --wait 2 "file://$dir/quick_shot.html" "$artifacts/recorded.png" "${expect[@]}"
