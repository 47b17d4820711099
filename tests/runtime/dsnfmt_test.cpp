#include "runtime/dsnfmt.h"

#include <gtest/gtest.h>

namespace kyt {
namespace {

TEST(Dsnfmt, FillsTheFirstIntegerConversionOnly) {
  EXPECT_EQ(dsn_complete("trace%06lu.log", 42), "trace000042.log");
  EXPECT_EQ(dsn_complete("rltr%04ld.log", 123456 % 10000), "rltr3456.log");
  EXPECT_EQ(dsn_complete("diag.%03d", 7), "diag.007");
  EXPECT_EQ(dsn_complete("a%d%d", 1), "a1%d");
  EXPECT_EQ(dsn_complete("100%% %x", 255), "100% ff");
  // Conversions that would read arguments that are not there stay as text.
  EXPECT_EQ(dsn_complete("%s%n%p", 5), "%s%n%p");
  EXPECT_EQ(dsn_complete("%999999999d", 5), "%999999999d");
  EXPECT_EQ(dsn_complete("end%", 5), "end%");
  EXPECT_EQ(dsn_complete("plain", 5), "plain");
}

TEST(Dsnfmt, ANameIsCompletedBehindItsDirectoryOnly) {
  EXPECT_EQ(dsn_complete_name("/srv/t%d%%/trace%06lu.log", 42), "/srv/t%d%%/trace000042.log");
  EXPECT_EQ(dsn_complete_name("C:\\a%x\\b%%\\diag.%03d", 7), "C:\\a%x\\b%%\\diag.007");
  EXPECT_EQ(dsn_complete_name("diag.%03d", 7), "diag.007");
  EXPECT_EQ(dsn_complete_name("/dir%d/", 7), "/dir%d/");
}

}  // namespace
}  // namespace kyt
