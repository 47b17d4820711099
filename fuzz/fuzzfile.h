// Whole-file reading and writing for the fuzz targets that damage database files: the bytes
// of a file as made once, and those bytes changed, written back in place.
#ifndef KYT_FUZZ_FUZZFILE_H
#define KYT_FUZZ_FUZZFILE_H

#include <cstdio>
#include <string>

namespace kyt::fuzz {

// The file's bytes; empty when it cannot be read.
inline std::string slurp(const std::string& name) {
  std::string s;
  std::FILE* f = std::fopen(name.c_str(), "rb");
  if (f == nullptr) return s;
  char buf[4096];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) s.append(buf, n);
  std::fclose(f);
  return s;
}

// Replaces the file's bytes (a file that cannot be opened is left as it is).
inline void spill(const std::string& name, const std::string& bytes) {
  std::FILE* f = std::fopen(name.c_str(), "wb");
  if (f == nullptr) return;
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);
}

}  // namespace kyt::fuzz

#endif
