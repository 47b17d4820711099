/* A client program of the station and routing table import, through the exported C
 * functions only.
 *
 * usage: import init             rpdini on the database of KYTENV (catalogue made)
 *        import stations PATH    rpdist; prints each message as "msg: TEXT", then "rc N"
 *        import routes PATH      rpditr, the same
 *        import quiet PATH       rpdist without a message output; prints "rc N"
 *        import st SID           prints "SID|NETID|STATNAME|PHONE" of the station, or "none"
 *        import op SID           prints "SID|ODETTEID|PSWFROM|SENDBLOCKS", or "none" */
#include <stdio.h>
#include <string.h>

#include <kyt/kyt.h>

static void show(const char *text) { printf("msg: %s", text); }

static int row(const char *statement, const char *sid, int numeric_last) {
  char a[32] = "", b[32] = "", c[32] = "", d[32] = "";
  int32_t n = 0;
  kyt_hostvar in = {KYT_HOST_TEXT, (void *)sid};
  kyt_hostvar o1 = {KYT_HOST_TEXT, a}, o2 = {KYT_HOST_TEXT, b}, o3 = {KYT_HOST_TEXT, c};
  kyt_hostvar o4 = {KYT_HOST_TEXT, d};
  kyt_hostvar o4n = {KYT_HOST_INT32, &n};
  int32_t rc = rpdsql(statement, (const char *)NULL, &in, &o1, &o2, &o3,
                      numeric_last ? &o4n : &o4, (const kyt_hostvar *)NULL);
  rpdsql("CLOSE C_IMP", (const char *)NULL, (const kyt_hostvar *)NULL);
  if (rc == KYT_SQL_NOT_FOUND) {
    printf("none\n");
    return 0;
  }
  if (rc != 0) {
    printf("select %ld\n", (long)rc);
    return 1;
  }
  if (numeric_last)
    printf("%s|%s|%s|%ld\n", a, b, c, (long)n);
  else
    printf("%s|%s|%s|%s\n", a, b, c, d);
  return 0;
}

int main(int argc, char **argv) {
  if (argc == 2 && strcmp(argv[1], "init") == 0) {
    printf("init %ld\n", (long)rpdini());
    return 0;
  }
  if (argc != 3) return 2;
  if (strcmp(argv[1], "stations") == 0) {
    printf("rc %ld\n", (long)rpdist(argv[2], show));
    return 0;
  }
  if (strcmp(argv[1], "routes") == 0) {
    printf("rc %ld\n", (long)rpditr(argv[2], show));
    return 0;
  }
  if (strcmp(argv[1], "quiet") == 0) {
    printf("rc %ld\n", (long)rpdist(argv[2], NULL));
    return 0;
  }
  if (strcmp(argv[1], "st") == 0)
    return row("DECLARE C_IMP CURSOR FOR SELECT SID, NETID, STATNAME, PHONE FROM ST WHERE SID = ?",
               argv[2], 0);
  if (strcmp(argv[1], "op") == 0)
    return row("DECLARE C_IMP CURSOR FOR SELECT SID, ODETTEID, PSWFROM, SENDBLOCKS FROM OP "
               "WHERE SID = ?",
               argv[2], 1);
  return 2;
}
