// Arbitrary bytes as a station table and as a routing table, imported into one station
// database: reading, the consistency check, the command language and the store handlers
// must answer a code, never crash, hang or read outside their buffers.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"

namespace {

bool open_db(const std::string& dir) {
  const std::string env = dir + "/kytenv.dat";
  std::FILE* f = std::fopen(env.c_str(), "wb");
  if (f == nullptr) return false;
  std::fclose(f);
  return kyt::lpdsn_init_file(env) == 0 && kyt::lpdsn_set("DB", dir.c_str()) == 0 &&
         kyt::rpdsql_run("OPEN DB") == 0 && kyt::isa_create_catalogue() == 0 &&
         kyt::rpdini_run() == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string dir = kyt::platform::make_temp_directory("kytfuzzimp");
  static const bool ready = open_db(dir);
  if (!ready) __builtin_trap();
  const std::string file = dir + "/table.txt";
  std::FILE* f = std::fopen(file.c_str(), "wb");
  if (f == nullptr) return 0;
  std::fwrite(data, 1, size, f);
  std::fclose(f);
  bool summary = false;
  const kyt::ImportOut out = [&summary](const char* text) {
    if (std::strstr(text, " records of \"") != nullptr) summary = true;
  };
  int32_t rc = kyt::import_stations(file.c_str(), out);
  // A file imported whole says so; a failed one never does.
  if ((rc == 0) != summary) __builtin_trap();
  summary = false;
  rc = kyt::import_routes(file.c_str(), out);
  if ((rc == 0) != summary) __builtin_trap();
  return 0;
}
