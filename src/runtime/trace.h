// trace: the line trace of every module, and the writer of the trace file.
//
// A module traces with KYT_TRACE(module, topic, level, format, ...). The call saves and
// restores the error numbers, hands source file and module to the trace header and writes
// one line when tracing is switched on.
//
// Switching on: a process sets the trace switch (trace_set_switch) at start-up from its own
// setting; kytfold does so when the process environment has a non-zero DBG_LVL. With the
// switch off nothing is read and no file is touched.
//
// Settings, taken on the first line written after the switch went on, again after a new
// environment source was installed, and after trace_request_reread (which also reads the
// environment file again): the trace file is the dataset name DSN_DIAG; DBG_LVL, DBG_TPC,
// DBG_MAXSIZE and DBG_NUMLOGS come from the environment source, else from the process
// environment, else from the defaults "0", "", "0", "0". Without a source (or when the
// source has no DSN_DIAG) the trace file is "diag.log" in the current directory.
//
// The environment source is injected: the trace itself knows no environment store. The
// store (lpdsn) installs itself when it has read the environment file, so its settings hold
// from then on whichever module was used first; a process that never reads the store (kytfold)
// traces by its process environment alone.
//
// Filter: a line of level L (1 to 28) is written when bit L-1 of the level mask is set and
// its topic letter is one of DBG_TPC (an empty DBG_TPC lets every topic through). Bits 28 to
// 31 are flags, not levels; bit 29 (0x20000000) also copies every line to standard error.
//
// Line layout (one line each, LF-terminated):
//   YYYY/MM/DD HH:MM:SS PID[:TAG] SOURCE MODULE LEVEL TEXT
// with local time, the process id (and the process's trace tag when it is not -1), the base
// name of the source file, the module name, the level, and the formatted text without its
// trailing line breaks. Texts longer than 4000 bytes are cut.
//
// Rotation: when DBG_MAXSIZE is above 0 and a line would take the file beyond it, the file
// becomes the first archive and a new file is started. Archives are named like the trace
// file with its extension replaced by ".001", ".002", ... (diag.log -> diag.001, the
// DSN_DIAG_ARC pattern); DBG_NUMLOGS of them are kept, the oldest dropped. With DBG_NUMLOGS
// 0 no archive is kept: the file starts over.
#ifndef KYT_RUNTIME_TRACE_H
#define KYT_RUNTIME_TRACE_H

#include <cstdint>
#include <string>

namespace kyt {

// Where the trace settings come from before the process environment is asked; `reload`
// reads the environment file again (for trace_request_reread). Installing a source makes the
// next line take its settings afresh; an empty source means the process environment alone.
struct TraceEnvSource {
  bool (*lookup)(const char* key, std::string* value) = nullptr;
  void (*reload)() = nullptr;
};
void trace_set_env_source(const TraceEnvSource& source);
TraceEnvSource trace_env_source();
// Asks the installed environment source alone (no process environment, no default).
bool trace_env_value(const char* key, std::string* value);

// Holds back every line while it lives (they are dropped, as nested lines are): the
// environment store reads its file under a hold, so no line can take its settings from a
// half-read store.
class TraceHold {
 public:
  TraceHold();
  ~TraceHold();
  TraceHold(const TraceHold&) = delete;
  TraceHold& operator=(const TraceHold&) = delete;
};

// Process-wide switch: zero means off.
void trace_set_switch(int16_t on);
int16_t trace_switch();
// A number of the process's own that every line carries after the process id; -1 is none.
void trace_set_tag(int32_t tag);
// The next line reads the environment file and the settings again.
void trace_request_reread();

// The settings as the trace reads them (exposed for tests and for `kytadm env`).
struct TraceSettings {
  std::string file;
  uint32_t level_mask = 0;
  std::string topics;       // at most 63 characters
  int64_t max_size = 0;
  uint32_t num_logs = 0;
  bool bit29 = false;
};
TraceSettings trace_read_settings();

// The two calls of the trace convention. Use KYT_TRACE rather than calling them directly.
void trace_header(const char* source_file, const char* module, int flag);
void trace_line(const char* topic, int level, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;

// Saves the error numbers, writes through header and line, restores the error numbers.
void trace(const char* source_file, const char* module, const char* topic, int level,
           const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 5, 6)))
#endif
    ;

// Forgets all trace state (switch, settings, open file). Tests only.
void trace_reset_for_tests();

}  // namespace kyt

#define KYT_TRACE(module, topic, level, ...) \
  ::kyt::trace(__FILE__, module, topic, level, __VA_ARGS__)

#endif  // KYT_RUNTIME_TRACE_H
