/* A client program of the stop requests and unique-process semaphores, through the exported
 * C functions only.
 *
 * usage: stopreq check   the calls' answers in one process, one line "check ok" or the first
 *                        call that answered otherwise
 *        stopreq mon     behaves as a station monitor: takes KYTMON, opens its stop event,
 *                        prints "running", polls until a stop request comes (at most 60 s),
 *                        prints "stop CODE", resets, closes, releases and ends */
#include <stdio.h>
#include <string.h>

#include <kyt/kyt.h>

static int failed = 0;
static void expect(const char *what, int32_t got, int32_t want) {
  if (failed || got == want) return;
  printf("%s answered %ld, not %ld\n", what, (long)got, (long)want);
  failed = 1;
}

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  if (strcmp(argv[1], "check") == 0) {
    expect("rpxunq 2 before any take", rpxunq(2, "KYTXMT"), 99);
    expect("rpxunq 5", rpxunq(5, "KYTXMT"), 8);
    expect("rpxunq 3", rpxunq(3, "KYTXMT"), 0);
    expect("rpxunq 1", rpxunq(1, "KYTXMT"), 0);
    expect("rpxunq 3 held", rpxunq(3, "KYTXMT"), 4);
    expect("rpxunq 2", rpxunq(2, "KYTXMT"), 0);
    expect("InitStopRequest", InitStopRequest(KYT_STOP_XMT | KYT_STOP_COM), 0);
    expect("CheckStopRequest nothing set", CheckStopRequest(KYT_STOP_XMT, 25), 0);
    expect("SetStopRequest end", SetStopRequest(KYT_STOP_XMT, 1), 0);
    expect("CheckStopRequest end", CheckStopRequest(KYT_STOP_XMT, 25), 98);
    expect("CheckCertainStopRequest stop", CheckCertainStopRequest(KYT_STOP_XMT, 2, 0), 0);
    expect("SetStopRequest stop", SetStopRequest(KYT_STOP_XMT, 2), 0);
    expect("CheckStopRequest stop", CheckStopRequest(KYT_STOP_XMT | KYT_STOP_COM, 0), 97);
    expect("SetStopRequest receive-activate", SetStopRequest(KYT_STOP_COM, 4), 0);
    expect("CheckStopRequest communication", CheckStopRequest(KYT_STOP_COM, 0), 82);
    expect("ResetStopRequest", ResetStopRequest(KYT_STOP_XMT | KYT_STOP_COM), 0);
    expect("CheckStopRequest after reset", CheckStopRequest(31, 0), 0);
    expect("xmt_send without transmitter", xmt_send('a'), 99);
    /* No transmitter program in this installation: starting it fails with the system's error
     * (no such file or path: 2 or 3), and every path that would start it answers 99. */
    int32_t rc = xmt_spawn();
    if (rc != 2 && rc != 3) expect("xmt_spawn without the program", rc, 2);
    expect("xmt_start without the program", xmt_start(), 99);
    expect("xmt_activate", xmt_activate(), 99);
    expect("xmt_poll", xmt_poll(), 99);
    expect("xmt_newwork", xmt_newwork(), 99);
    expect("xmt_jobdone", xmt_jobdone(), 99);
    expect("rpxlog_heartbeat without an agent", rpxlog_heartbeat(), 0);
    expect("DeInitStopRequest", DeInitStopRequest(), 0);
    expect("StopKyt", StopKyt(), 0);
    if (!failed) printf("check ok\n");
    return failed;
  }
  if (strcmp(argv[1], "mon") == 0) {
    int32_t rc = 0;
    int i;
    if (rpxunq(1, "KYTMON") != 0) return 3;
    if (InitStopRequest(KYT_STOP_MON) != 0) return 4;
    printf("running\n");
    fflush(stdout);
    for (i = 0; i < 600 && rc == 0; ++i) rc = CheckStopRequest(KYT_STOP_MON, 100);
    printf("stop %ld\n", (long)rc);
    ResetStopRequest(KYT_STOP_MON);
    DeInitStopRequest();
    rpxunq(2, "KYTMON");
    return 0;
  }
  return 2;
}
