#include <gtest/gtest.h>

#include "kyt/kyt.h"

TEST(Calutil, VersionIsFiveSevenSixteen) {
  int32_t major = -1, minor = -1, build = -1, patch = -1;
  EXPECT_EQ(kytGetVersion(&major, &minor, &build, &patch), 1);
  EXPECT_EQ(major, 5);
  EXPECT_EQ(minor, 7);
  EXPECT_EQ(build, 16);
  EXPECT_EQ(patch, 0);
  EXPECT_EQ(kytGetVersion(nullptr, &minor, &build, &patch), -5);
}
