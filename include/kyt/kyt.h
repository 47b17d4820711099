/*
 * kyt.h - the C interface of libkyt, the core library of the kyt OFTP station.
 *
 * Every function here is plain C with C linkage and is exported from libkyt.so / kyt.dll.
 * Status codes: 0 is success unless a function says otherwise; -5 means an invalid argument.
 */
#ifndef KYT_KYT_H
#define KYT_KYT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Version of the library: writes 5, 7, 16 and 0 and returns 1.
 * Returns -5 (and writes nothing) when an output pointer is null. */
int32_t kytGetVersion(int32_t *major, int32_t *minor, int32_t *build, int32_t *patch);

/* Types of host variables (kyt_hostvar.type). */
#define KYT_HOST_TEXT 1   /* char[]: zero-terminated text */
#define KYT_HOST_DOUBLE 2 /* double */
#define KYT_HOST_INT32 4  /* int32_t */
#define KYT_HOST_INT16 8  /* int16_t */

/* Size in bytes of a text host variable that receives a column (DECLARE, FETCH): a CHAR(n)
 * column holds at most n-1 characters, so n bytes take any value with its terminating zero;
 * a numeric column read as text needs 12 (INTEGER), 7 (SMALLINT) or 26 (FLOAT) bytes. A
 * longer value is cut to fit these sizes, never written beyond them. */
#define KYT_CHAR_BUFFER(n) (n)
#define KYT_INTEGER_TEXT_BUFFER 12
#define KYT_SMALLINT_TEXT_BUFFER 7
#define KYT_FLOAT_TEXT_BUFFER 26

/* Statuses of rpdsql besides those of the statement. */
#define KYT_SQL_NOT_FOUND 24200000    /* no (further) row */
#define KYT_SQL_CLOSE_FAILED 24200001 /* the database could not be closed */
#define KYT_SQL_OPEN_FAILED 24200002  /* the database could not be found or opened */
/* Statuses of rpdsql that tell the state of a table rather than a failure of the program. */
#define KYT_SQL_TABLE_LOCKED 256120 /* table locked by another process: try again later */
#define KYT_SQL_KEY_TOO_LONG 256121 /* the key columns' texts exceed about 8150 bytes */
#define KYT_SQL_TABLE_DAMAGED 256122 /* a table file is damaged (kytadm check tells more) */
/* Any exported function: an internal failure (also out of memory); never an exception. */
#define KYT_INTERNAL_ERROR 99

/* A host variable of an SQL statement: its type (KYT_HOST_...) and the address of the
 * caller's variable. */
typedef struct kyt_hostvar {
  int32_t type;
  void *addr;
} kyt_hostvar;

/* Runs a statement of the station's SQL subset against the station database (opened on
 * first use). Arguments: the statement pieces (joined with nothing between them), then
 * (const char *)NULL, then one const kyt_hostvar * per "?" mark, followed for DECLARE and
 * FETCH by one per selected column (the row is written there; at most as many as the
 * statement selects, else 24201003 and no row is taken), then (const kyt_hostvar *)NULL.
 * Returns 0; KYT_SQL_NOT_FOUND when no (further) row exists; KYT_SQL_CLOSE_FAILED /
 * KYT_SQL_OPEN_FAILED; 99 when the statement could not be composed or an internal failure
 * occurred; KYT_SQL_TABLE_LOCKED, KYT_SQL_KEY_TOO_LONG, KYT_SQL_TABLE_DAMAGED; otherwise the
 * status of the statement.
 * Transactions: after "SET AUTOCOMMIT OFF" changes wait for "COMMIT WORK". Work not
 * committed when the process ends (returning from main, exit()) or the database is closed
 * ("CLOSE DB") is rolled back; cursors left declared are closed then, without harm. */
int32_t rpdsql(const char *piece, ...);

