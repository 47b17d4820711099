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
check "sql without catalogue: message" "kytadm sql: statement 1 \"CREATE TABLE PT (NAME CHAR(20) NOT NULL, TYPE S...\": the database could not be found or opened (24200002)" "$err"
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
check "sql duplicate: message" "kytadm sql: statement 1 \"INSERT INTO PT VALUES('SITE', 1, 1, 'x')\": table PT: duplicate key (256086)" "$err"
run sql -e sql.env "SELECT COUNT FROM PT"
check "sql unknown column: exit" 1 "$rc"
check "sql unknown column: message" "kytadm sql: statement 1 \"SELECT COUNT FROM PT\": table PT: no column COUNT in the table (256085)" "$err"
run sql -e sql.env "SELEC NAME FROM PT"
check "sql syntax error" "kytadm sql: statement 1 \"SELEC NAME FROM PT\": syntax error at 'SELEC' (line 1, column 1)" "$err"
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
check "sql catalogue refused: message" "kytadm sql: statement 1 \"DELETE FROM SYSCATLG\": table SYSCATLG: catalogue tables are changed only by CREATE and DROP statements (256098)" "$err"
long=$(printf "DELETE FROM PT WHERE NAME = '%05000d'" 0)
run sql -e sql.env "$long"
check "sql statement too long" "kytadm sql: statement 1 \"DELETE FROM PT WHERE NAME = '000000000000000000...\": statement longer than 4095 characters (99)" "$err"
run sql --bogus
check "sql: unknown option" 2 "$rc"


# --- item by item: what an operator meets ---------------------------------------------------
# Errors name the statement (number, shortened text), the table, the reason; syntax errors
# of both parsers read alike, with the line and column where reading stopped.
printf 'SELECT NAME FROM PT WHERE NAME = %s;\n\n  SELECT NAME\n  FROM PT WHERE (LEN = 1;\nSELECT NAME FROM PT\n' "'SITE'" >syntax.sql
run sql -e sql.env <syntax.sql
check "script syntax error: exit" 1 "$rc"
check "script syntax error: statement, line and column" "kytadm sql: statement 2 \"SELECT NAME FROM PT WHERE (LEN = 1\": syntax error at the end of the statement (line 4, column 25)" "$err"
check "script syntax error: earlier statements ran, later ones not" "SITE" "$out"
run sql -e sql.env "SELECT NAME FROM PT" "SELEC NAME FROM PT"
check "interface syntax error" "kytadm sql: statement 2 \"SELEC NAME FROM PT\": syntax error at 'SELEC' (line 1, column 1)" "$err"
run sql -e sql.env "SELECT FROM PT"
check "executor syntax error reads the same" "kytadm sql: statement 1 \"SELECT FROM PT\": syntax error at 'FROM' (line 1, column 8)" "$err"
run sql -e sql.env "DELETE FROM NOPE"
check "unknown table named" "kytadm sql: statement 1 \"DELETE FROM NOPE\": table NOPE: no such table (256083)" "$err"
run sql -e sql.env "CREATE TABLE PT (A SMALLINT)"
check "existing table named" "kytadm sql: statement 1 \"CREATE TABLE PT (A SMALLINT)\": table PT: the table exists already (256083)" "$(printf '%s\n' "$err" | tail -1)"
run sql -e sql.env "DROP TABLE SYSTEM.SYSCOLS"
check "catalogue drop refused in words" "kytadm sql: statement 1 \"DROP TABLE SYSTEM.SYSCOLS\": table SYSCOLS: catalogue tables cannot be dropped (256083)" "$err"
run sql -e sql.env "UPDATE PT SET VAL = 'a very long value that makes the statement text longer' WHERE NAME = 'none' OR NOSUCH = 1"
check "long statement shortened, column named" "kytadm sql: statement 1 \"UPDATE PT SET VAL = 'a very long value that mak...\": table PT: no column NOSUCH in the table (256085)" "$err"

