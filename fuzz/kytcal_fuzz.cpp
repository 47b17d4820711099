// Arbitrary command lines through kytcal against a station database with its schema and
// parameters: every line ends in a code, the caller's buffer is read only within the given
// length and never written, the message stays within the caller's length and is
// terminated, and the severity is one of the record's letters.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "api/kytcmd.h"
#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "sql/sql.h"

namespace {

bool setup() {
  const std::string dir = kyt::platform::make_temp_directory("kytfuzzcal");
  std::FILE* f = std::fopen((dir + "/kytenv.dat").c_str(), "w");
  if (f != nullptr) std::fclose(f);
  if (kyt::lpdsn_init_file(dir + "/kytenv.dat") != 0) return false;
  kyt::lpdsn_set("DB", dir.c_str());
  if (kyt::rpdsql_run("OPEN DB") != 0 || kyt::isa_create_catalogue() != 0) return false;
  if (rpdini() != 0 || rpdipr(nullptr) != 0) return false;
  kyt::api::set_batch_output([](std::string_view) {});
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool ready = setup();
  if (!ready) std::abort();
  if (size < 1 || size > 4096) return 0;
  // The first byte chooses the caller's message length; the rest is the line, in a buffer
  // of exactly its length so that a read past it is caught.
  const int32_t room = data[0] % 64;
  std::vector<char> line(data + 1, data + size);
  const std::vector<char> copy = line;
  std::vector<char> msg(static_cast<size_t>(room) + 1, '#');
  char severity = 0;
  int32_t msglen = room;
  int32_t cn = -1;
  kytcal(static_cast<int32_t>(line.size()), line.data(), &severity, msg.data(), &msglen, &cn);
  if (line != copy) std::abort();
  if (std::strchr("IWE?", severity) == nullptr || severity == 0) std::abort();
  if (cn < 0 || msglen < 0 || msglen > 200) std::abort();
  if (room > 0 && std::memchr(msg.data(), 0, static_cast<size_t>(room)) == nullptr) std::abort();
  if (msg[static_cast<size_t>(room)] != '#') std::abort();
  return 0;
}