/* ---- Parameters (rows of the parameter table PT) ----
 * A printer of "list": called with a parameter's name and value text; its code is handed
 * back (for "ALL" the code of the last call). */
typedef int32_t (*kyt_parm_printer)(const char *name, const char *value);

/* Reads, writes or lists a station parameter. Names are case-insensitive and cut to 19
 * characters. verb:
 *   "get"   name; value: out, by the parameter's type: a text buffer of at least the
 *           parameter's LEN bytes (41 always suffices; 255 for KYTENV; 2 for KYTMODE), an
 *           int32_t (long parameters; "NOLIMIT" and "NONE" read 0) or an int16_t (short
 *           parameters, TESTMODE, FORCEDEND)
 *   "set"   name; value: in, a text, an int32_t or an int16_t by the parameter's type
 *   "list"  name or "ALL"; value: a kyt_parm_printer, or NULL for the default printer,
 *           which writes "KYT Parameter NAME = VALUE\n" to standard output. "ALL" reports
 *           KYTMODE, TESTMODE, KYTENV and then every row.
 *   "opset" name ignored; value: in, the text "NAME=VALUE" (at most 59 characters), as an
 *           operator gives it; the station's monitor is woken afterwards
 * Texts written are cut to the parameter's LEN - 1 characters. Nothing is allocated for the
 * caller. Returns 0; 4 KYTENV written before it was read; 8 unknown verb; 12 no such
 * parameter (or the database could not be read); 16 value not acceptable (empty value of
 * "opset", KYTMODE not n, s, t or w, NULL value); 20 a DTCONN... parameter already found
 * missing; 99 the update failed or an internal failure. */
int32_t rpdprm(const char *verb, const char *name, void *value);

/* Writes the default parameter rows into a new database, then runs the "setparm" / "sp"
 * lines of the initial command file (DSN_MON_INIT) when there is one. The argument is
 * ignored. Returns 0, or 99 when a row could not be inserted (the rows before it stay). */
int32_t rpdipr(void *unused);

/* Creates every station table and index of a new database (whose catalogue exists) and the
 * first rows of LC and LD. Returns 0 or the first failing status. */
int32_t rpdini(void);

/* The command table cache: field `field` of command number `cn` (decimal text), as text.
 * action 123 get into value (length bytes, cut and zero-terminated), 124 put value (up to
 * length bytes or its zero) into the cache only, 125 put and write to the database (KT's
 * STATUS, ERRORCODE, DTSCHEDULE), 126 forget the command (cn "ALL": every command). The
 * pseudo-field "Originator" (at most 26 characters) names who started the job: "KYT",
 * "user: UID", "oper: CID", "oper: CID(PID)" or "unknown". Returns 0; 4 the field could not be
 * read or written; 8 unknown action; 16 the cache could not be made; 99 internal failure. */
int32_t rpdcch(int16_t action, const char *cn, const char *field, char *value, int32_t length);

/* The command row (KT) of command number cn by column number: action 123 reads column 5
 * (DTDONE) or 8 (STATUS) into value (length bytes), 125 writes column 5 (DTDONE) or 9
 * (HELDBY) from value; 124 and 126 forget the row kept for cn, 127 every row kept. Returns 0;
 * 8 action outside 123-127 or cn 0 (but for 127); 12 another column; 4 the write failed;
 * -1 the row could not be read. */
int32_t rpdch(int16_t action, int32_t cn, int16_t field, char *value, int32_t length);

/* ---- The calling user ----
 * Who calls the library: the UID whose privilege and language the command entry and the
 * resident receive entry calls use. Set by kytSetUser; else the environment variable KYT_USER;
 * else "SYSTEM" (the user every new database has). */

/* Makes uid (at most 20 characters, upper-cased) the calling user of this process; NULL or ""
 * goes back to the default. Returns 0, or -5 when uid is longer than 20 characters. */