# A SELECT whose output waits for its reader: with KYTLISTCURSOR=1 the table is free meanwhile,
# without it the table is held until the rows are printed. 3000 rows of 100 bytes are more
# than a pipe holds, so the printing kytadm waits for the reader while the table is tried.
{
  echo "CREATE TABLE BIG (K INTEGER NOT NULL, T CHAR(101));"
  echo "SET AUTOCOMMIT OFF;"
  t=$(printf '%0100d' 0)
  for k in $(seq 1 3000); do echo "INSERT INTO BIG VALUES($k, '$t');"; done
  echo "COMMIT WORK"
} >big.sql
run sql -e sql.env <big.sql
check "big table made" 0 "$rc"
mkfifo big.fifo
for mode in 1 2; do
  KYTLISTCURSOR=$mode $RUNNER "$COMMAND" sql -e sql.env "SELECT K, T FROM BIG" >big.fifo 2>/dev/null &
  printer=$!
  exec 3<big.fifo
  IFS= read -r first <&3
  run sql -e sql.env "INSERT INTO BIG VALUES(0, 'meanwhile')" "DELETE FROM BIG WHERE K = 0"
  if [ $mode == 1 ]; then
    check "list mode: the table is free while its rows print" "0 " "$rc $err"
  else
    check "stable mode: the table is held while its rows print" "1 kytadm sql: statement 1 \"INSERT INTO BIG VALUES(0, 'meanwhile')\": table BIG: table locked by another process (256120)" "$rc $err"
  fi
  rest=$(tr -d '\r' <&3 | wc -l)
  exec 3<&-
  wait $printer
  printed=$?
  check "KYTLISTCURSOR=$mode: every row printed" "0 1|0000 2999" "$printed ${first:0:6} $((rest))"
done
KYTLISTCURSOR=7 run sql -e sql.env "SELECT K FROM BIG WHERE K = 1"
check "KYTLISTCURSOR=7 refused" "2 kytadm sql: KYTLISTCURSOR=7 is no cursor mode (1 or 2)" "$rc $err"
run sql -e sql.env "DROP TABLE BIG"

# Environment file faults are named in every subcommand.
mkdir dir.env
printf 'DB=x\n\001\002\033\n' >junk.env
printf 'DB=x\nUSRADDR="a b\n' >quote.env
for sub in env sql check; do
  run $sub -e dir.env
  check "$sub: a directory as the file" "kytadm $sub: dir.env: a directory, not an environment file (code 99)" "$err"
  run $sub -e quote.env
  check "$sub: unclosed quote" "kytadm $sub: quote.env:2: quote not closed on its line: USRADDR=\"a b (code 99)" "$err"
  run $sub -e twice.env
  check "$sub: a setting twice" "kytadm $sub: twice.env:1: DB given twice (first on line 1): DB=b (code 4)" "$err"
  run $sub -e bad.env
  check "$sub: a line without =" "kytadm $sub: bad.env:3: a setting must be NAME=value: FOO (code 99)" "$err"
  run $sub -e junk.env
  check "$sub: binary junk named, shown without control bytes" "kytadm $sub: junk.env:2: a setting must be NAME=value: \\x01\\x02\\x1b (code 99)" "$err"
  run $sub -e
  check "$sub -e without a file: exit" 2 "$rc"
  check "$sub -e without a file: said" "kytadm $sub: option -e needs a file name (-e FILE)" "$(printf '%s\n' "$err" | head -1)"
  run $sub --help
  check "$sub --help: usage line" 1 "$(printf '%s\n' "$out" | head -1 | grep -c "^usage: kytadm $sub \[-e FILE\]")"
done
run --version
check "--version" "kytadm kyt" "$(printf '%s\n' "$out" | cut -c1-10)"

