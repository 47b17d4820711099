// The message catalogue and the station log: built-in texts in both languages, catalogue
// files that override them or are damaged, arguments that look like formats, long messages,
// the log line and the log-writer channel, and two processes writing one log.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "runtime/kytlog.h"
#include "runtime/lpdsn.h"
#include "runtime/msgcat.h"
#include "testutil.h"

namespace kyt {
namespace {

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> out;
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string::npos) end = text.size();
    out.push_back(text.substr(pos, end - pos));
    pos = end + 1;
  }
  return out;
}

// Whether a log line begins with a date-time text and a blank.
bool dated(const std::string& l) {
  const char* shape = "dddd/dd/dd dd:dd:dd ";
  if (l.size() < std::strlen(shape)) return false;
  for (size_t i = 0; shape[i] != '\0'; ++i) {
    if (shape[i] == 'd' ? (l[i] < '0' || l[i] > '9') : l[i] != shape[i]) return false;
  }
  return true;
}

// An environment of its own: SYSTEM (catalogue files) and DB (station log) in a temporary
// directory.
class MsgTest : public ::testing::Test {
 protected:
  void SetUp() override { use_env(""); }
  void TearDown() override { reset(); }

  void reset() {
    msg_reset_for_tests();
    kytlog_reset_for_tests();
    lpdsn_reset_for_tests();
  }
  void use_env(const std::string& more) {
    reset();
    platform::make_directory(sys().c_str());
    platform::make_directory(db().c_str());
    test::write_file(dir_.file("kytenv.dat"),
                     "SYSTEM=\"" + sys() + "\" DB=\"" + db() + "\" " + more + "\n");
    ASSERT_EQ(lpdsn_init_file(dir_.file("kytenv.dat")), 0);
  }
  std::string sys() const { return dir_.file("sys"); }
  std::string db() const { return dir_.file("db"); }
  std::string catalogue(char lang) const {
    return sys() + platform::path_separator() + "rm" + lang + "kyt.msg";
  }
  std::string log() const { return db() + platform::path_separator() + "rlog.log"; }

  MsgText get(const char* key, std::initializer_list<std::string_view> args, char lang = 0) {
    MsgText m;
    last_rc_ = msg_get(key, args, lang, &m);
    return m;
  }

  test::TempDir dir_;
  int32_t last_rc_ = 0;
};

// Every key the station's modules report through, with both texts, and the same argument
// places in both languages (a translation that drops %2 would lose the return code).
TEST_F(MsgTest, BuiltInTableIsCompleteInBothLanguages) {
  const char* keys[] = {
      "CREATING_DATABASE", "DATABASE_CREATED", "CREATING_TABLES", "TABLES_CREATED",
      "INIT_PARMS", "INIT_TABLES", "INIT_DONE", "UNDEFINED_LID", "FUNCTION_FAILED",
      "NO_ENV_DATASET", "RECOVER_DATABASE", "RECOVER_DONE", "RECOVER_FAILED", "RECOVER_ERROR",
      "DATASET_NOT_EXIST", "RPXCIE_FAILED", "SYNTAX_ERROR", "INVALID_CMD", "INVALID_COLNAME",
      "PARM_USED_TWICE", "INVALID_INPUT", "DUMP_DONE", "DUMP_WRITTEN", "DUMP_TABLE",
      "TABLE_WRITTEN", "DUMP_RU_WRITTEN", "DBDEL", "NO_DB", "DEL_DB", "DEL_LOG", "NO_TEMP",
      "DEL_TEMP", "SYS_CMD", "OK_READ", "OK_INVALID_SYNTAX", "CMD_EXECUTED", "CMD_ERROR",
      "OK_HELP", "OK_HELP_MORE", "OK_HELP_CMD", "OK_HELP_PARM", "OK_HELP_RPARM", "XMT_ACTIVE",
      "XMT_START", "XMT_STOPPED", "PARM_UNAVAILABLE"};
  std::set<std::string> built;
  auto places = [](const char* s) {
    std::set<char> p;
    for (const char* c = s; c[0] != '\0'; ++c)
      if (c[0] == '%' && c[1] >= '1' && c[1] <= '9') p.insert(c[1]);
    return p;
  };
  for (const MsgDef& d : msg_builtin()) {
    SCOPED_TRACE(d.key);
    EXPECT_TRUE(built.insert(d.key).second) << "key twice";
    EXPECT_LE(std::strlen(d.key), kMsgKeyMax);
    EXPECT_LE(std::strlen(d.group), kMsgGroupMax);
    EXPECT_NE(std::strchr("IWE", d.severity), nullptr);
    EXPECT_GT(std::strlen(d.english), 0u);
    EXPECT_GT(std::strlen(d.german), 0u);
    EXPECT_EQ(places(d.english), places(d.german));
  }
  for (const char* k : keys) EXPECT_EQ(built.count(k), 1u) << k;

  // The command entry's messages as kytcmd uses them.
  MsgText m = get("CMD_ERROR", {"SEND /CREATE DSN=x", "3"}, 'E');
  EXPECT_EQ(last_rc_, kMsgOk);
  EXPECT_EQ(m.text, "Command failed (rc = 3): SEND /CREATE DSN=x");
  EXPECT_EQ(m.severity, 'E');
  EXPECT_EQ(m.group, "UTILS");
  m = get("OK_HELP", {}, 'E');
  EXPECT_EQ(m.group, "MONIT");
}

