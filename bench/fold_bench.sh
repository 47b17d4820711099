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

# The commands run in turns, round after round, so that a busy moment of the machine falls on
# all of them alike; each keeps its best wall time of the rounds.
commands=(
  "dd if=$work/fixed.dat of=$work/out bs=1M"
  "dd if=$work/fixed.dat of=$work/out bs=1M cbs=80 conv=unblock"
  "$kytfold -w 80 -i $work/fixed.dat -o $work/out"
  "dd if=$work/variable.dat of=$work/out bs=1M"
  "$kytfold -v -i $work/variable.dat -o $work/out"
)
rounds=${KYT_BENCH_ROUNDS:-7}
declare -a best
for ((r = 0; r < rounds; r++)); do
  for i in "${!commands[@]}"; do
    rm -f "$work/out"
    t0=$(date +%s.%N)
    ${commands[$i]} >/dev/null 2>&1
    t1=$(date +%s.%N)
    best[$i]=$(awk -v a="$t0" -v z="$t1" -v b="${best[$i]:-}" 'BEGIN{t=z-a; if(b==""||t<b) b=t; printf "%.4f", b}')
  done
done
copy_f=${best[0]}
unblock=${best[1]}
fold_f=${best[2]}
copy_v=${best[3]}
fold_v=${best[4]}

ratio() { awk -v a="$1" -v b="$2" 'BEGIN{printf "%.2f", a/b}'; }
echo "kytfold benchmark, ${mb} MB inputs (best of $rounds rounds, wall seconds)"
printf '  fixed 80:  kytfold %s  dd copy %s  dd conv=unblock %s\n' "$fold_f" "$copy_f" "$unblock"
printf '  variable:  kytfold %s  dd copy %s\n' "$fold_v" "$copy_v"
echo "ratios of throughput (kytfold / peer):"
echo "  fixed 80 vs dd bs=1M copy:        $(ratio "$copy_f" "$fold_f")   (target >= 0.7)"
echo "  fixed 80 vs dd cbs=80 conv=unblock: $(ratio "$unblock" "$fold_f")   (target >= 3)"
echo "  variable vs dd bs=1M copy:        $(ratio "$copy_v" "$fold_v")   (target >= 0.7)"
