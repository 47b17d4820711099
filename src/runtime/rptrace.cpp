// rptrace: protocol trace array and its dump.
#include "runtime/rptrace.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "platform/platform.h"
#include "runtime/dsnfmt.h"
#include "runtime/params.h"
#include "runtime/trace.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "t";
constexpr int kLevel = 12;
constexpr int32_t kItemSize = 96;  // accounted size of one item, data excluded

struct Item {
  int32_t sequence;
  int32_t time;
  int32_t key;
  char text[64];  // NUL-terminated
  int32_t type;
  int32_t value1;
  int32_t value2;
  int32_t length;
  std::unique_ptr<unsigned char[]> data;  // owned copy; data items only
};

struct State {
  bool off = false;
  bool always_to_file = false;
  int32_t max_items = 0;
  int64_t max_size = 0;
  int32_t line_level = 0;
  std::unique_ptr<Item[]> items;  // max_items slots, zero-filled
  int64_t count = 0;              // items recorded since the last (re)init
  int32_t index = 0;              // next slot
  int64_t size = 0;               // running size: kItemSize plus data length per item
  bool error = false;
  int32_t driver = 0;
  int32_t direction = 0;
  std::string remote;
  std::string local;
  int16_t header_pending = 1;
};

State& st() {
  static State s;
  return s;
}

const char* driver_text(int32_t kind) {
  switch (kind) {
    case 1: return "CAPI2.0 over Bianca Brick";
    case 2: return "TCPIP";
    case 3: return "X.25 on AIX";
    default: return "unknown";
  }
}

const char* direction_text(int32_t dir) {
  switch (dir) {
    case 1: return "send";
    case 2: return "receive";
    default: return "unknown";
  }
}

std::string trace_file_name() {
  std::string pattern;
  if (!trace_env_value("DSN_TRACE_LOG", &pattern)) pattern = "trace%06lu.log";
  return dsn_complete_name(pattern,
                           static_cast<long long>(platform::process_id() % 1000000u));
}

void write_text(platform::File& f, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;

void write_text(platform::File& f, const char* format, ...) {
  char buf[512];
  va_list args;
  va_start(args, format);
  int n = std::vsnprintf(buf, sizeof buf, format, args);
  va_end(args);
  if (n < 0) return;
  size_t len = static_cast<size_t>(n) < sizeof buf ? static_cast<size_t>(n) : sizeof buf - 1;
  f.write(buf, len);
}

int32_t data_int(const Item& it) {
  int32_t v = 0;
  if (it.data && it.length > 0) {
    std::memcpy(&v, it.data.get(), static_cast<size_t>(it.length) < sizeof v ? it.length : sizeof v);
  }
  return v;
}

Item* next_slot(const char* op) {
  State& s = st();
  if (s.off || !s.items) return nullptr;
  ++s.count;
  Item& slot = s.items[s.index];
  if (s.count > s.max_items) s.size -= kItemSize + slot.length;
  KYT_TRACE(kModule, kTopic, kLevel, "%s", op);
  slot.sequence = static_cast<int32_t>(s.count);
  slot.time = static_cast<int32_t>(platform::now_seconds());
  return &slot;
}

void set_text(Item* it, int32_t key, const char* text) {
  it->key = key;
  std::snprintf(it->text, sizeof it->text, "%s", text != nullptr ? text : "");
}

void finish_slot(const Item& it) {
  State& s = st();
  s.size += kItemSize + it.length;
  ++s.index;
  dumpArray();
}

}  // namespace

int rptraceinit() {
  State& s = st();
  s.off = param_get_long("TRACEOFF", 0) != 0;
  s.always_to_file = param_get_long("TRACEALWAYSTOFILE", 0) != 0;
  long items = param_get_long("TRACEMAXITEM", 1024);
  if (items < 1 || items > 1000000) items = 1024;  // the array must stay allocatable
  long kbytes = param_get_long("TRACEMAXSIZE", 1024);
  if (kbytes < 1) kbytes = items;
  constexpr int64_t kMaxKbytes = INT64_MAX / 1024;  // the limit in bytes must fit
  s.max_items = static_cast<int32_t>(items);
  s.max_size = (kbytes > kMaxKbytes ? kMaxKbytes : static_cast<int64_t>(kbytes)) * 1024;
  s.line_level = static_cast<int32_t>(param_get_long("LITRACELVL", 0));
  // The size limit is a 64-bit number: 2 GB and more must not print negative.
  KYT_TRACE(kModule, kTopic, kLevel, "rptraceinit allw '%d' off %d maxit '%d' maxs'%lld'",
            s.always_to_file ? 1 : 0, s.off ? 1 : 0, s.max_items,
            static_cast<long long>(s.max_size));
  s.items.reset(new Item[static_cast<size_t>(s.max_items)]());
  s.count = 0;
  s.index = 0;
  s.size = 0;
  s.error = false;
  s.header_pending = 1;
  return 0;
}