TEST_F(MsgTest, LanguageFromEnvironmentOrCall) {
  // Default environment: English.
  EXPECT_EQ(msg_language(), 'E');
  EXPECT_EQ(get("CMD_EXECUTED", {"END"}).text, "Command executed: END");

  use_env("LANGUAGE=D");
  EXPECT_EQ(msg_language(), 'D');
  MsgText m = get("CMD_EXECUTED", {"END"});
  EXPECT_EQ(m.text, "Befehl ausgeführt: END");
  EXPECT_EQ(m.lang, 'D');
  // A user's own language wins over the environment's, in either letter case.
  EXPECT_EQ(get("CMD_EXECUTED", {"END"}, 'e').text, "Command executed: END");
  EXPECT_EQ(get("XMT_STOPPED", {}, 'd').text, "Der Transmitter wurde angehalten");
  // A language without built-in texts falls back to English.
  m = get("XMT_START", {}, 'F');
  EXPECT_EQ(m.lang, 'F');
  EXPECT_EQ(m.text, "The transmitter has been started");
}

TEST_F(MsgTest, ArgumentsNeverActAsFormats) {
  const std::string_view args[] = {"%s%n%d %2", "two"};
  EXPECT_EQ(msg_expand("a %1 b %2 c", args), "a %s%n%d %2 b two c");
  EXPECT_EQ(msg_expand("100%% %0 %x %", args), "100% %0 %x %");
  EXPECT_EQ(msg_expand("%3|%1", MsgArgs(args, 1)), "|%s%n%d %2");  // a missing one is empty
  MsgText m = get("FUNCTION_FAILED", {"%s%s%s%s%n", "%d"}, 'E');
  EXPECT_EQ(m.text, "%s%s%s%s%n failed (rc = %d)");

  // An unknown key keeps what the caller said.
  m = get("NO_SUCH_KEY", {"a", "%s"}, 'E');
  EXPECT_EQ(last_rc_, kMsgUnknownKey);
  EXPECT_EQ(m.text, "NO_SUCH_KEY a %s");
  EXPECT_EQ(m.severity, 'E');
}

