#!/usr/bin/env bash
# Missions in Python as a team uses them: installs cirrow from a build directory into a temporary
# prefix, then with the installed package (the README's PYTHONPATH) runs the package's own tests
# and the example missions as pytest test flights, two workers at once (pytest-xdist), and builds
# the package with pip from the source tree, offline, into a virtual environment where its pytest
# plugin registers itself and flies a mission. The JUnit report and the captures and pages of
# failed flights are kept in <build-dir>/artifacts/python.
#   scripts/check_python.sh [build-dir]     (default build)
# The interpreter is the one that imports cffi, pytest and xdist (CW_PYTHON, else /usr/bin/python3).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
fail() { echo "check_python: $*" >&2; exit 1; }

build=${1:-build}
[ -d "$build" ] || fail "no build directory $build"
# The JUnit report, and a failed flight's capture and page beside it, stay after the run.
artifacts=$(cd "$build" && pwd)/artifacts/python
rm -rf "$artifacts"
python=${CW_PYTHON:-/usr/bin/python3}
"$python" -c 'import cffi, pytest, xdist' 2>/dev/null ||
    fail "$python does not import cffi, pytest and xdist (scripts/setup.sh installs python3-cffi, python3-pytest, python3-pytest-xdist)"
export MBUS_QUIET=1

# pytest exits 5 when it collected nothing: a run that tested nothing is a failure here.
run_pytest() {
    local what=$1
    shift
    local rc=0
    (cd "$tmp" && timeout 240 "${python}" -m pytest -q -p no:cacheprovider "$@") || rc=$?
    [ $rc -eq 5 ] && fail "$what: pytest collected no test"
    [ $rc -eq 0 ] || fail "$what: pytest exited with $rc"
}

cmake --install "$build" --prefix "$tmp/prefix" > /dev/null
[ -f "$tmp/prefix/lib/python/cirrow/_declarations.py" ] || fail "the install holds no Python package (lib/python/cirrow)"

echo "check_python: the package's tests and the example missions, installed, two workers"
PYTHONPATH="$tmp/prefix/lib/python" run_pytest "installed package" -p cirrow.pytest_plugin -n 2 \
    --junitxml="$artifacts/junit.xml" "$root/python/tests" "$root/examples/python"
cases=$(grep -o "<testcase " "$artifacts/junit.xml" | wc -l)
[ "$cases" -ge 26 ] || fail "the JUnit report holds $cases test cases, fewer than the 26 written"

echo "check_python: pip install --no-build-isolation python/, offline, and the plugin by its entry point"
# pip builds in the source tree: a copy of what the package is built from keeps the clone clean.
mkdir -p "$tmp/src/platform" "$tmp/src/docs"
cp -r "$root/python" "$root/include" "$tmp/src/"
cp -r "$root/platform/include" "$tmp/src/platform/"
cp "$root/docs/link_reference.md" "$tmp/src/docs/"
"$python" -m venv --system-site-packages --without-pip "$tmp/venv"
(cd "$tmp" && timeout 120 "$tmp/venv/bin/python" -m pip install -q --no-build-isolation --no-index \
    --no-cache-dir "$tmp/src/python") || fail "pip could not install the package from python/"
PYTHONPATH='' CIRROW_HOME="$tmp/prefix" python="$tmp/venv/bin/python" \
    run_pytest "pip-installed package" "$root/examples/python/test_missions.py" -k "first_flight and not rough"
echo "check_python: all good"
