// dbline: the row lines of a database dump.
#include "api/dbline.h"

#include <cstring>

#include "runtime/runtime.h"

namespace kyt {

namespace {

constexpr char kHex[] = "0123456789ABCDEF";

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

bool needs_escape(unsigned char b) {
  return b == '"' || b == '%' || b < 0x20 || b == 0x7F || b == 0xFF;
}

// A decimal integer as the dump writes it: an optional "-", then digits, nothing else.
bool read_decimal(std::string_view s, int64_t lo, int64_t hi, int64_t* v) {
  size_t i = 0;
  bool neg = false;
  if (i < s.size() && s[i] == '-') {
    neg = true;
    ++i;
  }
  if (i == s.size() || s.size() - i > 11) return false;
  int64_t n = 0;
  for (; i < s.size(); ++i) {
    if (s[i] < '0' || s[i] > '9') return false;
    n = n * 10 + (s[i] - '0');
  }
  if (neg) n = -n;
  if (n < lo || n > hi) return false;
  *v = n;
  return true;
}

}  // namespace

void dump_escape(std::string_view text, std::string* out) {
  for (char c : text) {
    const auto b = static_cast<unsigned char>(c);
    if (needs_escape(b)) {
      out->push_back('%');
      out->push_back(kHex[b >> 4]);
      out->push_back(kHex[b & 15]);
    } else {
      out->push_back(c);
    }
  }
}

bool dump_unescape(std::string_view text, std::string* out) {
  out->clear();
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out->push_back(text[i]);
      continue;
    }
    if (i + 2 >= text.size()) return false;
    const int hi = hex_value(text[i + 1]);
    const int lo = hex_value(text[i + 2]);
    if (hi < 0 || lo < 0) return false;
    out->push_back(static_cast<char>(hi * 16 + lo));
    i += 2;
  }
  return true;
}

bool is_dt_col(const COLDEF& c) {
  return c.type == kTypeInteger &&
         (std::strncmp(c.s_colname, "DT", 2) == 0 || std::strcmp(c.s_colname, "DBDATE") == 0);
}

void dump_row_line(const SchemaTable& t, const RowTexts& row, std::string* out,
                   bool station_form) {
  const bool op_form = station_form && std::strcmp(t.name, "OP") == 0;
  const bool tr = std::strcmp(t.name, "TR") == 0;
  out->append(t.name);
  if (op_form) out->push_back(':');
  int written = 0;
  for (size_t i = 0; i < t.cols.size() && i < row.size(); ++i) {
    const COLDEF& c = t.cols[i];
    if (!row[i]) continue;  // null
    if (op_form && written > 0 && written < 4) out->push_back(',');
    out->push_back(' ');
    if (tr && std::strcmp(c.s_colname, "SIDNEIGHB") == 0) out->push_back(' ');
    out->append(c.s_colname);
    out->append("=\"");
    const std::string& v = *row[i];
    if (c.type == kTypeChar) {
      dump_escape(v, out);
    } else if (is_dt_col(c)) {
      int64_t n = 0;
      char text[32];
      int32_t back = 0;
      if (read_decimal(v, INT32_MIN, INT32_MAX, &n) &&
          dt_from_stored(static_cast<int32_t>(n), text, sizeof text) == 0 &&
          dt_to_stored(text, &back) == 0 && back == n) {
        out->append(text);
      } else {
        out->append(v);  // the number itself
      }
    } else {
      out->append(v);
    }
    out->push_back('"');
    ++written;
  }
}

std::string dump_syntax(const SchemaTable& t) {
  std::string s = t.name;
  s += ": 0-99";
  for (const COLDEF& c : t.cols) {
    s += ' ';
    s += c.s_colname;
  }
  return s;
}

bool dump_read_value(const COLDEF& c, std::string_view value, std::string* out, int64_t* number,
                     std::string* why) {
  if (c.type == kTypeChar) {
    if (!dump_unescape(value, out)) {
      *why = "a \"%\" not followed by two hexadecimal digits";
      return false;
    }
    if (out->find('\0') != std::string::npos) {
      *why = "a zero byte in a text";
      return false;
    }
    if (out->size() > static_cast<size_t>(c.width > 0 ? c.width - 1 : 0)) {
      *why = "a text longer than the column holds";
      return false;
    }
    return true;
  }
  int64_t lo = INT32_MIN, hi = INT32_MAX;
  if (c.type == kTypeSmallint) {
    lo = INT16_MIN;
    hi = INT16_MAX;
  }
  if (is_dt_col(c) && value.find('/') != std::string_view::npos) {
    const std::string text(value);
    int32_t v = 0;
    if (dt_to_stored(text.c_str(), &v) != 0) {
      *why = "not a date-time text";
      return false;
    }
    *number = v;
  } else if (is_dt_col(c) && value.empty()) {
    *number = 0;
  } else if (c.type == kTypeFloat || !read_decimal(value, lo, hi, number)) {
    *why = "not a number of the column's range";
    return false;
  }
  *out = std::to_string(*number);
  return true;
}

}  // namespace kyt
