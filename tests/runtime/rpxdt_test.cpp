#include "runtime/rpxdt.h"

#include <gtest/gtest.h>
#include <time.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/platform.h"
#include "runtime/trace.h"
#include "testutil.h"

namespace kyt {
namespace {

// Every test runs in a fixed zone two hours east of UTC without daylight saving, whatever
// the machine's own zone is.
class Rpxdt : public ::testing::Test {
 protected:
  void SetUp() override {
    had_tz_ = platform::get_env("TZ", &saved_tz_);
    platform::set_env("TZ", "ABC-2");
    tzset();
  }
  void TearDown() override {
    platform::set_env("TZ", had_tz_ ? saved_tz_.c_str() : nullptr);
    tzset();
  }

  // Runs one operation on texts and answers "status|out|value".
  static std::string run(int16_t op, const char* t1, const char* t2 = nullptr, int64_t value = 0,
                         double factor = 1.0) {
    char out[64] = "untouched";
    RpxdtArgs a{t1, t2, out, sizeof out, value, factor};
    const int32_t rc = rpxdt(op, &a);
    return std::to_string(rc) + "|" + out + "|" + std::to_string(a.value);
  }

 private:
  bool had_tz_ = false;
  std::string saved_tz_;
};

TEST_F(Rpxdt, DateTimeTextsAreReadLenientlyAndCarriedOver) {
  std::tm t{};
  ASSERT_EQ(dt_to_tm("2012/12/31 24:00:00", &t), 0);
  EXPECT_EQ(t.tm_year, 113);
  EXPECT_EQ(t.tm_mon, 0);
  EXPECT_EQ(t.tm_mday, 1);
  EXPECT_EQ(t.tm_hour, 0);
  EXPECT_EQ(run(kDtOpNormalise, "2012/12/03 10:60:00"), "0|2012/12/03 11:00:00|0");
  EXPECT_EQ(run(kDtOpNormalise, "2012/12/03 10:33:75"), "0|2012/12/03 10:34:15|0");
  EXPECT_EQ(run(kDtOpNormalise, "2013/03/01 00:00:-1"), "0|2013/02/28 23:59:59|0");
  EXPECT_EQ(run(kDtOpNormalise, "2013/02/31 00:00:00"), "0|2013/03/03 00:00:00|0");
  // Read as sscanf reads "%d/%d/%d %d:%d:%d": blanks before numbers, trailing text ignored.
  EXPECT_EQ(run(kDtOpNormalise, "2012/ 1/ 3    1: 2:3 and more"), "0|2012/01/03 01:02:03|0");

  for (const char* bad :
       {"2012/13/01 00:00:00", "2012/12/03 10:33", "2012/00/01 00:00:00", "2012/12/32 00:00:00",
        "2012/12/03 25:00:00", "2012/12/03 -1:00:00", "2012/12/03 10:61:00", "2012 /12/03 1:2:3",
        "2012/12/03T10:33:13", "99999999999/12/03 10:33:13", "2012/12/03 10:33:99999999999", "",
        // numbers that wrap into valid fields in 32 or 64 bits
        "2012/12/03 10:33:4294967309", "2012/4294967308/03 10:33:13",
        "2012/12/03 10:18446744073709551617:13", "2012/12/03 10:33:-4294967283"}) {
    EXPECT_EQ(dt_to_tm(bad, &t), kDtUnreadable) << bad;
  }
  EXPECT_EQ(dt_to_tm(nullptr, &t), kDtUnreadable);
  // The longest readable text is kDtMaxText characters.
  std::string text = "2012/12/03 10:33:13" + std::string(kDtMaxText - 19, ' ');
  EXPECT_EQ(dt_to_tm(text.c_str(), &t), 0);
  EXPECT_EQ(dt_to_tm((text + " ").c_str(), &t), kDtUnreadable);
}

TEST_F(Rpxdt, CopyCompareAndBadCalls) {
  EXPECT_EQ(run(kDtOpCopy, "2012/12/03 10:33:13 and the rest"), "0|2012/12/03 10:33:13 |0");
  EXPECT_EQ(run(kDtOpCompare, "2012/12/03 10:33:13", "2012/12/10 00:00:00"), "0|untouched|-1");
  EXPECT_EQ(run(kDtOpCompare, "2012/12/10", "2012/12/03"), "0|untouched|1");
  EXPECT_EQ(run(kDtOpCompare, "2012/12/03", "2012/12/03"), "0|untouched|0");
  EXPECT_EQ(run(kDtOpCompare, "x", nullptr), "8|untouched|0");

  for (int16_t op : {int16_t{-1}, int16_t{19}, int16_t{32767}})
    EXPECT_EQ(run(op, "x"), "12|untouched|0");
  EXPECT_EQ(rpxdt(kDtOpNow, nullptr), kDtBadCall);
  // A result that does not fit is refused and leaves the empty text; no output is a bad call.
  char small[19];
  EXPECT_EQ(dt_normalise("2012/12/03 10:33:13", small, sizeof small), kDtNoFit);
  EXPECT_STREQ(small, "");
  EXPECT_EQ(dt_normalise("2012/12/03 10:33:13", nullptr, 0), kDtBadCall);
  EXPECT_EQ(dt_copy(small, sizeof small, "2012/12/03 10:33:13"), kDtNoFit);
}

TEST_F(Rpxdt, IntervalsCountCalendarBlindMonthsAndYears) {
  EXPECT_EQ(run(kDtOpIntervalToSeconds, "00/00/14 00:00:00"), "0|untouched|1209600");
  EXPECT_EQ(run(kDtOpIntervalToSeconds, "01/00/00 00:00:00"), "0|untouched|31536000");
  EXPECT_EQ(run(kDtOpIntervalToSeconds, "00/01/00 00:00:00"), "0|untouched|2592000");
  EXPECT_EQ(run(kDtOpIntervalToSeconds, "+1/+1/+1 +1:+1:+1"), "0|untouched|34218061");
  EXPECT_EQ(run(kDtOpIntervalToSeconds, "0/0/0 -1:0:30"), "0|untouched|-3570");
  EXPECT_EQ(run(kDtOpIntervalToSeconds, "00/00/14 00:00"), "8|untouched|0");

  EXPECT_EQ(run(kDtOpSecondsToInterval, nullptr, nullptr, -90061), "0|+0/+0/-1 -1:-1:-1|-90061");
  EXPECT_EQ(run(kDtOpSecondsToInterval, nullptr, nullptr, 1209600), "0|+0/+0/+14 +0:+0:+0|1209600");
  char iv[kIntervalTextSize];
  EXPECT_EQ(seconds_to_interval(INT64_MIN, iv, sizeof iv), 0);
  EXPECT_STREQ(iv, "+0/+0/-106751991167300 -15:-30:-8");
  // Succeeds even when the text cannot be written; the text is then empty.
  EXPECT_EQ(seconds_to_interval(90061, iv, 10), 0);
  EXPECT_STREQ(iv, "");

  EXPECT_EQ(run(kDtOpIntervalTimes, "00/00/14 00:00:00", nullptr, 0, 0.5), "0|+0/+0/+7 +0:+0:+0|0");
  EXPECT_EQ(run(kDtOpIntervalTimes, "1/1/1 1:1:-3", nullptr, 0, 2.5), "0|+2/+2/+2 +2:+2:-7|0");
  EXPECT_EQ(run(kDtOpIntervalTimes, "0/0/0 0:0:1", nullptr, 0, 3e9), "16||0");
  EXPECT_EQ(run(kDtOpIntervalTimes, "0/0/0 0:0:1", nullptr, 0, std::nan("")), "16||0");
  // Fits every part, but the text reaches 40 characters.
  EXPECT_EQ(run(kDtOpIntervalTimes, "-999999999/-999999999/-999999999 0:0:0"), "16||0");
}

TEST_F(Rpxdt, IntervalsAddToInstantsByCalendarFields) {
  EXPECT_EQ(run(kDtOpAdd, "2012/12/31 12:00:00", "0/0/1 0:0:0"), "0|2013/01/01 12:00:00|0");
  EXPECT_EQ(run(kDtOpAdd, "2012/02/28 23:00:00", "0/0/0 1:0:0"), "0|2012/02/29 00:00:00|0");
  EXPECT_EQ(run(kDtOpAdd, "2013/01/31 00:00:00", "00/01/00 00:00:00"), "0|2013/03/03 00:00:00|0");
  EXPECT_EQ(run(kDtOpSubtract, "2013/01/05 10:00:00", "00/00/14 00:00:00"),
            "0|2012/12/22 10:00:00|0");
  EXPECT_EQ(run(kDtOpSubtract, "2013/01/05 10:00:00", "-1/0/0 0:0:0"), "0|2014/01/05 10:00:00|0");
  // In place: the output buffer may hold the input.
  char buf[kDtTextSize] = "2012/12/31 24:00:00";
  ASSERT_EQ(dt_add_interval(buf, "0/0/1 0:0:0", buf, sizeof buf), 0);
  EXPECT_STREQ(buf, "2013/01/02 00:00:00");
  EXPECT_EQ(run(kDtOpAdd, "2013/01/05 10:00:00", "0/0/1"), "8||0");
  EXPECT_EQ(run(kDtOpAdd, "2013/01/05", "0/0/1 0:0:0"), "8||0");
  EXPECT_EQ(run(kDtOpAdd, "2013/01/05 10:00:00", "2147483647/0/0 0:0:0"), "16||0");

  EXPECT_EQ(run(kDtOpDifference, "2012/12/03 10:00:00", "2012/12/04 11:01:01"),
            "0|+0/+0/+1 +1:+1:+1|90061");
  EXPECT_EQ(run(kDtOpDifference, "2012/12/04 11:01:01", "2012/12/03 10:00:00"),
            "0|+0/+0/-1 -1:-1:-1|-90061");
  EXPECT_EQ(run(kDtOpDifference, "2012/13/03 10:00:00", "2012/12/04 11:01:01"), "8||0");
  EXPECT_EQ(run(kDtOpDifference, "2012/12/03 10:00:00", "bad"), "8||0");
}

TEST_F(Rpxdt, StoredValuesCountFrom2000InUtc) {
  int64_t unix_seconds = 0;
  ASSERT_EQ(dt_to_tm("2000/01/01 02:00:00", nullptr, &unix_seconds), 0);
  EXPECT_EQ(unix_seconds, kDtEpochUnix);  // local time is UTC+2 here
  EXPECT_EQ(run(kDtOpToStored, "2000/01/01 03:00:00"), "0|untouched|3600");
  EXPECT_EQ(run(kDtOpToStored, ""), "0|untouched|0");
  EXPECT_EQ(run(kDtOpToStored, "2068/01/19 05:14:07"), "0|untouched|2147483647");
  EXPECT_EQ(run(kDtOpToStored, "2068/01/19 05:14:08"), "16|untouched|0");
  EXPECT_EQ(run(kDtOpToStored, "2000/01/01"), "8|untouched|0");
  EXPECT_EQ(run(kDtOpFromStored, nullptr, nullptr, 2147483647), "0|2068/01/19 05:14:07|2147483647");
  EXPECT_EQ(run(kDtOpFromStored, nullptr, nullptr, 0), "0||0");
  EXPECT_EQ(run(kDtOpFromStored, nullptr, nullptr, 1LL << 32), "8||4294967296");
  int32_t v = 0;
  char text[kDtTextSize];
  ASSERT_EQ(dt_to_stored("2012/12/31 24:00:00", &v), 0);
  ASSERT_EQ(dt_from_stored(v, text, sizeof text), 0);
  EXPECT_STREQ(text, "2013/01/01 00:00:00");

  // The current time is a readable text of this moment.
  char now[kDtTextSize];
  ASSERT_EQ(dt_now(now, sizeof now), 0);
  ASSERT_EQ(dt_to_tm(now, nullptr, &unix_seconds), 0);
  EXPECT_LE(std::llabs(unix_seconds - platform::now_seconds()), 5);
}

TEST_F(Rpxdt, TimeOfDayCompactFormsAndDayOfYear) {
  EXPECT_EQ(run(kDtOpTimeOfDay, "2012/12/03 23:59:60"), "0|00:00:00|0");
  EXPECT_EQ(run(kDtOpTimeOfDayToSeconds, "10:33:13"), "0|untouched|37993");
  EXPECT_EQ(run(kDtOpTimeOfDayToSeconds, "24:00:00"), "0|untouched|86400");
  EXPECT_EQ(run(kDtOpTimeOfDayToSeconds, "10:33"), "8|untouched|0");
  EXPECT_EQ(run(kDtOpTimeOfDayToSeconds, "25:00:00"), "8|untouched|0");
  EXPECT_EQ(run(kDtOpSecondsToTimeOfDay, nullptr, nullptr, -1), "0|23:59:59|-1");
  EXPECT_EQ(run(kDtOpSecondsToTimeOfDay, nullptr, nullptr, 86461), "0|00:01:01|86461");
  EXPECT_EQ(run(kDtOpCompactDate, "2009/12/03 10:33:13"), "0|091203|0");
  EXPECT_EQ(run(kDtOpCompactTime, "2012/12/03 09:03:07"), "0|090307|0");
  EXPECT_EQ(run(kDtOpDayOfYear, "2012/12/31 00:00:00"), "0|366|366");
  EXPECT_EQ(run(kDtOpDayOfYear, "2013/12/31 24:00:00"), "0|001|1");

  EXPECT_EQ(run(kDtOpFromCompact, "121203", "103313"), "0|2012/12/03 10:33:13|0");
  EXPECT_EQ(run(kDtOpFromCompact, "701231", ""), "0|1970/12/31 00:00:00|0");
  EXPECT_EQ(run(kDtOpFromCompact, "691231", "240000"), "0|2070/01/01 00:00:00|0");
  EXPECT_EQ(run(kDtOpFromCompact, "20121203", nullptr), "0|2012/12/03 00:00:00|0");
  for (const char* bad : {"12120", "1212031", "12a203", "121301", "-12120", " 121203"}) {
    EXPECT_EQ(run(kDtOpFromCompact, bad, "103313"), "8||0") << bad;
  }
  EXPECT_EQ(run(kDtOpFromCompact, "121203", "1033"), "8||0");
}

TEST_F(Rpxdt, FailuresAreTracedAtLevelOne) {
  static constexpr const char* kDefaultTopics = "abcdefghijklmnopqrstuvwxyz";  // kytenv.dat's
  test::TempDir dir;
  static std::string diag;
  diag = dir.file("diag.log");
  trace_reset_for_tests();
  trace_set_env_source(
      {[](const char* key, std::string* value) {
         const std::string k = key;
         *value = k == "DSN_DIAG"  ? diag
                  : k == "DBG_LVL" ? "1"
                  : k == "DBG_TPC" ? kDefaultTopics
                                   : "0";
         return true;
       },
       nullptr});
  trace_set_switch(1);
  dt_to_tm(nullptr, nullptr);
  dt_to_tm("", nullptr);
  dt_to_tm("2012/13/01 00:00:00", nullptr);
  dt_difference("bad", "2012/12/03 10:00:00", nullptr, nullptr, 0);
  dt_difference("2012/12/03 10:00:00", "bad", nullptr, nullptr, 0);
  trace_reset_for_tests();
  const std::string log = test::read_file(diag);
  for (const char* text :
       {" KYTEXE 1 dt_to_tm : NULL is invalid \n", "dt_to_tm : EMPTY is invalid \n",
        "dt_to_tm : >2012/13/01 00:00:00< invalid \n", "dt_to_tm : >bad< invalid \n",
        "dt_to_tm 2 failed with 8\n", "dt_to_tm 3 failed with 8\n"}) {
    EXPECT_NE(log.find(text), std::string::npos) << text << " in\n" << log;
  }
}

}  // namespace
}  // namespace kyt

