/* A station process as seen by its log writer and its management agent, through the exported
 * functions only: it makes the station tables, opens the log-writer channel, writes a
 * record, has the lines of its initial command file reported, changes rows with the
 * database log on, sends notifications and closes the channel.
 *
 * usage: logwriter    (the environment file from KYTENV; its database's catalogue made)
 * Every step prints one line "STEP RC" to standard output. */
#include <stdio.h>

#include <kyt/kyt.h>

int main(void) {
  char name[] = "LID";
  char value[] = "O0013TEST<&>";
  kyt_hostvar in[2];
  int16_t level = 1;
  int32_t rc;
  in[0].type = KYT_HOST_TEXT;
  in[0].addr = name;
  in[1].type = KYT_HOST_TEXT;
  in[1].addr = value;

  printf("tables %ld\n", (long)rpdini());
  printf("write-closed %ld\n", (long)rpwwrq("before the open", 0, 0));
  printf("open %ld\n", (long)rpwopq(1, NULL, 0, 'C'));
  /* The initial command file's lines are reported to the station log, and so travel. */
  printf("params %ld\n", (long)rpdipr(NULL));
  printf("write %ld\n", (long)rpwwrq("hello from C", 0, 0));
  printf("write-typed %ld\n", (long)rpwwrq("A\tB", 3, 'X'));
  rc = rpdsql("INSERT INTO PT(NAME,TYPE,LEN,VAL) VALUES(?,1,26,?)", (const char *)NULL, &in[0],
              &in[1], (const kyt_hostvar *)NULL);
  printf("insert %ld\n", (long)rc);
  printf("set %ld\n", (long)rpdprm("set", "AGENT_LOGLEVEL", &level));
  printf("start %ld\n", (long)rpxlog_start());
  printf("message %ld\n", (long)rpxlog_message("E it's <&> \"bad\""));
  printf("stop %ld\n", (long)rpxlog_stop());
  printf("close %ld\n", (long)rpwclq());
  printf("write-after %ld\n", (long)rpwwrq("after the close", 0, 0));
  return 0;
}
