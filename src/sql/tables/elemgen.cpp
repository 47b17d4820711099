// elemgen: the element records of the station tables, written from the table description.
#include "sql/tables/elemgen.h"

#include <cctype>
#include <cstring>

#include "sql/schema.h"

namespace kyt {

namespace {

std::string lower(const char* s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

std::string type_comment(const COLDEF& c) {
  std::string t = is_dt_column(c) ? std::string("INTEGER as date-time text") : col_type_text(c);
  if (c.not_null) t += " NOT NULL";
  if (c.key > 0) t += ", key " + std::to_string(c.key);
  return t;
}

}  // namespace

bool is_dt_column(const COLDEF& c) {
  return c.type == kTypeInteger && std::strncmp(c.s_colname, "DT", 2) == 0;
}

std::string elem_member_name(const char* colname) {
  std::string m = lower(colname);
  if (m == "errno") m += '_';
  return m;
}

size_t elem_member_size(const COLDEF& c) {
  if (is_dt_column(c)) return kElemDtSize;
  switch (c.type) {
    case kTypeChar:
      return static_cast<size_t>(c.width);
    case kTypeSmallint:
      return 2;
    case kTypeFloat:
      return 8;
    default:
      return 4;
  }
}

std::string elem_header_text() {
  std::string h =
      "/*\n"
      " * kyt_elem.h - element records of the station tables, one struct per table.\n"
      " *\n"
      " * Generated from the library's table description; do not edit. The unit test\n"
      " * ElemRecords fails when this file and the description differ; to write it anew run\n"
      " *   KYT_REGEN_ELEM=1 out/linux/tests/kyt_tests --gtest_filter='ElemRecords.*'\n"
      " *\n"
      " * The rule: struct kyt_<tt>_elem, tt the table name in lower case; one member a column,\n"
      " * in column order, named by the column in lower case; CHAR(n) as char[n] (text of up to\n"
      " * n-1 characters and its zero byte), SMALLINT int16_t, INTEGER int32_t, date-time\n"
      " * columns (INTEGER columns named DT...) char[20] holding the date-time text\n"
      " * \"YYYY/MM/DD hh:mm:ss\" in local time (the empty text: not set); last the member next,\n"
      " * which chains the elements of a list result. One name differs from the rule: the\n"
      " * column ERRNO is the member errno_, since errno is a macro of <errno.h>.\n"
      " *\n"
      " * Stands alone (it needs only <stdint.h>); kyt.h does not include it.\n"
      " */\n"
      "#ifndef KYT_KYT_ELEM_H\n"
      "#define KYT_KYT_ELEM_H\n"
      "\n"
      "#include <stdint.h>\n"
      "\n"
      "#ifdef __cplusplus\n"
      "extern \"C\" {\n"
      "#endif\n";
  for (const SchemaTable& t : station_schema()) {
    const std::string tt = lower(t.name);
    h += "\n/* " + std::string(t.name) + " */\n";
    h += "typedef struct kyt_" + tt + "_elem {\n";
    for (const COLDEF& c : t.cols) {
      std::string decl;
      const std::string m = elem_member_name(c.s_colname);
      if (is_dt_column(c))
        decl = "char " + m + "[" + std::to_string(kElemDtSize) + "];";
      else if (c.type == kTypeChar)
        decl = "char " + m + "[" + std::to_string(c.width) + "];";
      else if (c.type == kTypeSmallint)
        decl = "int16_t " + m + ";";
      else if (c.type == kTypeFloat)
        decl = "double " + m + ";";
      else
        decl = "int32_t " + m + ";";
      decl = "  " + decl;
      if (decl.size() < 30) decl.resize(30, ' ');
      h += decl + " /* " + type_comment(c) + " */\n";
    }
    h += "  struct kyt_" + tt + "_elem *next;\n";
    h += "} kyt_" + tt + "_elem;\n";
  }
  h +=
      "\n"
      "#ifdef __cplusplus\n"
      "}\n"
      "#endif\n"
      "\n"
      "#endif /* KYT_KYT_ELEM_H */\n";
  return h;
}

std::string elem_layout_text() {
  std::string s =
      "// elem_layout.inc: the members of the element records, one line a column in column\n"
      "// order, for the table modules. Generated beside include/kyt/kyt_elem.h (see elemgen.h);\n"
      "// do not edit. Each table: KYT_ELEM_BEGIN(tt, TT), KYT_ELEM_MEMBER(tt, member, bytes)\n"
      "// per column, KYT_ELEM_END(tt).\n";
  for (const SchemaTable& t : station_schema()) {
    const std::string tt = lower(t.name);
    s += "KYT_ELEM_BEGIN(" + tt + ", " + t.name + ")\n";
    for (const COLDEF& c : t.cols) {
      s += "KYT_ELEM_MEMBER(" + tt + ", " + elem_member_name(c.s_colname) + ", " +
           std::to_string(elem_member_size(c)) + ")\n";
    }
    s += "KYT_ELEM_END(" + tt + ")\n";
  }
  return s;
}

}  // namespace kyt