TEST_F(MsgTest, RenderingCutsToTheBuffer) {
  char buf[64];
  char sev = '?';
  EXPECT_EQ(msg_render("CMD_EXECUTED", std::vector<std::string_view>{"LISTPARM"}, 'E', buf,
                       sizeof buf, &sev),
            kMsgOk);
  EXPECT_STREQ(buf, "Command executed: LISTPARM");
  EXPECT_EQ(sev, 'I');
  // "Befehl ausgef" is 13 bytes, the "ü" two more: a buffer of 15 holds 14 and must not end
  // inside the "ü".
  std::memset(buf, 'x', sizeof buf);
  EXPECT_EQ(msg_render("CMD_EXECUTED", {}, 'D', buf, 15, nullptr), kMsgOk);
  EXPECT_STREQ(buf, "Befehl ausgef");
  EXPECT_EQ(buf[15], 'x') << "nothing written beyond the buffer";
  EXPECT_EQ(msg_render("CMD_EXECUTED", {}, 'D', buf, 1, nullptr), kMsgOk);
  EXPECT_STREQ(buf, "");
  EXPECT_EQ(msg_render("CMD_EXECUTED", {}, 'D', nullptr, 10, nullptr), kMsgFailed);

  // A message record holds at most its capacity.
  cmd_msg rec;
  const std::string big(5000, 'a');
  EXPECT_EQ(msg_to_record("CMD_ERROR", std::vector<std::string_view>{big, "4"}, 'E', &rec),
            kMsgOk);
  EXPECT_EQ(rec.severity, 'E');
  EXPECT_EQ(rec.length, cmd_msg::kCapacity);
  EXPECT_EQ(std::strlen(rec.text), static_cast<size_t>(cmd_msg::kCapacity));
  EXPECT_EQ(std::string(rec.text, 24), "Command failed (rc = 4):");
}

TEST_F(MsgTest, CatalogueFileOverridesAndRefusesBadLines) {
  test::write_file(catalogue('E'),
                   "# site texts\n"
                   "\n"
                   "CMD_EXECUTED UTILS W   Done: %1 (site)   \r\n"
                   "this is not a message\n"
                   "CMD_ERROR UTILS X Bad severity %1\n"
                   "cmd_error UTILS E lower case key\n"
                   "XMT_START XMT I\n"
                   "OK_HELP MONIT I text with a \x01 control byte\n"
                   "SITE_HELLO SITE I Hello %1\n"
                   "XMT_STOPPED XMT E first\n"
                   "XMT_STOPPED XMT E second\n"
                   "DUMP_DONE DBADM I last line without its line end");
  MsgText m = get("CMD_EXECUTED", {"X"}, 'E');
  EXPECT_EQ(m.text, "Done: X (site)");
  EXPECT_EQ(m.severity, 'W');
  // Refused lines leave the built-in text.
  EXPECT_EQ(get("CMD_ERROR", {"L", "5"}, 'E').text, "Command failed (rc = 5): L");
  EXPECT_EQ(get("XMT_START", {}, 'E').text, "The transmitter has been started");
  EXPECT_EQ(get("OK_HELP", {}, 'E').text, "Commands:");
  // A key of the site's own, the later of two lines, a last line without line end.
  EXPECT_EQ(get("SITE_HELLO", {"you"}, 'E').text, "Hello you");
  EXPECT_EQ(last_rc_, kMsgOk);
  EXPECT_EQ(get("XMT_STOPPED", {}, 'E').text, "second");
  EXPECT_EQ(get("DUMP_DONE", {}, 'E').text, "last line without its line end");
  const MsgCatalogueInfo info = msg_catalogue_info('E');
  EXPECT_TRUE(info.read);
  EXPECT_EQ(info.file, catalogue('E'));
  EXPECT_EQ(info.taken, 5);
  EXPECT_EQ(info.refused, 5);
  // The German catalogue is another file: missing, so the built-in German texts hold.
  EXPECT_EQ(get("CMD_EXECUTED", {"X"}, 'D').text, "Befehl ausgeführt: X");
  EXPECT_FALSE(msg_catalogue_info('D').read);

  // The file is read once; a reload takes a changed file.
  test::write_file(catalogue('E'), "CMD_EXECUTED UTILS I Changed %1\n");
  EXPECT_EQ(get("CMD_EXECUTED", {"X"}, 'E').text, "Done: X (site)");
  msg_catalogue_reload();
  EXPECT_EQ(get("CMD_EXECUTED", {"X"}, 'E').text, "Changed X");
}