# check: a missing directory is a usage error, an empty one says so; DBNAME as for sql.
printf 'DB=nodir\n' >nodir.env
run check -e nodir.env
check "check missing directory: exit" 2 "$rc"
check "check missing directory: said" "kytadm check: the database directory 'nodir' does not exist" "$err"
mkdir emptydb
printf 'DB=emptydb\n' >emptydb.env
run check -e emptydb.env
check "check empty directory: exit" 0 "$rc"
check "check empty directory: said" "emptydb: no databases (no *.DB file) to check" "$out"
printf 'DB=nodir\nDBNAME=sqldb\n' >dbname.env
run check -e dbname.env
check "check DBNAME: exit" 0 "$rc"
check "check DBNAME: the sql database" "sqldb${sep}PT.DB: ok" "$(printf '%s\n' "$out" | head -1)"
run sql -e dbname.env "SELECT NAME FROM PT WHERE NAME = 'SITE'"
check "sql DBNAME: same database" "SITE" "$out"
cp sqldb/PT.DB hdr.DB && cp sqldb/PT.IDX hdr.IDX
printf '\000\000' | dd of=hdr.DB bs=1 seek=0 conv=notrunc 2>/dev/null
run check hdr
check "damaged header: what to look at" "  cannot open: Isam data file possibly corrupted: the header of hdr.DB (field count and first record offset in bytes 0 to 3, then the field names) is not valid" "$(printf '%s\n' "$out" | sed -n 2p)"

# A pipe that waits: each statement runs when its ";" arrives.
{
  printf "SELECT NAME FROM PT WHERE NAME = 'SITE';\n"
  for _ in $(seq 100); do grep -q SITE piped.txt 2>/dev/null && break; sleep 0.1; done
  if grep -q SITE piped.txt 2>/dev/null; then echo early >order.txt; else echo late >order.txt; fi
  printf "SELECT NAME FROM PT WHERE NAME = 'MAXSESS'"
} | $RUNNER "$COMMAND" sql -e sql.env >piped.txt 2>/dev/null
check "pipe: first row before the input ends" "early" "$(cat order.txt)"
check "pipe: both rows" "$(printf 'SITE\nMAXSESS')" "$(tr -d '\r' <piped.txt)"
# At a terminal: a prompt, and an error does not end the shell.
if [ -z "$RUNNER" ] && command -v script >/dev/null; then
  printf "SELEC 1;\nSELECT NAME FROM PT WHERE NAME = 'SITE';\n" >tty.sql
  script -qec "stty -echo; KYTENV=sql.env $COMMAND sql" /dev/null <tty.sql >tty.txt 2>&1
  check "terminal: prompt" yes "$(grep -q '^kytadm> ' tty.txt && echo yes)"
  check "terminal: goes on after an error" 1 "$(tr -d '\r' <tty.txt | grep -c 'SITE$')"
  check "terminal: the error said" 1 "$(grep -c 'syntax error at' tty.txt)"
fi

# SELECT *, .tables, .schema, empty statements, plain decimals.
run sql -e sql.env "CREATE TABLE FL (ID SMALLINT NOT NULL, X FLOAT, NOTE CHAR(8))" ";;INSERT INTO FL VALUES(1, 1.5, 'a');; INSERT INTO FL VALUES(2, -0.25, NULL);"
check "empty statements in arguments: exit" 0 "$rc"
printf ';;\nSELECT *\n  FROM FL;;\n;\n.tables\n.schema FL\n' >star.sql
run sql -e sql.env <star.sql
check "empty statements on input: exit" 0 "$rc"
check "SELECT *, plain decimals, .tables, .schema" "$(printf '1|1.5|a\n2|-0.25|\nFL\nPT\nCREATE TABLE FL (ID SMALLINT NOT NULL, X FLOAT, NOTE CHAR(8));')" "$out"
run sql -e sql.env ".schema PT"
check ".schema with the primary index" "$(printf 'CREATE TABLE PT (NAME CHAR(20) NOT NULL, TYPE SMALLINT NOT NULL, LEN INTEGER NOT NULL, VAL CHAR(40) NOT NULL);\nCREATE UNIQUE INDEX PRIM_PT ON PT (NAME);')" "$out"
run sql -e sql.env "SELECT * FROM NOPE"
check "SELECT * of an unknown table" "kytadm sql: statement 1 \"SELECT * FROM NOPE\": table NOPE: no such table (256083)" "$err"
run sql -e sql.env ".schema NOPE"
check ".schema of an unknown table" "kytadm sql: .schema: no table NOPE" "$err"

finish kytadm
