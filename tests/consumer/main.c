/* A client program outside the tree: built against the installed kyt package. */
#include <errno.h> /* before kyt_elem.h: errno is a macro, the FK/FS member is errno_ */
#include <stdio.h>
#include <string.h>

#include <kyt/kyt.h>
#include <kyt/kyt_elem.h>

int main(void) {
  int32_t major = 0, minor = 0, build = 0, patch = -1;
  int32_t rc = kytGetVersion(&major, &minor, &build, &patch);
  printf("kyt %d.%d.%d.%d rc=%d\n", (int)major, (int)minor, (int)build, (int)patch, (int)rc);

  /* The element records: a chain of two station entries and a command. */
  struct kyt_st_elem second;
  kyt_st_elem first;
  kyt_kt_elem kt;
  kyt_fk_elem fk;
  memset(&first, 0, sizeof first);
  memset(&second, 0, sizeof second);
  memset(&kt, 0, sizeof kt);
  memset(&fk, 0, sizeof fk);
  snprintf(first.sid, sizeof first.sid, "%s", "PARTNER1");
  first.next = &second;
  kt.cn = 42;
  kt.priority = 3;
  snprintf(kt.dtcreated, sizeof kt.dtcreated, "%s", "2026/01/31 23:59:59");
  fk.errno_ = errno;
  if (sizeof first.sid != 17 || sizeof kt.cmdtype != 3 || sizeof kt.dtcreated != 20 ||
      sizeof kt.priority != 2 || sizeof kt.cn != 4 || first.next->next != NULL ||
      strlen(kt.dtcreated) != 19) {
    printf("element records differ from their rule\n");
    return 1;
  }
  return (rc == 1 && major == 5 && minor == 7 && build == 16 && patch == 0) ? 0 : 1;
}
