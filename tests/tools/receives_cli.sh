#!/usr/bin/env bash
# kytadm receives as an operator uses it: entries written as rows, listed in aligned columns.
# Usage: receives_cli.sh PATH-TO-KYTADM
. "$(dirname "${BASH_SOURCE[0]}")/cli.sh" "$1"

printf 'DB=db\n' >kytenv.dat
run sql --create "SELECT TNAME FROM SYSCATLG"
run sql "CREATE TABLE RE (CN INTEGER NOT NULL, UIDLOCAL CHAR(21) NOT NULL, VDSN CHAR(27) NOT NULL,
  UIDSENDER CHAR(21) NOT NULL, SIDSENDER CHAR(17) NOT NULL, DSNLOCAL CHAR(255), REPLACE CHAR(2)
  NOT NULL, DISP CHAR(2) NOT NULL, FLAGTSTAMP SMALLINT NOT NULL, PRINTDEF CHAR(2), BATCHJOB
  CHAR(255), UIDCREATOR CHAR(21) NOT NULL, ACCTRECVR CHAR(21) NOT NULL, COMMENTRE CHAR(51),
  DTLASTUSED INTEGER, VFTYP CHAR(2), CODETRANS CHAR(2), CODETABLE CHAR(255), FLAGCOMP SMALLINT
  NOT NULL, FLAGCRYP SMALLINT NOT NULL)" \
  ";CREATE UNIQUE INDEX PRIM_RE ON RE (CN)" \
  ";CREATE TABLE KT (CN INTEGER NOT NULL, CMDTYPE CHAR(3) NOT NULL, STATUS CHAR(3) NOT NULL)" \
  ";CREATE UNIQUE INDEX PRIM_KT ON KT (CN)"
check "tables" 0 "$rc"
run receives
check "empty: exit" 0 "$rc"
check "empty: heading only" \
  "CMDID  VDSN  SENDER  REPLACE  DISP  DSNLOCAL  JOB  ACCOUNT  CREATOR  COMMENT" "$out"
run sql "INSERT INTO RE VALUES(4, '*', 'INVOICES', '*', 'PARTNER1', '/srv/in/inv.dat', 'R', 'K',
  0, '', '', 'ADMIN', 'ACC', 'monthly invoices', 0, '', '', '', 0, 0)" \
  ";INSERT INTO RE VALUES(9, '*', 'A', '*', 'P2', '', 'N', 'D', 0, '', '/bin/job', 'OPERATOR',
  'OPERATOR', '', 0, '', '', '', 0, 0)" \
  ";INSERT INTO RE VALUES(2, '*', 'GONE', '*', 'P2', '', 'N', 'K', 0, '', '', 'X', 'X', '', 0,
  '', '', '', 0, 0)" \
  ";INSERT INTO RE VALUES(5, '*', 'SENDENTRY', '*', 'P2', '', 'N', 'K', 0, '', '', 'X', 'X', '',
  0, '', '', '', 0, 0)" \
  ";INSERT INTO KT VALUES(4, 'RE', 'pn')" ";INSERT INTO KT VALUES(9, 'RE', 'pn')" \
  ";INSERT INTO KT VALUES(2, 'RE', 'dn')" ";INSERT INTO KT VALUES(5, 'SE', 'pn')"
check "rows" 0 "$rc"
run receives
check "list: exit" 0 "$rc"
check "list: active entries in aligned columns" "$(printf '%s\n' \
  'CMDID  VDSN      SENDER    REPLACE  DISP  DSNLOCAL         JOB       ACCOUNT   CREATOR   COMMENT' \
  '4      INVOICES  PARTNER1  R        K     /srv/in/inv.dat  -         ACC       ADMIN     monthly invoices' \
  '9      A         P2        N        D     -                /bin/job  OPERATOR  OPERATOR  -')" "$out"
run receives extra
check "operand: exit" 2 "$rc"
run help receives
check "help" "usage: kytadm receives [-e FILE]" "$(printf '%s\n' "$out" | sed -n 1p)"
mv kytenv.dat moved.dat
run receives
check "no environment file: exit" 2 "$rc"
run receives -e moved.dat
check "-e: exit" 0 "$rc"
finish receives_cli
