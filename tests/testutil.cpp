#include "testutil.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "platform/platform.h"

namespace kyt::test {

TempDir::TempDir() : path_(platform::make_temp_directory("kyttest")) {
  if (path_.empty()) throw std::runtime_error("cannot create a temporary directory");
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

std::string TempDir::file(const std::string& name) const {
  return path_ + platform::path_separator() + name;
}

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

namespace {
constexpr const char* kRoleVar = "KYT_TEST_ROLE";
constexpr const char* kArgsVar = "KYT_TEST_ROLE_ARGS";
constexpr char kArgSeparator = '\x1f';  // never in a path or a statement of the tests
}  // namespace

intptr_t start_role(const std::string& role, const std::vector<std::string>& args) {
  std::string joined;
  for (size_t i = 0; i < args.size(); ++i) {
    if (i > 0) joined += kArgSeparator;
    joined += args[i];
  }
  // The environment carries the role: the child inherits it at its start.
  platform::set_env(kRoleVar, role.c_str());
  platform::set_env(kArgsVar, joined.c_str());
  const intptr_t process = platform::start_process(
      {platform::executable_path(), "--gtest_filter=SecondProcess." + role, "--gtest_brief=1"});
  platform::set_env(kRoleVar, nullptr);
  platform::set_env(kArgsVar, nullptr);
  return process;
}

int run_role(const std::string& role, const std::vector<std::string>& args) {
  const intptr_t process = start_role(role, args);
  return process == -1 ? -1 : platform::wait_process(process);
}

bool in_role(const char* role, std::vector<std::string>* args) {
  std::string name, joined;
  if (!platform::get_env(kRoleVar, &name) || name != role) return false;
  platform::get_env(kArgsVar, &joined);
  args->clear();
  size_t pos = 0;
  for (;;) {
    const size_t end = joined.find(kArgSeparator, pos);
    args->push_back(joined.substr(pos, end == std::string::npos ? std::string::npos : end - pos));
    if (end == std::string::npos) break;
    pos = end + 1;
  }
  return true;
}

void end_role(int code) {
  std::fflush(nullptr);
  std::exit(code);
}

bool wait_for_file(const std::string& path, int seconds) {
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (!platform::file_exists(path.c_str())) {
    if (std::chrono::steady_clock::now() > until) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace kyt::test
