#!/usr/bin/env bash
# Builds kytfold and folds the shipped sample files, showing the lines it writes.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh" --linux-only
cmake -S "$root" -B "$root/out/release" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKYT_TESTS=OFF >/dev/null
cmake --build "$root/out/release" --target kytfold
kytfold=$root/out/release/tools/kytfold
demo=$root/out/demo
mkdir -p "$demo"

echo "== fixed records of 80 bytes: samples/fixed80.dat"
"$kytfold" -w 80 -i "$root/samples/fixed80.dat" -o "$demo/fixed80.txt"
echo "exit code $?; $(wc -l <"$demo/fixed80.txt") lines in out/demo/fixed80.txt (CR LF shown as \$):"
sed 's/\r$/$/' "$demo/fixed80.txt"

echo
echo "== variable records with length words: samples/variable.dat"
"$kytfold" -v -i "$root/samples/variable.dat" -o "$demo/variable.txt"
echo "exit code $?; $(wc -l <"$demo/variable.txt") lines in out/demo/variable.txt (CR LF shown as \$):"
sed 's/\r$/$/' "$demo/variable.txt"
