#!/usr/bin/env bash
# Builds and runs every test suite: Linux (warnings as errors), Linux with AddressSanitizer
# and UndefinedBehaviorSanitizer (clang, with a short run of every fuzz target), and the
# Windows x64 build under wine.
# Usage: scripts/test.sh [linux|sanitize|windows]...   (default: all three)
set -u
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh" || exit 1
suites=("$@")
[ ${#suites[@]} -gt 0 ] || suites=(linux sanitize windows)
fuzz_seconds=${KYT_FUZZ_SECONDS:-15}
export WINEDEBUG=-all
failed=()

suite() {  # name, then cmake arguments
  local name=$1
  shift
  echo "== $name"
  cmake -S "$root" -B "$root/out/$name" -G Ninja -DKYT_WERROR=ON "$@" >/dev/null &&
    cmake --build "$root/out/$name" &&
    (cd "$root/out/$name" && ctest --output-on-failure -j2) || failed+=("$name")
}

fuzz() {
  local dir=$root/out/sanitize/fuzz
  for target in "$dir"/*_fuzz; do
    [ -x "$target" ] || continue
    local name corpus
    name=$(basename "$target")
    corpus=$root/out/sanitize/corpus/$name
    mkdir -p "$corpus"
    # Shipped seeds (fuzz/seeds/NAME) are read; new inputs go to the corpus only.
    local seeds=()
    [ -d "$root/fuzz/seeds/$name" ] && seeds=("$root/fuzz/seeds/$name")
    echo "-- fuzz $name for ${fuzz_seconds}s"
    if ! "$target" -max_total_time="$fuzz_seconds" -print_final_stats=0 "$corpus" "${seeds[@]}" \
        >"$root/out/sanitize/$name.log" 2>&1; then
      tail -40 "$root/out/sanitize/$name.log"
      failed+=("fuzz:$name")
    fi
  done
}

for s in "${suites[@]}"; do
  case "$s" in
    linux) suite linux ;;
    sanitize)
      CC=clang CXX=clang++ suite sanitize -DCMAKE_BUILD_TYPE=Debug -DKYT_SANITIZE=ON -DKYT_FUZZ=ON
      fuzz ;;
    windows)
      # Wake wine (and let it finish any update of its prefix) before the tests talk to it.
      wine cmd /c exit >/dev/null 2>&1 </dev/null || true
      suite windows -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64.cmake" ;;
    *) echo "unknown suite $s"; exit 2 ;;
  esac
done

if [ ${#failed[@]} -gt 0 ]; then
  echo "FAILED: ${failed[*]}"
  exit 1
fi
echo "all suites passed: ${suites[*]}"