int32_t kytSetUser(const char *uid);
/* Copies the calling user's UID into buffer (at least 21 bytes). Returns 0, -5 for NULL. */
int32_t kytGetUser(char *buffer);

/* ---- Command entry ----
 * kytcal and the batch command set. */
int32_t kytcal(int32_t cmdlen, const char *cmd, char *severity, char *msg, int32_t *msglen,
               int32_t *cn);

/* ---- Station and routing table import ----
 * rpdist, rpditr.
 *
 * Files: text, one record a line of at most 2048 bytes (CR LF or LF). A record is a table
 * name and KEYWORD=VALUE pairs separated by blanks or tabs; the keywords are the table's
 * column names. Outside quotes a "*" starts a comment to the end of the line and letters
 * are taken in upper case; a value in "..." or '...' keeps its case, blanks and "*".
 * Station table records: ST, OP, NK, TC, XP, LU, AC, RT and LX (LX SID=S NAME=VALUE ...,
 * 1 to 99 pairs of the station's own parameters); routing table records: TR. Each record
 * writes one row (LX one a pair): inserted, or, when its key is there, updated to the
 * values of the record (keywords not given: empty text, 0). Numbers are decimal.
 * Station ids (SID, SIDDEST, SIDNEIGHB, SIDORG; ST's NETID) are 1 to 16 (NETID 25)
 * characters out of A-Z, a-z, 0-9 and _-.$#@; the routing table also allows "*".
 * A path naming a directory imports its regular files one after the other, in byte order
 * of their names. Station tables are checked first: two OP records with the same ODETTEID
 * or the same SID stop the import before anything is written. Otherwise the first failing
 * record stops it; the rows of the records before it stay.
 *
 * Both return 0, or the first failure: 2 unknown record type; 3 keyword the record does
 * not have; 4 keyword given twice; 5, 6 too many / too few LX pairs; 8 an OP record's SID
 * again; 9 an OP record's ODETTEID again; 12 a mandatory value missing (the key columns,
 * OP's ODETTEID, ST's NETID); 16 a text that is not a number, an LX pair that is not
 * NAME=VALUE; 17 a value too long for its column (or a number out of its range, or a line
 * longer than 2048 bytes); 18 a station id too long or with other characters; 99 the path
 * cannot be read (or a syntax error in a record, a binary file); any other value: the
 * status of the failed insert or update (see rpdsql).
 *
 * Messages for the operator ("Could not open input file \"PATH\"", "inconsistent line in
 * station table: LINE", the failing record's own message, "line N of \"FILE\" not imported
 * (rc = C): LINE", "N records of \"FILE\" imported") are handed one at a time to `out`,
 * each ending with a line break; the text belongs to the library and is valid during the
 * call only. out may be NULL: the messages are then dropped. Nothing is allocated for the
 * caller. */

/* A receiver of operator messages: one message (one or more lines) a call. */
typedef void (*kyt_msg_out)(const char *text);
/* Imports the station table file (or directory of files) `path` into the station database
 * (opened on first use). Returns 0 or the code above. */
int32_t rpdist(const char *path, kyt_msg_out out);
/* Imports the routing table file (or directory of files) `path` (TR records). Returns 0 or
 * the code above. */
int32_t rpditr(const char *path, kyt_msg_out out);

/* ---- Monitor: log-writer channel, notifications, database log ----
 * rpwopq, rpwwrq. */

/* ---- Monitor: stop requests, unique processes, transmitter ----
 * rpxunq, the stop events, the transmitter's pipe. */

/* Unique-process semaphores: a station process (process "KYTMON", "KYTXMT", "KYTLGW"; only
 * the first 6 characters count) holds its semaphore while it lives; the system drops it when
 * the process ends, however it ends. The semaphore's name is formed from the DB directory of
 * the environment, so installations do not meet. action:
 *   1 take     0 taken (held until released or the process ends); 4 held already (another
 *              process, or an earlier take of this one, has it); 99 failure
 *   2 release  0 (also when the name is not held); 99 when this process never took one
 *   3 test     0 nobody holds it (nothing is left behind); 4 it is held: that process runs
 * any other action: 8. A null process answers 99. Nothing is allocated for the caller. */
