// sqltype: column types and names (see sqltype.h).
#include "sql/sqltype.h"

#include <cstring>

namespace kyt {

namespace {

bool copy_name(std::string_view from, char* to) {
  if (from.size() > kNameMax) {
    to[0] = '\0';
    return false;
  }
  std::memcpy(to, from.data(), from.size());
  to[from.size()] = '\0';
  return true;
}

}  // namespace

bool valid_col_type(int32_t type) {
  return type == kTypeChar || type == kTypeFloat || type == kTypeInteger || type == kTypeSmallint;
}

int16_t type_width(int16_t type, int16_t char_width) {
  switch (type) {
    case kTypeChar:
      return char_width;
    case kTypeFloat:
      return 25;
    case kTypeInteger:
      return 11;
    case kTypeSmallint:
      return 6;
    default:
      return 0;
  }
}

int32_t type_size(int16_t type, int16_t width) {
  switch (type) {
    case kTypeChar:
      return width;
    case kTypeFloat:
      return static_cast<int32_t>(sizeof(double));
    case kTypeInteger:
      return 4;
    case kTypeSmallint:
      return 2;
    default:
      return 0;
  }
}

std::string col_type_text(const COLDEF& c) {
  switch (c.type) {
    case kTypeChar:
      return "CHAR(" + std::to_string(c.width) + ")";
    case kTypeFloat:
      return "FLOAT";
    case kTypeInteger:
      return "INTEGER";
    case kTypeSmallint:
      return "SMALLINT";
    default:
      return "?";
  }
}

bool make_tabspec(std::string_view creator, std::string_view tabname, TABSPEC* ts) {
  *ts = TABSPEC{};
  if (copy_name(creator, ts->s_creator) && copy_name(tabname, ts->s_tabname)) return true;
  *ts = TABSPEC{};
  return false;
}

}  // namespace kyt
