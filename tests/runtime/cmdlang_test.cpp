#include "runtime/cmdlang.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kyt {
namespace {

// What a handler saw, copied out before the parsed command goes.
struct Seen {
  int calls = 0;
  std::vector<std::string> positional;
  std::vector<std::vector<std::string>> groups;  // "KEY=value" of the given keywords
  std::vector<std::string> keywords;
};

cmd_handler recorder(Seen* seen, int32_t rc = 0) {
  return [seen, rc](const cmd_args& a, cmd_msg*) {
    ++seen->calls;
    seen->positional.assign(a.positionals().begin(), a.positionals().end());
    seen->keywords.clear();
    for (size_t i = 0; i < a.keywords().size(); ++i) {
      if (a.keywords().value(i))
        seen->keywords.push_back(a.keywords().name(i) + "=" + a.keywords().value(i));
    }
    seen->groups.clear();
    for (const cmd_group& g : a.groups()) {
      seen->groups.emplace_back();
      for (size_t i = 0; i < g.size(); ++i) {
        if (g.value(i)) seen->groups.back().push_back(g.name(i) + "=" + g.value(i));
      }
    }
    return rc;
  };
}

using V = std::vector<std::string>;

TEST(CmdDefine, SyntaxStrings) {
  CommandSet set;
  Seen s;
  EXPECT_EQ(rpxcid(set, "SEND: 0-1 DSN  CMDID (SID  UID)  ", recorder(&s)), 0);
  EXPECT_EQ(rpxcid(set, "RECEIVER: 1 CMDID SID UID", recorder(&s)), 0);
  EXPECT_EQ(rpxcid(set, "END:", recorder(&s)), 0);
  EXPECT_EQ(rpxcid(set, "lx:1-99 sid", recorder(&s)), 0);
  ASSERT_EQ(set.size(), 5u);  // HELP came first
  EXPECT_EQ(set.def(0).verb, "HELP");
  const cmd_def* d = set.find("send");
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d->keywords, (V{"DSN", "CMDID"}));
  EXPECT_EQ(d->rkeywords, (V{"SID", "UID"}));
  EXPECT_EQ(set.find("RECEIVER")->min, 1);
  EXPECT_EQ(set.find("RECEIVER")->max, 1);
  EXPECT_EQ(set.find("END")->max, 0);
  EXPECT_EQ(set.find("LX")->max, 99);
  EXPECT_EQ(set.find("LX")->keywords, (V{"SID"}));

  EXPECT_EQ(rpxcid(set, "END:", recorder(&s)), 4);      // verb twice
  EXPECT_EQ(rpxcid(set, "X: A B A", recorder(&s)), 4);  // keyword twice in one set
  EXPECT_EQ(rpxcid(set, "Y: A (A)", recorder(&s)), 0);  // once in each set is fine
  EXPECT_EQ(rpxcid(set, "X /A", recorder(&s)), 1);      // a command line
  EXPECT_EQ(rpxcid(set, "   ", recorder(&s)), 1);
  EXPECT_EQ(rpxcid(set, static_cast<const char*>(nullptr), recorder(&s)), 1);
  for (const char* bad : {"X: 2-1", "X: 1-", "X: 32768", "X: 1A", "X: A=", "X: (A) B", "X: (A",
                          "X: A)", "X: ((A))", ":", "1X:", "X: \"A\"",
                          // counts that wrap into small ones in 16, 32 or 64 bits
                          "X: 65537", "X: 4294967297", "X: 1-18446744073709551617",
                          "X: 000000000000000000000000000000000000000000065537"}) {
    EXPECT_EQ(rpxcid(set, bad, recorder(&s)), 99) << bad;
  }
  EXPECT_EQ(set.error_text(), "syntax error");
  EXPECT_EQ(rpxcid(set, "X: 00000000000000000000000000000000000001-32767", recorder(&s)), 0);
  EXPECT_EQ(set.find("X")->min, 1);
  EXPECT_EQ(set.find("X")->max, 32767);
}

class CmdInvoke : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(rpxcid(set, "SEND: 0-1 DSN CMDID FORMAT (SID UID)", recorder(&s)), 0);
    ASSERT_EQ(rpxcid(set, "RECEIVER: 1 CMDID", recorder(&s)), 0);
    ASSERT_EQ(rpxcid(set, "PRINT: 1", recorder(&s, 17)), 0);
    ASSERT_EQ(rpxcid(set, "SET: 0-3 PATH DB", recorder(&s)), 0);
  }
  int32_t run(const std::string& line) { return rpxcie(set, line, &msg); }
  CommandSet set;
  Seen s;
  cmd_msg msg;
};

