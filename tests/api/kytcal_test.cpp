// The batch command entry as a client sees it through kytcal: the command language's edge
// cases on the batch set, the message record, the caller's buffer, the language, the
// traces, the monitor's wake-up and nesting.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "api/batchdb.h"
#include "api/verbs.h"
#include "platform/platform.h"
#include "sql/trace_capture.h"

namespace kyt::test {
namespace {

using KytcalTest = BatchTest;

TEST_F(KytcalTest, ParseCodesOfTheBatchSet) {
  EXPECT_EQ(rc("RECEIVER CMDID=1 SID=A"), 6);  // one positional parameter required
  EXPECT_EQ(rc("PRINT /a /b"), 5);
  EXPECT_EQ(rc("SEND /CREATE DSN=a DSN=b"), 4);
  EXPECT_EQ(rc("FROB /x"), 2);
  // An unknown keyword takes the free positional place, or is refused when it is taken.
  EXPECT_EQ(rc("SEND /CREATE FOO=1"), 3);
  EXPECT_EQ(rc("OPCMD /x FOO=1"), 3);
  // ...and with the place free it is the positional parameter: the handler gets it.
  EXPECT_EQ(rc("PRINT LIST=USERS"), 0);
  EXPECT_EQ(rc("PRINT LIST=NOSUCH"), 16);
  // The same repeatable keyword in two groups is accepted (the handler runs).
  const int32_t groups = rc("SEND /CREATE DSN=x (SID=A) (SID=B)");
  EXPECT_TRUE(groups != 3 && groups != 4 && groups != 5 && groups != 6) << groups;
  EXPECT_EQ(rc("SEND /CREATE (SID=A SID=B)"), 4);
  // Letter case of verbs and keywords does not matter.
  EXPECT_EQ(rc("user /create uid=lower name=x"), 0);
  kyt_bt_elem u{};
  EXPECT_EQ(getBTelemByUid("LOWER", &u), 0);
}

TEST_F(KytcalTest, BlankLineRunsNothingAndUnknownVerbIsReported) {
  const int32_t kt_before = count(Tab::kKT);
  Call c = call("   ");
  EXPECT_EQ(c.rc, 0);
  EXPECT_EQ(c.cn, 0);
  EXPECT_EQ(c.severity, 'I');
  EXPECT_EQ(count(Tab::kKT), kt_before);
  c = call("FROB");
  EXPECT_EQ(c.rc, 2);
  EXPECT_EQ(c.severity, 'E');
  EXPECT_EQ(c.msg, "Command failed (rc = 2): FROB");
  EXPECT_EQ(c.cn, 0);
}

TEST_F(KytcalTest, HelpListsEveryVerbAndItself) {
  Call c = call("HELP");
  EXPECT_EQ(c.rc, 0);
  for (const char* verb : {"HELP", "START", "END", "USER", "RECV", "EERP", "SEND", "RESENTR",
                           "RECEIVER", "MODST", "DELST", "ACTIVATE", "SETPARM", "LISTPARM",
                           "PRINT", "SENDJOB", "OPCMD"}) {
    EXPECT_NE(out_.find("  " + std::string(verb) + " "), std::string::npos) << verb;
  }
  // Definition order: HELP first, then the batch verbs in their order.
  EXPECT_LT(out_.find("HELP"), out_.find("START"));
  EXPECT_LT(out_.find("RECEIVER"), out_.find("MODST"));
  EXPECT_LT(out_.find("SENDJOB"), out_.find("OPCMD"));
  out_.clear();
  c = call("HELP /RECEIVER");
  EXPECT_EQ(c.rc, 0);
  EXPECT_NE(out_.find("*** RECEIVER *** expects 1 to 1 positional parameters"), std::string::npos) << out_;
  EXPECT_NE(out_.find("  CMDID  SID  UID"), std::string::npos) << out_;
  EXPECT_EQ(rc("HELP /NOSUCH"), 2);
}

TEST_F(KytcalTest, CallerBufferMessageLengthAndNumber) {
  // The line ends at the given length; the buffer behind it is neither read nor written.
  char line[] = "USER /CREATE UID=A NAME=B PRIV=Q";
  const char copy[] = "USER /CREATE UID=A NAME=B PRIV=Q";
  char severity = 0;
  char msg[8];
  std::memset(msg, 'x', sizeof msg);
  int32_t msglen = 5;
  int32_t cn = -1;
  const int32_t len = static_cast<int32_t>(std::strlen("USER /CREATE UID=A NAME=B"));
  EXPECT_EQ(kytcal(len, line, &severity, msg, &msglen, &cn), 0);
  EXPECT_EQ(std::memcmp(line, copy, sizeof line), 0);
  EXPECT_EQ(severity, 'I');
  // Cut to the caller's length, terminator included; the length of the whole message back.
  EXPECT_STREQ(msg, "Comm");
  EXPECT_EQ(msg[5], 'x');
  const std::string full = "Command executed: USER /CREATE UID=A NAME=B";
  EXPECT_EQ(msglen, static_cast<int32_t>(full.size()));
  EXPECT_GT(cn, 0);
  EXPECT_STREQ(kt(cn).cmdtype, "US");
  // A long enough buffer gets all of it.
  Call c = call("USER /DELETE UID=A");
  EXPECT_EQ(c.rc, 0);
  EXPECT_EQ(c.msg, "Command executed: USER /DELETE UID=A");
  EXPECT_EQ(c.msglen, static_cast<int32_t>(c.msg.size()));
  EXPECT_EQ(c.cn, cn + 1);
  // A refused line makes no number, even right after one that made one.
  c = call("USER /DELETE UID=A");
  EXPECT_EQ(c.rc, 12);
  EXPECT_EQ(c.cn, 0);
  // Zero message length: nothing written; bad arguments.
  msglen = 0;
  std::memset(msg, 'x', sizeof msg);
  EXPECT_EQ(kytcal(4, "HELP", nullptr, msg, &msglen, nullptr), 0);
  EXPECT_EQ(msg[0], 'x');
  EXPECT_EQ(kytcal(-1, "HELP", nullptr, nullptr, nullptr, nullptr), -5);
  EXPECT_EQ(kytcal(4, nullptr, nullptr, nullptr, nullptr, nullptr), -5);
  EXPECT_EQ(kytcal(0, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
}

TEST_F(KytcalTest, MessagesInTheCallersLanguage) {
  ASSERT_EQ(rc("USER /CREATE UID=HANS NAME=Hans LANGUAGE=D"), 0);
  ASSERT_EQ(set_calling_user("hans"), 0);
  Call c = call("HELP /END");
  EXPECT_EQ(c.msg, "Wiederholbare Schlüsselwörter: ");
  c = call("USER /MODIFY UID=HANS NAME=Johann");
  EXPECT_EQ(c.msg, "Befehl ausgeführt: USER /MODIFY UID=HANS NAME=Johann");
  c = call("USER /MODIFY UID=NOBODY NAME=x");
  EXPECT_EQ(c.msg, "Befehl fehlgeschlagen (rc = 12): USER /MODIFY UID=NOBODY NAME=x");
  // Back to English when the user says so; a user without a row gets the environment's.
  ASSERT_EQ(rc("USER /MODIFY UID=HANS LANGUAGE=E"), 0);
  EXPECT_EQ(call("END").msg, "Command executed: END");
  ASSERT_EQ(set_calling_user("GHOST"), 0);
  EXPECT_EQ(call("END").msg, "Command executed: END");
}

TEST_F(KytcalTest, TracesOfDefinitionAndCalls) {
  TraceCapture trace;
  EXPECT_EQ(rc("USER /NOSUCH"), 9);
  const std::string t = trace.text();
  const char* order[] = {"rpxcid START", "rpxcid USER", "rpxcid RECV", "rpxcid RECV returns 0",
                         "rpxcid EERP", "rpxcid RECV returns 0", "rpxcid SEND",
                         "rpxcid SEND returns 0", "define Commands ended",
                         "rpxcie called with USER /NOSUCH",
                         "kytcmd (): rpxcie () returned 9 / ''.", "kytcmd returns 9",
                         "kytcal kytcmd USER /NOSUCH returns 9"};
  size_t at = 0;
  for (const char* line : order) {
    const size_t found = t.find(line, at);
    ASSERT_NE(found, std::string::npos) << line << "\n" << t;
    at = found + std::strlen(line);
  }
  // Defined once a process: the second line traces no definition.
  const size_t before = t.size();
  EXPECT_EQ(rc("END"), 0);
  EXPECT_EQ(trace.text().find("rpxcid START", before), std::string::npos);
}

// A user's password reaches neither a trace nor the message (which the station log keeps).
TEST_F(KytcalTest, PasswordsStayOutOfTracesAndMessages) {
  TraceCapture trace;
  const auto c = call("USER /CREATE UID=PWUSER NAME=pw PRIV=U PASSWORD=\"Se cret9\"");
  EXPECT_EQ(c.msg, "Command executed: USER /CREATE UID=PWUSER NAME=pw PRIV=U PASSWORD=*");
  EXPECT_EQ(trace.text().find("Se cret9"), std::string::npos) << trace.text();
  EXPECT_NE(trace.text().find("PASSWORD=*"), std::string::npos);
}

TEST_F(KytcalTest, EveryLineWakesTheMonitor) {
  const std::string name = monitor_wakeup_name();
  ASSERT_FALSE(name.empty());
  platform::NamedSemaphore sem;
  ASSERT_TRUE(sem.create(name.c_str()));
  EXPECT_FALSE(sem.try_wait());
  EXPECT_EQ(rc("END"), 0);
  EXPECT_TRUE(sem.try_wait());
  EXPECT_FALSE(sem.try_wait());  // once a line
  EXPECT_EQ(rc("USER /NOSUCH"), 9);  // refused lines too
  EXPECT_TRUE(sem.try_wait());
}

// A handler that runs a line of its own: the inner line's rows and number stand, and the
// outer line hands back its own number.
TEST_F(KytcalTest, HandlerRunsALineAgain) {
  ASSERT_EQ(api::define_batch_commands(), 0);
  ASSERT_EQ(rpxcid(api::batch_commands(), "NEST: 1",
                   [](const cmd_args& a, cmd_msg* msg) -> int32_t {
                     api::set_command_number(4711);
                     cmd_msg inner;
                     const int32_t rc = api::kytcmd(a.positional(0), &inner);
                     cmd_msg_set(msg, 'W', std::string("inner: ") + inner.text);
                     return rc;
                   }),
            0);
  Call c = call("NEST /'USER /CREATE UID=INNER NAME=x'");
  EXPECT_EQ(c.rc, 0);
  EXPECT_EQ(c.severity, 'W');
  EXPECT_EQ(c.msg, "inner: Command executed: USER /CREATE UID=INNER NAME=x");
  EXPECT_EQ(c.cn, 4711);
  kyt_bt_elem u{};
  EXPECT_EQ(getBTelemByUid("INNER", &u), 0);
  c = call("NEST /'USER /CREATE UID=INNER NAME=x'");
  EXPECT_EQ(c.rc, 19);
  EXPECT_EQ(c.msg, "inner: Command failed (rc = 19): USER /CREATE UID=INNER NAME=x");
}

}  // namespace
}  // namespace kyt::test
