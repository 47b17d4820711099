#!/usr/bin/env bash
# kytadm initdb, dump, load, deletedb and version as an operator uses them: a database made
# with the sample station table, a dump that loads back into a new database unchanged,
# refused lines, the question before deleting.
# Usage: dbadmin_cli.sh PATH-TO-KYTADM
samples=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../samples" && pwd)
. "$(dirname "${BASH_SOURCE[0]}")/cli.sh" "$1"

mkdir init
cp "$samples/stations.txt" init/rdstat.dat
printf 'PATH=. DB=db TEMP=tmp TRACEDIR=trc INIT=init\n' >kytenv.dat

run initdb
check "initdb: exit" 0 "$rc"
check "initdb: first step" "I CREATING_DATABASE Creating database" "$(printf '%s\n' "$out" | head -1 | cut -c1-37)"
check "initdb: station table" "I INIT_TABLES Initialising station tables" "$(printf '%s\n' "$out" | grep INIT_TABLES)"
check "initdb: done" "I INIT_DONE Database initialisation done" "$(printf '%s\n' "$out" | grep INIT_DONE)"
check "initdb: no own id yet" "E UNDEFINED_LID The station's own identifier (LID) is not defined" "$(printf '%s\n' "$out" | tail -1)"
run sql "SELECT SID FROM ST WHERE SID = 'AUTOWERK'"
check "initdb: stations imported" "AUTOWERK" "$out"
run initdb
check "initdb again: refused" 1 "$rc"

run version
check "version: exit" 0 "$rc"
check "version: database line" "database " "$(printf '%s\n' "$out" | sed -n 2p | cut -c1-9)"

run sql "INSERT INTO TT (KEY, TEXT) VALUES('k1', 'a\"b ''c'' * = 100%')"
check "row with quotes" 0 "$rc"
run dump d1.dmp
check "dump: exit" 0 "$rc"
check "dump: header" "* Dump of KYT database" "$(head -1 d1.dmp | cut -c1-22)"
check "dump: escaped line" "TT KEY=\"k1\" TEXT=\"a%22b 'c' * = 100%25\"" "$(grep '^TT ' d1.dmp)"
check "dump: tables reported" "I TABLE_WRITTEN Table LD written" "$(printf '%s\n' "$out" | grep 'Table LD')"

run dump --parameters --no-time p.dmp
check "dump --parameters: header" "* Dump of Parameter " "$(head -1 p.dmp)"
check "dump --parameters: only PT" "" "$(tail -n +3 p.dmp | grep -v '^PT ')"
run dump --stations --users x.dmp
check "dump: two kinds" 2 "$rc"
run dump
check "dump: no file" 2 "$rc"

echo n | $RUNNER "$COMMAND" deletedb >stdout.txt 2>stderr.txt
check "deletedb not confirmed: exit" 1 "$?"
check "deletedb not confirmed: kept" yes "$([ -f db/KT.DB ] && echo yes)"
mkdir -p tmp trc
printf x >tmp/a.tmp
printf x >trc/t.log
run deletedb --yes
check "deletedb: exit" 0 "$rc"
check "deletedb: tables gone" "" "$(ls db | grep -i -E '\.(db|idx|hol)$')"
check "deletedb: temp emptied" "" "$(ls tmp)"
check "deletedb: logs gone" "" "$(ls trc)"
run version
check "version without database" 1 "$rc"

rm init/rdstat.dat
run initdb
check "initdb after delete" 0 "$rc"
run load d1.dmp
check "load: exit" 0 "$rc"
check "load: done" "I RECOVER_DONE Database recovered from d1.dmp" "$(printf '%s\n' "$out" | tail -1)"
run dump d2.dmp
check "second dump equals the first" "$(tail -n +3 d1.dmp)" "$(tail -n +3 d2.dmp)"

printf '* x\n\nRT SIDDEST="A" SIDNEIGHB="B" PRIORITY="1"\nRT SIDDEST="A" BOGUS="1"\n' >bad.dmp
run load bad.dmp
check "bad line: exit" 1 "$rc"
check "bad line: named" "E RECOVER_ERROR Error in line 4 of bad.dmp: INVALID_COLNAME BOGUS" \
  "$(printf '%s\n' "$out" | grep RECOVER_ERROR)"
run sql "SELECT SIDDEST FROM RT WHERE SIDDEST = 'A'"
check "bad line: nothing loaded" "" "$out"
run load missing.dmp
check "missing file: exit" 1 "$rc"
check "missing file: message" "E DATASET_NOT_EXIST File missing.dmp does not exist" \
  "$(printf '%s\n' "$out" | grep DATASET_NOT_EXIST)"

finish dbadmin_cli
