/* liststations: lists the partner stations of a kyt station, one a line.
 *
 * Build against the installed library:
 *   cc liststations.c $(pkg-config --cflags --libs kyt) -o liststations
 * Run where the station's environment file is (kytenv.dat, or KYTENV naming it):
 *   ./liststations
 * Each line: the station id, "local" or "partner", its ODETTE id and its network links. */
#include <stdio.h>

#include <kyt/kyt.h>

int main(void) {
  char sid[17] = "";
  int32_t rc = kytInitStationList();
  if (rc != 0) {
    fprintf(stderr, "liststations: the station list could not be loaded (%ld)\n", (long)rc);
    return 1;
  }
  /* "" starts at the first station; -1 ends the walk. */
  for (rc = kytGetNextStation("", sid); rc == 0; rc = kytGetNextStation(sid, sid)) {
    kyt_station s;
    const kyt_nk_elem *nk;
    if (kytGetStation(sid, &s) != 0) continue;
    printf("%-16s %-7s %-25s", s.sid, s.stationtype == KYT_STATION_LOCAL ? "local" : "partner",
           s.op != NULL ? s.op->odetteid : "-");
    for (nk = s.nk; nk != NULL; nk = nk->next) printf(" %s", nk->protocol);
    printf("\n");
    kytFreeStationEntries(&s); /* the copies kytGetStation made */
  }
  kytFreeStationList();
  return rc == -1 ? 0 : 1;
}
