// benchutil: what every benchmark needs: seconds since a moment, giving up with the step
// that failed, an environment of its own in a temporary directory, a station database there. Benchmarks print ratios and never fail the build; a failed step ends the run
// with status 1.
#ifndef KYT_BENCH_BENCHUTIL_H
#define KYT_BENCH_BENCHUTIL_H

#include <chrono>
#include <cstdio>
#include <string>

#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/rpdipr.h"
#include "sql/isa.h"
#include "sql/sql.h"

namespace kyt::bench {

using Clock = std::chrono::steady_clock;

inline double since(Clock::time_point t) {
  return std::chrono::duration<double>(Clock::now() - t).count();
}

// Prints "PROGRAM: WHAT failed (RC)" on standard error and answers 1 for main to return.
inline int fail(const char* program, const char* what, long rc) {
  std::fprintf(stderr, "%s: %s failed (%ld)\n", program, what, rc);
  return 1;
}

// Makes a temporary directory named after `prefix`, writes `text` there as the environment
// file kytenv.dat (empty: every setting at its default) and reads it: the directory, or an
// empty text when a step failed.
inline std::string make_environment(const char* prefix, const std::string& text = "") {
  const std::string dir = platform::make_temp_directory(prefix);
  if (dir.empty()) return dir;
  const std::string env = dir + platform::path_separator() + "kytenv.dat";
  std::FILE* f = std::fopen(env.c_str(), "w");
  if (f == nullptr) return std::string();
  const bool written = std::fwrite(text.data(), 1, text.size(), f) == text.size();
  if (std::fclose(f) != 0 || !written || lpdsn_init_file(env) != 0) return std::string();
  return dir;
}

// Makes (or opens) the station database in `dir` as the station does: DB set to it, the
// catalogue, the tables and the parameters. nullptr, or the step that failed with *rc.
inline const char* open_station_database(const std::string& dir, long* rc) {
  rpdsql_run("CLOSE DB");
  lpdsn_set("DB", dir.c_str());
  if ((*rc = rpdsql_run("OPEN DB")) != 0) return "OPEN DB";
  if ((*rc = isa_create_catalogue()) != 0) return "catalogue";
  if ((*rc = rpdini_run()) != 0) return "rpdini";
  if ((*rc = rpdipr_run()) != 0) return "rpdipr";
  return nullptr;
}

}  // namespace kyt::bench

#endif  // KYT_BENCH_BENCHUTIL_H
