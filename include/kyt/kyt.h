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
 * ("CLOSE DB") is rolled back; cursors left declared are closed then, without harm.
 * A call of this library that changes several rows as one unit (a station update or
 * deletion, a command, a receive entry, ...), made while such a transaction is open, joins
 * it: its changes are committed by your "COMMIT WORK"; when it fails it rolls the whole
 * transaction back, your changes too, and answers its failure code. */
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
 * kytcal and the batch command set (docs/commands.md describes every verb).
 *
 * Runs one batch command line ("USER /CREATE UID=OP1 NAME=\"Operator 1\"", "SEND /HOLD
 * CMDID=12", "HELP") and wakes the station's monitor.
 *   cmdlen    the length of the line in cmd (the line ends there or at an earlier NUL);
 *             the buffer is only read, never written
 *   severity  out (may be NULL): 'I', 'W' or 'E' of the command's message, '?' when none
 *   msg       out: the message text, cut to *msglen - 1 characters and terminated (the
 *             message holds at most 200 characters, so 201 bytes always suffice); nothing
 *             is written when msg or msglen is NULL or *msglen < 1
 *   msglen    in: the size of msg; out: the length of the whole message text
 *   cn        out (may be NULL): the number of the command row the line made or changed,
 *             0 when none
 * The message is the command's own, else "Command executed: LINE" or "Command failed
 * (rc = N): LINE", in the calling user's language (see kytSetUser).
 * Returns 0 done; 2 unknown verb; 3 keyword not allowed; 4 keyword given twice; 5 too many
 * positional parameters; 6 too few; the verb's own codes (8 a required keyword missing,
 * 9 unknown action, 12 not found, 13 unknown station, 14 command of another type or state,
 * 16 value not acceptable, 17 file cannot be read, 19 exists already, and the codes of the
 * services SETPARM, LISTPARM and MODST hand on); 99 a grammar failure or the database
 * failed; -5 cmdlen < 0, or cmd NULL with cmdlen > 0. */
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
 * The log-writer channel is a TCP connection to the station's log writer (environment
 * settings SERVER, default this machine's name; PORT, default 2956; LOGINDB). Each message
 * travels as one record: "~", the record length's low byte, the time in seconds (4 bytes,
 * big-endian), the process tag, the type byte, the version 1, then the text (at most 2000
 * bytes). While the channel is connected, every station log message goes over it as type
 * 'L' ("S KEY TEXT"), and with the environment setting DBLOG=Y every INSERT, UPDATE and
 * DELETE run through rpdsql goes over it as type 'D', rendered with its values in place.
 * docs/file-formats.md describes the record byte by byte. */

/* Error codes of the channel (a base plus, where marked, the socket layer's error number:
 * errno, or WSAGetLastError on Windows). */
#define KYT_LGW_NO_MESSAGE 99          /* rpwwrq: no message, or a negative length */
#define KYT_LGW_STARTUP 3200000        /* the socket layer could not be started */
#define KYT_LGW_SOCKET 3300000         /* + error: no socket */
#define KYT_LGW_LOOPBACK_NAME 3500000  /* + error: "localhost" not resolvable */
#define KYT_LGW_HOST_NAME 3600000      /* + error: SERVER (or this machine's name) not resolvable */
#define KYT_LGW_PORT_ZERO 3700000      /* PORT reads as 0 (or is beyond 65535) */
#define KYT_LGW_CONNECT 3900000        /* + error: connect failed for good */
#define KYT_LGW_NONBLOCKING 4500000    /* + error: the socket could not be made non-blocking */
#define KYT_LGW_NO_BUFFER 4900000      /* the send buffer could not be allocated */
#define KYT_LGW_SEND_TIMEOUT 7400000   /* the log writer took nothing for 10 seconds */
#define KYT_LGW_PEER_READABLE 13100000 /* the log writer closed its side just before sending */
#define KYT_LGW_WAIT_FAILED 13200000   /* + error: waiting for writability failed */
#define KYT_LGW_SEND_FAILED 13300000   /* + error: send failed */

/* Opens the channel. retries: how many times a refused connection is tried again, one second
 * apart (0 or less: never); envfile: an environment file to read first when it is not already
 * the process's one (NULL or "": the process's own); keep: kept for reopening; tag: the byte
 * every record carries as its process tag. The arguments are kept: a write that finds the
 * connection closed by the log writer opens it again with them. An open channel is closed
 * first. With LOGINDB 2 (read once a process) no connection is made and 0 is answered.
 * Returns 0; a non-zero answer of the stop-request check; the environment file's code (99, 4,
 * 5) when envfile cannot be read; or one of the KYT_LGW_ codes above. */
