// trace: line trace state, settings and the trace file writer.
#include "runtime/trace.h"

#include "runtime/numtext.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/platform.h"

namespace kyt {

namespace {

constexpr size_t kMaxText = 4000;
constexpr size_t kMaxTopics = 63;
constexpr int kMaxLevel = 28;  // bits 28..31 of the mask are flags

// Writes lines to the trace file and rotates it. Holds the file open between lines.
class TraceWriter {
 public:
  void configure(const TraceSettings& s, int32_t tag) {
    file_.close();
    settings_ = s;
    tag_ = tag;
  }

  bool wants(const char* topic, int level) const {
    if (level < 1 || level > kMaxLevel) return false;
    if ((settings_.level_mask & (1u << (level - 1))) == 0) return false;
    if (settings_.topics.empty() || topic == nullptr || topic[0] == '\0') return true;
    return settings_.topics.find(topic[0]) != std::string::npos;
  }

  void write(const char* source, const char* module, int level, const char* text) {
    char head[160];
    platform::LocalTime lt{};
    platform::local_time(platform::now_seconds(), &lt);
    char pid[32];
    if (tag_ == -1) {
      std::snprintf(pid, sizeof pid, "%lu", static_cast<unsigned long>(platform::process_id()));
    } else {
      std::snprintf(pid, sizeof pid, "%lu:%ld", static_cast<unsigned long>(platform::process_id()),
                    static_cast<long>(tag_));
    }
    std::snprintf(head, sizeof head, "%04d/%02d/%02d %02d:%02d:%02d %s ", lt.year, lt.month,
                  lt.day, lt.hour, lt.minute, lt.second, pid);
    std::string line = head;
    line += base_name(source);
    line += ' ';
    line += (module != nullptr ? module : "");
    line += ' ';
    line += std::to_string(level);
    line += ' ';
    line += text;
    line += '\n';

    if (settings_.bit29) std::fwrite(line.data(), 1, line.size(), stderr);
    if (settings_.file.empty()) return;
    if (!file_.is_open() && !file_.open(settings_.file.c_str(), platform::OpenMode::kAppend)) return;
    if (settings_.max_size > 0) {
      int64_t size = file_.size();
      if (size > 0 && size + static_cast<int64_t>(line.size()) > settings_.max_size) {
        rotate();
        if (!file_.open(settings_.file.c_str(), platform::OpenMode::kAppend)) return;
      }
    }
    file_.write(line.data(), line.size());
  }

  void reset() {
    file_.close();
    settings_ = TraceSettings();
    tag_ = -1;
  }

 private:
  static const char* base_name(const char* path) {
    if (path == nullptr) return "";
    const char* b = path;
    for (const char* p = path; *p != '\0'; ++p) {
      if (*p == '/' || *p == '\\') b = p + 1;
    }
    return b;
  }

  // "dir/diag.log" -> "dir/diag.007": the extension of the base name is replaced.
  std::string archive_name(uint32_t n) const {
    const std::string& f = settings_.file;
    size_t slash = f.find_last_of("/\\");
    size_t dot = f.find_last_of('.');
    std::string stem = (dot != std::string::npos && (slash == std::string::npos || dot > slash))
                           ? f.substr(0, dot)
                           : f;
    char suffix[16];
    std::snprintf(suffix, sizeof suffix, ".%03lu", static_cast<unsigned long>(n));
    return stem + suffix;
  }

  void rotate() {
    file_.close();
    const uint32_t keep = settings_.num_logs;
    if (keep == 0) {
      platform::remove_file(settings_.file.c_str());
      return;
    }
    // Oldest first: .(keep-1) replaces .keep, ..., the trace file becomes .001.
    for (uint32_t i = keep; i > 1; --i) {
      std::string from = archive_name(i - 1);
      if (platform::file_exists(from.c_str())) {
        platform::rename_file(from.c_str(), archive_name(i).c_str());
      }
    }
    platform::rename_file(settings_.file.c_str(), archive_name(1).c_str());
  }

