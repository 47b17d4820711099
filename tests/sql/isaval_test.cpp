// Text equality, decided on the field's bytes, against the ordering comparisons that
// measure both sides: a = b exactly when a <= b and a >= b; prepared conditions against
// eval_bool.
#include "sql/isaval.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <random>
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

// Numbers read as "%ld" reads them, up to 2^62; longer ones are refused, never wrapped.
TEST(IsavalNumbers, IntegersReadLikeScanf) {
  const struct {
    const char* text;
    bool ok;
    int64_t value;
  } cases[] = {
      {"+0000000042", true, 42},        {"-0000000007", true, -7},
      {"+00003", true, 3},              {"  12abc", true, 12},
      {"\t-5", true, -5},               {"0000000000000000000000001", true, 1},
      {"4611686018427387904", true, int64_t{1} << 62},
      {"-4611686018427387904", true, -(int64_t{1} << 62)},
      {"4611686018427387905", false, 0}, {"20000000000000000000", false, 0},
      {"99999999999999999999999", false, 0}, {"", false, 0},
      {"+", false, 0},                  {" x1", false, 0},
      {"- 1", false, 0},
  };
  for (const auto& c : cases) {
    int64_t v = 0;
    EXPECT_EQ(read_integer(c.text, &v), c.ok) << c.text;
    if (c.ok) {
      EXPECT_EQ(v, c.value) << c.text;
    }
  }
}

// Random rows and conditions: conjunctions of text (in)equalities (decided on the bytes)
// and conditions of other shapes (handed on) answer as eval_bool does.
TEST(IsavalCondition, PreparedAnswersAsEvalBool) {
  std::vector<COLDESC> cols(3);
  for (int i = 0; i < 3; ++i) {
    std::snprintf(cols[static_cast<size_t>(i)].s_colname, sizeof cols[0].s_colname, "C%d", i);
    cols[static_cast<size_t>(i)].colno = static_cast<int16_t>(i + 1);
    cols[static_cast<size_t>(i)].type = i == 2 ? kTypeInteger : kTypeChar;
    cols[static_cast<size_t>(i)].width = i == 2 ? 11 : 4;
  }
  const std::vector<std::string> texts = {"", "a", "ab", "abc", "b", "ba", "+0000000001", "1"};
  std::mt19937 rng(5);
  auto pick = [&](size_t n) { return static_cast<size_t>(rng() % n); };
  for (int round = 0; round < 3000; ++round) {
    std::vector<EXPR> nodes;
    nodes.reserve(32);  // no reallocation: nodes point at each other
    auto add = [&](EXPR e) {
      nodes.push_back(e);
      return &nodes.back();
    };
    std::function<EXPR*(int)> make = [&](int depth) -> EXPR* {
      const size_t kind = depth > 2 ? 3 + pick(2) : pick(5);
      if (kind < 2) {  // AND, sometimes OR
        EXPR e{};
        e.flags = kind == 0 || pick(4) != 0 ? kExprAnd : kExprOr;
        e.left = make(depth + 1);
        e.right = make(depth + 1);
        return add(e);
      }
      EXPR e{};
      const uint32_t ops[] = {kExprEq, kExprNe, kExprEq, kExprNe, kExprLt, kExprEq | kExprLike};
      e.flags = ops[pick(kind == 2 ? 6 : 2)];
      const std::string& v = texts[pick(texts.size())];
      EXPR* col = add(leaf_column(&cols[pick(3)]));
      EXPR* val = add(leaf_text(v.c_str(), static_cast<int>(v.size())));
      if (pick(8) == 0) val->value.null_ind = -1;
      e.left = pick(2) == 0 ? col : val;
      e.right = e.left == col ? val : col;
      return add(e);
    };
    const EXPR* where = make(0);
    RowCondition cond;
    cond.prepare(where);
    for (int row = 0; row < 20; ++row) {
      const char* fields[3];
      for (const char*& f : fields) f = texts[pick(texts.size())].c_str();
      if (pick(20) == 0) fields[pick(3)] = nullptr;
      const RowView view{nullptr, fields};
      ASSERT_EQ(cond.test(view), eval_bool(where, view)) << "round " << round << " row " << row;
    }
  }
}

}  // namespace
}  // namespace kyt