int32_t rpwopq(int16_t retries, const char *envfile, int16_t keep, char tag);

/* Writes one record. msg: the bytes to send (not kept); length: their number, or 0 for a
 * NUL-terminated text; either is cut at 2000 bytes. type: the record type; when both length
 * and type are 0 the type is 'L'. Without an open channel the message is dropped and 0
 * answered. Returns 0, KYT_LGW_NO_MESSAGE, KYT_LGW_NO_BUFFER, a reopen's code, or a send
 * failure (KYT_LGW_PEER_READABLE, KYT_LGW_SEND_FAILED + error, KYT_LGW_WAIT_FAILED + error,
 * KYT_LGW_SEND_TIMEOUT). */
int32_t rpwwrq(const char *msg, int32_t length, char type);

/* Closes the channel (messages are dropped from then on until the next rpwopq). Returns 0. */
int32_t rpwclq(void);

/* XML notifications to the management agent: one UDP datagram each to AGENT_SERVER, port
 * AGENT_PORT (default 6123) of the environment, with the time and the station's identifier
 * (parameter LID); texts escaped so that every datagram is well-formed XML.
 * docs/file-formats.md gives the documents.
 * rpxlog_message: the text of a log message (not kept), sent by the parameter AGENT_LOGLEVEL:
 *   0 never, 2 only texts beginning with 'E' or 'W', otherwise always. Returns 0 always
 *   (a failure is printed on standard error).
 * rpxlog_heartbeat: sent when the parameter AGENT_HEARTBEAT (seconds) is above 0 and at least
 *   that many seconds have passed since the last heartbeat of the process.
 * rpxlog_start, rpxlog_stop: sent at every call.
 * The last three send nothing without AGENT_SERVER and answer 0, or 51 the agent's host
 * cannot be resolved ("Cannot resolv hostname: NAME"), 52 no socket ("Error: socket()"),
 * 53 the datagram could not be sent ("Error while sending data"), each also printed on
 * standard error. */
int32_t rpxlog_message(const char *text);
int32_t rpxlog_heartbeat(void);
int32_t rpxlog_start(void);
int32_t rpxlog_stop(void);

/* ---- Monitor: stop requests, unique processes, transmitter ----
 * rpxunq, the stop events, the transmitter's pipe. */

/* Unique-process semaphores: a station process (process "KYTMON", "KYTXMT", "KYTLGW"; only
 * the first 6 characters count) holds its semaphore while it lives; the system drops it when
 * the process ends, however it ends. The semaphore's name is formed from the DB directory of
 * the environment, so installations do not meet. action:
 *   1 take     0 taken (held until released or the process ends); 4 held already (another
 *              process, or an earlier take of this one, has it); 99 failure
 *   2 release  0 (also when the name is not held); 99 when this process never took one
 *   3 test     0 nobody holds it; 4 it is held: that process runs; 99 failure. Only looks:
 *              nothing is made or left behind, and a process taking the semaphore at that
 *              moment is not turned away (on Windows a semaphore released at that very
 *              moment can still count as held for it)
 * any other action: 8. A null process answers 99. Nothing is allocated for the caller. */
int32_t rpxunq(int32_t action, const char *process);
/* The process names under which the station's long-running processes hold their
 * semaphores (kytadm status, kytDeleteDB's refusal). */
#define KYT_PROCESS_MONITOR "KYTMON"
#define KYT_PROCESS_TRANSMITTER "KYTXMT"
#define KYT_PROCESS_LOGWRITER "KYTLGW"

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
 * kytInitStationList and its siblings: the partner stations of the station as an in-memory
 * list, one node a row of ST, each carrying the rows of NK, RT, OP, LU, XP, TC and LX that
 * belong to it. The list is per process and not locked: one thread a process uses it.
 *
 * Station ids are 1 to 16 printable characters (letters, digits, punctuation, blank); a
 * longer id, a control character or a NULL pointer is refused with -5.
 *
 * Codes of these calls: 0 done; -1 no (further) station; -2 out of memory while loading
 * (also: the database could not be closed); -3 the database could not be opened; -5 invalid
 * argument; 13 station not in the list (or it could not be copied); 99 internal failure
 * (also any failing statement while deleting). */
#include "kyt_elem.h"

/* Values of kyt_station.stationtype. */
#define KYT_STATION_PARTNER 0 /* a partner station */
#define KYT_STATION_LOCAL 1   /* the station itself: its id is the parameter LID */

