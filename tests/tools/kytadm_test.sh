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
check "setting twice: message" "kytadm env: twice.env:1: DB given twice (first on line 1): DB=b (code 4)" "$err"
run env -e missing.env
check "missing file: exit" 1 "$rc"
check "missing file: message" "kytadm env: missing.env: cannot open the environment file (code 99)" "$err"
# What a user writes naturally is taken; what is still refused is named with its line.
printf '# site settings\nDBPSW=\n  # indented comment\nDB=/data(old) LANGUAGE=\n' >natural.env
run env -e natural.env
check "natural file: exit" 0 "$rc"
check "natural file: empty value" "DBPSW                = ''" "$(line DBPSW)"
check "natural file: parentheses" "DB                   = '/data(old)'" "$(line DB)"
check "natural file: empty keyword keeps its default" "LANGUAGE             = 'E'" "$(line LANGUAGE)"
printf 'DB=x\n\nFOO\n' >bad.env
run env -e bad.env
check "bad line: exit" 1 "$rc"
check "bad line: message" "kytadm env: bad.env:3: a setting must be NAME=value: FOO (code 99)" "$err"
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

# sql: a new database, statements from the arguments and from standard input.
printf 'DB=sqldb\n' >sql.env
run sql -e sql.env "CREATE TABLE PT (NAME CHAR(20) NOT NULL, TYPE SMALLINT NOT NULL, LEN INTEGER NOT NULL, VAL CHAR(40) NOT NULL)"
check "sql without catalogue: exit" 1 "$rc"
check "sql without catalogue: message" "kytadm sql: 24200002 the database could not be found or opened" "$err"
run sql -e sql.env --create "CREATE TABLE PT (NAME CHAR(20) NOT NULL, TYPE SMALLINT NOT NULL, LEN INTEGER NOT NULL, VAL CHAR(40) NOT NULL)" "CREATE UNIQUE INDEX PRIM_PT ON PT (NAME)"
check "sql --create: exit" 0 "$rc"
check "sql --create: quiet" "" "$out$err"
cat >script.sql <<'SQL'
INSERT INTO PT VALUES('MAXSESS', 4, 4, '8');
insert into pt (name, type, len, val) VALUES('SITE', 1, 20, 'a;b''c');
INSERT INTO PT (NAME, TYPE, LEN, VAL) VALUES('NEG', 8, -3, '');
SELECT NAME, TYPE, LEN, VAL FROM PT WHERE TYPE <> 8;
SELECT NAME FROM PT WHERE NAME LIKE '%S%' ORDER BY NAME DESC
SQL
run sql -e sql.env <script.sql
check "sql script: exit" 0 "$rc"
check "sql script: rows" "$(printf 'MAXSESS|4|4|8\nSITE|1|20|a;b'"'"'c\nSITE\nMAXSESS')" "$out"
run sql -e sql.env "INSERT INTO PT VALUES('SITE', 1, 1, 'x')" "DELETE FROM PT"
check "sql duplicate: exit" 1 "$rc"
check "sql duplicate: message" "kytadm sql: 256086 duplicate key" "$err"
run sql -e sql.env "SELECT COUNT FROM PT"
check "sql unknown column: exit" 1 "$rc"
check "sql unknown column: message" "kytadm sql: 256085 invalid column name" "$err"
run sql -e sql.env "SELEC NAME FROM PT"
check "sql syntax error" "kytadm sql: 24201001 syntax error" "$err"
run sql -e sql.env "SELECT NAME FROM PT WHERE LEN < 0"
check "sql negative values" "NEG" "$out"
run check sqldb${sep}PT.DB
check "sql leaves a sound table" "sqldb${sep}PT.DB: ok" "$out"
printf "SET AUTOCOMMIT OFF; INSERT INTO PT VALUES('OPEN', 1, 1, 'x'); SELECT NAME FROM PT WHERE NAME = 'OPEN'" >open.sql
run sql -e sql.env <open.sql
check "sql uncommitted at the end: exit" 1 "$rc"
check "sql uncommitted at the end: said" "kytadm sql: uncommitted work was rolled back" "$err"
check "sql uncommitted at the end: seen meanwhile" "OPEN" "$out"
run sql -e sql.env "SELECT NAME FROM PT WHERE NAME = 'OPEN'"
check "sql uncommitted at the end: rolled back" "" "$out"
run sql -e sql.env "SET AUTOCOMMIT OFF" "INSERT INTO PT VALUES('DONE', 1, 1, 'x')" "COMMIT WORK" "SELECT NAME FROM PT WHERE NAME = 'DONE'"
check "sql committed: exit" 0 "$rc"
check "sql committed: quiet" "" "$err"
check "sql committed: kept" "DONE" "$out"
run sql -e sql.env "DELETE FROM SYSCATLG"
check "sql catalogue refused: exit" 1 "$rc"
check "sql catalogue refused: message" "kytadm sql: 256098 catalogue tables are changed only by CREATE and DROP statements" "$err"
long=$(printf "DELETE FROM PT WHERE NAME = '%05000d'" 0)
run sql -e sql.env "$long"
check "sql statement too long" "kytadm sql: 99 statement longer than 4095 characters" "$err"
run sql --bogus
check "sql: unknown option" 2 "$rc"

finish kytadm