TEST_F(CmdInvoke, ParametersAndGroups) {
  EXPECT_EQ(run("SEND /CREATE DSN=\"a b (c)\" CMDID=7 (SID=P1 UID=u) (SID=P2)"), 0);
  EXPECT_EQ(s.positional, (V{"CREATE"}));
  EXPECT_EQ(s.keywords, (V{"DSN=a b (c)", "CMDID=7"}));
  EXPECT_EQ(s.groups, (std::vector<V>{{"SID=P1", "UID=u"}, {"SID=P2"}}));
  EXPECT_EQ(run("send/hold cmdid=5"), 0);  // no blank before "/", any letter case
  EXPECT_EQ(s.positional, (V{"hold"}));
  EXPECT_EQ(s.keywords, (V{"CMDID=5"}));
  EXPECT_EQ(run("PRINT /X"), 17);  // the handler's code passes through
  EXPECT_EQ(run("SEND(SID=A)(SID=B)DSN=x"), 0);
  EXPECT_EQ(s.groups.size(), 2u);
  EXPECT_EQ(s.keywords, (V{"DSN=x"}));
}

TEST_F(CmdInvoke, ParseCodes) {
  s.calls = 0;
  EXPECT_EQ(run(""), 0);
  EXPECT_EQ(run(" \t\r\n "), 0);
  EXPECT_EQ(rpxcie(set, static_cast<const char*>(nullptr), nullptr), 0);
  EXPECT_EQ(run("SEND: 1"), 1);
  EXPECT_EQ(run("NOSUCH /A"), 2);
  EXPECT_EQ(run("SEND (CMDID=1)"), 3);        // not repeatable
  EXPECT_EQ(run("SEND /CREATE OTHER=1"), 3);  // no room left for it as a positional
  EXPECT_EQ(run("SEND DSN=a DSN=b"), 4);
  EXPECT_EQ(run("SEND (SID=a SID=b)"), 4);
  EXPECT_EQ(run("PRINT /A /B"), 5);
  EXPECT_EQ(run("RECEIVER CMDID=1"), 6);
  EXPECT_EQ(s.calls, 0);
  EXPECT_EQ(run("SEND OTHER=\"x y\""), 0);  // unknown keyword taken as the positional
  EXPECT_EQ(s.positional, (V{"OTHER=x y"}));
  // The first offending token decides.
  EXPECT_EQ(run("SEND DSN=a DSN=b \"junk"), 4);
  EXPECT_EQ(run("SEND \"junk DSN=a DSN=b"), 99);
}

TEST_F(CmdInvoke, TokenRules) {
  EXPECT_EQ(run("SET PATH=C:\\KYT\\ DB='say \"hi\"'"), 0);
  EXPECT_EQ(s.keywords, (V{"PATH=C:\\KYT\\", "DB=say \"hi\""}));
  EXPECT_EQ(run("SET PATH=/tmp/a=b DB=\"\" /x=1 /\"q r\""), 0);
  EXPECT_EQ(s.keywords, (V{"PATH=/tmp/a=b", "DB="}));
  EXPECT_EQ(s.positional, (V{"x=1", "q r"}));
  EXPECT_EQ(run(std::string("SET\tPATH=kytenv\xff"
                            "dat\nDB=o'k")),
            0);
  EXPECT_EQ(s.keywords, (V{"PATH=kytenv.dat", "DB=o'k"}));
  EXPECT_EQ(run(std::string("SET PATH=a\0 DB=b DB=c", 20)), 0);  // the line ends at NUL
  EXPECT_EQ(s.keywords, (V{"PATH=a"}));
  s.calls = 0;
  for (const char* bad : {"SET PATH=\"open", "SET PATH='open", "SET PATH=", "SET PATH= x",
                          "SET PATH =x", "SET word", "SET /", "SET PATH=\"a\"b", "SET )", "SET (",
                          "SEND ((SID=1))", "SEND (/A)", "SET 1=2", "/A", "SET PATH=a(b)"}) {
    EXPECT_EQ(run(bad), 99) << bad;
  }
  EXPECT_EQ(s.calls, 0);
  EXPECT_EQ(set.error_text(), "syntax error");
}

