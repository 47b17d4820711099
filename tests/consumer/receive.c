/* A client program of the resident receive entry calls, through kyt.h alone.
 *
 * usage: receive init    makes the station tables and default rows (catalogue made)
 *        receive run     creates, refuses, replaces, walks and deletes entries as user
 *                        ADMIN, one line of output a step
 * The rows are read back by the driver with kytadm sql. */
#include <stdio.h>
#include <string.h>

#include <kyt/kyt.h>

static kyt_re_record entry(const char *vdsn, const char *sid) {
  kyt_re_record r;
  memset(&r, 0, sizeof r);
  strncpy(r.vdsn, vdsn, sizeof r.vdsn - 1);
  strncpy(r.sidsender, sid, sizeof r.sidsender - 1);
  return r;
}

int main(int argc, char **argv) {
  kyt_re_record r, back;
  int32_t cn = 0, first = 0, rc;
  if (argc != 2) return 2;
  if (strcmp(argv[1], "init") == 0) {
    int32_t made = rpdini();
    printf("init %ld %ld\n", (long)made, (long)rpdipr(NULL));
    return 0;
  }
  if (strcmp(argv[1], "run") != 0) return 2;
  printf("user %ld\n", (long)kytSetUser("admin"));
  r = entry("invoice", "partner1");
  strcpy(r.replace, "x");
  strcpy(r.disp, "d");
  strcpy(r.commentre, "from C");
  rc = kytCreateRECmd(&first, &r);
  printf("create %ld %d\n", (long)rc, first > 0);
  printf("again %ld\n", (long)kytResidentReceiveEntry(KYT_RE_CREATE, &r, NULL));
  r = entry("ABCDEFGHIJKLMNOPQRSTUVWXYZ1", "PARTNER1");
  printf("long vdsn %ld\n", (long)kytResidentReceiveEntry(KYT_RE_CREATE, &r, NULL));
  r = entry("ORDERS", "NOSUCH");
  printf("station %ld\n", (long)kytResidentReceiveEntry(KYT_RE_CREATE, &r, NULL));
  r = entry("ORDERS", "PARTNER1");
  printf("orders %ld\n", (long)kytResidentReceiveEntry(KYT_RE_CREATE, &r, NULL));
  r = entry("INVOICE", "PARTNER1");
  strcpy(r.acctrecvr, "ACC1");
  rc = kytResidentReceiveEntry(KYT_RE_REPLACE, &r, NULL);
  printf("replace %ld %d\n", (long)rc, r.cn > first);
  rc = kytGetNextRE(0, &cn);
  while (rc == 0) {
    rc = kytGetRE(cn, &back);
    printf("entry %s %s %s %s\n", back.vdsn, back.sidsender, back.replace, back.acctrecvr);
    rc = kytGetNextRE(cn, &cn);
  }
  printf("end %ld\n", (long)rc);
  printf("old %ld\n", (long)kytGetRE(first, &back));
  r = entry("orders", "partner1");
  printf("delete %ld\n", (long)kytResidentReceiveEntry(KYT_RE_DELETE, &r, NULL));
  printf("user plain %ld\n", (long)kytSetUser("plain"));
  r = entry("INVOICE", "PARTNER1");
  printf("privilege %ld\n", (long)kytResidentReceiveEntry(KYT_RE_DELETE, &r, NULL));
  return 0;
}
