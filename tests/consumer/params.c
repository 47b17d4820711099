/* A client program of the parameter service and the command table cache, through the
 * exported C functions only.
 *
 * usage: params init     rpdini and rpdipr on the database of KYTENV (catalogue made)
 *        params check    reads, writes and lists parameters; asks the command cache
 * Every step prints one line to standard output. */
#include <stdio.h>
#include <string.h>

#include <kyt/kyt.h>

static int listed = 0;
static int32_t count(const char *name, const char *value) {
  if (listed < 3) printf("list %s\n", name);
  (void)value;
  ++listed;
  return 5;
}

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  if (strcmp(argv[1], "init") == 0) {
    int32_t a = rpdini();
    int32_t b = rpdipr(NULL);
    printf("init %ld %ld\n", (long)a, (long)b);
    return 0;
  }
  if (strcmp(argv[1], "check") == 0) {
    int32_t maxrecl = 0;
    int16_t sleep = 0;
    char text[41];
    char opset[] = "sleep=17";
    char empty[] = "SLEEP=";
    char value[64];
    int32_t rc;
    rc = rpdprm("get", "maxrecl", &maxrecl);
    printf("get maxrecl %ld %ld\n", (long)rc, (long)maxrecl);
    rc = rpdprm("get", "NUMRLOGS", &maxrecl);
    printf("get NUMRLOGS %ld %ld\n", (long)rc, (long)maxrecl);
    rc = rpdprm("get", "VDSNCHAR", text);
    printf("get VDSNCHAR %ld %s\n", (long)rc, text);
    printf("get DTCONN04 %ld", (long)rpdprm("get", "DTCONN04", text));
    printf(" %ld\n", (long)rpdprm("get", "DTCONN04", text));
    printf("opset empty %ld\n", (long)rpdprm("opset", NULL, empty));
    rc = rpdprm("opset", NULL, opset);
    rpdprm("get", "SLEEP", &sleep);
    printf("opset %ld %d\n", (long)rc, sleep);
    printf("verb %ld\n", (long)rpdprm("put", "SLEEP", &sleep));
    rc = rpdprm("list", "ALL", (void *)count);
    printf("list ALL %ld %d\n", (long)rc, listed > 100);
    printf("cch %ld\n", (long)rpdcch(123, "1", "STATUS", value, (int32_t)sizeof value));
    printf("cch action %ld\n", (long)rpdcch(1, "1", "STATUS", value, (int32_t)sizeof value));
    printf("ch %ld\n", (long)rpdch(123, 0, 8, value, (int32_t)sizeof value));
    return 0;
  }
  return 2;
}
