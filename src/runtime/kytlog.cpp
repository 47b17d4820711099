// kytlog: writing the station log and handing messages to the log-writer channel.
#include "runtime/kytlog.h"

#include <cstdio>
#include <new>
#include <string>

#include "platform/platform.h"
#include "runtime/lpdsn.h"
#include "runtime/rpxdt.h"
#include "runtime/trace.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "m";

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

bool write_line(const std::string& file, const std::string& line) {
  platform::File f;
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
