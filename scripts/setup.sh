#!/usr/bin/env bash
# Installs what building and testing cirrow needs on a Debian machine, if anything is missing:
# the host toolchain and test libraries, the 32-bit ARM cross toolchain, user-mode emulation,
# and GoogleTest built for the target (Debian's armhf package, installed beside the host's).
set -euo pipefail

packages=(cmake make g++ libgtest-dev libgmock-dev libbenchmark-dev clang-format clang-tidy valgrind
          g++-arm-linux-gnueabihf binutils-arm-linux-gnueabihf qemu-user libgtest-dev:armhf)

sudo_cmd=""
[ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"

if ! dpkg --print-foreign-architectures | grep -qx armhf; then
  $sudo_cmd dpkg --add-architecture armhf
fi

missing=()
native=$(dpkg --print-architecture)
for p in "${packages[@]}"; do
  [[ $p == *:* ]] || p="$p:$native"
  dpkg-query -W -f='${db:Status-Abbrev}' "$p" 2>/dev/null | grep -q '^ii' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  # A mirror that is half-synced for one index must not stop the install of the others.
  $sudo_cmd apt-get update -qq || echo "setup: apt-get update reported errors; going on"
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
