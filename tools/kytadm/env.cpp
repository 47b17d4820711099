// kytadm env: the environment settings and dataset names as every program sees them.
#include <cstdio>
#include <string>

#include "runtime/runtime.h"
#include "kytadm.h"

namespace kytadm {

int run_env(const Args& args) {
  if (!args.operands.empty()) {
    return bad_usage(*args.self, "unexpected argument '" + args.operands.front() + "'");
  }
  if (read_environment(args) != 0) return kExitFailed;
  const std::string listing = kyt::lpdsn_listing();
  std::fwrite(listing.data(), 1, listing.size(), stdout);
  return kExitOk;
}

}  // namespace kytadm
