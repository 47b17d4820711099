// The buffered folds must give exactly what the plain record-by-record loop over
// fread/feof gives, wherever the reads of the input happen to split the bytes.
#include "fold/kytfold.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>

namespace kyt::fold {
namespace {

// Hands out its bytes in chunks of varying size, as pipes and short reads do.
class ChunkSource : public Source {
 public:
  // fail_at: the first fill that would hand out bytes beyond it fails (-1).
  ChunkSource(std::string bytes, unsigned seed, size_t fail_at = SIZE_MAX)
      : bytes_(std::move(bytes)), rng_(seed), fail_at_(fail_at) {}
  size_t pos() const { return pos_; }
  int64_t fill(void* buf, size_t n) override {
    if (pos_ >= fail_at_) return -1;
    size_t left = std::min(bytes_.size(), fail_at_) - pos_;
    size_t take = std::min({n, left, static_cast<size_t>(rng_() % 70000 + 1)});
    std::copy_n(bytes_.data() + pos_, take, static_cast<char*>(buf));
    pos_ += take;
    return static_cast<int64_t>(take);
  }

 private:
  std::string bytes_;
  size_t pos_ = 0;
  std::mt19937 rng_;
  size_t fail_at_;
};

// Takes up to `room` bytes, as a disk with that much free space; a write beyond it fails
// whole (the file system's partial write is retried by the platform layer until it fails).
class StringSink : public Sink {
 public:
  explicit StringSink(size_t room = SIZE_MAX) : room_(room) {}
  bool put(const void* buf, size_t n) override {
    ++puts;
    if (n > room_ - out.size()) return false;
    out.append(static_cast<const char*>(buf), n);
    return true;
  }
  std::string out;
  int puts = 0;

