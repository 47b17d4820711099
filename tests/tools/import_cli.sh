#!/usr/bin/env bash
# kytadm import as an operator uses it: the sample tables, a directory, a failing record,
# wrong arguments; the rows read back with kytadm sql.
# Usage: import_cli.sh PATH-TO-KYTADM PATH-TO-IMPORT-CLIENT
samples=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../samples" && pwd)
. "$(dirname "${BASH_SOURCE[0]}")/cli.sh" "$1" "$2"
cp "$samples/stations.txt" "$samples/routes.txt" .

printf 'DB=db\n' >kytenv.dat
run sql --create "SELECT TNAME FROM SYSCATLG"
check "catalogue made" 0 "$rc"
$RUNNER "$HELPER" init >/dev/null 2>&1
check "tables made" 0 "$?"

run import stations stations.txt
check "stations: exit" 0 "$rc"
check "stations: output" '25 records of "stations.txt" imported' "$out"
check "stations: quiet" "" "$err"
run import routes routes.txt
check "routes: exit" 0 "$rc"
check "routes: output" '5 records of "routes.txt" imported' "$out"
run sql "SELECT SID, PROTOCOL, PRIORITY, DELAY FROM NK WHERE SID = 'AUTOWERK'"
check "NK rows" "$(printf '%s\n' 'AUTOWERK|T|10|60' 'AUTOWERK|X|20|300')" "$out"
run sql "SELECT NAME, TYPE, LEN, VAL FROM LX WHERE SID = 'AUTOWERK'"
check "LX rows" "$(printf '%s\n' 'NOTE|1|30|gate 4*' 'SENDBLOCKS|4|12|2000' 'VDSNCHAR|1|10|ODETTE')" "$out"
run sql "SELECT SIDORG, VDSN FROM TR WHERE SIDNEIGHB = 'AUTOWERK'"
check "TR rows" "$(printf '%s\n' '*|INVOIC' 'KYTHUB|Drawings.v2')" "$out"

mkdir more
printf 'ST SID=P1 NETID=N1 STATNAME=second\n' >more/2.txt
printf 'ST SID=P1 NETID=N1 STATNAME=first * overwritten by 2.txt\n' >more/1.txt
run import stations more
check "directory: exit" 0 "$rc"
check "directory: files in name order" "$(printf '%s\n' 1.txt 2.txt)" \
  "$(printf '%s\n' "$out" | sed 's/.*more.\(.*\)" imported/\1/')"
run sql "SELECT STATNAME FROM ST WHERE SID = 'P1'"
check "directory: last file wins" "SECOND" "$out"

printf 'ST SID=P2 NETID=N2 STATNAME=X\nST SID=P3 NETID=N3 STATNAME=%s\n' \
  "$(printf 'Y%.0s' $(seq 31))" >long.txt
run import stations long.txt
check "too long: exit" 1 "$rc"
check "too long: messages" "$(printf '%s\n' \
  "store_ST: value of STATNAME is too long for its column (31 characters, at most 30): 'YYYYYYYYYYYYYYYYYYYYYYYYYYYYYYY...'" \
  "line 2 of \"long.txt\" not imported (rc = 17): ST SID=P3 NETID=N3 STATNAME=YYYYYYYYYYYYYYYYYYYYYYYYYYYYYYY")" "$out"
check "too long: code" "kytadm import: failed with code 17" "$err"
run sql "SELECT SID FROM ST WHERE SID = 'P2' OR SID = 'P3'"
check "too long: line before stays" "P2" "$out"

run import stations nothere.txt
check "missing file: exit" 1 "$rc"
check "missing file: message" 'Could not open input file "nothere.txt"' "$out"
run import routes stations.txt
check "station records as routes" 1 "$rc"
check "station records as routes: code" "kytadm import: failed with code 2" "$err"
run import tables stations.txt
check "unknown kind" 2 "$rc"
run import stations
check "no path" 2 "$rc"
run help import
check "help" "usage: kytadm import [-e FILE] stations|routes PATH" "$(printf '%s\n' "$out" | sed -n 1p)"
mkdir other && mv kytenv.dat other/env.dat && printf 'DB=%s\n' "$work/db" >other/env.dat
printf 'RT SIDDEST=P9 SIDNEIGHB=P1 PRIORITY=7\n' >rt.txt
run import -e other/env.dat stations rt.txt
check "-e: exit" 0 "$rc"
run sql -e other/env.dat "SELECT PRIORITY FROM RT WHERE SIDDEST = 'P9'"
check "-e: row" "7" "$out"
finish import_cli
