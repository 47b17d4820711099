#include "stationdb.h"

#include "isam/isam.h"
#include "kyt/kyt.h"
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

std::vector<int32_t> kt_cns() {
  std::vector<int32_t> out;
  int32_t cn = 0;
  kyt_hostvar v = {KYT_HOST_INT32, &cn};
  int32_t rc = rpdsql("DECLARE all_kt CURSOR FOR SELECT CN FROM KT", (const char*)nullptr, &v,
                      (const kyt_hostvar*)nullptr);
  while (rc == 0) {
    out.push_back(cn);
    rc = rpdsql("FETCH all_kt", (const char*)nullptr, &v, (const kyt_hostvar*)nullptr);
  }
  EXPECT_EQ(rc, KYT_SQL_NOT_FOUND);
  rpdsql("CLOSE all_kt", (const char*)nullptr, (const kyt_hostvar*)nullptr);
  return out;
}

}  // namespace kyt::test
