#include "platform/platform.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "testutil.h"

namespace kyt::platform {
namespace {

TEST(Platform, FilesReadAndWriteAtSixtyFourBitOffsets) {
  test::TempDir dir;
  const std::string name = dir.file("blocks.dat");
  File f;
  ASSERT_TRUE(f.open(name.c_str(), OpenMode::kCreate));
  const int64_t far = (int64_t{5} << 30) + 3;  // beyond 4 GiB: a sparse file
  ASSERT_EQ(f.write_at("tail", 4, far), 4);
  ASSERT_EQ(f.write_at("head", 4, 0), 4);
  EXPECT_EQ(f.size(), far + 4);
  char buf[8] = {};
  EXPECT_EQ(f.read_at(buf, 4, far), 4);
  EXPECT_EQ(std::string(buf, 4), "tail");
  EXPECT_EQ(f.read_at(buf, 8, far), 4);  // short only at the end of the file
  EXPECT_EQ(f.read_at(buf, 4, 0), 4);
  EXPECT_EQ(std::string(buf, 4), "head");
  f.close();

  File r;
  ASSERT_TRUE(r.open(name.c_str(), OpenMode::kRead));
  EXPECT_EQ(r.write_at("x", 1, 0), -1);
  r.close();
  EXPECT_FALSE(r.open(dir.file("missing").c_str(), OpenMode::kReadWrite));

  File a;
  ASSERT_TRUE(a.open(dir.file("log.txt").c_str(), OpenMode::kAppend));
  a.write("one\n", 4);
  a.close();
  ASSERT_TRUE(a.open(dir.file("log.txt").c_str(), OpenMode::kAppend));
  a.write("two\n", 4);
  a.close();
  EXPECT_EQ(test::read_file(dir.file("log.txt")), "one\ntwo\n");

  EXPECT_TRUE(rename_file(dir.file("log.txt").c_str(), dir.file("old.txt").c_str()));
  EXPECT_FALSE(file_exists(dir.file("log.txt").c_str()));
  EXPECT_EQ(file_size(dir.file("old.txt").c_str()), 8);
  EXPECT_TRUE(is_regular_file(dir.file("old.txt").c_str()));
  EXPECT_FALSE(is_regular_file(dir.path().c_str()));
  EXPECT_TRUE(remove_file(dir.file("old.txt").c_str()));
  EXPECT_EQ(file_size(dir.file("old.txt").c_str()), -1);
  EXPECT_TRUE(make_directory(dir.file("sub").c_str()));
  EXPECT_TRUE(make_directory(dir.file("sub").c_str()));
}

// Identity, not name: a second link and a path with "." parts reach the same file; an equal
// copy, a missing name and a directory against a file do not.
TEST(Platform, SameFileByIdentity) {
  test::TempDir dir;
  const std::string a = dir.file("a.dat"), b = dir.file("b.dat"), link = dir.file("link.dat");
  for (const std::string& name : {a, b}) {
    platform::File f;
    ASSERT_TRUE(f.open(name.c_str(), platform::OpenMode::kCreate));
    ASSERT_EQ(f.write("x", 1), 1);
    EXPECT_TRUE(f.close());
  }
  const std::string dotted = dir.path() + platform::path_separator() + "." +
                             platform::path_separator() + "a.dat";
  EXPECT_TRUE(platform::same_file(a.c_str(), a.c_str()));
  EXPECT_TRUE(platform::same_file(a.c_str(), dotted.c_str()));
  EXPECT_FALSE(platform::same_file(a.c_str(), b.c_str()));
  EXPECT_FALSE(platform::same_file(a.c_str(), dir.file("missing").c_str()));
  EXPECT_FALSE(platform::same_file(dir.file("missing").c_str(), dir.file("missing").c_str()));
  EXPECT_FALSE(platform::same_file(dir.path().c_str(), a.c_str()));
  std::error_code ec;
  std::filesystem::create_hard_link(a, link, ec);
  if (!ec) {
    EXPECT_TRUE(platform::same_file(link.c_str(), a.c_str()));
    EXPECT_FALSE(platform::same_file(link.c_str(), b.c_str()));
  }
}

TEST(Platform, HeaderLockExcludesEveryOtherOpen) {
  test::TempDir dir;
  const std::string name = dir.file("locked.dat");
  File first, second;
  ASSERT_TRUE(first.open(name.c_str(), OpenMode::kCreate));
  first.write_at("0123456789", 10, 0);
  ASSERT_TRUE(first.lock_header());
  ASSERT_TRUE(second.open(name.c_str(), OpenMode::kReadWrite));
  EXPECT_FALSE(second.lock_header());  // same process, other open: refused at once
  char buf[4];
  EXPECT_EQ(second.read_at(buf, 4, 6), 4);  // bytes beyond the lock stay readable
  first.close();
  EXPECT_TRUE(second.lock_header());
  EXPECT_TRUE(second.unlock_header());
}

TEST(Platform, MappedReadsSeeEveryWriteAndStopAtTheEnd) {
  test::TempDir dir;
  const std::string name = dir.file("mapped.dat");
  constexpr int kBlock = 8192;
  std::string block(kBlock, '\0');
  auto fill = [&](int no, char c) {
    std::memset(block.data(), c, kBlock);
    std::memcpy(block.data(), &no, sizeof no);
  };
  File f;
  ASSERT_TRUE(f.open(name.c_str(), OpenMode::kCreate));
  for (int i = 0; i < 4; ++i) {
    fill(i, 'a');
    ASSERT_EQ(f.write_at(block.data(), kBlock, int64_t{i} * kBlock), kBlock);
  }
  f.map_reads();
  std::string got(kBlock, '\0');
  // Enough reads that the file is mapped (where the system maps at all).
  for (int round = 0; round < 100; ++round) {
    ASSERT_EQ(f.read_at(got.data(), kBlock, int64_t{round % 4} * kBlock), kBlock);
    fill(round % 4, 'a');
    ASSERT_EQ(got, block);
  }
  // A block changed and one appended after the mapping was made are read as written.
  fill(2, 'b');
  ASSERT_EQ(f.write_at(block.data(), kBlock, 2 * kBlock), kBlock);
  ASSERT_EQ(f.read_at(got.data(), kBlock, 2 * kBlock), kBlock);
  EXPECT_EQ(got, block);
  fill(4, 'c');
  ASSERT_EQ(f.write_at(block.data(), kBlock, 4 * kBlock), kBlock);
  ASSERT_EQ(f.read_at(got.data(), kBlock, 4 * kBlock), kBlock);
  EXPECT_EQ(got, block);
  // Past the end a read is short or empty, never a fault.
  EXPECT_EQ(f.read_at(got.data(), kBlock, 4 * kBlock + 100), kBlock - 100);
  EXPECT_EQ(f.read_at(got.data(), kBlock, 5 * kBlock), 0);
  // Far beyond the first mapping's reach: the file grows, and the block is still found.
  const int64_t far = int64_t{3000} * kBlock;
  fill(3000, 'd');
  ASSERT_EQ(f.write_at(block.data(), kBlock, far), kBlock);
  ASSERT_EQ(f.read_at(got.data(), kBlock, far), kBlock);
  EXPECT_EQ(got, block);
  ASSERT_EQ(f.read_at(got.data(), 4, far - 4), 4);  // the sparse stretch reads as zeros
  EXPECT_EQ(got.substr(0, 4), std::string(4, '\0'));
  // What was written through the mapped File is in the file for every other reader.
  File other;
  ASSERT_TRUE(other.open(name.c_str(), OpenMode::kRead));
  ASSERT_EQ(other.read_at(got.data(), kBlock, 2 * kBlock), kBlock);
  fill(2, 'b');
  EXPECT_EQ(got, block);
  // A moved File keeps reading; the one moved from is closed.
  File moved(std::move(f));
  EXPECT_FALSE(f.is_open());
  ASSERT_EQ(moved.read_at(got.data(), kBlock, far), kBlock);
  fill(3000, 'd');
  EXPECT_EQ(got, block);
}

TEST(Platform, ProcessEnvironmentAndTime) {
  EXPECT_NE(process_id(), 0u);
  EXPECT_GT(now_seconds(), 1700000000);
  LocalTime lt{};
  ASSERT_TRUE(local_time(now_seconds(), &lt));
  EXPECT_GE(lt.year, 2023);
  EXPECT_TRUE(lt.month >= 1 && lt.month <= 12);

  std::string v;
  ASSERT_TRUE(set_env("KYT_PLATFORM_TEST", "value 1"));
  ASSERT_TRUE(get_env("KYT_PLATFORM_TEST", &v));
  EXPECT_EQ(v, "value 1");
  EXPECT_STREQ(getenv("KYT_PLATFORM_TEST"), "value 1");
  ASSERT_TRUE(set_env("KYT_PLATFORM_TEST", nullptr));
  EXPECT_FALSE(get_env("KYT_PLATFORM_TEST", &v));

  std::string abs;
  ASSERT_TRUE(absolute_path("x", &abs));
  EXPECT_GT(abs.size(), 2u);
  EXPECT_EQ(abs.back(), 'x');
  EXPECT_FALSE(temp_directory().empty());
}

}  // namespace
}  // namespace kyt::platform