/* A station: a node of the list, and the record that kytGetStation fills and
 * kytUpdateStation reads. The row lists are chains of element records (kyt_elem.h) linked
 * by their member next, in the order of the table's key; NULL when the station has no row
 * in that table.
 *
 * Ownership: the nodes of the list and every row behind them belong to the library; read
 * them, never free or change them; they stay valid until kytFreeStationList,
 * kytRefreshStationList, kytGetNextStation with "" or kytDeleteStation of that station.
 * A record filled by kytGetStation holds copies that belong to the caller, who frees them
 * with kytFreeStationEntries (the record itself is the caller's own memory). A record given
 * to kytUpdateStation is the caller's own throughout (stack or heap; the library only reads
 * it). */
typedef struct kyt_station {
  char sid[17];            /* the station id */
  int32_t stationtype;     /* KYT_STATION_... */
  kyt_nk_elem *nk;         /* network and protocol links */
  kyt_rt_elem *rt;         /* routes to this station (siddest is its id) */
  kyt_op_elem *op;         /* the ODETTE partner row (at most one) */
  kyt_lu_elem *lu;         /* the LU 6.2 connection (at most one) */
  kyt_xp_elem *xp;         /* X.25 / ISDN connections */
  kyt_tc_elem *tc;         /* TCP/IP connections */
  kyt_lx_elem *lx;         /* per-station parameters; the list carries no type (0) */
  kyt_st_elem st;          /* the ST row itself (st.next unused) */
  struct kyt_station *next; /* list order: ascending station id */
  struct kyt_station *prev;
} kyt_station;

/* Reads the local station id (parameter LID), loads the list unless one is loaded, sets the
 * station types and traces the list. Returns 0; the code of the parameter read when LID
 * cannot be read (12, 99; nothing loaded then); -2, -3 or 99 when a table could not be read
 * (the list then holds what was read). */
int32_t kytInitStationList(void);

/* Writes into next (at least 17 bytes) the id of the station that follows sid: the least
 * id greater than sid compared without regard to case (ids equal but for case follow each
 * other in byte order). sid "" reloads the list first and so gives the first station.
 * Returns 0; -1 when no station follows (or no list is loaded and sid is not ""); -5 for a
 * NULL argument or an invalid non-empty sid; for "" also the codes of loading. */
int32_t kytGetNextStation(const char *sid, char *next);

/* Fills *out with a copy of the station sid of the loaded list (the exact id, else one equal
 * but for case): the id, the type, the ST row and copies of every row list; out->next and
 * out->prev are NULL. Free the copies with kytFreeStationEntries(out). Returns 0; 13 when
 * the station is not in the list (or no list is loaded, or a copy could not be made;
 * nothing is left allocated then); -5 for NULL arguments or an invalid sid. */
int32_t kytGetStation(const char *sid, kyt_station *out);

/* Writes a station's tables from a record, each table in its own transaction, in this
 * order: ST (the row st updated, or inserted when missing); NK, each row replacing the row
 * of its protocol; RT, every route to the station replaced by the list (an empty list
 * removes them); OP, deleted and inserted from the list (ODETTEID, PSWFROM, PSWTO
 * upper-cased); LU deleted and inserted likewise; XP and TC each row replacing the row of
 * its number N, LX each row replacing the row of its NAME. Rows with an empty sid are
 * written with the record's; st.sid may be empty too. The loaded list is not changed
 * (kytRefreshStationList reloads it). Returns 0; -5 for NULL, an invalid sid, a row of
 * another station or a text member without its zero byte; -1, -2, -3 or 99 for a failing
 * statement (its table's transaction rolled back, the tables before it written). */
int32_t kytUpdateStation(const kyt_station *station);

/* Deletes the station from ST, RT (routes to it) and OP in one transaction, then from NK,
 * LU, XP, TC, LX and AC; unlinks it from the loaded list; sets bit 64 in FLGFLUSH of every
 * registered monitor process (RI, PTYPE "M") and wakes the monitor. Returns 0 (also when
 * the station did not exist); -5 for an invalid sid; 99 when a statement failed (the first
 * transaction then rolled back). */
int32_t kytDeleteStation(const char *sid);

/* Frees the whole list. Returns 0. */
int32_t kytFreeStationList(void);

/* Frees and reloads the list (station types and trace as kytInitStationList). Returns 0 or
 * the codes of loading. */
int32_t kytRefreshStationList(void);

/* The first node of the loaded list (walk it by next), or NULL when none is loaded or it is
 * empty. The nodes belong to the library (see kyt_station). */
kyt_station *kytGetStationListHead(void);

/* Frees the row lists of one station: a record filled by kytGetStation, or a node of the
 * list (which then stays in the list without rows). The pointers are set to NULL; nothing
 * else of the record is touched. Returns 0, -5 for NULL. */
