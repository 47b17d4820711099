// A database kept open between uses without its locks: the change counter, what a resume
// finds after other opens changed, removed or left the files alone, and the refusals
// while suspended. Other processes are forked children (POSIX); a child opens the files
// anew, as another program would.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cbt/cbt.h"
#include "isam/isam.h"
#include "isam/isam_impl.h"
#include "platform/platform.h"
#include "testutil.h"

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace kyt {
namespace {

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
  // The value stored under key k, or "" when there is none.
  static std::string value_of(IsamDb* db, const char* k) {
    IsamIndex* byk = ihandle(db, "BYK");
    const char* key[] = {k};
    if (byk == nullptr || ifindkey(db, byk, key) != 2) return "";
    const char* fields[2];
    char buf[128];
    return igetrec(db, byk, fields, buf, sizeof buf) == 1 ? fields[1] : "";
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

#ifndef _WIN32
// Runs `body` in a child process that starts without this one's open files, as another
// program would, and returns its exit code. The inherited files are closed without a word:
// they share their locks with the parent's, and an unlock in the child would give those up.
template <typename F>
int in_child(F body) {
  const pid_t pid = fork();
  if (pid == 0) {
    isam_reset_for_tests();
    cb_reset_for_tests();
    _exit(body());
  }
  int status = 0;
  if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

TEST_F(IsamSuspend, OtherProcessesSeeTheLocksGoAndComeBack) {
  ASSERT_EQ(add(db_, "a", "1"), 1);
  const std::string base = base_;
  auto open_and_close = [base]() {
    IsamDb* db = iopen_db(base.c_str());
    if (db == nullptr) return isam_errno;
    return iclose_db(db) == 1 ? 0 : 100;
  };
  EXPECT_EQ(in_child(open_and_close), kIsamLocked);  // held
  ASSERT_EQ(isuspend_db(db_), 1);
  EXPECT_EQ(in_child(open_and_close), 0);  // given up; a look changes nothing
  ASSERT_EQ(iresume_db(db_), 1);
  EXPECT_EQ(in_child(open_and_close), kIsamLocked);
  ASSERT_EQ(isuspend_db(db_), 1);

  // A child holds the database: resuming fails and may be tried again.
  int ready[2], go[2];
  ASSERT_EQ(pipe(ready), 0);
  ASSERT_EQ(pipe(go), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    isam_reset_for_tests();
    cb_reset_for_tests();
    IsamDb* db = iopen_db(base.c_str());
    char c = db != nullptr ? 'y' : 'n';
    (void)!write(ready[1], &c, 1);
    (void)!read(go[0], &c, 1);
    _exit(db != nullptr && iclose_db(db) == 1 ? 0 : 1);
  }
  char c = 0;
  ASSERT_EQ(read(ready[0], &c, 1), 1);
  ASSERT_EQ(c, 'y');
  EXPECT_EQ(iresume_db(db_), -1);
  EXPECT_EQ(isam_errno, kIsamLocked);
  ASSERT_EQ(write(go[1], "x", 1), 1);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  for (int fd : {ready[0], ready[1], go[0], go[1]}) close(fd);
  EXPECT_EQ(iresume_db(db_), 1);
  EXPECT_EQ(value_of(db_, "a"), "1");
}

// Whatever another process did to the files, a resume that answers 1 shows exactly what
// the files hold, and one that answers 0 is followed by a close and a fresh open that does.
TEST_F(IsamSuspend, ChangesByOtherProcessesAreNoticed) {
  for (char k = 'a'; k <= 'z'; ++k) {
    const char key[2] = {k, '\0'};
    ASSERT_EQ(add(db_, key, "old"), 1);
  }
  const std::string base = base_;
  struct Case {
    const char* what;
    int (*change)(const std::string& base);
    int resume;       // what iresume_db answers
    const char* m;    // the value of "m" afterwards
  };
  const Case cases[] = {
      {"looked at only",
       [](const std::string& b) {
         IsamDb* db = iopen_db(b.c_str());
         const int ok = db != nullptr && value_of(db, "m") == "old";
         return db != nullptr && iclose_db(db) == 1 && ok ? 0 : 1;
       },
       1, "old"},
      {"a record changed",
       [](const std::string& b) {
         IsamDb* db = iopen_db(b.c_str());
         if (db == nullptr) return 1;
         IsamIndex* byk = ihandle(db, "BYK");
         const char* key[] = {"m"};
         if (ifindkey(db, byk, key) != 2 || idelrec(db, byk) != 1) return 2;
         return add(db, "m", "new") == 1 && iclose_db(db) == 1 ? 0 : 3;
       },
       0, "new"},
      {"removed and made anew",
       [](const std::string& b) {
         if (idestroy_db(b.c_str()) != 1) return 1;
         const char* fields[] = {"K", "V", nullptr};
         if (icreate_db(b.c_str(), fields) != 1) return 2;
         IsamDb* db = iopen_db(b.c_str());
         const char* key[] = {"K", nullptr};
         if (db == nullptr || imkindex(db, "BYK", key) != 1) return 3;
         return add(db, "m", "remade") == 1 && iclose_db(db) == 1 ? 0 : 4;
       },
       0, "remade"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ASSERT_EQ(isuspend_db(db_), 1);
    ASSERT_EQ(in_child([&]() { return c.change(base); }), 0);
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

// An index file cut short behind the counter's back (a tool emptying it) is not read
// through: the resume answers 0.
TEST_F(IsamSuspend, AnIndexFileCutShortIsNoticed) {
  for (int i = 0; i < 300; ++i) {
    const std::string k = "key" + std::to_string(i);
    ASSERT_EQ(add(db_, k.c_str(), "v"), 1);
  }
  ASSERT_EQ(isuspend_db(db_), 1);
  const std::string idx = base_ + ".IDX";
  ASSERT_EQ(in_child([idx]() { return truncate(idx.c_str(), 8192) == 0 ? 0 : 1; }), 0);
  EXPECT_EQ(iresume_db(db_), 0);
  EXPECT_EQ(iclose_db(db_), 1);
  db_ = nullptr;
}
#endif

}  // namespace
}  // namespace kyt
