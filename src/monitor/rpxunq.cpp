// rpxunq: unique-process semaphores (see rpxunq.h).
#include "monitor/rpxunq.h"

#include <array>
#include <cstring>
#include <utility>
#include <vector>

#include "kyt/kyt.h"
#include "platform/ipc.h"
#include "platform/platform.h"
#include "runtime/runtime.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "u";
constexpr size_t kDbMax = 242;
constexpr size_t kProcessMax = 6;
constexpr size_t kBuckets = 10;

struct Held {
  std::string name;
  intptr_t handle;
};

struct State {
  bool prefix_made = false;
  std::string prefix;
  bool table_made = false;
  std::array<std::vector<Held>, kBuckets> table;
};

State& st() {
  static State s;
  return s;
}

size_t bucket(const std::string& name) {
  size_t h = 0;
  for (unsigned char c : name) h = h * 31 + c;
  return h % kBuckets;
}

const std::string& prefix() {
  State& s = st();
  if (!s.prefix_made) {
    std::string db;
    if (lpdsn_get("DB", &db) != 0) {
      db = std::string(platform::default_install_path()) + "\\" + "DB";
    }
    if (db.size() > kDbMax) db.resize(kDbMax);
    std::string p = "\\sem\\" + db + "\\";
    for (char& c : p) {
      if (c == ':') c = 'x';
      else if (c == '\\') c = '/';
    }
    s.prefix = p;
    s.prefix_made = true;
  }
  return s.prefix;
}

int32_t take(const std::string& name) {
  State& s = st();
  intptr_t handle = -1;
  const int32_t rc = platform::unique_take(name.c_str(), &handle);
  if (rc == 99) {
    KYT_TRACE(kModule, kTopic, 1, "rpxunq: take of %s failed with rc= %d", name.c_str(),
              static_cast<int>(platform::sys_error()));
    return UNQ_FAILED;
  }
  if (rc != 0) return UNQ_EXISTS;
  s.table_made = true;
  s.table[bucket(name)].push_back({name, handle});
  return UNQ_OK;
}

int32_t release(const std::string& name) {
  State& s = st();
  if (!s.table_made) return UNQ_FAILED;
  std::vector<Held>& chain = s.table[bucket(name)];
  for (size_t i = 0; i < chain.size(); ++i) {
    if (chain[i].name == name) {
      platform::unique_release(name.c_str(), chain[i].handle);
      chain.erase(chain.begin() + static_cast<std::ptrdiff_t>(i));
      break;
    }
  }
  return UNQ_OK;
}

}  // namespace

std::string unique_name(const char* process) {
  std::string name = prefix();
  if (process != nullptr) name.append(process, strnlen(process, kProcessMax));
  return name;
}

int32_t rpxunq_run(int32_t action, const char* process) {
  if (action != UNQ_TAKE && action != UNQ_RELEASE && action != UNQ_TEST) return UNQ_BAD_ACTION;
  if (process == nullptr) return UNQ_FAILED;
  const std::string name = unique_name(process);
  int32_t rc;
  switch (action) {
    case UNQ_TAKE:
      rc = take(name);
      break;
    case UNQ_RELEASE:
      rc = release(name);
      break;
    default:
      // Asked without taking: a take and release here would, for that moment, turn away
      // the very process whose start the caller is waiting for.
      rc = platform::unique_test(name.c_str());
      if (rc == 99) {
        KYT_TRACE(kModule, kTopic, 1, "rpxunq: test of %s failed with rc= %d", name.c_str(),
                  static_cast<int>(platform::sys_error()));
        rc = UNQ_FAILED;
      } else if (rc == 0) {
        st().table_made = true;  // as after a take and release
        rc = UNQ_OK;
      } else {
        rc = UNQ_EXISTS;
      }
      break;
  }
  KYT_TRACE(kModule, kTopic, 11, "rpxunq: action=%d, name=%s, rc=%d", static_cast<int>(action),
            name.c_str(), static_cast<int>(rc));
  return rc;
}

void rpxunq_reset_for_tests() {
  State& s = st();
  for (auto& chain : s.table) {
    for (Held& h : chain) platform::unique_release(h.name.c_str(), h.handle);
  }
  s = State();
}

}  // namespace kyt

extern "C" int32_t rpxunq(int32_t action, const char* process) {
  return kyt::api_guard("rpxunq", [&]() -> int32_t { return kyt::rpxunq_run(action, process); });
}
