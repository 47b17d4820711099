/* A client program of the send entry calls, through the exported C functions only.
 *
 * usage: send init                      rpdini and rpdipr on the database of KYTENV
 *        send create FILE SID [K=V ...] kytCreateSendEntryCmdS; K is a field of the request
 *                                       (disp, label, dsnnew, uid, maxrecl, oiddest, ...)
 *        send plain FILE SID            the other creation calls, one line each
 *        send list [UID]                walks the list (with the sender filter UID)
 *        send errors                    walks with kytGetNextSendErrCh
 *        send set CN ACTION             kytSetSendEntry
 * Every step prints one line to standard output. */
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <kyt/kyt.h>

static char msg[KYT_SEND_MSG_SIZE];

static int set_field(kytSendEntryRequest *r, const char *kv) {
  static const struct {
    const char *name;
    size_t offset;
  } fields[] = {
      {"disp", offsetof(kytSendEntryRequest, disp)},
      {"format", offsetof(kytSendEntryRequest, format)},
      {"codein", offsetof(kytSendEntryRequest, codein)},
      {"inittime", offsetof(kytSendEntryRequest, inittime)},
      {"serial", offsetof(kytSendEntryRequest, serial)},
      {"label", offsetof(kytSendEntryRequest, label)},
      {"vftyp", offsetof(kytSendEntryRequest, vftyp)},
      {"tstamp", offsetof(kytSendEntryRequest, tstamp)},
      {"compression", offsetof(kytSendEntryRequest, compression)},
      {"encryption", offsetof(kytSendEntryRequest, encryption)},
      {"dsnnew", offsetof(kytSendEntryRequest, dsnnew)},
      {"codeout", offsetof(kytSendEntryRequest, codeout)},
      {"uid", offsetof(kytSendEntryRequest, uid)},
      {"codetable", offsetof(kytSendEntryRequest, codetable)},
      {"sidorig", offsetof(kytSendEntryRequest, sidorig)},
      {"efcheck", offsetof(kytSendEntryRequest, efcheck)},
      {"oidorig", offsetof(kytSendEntryRequest, oidorig)},
      {"oiddest", offsetof(kytSendEntryRequest, oiddest)},
  };
  const char *eq = strchr(kv, '=');
  size_t i;
  if (eq == NULL) return 0;
  if (strncmp(kv, "maxrecl=", 8) == 0) {
    r->maxrecl = (int32_t)atol(eq + 1);
    return 1;
  }
  for (i = 0; i < sizeof fields / sizeof fields[0]; ++i) {
    if (strlen(fields[i].name) == (size_t)(eq - kv) &&
        strncmp(kv, fields[i].name, (size_t)(eq - kv)) == 0) {
      *(const char **)((char *)r + fields[i].offset) = eq + 1;
      return 1;
    }
  }
  return 0;
}

static void show(const kytSendEntry *e) {
  printf("%ld %s %s %s>%s+%ld %s %s %s%s\n", (long)e->cn, e->status, e->uidsender, e->sidsender,
         e->siddest, (long)(e->cntdest - 1), e->vdsn, e->recfm, e->disp,
         e->dtschedule[0] ? " scheduled" : "");
}

int main(int argc, char **argv) {
  if (argc < 2) return 2;
  if (strcmp(argv[1], "init") == 0) {
    int32_t a = rpdini();
    int32_t b = rpdipr(NULL);
    printf("init %ld %ld\n", (long)a, (long)b);
    return 0;
  }
  if (strcmp(argv[1], "create") == 0 && argc >= 4) {
    kytSendEntryRequest r;
    int32_t cn;
    int i;
    memset(&r, 0, sizeof r);
    r.dsn = argv[2];
    r.sid = argv[3];
    r.maxrecl = -1;
    r.msg = msg;
    for (i = 4; i < argc; ++i)
      if (!set_field(&r, argv[i])) return 2;
    cn = kytCreateSendEntryCmdS(&r);
    if (cn > 0)
      printf("cn %ld\n", (long)cn);
    else
      printf("rc %ld %s\n", (long)cn, msg);
    return 0;
  }
  if (strcmp(argv[1], "plain") == 0 && argc == 4) {
    const char *f = argv[2], *s = argv[3];
    printf("plain %ld", (long)kytCreateSendEntry(f, "K", "T", NULL, NULL, "N", "one", NULL, s,
                                                  NULL, NULL, msg));
    printf(" %ld", (long)kytCreateSendEntry2(f, NULL, NULL, NULL, NULL, NULL, "two", "F", 80,
                                              NULL, s, NULL, NULL, msg, NULL));
    printf(" %ld", (long)kytCreateSendEntryWithOrig(f, NULL, NULL, NULL, NULL, NULL, "three",
                                                     NULL, 0, NULL, s, s, NULL, NULL, msg, NULL));
    printf(" %ld", (long)kytCreateSendEntryCmd(f, NULL, NULL, NULL, NULL, NULL, "four", NULL, s,
                                                NULL, NULL, msg));
    printf(" %ld", (long)kytCreateSendEntryCmd2(f, NULL, NULL, NULL, NULL, NULL, "five", NULL, -1,
                                                 NULL, s, NULL, NULL, msg));
    printf(" %ld", (long)kytCreateSendEntryCmdWithOrig(f, NULL, NULL, NULL, NULL, NULL, "six",
                                                        NULL, 0, NULL, s, s, NULL, NULL, msg));
    printf(" %ld", (long)kytCreateSendEntryS(NULL));
    printf(" %ld", (long)kytCreateSendEntryCmdS(NULL));
    printf(" %ld %ld", (long)SetUIDSEList("ABCDEFGHIJKLMNOPQRST"),
           (long)SetUIDSEList("ABCDEFGHIJKLMNOPQRSTU"));
    printf(" %ld\n", (long)SetUIDSEList(NULL));
    return 0;
  }
  if (strcmp(argv[1], "list") == 0) {
    int32_t cn = 0, rc;
    kytSendEntry e;
    if (argc > 2) SetUIDSEList(argv[2]);
    for (rc = kytGetNextSendCmd(0, &cn); rc == 0; rc = kytGetNextSendCmd(cn, &cn)) {
      if (kytGetSendEntry(cn, &e) != 0) return 1;
      show(&e);
    }
    printf("end %ld\n", (long)rc);
    return 0;
  }
  if (strcmp(argv[1], "errors") == 0) {
    int32_t cn = 0, rc;
    kytSendErrInfo *info = (kytSendErrInfo *)malloc(sizeof *info);
    if (info == NULL) return 1;
    for (rc = kytGetNextSendErrCh(0, &cn, info); rc == 0; rc = kytGetNextSendErrCh(cn, &cn, info))
      printf("%ld %s held=%s fk=%ld:%s\n", (long)cn, info->entry.status, info->heldby,
             (long)info->has_fk, info->fk_errmsg);
    printf("end %ld\n", (long)rc);
    free(info);
    return 0;
  }
  if (strcmp(argv[1], "set") == 0 && argc == 4) {
    int32_t rc = kytSetSendEntry((int32_t)atol(argv[2]), (int32_t)atol(argv[3]), NULL, msg);
    printf("set %ld\n", (long)rc);
    return 0;
  }
  return 2;
}
