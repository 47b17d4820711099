#!/usr/bin/env bash
# The batch command entry from a C client on a new database, its rows read back with
# kytadm sql.
# Usage: kytcal.sh PATH-TO-KYTCAL-CLIENT PATH-TO-KYTADM
. "$(dirname "${BASH_SOURCE[0]}")/../tools/cli.sh" "$1" "$2"

printf 'DB=db\n' >kytenv.dat
$RUNNER "$HELPER" sql --create "SELECT TNAME FROM SYSCATLG" >/dev/null 2>&1
check "catalogue made" 0 "$?"
run init
check "init" "init 0 0" "$out"
run check
check "check: exit" 0 "$rc"
check "check: output" "$(printf '%s\n' \
  'create 0 I numbered Command executed: USER /CREATE UID=client NAME="C client"' \
  'cut 0 Command 48 x' 'again 19 E 0' 'KYT Parameter MAXRECL = 99999' 'listparm 0 I MAXRECL = 99999' 'bad -5 -5')" "$out"
run run 'OPCMD CMD="STOP XMT"' "PRINT /a /b"
check "run: output" "$(printf '%s\n' '0 I 3 Command executed: OPCMD CMD="STOP XMT"' \
  '5 E 0 Command failed (rc = 5): PRINT /a /b')" "$out"

COMMAND=$HELPER
run sql "SELECT UID, NAMEUSR, PRIVUSR FROM BT"
check "user row" "CLIENT|C client|O" "$out"
run sql "SELECT CN, CMDTYPE, STATUS FROM KT"
check "command rows" "$(printf '%s\n' '1|US|dn' '2|US|dn' '3|OK|qn')" "$out"
run sql "SELECT CN, TEXTOK FROM OK"
check "operator command" "3|STOP XMT" "$out"
finish kytcal
