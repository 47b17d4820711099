// Arbitrary bytes as a message catalogue file: reading must take or refuse each line, never
// crash or read outside its buffers, and every built-in key must still give a text.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/platform.h"
#include "runtime/lpdsn.h"
#include "runtime/msgcat.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string dir = kyt::platform::make_temp_directory("kytfuzzmsg");
  static bool ready = false;
  if (!ready) {
    const std::string env = dir + "/kytenv.dat";
    std::FILE* e = std::fopen(env.c_str(), "wb");
    if (e == nullptr) return 0;
    const std::string text = "SYSTEM=\"" + dir + "\"\n";
    std::fwrite(text.data(), 1, text.size(), e);
    std::fclose(e);
    if (kyt::lpdsn_init_file(env) != 0) return 0;
    ready = true;
  }
  const std::string file = kyt::msg_catalogue_file('E');
  std::FILE* f = std::fopen(file.c_str(), "wb");
  if (f == nullptr) return 0;
  std::fwrite(data, 1, size, f);
  std::fclose(f);
  kyt::msg_catalogue_reload();
  const std::string_view args[] = {"%1%2%%", std::string_view("\0x", 2)};
  char buf[16];
  for (const kyt::MsgDef& d : kyt::msg_builtin()) {
    kyt::MsgText m;
    if (kyt::msg_get(d.key, args, 'E', &m) != kyt::kMsgOk) __builtin_trap();
    if (std::strchr("IWE", m.severity) == nullptr) __builtin_trap();
    if (kyt::msg_render(d.key, args, 'E', buf, sizeof buf, nullptr) != kyt::kMsgOk) __builtin_trap();
    if (std::memchr(buf, '\0', sizeof buf) == nullptr) __builtin_trap();
  }
  return 0;
}
