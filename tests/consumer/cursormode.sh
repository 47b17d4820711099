#!/usr/bin/env bash
# The cursor modes from a C client built against the installed package: while the client
# walks TT in the list mode (KYTLISTCURSOR=1, snapshot) another process writes TT and the
# walk goes on over the rows as they were; in the normal mode (stable, the default) the
# other process finds TT locked until the cursor is closed. A value that is no mode is -5.
# Usage: cursormode.sh PATH-TO-CURSORMODE-CLIENT PATH-TO-KYTADM
. "$(dirname "${BASH_SOURCE[0]}")/../tools/cli.sh" "$1" "$2"
CLIENT=$COMMAND

printf 'DB=db\n' >kytenv.dat
$RUNNER "$HELPER" sql --create "SELECT TNAME FROM SYSCATLG" >/dev/null 2>&1
run init
check "init" "init 0 0 0 0" "$out"

# One line from the client, without the CR of a Windows console.
next_line() {
  local line=
  IFS= read -r -t 60 line <&"${CL[0]}"
  printf '%s' "${line%$'\r'}"
}
write_tt() {  # KEY: inserts a TT row from another process; its exit code
  $RUNNER "$HELPER" sql "INSERT INTO TT VALUES('$1', 'w')" >/dev/null 2>&1
  echo $?
}

coproc CL { KYTLISTCURSOR=1 $RUNNER "$CLIENT" walk 2>/dev/null; }
pid=$CL_PID  # bash forgets CL_PID once the client has ended
check "list: first row" "list 0 first 0 a" "$(next_line)"
check "list: the table is free" 0 "$(write_tt b2)"
echo go >&"${CL[1]}"
check "list: the rows as declared" "rest b c close 0" "$(next_line)"
check "normal: first row" "normal 0 first 0 a" "$(next_line)"
check "normal: the table is held" 1 "$(write_tt b3)"
echo go >&"${CL[1]}"
check "normal: the rows as they are" "rest b b2 c close 0" "$(next_line)"
wait "$pid"
check "walk: exit" 0 "$?"
check "after the walk" 0 "$(write_tt b3)"

for value in 0 3 x " 1x"; do
  COMMAND=$CLIENT KYTLISTCURSOR=$value run walk </dev/null
  check "KYTLISTCURSOR='$value'" "list -5" "$(printf '%s\n' "$out" | head -1)"
done
finish cursormode