  TraceSettings settings_;
  int32_t tag_ = -1;
  platform::File file_;
};

// Process-wide line trace state (one thread a process uses it).
struct TraceState {
  int16_t on = 0;                // the trace switch
  int nesting = 0;               // > 1 while a line is being written: inner lines are dropped
  bool initialised = false;      // settings taken and writer configured
  bool reread = false;           // read environment file and settings again on the next line
  int32_t tag = -1;
  const char* source = nullptr;  // from the last trace header
  const char* module = nullptr;
  TraceEnvSource env;            // none: the process environment alone
  TraceWriter writer;
};

TraceState& state() {
  static TraceState s;
  return s;
}

// Environment store first, then the process environment, then the default.
std::string setting(const char* key, const char* fallback) {
  std::string v;
  if (trace_env_value(key, &v)) return v;
  if (platform::get_env(key, &v)) return v;
  return fallback;
}

void configure_writer() {
  TraceState& s = state();
  s.writer.configure(trace_read_settings(), s.tag);
}

void vline(const char* topic, int level, const char* format, va_list args) {
  TraceState& s = state();
  if (s.on == 0) return;
  if (++s.nesting == 1) {
    if (s.reread) {
      // Before the first settings there is nothing to read again. The reload may install
      // the source again, which asks for fresh settings: they are taken below, after it.
      if (s.initialised && s.env.reload != nullptr) s.env.reload();
      s.initialised = false;
      s.reread = false;
    }
    if (!s.initialised) {
      configure_writer();
      s.initialised = true;
    }
    if (s.writer.wants(topic, level)) {
      char text[kMaxText + 1];
      int n = std::vsnprintf(text, sizeof text, format, args);
      if (n >= 0) {
        size_t len = std::strlen(text);
        while (len > 0 && (text[len - 1] == '\n' || text[len - 1] == '\r')) text[--len] = '\0';
        s.writer.write(s.source, s.module, level, text);
      }
    }
  }
  --s.nesting;
}

}  // namespace

void trace_set_env_source(const TraceEnvSource& source) {
  TraceState& s = state();
  s.env = source;
  s.initialised = false;
}
TraceEnvSource trace_env_source() { return state().env; }
TraceHold::TraceHold() { ++state().nesting; }
TraceHold::~TraceHold() { --state().nesting; }
bool trace_env_value(const char* key, std::string* value) {
  const TraceEnvSource& env = state().env;
  return env.lookup != nullptr && env.lookup(key, value);
}
void trace_set_switch(int16_t on) { state().on = on; }
int16_t trace_switch() { return state().on; }
void trace_set_tag(int32_t tag) {
  state().tag = tag;
  state().reread = true;
}
void trace_request_reread() { state().reread = true; }

namespace {
// A numeric trace setting read as C's strtol reads it (blanks, a sign, "0x" and "0"
// prefixes, text after the number ignored), within [lo, hi]: a number outside gives the
// nearer bound, never a wrapped value.
int64_t setting_number(const char* key, int64_t lo, int64_t hi) {
  int64_t v = 0;
  size_t used = 0;
  parse_int(setting(key, "0"), lo, hi, &v,
            NumSyntax{.blanks = true, .sign = true, .c_prefix = true}, &used);
  return v;
}
}  // namespace

TraceSettings trace_read_settings() {
  TraceSettings t;
  t.file = setting("DSN_DIAG", "diag.log");
  t.level_mask = static_cast<uint32_t>(setting_number("DBG_LVL", 0, UINT32_MAX));
  t.topics = setting("DBG_TPC", "");
  if (t.topics.size() > kMaxTopics) t.topics.resize(kMaxTopics);
  t.max_size = setting_number("DBG_MAXSIZE", INT64_MIN, INT64_MAX);
  t.num_logs = static_cast<uint32_t>(setting_number("DBG_NUMLOGS", 0, UINT32_MAX));
  t.bit29 = (t.level_mask & 0x20000000u) != 0;
  return t;
}

void trace_header(const char* source_file, const char* module, int /*flag*/) {
  TraceState& s = state();
  if (s.nesting > 0) return;  // a call made while a line is written is dropped whole
  s.source = source_file;
  s.module = module;
}

void trace_line(const char* topic, int level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  vline(topic, level, format, args);
  va_end(args);
}

void trace(const char* source_file, const char* module, const char* topic, int level,
           const char* format, ...) {
  if (state().on == 0) return;
  platform::ErrorGuard guard;
  trace_header(source_file, module, 1);
  va_list args;
  va_start(args, format);
  vline(topic, level, format, args);
  va_end(args);
}

void trace_reset_for_tests() {
  TraceState& s = state();
  s.writer.reset();
  s.on = 0;
  s.nesting = 0;
  s.initialised = false;
  s.reread = false;
  s.tag = -1;
  s.source = nullptr;
  s.module = nullptr;
  s.env = TraceEnvSource();
}

}  // namespace kyt
