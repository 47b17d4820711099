#!/usr/bin/env bash
# Database administration from a C client of the exported functions: a new database, a dump
# that loads back unchanged after deleting and making the database again, the dump in three
# groups, the partial dumps, null arguments.
# Usage: dbadmin.sh PATH-TO-DBADMIN-CLIENT PATH-TO-KYTADM
. "$(dirname "${BASH_SOURCE[0]}")/../tools/cli.sh" "$1" "$2"

printf 'PATH=. DB=db TEMP=tmp TRACEDIR=trc\n' >kytenv.dat
run init
check "init: rc" "rc 0" "$(printf '%s\n' "$out" | tail -1)"
check "init: done" "msg: I INIT_DONE" "$(printf '%s\n' "$out" | grep INIT_DONE)"
run version
check "version" "version kytXP" "$(printf '%s\n' "$out" | head -1 | cut -c1-13)"
run null
check "null arguments" "null -5 -5 -5 -5" "$(printf '%s\n' "$out" | head -1)"

$RUNNER "$HELPER" sql "INSERT INTO BT (UID, NAMEUSR, PRIVUSR, LANGUAGE) VALUES('U1', 'x\"y z%', 'O', 'D')" \
  >/dev/null 2>&1
check "user added" 0 "$?"
run dump d1.dmp
check "dump: rc" "rc 0" "$(printf '%s\n' "$out" | tail -1)"
check "dump: rows counted" "rows $(tail -n +3 d1.dmp | wc -l | tr -d ' ')" \
  "$(printf '%s\n' "$out" | grep '^rows')"
check "dump: user line" 'BT UID="U1" NAMEUSR="x%22y z%25" PRIVUSR="O" PROFSESS="" LANGUAGE="D" PASSWORD="" USERSID=""' \
  "$(grep '^BT UID="U1"' d1.dmp)"
run groups g.dmp
check "groups: rc" "rc 0" "$(printf '%s\n' "$out" | tail -1)"
check "groups: the dump without header" "$(tail -n +3 d1.dmp)" "$(cat g.dmp)"
run ru ru.dmp
check "ru: header" "* Dump of KYT resident receive entries and users" "$(head -1 ru.dmp)"
check "ru: users" 2 "$(grep -c '^BT ' ru.dmp)"
run stations s.dmp
check "stations: header" "* Dump of StationEntries at: " "$(head -1 s.dmp | cut -c1-29)"

run delete
check "delete: rc" "rc 0" "$(printf '%s\n' "$out" | tail -1)"
check "delete: gone" "" "$(ls db | grep -i '\.db$')"
run init
check "init again" "rc 0" "$(printf '%s\n' "$out" | tail -1)"
run write d1.dmp
check "write: rc" "rc 0" "$(printf '%s\n' "$out" | tail -1)"
check "write: done" "msg: I RECOVER_DONE" "$(printf '%s\n' "$out" | grep RECOVER_DONE)"
run dump d2.dmp
check "loaded back unchanged" "$(tail -n +3 d1.dmp)" "$(tail -n +3 d2.dmp)"
run group1 g.dmp
check "rpdbw1: rc" "rc 0" "$(printf '%s\n' "$out" | tail -1)"
run groups23 g.dmp
check "rpdbw2, rpdbw3: rc" "rc 0" "$(printf '%s\n' "$out" | tail -1)"
run dump d3.dmp
check "groups loaded back unchanged" "$(tail -n +3 d1.dmp)" "$(tail -n +3 d3.dmp)"
run partial p
check "partial dumps: rc" "rc 0" "$(printf '%s\n' "$out" | tail -1)"
check "parameters: every PT row" "$(grep -c '^PT ' d1.dmp)" "$(grep -c '^PT ' p.1)"
check "users: every BT row" "$(grep -c '^BT ' d1.dmp)" "$(grep -c '^BT ' p.2)"
check "receive entries: RE only" "0" "$(grep -v '^\*' p.3 | grep -v '^$' | grep -vc '^RE ' || true)"
check "jobs: JS only" "0" "$(grep -v '^\*' p.4 | grep -v '^$' | grep -vc '^JS ' || true)"
run write missing.dmp
check "write missing: rc" "rc 2" "$(printf '%s\n' "$out" | tail -1)"
check "write missing: message" "msg: E DATASET_NOT_EXIST" "$(printf '%s\n' "$out" | grep DATASET)"
finish dbadmin