int32_t rpxunq(int32_t action, const char *process);

/* Stop requests: named manual-reset events that tell the station's long-running processes to
 * stop. They are formed from the DB directory of the environment, so installations do not
 * meet; a set event stays set, for every process that polls it, until one resets it.
 * who (bits): KYT_STOP_XMT the transmitter (a stop and an end event), KYT_STOP_LGW the log
 * writer, KYT_STOP_MON the monitor, KYT_STOP_COM communication control (deactivate, activate,
 * receive-activate). priority (bits) chooses among one process's events: transmitter 2 stop,
 * 1 end; communication 1 deactivate, 2 activate, 4 receive-activate; the log writer's and the
 * monitor's single events are chosen whatever the priority.
 * Codes: 0 done (for the checks: no request); a check that finds an event set answers 97
 * (transmitter stop), 98 (transmitter end, log writer or monitor stop), 80 / 81 / 82
 * (deactivate / activate / receive-activate communication), the events polled in this order:
 * transmitter stop, transmitter end, log writer, monitor, deactivate, activate,
 * receive-activate. 99: DB cannot be read or an event name would be 255 characters or more.
 * Any other code is the system's error number plus a base telling the failed step (open
 * 2500000 / 3000000 / 12300000 / 17500000; set 6400000 / 3400000 / 12400000 / 17600000 /
 * 18200000 / 18300000 / 18900000; poll 2600000 / 14600000 / 17700000 / 18400000 / 18500000 /
 * 19000000; reset 11200000 to 11800000 by event). Nothing is allocated for the caller. */
#define KYT_STOP_MON 1
#define KYT_STOP_LGW 2
#define KYT_STOP_XMT 8
#define KYT_STOP_COM 16
/* Opens (or creates, not set) the events of the selected processes not yet open. */
int32_t InitStopRequest(int32_t who);
/* Sets the selected, open events that the priority chooses. */
int32_t SetStopRequest(int32_t who, int32_t priority);
/* Polls every open event of the selected processes without waiting; when none is set, sleeps
 * 10 ms and polls again while budget_ms, lowered by 10 a round, stays at 0 or above (budget
 * 25: three polls; below 10: one). */
int32_t CheckStopRequest(int32_t who, int32_t budget_ms);
/* The same, restricted to the events that the priority chooses. */
int32_t CheckCertainStopRequest(int32_t who, int32_t priority, int32_t budget_ms);
/* Clears every open event of the selected processes. */
int32_t ResetStopRequest(int32_t who);
/* Closes the transmitter's, the log writer's and the monitor's events (the communication
 * events stay open as long as the process). StopKyt does the same. Both answer 0. */
int32_t DeInitStopRequest(void);
int32_t StopKyt(void);

/* Transmitter control. The transmitter is a station process of its own; whether it runs is
 * told by its unique-process semaphore (rpxunq 3 on "KYTXMT" answers 4). It reads
 * one-character commands from a pipe named after the DB directory, and holds a readiness
 * event while it reads. Messages go to the station log: XMT_ACTIVE, XMT_START, XMT_STOPPED,
 * PARM_UNAVAILABLE, FUNCTION_FAILED. Nothing is allocated for the caller. */
/* Sends the character c: 0 written; 99 the pipe name cannot be formed (DB missing, 255
 * characters or more), the pipe cannot be opened, the transmitter is not listening (nothing
 * is written then) or the write failed. */
int32_t xmt_send(char c);
/* Starts the transmitter, the program of DSN_PGM completed with "kytxmt", with the command
 * line "PROGRAM /eKYTENV " and " /t" in test mode, as a process of its own (a new console
 * titled "kyt MasterTransmitter" on Windows). 0 started; 99 the parameter KYTENV or TESTMODE
 * is not available (PARM_UNAVAILABLE) or DSN_PGM cannot be had (FUNCTION_FAILED); otherwise
 * the system's error number of the failed start. */
