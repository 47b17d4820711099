# Shared by the command tests: sourced with the command's path as $1.
# Sets COMMAND (absolute), HELPER (the second argument, absolute, when given), RUNNER (KYT_RUNNER, e.g. "wine" for a Windows build), a private
# working directory that is the current one and goes away at exit, and offers:
#   run ARGS...        runs the command; sets rc, out (stdout) and err (stderr), with the
#                      CR of Windows console line ends and wine's own notes taken off
#   check NAME EXPECTED ACTUAL
#   finish NAME        prints "NAME: N passed, N failed" and gives the exit status
set -u
COMMAND=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
HELPER=
if [ -n "${2:-}" ]; then HELPER=$(cd "$(dirname "$2")" && pwd)/$(basename "$2"); fi
RUNNER=${KYT_RUNNER:-}
work=$(mktemp -d "${TMPDIR:-/tmp}/kytcli.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
unset DBG_LVL DBG_TPC DBG_MAXSIZE DBG_NUMLOGS KYTENV

passed=0
failed=0
check() {
  if [ "$2" == "$3" ]; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    printf 'FAIL %s\n  expected: %q\n  actual:   %q\n' "$1" "$2" "$3"
    # What the last run left, wine's own lines included: a program that did not start or
    # ended by a fault says so only there.
    printf '  last run: exit %s; standard error:\n' "${rc:-none}"
    [ -f stderr.txt ] && sed 's/^/    /' stderr.txt | head -20
  fi
}
run() {
  $RUNNER "$COMMAND" "$@" >stdout.txt 2>stderr.txt
  rc=$?
  out=$(tr -d '\r' <stdout.txt)
  err=$(tr -d '\r' <stderr.txt | grep -v -E '^(wine|fixme|err):')
}
finish() {
  printf '%s: %d passed, %d failed\n' "$1" "$passed" "$failed"
  [ "$failed" -eq 0 ]
}
