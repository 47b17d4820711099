#include "monitor/station_env.h"

#include <filesystem>

#include "monitor/monitor.h"
#include "platform/ipc.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/services.h"

namespace kyt::test {

void forget_monitor_state() {
  rpxunq_reset_for_tests();
  rpwsrf_reset_for_tests();
  rpmxmt_reset_for_tests();
  lpdsn_reset_for_tests();
  rpdprm_reset_for_tests();
}

StationEnv::StationEnv(const std::string& db) {
  db_ = db.empty() ? dir_.file("DB") : db;
  platform::make_directory(dir_.file("DB").c_str());
  envfile_ = dir_.file("kytenv.dat");
  write_file(envfile_, "DB=\"" + db_ + "\" SYSTEM=\"" + dir_.path() + "\" TEMP=\"" +
                           dir_.path() + "\"\n");
  platform::set_env("KYTENV", envfile_.c_str());
  had_tmpdir_ = platform::get_env("TMPDIR", &old_tmpdir_);
  platform::set_env("TMPDIR", dir_.path().c_str());
  forget_monitor_state();
}

StationEnv::~StationEnv() {
  forget_monitor_state();
  platform::set_env("KYTENV", nullptr);
  platform::set_env("TMPDIR", had_tmpdir_ ? old_tmpdir_.c_str() : nullptr);
}

int StationEnv::run_files(const char* prefix) const {
  const std::string run = platform::ipc_run_directory();
  if (run.empty()) return 0;
  int n = 0;
  std::error_code ec;
  for (const auto& e : std::filesystem::directory_iterator(run, ec)) {
    if (e.path().filename().string().rfind(prefix, 0) == 0) ++n;
  }
  return n;
}

}  // namespace kyt::test
