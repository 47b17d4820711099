#!/usr/bin/env bash
# The sample client samples/sendfile.c on a new station database.
# Usage: sendfile.sh PATH-TO-SENDFILE PATH-TO-KYTADM PATH-TO-SEND-CLIENT
. "$(dirname "${BASH_SOURCE[0]}")/../tools/cli.sh" "$1" "$2"
send_client=$(dirname "$COMMAND")/send$(case "$COMMAND" in *.exe) echo .exe;; esac)

printf 'DB=db\n' >kytenv.dat
$RUNNER "$HELPER" sql --create "SELECT TNAME FROM SYSCATLG" >/dev/null 2>&1
check "catalogue made" 0 "$?"
check "init" "init 0 0" "$($RUNNER "$send_client" init | tr -d '\r')"
$RUNNER "$HELPER" sql "INSERT INTO PT (NAME, TYPE, LEN, VAL) VALUES('LID', 1, 17, 'HOME')" \
  "INSERT INTO ST (SID, NETID, STATNAME) VALUES('PARTNER1', 'N', 'one')" >/dev/null 2>&1
printf 'orders\n' >orders.edi

run orders.edi partner1 ORDERS
check "sendfile: exit" 0 "$rc"
check "sendfile: output" "entry 1 created
entry 1 status qn to PARTNER1 as ORDERS from orders.edi" "$out"
run orders.edi partner1
check "second entry" "entry 2 created
entry 2 status qn to PARTNER1 as orders.edi from orders.edi" "$out"
run missing.edi PARTNER1
check "refused: exit" 1 "$rc"
check "refused: message" "sendfile: SEND: DSN missing.edi is no readable file" "$err"
run orders.edi
check "usage" 2 "$rc"
finish "sendfile"
