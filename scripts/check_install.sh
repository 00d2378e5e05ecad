#!/usr/bin/env bash
# Installs cirrow from a build directory into a temporary prefix and uses it as an application
# developer does.
#   scripts/check_install.sh [build-dir]          host build (default build): install; build the
#       examples with find_package(cirrow 1.0) and with pkg-config, and the README's C example
#       with `pkg-config --cflags --libs cirrow`; run them against the installed stand-in (the
#       README example with the virtual aircraft answering, directly and through cirrow-sim); check
#       that find_package(cirrow 2.0) is refused and that the runtime component is the library only
#   scripts/check_install.sh --aircraft build-dir  cross build: install and check that the prefix
#       holds the library, its headers and package files, and no host tool
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

fail() { echo "check_install: $*" >&2; exit 1; }
# Every installed file, relative to the prefix, sorted.
listing() { (cd "$1" && find . -type f -o -type l) | sed 's|^\./||' | sort; }

aircraft=0
if [ "${1:-}" = "--aircraft" ]; then
    aircraft=1
    shift
fi
build=${1:-build}
[ -d "$build" ] || fail "no build directory $build"
build=$(cd "$build" && pwd)

if [ $aircraft -eq 1 ]; then
    cmake --install "$build" --prefix "$tmp/prefix" > /dev/null
    listing "$tmp/prefix" > "$tmp/files"
    # What an aircraft prefix may hold: the library, its headers, the CMake package and cirrow.pc.
    allowed='^lib(/[^/]+)?/(libcirrow\.so(\.[0-9]+)*|cmake/cirrow/cirrow(Config|ConfigVersion|Targets(-[a-z]+)?)\.cmake|pkgconfig/cirrow\.pc)$|^include/cirrow/[a-z_]+\.h$'
    if grep -Ev "$allowed" "$tmp/files" > "$tmp/stray"; then
        echo "check_install: the aircraft install holds host tools or unknown files:" >&2
        sed 's/^/  /' "$tmp/stray" >&2
        exit 1
    fi
    lib=$(grep -E 'libcirrow\.so\.[0-9]+\.[0-9]+\.[0-9]+$' "$tmp/files") || fail "no libcirrow.so.<version> installed"
    readelf -h "$tmp/prefix/$lib" | grep -q 'Machine:.*ARM' || fail "$lib is not an ARM library"
    echo "check_install: aircraft prefix holds $(wc -l < "$tmp/files") files, no host tool:"
    sed 's/^/  /' "$tmp/files"
    exit 0
fi

prefix=$tmp/prefix
cmake --install "$build" --prefix "$prefix" > /dev/null
export MBUS_QUIET=1

# The runtime component is what goes on the aircraft: the versioned library only.
cmake --install "$build" --prefix "$tmp/runtime" --component runtime > /dev/null
runtime=$(listing "$tmp/runtime" | tr '\n' ' ')
[[ "$runtime" =~ ^lib(/[^/]+)?/libcirrow\.so\.1\ lib(/[^/]+)?/libcirrow\.so\.[0-9.]+\ $ ]] ||
    fail "the runtime component holds more than the library: $runtime"

# CMake: the examples on their own against the package, then a consumer asking for 2.0.
cmake -S "$root/examples" -B "$tmp/examples" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_FLAGS="-Wall -Wextra -Werror" \
      > /dev/null
cmake --build "$tmp/examples" -j 2 > /dev/null
"$tmp/examples/link_tour" > "$tmp/tour.out" || fail "link_tour (CMake build) failed"
grep -q 'answer byte 0: 0' "$tmp/tour.out" || fail "link_tour (CMake build) got no answer"
mkdir -p "$tmp/v2"
printf 'cmake_minimum_required(VERSION 3.20)\nproject(v2 C)\nfind_package(cirrow 2.0 REQUIRED)\n' \
    > "$tmp/v2/CMakeLists.txt"
