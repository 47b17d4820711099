#!/usr/bin/env bash
# Runs the real kytfold binary as a user would and checks exit codes, output bytes, standard
# output and standard error, and the trace file. Usage: kytfold_test.sh PATH-TO-KYTFOLD
# KYT_RUNNER (for example "wine") runs a Windows build; its console output has CR LF line
# ends, which the checks of standard output and standard error take off before comparing.
. "$(dirname "${BASH_SOURCE[0]}")/cli.sh" "$1"

hex() { od -An -tx1 -v "$1" | tr -d ' \n'; }

usage=$(printf '\nkytXP5.07.16 OFTP station core\n\nkytfold - fold files with fixed or varable records length (insert CR/LF)\n\t\tuse VFTYP=SINIX for variable records\n\n\t-v \t\t\t-> use variable records\n\t-w foldwidth \t\t-> foldwidth for fixed records\n\t-i input-filename  \t-> input file\n\t-o output-filename \t-> output file\n\nexamples: kytfold -w 80 -i inputfile -o outputfile \nexamples: kytfold -v -i inputfile -o outputfile \n')

# --- command line -------------------------------------------------------------------------
run
check "no arguments: exit" 1 "$rc"
check "no arguments: usage" "$usage" "$out"
run -i a
check "-i only: exit" 1 "$rc"
run -w 0 -i a -o b
check "-w 0: exit" 1 "$rc"
check "-w 0: usage" "$usage" "$out"
run -w abc -i a -o b
check "-w abc: exit" 1 "$rc"
run -w 32999 -i a -o b
check "width beyond the record buffer: exit" 1 "$rc"
# Widths beyond 32 or 64 bits are refused, never wrapped into a small width (these are 80
# and 81 modulo 2^32 and 2^64).
run -w 4294967376 -i a -o b
check "width beyond 32 bits: exit" 1 "$rc"
run -w 18446744073709551697 -i a -o b
check "width beyond 64 bits: exit" 1 "$rc"
check "width beyond 64 bits: usage" "$usage" "$out"
run -w -18446744073709551535 -i a -o b
check "negative width beyond 64 bits: exit" 1 "$rc"
run '-?'
check "-?: exit" 5 "$rc"
check "-?: usage" "$usage" "$out"
check "-?: nothing on stderr" "" "$err"
run -x -i a -o b
check "-x: exit" 5 "$rc"
check "-x: usage" "$usage" "$out"
case "$err" in *": invalid option -- 'x'") ok=yes ;; *) ok="$err" ;; esac
check "-x: getopt diagnostic" yes "$ok"
run -i a -o b -w
check "missing argument: exit" 5 "$rc"
case "$err" in *": option requires an argument -- 'w'") ok=yes ;; *) ok="$err" ;; esac
check "missing argument: getopt diagnostic" yes "$ok"
long=$(printf 'n%.0s' $(seq 1 260))
run -w 80 -i "$long" -o b
check "input name of 260 bytes: exit" 1 "$rc"
run -w 80 -i a -o "$long"
check "output name of 260 bytes: exit" 1 "$rc"
run -w 80 -i missing.dat -o out.txt
check "missing input: exit" 2 "$rc"
check "missing input: stdout quiet" "" "$out"
printf 'x' >in.dat
run -w 80 -i in.dat -o no/such/dir/out.txt
check "output not creatable: exit" 3 "$rc"

# --- fixed records ------------------------------------------------------------------------
rec80=$(printf 'A%.0s' $(seq 1 80))
printf '%s%s' "$rec80" "$rec80" >f160.dat
run -w 80 -i f160.dat -o out.txt
check "fixed 160 bytes: exit" 0 "$rc"
check "fixed 160 bytes: two lines" "$(printf '%s\r\n%s\r\n' "$rec80" "$rec80" | od -An -tx1 -v | tr -d ' \n')" "$(hex out.txt)"
printf '%s%s0123456789' "$rec80" "$rec80" >f170.dat
run -w 80 -i f170.dat -o out.txt
check "fixed 170 bytes: exit" 0 "$rc"
check "fixed 170 bytes: partial record dropped" 164 "$(wc -c <out.txt | tr -d ' ')"
: >empty.dat
run -w 80 -i empty.dat -o out.txt
check "fixed empty: exit" 0 "$rc"
check "fixed empty: empty output" 0 "$(wc -c <out.txt | tr -d ' ')"
printf 'abc' >f3.dat
run -w3 -i f3.dat -o out.txt
check "attached option argument" "6162630d0a" "$(hex out.txt)"
run -w ' +3rd' -i f3.dat -o out.txt
check "width read as atoi reads it" "6162630d0a" "$(hex out.txt)"
run operand -w 3 -i f3.dat -o out.txt
check "operand before options: exit" 0 "$rc"
check "operand before options: folded" "6162630d0a" "$(hex out.txt)"