int32_t kytFreeStationEntries(kyt_station *station);

/* Releases the monitor's wake-up semaphore once. Returns 0 (also when no monitor runs). */
int32_t kytWakeMonitor(void);

/* ---- Send entries ----
 * kytCreateSendEntry and its siblings.
 *
 * A send entry asks the station to send one local file to one or more partners. The creation
 * calls compose a SEND /CREATE command line from their arguments and run it through kytcal;
 * the command writes the rows (KT command row of type SE, SE, VD, one ET row a destination)
 * and hands back the new command number. docs/api.md shows them at work.
 *
 * Texts: NULL or "" means "not given". Every text goes into the command line, so a value that
 * could change the line is refused with -5 before any command runs: a double quote, a byte
 * below 0x20, 0x7F or 0xFF in any field; also a single quote in INITTIME (written in single
 * quotes); and in the fields written without quotes (all but DSN, DSNNEW, EFCHECK, OIDORIG,
 * OIDDEST, INITTIME) a blank, "=", "(", ")" or a single quote. The command itself refuses
 * values it cannot store (too long, not of their kind) with its own codes and message; see
 * docs/commands.md.
 *
 * Message buffer: when not NULL, at least KYT_SEND_MSG_SIZE bytes; it receives the message
 * text of the command (or of the call's own refusal), zero-terminated. */
#define KYT_SEND_MSG_SIZE 201

/* A send request: the arguments of one creation, in this order. */
typedef struct kytSendEntryRequest {
  const char *dsn;          /* DSN: local file to send; required */
  const char *disp;         /* DISP: K keep or D delete the file after sending */
  const char *format;       /* FORMAT: F fixed, V variable, U unstructured, T text */
  const char *codein;       /* CODEIN: character code of the local file (1-4 letters/digits) */
  const char *inittime;     /* INITTIME: earliest start, "YYYY/MM/DD hh:mm:ss" */
  const char *serial;       /* SERIAL: Y or N, serial processing */
  const char *label;        /* LABEL: user label, up to 20 characters */
  const char *vftyp;        /* VFTYP: F fixed or V variable records */
  int32_t maxrecl;          /* MAXRECL: maximum record length; 0 or -1: not given */
  const char *tstamp;       /* TSTAMP: Y or N */
  const char *compression;  /* COMPRESSION: Y or N */
  const char *encryption;   /* ENCRYPTION: Y or N */
  const char *sid;          /* SID: destination station id, 1-16 characters */
  const char *dsnnew;       /* DSNNEW: virtual dataset name at the partner, up to 26 */
  const char *codeout;      /* CODEOUT: character code at the partner */
  const char *uid;          /* acting user (up to 20 characters): kept for later calls of
                               this process; not written into the line */
  const char *codetable;    /* CODETABLE: code table name */
  char *msg;                /* out: message buffer, KYT_SEND_MSG_SIZE bytes, or NULL */
  const char *sidorig;      /* SIDORIG: originating station id */
  const char *efcheck;      /* EFCHECK: Y or N, wait for the end-to-end response */
  const char *oidorig;      /* OIDORIG: originator's ODETTE id */
  const char *oiddest;      /* OIDDEST: destination's ODETTE id (instead of or with SID) */
} kytSendEntryRequest;

/* Creates one send entry from a request. Returns 0; 99 without DSN ("kytCreateSendEntry:
 * invalid dsn.") or without SID and OIDDEST ("kytCreateSendEntry: invalid sid.") or when
 * memory ran out; -5 for a NULL request, an acting user longer than 20 characters or a value
 * that could change the command line (nothing runs); else the code of kytcal (the SEND
 * command's codes 8 to 14 and 99, the command language's 1 to 6). */
int32_t kytCreateSendEntryS(const kytSendEntryRequest *req);
/* The same from single arguments; VFTYP, MAXRECL and the later fields not given. */
int32_t kytCreateSendEntry(const char *dsn, const char *disp, const char *format,
                           const char *codein, const char *inittime, const char *serial,
                           const char *label, const char *tstamp, const char *sid,
                           const char *dsnnew, const char *codeout, char *msg);
/* With VFTYP and MAXRECL; `unused` is ignored. */
int32_t kytCreateSendEntry2(const char *dsn, const char *disp, const char *format,
                            const char *codein, const char *inittime, const char *serial,
                            const char *label, const char *vftyp, int32_t maxrecl,
                            const char *tstamp, const char *sid, const char *dsnnew,
                            const char *codeout, char *msg, void *unused);