TEST_F(MsgTest, DamagedOrMissingCatalogueFallsBack) {
  // Binary junk with zero bytes and no line ends.
  std::string junk;
  for (int i = 0; i < 3000; ++i) junk += static_cast<char>((i * 37) & 0xff);
  test::write_file(catalogue('E'), junk);
  EXPECT_EQ(get("XMT_ACTIVE", {}, 'E').text, "The transmitter is already running");
  EXPECT_GT(msg_catalogue_info('E').refused, 0);

  // Larger than a catalogue may be: not read at all.
  msg_catalogue_reload();
  std::string huge;
  while (huge.size() <= (1u << 20)) huge += "XMT_ACTIVE XMT I overridden\n";
  test::write_file(catalogue('E'), huge);
  EXPECT_EQ(get("XMT_ACTIVE", {}, 'E').text, "The transmitter is already running");
  EXPECT_FALSE(msg_catalogue_info('E').read);

  // A directory where the file should be.
  msg_catalogue_reload();
  platform::remove_file(catalogue('E').c_str());
  platform::make_directory(catalogue('E').c_str());
  EXPECT_EQ(get("XMT_ACTIVE", {}, 'E').text, "The transmitter is already running");

  // The built-in texts written as a catalogue read back as they are.
  msg_catalogue_reload();
  test::write_file(catalogue('D'), msg_catalogue_text('D'));
  const MsgCatalogueInfo info = msg_catalogue_info('D');
  EXPECT_TRUE(info.read);
  EXPECT_EQ(info.taken, static_cast<int>(msg_builtin().size()));
  EXPECT_EQ(info.refused, 0);
}

// --- the station log -------------------------------------------------------------------------

struct Seen {
  std::vector<std::string> lines;
  std::vector<std::string> keys;
  std::vector<char> severities;
  bool report_inside = false;
};

void channel(const LogRecord& r, void* context) {
  Seen* s = static_cast<Seen*>(context);
  s->lines.emplace_back(r.line);
  s->keys.emplace_back(r.key);
  s->severities.push_back(r.severity);
  if (s->report_inside) msg_report("OK_READ", {"from the channel"}, 'E');
}

TEST_F(MsgTest, StationLogLinesAndChannel) {
  EXPECT_FALSE(platform::file_exists(log().c_str()));
  // No channel yet: the line is only logged.
  EXPECT_EQ(msg_report("CMD_EXECUTED", {"SEND /CREATE DSN=a"}, 'E'), kMsgOk);

  Seen seen;
  kytlog_set_channel(channel, &seen);
  const std::string big(5000, 'b');
  EXPECT_EQ(msg_report("FUNCTION_FAILED", {"%s%n%x\nsecond line\r", big}, 'E'), kMsgOk);
  EXPECT_EQ(msg_report("NO_SUCH_KEY", {"x"}, 'E'), kMsgUnknownKey);
  use_env("LANGUAGE=D");
  kytlog_set_channel(channel, &seen);
  EXPECT_EQ(msg_report("XMT_STOPPED", {}), kMsgOk);

  const std::vector<std::string> lines = lines_of(test::read_file(log()));
  ASSERT_EQ(lines.size(), 4u);
  for (const std::string& l : lines) EXPECT_TRUE(dated(l)) << l.substr(0, 80);
  EXPECT_EQ(lines[0].substr(20), "I CMD_EXECUTED Command executed: SEND /CREATE DSN=a");
  EXPECT_EQ(lines[1].substr(20), "E FUNCTION_FAILED %s%n%x second line  failed (rc = " + big + ")");
  EXPECT_EQ(lines[2].substr(20), "E NO_SUCH_KEY NO_SUCH_KEY x");
  EXPECT_EQ(lines[3].substr(20), "W XMT_STOPPED Der Transmitter wurde angehalten");

  // The channel saw the same lines without the date-time, severity first.
  ASSERT_EQ(seen.lines.size(), 3u);
  EXPECT_EQ(seen.lines[0], lines[1].substr(20));
  EXPECT_EQ(seen.keys[0], "FUNCTION_FAILED");
  EXPECT_EQ(seen.severities[2], 'W');
  EXPECT_EQ(seen.lines[2], lines[3].substr(20));

  // A report from inside the channel is logged but not sent round again.
  seen.report_inside = true;
  EXPECT_EQ(msg_report("XMT_START", {}, 'E'), kMsgOk);
  EXPECT_EQ(seen.lines.size(), 4u);
  const std::vector<std::string> after = lines_of(test::read_file(log()));
  ASSERT_EQ(after.size(), 6u);
  EXPECT_EQ(after[4].substr(20), "I XMT_START The transmitter has been started");
  EXPECT_EQ(after[5].substr(20), "I OK_READ Command read: from the channel");

  // Removed again: nothing is sent.
  kytlog_set_channel(nullptr, &seen);
  seen.report_inside = false;
  EXPECT_EQ(msg_report("XMT_START", {}, 'E'), kMsgOk);
  EXPECT_EQ(seen.lines.size(), 4u);
}

