/* A client program outside the tree: built against the installed kyt package. */
#include <stdio.h>

#include <kyt/kyt.h>

int main(void) {
  int32_t major = 0, minor = 0, build = 0, patch = -1;
  int32_t rc = kytGetVersion(&major, &minor, &build, &patch);
  printf("kyt %d.%d.%d.%d rc=%d\n", (int)major, (int)minor, (int)build, (int)patch, (int)rc);
  return (rc == 1 && major == 5 && minor == 7 && build == 16 && patch == 0) ? 0 : 1;
}