/* With VFTYP, MAXRECL and the originating station SIDORIG; `unused` is ignored. */
int32_t kytCreateSendEntryWithOrig(const char *dsn, const char *disp, const char *format,
                                   const char *codein, const char *inittime, const char *serial,
                                   const char *label, const char *vftyp, int32_t maxrecl,
                                   const char *tstamp, const char *sid, const char *sidorig,
                                   const char *dsnnew, const char *codeout, char *msg,
                                   void *unused);
/* The Cmd variants take the arguments of their siblings (without `unused`) and return the
 * command number of the new entry, or -4 for every failure (the message buffer tells why). */
int32_t kytCreateSendEntryCmd(const char *dsn, const char *disp, const char *format,
                              const char *codein, const char *inittime, const char *serial,
                              const char *label, const char *tstamp, const char *sid,
                              const char *dsnnew, const char *codeout, char *msg);
int32_t kytCreateSendEntryCmd2(const char *dsn, const char *disp, const char *format,
                               const char *codein, const char *inittime, const char *serial,
                               const char *label, const char *vftyp, int32_t maxrecl,
                               const char *tstamp, const char *sid, const char *dsnnew,
                               const char *codeout, char *msg);
int32_t kytCreateSendEntryCmdWithOrig(const char *dsn, const char *disp, const char *format,
                                      const char *codein, const char *inittime,
                                      const char *serial, const char *label, const char *vftyp,
                                      int32_t maxrecl, const char *tstamp, const char *sid,
                                      const char *sidorig, const char *dsnnew,
                                      const char *codeout, char *msg);
int32_t kytCreateSendEntryCmdS(const kytSendEntryRequest *req);

/* Holds (action 1), releases (2) or deletes (3) the send entry with command number cn
 * through "SEND /HOLD CMDID=n" and its siblings; `unused` is ignored; msg as above. Returns
 * the code of kytcal (0; 13 no such send entry; 14 its status does not allow the action;
 * 99 ...), 99 without a command for any other action. */
int32_t kytSetSendEntry(int32_t cn, int32_t action, void *unused, char *msg);

/* Sets the sender filter of the next list load: only entries whose sender UID equals uid
 * (exactly). NULL clears it. Returns 0, or -5 for a uid of more than 20 characters (the
 * filter stays as it was). */
int32_t SetUIDSEList(const char *uid);

/* One send entry as the list calls hand it out. Texts are zero-terminated; date-times are
 * "YYYY/MM/DD hh:mm:ss" or "" when not set. Rows that do not exist leave their part zero
 * (has_... 0). */
typedef struct kytSendEntry {
  int32_t cn;               /* command number of the entry (SE.CN = KT.CN) */
  /* SE: the sender */
  char uidsender[21];
  char sidsender[17];
  char seusrlabel[21];
  /* ET: the first destination (in the order written); cntdest counts all */
  int32_t cntdest;
  int32_t cnse, cnsk, cnie, cniz;
  char sidneighb[17];
  char siddest[17];
  char vdsn[27];
  char statuset[3];
  char code[5];
  int16_t flagtstamp, flagcomp, flagcryp;
  /* KT: the command row */
  int32_t has_kt;
  char status[3];           /* qn queued, ho held, de deleted, en ended, er failed */
  char dtcreated[20];
  char dtschedule[20];
  char dtdone[20];
  int16_t flagserial;
  /* VD: the file description (by the entry's number, else by cnie) */
  int32_t has_vd;
  char recfm[2];
  int32_t maxrecl;
  char vftyp[2];
  char disp[2];
  char dsnlocal[255];
  char vdcode[5];
  char codetrans[2];
  char codetable[255];
  /* SK: the send queue row of the first destination (by cnsk) */
  int32_t has_sk;
  char dtbegsend[20];
  char dtendsend[20];
  char dtavail[20];
  int32_t cntsendatt;
  int64_t cntbyte;
  int32_t cntrecord;
  /* SS: statistics of a received-and-forwarded entry (by cnie; kytGetSendEntry only) */
  int32_t has_ss;
  char ss_status[3];
  char ss_dtcreat[20];
  char ss_dtend[20];
  int32_t ss_bytes;
  int32_t ss_errorcode;
} kytSendEntry;

/* A send entry with its error information (kytGetNextSendErrCh). */
typedef struct kytSendErrInfo {
  kytSendEntry entry;
  /* KT, read afresh */
  char heldby[2], freedby[2], deletedby[2];
  int16_t errorcode;
  /* FK: last error of the command */
  int32_t has_fk;
  int32_t fk_err, fk_errno, fk_errtype;
  char fk_errmsg[1025];
  char fk_dtcreated[20];
  /* FS: last error of the station the entry goes to (its neighbour, else its destination) */
  int32_t has_fs;
  char fs_sid[17];
  int32_t fs_err, fs_errno, fs_errtype;
  char fs_errmsg[1025];
  char fs_dtcreated[20];
} kytSendErrInfo;

