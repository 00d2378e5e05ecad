#!/usr/bin/env bash
# Installs what building and testing cirrow needs on a Debian machine, if anything is missing.
set -euo pipefail

packages=(cmake make g++ libgtest-dev libgmock-dev libbenchmark-dev clang-format clang-tidy
          g++-arm-linux-gnueabihf qemu-user binutils-arm-linux-gnueabihf)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  sudo_cmd=""
  [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
