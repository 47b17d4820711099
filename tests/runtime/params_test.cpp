#include "runtime/params.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace kyt {
namespace {

const char* g_value = nullptr;
int one_value(const char* name, std::string* value) {
  if (std::strcmp(name, "N") != 0) return kParamNotFound;
  *value = g_value;
  return 0;
}

// A parameter beyond 32 bits once came back as a 64-bit long on Linux (and was cut to 32 bits
// by its callers, 4294967297 becoming 1) but saturated on Windows; now it is refused on both.
TEST(Params, LongValuesAreReadAsStrtolWithin32Bits) {
  param_set_lookup(one_value);
  const struct {
    const char* text;
    long value;
  } cases[] = {{"42", 42},           {"  -7 kB", -7},         {"abc", 0},
               {"2147483647", 2147483647}, {"-2147483648", -2147483647L - 1},
               {"2147483648", 99},   {"4294967297", 99},      {"-18446744073709551615", 99},
               {"99999999999999999999999999", 99}};
  for (const auto& c : cases) {
    g_value = c.text;
    EXPECT_EQ(param_get_long("N", 99), c.value) << c.text;
  }
  EXPECT_EQ(param_get_long("OTHER", 5), 5);
  param_set_lookup(nullptr);
}

}  // namespace
}  // namespace kyt