/* Walks the send entries in ascending command number. With previous 0, or when no list is
 * loaded yet, the list is loaded from the database (with the sender filter when one is
 * set) and kept for the following calls (creating entries does not refresh it). Writes the
 * first number greater than previous into *cn. Returns 0; -1 none is left; -5 cn NULL;
 * -2/-3 the database could not be closed/opened; 99 the list could not be read. */
int32_t kytGetNextSendCmd(int32_t previous, int32_t *cn);
/* The entry with command number cn from the loaded list (loaded first if none is), into
 * *out, completed from VD and SS. Returns 0; -1 not in the list; -5 out NULL; as above. */
int32_t kytGetSendEntry(int32_t cn, kytSendEntry *out);
/* As kytGetNextSendCmd, and the entry found with its command row and its last errors
 * (FK, FS) into *out. Returns 0, -1, -5 (cn or out NULL), -2, -3, 99. */
int32_t kytGetNextSendErrCh(int32_t previous, int32_t *cn, kytSendErrInfo *out);

/* ---- Resident receive entries ----
 * kytResidentReceiveEntry and its siblings.
 *
 * A resident receive entry tells the station what to do with the files that arrive from one
 * partner station under one virtual dataset name: where to store them, whether to replace a
 * file there, which job to start, which code conversion to apply. Each entry is a row of RE
 * with a command row in KT (CMDTYPE "RE"); it is active while that command row has STATUS
 * "pn". Deleting an entry marks its command row done (STATUS "dn", DELETEDBY "U", XIDDELETED
 * the calling user, DTDONE now) and keeps the RE row; replacing one creates a new entry with a
 * new command number and marks the old one done, in one transaction.
 *
 * The calling user (see "The calling user" above: kytSetUser, else KYT_USER, else "SYSTEM")
 * must have a row in the user table BT with privilege (PRIVUSR) "A" or "O" to create, replace
 * or delete entries; it becomes the entry's creator. Reading the list needs no privilege.
 *
 * Every text member is zero-terminated within its array; the arrays are larger than the
 * values they may hold so that an over-long value is seen and refused (-5) rather than cut. */
typedef struct kyt_re_record {
  int32_t cn;             /* command number; written back on creation and replacement */
  char uidlocal[21];      /* local user: always "*" (the entry is for every local user) */
  char vdsn[32];          /* virtual dataset name, 1 to 26 characters, upper-cased */
  char uidsender[21];     /* sending user: always "*" */
  char sidsender[32];     /* sending station, 1 to 16 characters, upper-cased; must exist
                             in the station table ST (but for deletion) */
  char dsnlocal[256];     /* local file to store into, at most 254 characters; "" or blanks:
                             none (the station's default place) */
  char replace[2];        /* "I", "N" or "R" (case ignored); anything else is stored as "N" */
  char disp[2];           /* "D" or "K" (case ignored); anything else is stored as "K" */
  int16_t flagtstamp;     /* time stamp flag, stored as given */
  char printdef[2];       /* print definition: always stored empty */
  char batchjob[256];     /* job started on receipt, at most 254 characters; the file must
                             exist; "" or blanks: none */
  char uidcreator[21];    /* creator: always the calling user */
  char acctrecvr[32];     /* receiver's account, at most 20 characters; "" or blanks: the
                             calling user's UID */
  char commentre[64];     /* comment, at most 50 characters; "" or blanks: none */
  char vftyp[2];          /* file type letter, stored as given (first character) */
  char codetrans[2];      /* code translation letter, stored as given (first character) */
  char codetable[256];    /* code table file, at most 254 characters; the file must exist;
                             "" or blanks: none */
  char dtlastused[20];    /* "YYYY/MM/DD HH:MM:SS": set to the time of creation */
  int16_t flagcomp;       /* compression flag, stored as given */
  int16_t flagcryp;       /* encryption flag, stored as given */
} kyt_re_record;

/* Actions of kytResidentReceiveEntry. */
#define KYT_RE_REPLACE 1
#define KYT_RE_DELETE 2
#define KYT_RE_CREATE 3

