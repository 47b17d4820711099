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

/* A host variable of an SQL statement: its type and the address of the caller's variable.
 * type: 1 zero-terminated text, 2 double, 4 int32_t, 8 int16_t. */
typedef struct kyt_hostvar {
  int32_t type;
  void *addr;
} kyt_hostvar;

/* Statuses of rpdsql that tell the state of a table rather than a failure of the program. */
#define KYT_SQL_TABLE_LOCKED 256120 /* table locked by another process: try again later */
#define KYT_SQL_KEY_TOO_LONG 256121 /* the key columns' texts exceed about 8150 bytes */
#define KYT_SQL_TABLE_DAMAGED 256122 /* a table file is damaged (kytadm check tells more) */

/* Runs a statement of the station's SQL subset against the station database (opened on
 * first use). Arguments: the statement pieces (joined with nothing between them), then
 * (const char *)NULL, then one const kyt_hostvar * per "?" mark, followed for DECLARE and
 * FETCH by one per selected column (the row is written there), then
 * (const kyt_hostvar *)NULL.
 * Returns 0; 24200000 when no (further) row exists; 24200001 / 24200002 when the database
 * could not be closed / opened; 99 when the statement could not be composed or the program
 * failed; KYT_SQL_TABLE_LOCKED, KYT_SQL_KEY_TOO_LONG, KYT_SQL_TABLE_DAMAGED; otherwise the
 * status of the statement. */
int32_t rpdsql(const char *piece, ...);

#ifdef __cplusplus
}
#endif

#endif /* KYT_KYT_H */