namespace kyt {
namespace {

// Conversions are kept per minute; across the changes of daylight saving time and of the
// zone itself they must answer exactly what the C library does for each second.
TEST_F(Rpxdt, MinuteCacheFollowsTheZoneAndItsChanges) {
  for (const char* zone : {"CET-1CEST,M3.5.0,M10.5.0/3", "ABC-2", "NST+3:30NDT,M3.2.0,M11.1.0"}) {
    platform::set_env("TZ", zone);
    tzset();
    // Around the spring and autumn changes of 2026 (Europe: 29 March and 25 October; North
    // America: 8 March and 1 November), every 7th second over three hours.
    for (const char* day : {"2026/03/29", "2026/10/25", "2026/03/08", "2026/11/01"}) {
      for (int s = 0; s < 3 * 3600; s += 7) {
        char text[40];
        std::snprintf(text, sizeof text, "%s %02d:%02d:%02d", day, s / 3600, s / 60 % 60, s % 60);
        std::tm want{};
        ASSERT_EQ(std::sscanf(text, "%d/%d/%d %d:%d:%d", &want.tm_year, &want.tm_mon,
                              &want.tm_mday, &want.tm_hour, &want.tm_min, &want.tm_sec), 6);
        want.tm_year -= 1900;
        want.tm_mon -= 1;
        want.tm_isdst = -1;
        const int64_t expect = static_cast<int64_t>(std::mktime(&want));
        int64_t got = 0;
        std::tm t{};
        ASSERT_EQ(dt_to_tm(text, &t, &got), 0) << text;
        EXPECT_EQ(got, expect) << zone << " " << text;
        EXPECT_EQ(t.tm_hour * 3600 + t.tm_min * 60 + t.tm_sec,
                  want.tm_hour * 3600 + want.tm_min * 60 + want.tm_sec) << zone << " " << text;
        // And back: the stored instant reads as the platform's local time of it.
        int32_t stored = 0;
        ASSERT_EQ(dt_to_stored(text, &stored), 0);
        char back[40];
        ASSERT_EQ(dt_from_stored(stored, back, sizeof back), 0);
        platform::LocalTime local{};
        ASSERT_TRUE(platform::local_time(expect, &local));
        char ref[40];
        std::snprintf(ref, sizeof ref, "%04d/%02d/%02d %02d:%02d:%02d", local.year, local.month,
                      local.day, local.hour, local.minute, local.second);
        EXPECT_STREQ(back, ref) << zone << " " << text;
      }
    }
  }
  // The same minute in another zone is converted anew.
  int64_t east = 0, west = 0;
  platform::set_env("TZ", "ABC-2");
  tzset();
  ASSERT_EQ(dt_to_tm("2026/06/01 12:00:30", nullptr, &east), 0);
  char text_east[40];
  ASSERT_EQ(dt_from_stored(1000000000, text_east, sizeof text_east), 0);
  platform::set_env("TZ", "XYZ+5");
  tzset();
  ASSERT_EQ(dt_to_tm("2026/06/01 12:00:30", nullptr, &west), 0);
  char text_west[40];
  ASSERT_EQ(dt_from_stored(1000000000, text_west, sizeof text_west), 0);
  EXPECT_EQ(west - east, 7 * 3600);
  EXPECT_STRNE(text_east, text_west);
}

}  // namespace
}  // namespace kyt
