// Helpers shared by the tests: a private temporary directory and whole-file I/O.
#ifndef KYT_TESTS_TESTUTIL_H
#define KYT_TESTS_TESTUTIL_H

#include <string>

namespace kyt::test {

// A new empty directory, removed with its contents when the object goes.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }
  // path() joined with `name` by the platform's separator.
  std::string file(const std::string& name) const;

 private:
  std::string path_;
};

std::string read_file(const std::string& path);
void write_file(const std::string& path, const std::string& bytes);

}  // namespace kyt::test

#endif  // KYT_TESTS_TESTUTIL_H
