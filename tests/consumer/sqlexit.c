/* A client program that ends with work left open: the station's processes end this way when
 * they return from main or call exit() without closing what they used.
 *
 * usage: sqlexit make            create table EX (once, in the database of KYTENV)
 *        sqlexit cursors HOW     declare cursors (one with a row, one without) and end
 *        sqlexit uncommitted HOW insert a row with autocommit off and end
 *        sqlexit count           print "rows N", the rows of EX
 * HOW is "return" (return from main) or "exit" (exit()). Every step prints a line to standard
 * output; the last one, "end", is printed just before the program ends, so a caller sees
 * whether the buffered output survived the end of the process. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <kyt/kyt.h>

static int fail(const char *what, int32_t rc) {
  printf("%s failed: %ld\n", what, (long)rc);
  return 1;
}

static int finish(const char *how) {
  printf("end\n"); /* stays in the buffer until the process ends */
  if (strcmp(how, "exit") == 0) exit(0);
  return 0;
}

int main(int argc, char **argv) {
  int32_t n = 0;
  char name[KYT_CHAR_BUFFER(8)];
  int32_t rows = 0;
  kyt_hostvar v_n = {KYT_HOST_INT32, &n};
  kyt_hostvar v_name = {KYT_HOST_TEXT, name};
  int32_t rc;
  const char *how = argc > 2 ? argv[2] : "return";

  if (argc < 2) return 2;
  if (strcmp(argv[1], "make") == 0) {
    rc = rpdsql("CREATE TABLE EX (N INTEGER NOT NULL, NAME CHAR(8))", (const char *)NULL,
                (const kyt_hostvar *)NULL);
    if (rc != 0) return fail("create", rc);
    rc = rpdsql("INSERT INTO EX VALUES(1, 'one')", (const char *)NULL, (const kyt_hostvar *)NULL);
    if (rc != 0) return fail("insert", rc);
    printf("made\n");
    return 0;
  }
  if (strcmp(argv[1], "count") == 0) {
    rc = rpdsql("DECLARE cnt CURSOR FOR SELECT N FROM EX", (const char *)NULL, &v_n,
                (const kyt_hostvar *)NULL);
    while (rc == 0) {
      ++rows;
      rc = rpdsql("FETCH cnt", (const char *)NULL, &v_n, (const kyt_hostvar *)NULL);
    }
    if (rc != KYT_SQL_NOT_FOUND) return fail("count", rc);
    rpdsql("CLOSE cnt", (const char *)NULL, (const kyt_hostvar *)NULL);
    printf("rows %ld\n", (long)rows);
    return 0;
  }
  if (strcmp(argv[1], "cursors") == 0) {
    rc = rpdsql("DECLARE withrow CURSOR FOR SELECT N, NAME FROM EX", (const char *)NULL, &v_n,
                &v_name, (const kyt_hostvar *)NULL);
    if (rc != 0) return fail("declare withrow", rc);
    printf("declared %ld %s\n", (long)n, name);
    n = 7;
    rc = rpdsql("DECLARE norow CURSOR FOR SELECT N FROM EX WHERE N = ?", (const char *)NULL, &v_n,
                &v_n, (const kyt_hostvar *)NULL);
    if (rc != KYT_SQL_NOT_FOUND) return fail("declare norow", rc);
    printf("declared none\n");
    return finish(how);
  }
  if (strcmp(argv[1], "uncommitted") == 0) {
    rc = rpdsql("SET AUTOCOMMIT OFF", (const char *)NULL, (const kyt_hostvar *)NULL);
    if (rc != 0) return fail("autocommit off", rc);
    rc = rpdsql("INSERT INTO EX VALUES(2, 'two')", (const char *)NULL, (const kyt_hostvar *)NULL);
    if (rc != 0) return fail("insert", rc);
    /* A cursor over the changed table too: the end of the process meets both. */
    rc = rpdsql("DECLARE c CURSOR FOR SELECT N FROM EX", (const char *)NULL, &v_n,
                (const kyt_hostvar *)NULL);
    if (rc != 0) return fail("declare", rc);
    printf("inserted\n");
    return finish(how);
  }
  return 2;
}