if cmake -S "$tmp/v2" -B "$tmp/v2/build" -DCMAKE_PREFIX_PATH="$prefix" > /dev/null 2>&1; then
    fail "find_package(cirrow 2.0) accepted version $(grep -m1 -o '"[0-9.]*"' "$root/include/cirrow/cirrow.h")"
fi
echo "check_install: CMake: find_package(cirrow 1.0) builds and runs the examples; 2.0 is refused"

# pkg-config: the same example, and the README's C example, with the flags the README gives.
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
libdir=$(pkg-config --variable=libdir cirrow)
cc=${CC:-cc}
# shellcheck disable=SC2046
"$cc" -std=c11 -Wall -Wextra -Werror "$root/examples/link_tour.c" -o "$tmp/tour_pc" \
      $(pkg-config --cflags --libs cirrow cirrow-mbus) -Wl,-rpath,"$libdir"
"$tmp/tour_pc" > "$tmp/tour_pc.out" || fail "link_tour (pkg-config build) failed"
cmp -s "$tmp/tour.out" "$tmp/tour_pc.out" ||
    fail "link_tour prints differently when built with pkg-config"
awk '/^```c$/ { on = 1; next } on && /^```$/ { exit } on' "$root/README.md" > "$tmp/app.c"
[ -s "$tmp/app.c" ] || fail "no C example in README.md"
# shellcheck disable=SC2046
"$cc" -std=c11 -Wall -Wextra -Werror "$tmp/app.c" -o "$tmp/app" $(pkg-config --cflags --libs cirrow) \
      -Wl,-rpath,"$libdir"
# With the virtual aircraft answering (MBUS_SIM=1, or the installed launcher) the example exits 0.
MBUS_SIM=1 "$tmp/app" > "$tmp/app.out" || fail "the README example failed with MBUS_SIM=1 (status $?)"
grep -q '^take control: 0$' "$tmp/app.out" || fail "the README example: $(cat "$tmp/app.out")"
"$prefix/bin/cirrow-sim" -- "$tmp/app" > "$tmp/app_sim.out" 2> "$tmp/app_sim.err" ||
    fail "the README example failed under the installed cirrow-sim"
grep -q '^link summary: 3 requests (0 failed)' "$tmp/app_sim.err" || fail "cirrow-sim printed no link summary"
# At another speed the installed launcher preloads the installed aircraft's clock.
"$prefix/bin/cirrow-sim" --speed 4 -- "$tmp/app" > /dev/null 2> "$tmp/app_speed.err" ||
    fail "the README example failed under the installed cirrow-sim at speed 4"
if grep -E 'not found|time may have drifted' "$tmp/app_speed.err"; then
    fail "the installed cirrow-sim did not preload the installed libmbus_clock.so"
fi
# The host tools beside the stand-in: trace header, dissector, scenario examples, the references.
for f in include/cirrow-platform/mbus_trace.h share/cirrow/cirrow.lua share/cirrow/scenarios/fault.toml \
         share/doc/cirrow/link_reference.md share/doc/cirrow/scenarios.md; do
    [ -f "$prefix/$f" ] || fail "$f is not installed"
done
# The README's install table names every tool and document the install holds.
for f in "$prefix"/bin/* "$prefix"/share/doc/cirrow/*; do
    f=${f#"$prefix"/}
    grep -q "^| \`host-tools\` |.*\`$f\`" "$root/README.md" || fail "$f is installed but not in the README's install table"
done
# The headers compile as C++ too.
# shellcheck disable=SC2046
printf '#include <cirrow/cirrow.h>\n' | ${CXX:-c++} -std=c++17 -Wall -Wextra -Werror -x c++ -fsyntax-only \
    $(pkg-config --cflags cirrow) -
echo "check_install: pkg-config: link_tour and the README example build and run ($(head -1 "$tmp/app.out"), $(sed -n 2p "$tmp/app.out"))"
