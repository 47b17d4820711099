#!/usr/bin/env bash
# Runs the real kytadm binary. Usage: kytadm_test.sh PATH-TO-KYTADM PATH-TO-KYT_MKDB
# KYT_RUNNER (for example "wine") runs a Windows build; then paths use "\" and the default
# installation directory is C:\KYT.
. "$(dirname "${BASH_SOURCE[0]}")/cli.sh" "$1" "$2"
if [ -n "$RUNNER" ]; then sep='\'; install='C:\KYT'; else sep=/; install=/opt/kyt; fi

line() { printf '%s\n' "$out" | grep -E "^$1 +=" ; }

: >empty.env
run env -e empty.env
check "empty file: exit" 0 "$rc"
check "empty file: heading" "$(printf '\nList of environment values:\n---------------------------')" "$(printf '%s\n' "$out" | head -3)"
check "empty file: entries" 58 "$(printf '%s\n' "$out" | grep -c " = '")"
check "empty file: PATH" "PATH                 = '$install'" "$(line PATH)"
check "empty file: DSN_DIAG" "DSN_DIAG             = '$install${sep}TRACEDIR${sep}diag.log'" "$(line DSN_DIAG)"
check "empty file: DSN_DIA_LOG" "DSN_DIA_LOG          = 'rlb.log'" "$(line DSN_DIA_LOG)"
check "empty file: first entry" "DSN_KYTENV           = 'empty.env'" "$(printf '%s\n' "$out" | sed -n 4p)"

printf 'LANGUAGE=deutsch SYSTEM=%s\nUSRADDR="a b"\n' "${install}${sep}S" >site.env
run env -e site.env
check "overrides: exit" 0 "$rc"
check "overrides: LANGUAGE" "LANGUAGE             = 'D'" "$(line LANGUAGE)"
check "overrides: DSN_PGM" "DSN_PGM              = '$install${sep}S${sep}%s.exe'" "$(line DSN_PGM)"
check "overrides: site setting" "USRADDR              = 'a b'" "$(line USRADDR)"

printf 'DB=a DB=b\n' >twice.env
run env -e twice.env
check "setting twice: exit" 1 "$rc"
check "setting twice: message" "kytadm env: environment file is not valid 'twice.env' (code 4)" "$err"
run env -e missing.env
check "missing file: exit" 1 "$rc"
check "missing file: message" "kytadm env: cannot read environment file 'missing.env' (code 99)" "$err"
check "missing file: stdout quiet" "" "$out"
run env
check "no kytenv.dat here: exit" 1 "$rc"
cp empty.env kytenv.dat
run env
check "kytenv.dat of the current directory" "DSN_KYTENV           = 'kytenv.dat'" "$(line DSN_KYTENV)"
KYTENV=site.env run env
check "KYTENV names the file" "LANGUAGE             = 'D'" "$(line LANGUAGE)"

run env -x
check "unknown option: exit" 2 "$rc"
run --help
check "--help: exit" 0 "$rc"
check "--help lists env" 1 "$(printf '%s\n' "$out" | grep -c '^  kytadm env \[-e FILE\]$')"
run help env
check "help env: exit" 0 "$rc"
check "help env: usage line" "usage: kytadm env [-e FILE]" "$(printf '%s\n' "$out" | head -1)"
run nosuch
check "unknown subcommand: exit" 2 "$rc"
run
check "no subcommand: exit" 2 "$rc"


# --- check --------------------------------------------------------------------------------
MKDB=$HELPER
mkdir db
$RUNNER "$MKDB" db/KT 60 && $RUNNER "$MKDB" db/ST 5
check "sample databases made" 0 "$?"
printf 'DB=db\n' >check.env
run check -e check.env
check "check: exit" 0 "$rc"
check "check: one line per database" "$(printf 'db%sKT.DB: ok\ndb%sST.DB: ok' "$sep" "$sep")" "$out"
run check db/KT
check "check by name: exit" 0 "$rc"
check "check by name: line" "db/KT: ok" "$out"
# The first record's length word (the data file header is 8 bytes and "NAME", "CITY").
printf '\x7f' | dd of=db/KT.DB bs=1 seek=21 conv=notrunc 2>/dev/null
run check db/KT.DB db/ST.DB
check "damaged: exit" 1 "$rc"
check "damaged: named" "db/KT.DB: damaged" "$(printf '%s\n' "$out" | head -1)"
check "damaged: the sound one still ok" 1 "$(printf '%s\n' "$out" | grep -c '^db/ST.DB: ok$')"
run check db/NONE
check "missing database: exit" 1 "$rc"
run check -x
check "check: unknown option" 2 "$rc"
run check -e missing.env
check "check: no environment file" 2 "$rc"

finish kytadm
