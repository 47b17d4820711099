// How the SQL fuzz targets (fuzz/sql_*_fuzz.cpp) read their input, so that they need no
// corpus directory: the first byte is a control byte.
//   bit 7 set: splice. The next byte picks one of the station's own statements (the seeds),
//              the byte after it a position in that statement; the rest of the input
//              replaces (control & 0x0f) bytes at that position. Without bit 7 the rest of
//              the input is the statement text itself.
//   bit 6 set: the statement pool is limited (to 64 + 8 * the second byte), so that the
//              paths of an exhausted pool run too.
//   bits 4-5:  left to the target.
#ifndef KYT_TESTS_SQL_FUZZ_INPUT_H
#define KYT_TESTS_SQL_FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kyt::fuzz {

struct SqlInput {
  std::string text;
  uint8_t control = 0;
  size_t pool_limit = 0;  // 0: none
};

inline SqlInput sql_input(const uint8_t* data, size_t size, const std::vector<std::string>& seeds) {
  SqlInput in;
  if (size == 0) return in;
  in.control = data[0];
  const char* rest = reinterpret_cast<const char*>(data + 1);
  size_t n = size - 1;
  if ((in.control & 0x40) && n > 0) in.pool_limit = 64 + 8 * static_cast<size_t>(data[1]);
  if ((in.control & 0x80) && n >= 2 && !seeds.empty()) {
    const std::string& seed = seeds[static_cast<uint8_t>(rest[0]) % seeds.size()];
    size_t pos = static_cast<uint8_t>(rest[1]) * seed.size() / 256;
    size_t cut = in.control & 0x0f;
    if (cut > seed.size() - pos) cut = seed.size() - pos;
    in.text = seed.substr(0, pos) + std::string(rest + 2, n - 2) + seed.substr(pos + cut);
  } else {
    in.text.assign(rest, n);
  }
  return in;
}

inline void check(bool ok) {
  if (!ok) __builtin_trap();
}

}  // namespace kyt::fuzz

#endif  // KYT_TESTS_SQL_FUZZ_INPUT_H
