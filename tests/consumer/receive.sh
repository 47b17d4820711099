#!/usr/bin/env bash
# The resident receive entry calls from a C client built against the installed package, the
# rows read back with kytadm sql, and kytadm receives on them.
# Usage: receive.sh PATH-TO-RECEIVE-CLIENT PATH-TO-KYTADM
. "$(dirname "${BASH_SOURCE[0]}")/../tools/cli.sh" "$1" "$2"
CLIENT=$COMMAND

printf 'DB=db\n' >kytenv.dat
$RUNNER "$HELPER" sql --create "SELECT TNAME FROM SYSCATLG" >/dev/null 2>&1
run init
check "init" "init 0 0" "$out"
COMMAND=$HELPER
run sql "INSERT INTO ST VALUES('PARTNER1', 'N1', 'First', '', '')" \
  ";INSERT INTO BT VALUES('ADMIN', 'Admin', 'A', '', 'E', '', '')" \
  ";INSERT INTO BT VALUES('PLAIN', 'Plain', 'U', '', 'E', '', '')"
check "rows: exit" 0 "$rc"
COMMAND=$CLIENT
run run
check "client: exit" 0 "$rc"
check "client: output" "$(printf '%s\n' 'user 0' 'create 0 1' 'again 19' 'long vdsn -5' \
  'station 13' 'orders 0' 'replace 0 1' 'entry ORDERS PARTNER1 N ADMIN' \
  'entry INVOICE PARTNER1 N ACC1' 'end -1' 'old 14' 'delete 0' 'user plain 0' 'privilege 18')" "$out"
COMMAND=$HELPER
run sql "SELECT CN, VDSN, REPLACE, DISP, UIDCREATOR, COMMENTRE FROM RE"
check "RE rows" "$(printf '%s\n' '1|INVOICE|N|D|ADMIN|from C' '2|ORDERS|N|K|ADMIN|' \
  '3|INVOICE|N|K|ADMIN|')" "$out"
run sql "SELECT CN, CMDTYPE, STATUS, PRIORITY, DELETEDBY, XIDDELETED FROM KT"
check "KT rows" "$(printf '%s\n' '1|RE|dn|1|U|ADMIN' '2|RE|dn|1|U|ADMIN' '3|RE|pn|1||')" "$out"
run receives
check "receives: exit" 0 "$rc"
check "receives: table" "$(printf '%s\n' \
  'CMDID  VDSN     SENDER    REPLACE  DISP  DSNLOCAL  JOB  ACCOUNT  CREATOR  COMMENT' \
  '3      INVOICE  PARTNER1  N        K     -         -    ACC1     ADMIN    -')" "$out"
finish receive
