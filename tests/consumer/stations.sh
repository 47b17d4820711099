#!/usr/bin/env bash
# The station list from outside: a C client of the exported functions writes, lists and
# deletes stations on a new database; the rows are read back with kytadm sql.
# Usage: stations.sh PATH-TO-STATIONS-CLIENT PATH-TO-KYTADM
. "$(dirname "${BASH_SOURCE[0]}")/../tools/cli.sh" "$1" "$2"

sql() { $RUNNER "$HELPER" sql "$@" 2>&1 | tr -d '\r'; }
printf 'DB=db\n' >kytenv.dat
$RUNNER "$HELPER" sql --create "SELECT TNAME FROM SYSCATLG" >/dev/null 2>&1
check "catalogue made" 0 "$?"
run init
check "init" "init 0 0" "$out"
$RUNNER "$HELPER" sql "INSERT INTO PT VALUES('LID', 1, 17, 'HUB')" >/dev/null 2>&1
check "LID set" 0 "$?"

run write
check "write: exit" 0 "$rc"
check "write: output" "$(printf '%s\n' 'update HUB 0' 'update PARIS 0' 'update ROME 0' \
  'refused -5 -5 -5')" "$out"
check "ST rows" "$(printf '%s\n' 'HUB|our station' 'PARIS|Paris office' 'ROME|Rome')" \
  "$(sql "SELECT SID, STATNAME FROM ST")"
check "NK rows" "$(printf '%s\n' 'PARIS|F|T|5|0' 'ROME|F|X|5|1')" \
  "$(sql "SELECT SID, FTP, PROTOCOL, PRIORITY, FLAGSUSPND FROM NK")"
check "OP row, upper-cased" "PARIS|O0013PARIS|PFROM|PTO|1" \
  "$(sql "SELECT SID, ODETTEID, PSWFROM, PSWTO, FLAGCOMP FROM OP")"
check "RT row" "ROME|PARIS|1" "$(sql "SELECT SIDDEST, SIDNEIGHB, PRIORITY FROM RT")"
check "TC row" "PARIS|T|192.0.2.9|3305|1" "$(sql "SELECT SID, PROTOCOL, INADDR, PORT, RCV_N FROM TC")"
check "LX row" "PARIS|MAXRECL|4|4|2048" "$(sql "SELECT SID, NAME, TYPE, LEN, VAL FROM LX")"

run list
check "list: exit" 0 "$rc"
check "list: output" "$(printf '%s\n' 'init 0' 'HUB 1 nk=0 rt=0 op=- tc=- lx=-' \
  'PARIS 0 nk=1 rt=0 op=O0013PARIS tc=192.0.2.9 lx=2048' 'ROME 0 nk=1 rt=1 op=- tc=- lx=-' \
  'end -1' 'head walk 3' 'after last -1' 'bad ids -5 -5 -5' 'missing 13' 'refresh 0' \
  'free 0 1')" "$out"

sql "INSERT INTO RI VALUES(7, 'monitor', 'M', 42, 0, 2, 'N'); INSERT INTO RI VALUES(8, 'xmt', 'X', 43, 0, 0, 'N')" >/dev/null
run undo PARIS
check "delete in the client's transaction, rolled back" "undo 0 0 0 0" "$out"
check "ST after the rollback" "$(printf '%s\n' 'HUB' 'PARIS' 'ROME')" "$(sql "SELECT SID FROM ST")"
check "OP after the rollback" "PARIS" "$(sql "SELECT SID FROM OP")"
run delete PARIS
check "delete: output" "$(printf '%s\n' 'delete 0' 'wake 0')" "$out"
check "ST after delete" "$(printf '%s\n' 'HUB' 'ROME')" "$(sql "SELECT SID FROM ST")"
check "NK after delete" "ROME" "$(sql "SELECT SID FROM NK")"
check "OP, TC, LX after delete" "" "$(sql "SELECT SID FROM OP; SELECT SID FROM TC; SELECT SID FROM LX")"
check "routes via it stay" "ROME|PARIS" "$(sql "SELECT SIDDEST, SIDNEIGHB FROM RT")"
check "monitors marked" "$(printf '%s\n' '7|66' '8|0')" "$(sql "SELECT KYTID, FLGFLUSH FROM RI")"
run delete "SEVENTEENCHARID17"
check "delete: bad id" "$(printf '%s\n' 'delete -5' 'wake 0')" "$out"
finish stations