// The environment file's use: one SET command, keywords by index and NAME=value positionals.
TEST(CmdSetCommand, KeywordsByIndexAndPositionals) {
  CommandSet set;
  std::vector<std::string> pos;
  std::string path;
  bool db_given = true;
  ASSERT_EQ(rpxcid(set, "SET: 0-99 PATH DB",
                   [&](const cmd_args& a, cmd_msg*) {
                     const char* p = a.keywords().value(0);  // PATH: first of the syntax string
                     path = p ? p : "(none)";
                     db_given = a.given("db");
                     pos.assign(a.positionals().begin(), a.positionals().end());
                     return 0;
                   }),
            0);
  std::string line = "SET";
  for (int i = 0; i < 99; ++i) line += " N" + std::to_string(i) + "=" + std::to_string(i);
  EXPECT_EQ(rpxcie(set, line + " PATH=D:\\X", nullptr), 0);
  ASSERT_EQ(pos.size(), 99u);
  EXPECT_EQ(pos[0], "N0=0");
  EXPECT_EQ(pos[98], "N98=98");
  EXPECT_EQ(path, "D:\\X");
  EXPECT_FALSE(db_given);
  EXPECT_EQ(rpxcie(set, line + " N99=1", nullptr), 3);  // no room for a hundredth
  EXPECT_EQ(rpxcie(set, "SET PATH=a\nPATH=b", nullptr), 4);
  EXPECT_EQ(rpxcie(set, "SET U=1 U=2", nullptr), 0);  // not keywords: two positionals
  EXPECT_EQ(pos, (V{"U=1", "U=2"}));
  EXPECT_EQ(path, "(none)");
}

TEST(CmdNesting, OneNestedLevel) {
  CommandSet outer, inner;
  std::vector<int32_t> codes;
  std::string seen_after;
  ASSERT_EQ(rpxcid(inner, "DEEP: 0-1",
                   [&](const cmd_args&, cmd_msg*) {
                     codes.push_back(rpxcie(inner, "DEEP /again", nullptr));  // would be level 3
                     return 5;
                   }),
            0);
  ASSERT_EQ(rpxcid(outer, "TOP: 1",
                   [&](const cmd_args& a, cmd_msg* m) {
                     codes.push_back(rpxcie(inner, "DEEP /x", m));
                     seen_after = a.positional(0);
                     return 0;
                   }),
            0);
  EXPECT_EQ(rpxcie(outer, "TOP /mine", nullptr), 0);
  EXPECT_EQ(codes, (std::vector<int32_t>{99, 5}));
  EXPECT_EQ(inner.error_text(), "nesting too deep");
  EXPECT_EQ(seen_after, "mine");
  EXPECT_EQ(rpxcie(inner, "DEEP", nullptr), 5);  // the depth went back down: level 2 runs
  EXPECT_EQ(codes, (std::vector<int32_t>{99, 5, 99, 5}));
}

TEST(CmdNesting, ACommandApartIgnoresAndKeepsTheDepthInProgress) {
  CommandSet outer, inner, apart;
  std::vector<int32_t> codes;
  ASSERT_EQ(rpxcid(apart, "SET: 0-9", [](const cmd_args& a, cmd_msg*) {
              return a.positional_count();
            }),
            0);
  ASSERT_EQ(rpxcid(inner, "DEEP:", [&](const cmd_args&, cmd_msg*) {
              codes.push_back(rpxcie_apart(apart, "SET A=1 B=2", nullptr));  // at level 2
              codes.push_back(rpxcie(inner, "DEEP", nullptr));  // still level 3 afterwards
              return 0;
            }),
            0);
  ASSERT_EQ(rpxcid(outer, "TOP:", [&](const cmd_args&, cmd_msg*) {
              return rpxcie(inner, "DEEP", nullptr);
            }),
            0);
  EXPECT_EQ(rpxcie(outer, "TOP", nullptr), 0);
  EXPECT_EQ(codes, (std::vector<int32_t>{2, 99}));
}

