#include <gtest/gtest.h>

#include "kyt/kyt.h"
#include "platform/platform.h"

TEST(Calutil, VersionIsFiveSevenSixteen) {
  int32_t major = -1, minor = -1, build = -1, patch = -1;
  EXPECT_EQ(kytGetVersion(&major, &minor, &build, &patch), 1);
  EXPECT_EQ(major, 5);
  EXPECT_EQ(minor, 7);
  EXPECT_EQ(build, 16);
  EXPECT_EQ(patch, 0);
  EXPECT_EQ(kytGetVersion(nullptr, &minor, &build, &patch), -5);
}

// The calling user: set, environment, default, in that order; too long refused.
TEST(Calutil, CallingUserComesFromSetUserThenEnvironmentThenSystem) {
  char uid[21];
  ASSERT_EQ(kytSetUser(nullptr), 0);
  kyt::platform::set_env("KYT_USER", nullptr);
  ASSERT_EQ(kytGetUser(uid), 0);
  EXPECT_STREQ(uid, "SYSTEM");
  kyt::platform::set_env("KYT_USER", "operator1");
  ASSERT_EQ(kytGetUser(uid), 0);
  EXPECT_STREQ(uid, "OPERATOR1");
  ASSERT_EQ(kytSetUser("admin"), 0);
  ASSERT_EQ(kytGetUser(uid), 0);
  EXPECT_STREQ(uid, "ADMIN");
  EXPECT_EQ(kytSetUser("ABCDEFGHIJKLMNOPQRSTU"), -5);  // 21 characters
  ASSERT_EQ(kytGetUser(uid), 0);
  EXPECT_STREQ(uid, "ADMIN");  // unchanged by the refusal
  EXPECT_EQ(kytGetUser(nullptr), -5);
  ASSERT_EQ(kytSetUser(""), 0);
  kyt::platform::set_env("KYT_USER", nullptr);
}
