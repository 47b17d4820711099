// A database kept open between uses without its locks: the change counter, what a resume
// finds after other opens changed, removed or left the files alone, and the refusals
// while suspended. Other processes are this test binary run again (test::run_role); each
// opens the files anew, as another program would.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cbt/bufpool.h"
#include "cbt/cbt.h"
#include "isam/isam.h"
#include "isam/isam_impl.h"
#include "platform/platform.h"
#include "testutil.h"

namespace kyt {
namespace {

// The value stored under key k, or "" when there is none.
std::string value_of(IsamDb* db, const char* k) {
  IsamIndex* byk = ihandle(db, "BYK");
  const char* key[] = {k};
  if (byk == nullptr || ifindkey(db, byk, key) != 2) return "";
  const char* fields[2];
  char buf[128];
  return igetrec(db, byk, fields, buf, sizeof buf) == 1 ? fields[1] : "";
}

class IsamSuspend : public ::testing::Test {
 protected:
  void SetUp() override {
    isam_reset_for_tests();
    cb_reset_for_tests();
    base_ = dir_.file("P");
    const char* fields[] = {"K", "V", nullptr};
    ASSERT_EQ(icreate_db(base_.c_str(), fields), 1);
    db_ = iopen_db(base_.c_str());
    ASSERT_NE(db_, nullptr);
    const char* key[] = {"K", nullptr};
    ASSERT_EQ(imkindex(db_, "BYK", key), 1);
  }
  void TearDown() override {
    isam_reset_for_tests();
    cb_reset_for_tests();
  }

  static int add(IsamDb* db, const char* k, const char* v) {
    const char* values[] = {k, v, nullptr};
    return iaddrec(db, ihandle(db, "BYK"), values);
  }
  void expect_sound() {
    std::vector<std::string> problems;
    EXPECT_TRUE(icheck_db(base_.c_str(), &problems, 10));
    for (const std::string& p : problems) ADD_FAILURE() << p;
  }
  uint32_t counter_in_file() {
    platform::File f;
    unsigned char w[4] = {};
    if (f.open((base_ + ".DB").c_str(), platform::OpenMode::kRead)) f.read_at(w, 4, 4);
    return static_cast<uint32_t>(get_le32(w));
  }

