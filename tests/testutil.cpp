#include "testutil.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

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

}  // namespace kyt::test