int rptracereinit() {
  State& s = st();
  KYT_TRACE(kModule, kTopic, kLevel, "rptracereinit");
  // A new transfer starts: nothing of the last one counts, neither its size (else every
  // item would soon fill the limit alone and land in slot 0) nor its failure.
  s.count = 0;
  s.index = 0;
  s.size = 0;
  s.error = false;
  return 0;
}

int rptraceseterr() {
  KYT_TRACE(kModule, kTopic, kLevel, "rptraceseterr");
  st().error = true;
  return 0;
}

int rptracefinit() {
  State& s = st();
  KYT_TRACE(kModule, kTopic, kLevel, "rptracefinit");
  if (s.always_to_file || s.error) dumpArrayToFile();
  return 0;
}

int rptraceFlow(int32_t key, const char* text, int32_t result, int32_t error) {
  Item* it = next_slot("rptraceFlow");
  if (it == nullptr) return 0;
  set_text(it, key, text);
  it->value1 = result;
  it->value2 = error;
  it->length = 0;
  finish_slot(*it);
  return 0;
}

int rptraceData(int32_t key, const char* text, int32_t type, int32_t length, const void* data) {
  Item* it = next_slot("rptraceData");
  if (it == nullptr) return 0;
  set_text(it, key, text);
  if (length < 0 || data == nullptr) length = 0;
  it->type = type;
  it->length = length;
  it->data.reset();
  if (length > 0) {
    it->data.reset(new unsigned char[static_cast<size_t>(length)]);
    std::memcpy(it->data.get(), data, static_cast<size_t>(length));
  }
  finish_slot(*it);
  return 0;
}

int dumpArray() {
  State& s = st();
  if (s.index >= s.max_items || s.size >= s.max_size) {
    if (s.always_to_file) dumpArrayToFile();
    s.index = 0;
  }
  return 0;
}

int dumpArrayToFile() {
  State& s = st();
  if (s.off) return 0;
  KYT_TRACE(kModule, kTopic, kLevel, "dumpArrayToFile");
  std::string name = trace_file_name();
  platform::File f;
  if (s.header_pending != 0) {
    if (f.open(name.c_str(), platform::OpenMode::kAppend)) {
      write_text(f,
                 "Trace for driver '%s' direction = '%s' remote Adress = '%s' local adress = "
                 "'%s'\n",
                 driver_text(s.driver), direction_text(s.direction),
                 s.remote.empty() ? "unknown" : s.remote.c_str(),
                 s.local.empty() ? "unknown" : s.local.c_str());
      f.close();
    }
    s.header_pending = 0;
  }
  if (!s.items || !f.open(name.c_str(), platform::OpenMode::kAppend)) {
    s.index = 0;
    return 0;
  }
  const int32_t n = s.count > s.max_items ? s.max_items : s.index;
  for (int32_t i = 0; i < n; ++i) {
    const Item& it = s.items[i];
    const int seq = it.sequence;
    const int tim = it.time;
    const int key = it.key;
    switch (it.key) {
      case kRptFlow:
        write_text(f, "I'%12d' T'%12d' K'%3d' W'%-30s' R'%d' E'%d'\n", seq, tim, key, it.text,
                   it.value1, it.value2);
        break;
      case kRptTime28:
      case kRptTime24:
        write_text(f, "I'%12d' T'%12d' K'%3d' W'%-30s' T'%d'\n", seq, tim, key, it.text,
                   it.value1);
        break;
      case kRptData:
        if (it.type == kRptInt) {
          write_text(f, "I'%12d' T'%12d' K'%3d' W'%-30s' Di'%d'\n", seq, tim, key, it.text,
                     data_int(it));
        } else if (it.type == kRptHex) {
          write_text(f, "I'%12d' T'%12d' K'%3d' W'%-30s' Dix'%x'\n", seq, tim, key, it.text,
                     static_cast<unsigned>(data_int(it)));
        } else {
          write_text(f, "I'%12d' T'%12d' K'%3d' W'%-30s' L'%d' B'%s'\n", seq, tim, key, it.text,
                     it.length, "To Be Done : trace DATA");
        }
        break;
      default:
        write_text(f, "unknown key %d\n", key);
        break;
    }
  }
  f.close();
  s.index = 0;
  return 0;
}

void rptraceSetHeader(int32_t driver, int32_t direction, const char* remote, const char* local) {
  State& s = st();
  s.driver = driver;
  s.direction = direction;
  s.remote = remote != nullptr ? remote : "";
  s.local = local != nullptr ? local : "";
  s.header_pending = 1;
}

int32_t rptraceLineLevel() { return st().line_level; }

void rptrace_reset_for_tests() { st() = State(); }

}  // namespace kyt