int32_t xmt_spawn(void);
/* Starts the transmitter unless it runs: 4 it runs (XMT_ACTIVE); 0 started (XMT_START),
 * having waited up to 10 seconds for it to run; 99 the start failed. Allows commands again
 * after xmt_stop. */
int32_t xmt_start(void);
/* The command entries: each answers 8 after xmt_stop of this process (until xmt_start);
 * when the transmitter runs it is sent "a" (xmt_activate: take up the work queued for
 * sending), "p" (xmt_poll: call the partners that are due), "n" (xmt_newwork: send entries
 * were added) or "j" (xmt_jobdone: a job it started has ended), answering as xmt_send; when
 * it does not run it is started instead, answering as xmt_start. */
int32_t xmt_activate(void);
int32_t xmt_poll(void);
int32_t xmt_newwork(void);
int32_t xmt_jobdone(void);
/* Stops the transmitter: sends "s" when it runs and answers as xmt_send; a transmitter that
 * does not run is looked for again 10 seconds later, 6 times in all, then 12. After a stop
 * sent successfully, this call and the command entries answer 8 (XMT_STOPPED). */
int32_t xmt_stop(void);

/* ---- Database administration ----
 * kytInitDB, kytWriteDB, the dumps, kytDeleteDB.
 *
 * The database is the directory DBNAME, else DB, of the environment file. Every step is
 * reported as a message of the catalogue (group DBADM) in the station log, in the calling
 * user's language. Nothing is allocated for the caller. Results of all of them: 0 done;
 * -5 a null or empty file name or buffer; KYT_DB_NO_ENV the environment file cannot be read
 * (NO_ENV_DATASET); KYT_DB_NO_FILE the dump file does not exist (DATASET_NOT_EXIST) or cannot
 * be written; 99 an internal failure; otherwise the SQL status of the failing statement
 * (as rpdsql answers them).
 *
 * Dump files are text, one line a row: "TT COL=\"value\" COL=\"value\" ...", after a header
 * of "*" lines. Texts are escaped so that every dump loads back exactly (docs/file-formats.md
 * describes the format). */
#define KYT_DB_NO_ENV 1        /* the environment file cannot be read */
#define KYT_DB_NO_FILE 2       /* dump file missing, or not writable */
#define KYT_DB_BAD_LINE 3      /* kytWriteDB: a line of the file refused (its number is in
                                  the message RECOVER_ERROR); nothing was loaded */
#define KYT_DB_STATION_RUNS 4  /* kytDeleteDB: a station process runs; nothing deleted */
#define KYT_DB_EXISTS 5        /* kytInitDB: there is a database already */

/* Receives, in the calling process, what the administration functions report: each message
 * as the station log gets it (severity letter, key, text in the user's language) with rows
 * -1; and the rows dumped or loaded so far (every 1000 rows, and at the end of each table or
 * file) with severity 0 and key and text "". */
typedef void (*kyt_db_progress)(char severity, const char *key, const char *text, long rows,
                                void *context);
/* Installs fn (NULL removes it) with the context it is called with. Returns 0. */
int32_t kytSetDBProgress(kyt_db_progress fn, void *context);

/* Creates a new database: the directory, the catalogue, every table, the user SYSTEM
 * (privilege A), the version row (DB), the parameters (rpdini, rpdipr) and, when the file
 * DSN_STAT_INIT exists, the station table from it (rpdist), all in one transaction.
 * KYT_DB_EXISTS when the directory holds a database. */
int32_t kytInitDB(void);

