#!/usr/bin/env bash
# Runs the README's "Your application on the aircraft" as a developer does, from a home outside the
# tree: its commands as written (the host and aircraft builds given here stand for its build/ and
# build-arm/), so that the section cannot rot. Also checks that an aircraft prefix without the
# stand-in component says what is missing to find_package(cirrow COMPONENTS mbus).
#   scripts/check_arm_app.sh <host-build-dir> <arm-build-dir>
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
host=$(cd "$1" && pwd)
arm=$(cd "$2" && pwd)
tmp=$(mktemp -d /tmp/cw-arm-app-XXXXXX)
trap '[ -f "$tmp/home/aircraft.pid" ] && kill "$(cat "$tmp/home/aircraft.pid")" 2>/dev/null; rm -rf "$tmp"' EXIT
fail() { echo "check_arm_app: $*" >&2; exit 1; }

# The section's sh block, from its heading to the next heading.
awk '/^## Your application on the aircraft$/ { on = 1; next } on && /^## / { exit }
     on && /^```sh$/ { code = 1; next } code && /^```$/ { exit } code' "$root/README.md" > "$tmp/steps.sh"
[ -s "$tmp/steps.sh" ] || fail "README.md has no \"Your application on the aircraft\" commands"

# A checkout whose build/ and build-arm/ are the builds given, and a home of its own.
mkdir -p "$tmp/cirrow" "$tmp/home"
for f in "$root"/*; do ln -s "$f" "$tmp/cirrow/$(basename "$f")"; done
rm -f "$tmp/cirrow/build" "$tmp/cirrow/build-arm"
ln -s "$host" "$tmp/cirrow/build"
ln -s "$arm" "$tmp/cirrow/build-arm"

# Without the stand-in component, find_package(cirrow COMPONENTS mbus) says what is missing.
cmake --install "$arm" --prefix "$tmp/plain/usr" > /dev/null
if cmake -S "$root/examples" -B "$tmp/plain/build" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/arm-linux-gnueabihf.cmake" \
        -DCMAKE_PREFIX_PATH="$tmp/plain/usr" > "$tmp/plain.out" 2>&1; then
    fail "find_package(cirrow COMPONENTS mbus) succeeded on an aircraft prefix without the stand-in"
fi
if ! grep -q 'component mbus' "$tmp/plain.out" || ! grep -q -- '--component stand-in' "$tmp/plain.out"; then
    fail "find_package(cirrow COMPONENTS mbus) does not say what is missing: $(cat "$tmp/plain.out")"
fi
echo "check_arm_app: without the stand-in component, find_package names it"

echo "check_arm_app: the README's commands, from $tmp/cirrow with HOME=$tmp/home:"
sed 's/^/  | /' "$tmp/steps.sh"
(cd "$tmp/cirrow" && HOME=$tmp/home MBUS_QUIET=0 timeout 300 bash -euo pipefail -x "$tmp/steps.sh") > "$tmp/run.out" 2>&1 ||
    { cat "$tmp/run.out" >&2; fail "the README's commands failed"; }
grep -c 'first flight complete' "$tmp/run.out" | grep -qx 2 || { cat "$tmp/run.out" >&2; fail "two first flights expected"; }
readelf -h "$tmp/home/my_app/first_flight" | grep -q "Machine:.*ARM" || fail "first_flight is not an ARM program"
echo "check_arm_app: the README's application, cross-built with pkg-config and with CMake outside the tree, flew twice against cirrow-aircraft"
