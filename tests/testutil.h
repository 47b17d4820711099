// Helpers shared by the tests: a private temporary directory, whole-file I/O and second
// processes.
#ifndef KYT_TESTS_TESTUTIL_H
#define KYT_TESTS_TESTUTIL_H

#include <cstdint>
#include <string>
#include <vector>

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

// A second process, as another program of the station would be: this test binary run
// again for one role, the test SecondProcess.<role>, which only does its work when started
// so (in_role) and ends the process with its answer (end_role). It starts from nothing:
// none of this process's open files, locks or module state, only its environment.
// run_role waits for it and returns its exit code (-1 when it could not run); start_role
// returns at once with a handle for platform::wait_process.
int run_role(const std::string& role, const std::vector<std::string>& args = {});
intptr_t start_role(const std::string& role, const std::vector<std::string>& args = {});
// In the test SecondProcess.<role>: true, with the arguments, when this process was started
// for that role; false in an ordinary run of the suite (the test then skips).
bool in_role(const char* role, std::vector<std::string>* args);
// Ends the role's process with `code`, its output written.
[[noreturn]] void end_role(int code);
// Waits until `path` exists: false when it did not come within `seconds`.
bool wait_for_file(const std::string& path, int seconds = 60);

}  // namespace kyt::test

#endif  // KYT_TESTS_TESTUTIL_H