TEST(CmdHelp, ListAndDescribe) {
  CommandSet set;
  std::vector<std::string> msgs;
  std::string printed;
  set.set_message_fn(
      [&](const char* group, const char* key, const std::vector<std::string>& args, cmd_msg*) {
        std::string m = std::string(group) + "/" + key;
        for (const auto& a : args) m += "|" + a;
        msgs.push_back(m);
      });
  set.set_print_fn([&](std::string_view t) { printed += t; });
  std::string many;
  for (int i = 0; i < 30; ++i) many += " KEYWORD" + std::to_string(i);
  ASSERT_EQ(rpxcid(set, "SEND: 0-1 DSN CMDID (SID UID)", nullptr), 0);
  ASSERT_EQ(rpxcid(set, "PRINT: 1", nullptr), 0);
  ASSERT_EQ(rpxcid(set, "END:", nullptr), 0);
  ASSERT_EQ(rpxcid(set, "LONGVERBNAME14:" + many, nullptr), 0);
  cmd_msg msg;
  EXPECT_EQ(rpxcie(set, "HELP", &msg), 0);
  EXPECT_EQ(msgs, (V{"MONIT/OK_HELP",
                     "MONIT/OK_HELP_MORE|  HELP          SEND          PRINT         END         ",
                     "MONIT/OK_HELP_MORE|  LONGVERBNAME14"}));
  msgs.clear();
  EXPECT_EQ(rpxcie(set, "help /send", &msg), 0);
  EXPECT_EQ(msgs, (V{"MONIT/OK_HELP_CMD|SEND|0 - 1", "MONIT/OK_HELP_PARM|DSN CMDID",
                     "MONIT/OK_HELP_RPARM|SID UID"}));
  EXPECT_EQ(printed,
            "\n *** SEND *** expects 0 to 1 positional parameters \n"
            "--- non-repeatable keyword parameters ---\n  DSN  CMDID\n"
            "----- repeatable keyword parameters -----\n  SID  UID\n");
  msgs.clear();
  EXPECT_EQ(rpxcie(set, "HELP /PRINT", &msg), 0);
  EXPECT_EQ(msgs[0], "MONIT/OK_HELP_CMD|PRINT|1");
  msgs.clear();
  EXPECT_EQ(rpxcie(set, "HELP /LONGVERBNAME14", &msg), 0);
  EXPECT_EQ(msgs[1].size(), std::string("MONIT/OK_HELP_PARM|").size() + 199);
  printed.clear();
  EXPECT_EQ(rpxcie(set, "HELP /nope", &msg), 2);
  EXPECT_EQ(printed, "Unknown command: nope\n");
  EXPECT_EQ(rpxcie(set, "HELP /A /B", &msg), 5);

  // Without a message hook the record carries the last message.
  CommandSet plain;
  plain.set_print_fn([](std::string_view) {});
  ASSERT_EQ(rpxcid(plain, "END:", nullptr), 0);
  EXPECT_EQ(rpxcie(plain, "HELP /END", &msg), 0);
  EXPECT_EQ(msg.severity, 'I');
  EXPECT_EQ(std::string(msg.text, msg.length), "Repeatable keywords: ");
}

TEST(CmdMsg, CutToCapacity) {
  cmd_msg msg;
  cmd_msg_set(&msg, 'E', std::string(300, 'x'));
  EXPECT_EQ(msg.length, 200);
  EXPECT_EQ(msg.text[200], '\0');
  msg.capacity = 10;
  cmd_msg_format(&msg, 'W', "%s-%d", "abcdefgh", 12345);
  EXPECT_EQ(std::string(msg.text), "abcdefgh-1");
  EXPECT_EQ(msg.severity, 'W');
  msg.capacity = 999;  // never beyond the record
  cmd_msg_format(&msg, 'W', "%0300d", 1);
  EXPECT_EQ(msg.length, 200);
}

// Masking finds password keywords in any case, quoted or not, in groups, and nothing else.
TEST(CmdLineMasked, HidesPasswordValuesOnly) {
  EXPECT_EQ(cmd_line_masked("OP: SID=A PSWFROM=abc pswto='x y' (NETPSW=\"q)\" SID=B)"),
            "OP: SID=A PSWFROM=* pswto=* (NETPSW=* SID=B)");
  EXPECT_EQ(cmd_line_masked("USER/CREATE PASSWORD=s3(x) MYPASSWORD=keep PASSWORD"),
            "USER/CREATE PASSWORD=*(x) MYPASSWORD=keep PASSWORD");
  EXPECT_EQ(cmd_line_masked("X PASSWORD=\"unclosed"), "X PASSWORD=*");
  EXPECT_EQ(cmd_line_masked("PASSWORD="), "PASSWORD=");
  EXPECT_EQ(cmd_line_masked(""), "");
}

}  // namespace
}  // namespace kyt
