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

#ifdef __cplusplus
}
#endif

#endif /* KYT_KYT_H */
