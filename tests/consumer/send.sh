#!/usr/bin/env bash
# The send entry calls from a C client built against the installed package: entries made,
# refused, listed, held, released and deleted, and the rows read back with kytadm sql.
# Usage: send.sh PATH-TO-SEND-CLIENT PATH-TO-KYTADM
. "$(dirname "${BASH_SOURCE[0]}")/../tools/cli.sh" "$1" "$2"

sql() { $RUNNER "$HELPER" sql "$@" 2>&1 | tr -d '\r' | grep -v -E '^(wine|fixme|err):'; }

printf 'DB=db\n' >kytenv.dat
$RUNNER "$HELPER" sql --create "SELECT TNAME FROM SYSCATLG" >/dev/null 2>&1
check "catalogue made" 0 "$?"
run init
check "init" "init 0 0" "$out"
sql "INSERT INTO PT (NAME, TYPE, LEN, VAL) VALUES('LID', 1, 17, 'HOME')" \
    "INSERT INTO ST (SID, NETID, STATNAME) VALUES('HOME', 'N', 'home')" \
    "INSERT INTO ST (SID, NETID, STATNAME) VALUES('P1', 'N', 'one')" \
    "INSERT INTO OP (SID, ODETTEID, PSWFROM, PSWTO, FLAGCOMP, FLAGCRYP) VALUES('P1', 'O0013P1', 'A', 'B', 0, 0)" >/dev/null
printf 'payload\n' >out.dat

run create out.dat P1 label=first dsnnew=ORDERS disp=D format=T
check "create" "cn 1" "$out"
check "create: rows" "1|SE|qn" "$(sql "SELECT CN, CMDTYPE, STATUS FROM KT")"
check "create: SE" "1|SYSTEM|HOME|first|1" "$(sql "SELECT CN, UIDSENDER, SIDSENDER, SEUSRLABEL, CNTSK FROM SE")"
check "create: VD" "1|out.dat|T|D" "$(sql "SELECT CN, DSNLOCAL, RECFM, DISP FROM VD")"
check "create: ET" "1|P1|ORDERS|qn" "$(sql "SELECT CNSE, SIDDEST, VDSN, STATUSET FROM ET")"

run create out.dat "" oiddest=O0013P1 uid=ANNA 'inittime=2040/01/01 00:00:00'
check "OIDDEST alone" "cn 2" "$out"
run create out.dat P1 'label=a b'
check "blank in an unquoted field" "rc -4 kytCreateSendEntry: invalid character in a value." "$out"
run create out.dat 'P1) (SID=P2'
check "parenthesis in SID" "rc -4 kytCreateSendEntry: invalid character in a value." "$out"
run create out.dat P1 'dsnnew=X" LABEL="y'
check "double quote in DSNNEW" "rc -4 kytCreateSendEntry: invalid character in a value." "$out"
run create missing.dat P1
check "no such file" "rc -4 SEND: DSN missing.dat is no readable file" "$out"
run create out.dat NOBODY
check "unknown station" "rc -4 SEND: unknown station NOBODY" "$out"
check "refusals write nothing" "1
2" "$(sql "SELECT CN FROM KT")"

run list
check "list" "1 qn SYSTEM HOME>P1+0 ORDERS T D
2 qn ANNA HOME>P1+0 out.dat U K scheduled
end -1" "$out"
run list ANNA
check "list of one sender" "2 qn ANNA HOME>P1+0 out.dat U K scheduled
end -1" "$out"

run set 1 1
check "hold" "set 0" "$out"
check "hold: row" "ho|U|SYSTEM" "$(sql "SELECT STATUS, HELDBY, XIDHELD FROM KT WHERE CN = 1")"
run set 1 1
check "hold twice" "set 14" "$out"
run set 1 4
check "action 4" "set 99" "$out"
run errors
check "errors walk" "1 ho held=U fk=0:
2 qn held= fk=0:
end -1" "$out"
run set 1 2
check "release" "set 0" "$out"
run set 2 3
check "delete" "set 0" "$out"
check "delete: rows" "1|qn
2|de" "$(sql "SELECT CN, STATUS FROM KT")"
check "delete: ET" "de" "$(sql "SELECT STATUSET FROM ET WHERE CNSE = 2")"

run plain out.dat P1
check "the other calls" "plain 0 0 0 6 7 8 -5 -4 0 -5 0" "$out"
check "their labels" "one two three four five six" \
  "$(sql "SELECT SEUSRLABEL FROM SE WHERE CN > 2" | tr '\n' ' ' | sed 's/ $//')"
check "VFTYP and MAXRECL of the second" "4|F|80" "$(sql "SELECT CN, VFTYP, MAXRECL FROM VD WHERE CN = 4")"
finish "send"
