// dsnfmt: safe completion of a dataset name pattern with one number.
#include "runtime/dsnfmt.h"

#include <cstdio>
#include <cstring>

namespace kyt {

std::string dsn_complete(const std::string& pattern, long long value) {
  std::string out;
  bool filled = false;
  size_t i = 0;
  const size_t n = pattern.size();
  while (i < n) {
    char c = pattern[i];
    if (c != '%') {
      out += c;
      ++i;
      continue;
    }
    if (i + 1 < n && pattern[i + 1] == '%') {
      out += '%';
      i += 2;
      continue;
    }
    // Parse one conversion: flags, width, precision, length, type.
    size_t j = i + 1;
    std::string conv = "%";
    while (j < n && std::strchr("-+ 0#", pattern[j]) != nullptr) conv += pattern[j++];
    size_t digits = 0;
    while (j < n && pattern[j] >= '0' && pattern[j] <= '9' && digits < 3) {
      conv += pattern[j++];
      ++digits;
    }
    if (j < n && pattern[j] == '.') {
      conv += pattern[j++];
      digits = 0;
      while (j < n && pattern[j] >= '0' && pattern[j] <= '9' && digits < 3) {
        conv += pattern[j++];
        ++digits;
      }
    }
    while (j < n && pattern[j] == 'l') ++j;
    if (!filled && j < n && std::strchr("diuxX", pattern[j]) != nullptr) {
      char type = pattern[j];
      conv += "ll";
      conv += type;
      char buf[128];
      if (type == 'd' || type == 'i') {
        std::snprintf(buf, sizeof buf, conv.c_str(), value);
      } else {
        std::snprintf(buf, sizeof buf, conv.c_str(), static_cast<unsigned long long>(value));
      }
      out += buf;
      filled = true;
      i = j + 1;
      continue;
    }
    // Not a conversion we fill: keep the bytes as they stand.
    out.append(pattern, i, (j < n ? j + 1 : n) - i);
    i = (j < n ? j + 1 : n);
  }
  return out;
}

std::string dsn_complete_name(const std::string& name, long long value) {
  const size_t sep = name.find_last_of("/\\");
  if (sep == std::string::npos) return dsn_complete(name, value);
  return name.substr(0, sep + 1) + dsn_complete(name.substr(sep + 1), value);
}

}  // namespace kyt
