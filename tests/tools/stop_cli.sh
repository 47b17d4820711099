#!/usr/bin/env bash
# kytadm status and kytadm stop against the stand-in transmitter.
# Usage: stop_cli.sh PATH-TO-KYTADM PATH-TO-KYT_FAKEXMT
. "$(dirname "${BASH_SOURCE[0]}")/cli.sh" "$1" "$2"
# Named objects of POSIX go to the private directory; PATH=. becomes this directory, made
# absolute, so DB and every name formed from it are this run's own.
export TMPDIR=$work
mkdir -p DB
printf 'PATH=. TEMP=.\n' >kytenv.dat

status_line() { printf '%s\n' "$out" | grep -E "^$1 " ; }

run status -e kytenv.dat
check "status: exit" 0 "$rc"
check "status: lines" 3 "$(printf '%s\n' "$out" | wc -l | tr -d ' ')"
check "status: monitor" "monitor      KYTMON not running" "$(status_line monitor)"
check "status: transmitter" "transmitter  KYTXMT not running" "$(status_line transmitter)"
check "status: log writer" "log writer   KYTLGW not running" "$(status_line 'log writer')"

run stop -e kytenv.dat xmt
check "stop, nothing runs: exit" 1 "$rc"
check "stop, nothing runs: message" "kytadm stop: the transmitter (KYTXMT) is not running" "$err"
run stop -e kytenv.dat lgw --end
check "--end for the log writer: exit" 2 "$rc"
check "--end for the log writer: message" "kytadm stop: --end is for xmt only" "$(printf '%s\n' "$err" | head -1)"
run stop -e kytenv.dat
check "no process: exit" 2 "$rc"
run stop -e kytenv.dat xmt mon
check "two processes: exit" 2 "$rc"
run stop -e kytenv.dat kytxmt
check "unknown process: message" "kytadm stop: unknown process 'kytxmt'" "$(printf '%s\n' "$err" | head -1)"
run status -e missing.dat
check "status, no environment file: exit" 2 "$rc"

# The transmitter, started as the monitor starts it, told to stop and then to end.
start_xmt() {
  rm -f xmt.args
  $RUNNER "$HELPER" /ekytenv.dat >/dev/null 2>&1 &
  xmt=$!
  for _ in $(seq 600); do [ -s xmt.args ] && return 0; sleep 0.1; done
  return 1
}
wait_xmt() {
  for _ in $(seq 300); do kill -0 "$xmt" 2>/dev/null || break; sleep 0.1; done
  wait "$xmt"
}
if start_xmt; then
  run status -e kytenv.dat
  check "running: transmitter" "transmitter  KYTXMT running" "$(status_line transmitter)"
  check "running: monitor" "monitor      KYTMON not running" "$(status_line monitor)"
  run stop -e kytenv.dat mon
  check "stop the monitor that does not run: exit" 1 "$rc"
  run stop -e kytenv.dat xmt
  check "stop: exit" 0 "$rc"
  check "stop: message" "stop request set for the transmitter (KYTXMT)" "$out"
  wait_xmt
  check "stop: transmitter saw the stop" S "$(cat xmt.rec)"
  run status -e kytenv.dat
  check "stopped: transmitter" "transmitter  KYTXMT not running" "$(status_line transmitter)"
else
  check "transmitter started" yes no
fi
if start_xmt; then
  run stop -e kytenv.dat xmt --end
  check "end: exit" 0 "$rc"
  check "end: message" "end request set for the transmitter (KYTXMT)" "$out"
  wait_xmt
  check "end: transmitter saw the end" SE "$(cat xmt.rec)"
else
  check "transmitter started again" yes no
fi
# Nothing of this run is left in the run directory but what the stand-in's kill-free ends
# removed: no lock file, no FIFO.
check "no lock file left" 0 "$(ls kyt.run 2>/dev/null | grep -c '^sem\.')"
check "no pipe left" 0 "$(ls kyt.run 2>/dev/null | grep -c '^pipe\.')"
finish stop_cli
