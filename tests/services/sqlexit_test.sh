#!/usr/bin/env bash
# A C client that ends with work open, run as its own process: cursors left declared (one
# with a row, one whose DECLARE found none) and an uncommitted insert, ended by returning
# from main and by exit(). Each run must end with status 0 and all its output; afterwards a
# new process finds the uncommitted row rolled back.
# Usage: sqlexit_test.sh PATH-TO-SQLEXIT PATH-TO-KYTADM
. "$(dirname "${BASH_SOURCE[0]}")/../tools/cli.sh" "$1" "$2"

printf 'DB=db\n' >kytenv.dat
$RUNNER "$HELPER" sql --create "SELECT TNAME FROM SYSCATLG" >/dev/null 2>&1
check "catalogue made" 0 "$?"
run make
check "make: exit" 0 "$rc"
check "make: output" "made" "$out"

for how in return exit; do
  run cursors "$how"
  check "cursors left open, $how: exit" 0 "$rc"
  check "cursors left open, $how: output" "$(printf 'declared 1 one\ndeclared none\nend')" "$out"
  check "cursors left open, $how: quiet" "" "$err"
  run uncommitted "$how"
  check "uncommitted insert, $how: exit" 0 "$rc"
  check "uncommitted insert, $how: output" "$(printf 'inserted\nend')" "$out"
  run count
  check "uncommitted insert, $how: rolled back" "rows 1" "$out"
done
$RUNNER "$HELPER" check db/EX >/dev/null 2>&1
check "table sound after all" 0 "$?"
finish sqlexit
