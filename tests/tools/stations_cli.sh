#!/usr/bin/env bash
# kytadm stations on a database of three stations written by the stations client.
# Usage: stations_cli.sh PATH-TO-KYTADM PATH-TO-STATIONS-CLIENT
. "$(dirname "${BASH_SOURCE[0]}")/cli.sh" "$1" "$2"

printf 'DB=db\n' >kytenv.dat
$RUNNER "$COMMAND" sql --create "SELECT TNAME FROM SYSCATLG" >/dev/null 2>&1
$RUNNER "$HELPER" init >/dev/null && $RUNNER "$HELPER" write >/dev/null
check "stations written" 0 "$?"
run stations
check "no LID: exit" 1 "$rc"
check "no LID: message" "kytadm stations: 12 parameter LID missing (or the database could not be read)" "$err"
run sql "INSERT INTO PT VALUES('LID', 1, 17, 'HUB')"
check "LID set" 0 "$rc"

run stations
check "all: exit" 0 "$rc"
check "all: output" "$(printf '%s\n' \
  'SID    TYPE     ODETTEID    NAME          LINKS  TCPIP           VIA' \
  'HUB    local                our station' \
  'PARIS  partner  O0013PARIS  Paris office  T      192.0.2.9:3305' \
  'ROME   partner              Rome          X*                     PARIS')" "$out"
run stations rome
check "one: exit" 0 "$rc"
check "one: output" "$(printf '%s\n' 'SID   TYPE     ODETTEID  NAME  LINKS  TCPIP  VIA' \
  'ROME  partner            Rome  X*            PARIS')" "$out"
run stations NOPE
check "missing: exit" 1 "$rc"
check "missing: message" "kytadm stations: no station NOPE" "$err"
run stations A B
check "two ids" 2 "$rc"
run stations SEVENTEENCHARID17
check "17 characters" 2 "$rc"
run stations "$(printf 'RO\tME')"
check "control character: exit" 2 "$rc"
check "control character: message" "kytadm stations: a station id has 1 to 16 printable characters" \
  "$(printf '%s\n' "$err" | sed -n 1p)"
printf 'DB=%s/nowhere/db\n' "$work" >other.dat
run stations -e other.dat
check "no database: exit" 1 "$rc"
run help stations
check "help" "usage: kytadm stations [-e FILE] [SID]" "$(printf '%s\n' "$out" | sed -n 1p)"
finish stations_cli
