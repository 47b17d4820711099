#!/usr/bin/env bash
# kytadm listen as an operator uses it: records and notifications sent from the shell (bash's
# /dev/tcp and /dev/udp) on ports the system chose, printed one a line; what is not a record
# or a notification named on standard error; the arguments it refuses.
# Usage: listen_cli.sh PATH-TO-KYTADM
. "$(dirname "${BASH_SOURCE[0]}")/cli.sh" "$1"

run listen --help
check "help: exit" 0 "$rc"
check "help: names the ready line" 1 "$(printf '%s\n' "$out" | grep -c 'records on port P, notifications on port Q')"
run listen -n 0
check "count 0: exit" 2 "$rc"
printf 'PORT=abc\n' >bad.env
run listen -e bad.env -n 1
check "bad port: exit" 2 "$rc"
check "bad port: message" "kytadm listen: PORT or AGENT_PORT is not a port number" "$err"

printf 'PORT=0 AGENT_PORT=0\n' >kytenv.dat
$RUNNER "$COMMAND" listen -e kytenv.dat -n 4 >listen.out 2>listen.err &
lpid=$!
P= Q=
for _ in $(seq 300); do
  line=$(tr -d '\r' <listen.err | grep 'records on port' || true)
  if [ -n "$line" ]; then
    P=$(printf '%s' "$line" | sed 's/.*records on port \([0-9]*\),.*/\1/')
    Q=$(printf '%s' "$line" | sed 's/.*notifications on port \([0-9]*\).*/\1/')
    break
  fi
  kill -0 "$lpid" 2>/dev/null || break
  sleep 0.2
done
check "ports named" 1 "$([ -n "$P" ] && [ -n "$Q" ] && echo 1)"

# Two records in one connection, the first with a line break and junk before it; a record
# of 265 bytes (length byte 9) on a second connection; a notification; a datagram that is no
# notification.
long=$(printf 'b%.0s' $(seq 256))
{ printf 'xx\x7e\x10\x00\x00\x00\x00ML\x01one\ntwo'
  printf '\x7e\x0c\x00\x00\x00\x00M\x01\x01abc'; } >"/dev/tcp/127.0.0.1/$P"
sleep 0.5
printf '\x7e\x09\x00\x00\x00\x00TD\x01%s' "$long" >"/dev/tcp/127.0.0.1/$P"
sleep 0.5
printf 'junk' >"/dev/udp/127.0.0.1/$Q"
sleep 0.5
printf '%s' '<?xml version="1.0" encoding="UTF-8"?><message><notification> <type>LogMessage</type><time>0</time><oid>O1&amp;2</oid><logtext>E a&lt;b&#10;c</logtext></notification></message>' \
  >"/dev/udp/127.0.0.1/$Q"

for _ in $(seq 300); do
  kill -0 "$lpid" 2>/dev/null || break
  sleep 0.2
done
if kill -0 "$lpid" 2>/dev/null; then
  kill "$lpid"
  lrc=124
else
  wait "$lpid"
  lrc=$?
fi
check "listen: exit" 0 "$lrc"
got=$(tr -d '\r' <listen.out | cut -d' ' -f3-)
check "lines" "$(printf '%s\n' 'M L one two' 'M \x01 abc' "T D $long" 'agent LogMessage O1&2 E a<b c')" "$got"
check "dates" 4 "$(tr -d '\r' <listen.out | grep -c -E '^[0-9]{4}/[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} ')"
errs=$(tr -d '\r' <listen.err | grep -v -E 'records on port|^(wine|fixme|err):')
check "stderr" "$(printf '%s\n' 'kytadm listen: 2 bytes skipped before a record' \
  'kytadm listen: a datagram of 4 bytes is no notification')" "$errs"
finish listen_cli
