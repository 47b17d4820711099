/* A client program's use of rpdsql, in C: create a table, insert with host variables, read
 * back through a cursor, and run past the last row. Returns 0, or the number of the step
 * that failed. */
#include <stdint.h>
#include <string.h>

#include "kyt/kyt.h"

int rpdsql_client_steps(void) {
  int32_t cn = 0;
  int16_t prio = 0;
  char status[KYT_CHAR_BUFFER(3)];
  char name[KYT_CHAR_BUFFER(9)];
  char cn_text[KYT_INTEGER_TEXT_BUFFER];
  kyt_hostvar v_cn = {KYT_HOST_INT32, &cn};
  kyt_hostvar v_prio = {KYT_HOST_INT16, &prio};
  kyt_hostvar v_status = {KYT_HOST_TEXT, status};
  kyt_hostvar v_name = {KYT_HOST_TEXT, name};
  kyt_hostvar v_cn_text = {KYT_HOST_TEXT, cn_text};
  int32_t i;

  if (rpdsql("CREATE TABLE CK (CN INTEGER NOT NULL, PRIO SMALLINT, ", "STATUS CHAR(3) NOT NULL, ",
             "NAME CHAR(9))", (const char *)NULL, (const kyt_hostvar *)NULL) != 0)
    return 1;
  if (rpdsql("CREATE UNIQUE INDEX PRIM_CK ON CK (CN)", (const char *)NULL,
             (const kyt_hostvar *)NULL) != 0)
    return 2;
  for (i = 1; i <= 3; ++i) {
    cn = i * 10;
    prio = (int16_t)-i;
    strcpy(status, "qn");
    strcpy(name, i == 2 ? "two" : "other");
    if (rpdsql("INSERT INTO CK (CN, PRIO, STATUS, NAME) ", "VALUES(?, ?, ?, ?)", (const char *)NULL,
               &v_cn, &v_prio, &v_status, &v_name, (const kyt_hostvar *)NULL) != 0)
      return 3;
  }
  /* A single-row read: DECLARE delivers the row, CLOSE frees the cursor. */
  cn = 20;
  name[0] = '\0';
  if (rpdsql("DECLARE one CURSOR FOR SELECT NAME, PRIO FROM CK WHERE CN = ?", (const char *)NULL,
             &v_cn, &v_name, &v_prio, (const kyt_hostvar *)NULL) != 0)
    return 4;
  if (strcmp(name, "two") != 0 || prio != -2) return 5;
  if (rpdsql("CLOSE one", (const char *)NULL, (const kyt_hostvar *)NULL) != 0) return 6;
  /* A list: DECLARE, FETCH until 24200000, which then stays. */
  if (rpdsql("DECLARE lst CURSOR FOR SELECT CN FROM CK WHERE STATUS = 'qn' ORDER BY CN DESC",
             (const char *)NULL, &v_cn, (const kyt_hostvar *)NULL) != 0 || cn != 30)
    return 7;
  /* A FETCH with more variables than columns is refused and takes no row. */
  if (rpdsql("FETCH lst", (const char *)NULL, &v_cn, &v_prio, (const kyt_hostvar *)NULL) !=
      24201003)
    return 18;
  if (rpdsql("FETCH lst", (const char *)NULL, &v_cn, (const kyt_hostvar *)NULL) != 0 || cn != 20)
    return 8;
  /* A number read as text, into the buffer size the header gives for it. */
  memset(cn_text, 'x', sizeof cn_text);
  if (rpdsql("FETCH lst", (const char *)NULL, &v_cn_text, (const kyt_hostvar *)NULL) != 0 ||
      strcmp(cn_text, "10") != 0)
    return 9;
  if (rpdsql("FETCH lst", (const char *)NULL, &v_cn, (const kyt_hostvar *)NULL) != KYT_SQL_NOT_FOUND)
    return 10;
  if (rpdsql("FETCH lst", (const char *)NULL, &v_cn, (const kyt_hostvar *)NULL) != KYT_SQL_NOT_FOUND)
    return 11;
  if (rpdsql("CLOSE lst", (const char *)NULL, (const kyt_hostvar *)NULL) != 0) return 12;
  /* One host variable too many runs nothing. */
  cn = 99;
  if (rpdsql("DELETE FROM CK WHERE CN = ?", (const char *)NULL, &v_cn, &v_cn,
             (const kyt_hostvar *)NULL) != 24201003)
    return 13;
  if (rpdsql("CLOSE DB", (const char *)NULL, (const kyt_hostvar *)NULL) != 0) return 14;
  /* The next statement opens the database again. */
  cn = 10;
  if (rpdsql("DELETE FROM CK WHERE CN = ?", (const char *)NULL, &v_cn, (const kyt_hostvar *)NULL) != 0)
    return 15;
  if (rpdsql("DECLARE c CURSOR FOR SELECT CN FROM CK", (const char *)NULL, &v_cn,
             (const kyt_hostvar *)NULL) != 0 || cn != 20)
    return 16;
  if (rpdsql("CLOSE c", (const char *)NULL, (const kyt_hostvar *)NULL) != 0) return 17;
  return 0;
}
