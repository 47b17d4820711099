#!/usr/bin/env bash
# A station process and kytadm listen as two programs: the C client opens the log-writer
# channel and sends notifications; kytadm listen, started first on ports the system
# chooses, prints what arrives.
# Usage: logwriter.sh PATH-TO-LOGWRITER-CLIENT PATH-TO-KYTADM
. "$(dirname "${BASH_SOURCE[0]}")/../tools/cli.sh" "$1" "$2"

# Starts kytadm listen in the background with `count` lines to print; sets lpid, P and Q.
start_listen() {
  printf 'PORT=0 AGENT_PORT=0\n' >listen.env
  $RUNNER "$HELPER" listen -e listen.env -n "$1" >listen.out 2>listen.err &
  lpid=$!
  P= Q=
  for _ in $(seq 300); do
    line=$(tr -d '\r' <listen.err | grep 'records on port' || true)
    if [ -n "$line" ]; then
      P=$(printf '%s' "$line" | sed 's/.*records on port \([0-9]*\),.*/\1/')
      Q=$(printf '%s' "$line" | sed 's/.*notifications on port \([0-9]*\).*/\1/')
      return 0
    fi
    kill -0 "$lpid" 2>/dev/null || break
    sleep 0.2
  done
  return 1
}
# Waits up to 60 s for kytadm listen to end; sets lrc (124 when it had to be stopped).
end_listen() {
  for _ in $(seq 300); do
    kill -0 "$lpid" 2>/dev/null || break
    sleep 0.2
  done
  if kill -0 "$lpid" 2>/dev/null; then
    kill "$lpid"
    wait "$lpid"
    lrc=124
  else
    wait "$lpid"
    lrc=$?
  fi
}

printf 'DB=db\n' >kytenv.dat
$RUNNER "$HELPER" sql -e kytenv.dat --create "SELECT TNAME FROM SYSCATLG" >/dev/null 2>&1
check "catalogue made" 0 "$?"

start_listen 8
check "listen started" 0 "$?"
mkdir -p init
printf 'setparm NOSUCHNAME=1\n' >init/rdmini.dat
printf 'DB=db INIT=init SERVER=127.0.0.1 PORT=%s AGENT_SERVER=127.0.0.1 AGENT_PORT=%s DBLOG=Y LANGUAGE=E\n' \
  "$P" "$Q" >kytenv.dat
export KYTENV=kytenv.dat
run
check "client: exit" 0 "$rc"
check "client: steps" "$(printf '%s\n' 'tables 0' 'write-closed 0' 'open 0' 'params 0' \
  'write 0' 'write-typed 0' 'insert 0' 'set 0' 'start 0' 'message 0' 'stop 0' 'close 0' \
  'write-after 0')" "$out"
end_listen
check "listen: exit" 0 "$lrc"
# Records of one connection keep their order; notifications come on their own way: each
# kind is compared in order, without the date-time. (The parameter written by rpdprm goes
# through the table module, not through rpdsql: it is no database-log record.)
got=$(tr -d '\r' <listen.out | cut -d' ' -f3-)
check "records" "$(printf '%s\n' 'C L I OK_READ Command read: setparm NOSUCHNAME=1' \
  'C L E OK_INVALID_SYNTAX Command refused (rc = 12): setparm NOSUCHNAME=1' \
  'C L hello from C' 'C X A B' \
  "C D INSERT INTO PT(NAME,TYPE,LEN,VAL) VALUES('LID',1,26,'O0013TEST<&>')")" \
  "$(printf '%s\n' "$got" | grep '^C ')"
check "notifications" "$(printf '%s\n' 'agent Start O0013TEST<&>' \
  "agent LogMessage O0013TEST<&> E it's <&> \"bad\"" 'agent Stop O0013TEST<&>')" \
  "$(printf '%s\n' "$got" | grep '^agent ')"
check "listen: nothing else" 8 "$(printf '%s\n' "$got" | grep -c -E '^(C|agent) ')"
check "listen: quiet" "" "$(tr -d '\r' <listen.err | grep -v -E 'records on port|^(wine|fixme|err):')"
finish logwriter
