// A station database for tests: every layer's process state forgotten, an empty environment
// file, DB in the test's own directory, the database open with its catalogue.
#ifndef KYT_TESTS_STATIONDB_H
#define KYT_TESTS_STATIONDB_H

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "testutil.h"

namespace kyt::test {

// Forgets what the SQL, ISAM and environment layers hold, as a new process starts.
void forget_station();

// forget_station, then an empty kytenv.dat in `dir` read as the environment file, DB set to
// `dir` and the `settings` after it, "OPEN DB" and the catalogue tables.
::testing::AssertionResult open_station_db(
    const TempDir& dir, std::initializer_list<std::pair<const char*, std::string>> settings = {});

// The CN values of table KT (a column CN INTEGER) in key order, read through the C entry
// rpdsql with a cursor; a failure other than the end of the rows is a test failure.
std::vector<int32_t> kt_cns();

}  // namespace kyt::test

#endif  // KYT_TESTS_STATIONDB_H