TEST_F(MsgTest, UnwritableLogStillReachesTheChannel) {
  use_env("");
  // DB names a file, not a directory: the log cannot be made.
  test::write_file(db() + "x", "");
  test::write_file(dir_.file("kytenv.dat"), "DB=\"" + db() + "x\"\n");
  reset();
  ASSERT_EQ(lpdsn_init_file(dir_.file("kytenv.dat")), 0);
  Seen seen;
  kytlog_set_channel(channel, &seen);
  EXPECT_EQ(msg_report("DUMP_DONE", {}, 'E'), kMsgFailed);
  ASSERT_EQ(seen.lines.size(), 1u);
  EXPECT_EQ(seen.lines[0], "I DUMP_DONE Dump finished");
}

// The second process of the log test: reports its lines while the first does the same.
TEST(SecondProcess, MsgLogWriter) {
  std::vector<std::string> args;
  if (!test::in_role("MsgLogWriter", &args)) GTEST_SKIP() << "run by MsgTest.TwoProcessesAppend";
  lpdsn_reset_for_tests();
  msg_reset_for_tests();
  if (lpdsn_init_file(args.at(0)) != 0) test::end_role(2);
  const std::string body(3000, 'c');
  int failed = 0;
  for (int i = 0; i < 100; ++i)
    if (msg_report("OK_READ", {"child " + std::to_string(i) + " " + body}, 'E') != kMsgOk)
      ++failed;
  test::end_role(failed == 0 ? 0 : 1);
}

TEST_F(MsgTest, TwoProcessesAppend) {
  const intptr_t child = test::start_role("MsgLogWriter", {dir_.file("kytenv.dat")});
  ASSERT_NE(child, -1);
  const std::string body(3000, 'p');
  for (int i = 0; i < 100; ++i)
    EXPECT_EQ(msg_report("OK_READ", {"parent " + std::to_string(i) + " " + body}, 'E'), kMsgOk);
  EXPECT_EQ(platform::wait_process(child), 0);
  const std::vector<std::string> lines = lines_of(test::read_file(log()));
  ASSERT_EQ(lines.size(), 200u);
  int parent = 0, child_lines = 0;
  const std::string pbody(3000, 'p'), cbody(3000, 'c');
  for (const std::string& l : lines) {
    ASSERT_TRUE(dated(l)) << l.substr(0, 80);
    const std::string rest = l.substr(20);
    const bool p = rest.rfind("I OK_READ Command read: parent ", 0) == 0;
    const bool c = rest.rfind("I OK_READ Command read: child ", 0) == 0;
    EXPECT_TRUE(p || c) << rest.substr(0, 60);
    // Each line whole: its own body to the end, nothing of the other process inside.
    EXPECT_EQ(rest.substr(rest.size() - 3000), p ? pbody : cbody);
    EXPECT_EQ(rest.find(p ? 'c' : 'p', 30), std::string::npos);
    (p ? parent : child_lines)++;
  }
  EXPECT_EQ(parent, 100);
  EXPECT_EQ(child_lines, 100);
}

}  // namespace
}  // namespace kyt
