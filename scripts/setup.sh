#!/usr/bin/env bash
# Makes sure what building and testing cirrow needs is on this machine: the host toolchain and
# test libraries, the 32-bit ARM cross toolchain, user-mode emulation and GoogleTest built for the
# target. Each is looked for by what it provides (a command, a CMake package file), so a machine
# that has them by other means needs neither dpkg nor apt. Only what is missing is installed, with
# apt-get, and the script says what and why before it does.
#   scripts/setup.sh [--host-only] [--with-docs]
#   --host-only   leave out the ARM cross toolchain and emulation and the fuzzing runtime
#   --with-docs   also doxygen, for the API documentation (`cmake --build <dir> --target docs`)
set -euo pipefail

host_only=0
with_docs=0
for arg in "$@"; do
    case $arg in
        --host-only) host_only=1 ;;
        --with-docs) with_docs=1 ;;
        *) echo "setup: unknown option $arg" >&2; exit 2 ;;
    esac
done

have_cmd() { command -v "$1" >/dev/null 2>&1; }
have_file() { local f; for f in "$@"; do [ -e "$f" ] && return 0; done; return 1; }
cmake_pkg() {  # a CMake package file under the usual prefixes
    local name=$1 dir
    for dir in /usr/lib/cmake /usr/lib/*/cmake /usr/local/lib/cmake /usr/local/lib/*/cmake /usr/share/cmake; do
        [ -d "$dir/$name" ] && return 0
    done
    return 1
}

missing=()   # Debian package names
need() { missing+=("$1"); echo "setup: $2 not found: will install $1"; }

have_cmd cmake || need cmake "cmake"
have_cmd make || need make "make"
have_cmd g++ || need g++ "g++"
cmake_pkg GTest || need libgtest-dev "GoogleTest (CMake package GTest)"
have_file /usr/include/gmock/gmock.h /usr/local/include/gmock/gmock.h || need libgmock-dev "GoogleMock headers"
cmake_pkg benchmark || need libbenchmark-dev "Google Benchmark (CMake package benchmark)"
have_cmd clang-format || need clang-format "clang-format"
have_cmd clang-tidy || need clang-tidy "clang-tidy"
have_cmd valgrind || need valgrind "valgrind"
have_cmd pkg-config || need pkgconf "pkg-config (the install check builds with it)"
have_file /usr/include/toml++/toml.h || need libtomlplusplus-dev "toml++ headers (the virtual aircraft's scenario files)"
have_cmd tshark || need tshark "tshark (the capture test decodes the link capture with the dissector)"
have_file /usr/include/civetweb.h || need libcivetweb-dev "civetweb (the aircraft's live page over HTTP)"
have_file /usr/include/httplib.h || need libcpp-httplib-dev "cpp-httplib (the live page's tests, as a client)"
have_file /usr/share/javascript/d3/d3.min.js || need libjs-d3 "d3 (the live page's track plan)"
have_file /usr/share/javascript/dygraphs/dygraph.min.js || need libjs-dygraphs "dygraphs (the live page's plots)"
have_cmd chromium || need chromium "headless Chromium (the live page's browser test)"
# Missions in Python: Debian's interpreter with cffi, pytest and pytest-xdist; pip and setuptools
# build the package from python/ (the first python3 on PATH may be another build that sees none).
py_has() { [ -x /usr/bin/python3 ] && /usr/bin/python3 -c "import $1" >/dev/null 2>&1; }
py_has cffi || need python3-cffi "cffi for /usr/bin/python3 (the cirrow Python package)"
py_has pytest || need python3-pytest "pytest for /usr/bin/python3 (test flights)"
py_has xdist || need python3-pytest-xdist "pytest-xdist for /usr/bin/python3 (test flights in parallel)"
py_has pip || need python3-pip "pip for /usr/bin/python3 (the package built from python/)"
py_has setuptools || need python3-setuptools "setuptools for /usr/bin/python3 (the package built from python/)"
if [ $with_docs -eq 1 ]; then
    have_cmd doxygen || need doxygen "doxygen (the API documentation)"
fi
if [ $host_only -eq 0 ]; then
    have_cmd clang++ || need clang "clang (the fuzz targets)"
    have_file /usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a ||
        need libclang-rt-14-dev "the libFuzzer runtime"
    have_cmd arm-linux-gnueabihf-g++ || need g++-arm-linux-gnueabihf "the ARM cross compiler"
    have_cmd arm-linux-gnueabihf-nm || need binutils-arm-linux-gnueabihf "the ARM binutils"
    have_cmd qemu-arm || need qemu-user "qemu-arm (user-mode emulation)"
    have_file /usr/lib/arm-linux-gnueabihf/cmake/GTest /usr/lib/arm-linux-gnueabihf/libgtest.a ||
        need libgtest-dev:armhf "GoogleTest for the target (armhf)"
fi

[ ${#missing[@]} -eq 0 ] && exit 0

sudo_cmd=""
[ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
if ! have_cmd apt-get || ! have_cmd dpkg; then
    echo "setup: cannot install ${missing[*]}: this machine has no apt-get/dpkg; install them by other means" >&2
    exit 1
fi
if printf '%s\n' "${missing[@]}" | grep -q ':armhf$' && ! dpkg --print-foreign-architectures | grep -qx armhf; then
    echo "setup: adding the armhf architecture to dpkg (for GoogleTest built for the target)"
    $sudo_cmd dpkg --add-architecture armhf
fi
echo "setup: installing ${missing[*]}"
# A mirror that is half-synced for one index must not stop the install of the others.
if ! $sudo_cmd apt-get update -qq; then
    echo "setup: warning: the package index could not be refreshed (apt-get update failed); installing from the index as it is"
fi
DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq --no-install-recommends "${missing[@]}"
