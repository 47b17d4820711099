#!/usr/bin/env bash
# Throughput of kytfold against a plain copy (dd bs=1M) and against dd conv=unblock, measured
# side by side in one run on the same files. Prints ratios of throughput (above 1: kytfold
# is faster). Usage: bench/fold_bench.sh [KYTFOLD] [MEGABYTES]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
kytfold=${1:-$root/out/release/tools/kytfold}
mb=${2:-256}
if [ ! -x "$kytfold" ]; then
  cmake -S "$root" -B "$root/out/release" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKYT_TESTS=OFF >/dev/null
  cmake --build "$root/out/release" --target kytfold >/dev/null
  kytfold=$root/out/release/tools/kytfold
fi
work=$(mktemp -d "${TMPDIR:-/tmp}/kytbench.XXXXXX")
trap 'rm -rf "$work"' EXIT

# Inputs: fixed records of 80 bytes, and variable records of 1 to 2000 data bytes.
head -c $((mb * 1024 * 1024)) /dev/urandom | tr '\000-\377' 'A-Za-z0-9A-Za-z0-9A-Za-z0-9A-Za-z0-9A-Za-z0-9A-Za-z0-9A-Za-z0-9A-Za-z0-9' >"$work/fixed.dat"
python3 - "$work/variable.dat" "$mb" <<'PY'
import os, random, struct, sys
random.seed(1)
target = int(sys.argv[2]) * 1024 * 1024
pool = os.urandom(4096)
with open(sys.argv[1], 'wb') as f:
    done = 0
    chunk = []
    while done < target:
        n = random.randint(1, 2000)
        start = random.randint(0, 4096 - n)
        chunk.append(struct.pack('>H', n + 2) + pool[start:start + n])
        done += n + 2
        if len(chunk) >= 4096:
            f.write(b''.join(chunk)); chunk = []
    f.write(b''.join(chunk))
PY

best() {  # best wall time of 5 runs of the command, in seconds
  local b=""
  for _ in 1 2 3 4 5; do
    rm -f "$work/out"
    local t0 t1
    t0=$(date +%s.%N)
    "$@" >/dev/null 2>&1
    t1=$(date +%s.%N)
    b=$(awk -v a="$t0" -v z="$t1" -v b="$b" 'BEGIN{t=z-a; if(b==""||t<b) b=t; printf "%.4f", b}')
  done
  echo "$b"
}

copy_f=$(best dd if="$work/fixed.dat" of="$work/out" bs=1M)
unblock=$(best dd if="$work/fixed.dat" of="$work/out" bs=1M cbs=80 conv=unblock)
fold_f=$(best "$kytfold" -w 80 -i "$work/fixed.dat" -o "$work/out")
copy_v=$(best dd if="$work/variable.dat" of="$work/out" bs=1M)
fold_v=$(best "$kytfold" -v -i "$work/variable.dat" -o "$work/out")

ratio() { awk -v a="$1" -v b="$2" 'BEGIN{printf "%.2f", a/b}'; }
echo "kytfold benchmark, ${mb} MB inputs (best of 5 wall times, seconds)"
printf '  fixed 80:  kytfold %s  dd copy %s  dd conv=unblock %s\n' "$fold_f" "$copy_f" "$unblock"
printf '  variable:  kytfold %s  dd copy %s\n' "$fold_v" "$copy_v"
echo "ratios of throughput (kytfold / peer):"
echo "  fixed 80 vs dd bs=1M copy:        $(ratio "$copy_f" "$fold_f")   (target >= 0.7)"
echo "  fixed 80 vs dd cbs=80 conv=unblock: $(ratio "$unblock" "$fold_f")   (target >= 3)"
echo "  variable vs dd bs=1M copy:        $(ratio "$copy_v" "$fold_v")   (target >= 0.7)"
