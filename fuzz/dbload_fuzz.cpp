// Feeds arbitrary bytes as a dump file to the loader of database dumps, against a station
// database made once in a temporary directory. Whatever the bytes, the load answers a status;
// a refused load leaves the tables as they were (checked on TT and RT, the tables the seeds
// fill), and a dump of what a load stored loads back to the same dump. The bytes are also
// put through the escape of dump values, which must give them back.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include "api/caldb.h"
#include "api/dbline.h"
#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "sql/sql.h"

namespace {

void check(bool ok) {
  if (!ok) __builtin_trap();
}

struct Station {
  std::string dir, input, before, after;
  Station() {
    dir = kyt::platform::make_temp_directory("kytdbloadfuzz");
    const std::string sep(1, kyt::platform::path_separator());
    const std::string env = dir + sep + "kytenv.dat";
    if (std::FILE* f = std::fopen(env.c_str(), "w")) {
      std::fprintf(f, "PATH=\"%s\" DBHOLD=Y\n", dir.c_str());
      std::fclose(f);
    }
    input = dir + sep + "input.dmp";
    before = dir + sep + "before.dmp";
    after = dir + sep + "after.dmp";
    check(kyt::lpdsn_init_file(env) == 0);
    check(kytInitDB() == 0);
  }
};

std::string read(const std::string& file) {
  std::string s;
  if (std::FILE* f = std::fopen(file.c_str(), "rb")) {
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) s.append(buf, n);
    std::fclose(f);
  }
  return s;
}

constexpr kyt::Tab kWatched[] = {kyt::Tab::kTT, kyt::Tab::kRT};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Station station;
  const std::string bytes(reinterpret_cast<const char*>(data), size);

  std::string escaped, back;
  kyt::dump_escape(bytes, &escaped);
  check(escaped.find_first_of("\"\n\r") == std::string::npos);
  check(kyt::dump_unescape(escaped, &back) && back == bytes);

  if (std::FILE* f = std::fopen(station.input.c_str(), "wb")) {
    std::fwrite(data, 1, size, f);
    std::fclose(f);
  }
  check(kyt::dump_tables(station.before.c_str(), "", kWatched, false, false) == 0);
  long line = 0;
  const int32_t rc = kyt::load_file(station.input.c_str(), kWatched, &line);
  check(kyt::dump_tables(station.after.c_str(), "", kWatched, false, false) == 0);
  if (rc != 0) {
    check(read(station.before) == read(station.after));
  } else {
    // What was stored dumps to lines that load back to the same rows.
    check(kyt::load_file(station.after.c_str(), kWatched, &line) == 0);
    check(kyt::dump_tables(station.before.c_str(), "", kWatched, false, false) == 0);
    check(read(station.before) == read(station.after));
  }
  return 0;
}