/* Creates (action 3), replaces (1) or deletes (2) the resident receive entry of
 * record->vdsn and record->sidsender; `unused` is ignored. For deletion only those two
 * members are read. The checks, in this order (the first failing one answers):
 *   99  an unknown action;  -5  record is NULL;
 *   99  the time or the calling user (no BT row) could not be had;
 *   18  the calling user has neither privilege "A" nor "O" (no other row is read first);
 *   -5  VDSN or SIDSENDER empty, longer than 26 / 16 characters or not
 *       terminated within its member;
 *   13  the sending station is not in ST (create, replace);
 *   -7  reading the entries or command rows failed;
 *   14  no active entry for VDSN and SIDSENDER (replace, delete);
 *   19  an active entry for VDSN and SIDSENDER exists already (create);
 *   -5  DSNLOCAL, BATCHJOB or CODETABLE longer than 254 characters, ACCTRECVR longer than
 *       20, COMMENTRE longer than 50, or one of them not terminated within its member;
 *   16  DSNLOCAL is not a valid path (a control character, one of < > " | ? *, or ending in
 *       a path separator);
 *   17  the BATCHJOB or CODETABLE file does not exist; 99 it is not a valid path;
 *   99  no command number is left;
 *   -7  the command row of a deleted or replaced entry could not be marked done;
 *   else the status of the failing insert (the transaction is rolled back).
 * On success (0) record->cn holds the new entry's command number (create, replace), the
 * station log has "RE /CREATE CMDID=n" and/or "RE /DELETE CMDID=n" (message CMD_EXECUTED) and
 * this process's list of entries is loaded again. */
int32_t kytResidentReceiveEntry(int32_t action, kyt_re_record *record, void *unused);

/* Creates an entry as kytResidentReceiveEntry with action 3 and writes its command number
 * to *cn (0 on failure). Returns its codes; -5 also for a NULL cn. */
int32_t kytCreateRECmd(int32_t *cn, kyt_re_record *record);

/* Walks the active entries in ascending command number. With previous 0, or when this
 * process has no list yet, the list is read from the database first (the list is kept per
 * process and read again after every change this process makes). Writes the first active
 * entry's number greater than `previous` to *cn and returns 0; -1 when there is none; 99
 * when the list could not be read; -5 for a NULL cn. */
int32_t kytGetNextRE(int32_t previous, int32_t *cn);

/* Copies the active entry with command number cn into *record (the list is read first when
 * this process has none). Returns 0; 14 when no active entry has that number; 99 when the
 * list could not be read; -5 for a NULL record. */
int32_t kytGetRE(int32_t cn, kyt_re_record *record);

/* ---- User info and parameters ----
 * kytGetParm, kytUserInfoSet and their siblings.
 *
 * Codes of the table reads below: -1 no (further) row, -2 the database could not be closed,
 * -3 it could not be found or opened, 99 any other failure (traced). */

/* A station parameter, a row of PT. */
typedef struct kyt_parm {
  char NAME[20]; /* upper case, at most 19 characters */
  int16_t TYPE;  /* 1 text, 4 32-bit integer, 8 16-bit integer: how the station reads VAL */
  int32_t LEN;   /* the parameter's length: texts written by the station are cut to LEN - 1 */
  char VAL[40];  /* the value as text, at most 39 characters */
} kyt_parm;

/* Parameter calls. They read and write PT directly (no parameter cache of the process, no
 * special names such as KYTMODE). A name is case-insensitive; NULL or 20 characters and more
 * give -5 and nothing is read. A NULL record gives 99. */

/* Fills *out with the row `name` (NAME upper-cased, TYPE, LEN, VAL). 0, or 12 when the row
 * does not exist or cannot be read. */
int32_t kytGetParm(const char *name, kyt_parm *out);
/* Writes in->VAL (as it is, cut to 39 characters; TYPE and LEN of the row stay) into the row
 * `name` in one transaction. Then every registered monitor process (RI rows of type "M")
 * gets bit 4 in FLGFLUSH, so that it reads the parameters again, and the monitor is woken.
 * 0; 12 when the row does not exist or cannot be read (the monitors are left alone); 99 when
 * the update failed. */
int32_t kytWriteParm(const char *name, const kyt_parm *in);
/* Fills *out with the first row whose NAME is greater than `name` ("" gives the first row).
 * 0, -1 after the last row, or the table read codes above. */
int32_t kytGetNextParm(const char *name, kyt_parm *out);

/* Copies a setting of the environment file into buffer (at least 256 bytes; cut to 255
 * characters): item 1 PATH, 2 DB, 3 INIT, 4 SYSTEM, 5 ARCDIR, 6 TEMP, 7 USRDAT, 8 SAMPLES,
 * 9 SERVER, 10 PORT, 11 AP_DISPLAY_INTERVAL, 12 LANGUAGE, 13 DBLOG. 0; 12 for another item
 * or a setting that is missing (or an environment file that cannot be read); -5 for a NULL
 * buffer. */
