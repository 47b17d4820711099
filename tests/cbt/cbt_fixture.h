// Shared set-up of the B-tree tests: a fresh layer per test and a private directory.
#ifndef KYT_TESTS_CBT_CBT_FIXTURE_H
#define KYT_TESTS_CBT_CBT_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "cbt/cbt.h"
#include "platform/platform.h"
#include "testutil.h"

namespace kyt::test {

// Current key of a cursor as a string.
inline std::string cursor_key(CbCursor* c) {
  int len = 0;
  if (cbkeylen(c, &len) != 1) return "<none>";
  std::string k(static_cast<size_t>(len) + 1, '\0');
  cbkey(c, k.data(), len + 1);
  k.resize(static_cast<size_t>(len));
  return k;
}

class CbtFixture : public ::testing::Test {
 protected:
  void SetUp() override { cb_reset_for_tests(); }
  void TearDown() override { cb_reset_for_tests(); }

  std::string path(const char* name) const { return dir_.file(name); }

 public:
  // Reads block `n` of a file of `bsize`-byte blocks (the file may be open: bytes 0..3 of
  // block 0 are locked on Windows, so block 0 is read from byte 4 on).
  static std::string block(const std::string& file, uint32_t n, int bsize) {
    platform::File f;
    if (!f.open(file.c_str(), platform::OpenMode::kRead)) return {};
    std::string b(static_cast<size_t>(bsize), '\0');
    int skip = n == 0 ? 4 : 0;
    f.read_at(b.data() + skip, b.size() - skip, static_cast<int64_t>(n) * bsize + skip);
    return b;
  }
  static uint32_t word(const std::string& b, size_t off) {
    return static_cast<uint32_t>(static_cast<uint8_t>(b[off])) |
           static_cast<uint32_t>(static_cast<uint8_t>(b[off + 1])) << 8 |
           static_cast<uint32_t>(static_cast<uint8_t>(b[off + 2])) << 16 |
           static_cast<uint32_t>(static_cast<uint8_t>(b[off + 3])) << 24;
  }
  // Overwrites bytes of a closed file.
  static void patch(const std::string& file, int64_t off, const std::string& bytes) {
    platform::File f;
    ASSERT_TRUE(f.open(file.c_str(), platform::OpenMode::kReadWrite));
    ASSERT_EQ(f.write_at(bytes.data(), bytes.size(), off), static_cast<int64_t>(bytes.size()));
  }
  static std::string le(uint32_t v) {
    std::string s(4, '\0');
    for (int i = 0; i < 4; ++i) s[i] = static_cast<char>((v >> (8 * i)) & 0xFF);
    return s;
  }
  static std::string key_of(CbCursor* c) { return cursor_key(c); }
  static int insert(CbCursor* c, const std::string& k, int32_t d, int dups = 1) {
    return cbinsert(c, k.data(), static_cast<int>(k.size()), d, dups);
  }
  static int erase(CbCursor* c, const std::string& k, int32_t d) {
    return cbdelete(c, k.data(), static_cast<int>(k.size()), d);
  }
  static void expect_sound(CbCursor* c) {
    std::string why;
    EXPECT_EQ(cbcheck(c, &why), 1) << why;
  }

 protected:
  TempDir dir_;
};

}  // namespace kyt::test

#endif  // KYT_TESTS_CBT_CBT_FIXTURE_H
