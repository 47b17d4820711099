// A station environment of its own for the monitor tests: a private directory, an
// environment file with DB there, named by KYTENV so that second processes read it too, and
// the temporary directory of the process (where POSIX keeps its named objects) moved into the
// private directory, so that every event, lock file and pipe goes with it.
#ifndef KYT_TESTS_MONITOR_STATION_ENV_H
#define KYT_TESTS_MONITOR_STATION_ENV_H

#include <string>

#include "testutil.h"

namespace kyt::test {

class StationEnv {
 public:
  // `db`: the DB setting; empty for the private directory's "DB".
  explicit StationEnv(const std::string& db = {});
  ~StationEnv();
  StationEnv(const StationEnv&) = delete;
  StationEnv& operator=(const StationEnv&) = delete;

  const TempDir& dir() const { return dir_; }
  const std::string& db() const { return db_; }
  const std::string& envfile() const { return envfile_; }
  // The files of the POSIX run directory whose names begin with `prefix` ("sem.", "ev.",
  // "pipe."); none on Windows.
  int run_files(const char* prefix) const;

 private:
  TempDir dir_;
  std::string db_;
  std::string envfile_;
  bool had_tmpdir_ = false;
  std::string old_tmpdir_;
};

// Forgets the process state of the environment and the monitor modules.
void forget_monitor_state();

}  // namespace kyt::test

#endif  // KYT_TESTS_MONITOR_STATION_ENV_H
