// Parameters, settings, user information, the client's registration and command errors, as
// client programs reach them.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "api/calusr.h"
#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"
#include "stationdb.h"

namespace kyt {
namespace {

class CalusrTest : public ::testing::Test {
 protected:
  void SetUp() override {
    reset();
    ASSERT_TRUE(test::open_station_db(dir_, {{"DSN_KYT_LOG", dir_.file("rlog.log")},
                                             {"LANGUAGE", "D"}}));
    ASSERT_EQ(rpdini(), 0);
    ASSERT_EQ(rpdipr(nullptr), 0);
  }
  void TearDown() override { reset(); }
  static void reset() {
    api::calusr_reset_for_tests();
    rpdprm_reset_for_tests();
    test::forget_station();
  }
  static void add_process(int32_t kytid, const char* type, int32_t flags) {
    kyt_ri_elem e{};
    e.kytid = kytid;
    std::snprintf(e.mname, sizeof e.mname, "proc%d", kytid);
    std::snprintf(e.ptype, sizeof e.ptype, "%s", type);
    e.pid = 100 + kytid;
    if (kytid != 1) dt_now(e.dtlastused, sizeof e.dtlastused);  // 1: a time never set
    e.flgflush = flags;
    std::snprintf(e.stopmode, sizeof e.stopmode, "N");
    ASSERT_EQ(insRIelem(&e), 0);
  }
  static kyt_ri_elem process(int32_t kytid) {
    kyt_ri_elem e{};
    EXPECT_EQ(getRIelemByKytid(kytid, &e), 0) << kytid;
    return e;
  }
  static std::string val(const char* name) {
    kyt_parm p{};
    const int32_t rc = kytGetParm(name, &p);
    return rc == 0 ? std::string(p.VAL) : "<" + std::to_string(rc) + ">";
  }
  test::TempDir dir_;
};

TEST_F(CalusrTest, ParametersAreReadByNameAndWalkedInOrder) {
  kyt_parm p{};
  ASSERT_EQ(kytGetParm("maxrecl", &p), 0);
  EXPECT_STREQ(p.NAME, "MAXRECL");
  EXPECT_EQ(p.TYPE, 4);
  EXPECT_EQ(p.LEN, 12);
  EXPECT_STREQ(p.VAL, "99999");
  EXPECT_EQ(kytGetParm("ABCDEFGHIJKLMNOPQRST", &p), -5);  // 20 characters
  EXPECT_EQ(kytGetParm("ABCDEFGHIJKLMNOPQRS", &p), 12);   // 19: looked for, not there
  EXPECT_EQ(kytGetParm(nullptr, &p), -5);
  EXPECT_EQ(kytGetParm("SLEEP", nullptr), 99);
  EXPECT_EQ(kytGetParm("KYTMODE", &p), 12);  // no special names here
  // The walk: every default row once, in ascending name, then -1.
  std::vector<std::string> names;
  char name[20] = "";
  int32_t rc;
  while ((rc = kytGetNextParm(name, &p)) == 0) {
    names.push_back(p.NAME);
    std::memcpy(name, p.NAME, sizeof name);
  }
  EXPECT_EQ(rc, -1);
  ASSERT_GT(names.size(), 100u);
  EXPECT_EQ(names.front(), "ACTPCOUNT");
  for (size_t i = 1; i < names.size(); ++i) EXPECT_LT(names[i - 1], names[i]);
  ASSERT_EQ(kytGetNextParm("maxrec", &p), 0);  // upper-cased like the other calls
  EXPECT_STREQ(p.NAME, "MAXRECL");
  EXPECT_EQ(kytGetNextParm("ABCDEFGHIJKLMNOPQRST", &p), -5);
}

TEST_F(CalusrTest, WritingAParameterFlagsTheMonitorsAndWakesThem) {
  add_process(1, "M", 64);
  add_process(2, "W", 0);
  add_process(3, "M", 4);
  platform::NamedSemaphore wake;
  ASSERT_TRUE(wake.create(monitor_wakeup_name().c_str()));
  kyt_parm in{};
  std::memset(in.VAL, 'x', sizeof in.VAL);  // no terminator: 39 characters are taken
  in.TYPE = 1;
  in.LEN = 99;
  // An unknown name: 12, no flag, no wake-up.
  EXPECT_EQ(kytWriteParm("NOSUCHPARM", &in), 12);
  EXPECT_EQ(process(1).flgflush, 64);
  EXPECT_FALSE(wake.try_wait());
  EXPECT_EQ(kytWriteParm("ABCDEFGHIJKLMNOPQRST", &in), -5);
  EXPECT_EQ(kytWriteParm("SLEEP", nullptr), 99);
  EXPECT_FALSE(wake.try_wait());
  // A known one: VAL as given (no cut to LEN, no type check), TYPE and LEN kept.
  ASSERT_EQ(kytWriteParm("vdsnchar", &in), 0);
  kyt_parm back{};
  ASSERT_EQ(kytGetParm("VDSNCHAR", &back), 0);
  EXPECT_EQ(std::string(back.VAL), std::string(39, 'x'));
  EXPECT_EQ(back.TYPE, 1);
  EXPECT_EQ(back.LEN, 10);
  std::strcpy(in.VAL, "abc");
  ASSERT_EQ(kytWriteParm("SLEEP", &in), 0);  // a short parameter takes the text as it is
  EXPECT_EQ(val("SLEEP"), "abc");
  EXPECT_EQ(process(1).flgflush, 64 | 4);
  EXPECT_EQ(process(2).flgflush, 0);
  EXPECT_EQ(process(3).flgflush, 4);
  int woken = 0;
  while (wake.try_wait()) ++woken;
  EXPECT_EQ(woken, 2);
  // A station with its one monitor row alone.
  ASSERT_EQ(delRIelem(2), 0);
  ASSERT_EQ(delRIelem(3), 0);
  ASSERT_EQ(rpdsql_run("UPDATE RI SET FLGFLUSH = 0"), 0);
  ASSERT_EQ(kytWriteParm("SLEEP", &in), 0);
  EXPECT_EQ(process(1).flgflush, 4);
}

TEST_F(CalusrTest, ConfigurationItems) {
  char buf[256];
  EXPECT_EQ(kytGetConf(0, buf), 12);
  EXPECT_EQ(kytGetConf(14, buf), 12);
  EXPECT_EQ(kytGetConf(2, nullptr), -5);
  ASSERT_EQ(kytGetConf(2, buf), 0);
  EXPECT_EQ(std::string(buf), dir_.path());
  ASSERT_EQ(kytGetConf(12, buf), 0);
  EXPECT_STREQ(buf, "D");
  ASSERT_EQ(lpdsn_set("SERVER", std::string(300, 's').c_str()), 0);
  std::memset(buf, 'x', sizeof buf);
  ASSERT_EQ(kytGetConf(9, buf), 0);
  EXPECT_EQ(std::strlen(buf), 255u);  // within the 256 bytes
}

TEST_F(CalusrTest, UserInformationIsCutStoredReplacedWalkedAndDeleted) {
  const std::string big(2000, 'v');
  int32_t length = -1;
  ASSERT_EQ(kytUserInfoSet("big", big.c_str(), &length), 0);
  EXPECT_EQ(length, 1024);
  char buf[2048];
  length = sizeof buf;
  ASSERT_EQ(kytUserInfoGet("big", buf, &length), 0);
  EXPECT_EQ(length, 1024);
  EXPECT_EQ(std::string(buf), std::string(1024, 'v'));
  // The caller's length bounds the copy: length - 1 characters and the zero; below 1 nothing.
  length = 10;
  ASSERT_EQ(kytUserInfoGet("big", buf, &length), 0);
  EXPECT_EQ(length, 9);
  EXPECT_STREQ(buf, "vvvvvvvvv");
  std::strcpy(buf, "untouched");
  length = 0;
  ASSERT_EQ(kytUserInfoGet("big", buf, &length), 0);
  EXPECT_EQ(length, 0);
  EXPECT_STREQ(buf, "untouched");
  // Keys are cut to 128 characters; a second set replaces.
  const std::string long_key(200, 'k');
  ASSERT_EQ(kytUserInfoSet(long_key.c_str(), "one", &length), 0);
  ASSERT_EQ(kytUserInfoSet(std::string(128, 'k').c_str(), "two", &length), 0);
  EXPECT_EQ(length, 3);
  length = sizeof buf;
  ASSERT_EQ(kytUserInfoGet(long_key.c_str(), buf, &length), 0);
  EXPECT_STREQ(buf, "two");
  ASSERT_EQ(kytUserInfoSet("Alpha", "first", nullptr), 0);
  // The walk in key order, from "".
  std::vector<std::string> keys;
  char key[129] = "";
  int32_t klen = sizeof key, vlen = sizeof buf;
  int32_t rc;
  while ((rc = kytUserInfoGetNext(key, &klen, buf, &vlen)) == 0) {
    keys.push_back(std::string(key) + "=" + std::to_string(vlen));
    klen = sizeof key;
    vlen = sizeof buf;
  }
  EXPECT_EQ(rc, -1);
  EXPECT_EQ(keys, (std::vector<std::string>{"Alpha=5", "big=1024", std::string(128, 'k') + "=3"}));
  // Small buffers: both texts cut, both lengths what was copied.
  char small_key[4] = "";
  klen = sizeof small_key;
  vlen = 3;
  ASSERT_EQ(kytUserInfoGetNext(small_key, &klen, buf, &vlen), 0);
  EXPECT_STREQ(small_key, "Alp");
  EXPECT_EQ(klen, 3);
  EXPECT_STREQ(buf, "fi");
  EXPECT_EQ(vlen, 2);
  // Deletion.
  ASSERT_EQ(kytUserInfoDelete("Alpha"), 0);
  length = sizeof buf;
  EXPECT_EQ(kytUserInfoGet("Alpha", buf, &length), -1);
  EXPECT_EQ(kytUserInfoDelete("Alpha"), -1);
  EXPECT_EQ(kytUserInfoSet("", "x", &length), -5);
  EXPECT_EQ(kytUserInfoSet("k", nullptr, &length), -5);
  EXPECT_EQ(kytUserInfoGet(nullptr, buf, &length), -5);
  EXPECT_EQ(kytUserInfoDelete(nullptr), -5);
}

TEST_F(CalusrTest, RegistrationIsMadeRefreshedAndRemoved) {
  EXPECT_EQ(kytcalTouchRI(), -5);
  EXPECT_EQ(kytcalForcedTouchRI(), -5);
  EXPECT_EQ(kytcalMWUninit(), 0);
  add_process(7, "M", 0);
  ASSERT_EQ(kytcalMWInit(), 0);
  const int32_t id = api::registered_kytid();
  EXPECT_EQ(id, 8);  // above the highest
  kyt_ri_elem me = process(id);
  EXPECT_STREQ(me.ptype, "W");
  EXPECT_EQ(me.pid, static_cast<int32_t>(platform::process_id()));
  EXPECT_EQ(me.flgflush, 0);
  ASSERT_EQ(kytcalMWInit(), 0);  // once only
  kyt_ri_elem first{};
  ASSERT_EQ(getRIelemList(&first), 0);
  int rows = 0;
  for (kyt_ri_elem* e = &first; e != nullptr; e = e->next) ++rows;
  freeRIelemList(&first);
  EXPECT_EQ(rows, 2);
  // An old time: the plain touch within its interval leaves it, the forced one renews it.
  me.kytid = id;
  std::strcpy(me.dtlastused, "2001/01/01 00:00:00");
  ASSERT_EQ(tm::update(Tab::kRI, "test", &me, {"DTLASTUSED"}), 0);
  EXPECT_EQ(kytcalTouchRI(), 0);
  EXPECT_STREQ(process(id).dtlastused, "2001/01/01 00:00:00");
  EXPECT_EQ(kytcalForcedTouchRI(), 0);
  EXPECT_STRNE(process(id).dtlastused, "2001/01/01 00:00:00");
  ASSERT_EQ(kytcalMWUninit(), 0);
  kyt_ri_elem gone{};
  EXPECT_EQ(getRIelemByKytid(id, &gone), RPDSQL_NOT_FOUND);
  EXPECT_EQ(kytcalTouchRI(), -5);
  EXPECT_EQ(process(7).kytid, 7);  // the monitor's row stays
}

TEST_F(CalusrTest, ErrorInfoOfACommand) {
  kyt_fk_elem e{};
  e.cn = 42;
  e.err = 7;
  e.errno_ = 13;
  e.errtype = 2;
  std::memset(e.errmsg, 'm', 300);
  std::strcpy(e.dtcreated, "2024/02/29 12:00:00");
  ASSERT_EQ(insFKelem(&e), 0);
  kyt_error_info info{};
  ASSERT_EQ(kytGetErrorInfoCn(42, &info), 0);
  EXPECT_EQ(info.err, 7);
  EXPECT_EQ(info.errnum, 13);
  EXPECT_EQ(info.errtype, 2);
  EXPECT_STREQ(info.dtcreated, "2024/02/29 12:00:00");
  EXPECT_EQ(std::string(info.errmsg), std::string(255, 'm'));
  EXPECT_EQ(kytGetErrorInfoCn(43, &info), -1);
  EXPECT_EQ(kytGetErrorInfoCn(42, nullptr), -5);
}

// Init reads the environment file, Uninit closes the database so another process can work.
TEST_F(CalusrTest, InitAndUninit) {
  EXPECT_EQ(kytcalInit(), 0);
  int32_t length = 0;
  ASSERT_EQ(kytUserInfoSet("k", "v", &length), 0);
  ASSERT_EQ(sqlSetAutocommOff(), 0);  // a transaction of the client, never ended
  ASSERT_EQ(kytUserInfoSet("open", "work", &length), 0);
  EXPECT_EQ(kytcalUninit(), 0);  // the open work is rolled back
  char buf[8];
  length = sizeof buf;
  EXPECT_EQ(kytUserInfoGet("open", buf, &length), -1);
  length = sizeof buf;
  EXPECT_EQ(kytUserInfoGet("k", buf, &length), 0);
}

}  // namespace
}  // namespace kyt