 private:
  size_t room_;
};

// The fold as the command was first written, one fread per record.
std::string reference_fixed(const std::string& in, size_t n) {
  std::string out;
  for (size_t pos = 0; pos + n <= in.size(); pos += n) out += in.substr(pos, n) + "\r\n";
  return out;
}

int reference_variable(const std::string& in, std::string* out) {
  size_t pos = 0;
  while (pos + 2 <= in.size()) {
    uint16_t len = static_cast<uint16_t>(((static_cast<unsigned char>(in[pos]) << 8) |
                                          static_cast<unsigned char>(in[pos + 1])) - 2);
    pos += 2;
    if (len > kMaxRecord || pos + len > in.size()) return kMismatch;
    *out += in.substr(pos, len) + "\r\n";
    pos += len;
  }
  return kOk;
}

std::string random_bytes(std::mt19937& rng, size_t n) {
  std::string s(n, '\0');
  for (char& c : s) c = static_cast<char>(rng());
  return s;
}

TEST(Kytfold, FixedFoldMatchesRecordByRecordLoop) {
  std::mt19937 rng(7);
  for (int round = 0; round < 40; ++round) {
    const int32_t width = round < 4 ? std::vector<int32_t>{1, 80, 32998, 1000}[round]
                                    : static_cast<int32_t>(rng() % 3000 + 1);
    const std::string in = random_bytes(rng, rng() % 300000);
    ChunkSource src(in, round);
    StringSink sink;
    ASSERT_EQ(fold_fixed_stream(src, sink, width), kOk);
    ASSERT_EQ(sink.out, reference_fixed(in, static_cast<size_t>(width))) << "width " << width;
  }
  ChunkSource src("abc", 1);
  StringSink sink;
  EXPECT_EQ(fold_fixed_stream(src, sink, 0), kUsage);
  EXPECT_EQ(fold_fixed_stream(src, sink, kMaxRecord + 1), kUsage);
}

TEST(Kytfold, VariableFoldMatchesRecordByRecordLoop) {
  std::mt19937 rng(11);
  for (int round = 0; round < 60; ++round) {
    std::string in;
    const int records = static_cast<int>(rng() % 400);
    for (int r = 0; r < records; ++r) {
      size_t len = rng() % 5 == 0 ? rng() % 32999 : rng() % 200;
      in += static_cast<char>((len + 2) >> 8);
      in += static_cast<char>((len + 2) & 0xFF);
      in += random_bytes(rng, len);
    }
    switch (round % 4) {  // damage some files at the end
      case 1: in.resize(in.size() - std::min<size_t>(in.size(), rng() % 50)); break;
      case 2: in += static_cast<char>(rng()); break;  // one stray byte is accepted
      case 3: in += std::string("\x00\x01", 2); break;  // wraps to 65535 data bytes
      default: break;
    }
    std::string expected;
    const int want = reference_variable(in, &expected);
    ChunkSource src(in, round);
    StringSink sink;
    Mismatch m;
    ASSERT_EQ(fold_variable_stream(src, sink, &m), want) << "round " << round;
    if (want == kOk) {
      ASSERT_EQ(sink.out, expected);
    }
    if (round % 4 == 3) {
      EXPECT_EQ(m.iRecLen, 65535);
    }
  }
}

TEST(Kytfold, VariableMismatchReportsWhatWasRead) {
  StringSink sink;
  Mismatch m;
  ChunkSource shortrec(std::string("\x00\x07" "ab", 4), 3);
  EXPECT_EQ(fold_variable_stream(shortrec, sink, &m), kMismatch);
  EXPECT_FALSE(m.length_word);
  EXPECT_EQ(m.iRead, 2);
  EXPECT_EQ(m.iRecLen, 5);
  ChunkSource zero(std::string("\x00\x00", 2), 3);
  EXPECT_EQ(fold_variable_stream(zero, sink, &m), kMismatch);
  EXPECT_EQ(m.iRead, 0);
  EXPECT_EQ(m.iRecLen, 65534);
}

// A read error once ended the fold as the end of the input did (exit 0, output cut short),
// and write errors were not looked at. Each now ends the fold at once with its own code.
TEST(Kytfold, ReadAndWriteFailuresEndTheFold) {
  std::mt19937 rng(5);
  const std::string fixed = random_bytes(rng, 12 << 20);  // more than two I/O buffers
  std::string variable;
  while (variable.size() < (12u << 20)) variable += std::string("\x00\x52", 2) + fixed.substr(0, 80);
  for (size_t fail_at : {size_t{0}, size_t{1}, size_t{81}, size_t{5} << 20}) {
    ChunkSource a(fixed, 1, fail_at);
    StringSink sa;
    EXPECT_EQ(fold_fixed_stream(a, sa, 80), kNoInput) << fail_at;
    ChunkSource b(variable, 1, fail_at);
    StringSink sb;
    Mismatch m;
    EXPECT_EQ(fold_variable_stream(b, sb, &m), kNoInput) << fail_at;
  }
  // The last room is one byte short of the whole output: only the final write fails.
  for (size_t room : {size_t{0}, size_t{100}, size_t{5} << 20, SIZE_MAX}) {
    ChunkSource a(fixed, 2);
    StringSink sa(room == SIZE_MAX ? fixed.size() / 80 * 82 - 1 : room);
    EXPECT_EQ(fold_fixed_stream(a, sa, 80), kNoOutput) << room;
    ChunkSource b(variable, 2);
    StringSink sb(room == SIZE_MAX ? variable.size() - 1 : room);
    Mismatch m;
    EXPECT_EQ(fold_variable_stream(b, sb, &m), kNoOutput) << room;
    if (room < (5u << 20)) {  // the first failed write ends the fold: no more reading
      EXPECT_EQ(sa.puts, 1 + static_cast<int>(sa.out.size() > 0)) << room;
      EXPECT_LT(a.pos(), fixed.size()) << room;
      EXPECT_LT(b.pos(), variable.size()) << room;
    }
  }
  ChunkSource whole(fixed, 3);
  StringSink exact(fixed.size() / 80 * 82);
  EXPECT_EQ(fold_fixed_stream(whole, exact, 80), kOk);
}

}  // namespace
}  // namespace kyt::fold
