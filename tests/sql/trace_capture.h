// Switches the line trace on into a private file for the life of the object, so that SQL
// tests can check the lines a refusal writes.
#ifndef KYT_TESTS_SQL_TRACE_CAPTURE_H
#define KYT_TESTS_SQL_TRACE_CAPTURE_H

#include <string>

#include "runtime/runtime.h"
#include "testutil.h"

namespace kyt::test {

class TraceCapture {
 public:
  TraceCapture() {
    file() = dir_.file("diag.log");
    trace_reset_for_tests();
    trace_set_env_source({lookup, nullptr});
    trace_set_switch(1);
  }
  ~TraceCapture() { trace_reset_for_tests(); }
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;

  std::string text() const { return read_file(dir_.file("diag.log")); }
  bool has(const std::string& line_text) const {
    return text().find(line_text) != std::string::npos;
  }

 private:
  static std::string& file() {
    static std::string f;
    return f;
  }
  static bool lookup(const char* key, std::string* value) {
    std::string k = key;
    if (k == "DSN_DIAG")
      *value = file();
    else if (k == "DBG_LVL")
      *value = "0x0fffffff";  // every level, not copied to stderr
    else
      return false;
    return true;
  }
  TempDir dir_;
};

}  // namespace kyt::test

#endif  // KYT_TESTS_SQL_TRACE_CAPTURE_H
