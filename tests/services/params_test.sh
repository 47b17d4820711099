#!/usr/bin/env bash
# The parameter service from outside: a C client of the exported functions on a new
# database, then kytadm params as an operator uses it.
# Usage: params_test.sh PATH-TO-PARAMS-CLIENT PATH-TO-KYTADM
. "$(dirname "${BASH_SOURCE[0]}")/../tools/cli.sh" "$1" "$2"

printf 'DB=db\n' >kytenv.dat
$RUNNER "$HELPER" sql --create "SELECT TNAME FROM SYSCATLG" >/dev/null 2>&1
check "catalogue made" 0 "$?"
run init
check "init" "init 0 0" "$out"
run check
check "C client: exit" 0 "$rc"
check "C client: output" "$(printf '%s\n' 'get maxrecl 0 99999' 'get NUMRLOGS 0 0' \
  'get VDSNCHAR 0 ODETTE' 'get DTCONN04 12 20' 'opset empty 16' 'opset 0 17' 'verb 8' \
  'list KYTMODE' 'list TESTMODE' 'list KYTENV' 'list ALL 5 1' 'cch 4' 'cch action 8' 'ch 8')" "$out"

COMMAND=$HELPER
run params get maxrecl
check "get: exit" 0 "$rc"
check "get: value" "99999" "$out"
run params get NUMRLOGS
check "get NOLIMIT" "0" "$out"
run params set sleep=12
check "set: exit" 0 "$rc"
check "set: quiet" "" "$out$err"
run params get SLEEP
check "set: written" "12" "$out"
run params list SLEEP
check "list one" "KYT Parameter SLEEP = 12" "$out"
run params
check "list all: exit" 0 "$rc"
check "list all: first" "KYT Parameter KYTMODE = n" "$(printf '%s\n' "$out" | sed -n 1p)"
check "list all: second" "KYT Parameter TESTMODE = 0" "$(printf '%s\n' "$out" | sed -n 2p)"
check "list all: third" "KYT Parameter KYTENV = " "$(printf '%s\n' "$out" | sed -n 3p | cut -c1-23)"
check "list all: rows" "KYT Parameter VFTYP = V" "$(printf '%s\n' "$out" | grep 'VFTYP')"
run params get NOSUCHNAME
check "missing: exit" 1 "$rc"
check "missing: message" "kytadm params: 12 no such parameter (or the database could not be read)" "$err"
run params set SLEEP=
check "empty value: exit" 1 "$rc"
check "empty value: message" "kytadm params: 16 value not acceptable" "$err"
run params set KYTMODE=x
check "bad mode" 1 "$rc"
run params frob
check "unknown action" 2 "$rc"
run params get
check "get without name" 2 "$rc"
run help params
check "help" "usage: kytadm params [-e FILE] [list [NAME|ALL]] | get NAME | set NAME=VALUE" \
  "$(printf '%s\n' "$out" | sed -n 1p)"
printf 'DB=%s\n' "$work/db" >other.dat
mv kytenv.dat moved.dat
run params -e other.dat get SLEEP
check "-e: value" "12" "$out"
finish params
