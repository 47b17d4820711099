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

// --- date-time texts ---------------------------------------------------------------------
// A dump converts every date-time column of every row, both ways; the conversions of rpxdt
// go through the C library's local time each time. Away from a change of the clock, the
// local time is the instant plus an offset that stays the same for hours, so the offset of
// each hour is asked for once and the text computed from it. Near a change (an offset that
// differs anywhere within three hours) every value takes the library's way.

// Days since 1970-01-01 of a civil date, and back (proleptic Gregorian).
constexpr int64_t days_from_civil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2 ? 1 : 0;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}
void civil_from_days(int64_t z, int64_t* y, int64_t* m, int64_t* d) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  *d = doy - (153 * mp + 2) / 5 + 1;
  *m = mp + (mp < 10 ? 3 : -9);
  *y = yoe + era * 400 + (*m <= 2 ? 1 : 0);
}
constexpr int64_t kEpochDays = days_from_civil(2000, 1, 1);

// Local civil seconds since 2000-01-01 00:00:00 of a text "YYYY/MM/DD hh:mm:ss" with every
// field in its range; false for anything else.
bool parse_local(std::string_view t, int64_t* local) {
  if (t.size() != 19 || t[4] != '/' || t[7] != '/' || t[10] != ' ' || t[13] != ':' ||
      t[16] != ':')
    return false;
  auto num = [&](size_t at, size_t n, int64_t* v) {
    *v = 0;
    for (size_t i = at; i < at + n; ++i) {
      if (t[i] < '0' || t[i] > '9') return false;
      *v = *v * 10 + (t[i] - '0');
    }
    return true;
  };
  int64_t y, mo, d, h, mi, se;
  if (!num(0, 4, &y) || !num(5, 2, &mo) || !num(8, 2, &d) || !num(11, 2, &h) ||
      !num(14, 2, &mi) || !num(17, 2, &se))
    return false;
  if (mo < 1 || mo > 12 || d < 1 || h > 23 || mi > 59 || se > 59) return false;
  const bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (d > kDays[mo - 1] + (mo == 2 && leap ? 1 : 0)) return false;
  *local = (days_from_civil(y, mo, d) - kEpochDays) * 86400 + h * 3600 + mi * 60 + se;
  return true;
}

void format_local(int64_t local, char out[20]) {
  int64_t days = local / 86400, rest = local % 86400;
  if (rest < 0) {
    rest += 86400;
    --days;
  }
  int64_t y, m, d;
  civil_from_days(days + kEpochDays, &y, &m, &d);
  auto put = [&](size_t at, size_t n, int64_t v) {
    for (size_t i = at + n; i-- > at;) {
      out[i] = static_cast<char>('0' + v % 10);
      v /= 10;
    }
  };
  put(0, 4, y);
  out[4] = '/';
  put(5, 2, m);
  out[7] = '/';
  put(8, 2, d);
  out[10] = ' ';
  put(11, 2, rest / 3600);
  out[13] = ':';
  put(14, 2, rest / 60 % 60);
  out[16] = ':';
  put(17, 2, rest % 60);
  out[19] = '\0';
}

// Local time minus the instant at instant v, through rpxdt.
bool offset_at(int64_t v, int64_t* off) {
  if (v < INT32_MIN || v > INT32_MAX) return false;
  char text[32];
  int64_t local = 0;
  if (dt_from_stored(static_cast<int32_t>(v), text, sizeof text) != 0 ||
      !parse_local(text, &local))
    return false;
  *off = local - v;
  return true;
}

int64_t floor_div(int64_t a, int64_t b) { return a / b - ((a % b != 0 && (a < 0) != (b < 0)) ? 1 : 0); }

// The offset of the hour `h` (instants h*3600 .. h*3600+3599) when it is the same from three
// hours before to three hours after.
bool steady_offset(int64_t h, int64_t* off) {
  struct Entry {
    int64_t h = INT64_MIN;
    int64_t off = 0;
    bool steady = false;
  };
  static Entry cache[256];
  Entry& e = cache[static_cast<uint64_t>(h) & 255];
  if (e.h != h) {
    e.h = h;
    e.steady = offset_at(h * 3600, &e.off);
    for (int64_t k = -3; k <= 4 && e.steady; ++k) {
      int64_t o = 0;
      e.steady = offset_at((h + k) * 3600 - (k == 4 ? 1 : 0), &o) && o == e.off;
    }
  }
  *off = e.off;
  return e.steady;
}

// The date-time text of a stored instant that reads back as the same instant; false when
// there is none (the number is then written).
bool dt_text(int64_t v, char out[20]) {
  int64_t off = 0;
  if (steady_offset(floor_div(v, 3600), &off)) {
    format_local(v + off, out);
    return true;
  }
  char text[32];
  int32_t back = 0;
  if (v < INT32_MIN || v > INT32_MAX || dt_from_stored(static_cast<int32_t>(v), text, sizeof text) != 0 ||
      dt_to_stored(text, &back) != 0 || back != v || std::strlen(text) > 19)
    return false;
  std::memcpy(out, text, std::strlen(text) + 1);
  return true;
}

// A date-time text to the stored instant, as dt_to_stored reads it.
int32_t dt_value(const std::string& text, int32_t* v) {
  struct Entry {
    int64_t hl = INT64_MIN;
    int64_t off = 0;
    bool steady = false;
  };
  static Entry cache[256];
  int64_t local = 0;
  if (!parse_local(text, &local)) return dt_to_stored(text.c_str(), v);
  const int64_t hl = floor_div(local, 3600);
  Entry& e = cache[static_cast<uint64_t>(hl) & 255];
  if (e.hl != hl) {
    e.hl = hl;
    e.steady = false;
    int32_t exact = 0;
    const int32_t rc = dt_to_stored(text.c_str(), &exact);
    if (rc != 0) return rc;
    int64_t off = 0;
    // The local hour maps to instants of one steady offset: every text of it converts alike.
    if (steady_offset(floor_div(exact, 3600), &off) && local - off == exact &&
        steady_offset(floor_div(exact, 3600) - 1, &off) &&
        steady_offset(floor_div(exact, 3600) + 1, &off)) {
      e.off = local - exact;
      e.steady = true;
    }
  }
  if (!e.steady) return dt_to_stored(text.c_str(), v);
  const int64_t r = local - e.off;
  if (r < INT32_MIN || r > INT32_MAX) return dt_to_stored(text.c_str(), v);
  *v = static_cast<int32_t>(r);
  return 0;
}

}  // namespace

bool dump_dt_text(int32_t value, std::string* out) {
  char text[20];
  if (value == 0) {
    out->clear();
    return true;
  }
  if (!dt_text(value, text)) return false;
  out->assign(text);
  return true;
}

int32_t dump_dt_value(const std::string& text, int32_t* value) {
  if (text.empty()) {
    *value = 0;
    return 0;
  }
  return dt_value(text, value);
}

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
      char text[20];
      if (read_decimal(v, INT32_MIN, INT32_MAX, &n) && n == 0) {
        // 0: not set, the empty text
      } else if (read_decimal(v, INT32_MIN, INT32_MAX, &n) && dt_text(n, text)) {
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
    if (dt_value(text, &v) != 0) {
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
