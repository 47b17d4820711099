/* A client program of the parameter, setting, user information and registration calls,
 * through kyt.h alone.
 *
 * usage: userinfo init   makes the station tables and default rows (catalogue made)
 *        userinfo run    one line of output a step; the rows are read back by the driver */
#include <stdio.h>
#include <string.h>

#include <kyt/kyt.h>

int main(int argc, char **argv) {
  kyt_parm p;
  char buf[2048], key[129], big[2001], conf[256];
  int32_t len, klen, rc, n = 0;
  kyt_error_info info;
  if (argc != 2) return 2;
  if (strcmp(argv[1], "mw") == 0) {  /* registered and gone again; the caller is known */
    char uid[21];
    printf("mwinit %ld", (long)kytcalMWInit());
    printf(" mwuninit %ld", (long)kytcalMWUninit());
    printf(" again %ld", (long)kytcalMWUninit());
    printf(" user %ld", (long)kytGetUser(uid));
    printf(" %s\n", uid);
    return 0;
  }
  if (strcmp(argv[1], "init") == 0) {
    int32_t made = rpdini();
    printf("init %ld %ld\n", (long)made, (long)rpdipr(NULL));
    return 0;
  }
  if (strcmp(argv[1], "run") != 0) return 2;
  printf("calinit %ld\n", (long)kytcalInit());
  memset(&p, 0, sizeof p);
  rc = kytGetParm("maxrecl", &p);
  printf("maxrecl %ld %s %d %ld %s\n", (long)rc, p.NAME, p.TYPE, (long)p.LEN, p.VAL);
  printf("name20 %ld\n", (long)kytGetParm("ABCDEFGHIJKLMNOPQRST", &p));
  strcpy(p.VAL, "45");
  printf("write %ld\n", (long)kytWriteParm("sleep", &p));
  printf("write unknown %ld\n", (long)kytWriteParm("NOSUCH", &p));
  key[0] = '\0';
  while ((rc = kytGetNextParm(key, &p)) == 0) {
    strcpy(key, p.NAME);
    ++n;
  }
  printf("walk %ld %d\n", (long)rc, n > 100);
  rc = kytGetConf(0, conf);
  printf("conf0 %ld conf14 %ld\n", (long)rc, (long)kytGetConf(14, conf));
  rc = kytGetConf(2, conf);
  printf("conf2 %ld %s\n", (long)rc, conf);
  memset(big, 'v', 2000);
  big[2000] = '\0';
  printf("set %ld", (long)kytUserInfoSet("note", big, &len));
  printf(" %ld\n", (long)len);
  len = 5;
  rc = kytUserInfoGet("note", buf, &len);
  printf("get %ld %ld %s\n", (long)rc, (long)len, buf);
  kytUserInfoSet("alpha", "first", &len);
  key[0] = '\0';
  klen = sizeof key;
  len = sizeof buf;
  while ((rc = kytUserInfoGetNext(key, &klen, buf, &len)) == 0) {
    printf("next %s %ld\n", key, (long)len);
    klen = sizeof key;
    len = sizeof buf;
  }
  printf("next end %ld\n", (long)rc);
  rc = kytUserInfoDelete("alpha");
  printf("delete %ld %ld\n", (long)rc, (long)kytUserInfoDelete("alpha"));
  printf("touch %ld\n", (long)kytcalTouchRI());
  printf("mwinit %ld\n", (long)kytcalMWInit());
  printf("forced %ld\n", (long)kytcalForcedTouchRI());
  printf("error %ld\n", (long)kytGetErrorInfoCn(1, &info));
  printf("uninit %ld\n", (long)kytcalUninit());
  return 0;
}