/* Loads the dump file `file` (recovery), in one transaction: every table with row lines in
 * the file is emptied first and then holds exactly the file's rows (a whole-database dump
 * empties every table). A line that cannot be read or stored stops the load, rolls it back
 * and answers KYT_DB_BAD_LINE (unknown table INVALID_CMD, unknown column INVALID_COLNAME,
 * column twice PARM_USED_TWICE, a value that does not fit INVALID_INPUT, a line the command
 * language cannot read SYNTAX_ERROR) or the failing insert's status. */
int32_t kytWriteDB(const char *file);

/* Dumps every table to `file` (made or replaced), header
 * "* Dump of KYT database <dir>: at <date-time> ". */
int32_t kytDumpDB(const char *file);

/* Dumps the resident receive entries (RE) and the users (BT) to `file`. */
int32_t kytDumpRU(const char *file);

/* Partial dumps to `file` (made or replaced); with_time non-zero puts the date-time into the
 * header ("* Dump of Parameter at: <date-time> "), zero leaves it out. Stations: the station
 * information tables AC, LU, LX, NK, OP, RT, ST, TT, TC, XP, OP in its own form
 * ("OP: SID=\"..\", ODETTEID=\"..\", PSWFROM=\"..\", PSWTO=\"..\" SENDBLOCKS=..."). */
int32_t kytDumpStations(const char *file, int32_t with_time);
int32_t kytDumpParameter(const char *file, int32_t with_time);             /* PT */
int32_t kytDumpUser(const char *file, int32_t with_time);                  /* BT */
int32_t kytDumpResidentReceiveEntries(const char *file, int32_t with_time); /* RE */
int32_t kytDumpJobstartEntries(const char *file, int32_t with_time);       /* JS */

/* Deletes the database: its table files (*.DB, *.IDX, *.HOL of the database directory), the
 * logs (*.log of TRACEDIR) and every file of the TEMP directory, each step reported (DBDEL,
 * SYS_CMD, DEL_DB, DEL_LOG, DEL_TEMP; a missing directory NO_DB / NO_TEMP and skipped).
 * KYT_DB_STATION_RUNS (DBDEL_ACTIVE), with nothing deleted, while the monitor (MONITOR or KYTMON), the
 * transmitter (KYTXMT) or the log writer (KYTLGW) holds its unique-process semaphore; the
 * answer of rpxunq when that cannot be told. 99 when a file could not be deleted. */
int32_t kytDeleteDB(void);

/* The newest version row of the database: version (128 bytes) gets DBVERSION, date (20
 * bytes) DBDATE as date-time text. KYT_SQL_NOT_FOUND when there is no row. */
int32_t kytGetDBVersion(char version[128], char date[20]);

/* The three groups of tables of the whole dump (the station tables in catalogue order, in
 * thirds): rpdbdN appends the rows of group N to `file`, rpdbwN loads the lines of group N's
 * tables from `file` as kytWriteDB does (lines of other tables are passed over), and
 * DumpStationInfoTablesN appends station information tables (1: AC; 2: LU, LX, NK, OP;
 * 3: RT, ST, TT, TC, XP) in the form of kytDumpStations. */
int32_t rpdbd1(const char *file);
int32_t rpdbd2(const char *file);
int32_t rpdbd3(const char *file);
int32_t rpdbw1(const char *file);
int32_t rpdbw2(const char *file);
int32_t rpdbw3(const char *file);
int32_t DumpStationInfoTables1(const char *file);
int32_t DumpStationInfoTables2(const char *file);
int32_t DumpStationInfoTables3(const char *file);

/* ---- Station list ----
 * kytInitStationList and its siblings. */

/* ---- Send entries ----
 * kytCreateSendEntry and its siblings. */

/* ---- Resident receive entries ----
 * kytResidentReceiveEntry and its siblings. */

/* ---- User info and parameters ----
 * kytGetParm, kytUserInfoSet and their siblings. */

#ifdef __cplusplus
}
#endif

#endif /* KYT_KYT_H */