  test::TempDir dir_;
  std::string base_;
  IsamDb* db_ = nullptr;
};

TEST_F(IsamSuspend, CounterMovesOnceForEachHoldThatChanges) {
  ASSERT_EQ(add(db_, "a", "1"), 1);
  ASSERT_EQ(add(db_, "b", "2"), 1);
  ASSERT_EQ(isuspend_db(db_), 1);
  const uint32_t c0 = counter_in_file();

  // A hold that only reads leaves the counter; one that changes moves it once, before the
  // change is in the file.
  ASSERT_EQ(iresume_db(db_), 1);
  EXPECT_EQ(value_of(db_, "b"), "2");
  ASSERT_EQ(isuspend_db(db_), 1);
  EXPECT_EQ(counter_in_file(), c0);
  ASSERT_EQ(iresume_db(db_), 1);
  ASSERT_EQ(add(db_, "c", "3"), 1);
  EXPECT_EQ(counter_in_file(), c0 + 1);
  ASSERT_EQ(add(db_, "d", "4"), 1);
  IsamIndex* byk = ihandle(db_, "BYK");
  const char* key[] = {"a"};
  ASSERT_EQ(ifindkey(db_, byk, key), 2);
  ASSERT_EQ(idelrec(db_, byk), 1);
  ASSERT_EQ(isuspend_db(db_), 1);
  EXPECT_EQ(counter_in_file(), c0 + 1);

  ASSERT_EQ(iresume_db(db_), 1);
  EXPECT_EQ(value_of(db_, "a"), "");
  EXPECT_EQ(value_of(db_, "d"), "4");
  ASSERT_EQ(iclose_db(db_), 1);
  expect_sound();
}

TEST_F(IsamSuspend, NothingButResumeOrCloseWhileSuspended) {
  ASSERT_EQ(add(db_, "a", "1"), 1);
  IsamIndex* byk = ihandle(db_, "BYK");
  ASSERT_EQ(isuspend_db(db_), 1);
  EXPECT_EQ(isuspend_db(db_), 1);  // twice is once
  const char* key[] = {"a"};
  EXPECT_EQ(ifindkey(db_, byk, key), -1);
  EXPECT_EQ(isam_errno, kIsamBadDb);
  EXPECT_EQ(add(db_, "b", "2"), -1);
  EXPECT_EQ(isam_errno, kIsamBadDb);
  EXPECT_EQ(iflush_db(db_), -1);
  // The integrity check takes it up for the check and leaves it suspended.
  expect_sound();
  EXPECT_EQ(ifindkey(db_, byk, key), -1);
  ASSERT_EQ(iresume_db(db_), 1);
  EXPECT_EQ(ifindkey(db_, byk, key), 2);
  EXPECT_EQ(iresume_db(db_), 1);  // resuming an open database does nothing
  ASSERT_EQ(iclose_db(db_), 1);
  EXPECT_EQ(iresume_db(db_), -1);
  EXPECT_EQ(isam_errno, kIsamBadDb);
}

// Another open of the name in this process takes the files; the suspended one can then
// only be closed, and writes nothing when it is.
TEST_F(IsamSuspend, AnOpenInThisProcessTakesTheFilesOver) {
  ASSERT_EQ(add(db_, "a", "1"), 1);
  ASSERT_EQ(isuspend_db(db_), 1);
  IsamDb* other = iopen_db(base_.c_str());
  ASSERT_NE(other, nullptr) << isam_strerror(isam_errno);
  ASSERT_EQ(add(other, "b", "2"), 1);
  EXPECT_EQ(iresume_db(db_), 0);
  EXPECT_EQ(iclose_db(db_), 1);
  EXPECT_EQ(value_of(other, "a"), "1");
  EXPECT_EQ(value_of(other, "b"), "2");
  ASSERT_EQ(iclose_db(other), 1);
  expect_sound();
}

// The header as written, and headers whose field count and first record offset disagree
// with the names: the counter may hold anything, the other two words must fit exactly.
TEST_F(IsamSuspend, HeaderWordsAndTheirChecks) {
  ASSERT_EQ(add(db_, "a", "1"), 1);
  ASSERT_EQ(iclose_db(db_), 1);
  const std::string bytes = test::read_file(base_ + ".DB");
  ASSERT_EQ(bytes.size(), 20u);  // header, names, one record
  EXPECT_EQ(bytes.substr(0, 4), std::string("\x02\x00\x0c\x00", 4));
  EXPECT_EQ(bytes.substr(8, 4), std::string("K\0V\0", 4));
  auto opens = [&](std::string changed) {
    test::write_file(base_ + ".DB", changed);
    IsamDb* db = iopen_db(base_.c_str());
    if (db == nullptr) return isam_errno;
    const bool same = value_of(db, "a") == "1";
    return iclose_db(db) == 1 && same ? 0 : -1;
  };
  std::string b = bytes;
  b.replace(4, 4, std::string("\xff\xff\xff\xff", 4));
  EXPECT_EQ(opens(b), 0);
  for (const char* head : {"\x01\x00\x0c\x00", "\x03\x00\x0c\x00", "\x02\x00\x0a\x00",
                           "\x02\x00\x10\x00", "\x02\x00\x08\x00", "\x02\x00\x00\x01"}) {
    b = bytes;
    b.replace(0, 4, std::string(head, 4));
    EXPECT_EQ(opens(b), kIsamDataCorrupt) << static_cast<int>(head[0]) << "," << static_cast<int>(head[2]);
  }
  EXPECT_EQ(opens(bytes.substr(0, 11)), kIsamDataCorrupt);  // names cut short
  EXPECT_EQ(opens(bytes), 0);
}

// The second processes of these tests: each opens the files anew, as another program would.
int open_and_close(const std::string& base) {
  IsamDb* db = iopen_db(base.c_str());
  if (db == nullptr) return isam_errno;
  return iclose_db(db) == 1 ? 0 : 100;
}

TEST(SecondProcess, IsamOpenClose) {
  std::vector<std::string> args;
  if (!test::in_role("IsamOpenClose", &args)) GTEST_SKIP() << "a second process of IsamSuspend";
  test::end_role(open_and_close(args.at(0)));
}

// Opens the database, says so in the file args[1] ("y", or "n" when the open failed), and
// holds it until the file args[2] appears.
TEST(SecondProcess, IsamHold) {
  std::vector<std::string> args;
  if (!test::in_role("IsamHold", &args)) GTEST_SKIP() << "a second process of IsamSuspend";
  IsamDb* db = iopen_db(args.at(0).c_str());
  test::write_file(args.at(1) + ".tmp", db != nullptr ? "y" : "n");
  platform::rename_file((args.at(1) + ".tmp").c_str(), args.at(1).c_str());
  const bool told = test::wait_for_file(args.at(2));
  test::end_role(db != nullptr && told && iclose_db(db) == 1 ? 0 : 1);
}

// Keeps the first args[1] bytes of the file args[0] and drops the rest (a tool emptying it).
TEST(SecondProcess, CutFile) {
  std::vector<std::string> args;
  if (!test::in_role("CutFile", &args)) GTEST_SKIP() << "a second process of IsamSuspend";
  const std::string kept = test::read_file(args.at(0)).substr(0, std::stoul(args.at(1)));
  platform::File f;
  const bool ok = f.open(args.at(0).c_str(), platform::OpenMode::kCreate) &&
                  f.write_at(kept.data(), kept.size(), 0) == static_cast<int64_t>(kept.size());
  test::end_role(ok ? 0 : 1);
}

TEST_F(IsamSuspend, OtherProcessesSeeTheLocksGoAndComeBack) {
  ASSERT_EQ(add(db_, "a", "1"), 1);
  const std::string base = base_;
  EXPECT_EQ(test::run_role("IsamOpenClose", {base}), kIsamLocked);  // held
  ASSERT_EQ(isuspend_db(db_), 1);
  EXPECT_EQ(test::run_role("IsamOpenClose", {base}), 0);  // given up; a look changes nothing
  ASSERT_EQ(iresume_db(db_), 1);
  EXPECT_EQ(test::run_role("IsamOpenClose", {base}), kIsamLocked);
  ASSERT_EQ(isuspend_db(db_), 1);

  // Another process holds the database: resuming fails and may be tried again.
  const std::string ready = dir_.file("ready"), go = dir_.file("go");
  const intptr_t holder = test::start_role("IsamHold", {base, ready, go});
  ASSERT_NE(holder, -1);
  const bool started = test::wait_for_file(ready);
  const std::string answer = test::read_file(ready);
  if (started && answer == "y") {
    EXPECT_EQ(iresume_db(db_), -1);
    EXPECT_EQ(isam_errno, kIsamLocked);
  }
  test::write_file(go, "x");
  EXPECT_EQ(platform::wait_process(holder), 0);
  ASSERT_TRUE(started);
  ASSERT_EQ(answer, "y");
  EXPECT_EQ(iresume_db(db_), 1);
  EXPECT_EQ(value_of(db_, "a"), "1");
}

// What the second process of ChangesByOtherProcessesAreNoticed does, by case number.
int change_case(int which, const std::string& b) {
  switch (which) {
    case 0: {  // looked at only
      IsamDb* db = iopen_db(b.c_str());
      const int ok = db != nullptr && value_of(db, "m") == "old";
      return db != nullptr && iclose_db(db) == 1 && ok ? 0 : 1;
    }
    case 1: {  // a record changed
      IsamDb* db = iopen_db(b.c_str());
      if (db == nullptr) return 1;
      IsamIndex* byk = ihandle(db, "BYK");
      const char* key[] = {"m"};
      if (ifindkey(db, byk, key) != 2 || idelrec(db, byk) != 1) return 2;
      const char* values[] = {"m", "new", nullptr};
      return iaddrec(db, byk, values) == 1 && iclose_db(db) == 1 ? 0 : 3;
    }
    case 2: {  // removed and made anew
      if (idestroy_db(b.c_str()) != 1) return 1;
      const char* fields[] = {"K", "V", nullptr};
      if (icreate_db(b.c_str(), fields) != 1) return 2;
      IsamDb* db = iopen_db(b.c_str());
      const char* key[] = {"K", nullptr};
      if (db == nullptr || imkindex(db, "BYK", key) != 1) return 3;
      const char* values[] = {"m", "remade", nullptr};
      return iaddrec(db, ihandle(db, "BYK"), values) == 1 && iclose_db(db) == 1 ? 0 : 4;
    }
  }
  return 99;
}

TEST(SecondProcess, IsamChange) {
  std::vector<std::string> args;
  if (!test::in_role("IsamChange", &args)) GTEST_SKIP() << "a second process of IsamSuspend";
  test::end_role(change_case(std::stoi(args.at(0)), args.at(1)));
}

// Whatever another process did to the files, a resume that answers 1 shows exactly what
// the files hold, and one that answers 0 is followed by a close and a fresh open that does.
TEST_F(IsamSuspend, ChangesByOtherProcessesAreNoticed) {
  for (char k = 'a'; k <= 'z'; ++k) {
    const char key[2] = {k, '\0'};
    ASSERT_EQ(add(db_, key, "old"), 1);
  }
  struct Case {
    const char* what;
    int resume;       // what iresume_db answers
    const char* m;    // the value of "m" afterwards
  };
  const Case cases[] = {
      {"looked at only", 1, "old"},
      {"a record changed", 0, "new"},
      {"removed and made anew", 0, "remade"},
  };
  for (int n = 0; n < 3; ++n) {
    const Case& c = cases[n];
    SCOPED_TRACE(c.what);
    // Where a removed file keeps its name while this process holds it, nobody can make it
    // anew meanwhile.
    if (n == 2 && platform::removal_waits_for_close()) break;
    ASSERT_EQ(isuspend_db(db_), 1);
    ASSERT_EQ(test::run_role("IsamChange", {std::to_string(n), base_}), 0);
    const int rc = iresume_db(db_);
    EXPECT_EQ(rc, c.resume);
    if (rc == 0) {
      EXPECT_EQ(iclose_db(db_), 1);
      db_ = iopen_db(base_.c_str());
      ASSERT_NE(db_, nullptr);
    }
    EXPECT_EQ(value_of(db_, "m"), c.m);
  }
  ASSERT_EQ(iclose_db(db_), 1);
  expect_sound();
}

// A close whose writes fail gives back everything it held: another process can open the
// database at once, and nothing of it stays registered here.
TEST_F(IsamSuspend, AFailedCloseLeavesNothingHeld) {
  for (int i = 0; i < 50; ++i) {
    const std::string k = "key" + std::to_string(i);
    ASSERT_EQ(add(db_, k.c_str(), "v"), 1);
  }
  platform::fail_writes_for_tests(true);
  const int rc = iclose_db(db_);
  platform::fail_writes_for_tests(false);
  db_ = nullptr;
  EXPECT_EQ(rc, -1);
  EXPECT_EQ(isam_errno, kIsamIo);
  EXPECT_EQ(cursor_list(), nullptr);
  EXPECT_EQ(test::run_role("IsamOpenClose", {base_}), 0);
  IsamDb* again = iopen_db(base_.c_str());
  ASSERT_NE(again, nullptr) << isam_strerror(isam_errno);
  EXPECT_EQ(iclose_db(again), 1);
}

// A data file cut short before a hole that the holes tree still lists: the table is
// damaged, and a change is refused rather than written behind the end of the file.
TEST_F(IsamSuspend, NoWriteBehindTheEndOfADataFileCutShort) {
  for (char k = 'a'; k <= 'j'; ++k) {
    const char key[2] = {k, '\0'};
    ASSERT_EQ(add(db_, key, "v"), 1);
  }
  IsamIndex* byk = ihandle(db_, "BYK");
  for (const char* k : {"i", "j"}) {  // the last two records: one hole of 14 bytes
    const char* key[] = {k};
    ASSERT_EQ(ifindkey(db_, byk, key), 2);
    ASSERT_EQ(idelrec(db_, byk), 1);
  }
  ASSERT_EQ(iclose_db(db_), 1);
  const std::string data = base_ + ".DB";
  const std::string bytes = test::read_file(data);
  ASSERT_EQ(bytes.size(), 12u + 10 * 8);  // header and names, then ten records of 4 + 4
  const size_t cut = bytes.size() - 16 - 3;  // in the middle of record "h"
  test::write_file(data, bytes.substr(0, cut));
  db_ = iopen_db(base_.c_str());
  ASSERT_NE(db_, nullptr);
  EXPECT_EQ(add(db_, "n", ""), -1);
  EXPECT_EQ(isam_errno, kIsamDataCorrupt);
  EXPECT_EQ(iclose_db(db_), 1);
  db_ = nullptr;
  EXPECT_EQ(platform::file_size(data.c_str()), static_cast<int64_t>(cut));
}

// The integrity check names a missing file: the holes file where the data file has holes,
// and the data or index file that keeps the database from opening at all.
TEST_F(IsamSuspend, CheckNamesTheMissingFile) {
  ASSERT_EQ(add(db_, "a", "1"), 1);
  ASSERT_EQ(add(db_, "b", "2"), 1);
  ASSERT_EQ(iclose_db(db_), 1);
  db_ = nullptr;
  // Without holes the holes file is not needed.
  const std::string hol = base_ + ".HOL";
  const std::string kept = test::read_file(hol);
  ASSERT_TRUE(platform::remove_file(hol.c_str()));
  expect_sound();
  test::write_file(hol, kept);
  IsamDb* db = iopen_db(base_.c_str());
  ASSERT_NE(db, nullptr);
  const char* key[] = {"a"};
  ASSERT_EQ(ifindkey(db, ihandle(db, "BYK"), key), 2);
  ASSERT_EQ(idelrec(db, ihandle(db, "BYK")), 1);
  ASSERT_EQ(iclose_db(db), 1);
  expect_sound();
  auto problems = [&]() {
    std::vector<std::string> out;
    EXPECT_FALSE(icheck_db(base_.c_str(), &out, 10));
    std::string all;
    for (const std::string& p : out) all += p + "\n";
    return all;
  };
  ASSERT_TRUE(platform::remove_file(hol.c_str()));
  EXPECT_NE(problems().find("holes file " + hol + " is missing"), std::string::npos);
  for (const char* suffix : {".IDX", ".DB"}) {
    const std::string file = base_ + suffix;
    const std::string saved = test::read_file(file);
    ASSERT_TRUE(platform::remove_file(file.c_str()));
    const std::string said = problems();
    EXPECT_NE(said.find(file + " is missing"), std::string::npos) << said;
    test::write_file(file, saved);
  }
}

// An index file cut short behind the counter's back (a tool emptying it) is not read
// through: the resume answers 0.
TEST_F(IsamSuspend, AnIndexFileCutShortIsNoticed) {
  for (int i = 0; i < 300; ++i) {
    const std::string k = "key" + std::to_string(i);
    ASSERT_EQ(add(db_, k.c_str(), "v"), 1);
  }
  ASSERT_EQ(isuspend_db(db_), 1);
  const std::string idx = base_ + ".IDX";
  ASSERT_GT(platform::file_size(idx.c_str()), 8192);
  ASSERT_EQ(test::run_role("CutFile", {idx, "8192"}), 0);
  ASSERT_EQ(platform::file_size(idx.c_str()), 8192);
  EXPECT_EQ(iresume_db(db_), 0);
  EXPECT_EQ(iclose_db(db_), 1);
  db_ = nullptr;
}

}  // namespace
}  // namespace kyt
