/* A client program of the station list, through the exported C functions only.
 *
 * usage: stations init          rpdini and rpdipr on the database of KYTENV (catalogue made)
 *        stations write         kytUpdateStation of three stations, and refusals
 *        stations list          loads, walks, copies and frees the list, with its edge cases
 *        stations delete SID    kytDeleteStation, then kytWakeMonitor
 * Every step prints one line to standard output. */
#include <stdio.h>
#include <string.h>

#include <kyt/kyt.h>

static int count_nk(const kyt_nk_elem *e) { int n = 0; for (; e; e = e->next) ++n; return n; }
static int count_rt(const kyt_rt_elem *e) { int n = 0; for (; e; e = e->next) ++n; return n; }

static int32_t write_stations(void) {
  kyt_station r;
  kyt_nk_elem nk;
  kyt_rt_elem rt;
  kyt_op_elem op;
  kyt_tc_elem tc;
  kyt_lx_elem lx;
  int32_t rc;

  memset(&r, 0, sizeof r);
  strcpy(r.sid, "HUB");
  strcpy(r.st.netid, "NET");
  strcpy(r.st.statname, "our station");
  printf("update HUB %ld\n", (long)kytUpdateStation(&r));

  memset(&nk, 0, sizeof nk);
  strcpy(nk.ftp, "F");
  strcpy(nk.protocol, "T");
  strcpy(nk.autodial, "Y");
  nk.priority = 5;
  memset(&op, 0, sizeof op);
  strcpy(op.odetteid, "o0013paris");
  strcpy(op.pswfrom, "pfrom");
  strcpy(op.pswto, "pto");
  op.flagcomp = 1;
  memset(&tc, 0, sizeof tc);
  strcpy(tc.protocol, "T");
  strcpy(tc.inaddr, "192.0.2.9");
  tc.port = 3305;
  tc.rcv_n = 1;
  memset(&lx, 0, sizeof lx);
  strcpy(lx.name, "MAXRECL");
  lx.type = 4;
  lx.len = 4;
  strcpy(lx.val, "2048");
  strcpy(r.sid, "PARIS");
  strcpy(r.st.statname, "Paris office");
  r.nk = &nk;
  r.op = &op;
  r.tc = &tc;
  r.lx = &lx;
  printf("update PARIS %ld\n", (long)kytUpdateStation(&r));

  memset(&rt, 0, sizeof rt);
  strcpy(rt.sidneighb, "PARIS");
  rt.priority = 1;
  strcpy(nk.protocol, "X");
  nk.flagsuspnd = 1;
  strcpy(r.sid, "ROME");
  strcpy(r.st.statname, "Rome");
  r.op = NULL;
  r.tc = NULL;
  r.lx = NULL;
  r.rt = &rt;
  printf("update ROME %ld\n", (long)kytUpdateStation(&r));

  strcpy(r.sid, "");
  rc = kytUpdateStation(&r);
  strcpy(r.sid, "ROME");
  strcpy(rt.siddest, "PARIS");
  printf("refused %ld %ld %ld\n", (long)rc, (long)kytUpdateStation(&r),
         (long)kytUpdateStation(NULL));
  return 0;
}

static int32_t list_stations(void) {
  char sid[17] = "";
  char last[17] = "";
  int32_t rc;
  int heads = 0;
  const kyt_station *n;
  kyt_station s;

  printf("init %ld\n", (long)kytInitStationList());
  for (rc = kytGetNextStation("", sid); rc == 0; rc = kytGetNextStation(sid, sid)) {
    if (kytGetStation(sid, &s) != 0) {
      printf("get %s failed\n", sid);
      continue;
    }
    printf("%s %ld nk=%d rt=%d op=%s tc=%s lx=%s\n", s.sid, (long)s.stationtype, count_nk(s.nk),
           count_rt(s.rt), s.op ? s.op->odetteid : "-", s.tc ? s.tc->inaddr : "-",
           s.lx ? s.lx->val : "-");
    kytFreeStationEntries(&s);
    strcpy(last, sid);
  }
  printf("end %ld\n", (long)rc);
  for (n = kytGetStationListHead(); n != NULL; n = n->next) ++heads;
  printf("head walk %d\n", heads);
  printf("after last %ld\n", (long)kytGetNextStation(last, sid));
  printf("bad ids %ld %ld %ld\n", (long)kytGetNextStation("SEVENTEENCHARID17", sid),
         (long)kytGetNextStation("A\x01", sid), (long)kytGetNextStation(NULL, sid));
  printf("missing %ld\n", (long)kytGetStation("NOPE", &s));
  printf("refresh %ld\n", (long)kytRefreshStationList());
  rc = kytFreeStationList();
  printf("free %ld %d\n", (long)rc, kytGetStationListHead() == NULL);
  return 0;
}

int main(int argc, char **argv) {
  if (argc < 2) return 2;
  if (strcmp(argv[1], "init") == 0) {
    int32_t a = rpdini();
    int32_t b = rpdipr(NULL);
    printf("init %ld %ld\n", (long)a, (long)b);
    return 0;
  }
  if (strcmp(argv[1], "write") == 0) return write_stations();
  if (strcmp(argv[1], "list") == 0) return list_stations();
  if (strcmp(argv[1], "undo") == 0 && argc == 3) {  /* inside the client's own transaction */
    int32_t off = rpdsql("SET AUTOCOMMIT OFF", (const char *)NULL, (const kyt_hostvar *)NULL);
    int32_t del = kytDeleteStation(argv[2]);
    int32_t back = rpdsql("ROLLBACK WORK", (const char *)NULL, (const kyt_hostvar *)NULL);
    int32_t on = rpdsql("SET AUTOCOMMIT ON", (const char *)NULL, (const kyt_hostvar *)NULL);
    printf("undo %ld %ld %ld %ld\n", (long)off, (long)del, (long)back, (long)on);
    return 0;
  }
  if (strcmp(argv[1], "delete") == 0 && argc == 3) {
    printf("delete %ld\n", (long)kytDeleteStation(argv[2]));
    printf("wake %ld\n", (long)kytWakeMonitor());
    return 0;
  }
  return 2;
}
