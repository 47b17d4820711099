// Database administration: dumps, loads, creating and deleting the database.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "api/caldb.h"
#include "api/dbline.h"
#include "kyt/kyt.h"
#include "monitor/monitor.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"
#include "stationdb.h"
#include "testutil.h"

namespace kyt {
namespace {

namespace fs = std::filesystem;

// What the functions reported: "KEY text" a message, and the last row count.
struct Seen {
  std::vector<std::string> messages;
  long rows = -1;
  bool has(const std::string& key) const {
    for (const std::string& m : messages)
      if (m.compare(0, key.size() + 1, key + " ") == 0) return true;
    return false;
  }
  std::string text(const std::string& key) const {
    for (const std::string& m : messages)
      if (m.compare(0, key.size() + 1, key + " ") == 0) return m.substr(key.size() + 1);
    return "";
  }
};

void on_progress(char, const char* key, const char* text, long rows, void* context) {
  auto* s = static_cast<Seen*>(context);
  if (rows >= 0)
    s->rows = rows;
  else
    s->messages.push_back(std::string(key) + " " + text);
}

class DbAdminTest : public ::testing::Test {
 protected:
  void SetUp() override {
    test::forget_station();
    rpdprm_reset_for_tests();
    rpxunq_reset_for_tests();  // the semaphores' names follow this test's DB
    db_ = dir_.path() + "/db";
    temp_ = dir_.path() + "/tmp";
    logs_ = dir_.path() + "/trc";
    test::write_file(dir_.file("kytenv.dat"), "PATH=\"" + dir_.path() + "\" DB=\"" + db_ +
                                                   "\" TEMP=\"" + temp_ + "\" TRACEDIR=\"" +
                                                   logs_ + "\" LANGUAGE=E\n");
    ASSERT_EQ(lpdsn_init_file(dir_.file("kytenv.dat")), 0);
    kytSetDBProgress(on_progress, &seen_);
  }
  void TearDown() override {
    kytSetDBProgress(nullptr, nullptr);
    rpdsql_run("CLOSE DB");
    test::forget_station();
    rpdprm_reset_for_tests();
  }

  // Every row of a table as texts (null: no value), in the order the table gives them.
  std::vector<RowTexts> rows(const SchemaTable& t) {
    std::vector<RowTexts> out;
    int32_t id = -1;
    EXPECT_EQ(rpdsql_run("OPEN DB"), 0);
    EXPECT_EQ(isa801_alloc_cursor(&id), 0);
    std::string cols;
    for (const COLDEF& c : t.cols) cols += (cols.empty() ? "" : ", ") + std::string(c.s_colname);
    int32_t rc = isa201_prepare_stat(id, "SELECT " + cols + " FROM " + t.name);
    if (rc == 0) rc = isa950_put_input(id, {});
    if (rc == 0) rc = isa203_open_cursor(id);
    RowTexts row;
    while (rc == 0 && (rc = isa_fetch_texts(id, &row)) == 0) out.push_back(row);
    EXPECT_EQ(rc, DBI_W_END_FETCH) << t.name;
    isa805_set_cursor_frei(id);
    return out;
  }

  // Inserts a row given as texts (null left out) through a statement with host variables.
  int32_t insert(const SchemaTable& t, const RowTexts& row) {
    std::string sql = std::string("INSERT INTO ") + t.name + " (", marks;
    std::vector<HostVar> vars;
    std::vector<int32_t> ints(t.cols.size());
    for (size_t i = 0; i < t.cols.size(); ++i) {
      if (!row[i]) continue;
      sql += (marks.empty() ? "" : ", ") + std::string(t.cols[i].s_colname);
      marks += marks.empty() ? "?" : ", ?";
      if (t.cols[i].type == kTypeChar) {
        vars.push_back(HostVar{kTypeChar, const_cast<char*>(row[i]->c_str())});
      } else {
        ints[i] = static_cast<int32_t>(std::stol(*row[i]));
        vars.push_back(HostVar{kTypeInteger, &ints[i]});
      }
    }
    return rpdsql_run(sql + ") VALUES(" + marks + ")", vars);
  }

