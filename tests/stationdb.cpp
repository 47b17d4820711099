#include "stationdb.h"

#include "isam/isam.h"
#include "runtime/runtime.h"
#include "sql/sql.h"

namespace kyt::test {

void forget_station() {
  rpdsql_reset_for_tests();
  isam_reset_for_tests();
  lpdsn_reset_for_tests();
}

::testing::AssertionResult open_station_db(
    const TempDir& dir, std::initializer_list<std::pair<const char*, std::string>> settings) {
  forget_station();
  write_file(dir.file("kytenv.dat"), "");
  if (lpdsn_init_file(dir.file("kytenv.dat")) != 0)
    return ::testing::AssertionFailure() << "environment file not read";
  if (lpdsn_set("DB", dir.path().c_str()) != 0) return ::testing::AssertionFailure() << "DB";
  for (const auto& [name, value] : settings) {
    if (lpdsn_set(name, value.c_str()) != 0) return ::testing::AssertionFailure() << name;
  }
  if (const int32_t rc = rpdsql_run("OPEN DB"); rc != 0)
    return ::testing::AssertionFailure() << "OPEN DB answered " << rc;
  if (const int32_t rc = isa_create_catalogue(); rc != 0)
    return ::testing::AssertionFailure() << "catalogue: " << rc;
  return ::testing::AssertionSuccess();
}

}  // namespace kyt::test
