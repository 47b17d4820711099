#!/usr/bin/env bash
# kytadm sends as an operator uses it: an empty station, entries made by a client program
# (one with a second destination, one held, one scheduled), the sender filter, a database
# that cannot be opened and wrong arguments.
# Usage: sends_cli.sh PATH-TO-KYTADM PATH-TO-SEND-CLIENT
. "$(dirname "${BASH_SOURCE[0]}")/cli.sh" "$1" "$2"

client() { $RUNNER "$HELPER" "$@" | tr -d '\r'; }
sql() { $RUNNER "$COMMAND" sql "$@" 2>&1 | tr -d '\r' | grep -v -E '^(wine|fixme|err):'; }
# Date-times to a fixed text of the same width, so that the columns stay as printed.
dates() { sed -E 's#[0-9]{4}/[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}#YYYY/MM/DD hh:mm:ss#g'; }

printf 'DB=db\n' >kytenv.dat
$RUNNER "$COMMAND" sql --create "SELECT TNAME FROM SYSCATLG" >/dev/null 2>&1
check "init" "init 0 0" "$(client init)"
header="CN  STATUS  USER  FROM  TO  VDSN  CREATED  SCHEDULED  DSN"
run sends
check "empty: exit" 0 "$rc"
check "empty: title only" "$header" "$out"

sql "INSERT INTO PT (NAME, TYPE, LEN, VAL) VALUES('LID', 1, 17, 'HOME')" \
    "INSERT INTO ST (SID, NETID, STATNAME) VALUES('HOME', 'N', 'home')" \
    "INSERT INTO ST (SID, NETID, STATNAME) VALUES('PARTNER1', 'N', 'one')" \
    "INSERT INTO ST (SID, NETID, STATNAME) VALUES('P2', 'N', 'two')" >/dev/null
printf 'x\n' >orders.edi
check "first" "cn 1" "$(client create orders.edi PARTNER1 dsnnew=ORDERS)"
check "second" "cn 2" "$(client create orders.edi P2 uid=ANNA 'inittime=2040/01/02 03:04:05')"
check "third" "cn 3" "$(client create orders.edi P2 uid=ANNA)"
check "hold" "set 0" "$(client set 3 1)"
sql "INSERT INTO ET (UID, CID, SIDDEST, CNSE, CNIE, VDSN, CODE, FLAGTSTAMP, FLAGCOMP, FLAGCRYP, STATUSET) VALUES('SYSTEM', 'KYTCAL', 'P2', 1, 0, 'ORDERS', 'A', 0, 0, 0, 'qn')" >/dev/null

run sends
check "list: exit" 0 "$rc"
check "list" "CN  STATUS  USER    FROM  TO           VDSN        CREATED              SCHEDULED            DSN
1   qn      SYSTEM  HOME  PARTNER1 +1  ORDERS      YYYY/MM/DD hh:mm:ss                       orders.edi
2   qn      ANNA    HOME  P2           orders.edi  YYYY/MM/DD hh:mm:ss  YYYY/MM/DD hh:mm:ss  orders.edi
3   ho      ANNA    HOME  P2           orders.edi  YYYY/MM/DD hh:mm:ss                       orders.edi" \
  "$(printf '%s\n' "$out" | dates)"
check "scheduled as given" "2040/01/02 03:04:05" "$(printf '%s\n' "$out" | sed -n 3p | grep -o '2040/01/02 03:04:05')"
run sends -u ANNA
check "filter" "2 3" "$(printf '%s\n' "$out" | sed 1d | cut -c1 | tr '\n' ' ' | sed 's/ $//')"
run sends -u NOBODY
check "filter, none" "$(printf '%s' "$header" | sed 's/  */ /g')" "$(printf '%s' "$out" | sed 's/  */ /g')"

run sends extra
check "operand: exit" 2 "$rc"
run sends -u ABCDEFGHIJKLMNOPQRSTU
check "long uid: exit" 2 "$rc"
printf 'DB=missing/deeper\n' >bad.env
run sends -e bad.env
check "no database: exit" 1 "$rc"
check "no database: message" "kytadm sends: the send entries could not be read (code -3)" "$err"
finish "sends"
