/* sendfile: hands a file to the station for sending and shows the entry it made.
 *
 *   sendfile FILE STATION [VDSN]
 *
 * Creates one send entry (FILE to STATION, under the virtual dataset name VDSN when given),
 * then finds it in the station's list of send entries and prints its number, status,
 * destination and the file the station will read. Exit status 0, or 1 when the station
 * refused (its message on standard error), 2 for wrong arguments.
 *
 * Build: cc sendfile.c $(pkg-config --cflags --libs kyt) -o sendfile */
#include <stdio.h>
#include <string.h>

#include <kyt/kyt.h>

int main(int argc, char **argv) {
  char msg[KYT_SEND_MSG_SIZE] = "";
  kytSendEntryRequest req;
  kytSendEntry entry;
  int32_t created, cn = 0, rc;

  if (argc < 3 || argc > 4) {
    fprintf(stderr, "usage: sendfile FILE STATION [VDSN]\n");
    return 2;
  }
  memset(&req, 0, sizeof req);
  req.dsn = argv[1];
  req.sid = argv[2];
  req.dsnnew = argc == 4 ? argv[3] : NULL;
  req.maxrecl = -1; /* not given: the station's default */
  req.msg = msg;
  created = kytCreateSendEntryCmdS(&req);
  if (created < 0) {
    fprintf(stderr, "sendfile: %s\n", msg);
    return 1;
  }
  printf("entry %ld created\n", (long)created);

  /* Walk the list (loaded afresh by the start with 0) to the new entry. */
  for (rc = kytGetNextSendCmd(0, &cn); rc == 0 && cn < created; rc = kytGetNextSendCmd(cn, &cn))
    ;
  if (rc != 0 || cn != created || kytGetSendEntry(cn, &entry) != 0) {
    fprintf(stderr, "sendfile: entry %ld not found in the list (%ld)\n", (long)created, (long)rc);
    return 1;
  }
  printf("entry %ld status %s to %s as %s from %s\n", (long)entry.cn, entry.status,
         entry.siddest, entry.vdsn, entry.dsnlocal);
  return 0;
}
