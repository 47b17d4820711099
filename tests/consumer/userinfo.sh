#!/usr/bin/env bash
# Parameters, settings, user information and the client's registration from a C client built
# against the installed package; the rows read back with kytadm sql.
# Usage: userinfo.sh PATH-TO-USERINFO-CLIENT PATH-TO-KYTADM
. "$(dirname "${BASH_SOURCE[0]}")/../tools/cli.sh" "$1" "$2"
CLIENT=$COMMAND

printf 'DB=db\nLANGUAGE=D\n' >kytenv.dat
$RUNNER "$HELPER" sql --create "SELECT TNAME FROM SYSCATLG" >/dev/null 2>&1
run init
check "init" "init 0 0" "$out"
COMMAND=$HELPER
run sql "INSERT INTO RI VALUES(1, 'mon', 'M', 10, 0, 64, 'N')"
check "monitor row" 0 "$rc"
COMMAND=$CLIENT
run run
check "client: exit" 0 "$rc"
check "client: output" "$(printf '%s\n' 'calinit 0' 'maxrecl 0 MAXRECL 4 12 99999' 'name20 -5' \
  'write 0' 'write unknown 12' 'walk -1 1' 'conf0 12 conf14 12' 'conf2 0 db' 'set 0 1024' \
  'get 0 4 vvvv' 'next alpha 5' 'next note 1024' 'next end -1' 'delete 0 -1' 'touch -5' \
  'mwinit 0' 'forced 0' 'error -1' 'uninit 0')" "$out"
COMMAND=$HELPER
run sql "SELECT VAL FROM PT WHERE NAME = 'SLEEP'"
check "parameter written" "45" "$out"
run sql "SELECT KYTID, PTYPE, FLGFLUSH FROM RI"
check "monitor flagged, client registered" "$(printf '%s\n' '1|M|68' '2|W|0')" "$out"
COMMAND=$CLIENT
KYT_USER=clerk7 run mw
check "registration undone, caller named" "mwinit 0 mwuninit 0 again 0 user 0 CLERK7" "$out"
COMMAND=$HELPER
run sql "SELECT KYTID, PTYPE FROM RI"
check "no row left by it" "$(printf '%s\n' '1|M' '2|W')" "$out"
run sql "SELECT KEY FROM TT"
check "user info rows" "note" "$out"
finish userinfo