  std::string dump_body(const std::string& file) {
    const std::string all = test::read_file(file);
    const size_t end = all.find("\n\n");
    return end == std::string::npos ? all : all.substr(end + 2);
  }

  test::TempDir dir_;
  std::string db_, temp_, logs_;
  Seen seen_;
};

// A text of the column full of what could break a line or a quote.
std::string nasty_text(std::mt19937& rng, int width, const std::string& prefix) {
  static const char kNasty[] = "\"'*= %\\/()\n\r\t\x7f\xff\xe4\xc3\xa9xY0";
  std::string s = prefix;
  const int max = width - 1;
  const int len = std::uniform_int_distribution<int>(0, 3)(rng) == 0
                      ? max
                      : std::uniform_int_distribution<int>(0, max)(rng);
  while (static_cast<int>(s.size()) < len) {
    const int pick = std::uniform_int_distribution<int>(0, 3)(rng);
    if (pick == 0)
      s.push_back(static_cast<char>(std::uniform_int_distribution<int>(1, 255)(rng)));
    else
      s.push_back(kNasty[std::uniform_int_distribution<size_t>(0, sizeof kNasty - 2)(rng)]);
  }
  if (static_cast<int>(s.size()) > max) s.resize(static_cast<size_t>(max));
  return s;
}

RowTexts random_row(std::mt19937& rng, const SchemaTable& t, int n) {
  RowTexts row(t.cols.size());
  for (size_t i = 0; i < t.cols.size(); ++i) {
    const COLDEF& c = t.cols[i];
    const bool key = c.key > 0 || (std::strcmp(t.name, "OP") == 0 &&
                                   std::strcmp(c.s_colname, "ODETTEID") == 0);
    if (!key && c.not_null == 0 && c.type != kTypeChar &&
        std::uniform_int_distribution<int>(0, 3)(rng) == 0)
      continue;  // null
    if (c.type == kTypeChar) {
      row[i] = nasty_text(rng, c.width, key ? std::to_string(n) + "k" : "");
    } else if (key) {
      row[i] = std::to_string(n);
    } else if (is_dt_col(c)) {
      static const int32_t kOdd[] = {0, 0, -5, 2147483647, 1, 86399};
      const int pick = std::uniform_int_distribution<int>(0, 9)(rng);
      row[i] = std::to_string(pick < 6 ? kOdd[pick]
                                       : std::uniform_int_distribution<int32_t>(0, 2000000000)(rng));
    } else if (c.type == kTypeSmallint) {
      row[i] = std::to_string(std::uniform_int_distribution<int>(-32768, 32767)(rng));
    } else {
      row[i] = std::to_string(std::uniform_int_distribution<int32_t>(INT32_MIN, INT32_MAX)(rng));
    }
  }
  return row;
}

TEST_F(DbAdminTest, DumpDeleteInitLoadGivesBackEveryRow) {
  ASSERT_EQ(kytInitDB(), 0);
  std::mt19937 rng(20261123);
  const auto schema = station_schema();
  std::vector<std::vector<RowTexts>> before;
  for (const SchemaTable& t : schema) {
    const int n = std::strcmp(t.name, "KT") == 0 ? 60 : 12;
    for (int r = 0; r < n; ++r) ASSERT_EQ(insert(t, random_row(rng, t, r + 1)), 0) << t.name;
    before.push_back(rows(t));
  }
  const std::string first = dir_.file("first.dmp"), second = dir_.file("second.dmp");
  ASSERT_EQ(kytDumpDB(first.c_str()), 0);
  EXPECT_TRUE(seen_.has("DUMP_WRITTEN"));
  EXPECT_GT(seen_.rows, 39 * 12);
  ASSERT_EQ(kytDeleteDB(), 0);
  EXPECT_FALSE(fs::exists(db_ + "/KT.DB"));
  ASSERT_EQ(kytInitDB(), 0);
  ASSERT_EQ(kytWriteDB(first.c_str()), 0);
  EXPECT_TRUE(seen_.has("RECOVER_DONE"));
  for (size_t i = 0; i < schema.size(); ++i) EXPECT_EQ(rows(schema[i]), before[i]) << schema[i].name;
  ASSERT_EQ(kytDumpDB(second.c_str()), 0);
  EXPECT_EQ(dump_body(second), dump_body(first));
  // Every row is one line: the line breaks of the texts are escaped.
  size_t lines = 0;
  for (char c : dump_body(first)) lines += c == '\n';
  size_t total = 0;
  for (const auto& t : before) total += t.size();
  EXPECT_EQ(lines, total);
}

TEST_F(DbAdminTest, DumpLinesOfEachKind) {
  ASSERT_EQ(kytInitDB(), 0);
  ASSERT_EQ(rpdsql_run("DELETE FROM DB"), 0);
  int32_t when = 0;
  ASSERT_EQ(dt_to_stored("2024/02/29 12:34:56", &when), 0);
  const std::string w = std::to_string(when);
  ASSERT_EQ(insert(*schema_table("RT"), {"P1", "P\"2", "-7"}), 0);
  ASSERT_EQ(insert(*schema_table("TR"), {"S", "A B", "C*=D", "N%1", "V\n2"}), 0);
  ASSERT_EQ(insert(*schema_table("DB"), {"5.07 \"x\"", w}), 0);
  RowTexts kt(schema_table("KT")->cols.size());
  kt[0] = "42";   // CN
  kt[1] = "SN";   // CMDTYPE
  kt[3] = w;      // DTCREATED; PRIORITY, DTDONE, DTSCHEDULE null
  kt[4] = "0";    // DTDONE 0: not set
  kt[6] = "1";    // FLAGSERIAL
  kt[7] = "qn";   // STATUS
  kt[16] = "-3";  // ERRORCODE
  kt[17] = "9";   // KYTID
  for (size_t i = 0; i < kt.size(); ++i)
    if (!kt[i] && schema_table("KT")->cols[i].type == kTypeChar) kt[i] = "";
  ASSERT_EQ(insert(*schema_table("KT"), kt), 0);
  const std::string f = dir_.file("kinds.dmp");
  const Tab tabs[] = {Tab::kRT, Tab::kTR, Tab::kDB, Tab::kKT};
  ASSERT_EQ(dump_tables(f.c_str(), "", tabs, false, false), 0);
  EXPECT_EQ(test::read_file(f),
            "RT SIDDEST=\"P1\" SIDNEIGHB=\"P%222\" PRIORITY=\"-7\"\n"
            "TR DIRECTION=\"S\" SIDORG=\"A B\" SIDDEST=\"C*=D\"  SIDNEIGHB=\"N%251\" "
            "VDSN=\"V%0A2\"\n"
            "DB DBVERSION=\"5.07 %22x%22\" DBDATE=\"2024/02/29 12:34:56\"\n"
            "KT CN=\"42\" CMDTYPE=\"SN\" DTCREATED=\"2024/02/29 12:34:56\" DTDONE=\"\" "
            "FLAGSERIAL=\"1\" STATUS=\"qn\" HELDBY=\"\" XIDHELD=\"\" FREEDBY=\"\" XIDFREED=\"\" "
            "DELETEDBY=\"\" XIDDELETED=\"\" ERRORCODE=\"-3\" KYTID=\"9\"\n");
  // The station information form of OP.
  RowTexts op(schema_table("OP")->cols.size());
  for (size_t i = 0; i < op.size(); ++i)
    if (schema_table("OP")->cols[i].type == kTypeChar) op[i] = "";
  op[0] = "S1";
  op[1] = "O1";
  op[2] = "a";
  op[3] = "b";
  op[4] = "7";
  std::string line;
  dump_row_line(*schema_table("OP"), op, &line, true);
  EXPECT_EQ(line.substr(0, 66),
            "OP: SID=\"S1\", ODETTEID=\"O1\", PSWFROM=\"a\", PSWTO=\"b\" SENDBLOCKS=\"7\"");
  // Headers of the partial dumps, with and without time.
  ASSERT_EQ(kytDumpParameter(f.c_str(), 0), 0);
  EXPECT_EQ(test::read_file(f).substr(0, 25), "* Dump of Parameter \n\nPT ");
  ASSERT_EQ(kytDumpUser(f.c_str(), 1), 0);
  const std::string u = test::read_file(f);
  ASSERT_GT(u.size(), 40u);
  EXPECT_EQ(u.substr(0, 18), "* Dump of User at:");
  EXPECT_EQ(u.substr(38, 4), " \n\nB");
  int32_t t = 0;
  EXPECT_EQ(dt_to_stored(u.substr(19, 19).c_str(), &t), 0) << u.substr(0, 40);
  ASSERT_EQ(kytDumpStations(f.c_str(), 0), 0);
  EXPECT_EQ(test::read_file(f).substr(0, 30), "* Dump of StationEntries \n\nRT ");
}

TEST_F(DbAdminTest, RefusedLinesNameTheirNumberAndLoadNothing) {
  ASSERT_EQ(kytInitDB(), 0);
  const std::string f = dir_.file("bad.dmp");
  const std::string good = "RT SIDDEST=\"A\" SIDNEIGHB=\"B\" PRIORITY=\"1\"\n";
  struct Case {
    std::string line;
    const char* key;
  } cases[] = {
      {"RT SIDDEST=\"X\" SIDNEIGHB=\"Y\" PRIORITY=\"1\" BOGUS=\"x\"", "INVALID_COLNAME"},
      {"RT SIDDEST=\"X\" SIDNEIGHB=\"Y\" SIDDEST=\"Z\" PRIORITY=\"1\"", "PARM_USED_TWICE"},
      {"RT SIDDEST=\"X SIDNEIGHB=\"Y\"", "SYNTAX_ERROR"},
      {"RT SIDDEST=\"X%G1\" SIDNEIGHB=\"Y\" PRIORITY=\"1\"", "INVALID_INPUT"},
      {"RT SIDNEIGHB=\"Y\" PRIORITY=\"1\"", "INVALID_INPUT"},
      {"QQ A=\"1\"", "INVALID_CMD"},
      {"KT CN=\"99999999999\" CMDTYPE=\"A\"", "INVALID_INPUT"},
      {std::string("RT SIDDEST=\"X\" SIDNEIGHB=\"Y\" PRIORITY=\"1\" \0 PRIORITY=\"2\"", 47),
       "INVALID_INPUT"},
      {"RT SIDDEST=\"X\xffY\" SIDNEIGHB=\"Y\" PRIORITY=\"1\"", "INVALID_INPUT"},
      {"KT CN=\"1\" CMDTYPE=\"A\"", "INVALID_INPUT"},
  };
  for (const Case& c : cases) {
    seen_ = Seen{};
    test::write_file(f, "* header\n\n" + good + c.line + "\n" + good);
    long bad = 0;
    EXPECT_EQ(load_file(f.c_str(), {}, &bad), KYT_DB_BAD_LINE) << c.line;
    EXPECT_EQ(bad, 4) << c.line;
    EXPECT_TRUE(seen_.has(c.key)) << c.line;
    EXPECT_EQ(seen_.text("RECOVER_ERROR").substr(0, 16), "Error in line 4 ") << c.line;
    EXPECT_TRUE(rows(*schema_table("RT")).empty()) << c.line;
  }
  EXPECT_EQ(seen_.text("INVALID_INPUT").substr(15, 39), "store_KT: GET_VAL(DTCREATED) failed (rc");
  seen_ = Seen{};
  test::write_file(f, "* header\n\n" + good);
  EXPECT_EQ(kytWriteDB(dir_.file("missing.dmp").c_str()), KYT_DB_NO_FILE);
  EXPECT_TRUE(seen_.has("DATASET_NOT_EXIST"));
  // A good file after all that: the table holds exactly its lines.
  EXPECT_EQ(kytWriteDB(f.c_str()), 0);
  ASSERT_EQ(rows(*schema_table("RT")).size(), 1u);
  EXPECT_EQ(kytWriteDB(f.c_str()), 0);  // loading again replaces, adds nothing
  EXPECT_EQ(rows(*schema_table("RT")).size(), 1u);
}

TEST_F(DbAdminTest, DeleteWithAndWithoutItsDirectories) {
  // Nothing there: the missing directories are reported and skipped.
  EXPECT_EQ(kytDeleteDB(), 0);
  EXPECT_TRUE(seen_.has("NO_DB"));
  EXPECT_TRUE(seen_.has("NO_TEMP"));
  ASSERT_EQ(kytInitDB(), 0);
  char version[128], date[20];
  ASSERT_EQ(kytGetDBVersion(version, date), 0);
  EXPECT_STREQ(version, version_banner());
  EXPECT_EQ(std::strlen(date), 19u);
  EXPECT_EQ(kytInitDB(), KYT_DB_EXISTS);
  fs::create_directories(temp_ + "/sub");
  fs::create_directories(logs_);
  test::write_file(temp_ + "/a.tmp", "x");
  test::write_file(logs_ + "/trace1.log", "x");
  test::write_file(logs_ + "/keep.txt", "x");
  test::write_file(db_ + "/keep.txt", "x");
  seen_ = Seen{};
  ASSERT_EQ(kytDeleteDB(), 0);
  for (const char* k : {"DBDEL", "SYS_CMD", "DEL_DB", "DEL_LOG", "DEL_TEMP"})
    EXPECT_TRUE(seen_.has(k)) << k;
  EXPECT_FALSE(seen_.has("NO_DB"));
  for (const auto& e : fs::directory_iterator(db_)) {
    const std::string ext = e.path().extension().string();
    EXPECT_TRUE(ext != ".DB" && ext != ".IDX" && ext != ".HOL") << e.path();
  }
  EXPECT_TRUE(fs::exists(db_ + "/keep.txt"));
  EXPECT_FALSE(fs::exists(logs_ + "/trace1.log"));
  EXPECT_TRUE(fs::exists(logs_ + "/keep.txt"));
  EXPECT_FALSE(fs::exists(temp_ + "/a.tmp"));
  EXPECT_TRUE(fs::exists(temp_ + "/sub"));
  // A new database in the same process after the delete.
  EXPECT_EQ(kytInitDB(), 0);
  EXPECT_EQ(kytGetDBVersion(version, date), 0);
}

// The station's own id has its row from the start, so the initial command file can set it;
// left empty, the init says so.
TEST_F(DbAdminTest, InitLeavesRoomForTheStationsOwnId) {
  ASSERT_EQ(kytInitDB(), 0);
  EXPECT_TRUE(seen_.has("UNDEFINED_LID"));
  kyt_parm p{};
  ASSERT_EQ(kytGetParm("LID", &p), 0);
  EXPECT_STREQ(p.VAL, "");
  ASSERT_EQ(kytDeleteDB(), 0);
  std::string init;
  ASSERT_EQ(lpdsn_get("DSN_MON_INIT", &init), 0);
  fs::create_directories(fs::path(init).parent_path());
  test::write_file(init, "setparm LID=HUB\n");
  seen_ = Seen{};
  ASSERT_EQ(kytInitDB(), 0);
  EXPECT_FALSE(seen_.has("UNDEFINED_LID"));
  ASSERT_EQ(kytGetParm("LID", &p), 0);
  EXPECT_STREQ(p.VAL, "HUB");
}

TEST(SecondProcess, DbAdminHoldTransmitter) {
  std::vector<std::string> args;
  if (!test::in_role("DbAdminHoldTransmitter", &args)) GTEST_SKIP() << "run by DbAdminTest";
  if (lpdsn_init_file(args.at(0)) != 0 || rpxunq(1, "KYTXMT") != 0) test::end_role(1);
  test::write_file(args.at(1), "held");
  test::wait_for_file(args.at(2), 120);
  test::end_role(0);
}

TEST_F(DbAdminTest, DeleteRefusedWhileAStationProcessRuns) {
  ASSERT_EQ(kytInitDB(), 0);
  rpdsql_run("CLOSE DB");
  const std::string held = dir_.file("held"), release = dir_.file("release");
  const intptr_t child =
      test::start_role("DbAdminHoldTransmitter", {dir_.file("kytenv.dat"), held, release});
  ASSERT_TRUE(test::wait_for_file(held, 60));
  EXPECT_EQ(kytDeleteDB(), KYT_DB_STATION_RUNS);
  EXPECT_TRUE(seen_.has("DBDEL_ACTIVE"));
  EXPECT_FALSE(seen_.has("DBDEL"));
  EXPECT_TRUE(fs::exists(db_ + "/KT.DB"));
  test::write_file(release, "go");
  EXPECT_EQ(platform::wait_process(child), 0);
  EXPECT_EQ(kytDeleteDB(), 0);
  EXPECT_FALSE(fs::exists(db_ + "/KT.DB"));
}

TEST(DumpEscape, EveryByteComesBack) {
  std::string all;
  for (int b = 1; b < 256; ++b) all.push_back(static_cast<char>(b));
  std::string esc, back;
  dump_escape(all, &esc);
  for (char c : esc) {
    const auto b = static_cast<unsigned char>(c);
    EXPECT_TRUE(b >= 0x20 && b != '"' && b != 0x7F && b != 0xFF) << int(b);
  }
  ASSERT_TRUE(dump_unescape(esc, &back));
  EXPECT_EQ(back, all);
  EXPECT_TRUE(dump_unescape("%4a%4A", &back));
  EXPECT_EQ(back, "JJ");
  EXPECT_FALSE(dump_unescape("50%", &back));
  EXPECT_FALSE(dump_unescape("%4", &back));
  EXPECT_FALSE(dump_unescape("%zz", &back));
}

}  // namespace
}  // namespace kyt

