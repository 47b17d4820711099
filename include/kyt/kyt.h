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
 * rpdist, rpditr. */

/* A receiver of operator messages: one line of text a call. */
typedef void (*kyt_msg_out)(const char *text);
int32_t rpdist(const char *path, kyt_msg_out out);
int32_t rpditr(const char *path, kyt_msg_out out);

/* ---- Monitor: log-writer channel, notifications, database log ----
 * rpwopq, rpwwrq. */

/* ---- Monitor: stop requests, unique processes, transmitter ----
 * rpxunq, the stop events, the transmitter's pipe. */
int32_t rpxunq(int32_t action, const char *process);

/* ---- Database administration ----
 * kytInitDB, kytWriteDB, the dumps, kytDeleteDB. */

/* ---- Station list ----
 * kytInitStationList and its siblings. */

/* ---- Send entries ----
 * kytCreateSendEntry and its siblings.
 *
 * A send entry asks the station to send one local file to one or more partners. The creation
 * calls compose a SEND /CREATE command line from their arguments and run it through kytcal;
 * the command writes the rows (KT command row of type SE, SE, VD, one ET row a destination)
 * and hands back the new command number. docs/api/send.md shows them at work.
 *
 * Texts: NULL or "" means "not given". Every text goes into the command line, so a value that
 * could change the line is refused with -5 before any command runs: a double quote, a byte
 * below 0x20, 0x7F or 0xFF in any field; also a single quote in INITTIME (written in single
 * quotes); and in the fields written without quotes (all but DSN, DSNNEW, EFCHECK, OIDORIG,
 * OIDDEST, INITTIME) a blank, "=", "(", ")" or a single quote. The command itself refuses
 * values it cannot store (too long, not of their kind) with its own codes and message; see
 * docs/commands/SEND.md.
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
 * kytResidentReceiveEntry and its siblings. */

/* ---- User info and parameters ----
 * kytGetParm, kytUserInfoSet and their siblings. */

#ifdef __cplusplus
}
#endif

#endif /* KYT_KYT_H */
