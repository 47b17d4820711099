// kytlog: writing the station log and handing messages to the log-writer channel.
#include "runtime/kytlog.h"

#include <chrono>
#include <cstdio>
#include <new>
#include <string>
#include <thread>

#include "platform/platform.h"
#include "runtime/lpdsn.h"
#include "runtime/rpxdt.h"
#include "runtime/trace.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "m";
constexpr int kLockTries = 400;  // 5 ms apart

struct State {
  log_channel_fn channel = nullptr;
  void* context = nullptr;
  bool in_channel = false;  // a report made by the channel itself
};

State& st() {
  static State s;
  return s;
}

// Appends `s` with every control byte as a blank.
void append_safe(std::string* out, std::string_view s) {
  for (char c : s) {
    const unsigned char u = static_cast<unsigned char>(c);
    out->push_back(u < 0x20 || u == 0x7f ? ' ' : c);
  }
}

// Appends one line. Several processes write the log: the line is written at the end of the
// file while its first bytes are locked (opening for appending alone is not enough where the
// system does not make a write at the end one step, as under wine). When the lock cannot be
// had within about two seconds the line is appended without it rather than lost.
bool write_line(const std::string& file, const std::string& line) {
  if (!platform::file_exists(file.c_str())) {
    platform::File make;  // made without cutting what another process may just have written
    if (!make.open(file.c_str(), platform::OpenMode::kAppend)) return false;
  }
  platform::File f;
  if (f.open(file.c_str(), platform::OpenMode::kReadWrite)) {
    bool locked = false;
    for (int i = 0; i < kLockTries && !(locked = f.lock_header()); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    if (locked) {
      const int64_t end = f.size();
      const bool written =
          end >= 0 && f.write_at(line.data(), line.size(), end) == static_cast<int64_t>(line.size());
      f.unlock_header();
      return f.close() && written;
    }
    f.close();
  }
  if (!f.open(file.c_str(), platform::OpenMode::kAppend)) return false;
  const bool written = f.write(line.data(), line.size()) == static_cast<int64_t>(line.size());
  return f.close() && written;
}

int32_t report(std::string_view key, MsgArgs args, char lang) {
  MsgText m;
  const int32_t found = msg_get(key, args, lang, &m);
  if (found == kMsgFailed) return kMsgFailed;

  // "S KEY TEXT", and where the key and the text begin in it.
  std::string tail;
  tail.reserve(key.size() + m.text.size() + 4);
  tail += m.severity;
  tail += ' ';
  const size_t key_at = tail.size();
  append_safe(&tail, key);
  const size_t key_len = tail.size() - key_at;
  tail += ' ';
  const size_t text_at = tail.size();
  append_safe(&tail, m.text);

  char now[kDtTextSize];
  if (dt_now(now, sizeof now) != kDtOk) std::snprintf(now, sizeof now, "0000/00/00 00:00:00");
  std::string line;
  line.reserve(tail.size() + sizeof now + 2);
  line += now;
  line += ' ';
  line += tail;
  line += '\n';

  int32_t rc = found;
  const std::string file = kytlog_file();
  if (file.empty()) {
    KYT_TRACE(kModule, kTopic, 1, "msg_report: DSN_KYT_LOG not available, %s not logged",
              tail.substr(0, key_at + key_len).c_str());
    rc = kMsgFailed;
  } else if (!write_line(file, line)) {
    KYT_TRACE(kModule, kTopic, 1, "msg_report: cannot write %s, %s not logged", file.c_str(),
              tail.substr(0, key_at + key_len).c_str());
    rc = kMsgFailed;
  }

  State& s = st();
  if (s.channel != nullptr && !s.in_channel) {
    const std::string_view t(tail);
    const LogRecord r{m.severity, m.group, t.substr(key_at, key_len), t.substr(text_at), t};
    s.in_channel = true;
    try {
      s.channel(r, s.context);
    } catch (...) {
      // The channel's failures are its own; the report stands.
    }
    s.in_channel = false;
  }
  return rc;
}

}  // namespace

void kytlog_set_channel(log_channel_fn fn, void* context) {
  State& s = st();
  s.channel = fn;
  s.context = fn != nullptr ? context : nullptr;
}

int32_t msg_report(std::string_view key, MsgArgs args, char lang) {
  try {
    return report(key, args, lang);
  } catch (const std::bad_alloc&) {
    st().in_channel = false;
    return kMsgFailed;
  }
}

std::string kytlog_file() {
  std::string name;
  if (lpdsn_get("DSN_KYT_LOG", &name) != 0) return std::string();
  return name;
}

void kytlog_reset_for_tests() {
  State& s = st();
  s.channel = nullptr;
  s.context = nullptr;
  s.in_channel = false;
}

}  // namespace kyt