namespace kyt {
namespace {

// The dump's own date-time conversion against rpxdt's, over the whole range of instants and
// densely around the changes of the clock of the zone the test runs in (dbadmin_tz runs it
// in Europe/Berlin).
TEST(DumpDt, SameAsTheLibrarysConversion) {
  std::mt19937 rng(7);
  std::vector<int64_t> values = {0, 1, -1, INT32_MIN, INT32_MAX, 86399, 86400};
  for (int i = 0; i < 3000; ++i)
    values.push_back(std::uniform_int_distribution<int32_t>(INT32_MIN, INT32_MAX)(rng));
  // Every 15 minutes through two years around now, the changes of the clock included.
  for (int64_t v = 820000000; v < 820000000 + 2 * 365 * 86400LL; v += 900) values.push_back(v);
  int written_as_number = 0;
  for (int64_t v64 : values) {
    const auto v = static_cast<int32_t>(v64);
    char slow[32];
    int32_t back = 0;
    const bool slow_ok = dt_from_stored(v, slow, sizeof slow) == 0 &&
                         dt_to_stored(slow, &back) == 0 && back == v;
    std::string fast;
    ASSERT_EQ(dump_dt_text(v, &fast), slow_ok) << v;
    if (!slow_ok) {
      // Instants from 1970 to 2038 have texts on every platform (the C library of Windows
      // has none before 1970); only those of a repeated hour lack one.
      if (v >= -946684800 && v < 1200000000) ++written_as_number;
      continue;
    }
    ASSERT_EQ(fast, slow) << v;
    int32_t read = 0;
    ASSERT_EQ(dump_dt_value(fast, &read), 0) << fast;
    ASSERT_EQ(read, v) << fast;
  }
  EXPECT_LT(written_as_number, 100);
  // Texts of every hour of the day on days around the changes, also those the clock skips or
  // repeats, and texts that are not in the canonical form: read as dt_to_stored reads them.
  const char* odd[] = {"2025/03/30 02:30:00", "2025/10/26 02:30:00", "2024/02/29 23:59:59",
                       "2023/02/29 10:00:00", "2024/13/01 00:00:00", "2024/1/2 3:04:05",
                       "x",                   "2024/01/01 24:00:00", "1901/01/01 00:00:00"};
  for (const char* t : odd) {
    int32_t a = -1, b = -1;
    const int32_t ra = dump_dt_value(t, &a), rb = dt_to_stored(t, &b);
    EXPECT_EQ(ra, rb) << t;
    if (ra == 0 && rb == 0) {
      EXPECT_EQ(a, b) << t;
    }
  }
  for (int day : {29, 30, 31})
    for (int h = 0; h < 24; ++h)
      for (int month : {3, 10}) {
        char t[32];
        std::snprintf(t, sizeof t, "2025/%02d/%02d %02d:%02d:17", month, day, h, h * 2);
        int32_t a = -1, b = -1;
        EXPECT_EQ(dump_dt_value(t, &a), dt_to_stored(t, &b)) << t;
        EXPECT_EQ(a, b) << t;
      }
}

}  // namespace
}  // namespace kyt
