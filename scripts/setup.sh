#!/usr/bin/env bash
# Installs what building and testing kyt needs, only what is missing, then checks that every
# command the suites run is there; stops with a message naming what is still missing.
# Usage: scripts/setup.sh [--linux-only]
set -eu
pkgs=(cmake ninja-build g++ pkg-config googletest libgtest-dev libexpat1-dev)
cmds=(cmake ninja g++ pkg-config)
if [ "${1:-}" != "--linux-only" ]; then
  # wine64 alone (without its recommended packages) has no `wine` command: the package wine
  # provides it.
  pkgs+=(clang libclang-rt-14-dev libbenchmark-dev libsqlite3-dev sqlite3
         g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64
         wine wine64)
  cmds+=(clang clang++ x86_64-w64-mingw32-g++-posix x86_64-w64-mingw32-gcc-posix wine sqlite3)
fi
missing=()
for p in "${pkgs[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo=sudo
  if ! $sudo apt-get update -qq ||
     ! DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends \
         "${missing[@]}" >/dev/null; then
    echo "setup: could not install ${missing[*]}" >&2
    exit 1
  fi
fi
absent=()
for c in "${cmds[@]}"; do
  command -v "$c" >/dev/null 2>&1 || absent+=("$c")
done
if [ ${#absent[@]} -gt 0 ]; then
  echo "setup: still missing after installing: ${absent[*]}" >&2
  exit 1
fi
if [ "${1:-}" != "--linux-only" ] && [ ! -d "${WINEPREFIX:-$HOME/.wine}/drive_c" ]; then
  echo "setup: creating the wine prefix"
  if ! WINEDEBUG=-all wine cmd /c exit >/dev/null 2>&1 </dev/null ||
     [ ! -d "${WINEPREFIX:-$HOME/.wine}/drive_c" ]; then
    echo "setup: could not create the wine prefix ${WINEPREFIX:-$HOME/.wine}" >&2
    exit 1
  fi
fi
exit 0
