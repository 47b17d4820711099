#!/usr/bin/env bash
# Installs what building and testing kyt needs, only what is missing.
# Usage: scripts/setup.sh [--linux-only]
set -eu
pkgs=(cmake ninja-build g++ pkg-config googletest libgtest-dev)
if [ "${1:-}" != "--linux-only" ]; then
  pkgs+=(clang libclang-rt-14-dev libbenchmark-dev libsqlite3-dev
         g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 wine64)
fi
missing=()
for p in "${pkgs[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo=sudo
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
if [ "${1:-}" != "--linux-only" ] && [ ! -d "${WINEPREFIX:-$HOME/.wine}" ]; then
  echo "setup: creating the wine prefix"
  WINEDEBUG=-all wine cmd /c exit >/dev/null 2>&1 || true
fi
exit 0
