/* A client program of the batch command entry, through the exported C functions only.
 *
 * usage: kytcal init         rpdini and rpdipr on the database of KYTENV (catalogue made)
 *        kytcal check        the contract of kytcal: the caller's buffer, the message cut
 *                            to the caller's length, the command number, bad arguments
 *        kytcal run LINE...  one line "RC SEVERITY CN MESSAGE" a command line
 * Every step prints one line to standard output. */
#include <stdio.h>
#include <string.h>

#include <kyt/kyt.h>

static int32_t run(const char *line, int32_t cmdlen, char *msg, int32_t size, char *severity,
                   int32_t *msglen, int32_t *cn) {
  *severity = 0;
  *msglen = size;
  *cn = -1;
  return kytcal(cmdlen, line, severity, msg, msglen, cn);
}

int main(int argc, char **argv) {
  char msg[256];
  char severity;
  int32_t msglen, cn, rc;
  if (argc < 2) return 2;
  if (strcmp(argv[1], "init") == 0) {
    int32_t a = rpdini();
    int32_t b = rpdipr(NULL);
    printf("init %ld %ld\n", (long)a, (long)b);
    return 0;
  }
  if (strcmp(argv[1], "run") == 0) {
    int i;
    for (i = 2; i < argc; ++i) {
      rc = run(argv[i], (int32_t)strlen(argv[i]), msg, sizeof msg, &severity, &msglen, &cn);
      printf("%ld %c %ld %s\n", (long)rc, severity, (long)cn, msg);
    }
    return 0;
  }
  if (strcmp(argv[1], "check") == 0) {
    /* A line in read-only memory with more behind the given length: kytcal may neither
     * write into it nor read past the length (the rest would make the line fail). */
    static const char line[] = "USER /CREATE UID=client NAME=\"C client\" )(";
    const int32_t len = (int32_t)(sizeof line - 1 - 3);
    char small[10];
    rc = run(line, len, msg, sizeof msg, &severity, &msglen, &cn);
    printf("create %ld %c %s %s\n", (long)rc, severity, cn > 0 ? "numbered" : "unnumbered", msg);
    memset(small, 'x', sizeof small);
    rc = run("USER /MODIFY UID=CLIENT PRIV=O", 30, small, 8, &severity, &msglen, &cn);
    printf("cut %ld %s %ld %c\n", (long)rc, small, (long)msglen, small[8]);
    rc = run(line, len, msg, sizeof msg, &severity, &msglen, &cn);
    printf("again %ld %c %ld\n", (long)rc, severity, (long)cn);
    rc = run("LISTPARM PARM=maxrecl", 21, msg, sizeof msg, &severity, &msglen, &cn);
    printf("listparm %ld %c %s\n", (long)rc, severity, msg);
    printf("bad %ld %ld\n", (long)kytcal(-1, "END", NULL, NULL, NULL, NULL),
           (long)kytcal(3, NULL, NULL, NULL, NULL, NULL));
    return 0;
  }
  return 2;
}
