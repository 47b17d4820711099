#!/usr/bin/env bash
# The station and routing table import from a C client of the exported functions: a new
# database, the sample tables, a failing record and an unreadable file.
# Usage: import.sh PATH-TO-IMPORT-CLIENT PATH-TO-KYTADM
samples=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../samples" && pwd)
. "$(dirname "${BASH_SOURCE[0]}")/../tools/cli.sh" "$1" "$2"
cp "$samples/stations.txt" "$samples/routes.txt" .

printf 'DB=db\n' >kytenv.dat
$RUNNER "$HELPER" sql --create "SELECT TNAME FROM SYSCATLG" >/dev/null 2>&1
check "catalogue made" 0 "$?"
run init
check "init" "init 0" "$out"

run stations stations.txt
check "stations: exit" 0 "$rc"
check "stations: output" "$(printf '%s\n' 'msg: 25 records of "stations.txt" imported' 'rc 0')" "$out"
run routes routes.txt
check "routes: output" "$(printf '%s\n' 'msg: 5 records of "routes.txt" imported' 'rc 0')" "$out"
run st ZULIEF01
check "quoted name read back" 'ZULIEF01|O0013000000ZULIEF01|Zulieferer "Nord" GmbH|' "$out"
run op AUTOWERK
check "numbers read back" "AUTOWERK|O0013000000AUTOWERK|AW1PASS|2000" "$out"
run op ZULIEF01
check "quoted password keeps case" "ZULIEF01|O0013000000ZULIEF01|zN0rd1|500" "$out"

printf '%s\n' '* a changed partner and a bad one' \
  'OP SID=ZULIEF01 ODETTEID=O0013000000ZULIEF01 PSWFROM=NEW SENDBLOCKS=+42' \
  'OP SID=ZULIEF02 ODETTEID=O2 SENDBLOCKS=4x' >change.txt
run stations change.txt
check "failing record: output" "$(printf '%s\n' \
  "msg: store_OP: value of SENDBLOCKS is not a number: '4X'" \
  'msg: line 3 of "change.txt" not imported (rc = 16): OP SID=ZULIEF02 ODETTEID=O2 SENDBLOCKS=4x' \
  'rc 16')" "$out"
run op ZULIEF01
check "line before the failure stays" "ZULIEF01|O0013000000ZULIEF01|NEW|42" "$out"
run op ZULIEF02
check "failing line not written" "none" "$out"

run stations missing.txt
check "unreadable: output" "$(printf '%s\n' 'msg: Could not open input file "missing.txt"' 'rc 99')" "$out"
run quiet missing.txt
check "no message output" "rc 99" "$out"
printf 'OP SID=A ODETTEID=X\nOP SID=B ODETTEID=x\n' >dup.txt
run stations dup.txt
check "same ODETTEID in other case" "$(printf '%s\n' 'msg: inconsistent line in station table: OP SID=B ODETTEID=x' 'rc 9')" "$out"
run op A
check "nothing written before the check" "none" "$out"
finish import
