// Fuzz target of the date-time and interval texts: every operation of rpxdt gets texts made
// of arbitrary bytes, an arbitrary number and factor, and output buffers of every small size.
//
// Input layout: byte 0 the output size (0..63), bytes 1..8 the number, bytes 9..16 the factor
// (raw bits, so NaN and infinities come too), the rest the two texts, split at the first NUL.
// A rest longer than the longest readable text is also handed over without any terminator:
// no operation may read beyond kDtMaxText + 1 bytes of it.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "runtime/rpxdt.h"

namespace {

void run_all(const char* t1, const char* t2, int64_t value, double factor, size_t out_size) {
  // An exact-size heap buffer, so that a write beyond out_size is caught.
  std::unique_ptr<char[]> out(new char[out_size == 0 ? 1 : out_size]);
  for (int op = -2; op <= kyt::kDtOpLast + 2; ++op) {
    kyt::RpxdtArgs a{t1, t2, out_size == 0 ? nullptr : out.get(), out_size, value, factor};
    const int32_t rc = kyt::rpxdt(static_cast<int16_t>(op), &a);
    if (rc == 0 && out_size > 0 && std::memchr(out.get(), '\0', out_size) == nullptr)
      __builtin_trap();
  }
  std::tm tm{};
  int64_t seconds = 0;
  (void)kyt::dt_to_tm(t1, &tm, &seconds);
  char text[kyt::kDtTextSize];
  int32_t stored = 0;
  if (kyt::dt_to_stored(t1, &stored) == 0) (void)kyt::dt_from_stored(stored, text, sizeof text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 17) return 0;
  const size_t out_size = data[0] % 64;
  int64_t value = 0;
  double factor = 0;
  std::memcpy(&value, data + 1, sizeof value);
  std::memcpy(&factor, data + 9, sizeof factor);
  const std::string rest(reinterpret_cast<const char*>(data + 17), size - 17);
  const size_t cut = rest.find('\0');
  const std::string t1 = rest.substr(0, cut);
  const std::string t2 = cut == std::string::npos ? std::string() : rest.substr(cut + 1);
  run_all(t1.c_str(), t2.c_str(), value, factor, out_size);
  run_all(t1.c_str(), nullptr, value, factor, out_size);
  if (rest.size() > kyt::kDtMaxText + 1 && cut == std::string::npos) {
    std::unique_ptr<char[]> raw(new char[rest.size()]);
    std::memcpy(raw.get(), rest.data(), rest.size());
    run_all(raw.get(), raw.get(), value, factor, out_size);
  }
  return 0;
}
