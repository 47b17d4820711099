#!/usr/bin/env bash
# The sample client samples/liststations.c against a station written by the stations client
# built beside it.
# Usage: liststations.sh PATH-TO-LISTSTATIONS PATH-TO-KYTADM
. "$(dirname "${BASH_SOURCE[0]}")/../tools/cli.sh" "$1" "$2"
client=$(dirname "$COMMAND")/stations${COMMAND##*liststations}

printf 'DB=db\n' >kytenv.dat
$RUNNER "$HELPER" sql --create "SELECT TNAME FROM SYSCATLG" >/dev/null 2>&1
$RUNNER "$client" init >/dev/null && $RUNNER "$client" write >/dev/null
check "stations written" 0 "$?"
$RUNNER "$HELPER" sql "INSERT INTO PT VALUES('LID', 1, 17, 'HUB')" >/dev/null 2>&1
run
check "exit" 0 "$rc"
check "output" "$(printf '%-16s %-7s %-25s\n' HUB local - PARIS partner O0013PARIS ROME partner - |
  sed -e '2s/$/ T/' -e '3s/$/ X/')" "$out"
finish liststations