int32_t kytGetConf(int32_t item, char *buffer);

/* User information: free texts of client programs, kept in table TT under a key of at most
 * 128 characters (case kept), a value of at most 1024 characters. */

/* Stores value under key (key cut to 128 characters, value to 1024), replacing the value of
 * an existing key. *length (when length is not NULL) receives the stored value's length.
 * 0; -5 for a NULL or empty key or a NULL value; else the table codes above. */
int32_t kytUserInfoSet(const char *key, const char *value, int32_t *length);
/* Copies at most *length - 1 characters of key's value, and a terminating zero, into buffer,
 * and sets *length to the number copied; with *length below 1 nothing is copied and *length
 * becomes 0. 0; -1 when the key does not exist; -5 for NULL arguments. */
int32_t kytUserInfoGet(const char *key, char *buffer, int32_t *length);
/* The row after `key` in key order ("" gives the first): its key is copied into key (at most
 * *keylength - 1 characters and a zero; a buffer of 129 bytes takes any key) and its value into
 * buffer (at most *length - 1 characters and a zero); both lengths are set to what was
 * copied. 0; -1 after the last row; -5 for NULL arguments or a length below 1; else the table
 * codes above. */
int32_t kytUserInfoGetNext(char *key, int32_t *keylength, char *buffer, int32_t *length);
/* Deletes key's row. 0; -1 when the key does not exist; -5 for a NULL key. */
int32_t kytUserInfoDelete(const char *key);

/* Client initialisation. */

/* Reads the environment file (kytenv.dat) now, so that a client learns at its start whether
 * its installation can be read. Trace lines always carry their time. 0, or 99 when the file
 * cannot be read (the reason is traced). */
int32_t kytcalInit(void);
/* Closes the station database of this process: work not committed is rolled back, every
 * table file is unlocked. 0, or the table codes above. */
int32_t kytcalUninit(void);
/* Registers this process in the process table RI (type "W", its process id, the current time)
 * and keeps its number (KYTID) for kytcalTouchRI. A second call while registered does
 * nothing. 0, or the table codes above. */
int32_t kytcalMWInit(void);
/* Removes this process's RI row. 0 (also when not registered), or the table codes above. */
int32_t kytcalMWUninit(void);
/* Sets DTLASTUSED of this process's RI row to now, at most once a minute (a call within a
 * minute of the last refresh does nothing and answers 0). 0; -5 when the process is not
 * registered (kytcalMWInit); else the table codes above. */
int32_t kytcalTouchRI(void);
/* As kytcalTouchRI, whatever the time since the last refresh. */
int32_t kytcalForcedTouchRI(void);

/* The cursor mode of this process's SQL layer, for the cursors declared from then on (rpdsql
 * "DECLARE ..."; the list calls of this header declare theirs the same way). A cursor keeps
 * the mode it was declared with.
 *   2  stable (the mode at start): each FETCH reads the next row from the table; the cursor
 *      holds its table, and so locks it against every other process of the station, from
 *      DECLARE to CLOSE.
 *   1  snapshot: DECLARE reads every row of the result into memory and gives the table back
 *      at once, so other processes can use it while the cursor is walked; FETCH delivers the
 *      rows as they were at DECLARE. For lists walked slowly; costs the memory of the result.
 * kytcalSetListCursor takes the mode from the environment variable KYTLISTCURSOR,
 * kytcalSetNormalCursor from KYTNORMALCURSOR: a decimal number, 2 when the variable is not
 * set or empty. A client sets the list mode before walking a list and the normal mode
 * after it. 0; -5 for a value that is not 1 or 2 (the mode stays as it was; traced). */
int32_t kytcalSetListCursor(void);
int32_t kytcalSetNormalCursor(void);

/* The last error recorded for a command (a row of FK). */
typedef struct kyt_error_info {
  int32_t err;          /* the error code */
  int32_t errnum;       /* the system's error number at the time */
  int32_t errtype;      /* the kind of error */
  char dtcreated[20];   /* when it was recorded, "YYYY/MM/DD HH:MM:SS" */
  char errmsg[256];     /* its description, at most 255 characters */
} kyt_error_info;
/* Fills *out with the last error of command number cn. 0; -1 when none is recorded; -5 for
 * a NULL out; else the table codes above. */
int32_t kytGetErrorInfoCn(int32_t cn, kyt_error_info *out);

#ifdef __cplusplus
}
#endif

#endif /* KYT_KYT_H */
