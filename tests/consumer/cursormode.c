/* A client program of the cursor modes, through kyt.h alone: it walks TT with a cursor while
 * its driver, another process, writes the same table.
 *
 * usage: cursormode init   makes the station tables and three TT rows (catalogue made)
 *        cursormode walk   for the list mode, then the normal mode: sets the mode, declares
 *                          a cursor over TT's keys and prints the first, waits for a line
 *                          on standard input, then prints the rest and closes the cursor */
#include <stdio.h>
#include <string.h>

#include <kyt/kyt.h>

static int walk(const char *label, int32_t (*set_mode)(void)) {
  char key[129], line[64];
  kyt_hostvar out = {KYT_HOST_TEXT, key};
  int32_t rc = set_mode();
  printf("%s %ld", label, (long)rc);
  if (rc != 0) {
    printf("\n");
    fflush(stdout);
    return 0;
  }
  key[0] = '\0';
  rc = rpdsql("DECLARE keys CURSOR FOR SELECT KEY FROM TT ORDER BY KEY", (const char *)NULL, &out,
              (const kyt_hostvar *)NULL);
  printf(" first %ld %s\n", (long)rc, key);
  fflush(stdout);
  if (fgets(line, sizeof line, stdin) == NULL) return 1;
  printf("rest");
  while (rpdsql("FETCH keys", (const char *)NULL, &out, (const kyt_hostvar *)NULL) == 0)
    printf(" %s", key);
  printf(" close %ld\n", (long)rpdsql("CLOSE keys", (const char *)NULL, (const kyt_hostvar *)NULL));
  fflush(stdout);
  return 0;
}

int main(int argc, char **argv) {
  int32_t len = 0;
  if (argc != 2) return 2;
  if (strcmp(argv[1], "init") == 0) {
    int32_t made = rpdini();
    int32_t a = kytUserInfoSet("a", "1", &len);
    int32_t b = kytUserInfoSet("b", "2", &len);
    int32_t c = kytUserInfoSet("c", "3", &len);
    printf("init %ld %ld %ld %ld\n", (long)made, (long)a, (long)b, (long)c);
    return 0;
  }
  if (strcmp(argv[1], "walk") != 0) return 2;
  if (walk("list", kytcalSetListCursor) != 0 || walk("normal", kytcalSetNormalCursor) != 0)
    return 1;
  return kytcalUninit() == 0 ? 0 : 1;
}
