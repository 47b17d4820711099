// Text equality, decided on the field's bytes, against the ordering comparisons that
// measure both sides: a = b exactly when a <= b and a >= b.
#include "sql/isaval.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "sql/isatab.h"
#include "sql/stmt.h"

namespace kyt {
namespace {

EXPR leaf_column(const COLDESC* c) {
  EXPR e{};
  e.flags = kExprColumn;
  e.param = -1;
  e.col.p_col = c;
  return e;
}

EXPR leaf_text(const char* s, int len) {
  EXPR e{};
  e.flags = kExprValue;
  e.param = -1;
  e.value.type = kTypeChar;
  e.value.len = len;
  e.value.val.s = s;
  return e;
}

bool eval(uint32_t op, EXPR* l, EXPR* r, const char* field, const COLDESC*) {
  EXPR e{};
  e.flags = op;
  e.left = l;
  e.right = r;
  const char* fields[1] = {field};
  return eval_bool(&e, RowView{nullptr, fields});
}

TEST(IsavalText, EqualityAgreesWithOrderingOnEveryShape) {
  COLDESC c{};
  std::strcpy(c.s_colname, "STATUS");
  c.colno = 1;
  c.type = kTypeChar;
  c.width = 3;
  EXPR col = leaf_column(&c);
  const std::vector<std::string> texts = {"", "q", "qn", "qnx", "qm", "qo", "Qn", "\xe4n"};
  for (const std::string& f : texts) {
    for (const std::string& v : texts) {
      EXPR val = leaf_text(v.c_str(), static_cast<int>(v.size()));
      const bool le = eval(kExprLe, &col, &val, f.c_str(), &c);
      const bool ge = eval(kExprGe, &col, &val, f.c_str(), &c);
      EXPECT_EQ(eval(kExprEq, &col, &val, f.c_str(), &c), le && ge) << f << " = " << v;
      EXPECT_EQ(eval(kExprNe, &col, &val, f.c_str(), &c), !(le && ge)) << f << " <> " << v;
      EXPECT_EQ(eval(kExprEq, &val, &col, f.c_str(), &c), le && ge) << v << " = " << f;
    }
  }
  // A null value compares false both ways; a null field is the empty text.
  EXPR null = leaf_text("qn", 2);
  null.value.null_ind = -1;
  EXPECT_FALSE(eval(kExprEq, &col, &null, "qn", &c));
  EXPECT_FALSE(eval(kExprNe, &col, &null, "qn", &c));
  EXPR empty = leaf_text("", 0);
  EXPECT_TRUE(eval(kExprEq, &col, &empty, nullptr, &c));
  // A value with a zero byte inside is compared by its whole length, as the ordering does.
  static const char odd[] = {'q', 'n', '\0', 'x'};
  EXPR inner = leaf_text(odd, 4);
  EXPECT_FALSE(eval(kExprEq, &col, &inner, "qn", &c));
  EXPECT_TRUE(eval(kExprNe, &col, &inner, "qn", &c));
}

}  // namespace
}  // namespace kyt
