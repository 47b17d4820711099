#!/usr/bin/env bash
# The stop requests from outside: a C client of the exported functions, then the client as
# a station monitor that kytadm finds running and stops.
# Usage: stopreq.sh PATH-TO-STOPREQ-CLIENT PATH-TO-KYTADM
. "$(dirname "${BASH_SOURCE[0]}")/../tools/cli.sh" "$1" "$2"
export TMPDIR=$work  # the POSIX named objects of this run stay in its directory
mkdir -p DB
printf 'PATH=.\n' >kytenv.dat

run check
check "C client: exit" 0 "$rc"
check "C client: output" "check ok" "$out"

$RUNNER "$COMMAND" mon >mon.out 2>/dev/null &
mon=$!
for _ in $(seq 600); do grep -q running mon.out 2>/dev/null && break; sleep 0.1; done
COMMAND=$HELPER
run status
check "monitor runs" "monitor      KYTMON running" "$(printf '%s\n' "$out" | grep '^monitor')"
run stop mon
check "stop: exit" 0 "$rc"
wait "$mon"
check "monitor: exit" 0 "$?"
check "monitor saw the stop" "$(printf 'running\nstop 98')" "$(tr -d '\r' <mon.out)"
run status
check "monitor gone" "monitor      KYTMON not running" "$(printf '%s\n' "$out" | grep '^monitor')"
finish stopreq
