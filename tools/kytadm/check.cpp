// kytadm check: the integrity check of station databases.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "isam/isam.h"
#include "sql/sql.h"
#include "kytadm.h"

namespace kytadm {

namespace {

constexpr size_t kMaxProblems = 20;

}  // namespace

int run_check(const Args& args) {
  std::vector<std::string> databases = args.operands;
  if (databases.empty()) {
    if (read_environment(args) != 0) return kExitUsage;
    const std::string dir = database_directory();
    std::error_code ec;
    if (dir.empty() || !std::filesystem::is_directory(dir, ec)) {
      std::fprintf(stderr, "kytadm check: the database directory '%s' does not exist\n", dir.c_str());
      return kExitUsage;
    }
    for (const auto& entry : std::filesystem::directory_iterator(dir, ec)) {
      const std::string name = entry.path().string();
      if (entry.is_regular_file(ec) && name.size() > 3 && name.compare(name.size() - 3, 3, ".DB") == 0) {
        databases.push_back(name);
      }
    }
    if (ec) {
      std::fprintf(stderr, "kytadm check: cannot list the database directory '%s'\n", dir.c_str());
      return kExitFailed;
    }
    if (databases.empty()) {
      std::printf("%s: no databases (no *.DB file) to check\n", dir.c_str());
      return kExitOk;
    }
    std::sort(databases.begin(), databases.end());
  }
  bool sound = true;
  for (const std::string& db : databases) {
    std::vector<std::string> problems;
    if (kyt::icheck_db(db.c_str(), &problems, kMaxProblems + 1)) {
      std::printf("%s: ok\n", db.c_str());
      continue;
    }
    sound = false;
    if (kyt::isam_errno == kyt::kIsamLocked) {
      std::printf("%s: %s, not checked\n", db.c_str(), kyt::sql_status_text(kyt::DBI_E_LOCKED));
      continue;
    }
    std::printf("%s: damaged\n", db.c_str());
    for (size_t i = 0; i < problems.size() && i < kMaxProblems; ++i) {
      std::printf("  %s\n", problems[i].c_str());
    }
    if (problems.size() > kMaxProblems) std::printf("  ... and more\n");
  }
  return sound ? kExitOk : kExitFailed;
}

}  // namespace kytadm
