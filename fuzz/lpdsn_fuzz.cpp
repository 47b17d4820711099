// Arbitrary bytes as an environment file: reading, parsing, defaults and dataset names must
// answer a code, never crash or read outside their buffers.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "platform/platform.h"
#include "runtime/lpdsn.h"
#include "runtime/trace.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string dir = kyt::platform::make_temp_directory("kytfuzz");
  static const std::string file = dir + "/kytenv.dat";
  std::FILE* f = std::fopen(file.c_str(), "wb");
  if (f == nullptr) return 0;
  std::fwrite(data, 1, size, f);
  std::fclose(f);
  int rc = kyt::lpdsn_init_file(file);
  std::string value;
  kyt::lpdsn_get("DSN_DIAG", &value);
  (void)kyt::lpdsn_listing();
  if (rc == 0 && kyt::lpdsn_get("PATH", &value) != 0) __builtin_trap();
  kyt::trace_reset_for_tests();  // a DEBUG setting must not leave tracing on for the next input
  return 0;
}
