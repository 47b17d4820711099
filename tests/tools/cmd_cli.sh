#!/usr/bin/env bash
# kytadm cmd as an operator uses it: lines from the arguments and from standard input, the
# rows they write read back with kytadm sql, the first failing line ending the run.
# Usage: cmd_cli.sh PATH-TO-KYTADM PATH-TO-KYTCAL-CLIENT
. "$(dirname "${BASH_SOURCE[0]}")/cli.sh" "$1" "$2"

printf 'DB=db\n' >kytenv.dat
run sql --create "SELECT TNAME FROM SYSCATLG"
check "catalogue made" 0 "$rc"
init=$($RUNNER "$HELPER" init | tr -d '\r')
check "schema and parameters" "init 0 0" "$init"

run cmd 'USER /CREATE UID=op1 NAME="Operator One" PRIV=O LANGUAGE=D'
check "create: exit" 0 "$rc"
check "create: output" "$(printf '%s\n' \
  'I Command executed: USER /CREATE UID=op1 NAME="Operator One" PRIV=O LANGUAGE=D' \
  'command number 1')" "$out"
run sql "SELECT UID, NAMEUSR, PRIVUSR, LANGUAGE FROM BT"
check "create: row" "OP1|Operator One|O|D" "$out"

# The calling user's language.
KYT_USER=op1 run cmd END
check "German: output" "$(printf '%s\n' 'I Befehl ausgeführt: END' 'command number 2')" "$out"
run sql "SELECT VAL FROM PT WHERE NAME = 'FORCEDEND'"
check "END: forced end asked" "1" "$out"

# Several lines from standard input, blank lines skipped.
printf 'SETPARM SLEEP=44\n\nLISTPARM PARM=SLEEP\nOPCMD CMD="STOP XMT"\n' >lines.txt
$RUNNER "$COMMAND" cmd <lines.txt >stdout.txt 2>stderr.txt
rc=$?
out=$(tr -d '\r' <stdout.txt)
check "stdin: exit" 0 "$rc"
check "stdin: output" "$(printf '%s\n' 'I Command executed: SETPARM SLEEP=44' 'command number 3' \
  'KYT Parameter SLEEP = 44' 'I SLEEP = 44' 'I Command executed: OPCMD CMD="STOP XMT"' \
  'command number 4')" "$out"
run sql "SELECT CN, CMDTYPE, STATUS FROM KT WHERE CN > 2"
check "stdin: rows" "$(printf '%s\n' '3|SP|dn' '4|OK|qn')" "$out"

# The first failing line ends the run: the line after it is not run.
run cmd "USER /CREATE UID=OP2 NAME=two" "USER /CREATE UID=OP1 NAME=again" "USER /CREATE UID=OP3 NAME=three"
check "failure: exit" 1 "$rc"
check "failure: output" "$(printf '%s\n' 'I Command executed: USER /CREATE UID=OP2 NAME=two' \
  'command number 5' 'E Command failed (rc = 19): USER /CREATE UID=OP1 NAME=again')" "$out"
check "failure: stderr" "kytadm cmd: USER /CREATE UID=OP1 NAME=again: code 19" "$err"
run sql "SELECT UID FROM BT"
check "failure: rows" "$(printf '%s\n' OP1 OP2)" "$out"

# Parse codes, HELP, PRINT of a file.
run cmd "RECEIVER CMDID=1 SID=X"
check "too few positional" "E Command failed (rc = 6): RECEIVER CMDID=1 SID=X" "$out"
run cmd HELP
check "help: exit" 0 "$rc"
check "help: lists itself" "1" "$(printf '%s\n' "$out" | grep -c '^  HELP ')"
check "help: last verb, then as the message" "2" "$(printf '%s\n' "$out" | grep -c 'OPCMD')"
printf 'first\nsecond\n' >note.txt
run cmd "PRINT /note.txt"
check "print" "$(printf '%s\n' first second 'I Command executed: PRINT /note.txt')" "$out"

# A station file imported, its station taken into service.
samples=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../samples" && pwd)
cp "$samples/stations.txt" stations.txt
run cmd "MODST DSN=stations.txt" "ACTIVATE SID=AUTOWERK"
check "modst: exit" 0 "$rc"
check "modst: message" "I Command executed: MODST DSN=stations.txt" "$(printf '%s\n' "$out" | grep MODST)"
run sql "SELECT SID, FLAGSUSPND FROM NK WHERE SID = 'AUTOWERK'"
check "modst: links" "$(printf '%s\n' 'AUTOWERK|0' 'AUTOWERK|0')" "$out"
run sql "SELECT CMDTYPE FROM KT WHERE CMDTYPE = 'MS' OR CMDTYPE = 'AC'"
check "modst: command rows" "$(printf '%s\n' MS AC)" "$out"
run cmd "MODST DSN=nosuch.txt"
check "modst missing file" 1 "$rc"

# Wrong use.
run cmd -e missing.dat END
check "missing environment" 2 "$rc"
run cmd --frob
check "unknown option" 2 "$rc"
run help cmd
check "help text" "usage: kytadm cmd [-e FILE] [LINE...]" "$(printf '%s\n' "$out" | sed -n 1p)"
finish cmd
