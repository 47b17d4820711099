/* A client program of database administration, through the exported C functions only.
 *
 * usage: dbadmin init | delete            kytInitDB / kytDeleteDB
 *        dbadmin dump FILE | write FILE   kytDumpDB / kytWriteDB
 *        dbadmin groups FILE              rpdbd1, rpdbd2, rpdbd3 appended to FILE
 *        dbadmin group1 FILE              rpdbw1: loads group 1's lines of FILE
 *        dbadmin groups23 FILE            rpdbw2, rpdbw3: load groups 2 and 3 of FILE
 *        dbadmin partial FILE             kytDumpParameter, kytDumpUser,
 *                                         kytDumpResidentReceiveEntries, kytDumpJobstartEntries,
 *                                         DumpStationInfoTables1..3 into FILE.1 .. FILE.7
 *        dbadmin stations FILE            kytDumpStations with time
 *        dbadmin ru FILE                  kytDumpRU
 *        dbadmin version                  prints "version V|DATE"
 *        dbadmin null                     the calls with null arguments: "null N N N N"
 * Each reported message is printed as "msg: S KEY", the highest row count as "rows N", the
 * result as "rc N". */
#include <stdio.h>
#include <string.h>

#include <kyt/kyt.h>

static long g_rows = -1;

static void progress(char severity, const char *key, const char *text, long rows,
                     void *context) {
  (void)text;
  (void)context;
  if (rows >= 0) {
    if (rows > g_rows) g_rows = rows;
    return;
  }
  printf("msg: %c %s\n", severity, key);
}

int main(int argc, char **argv) {
  int32_t rc = -100;
  if (argc < 2) return 2;
  kytSetDBProgress(progress, NULL);
  const char *op = argv[1];
  const char *file = argc > 2 ? argv[2] : "";
  if (strcmp(op, "init") == 0) {
    rc = kytInitDB();
  } else if (strcmp(op, "delete") == 0) {
    rc = kytDeleteDB();
  } else if (strcmp(op, "dump") == 0) {
    rc = kytDumpDB(file);
  } else if (strcmp(op, "write") == 0) {
    rc = kytWriteDB(file);
  } else if (strcmp(op, "groups") == 0) {
    FILE *f = fopen(file, "wb");
    if (f != NULL) fclose(f);
    rc = rpdbd1(file);
    if (rc == 0) rc = rpdbd2(file);
    if (rc == 0) rc = rpdbd3(file);
  } else if (strcmp(op, "group1") == 0) {
    rc = rpdbw1(file);
  } else if (strcmp(op, "groups23") == 0) {
    rc = rpdbw2(file);
    if (rc == 0) rc = rpdbw3(file);
  } else if (strcmp(op, "partial") == 0) {
    int32_t (*const dumps[])(const char *, int32_t) = {
        kytDumpParameter, kytDumpUser, kytDumpResidentReceiveEntries, kytDumpJobstartEntries};
    int32_t (*const tables[])(const char *) = {DumpStationInfoTables1, DumpStationInfoTables2,
                                               DumpStationInfoTables3};
    char name[1024];
    rc = 0;
    for (int i = 0; i < 7 && rc == 0; ++i) {
      snprintf(name, sizeof name, "%s.%d", file, i + 1);
      if (i < 4) {
        rc = dumps[i](name, 0);
      } else {
        FILE *f = fopen(name, "wb");  /* they append */
        if (f != NULL) fclose(f);
        rc = tables[i - 4](name);
      }
    }
  } else if (strcmp(op, "stations") == 0) {
    rc = kytDumpStations(file, 1);
  } else if (strcmp(op, "ru") == 0) {
    rc = kytDumpRU(file);
  } else if (strcmp(op, "version") == 0) {
    char version[128], date[20];
    rc = kytGetDBVersion(version, date);
    if (rc == 0) printf("version %s|%s\n", version, date);
  } else if (strcmp(op, "null") == 0) {
    char version[128];
    printf("null %ld %ld %ld %ld\n", (long)kytWriteDB(NULL), (long)kytDumpDB(NULL),
           (long)kytDumpUser("", 1), (long)kytGetDBVersion(version, NULL));
    rc = 0;
  } else {
    return 2;
  }
  kytSetDBProgress(NULL, NULL);
  if (g_rows >= 0) printf("rows %ld\n", g_rows);
  printf("rc %ld\n", (long)rc);
  return 0;
}
