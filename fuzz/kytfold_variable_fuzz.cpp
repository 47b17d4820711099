// Feeds arbitrary bytes to the variable-record fold, split into reads at the places the
// first input byte chooses, which also chooses whether the output fills up (a full disk):
// no crash, no read or write outside its buffers, nothing written after a failed write.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "fold/kytfold.h"

namespace {

class BytesSource : public kyt::fold::Source {
 public:
  BytesSource(const uint8_t* data, size_t size, size_t step) : data_(data), size_(size), step_(step) {}
  int64_t fill(void* buf, size_t n) override {
    size_t take = size_ - pos_;
    if (take > n) take = n;
    if (take > step_) take = step_;
    std::memcpy(buf, data_ + pos_, take);
    pos_ += take;
    return static_cast<int64_t>(take);
  }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t step_;
  size_t pos_ = 0;
};

class CountingSink : public kyt::fold::Sink {
 public:
  explicit CountingSink(size_t room) : room_(room) {}
  bool put(const void* buf, size_t n) override {
    if (failed) __builtin_trap();  // written to after a failure
    if (n > room_ - written) {
      failed = true;
      return false;
    }
    written += n;
    const unsigned char* p = static_cast<const unsigned char*>(buf);
    for (size_t i = 0; i < n; ++i) sum += p[i];
    return true;
  }
  uint64_t sum = 0;
  size_t written = 0;
  bool failed = false;

 private:
  size_t room_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const size_t step = static_cast<size_t>(data[0]) * 7 + 1;
  BytesSource src(data + 1, size - 1, step);
  CountingSink sink((data[0] & 1) != 0 ? step * 31 : SIZE_MAX);
  kyt::fold::Mismatch m;
  int rc = kyt::fold::fold_variable_stream(src, sink, &m);
  if (rc == kyt::fold::kNoOutput ? !sink.failed
                                 : rc != kyt::fold::kOk && rc != kyt::fold::kMismatch) {
    __builtin_trap();
  }
  return 0;
}
