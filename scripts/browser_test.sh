#!/usr/bin/env bash
# Opens the aircraft's page in headless Chromium, checks that what it shows matches each
# expectation, that its scripts wrote nothing to the console (no error, no warning), and keeps a
# screenshot.
#   scripts/browser_test.sh [--wait SECONDS] URL SCREENSHOT.png REGEX...
#   --wait SECONDS  how long the page runs (its polls and timers) before it is read (default 5)
#   URL             the page: the live one (http://127.0.0.1:PORT/) or a file (file:///.../flight.html)
#   SCREENSHOT.png  where the screenshot goes (its directory is created)
#   REGEX...        extended regular expressions the page's text must match, in order of the page
#                   (e.g. 'on the ground → .*in the air.* → on the ground' 'quick shot: finished')
set -euo pipefail

usage() { sed -n '2,11p' "$0" | sed 's/^# \{0,1\}//'; }
wait_s=5
case ${1:-} in
    -h|--help) usage; exit 0 ;;
    --wait) wait_s=${2:?--wait needs a number of seconds}; shift 2 ;;
esac
if [ $# -lt 3 ]; then
    echo "browser_test: expected URL SCREENSHOT.png REGEX... (see --help)" >&2
    exit 2
fi
case $wait_s in ''|*[!0-9]*) echo "browser_test: --wait $wait_s: expected whole seconds" >&2; exit 2 ;; esac
url=$1 shot=$2
shift 2
chromium=$(command -v chromium || command -v chromium-browser || true)
if [ -z "$chromium" ]; then
    echo "browser_test: chromium is missing (scripts/setup.sh installs it)" >&2
    exit 2
fi
mkdir -p "$(dirname "$shot")"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

browse() {  # browse WHAT-TO-DO...: one headless run on the page, its log in $work/log.<n>
    timeout 120 "$chromium" --headless --no-sandbox --disable-gpu --disable-background-networking \
        --disable-component-update --disable-sync --no-first-run --user-data-dir="$work/profile" \
        --enable-logging=stderr --v=0 --window-size=1400,1000 --virtual-time-budget=$((wait_s * 1000)) \
        "$@" "$url"
}

echo "browser_test: reading $url"
browse --dump-dom >"$work/dom.html" 2>"$work/log.dom" || {
    echo "browser_test: chromium failed on $url:" >&2
    tail -5 "$work/log.dom" >&2
    exit 1
}
browse --screenshot="$shot" >/dev/null 2>"$work/log.shot" || true
failed=0
if [ ! -s "$shot" ]; then
    echo "browser_test: no screenshot written to $shot" >&2
    failed=1
else
    echo "browser_test: screenshot in $shot"
fi
if grep -h 'CONSOLE' "$work/log.dom" "$work/log.shot" >&2; then
    echo "browser_test: the page wrote to the console (above)" >&2
    failed=1
fi
# The page's text, tags stripped, on one line.
sed -e 's/<[^>]*>/ /g' "$work/dom.html" | tr -s ' \n' ' ' >"$work/text"
for re in "$@"; do
    if grep -Eq -- "$re" "$work/text"; then
        echo "browser_test: shows /$re/"
    else
        echo "browser_test: the page does not show /$re/" >&2
        failed=1
    fi
done
if [ $failed -ne 0 ]; then
    echo "browser_test: FAILED ($url)" >&2
    exit 1
fi
echo "browser_test: passed"