# --- variable records ---------------------------------------------------------------------
printf '\x00\x02\x00\x05abc' >v.dat
run -v -i v.dat -o out.txt
check "variable: exit" 0 "$rc"
check "variable: empty line and abc" "0d0a6162630d0a" "$(hex out.txt)"
run -v -w 80 -i v.dat -o out.txt
check "-v wins over -w" "0d0a6162630d0a" "$(hex out.txt)"
run -v -i empty.dat -o out.txt
check "variable empty: exit" 0 "$rc"
check "variable empty: empty output" 0 "$(wc -c <out.txt | tr -d ' ')"
printf '\x00\x05abc\x00' >stray.dat
run -v -i stray.dat -o out.txt
check "stray byte: exit" 0 "$rc"
check "stray byte: records kept" "6162630d0a" "$(hex out.txt)"
printf '\x00\x05abc\x00\x05a' >short.dat
run -v -i short.dat -o out.txt
check "short record: exit" 4 "$rc"
check "short record: message" "format missmatch iRead=1 iRecLen=3" "$out"
check "short record: output deleted" no "$([ -e out.txt ] && echo yes || echo no)"
printf '\x00\x00abc' >wrap.dat
run -v -i wrap.dat -o out.txt
check "length word 0: exit" 4 "$rc"
check "length word 0: message" "format missmatch iRead=0 iRecLen=65534" "$out"
check "length word 0: output deleted" no "$([ -e out.txt ] && echo yes || echo no)"
{ printf '\x80\xe8'; head -c 32998 /dev/zero; } >max.dat
run -v -i max.dat -o out.txt
check "longest record: exit" 0 "$rc"
check "longest record: size" 33000 "$(wc -c <out.txt | tr -d ' ')"
{ printf '\x80\xe9'; head -c 32999 /dev/zero; } >over.dat
run -v -i over.dat -o out.txt
check "record beyond the buffer: exit" 4 "$rc"
check "record beyond the buffer: message" "format missmatch iRead=0 iRecLen=32999" "$out"

# --- read and write failures, input as output ---------------------------------------------
exists() { [ -e "$1" ] && echo yes || echo no; }
mkdir adir
run -w 80 -i adir -o out.txt
check "input is a directory: exit" 2 "$rc"
check "input is a directory: no output" no "$(exists out.txt)"
run -v -i adir -o out.txt
check "input is a directory, variable: exit" 2 "$rc"
check "input is a directory, variable: no output" no "$(exists out.txt)"
printf 'abcdef' >same.dat
ln same.dat hard.dat
for o in same.dat ./same.dat hard.dat; do
  run -w 3 -i same.dat -o "$o"
  check "output $o is the input: exit" 3 "$rc"
  check "output $o is the input: input kept" "616263646566" "$(hex same.dat)"
done
if ln -s same.dat sym.dat 2>/dev/null; then
  run -w 3 -i sym.dat -o same.dat
  check "input a symbolic link to the output: exit" 3 "$rc"
  check "input a symbolic link to the output: input kept" "616263646566" "$(hex same.dat)"
fi
run -w 3 -i same.dat -o other.dat
check "a different output: exit" 0 "$rc"
if [ -z "$RUNNER" ]; then  # devices and file size limits of the Linux host
  if [ -w /dev/full ]; then
    run -w 3 -i same.dat -o /dev/full
    check "output /dev/full: exit" 3 "$rc"
  fi
  # A file size limit fails the write as a full disk does (EFBIG, the signal ignored).
  head -c 200000 /dev/zero >big.dat
  (trap '' XFSZ; ulimit -f 64; "$COMMAND" -w 80 -i big.dat -o out.txt >/dev/null 2>&1)
  check "write failure: exit" 3 "$?"
  check "write failure: partial output removed" no "$(exists out.txt)"
  { printf '\x00\x52'; head -c 80 /dev/zero; } >v4096.dat
  for i in $(seq 1 12); do cat v4096.dat v4096.dat >v2.tmp && mv v2.tmp v4096.dat; done  # 4096 records
  (trap '' XFSZ; ulimit -f 64; "$COMMAND" -v -i v4096.dat -o out.txt >/dev/null 2>&1)
  check "write failure, variable: exit" 3 "$?"
  check "write failure, variable: partial output removed" no "$(exists out.txt)"
fi

# --- trace --------------------------------------------------------------------------------
rm -f diag.log
run -w 80 -i f160.dat -o out.txt
check "tracing off: no trace file" no "$([ -e diag.log ] && echo yes || echo no)"
export DBG_LVL=0x4001
run -w 80 -i missing.dat -o out.txt
unset DBG_LVL
lines=$(sed -E 's/^[0-9]{4}\/[0-9]{2}\/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]+ //' diag.log 2>/dev/null | tr -d '\r')
expected=$(printf '%s\n' \
  "kytfold.cpp kytfold 15 main (7 args) entered." \
  "kytfold.cpp kytfold 15 ProcessCmdLine (7 args) entered." \
  "kytfold.cpp kytfold 15 ProcessCmdLine () arg (1) is '-w'." \
  "kytfold.cpp kytfold 15 ProcessCmdLine () arg (2) is '80'." \
  "kytfold.cpp kytfold 15 ProcessCmdLine () arg (3) is '-i'." \
  "kytfold.cpp kytfold 15 ProcessCmdLine () arg (4) is 'missing.dat'." \
  "kytfold.cpp kytfold 15 ProcessCmdLine () arg (5) is '-o'." \
  "kytfold.cpp kytfold 15 ProcessCmdLine () arg (6) is 'out.txt'." \
  "kytfold.cpp kytfold 15 ProcessCmdLine (): got option 'w'/119." \
  "kytfold.cpp kytfold 15 ProcessCmdLine (): got option 'i'/105." \
  "kytfold.cpp kytfold 15 ProcessCmdLine (): got option 'o'/111." \
  "kytfold.cpp kytfold 15 ProcessCmdLine (): returning 0." \
  "kytfold.cpp kytfold 1 can't open input file missing.dat")
# Line 3 names argv[0], which differs by platform: compare it apart.
check "trace lines" "$expected" "$(printf '%s\n' "$lines" | grep -v "arg (0)")"
check "trace line of argv[0]" 1 "$(printf '%s\n' "$lines" | grep -c "ProcessCmdLine () arg (0) is '.*kytfold")"
rm -f diag.log
DBG_LVL=1 run -v -i short.dat -o out.txt
check "trace of a mismatch" "1" "$(grep -c 'kytfold 1 format missmatch iRead=1 iRecLen=3$' diag.log)"

finish kytfold
