// Expression nodes where SQL can't reach them: fields over bound and unbound
// rows and over groups, and the table a condition wants bound next. Values of
// expressions, three-valued logic included, are checked end to end by
// tests/sql/scripts/expressions.sql.
#include <gtest/gtest.h>

#include <memory>

#include "query/expr_nodes.h"
#include "query/rows_table.h"

namespace parvex {
namespace {

ParvexExprPtr Const(const ParvexValue& v) { return std::make_unique<PExprConstant>(v); }
ParvexExprPtr Int(int32_t i) { return Const(ParvexValue::Integer(i)); }
ParvexExprPtr Str(const char* s) { return Const(ParvexValue::String(string(s))); }
ParvexExprPtr Field(long table, long column) { return std::make_unique<PExprField>(table, column); }
ParvexExprPtr Math(char op, ParvexExprPtr l, ParvexExprPtr r) {
  return std::make_unique<PExprMath>(op, std::move(l), std::move(r));
}
ParvexExprPtr Cmp(long op, ParvexExprPtr l, ParvexExprPtr r) {
  return std::make_unique<PExprCompare>(op, std::move(l), std::move(r));
}
ParvexExprPtr Like(ParvexExprPtr v, ParvexExprPtr p, ParvexExprPtr e = nullptr) {
  return std::make_unique<PExprCompareLike>(std::move(v), std::move(p), std::move(e));
}
ParvexExprPtr Not(ParvexExprPtr e) { return std::make_unique<PExprNot>(std::move(e)); }
template <typename Node, typename... Operands>
ParvexExprPtr Junction(Operands... operands) {
  auto node = std::make_unique<Node>();
  (node->Add(std::move(operands)), ...);
  return node;
}
ParvexExprPtr Func(ParvexFuncCode code, ParvexExprPtr a1 = nullptr, ParvexExprPtr a2 = nullptr,
                   ParvexExprPtr a3 = nullptr) {
  return std::make_unique<PExprScalarFunc>(code, std::move(a1), std::move(a2), std::move(a3));
}

struct Result {
  bool ok;
  ParvexValue value;
};

Result Isolated(const ParvexExprPtr& e, ParvexDatabase* db = nullptr) {
  Result r{false, ParvexValue()};
  r.ok = e->EvaluateInIsolation(&r.value, db);
  return r;
}

// Two small tables: T(a integer, b text) with rows 1 to 3, U(c integer)
// with rows 1 and 2.
class FieldTest : public ::testing::Test {
 protected:
  void SetUp() override {
    t.Insert({ParvexValue::Integer(1), ParvexValue::String(string("one"))});
    t.Insert({ParvexValue::Integer(2), ParvexValue::Null(kTypeString)});
    t.Insert({ParvexValue::Integer(3), ParvexValue::String(string("three"))});
    u.Insert({ParvexValue::Integer(10)});
    u.Insert({ParvexValue::Integer(20)});
    tables.push_back(&t);
    tables.push_back(&u);
  }

  ParvexEvalContext Context(const ParvexRecSet* recSet) {
    ParvexEvalContext c;
    c.recSet = recSet;
    c.tables = &tables;
    return c;
  }

  query_test::RowsTable t{"T", {{"a", kTypeInteger, 1}, {"b", kTypeString, 2}}};
  query_test::RowsTable u{"U", {{"c", kTypeInteger, 1}}};
  SimpleVector<ParvexTable*> tables;
};

TEST_F(FieldTest, ReadsTheBoundRow) {
  ParvexRecSet rs(2);
  rs[0] = 2;
  const ParvexExprPtr b = Field(0, 2);
  ParvexValue out;
  EXPECT_TRUE(b->Evaluate(Context(&rs), &out));
  EXPECT_TRUE(out.IsNull());
  EXPECT_EQ(out.Type(), kTypeString);
  rs[0] = 3;
  EXPECT_TRUE(b->Evaluate(Context(&rs), &out));
  EXPECT_EQ(out.GetString().view(), "three");
  // Unbound table, missing row or column, no tables, in isolation: unknown.
  EXPECT_FALSE(Field(1, 1)->Evaluate(Context(&rs), &out));
  rs[1] = 999;
  EXPECT_FALSE(Field(1, 1)->Evaluate(Context(&rs), &out));
  EXPECT_FALSE(Field(0, 5)->Evaluate(Context(&rs), &out));
  EXPECT_FALSE(Field(2, 0)->Evaluate(Context(&rs), &out));
  EXPECT_FALSE(b->Evaluate(ParvexEvalContext{&rs, nullptr, nullptr, nullptr}, &out));
  EXPECT_FALSE(Isolated(b).ok);

  // Without a record set a field reads the group's first one.
  ParvexRecSet first(2), second(2);
  first[0] = 1;
  second[0] = 3;
  SimpleVector<ParvexRecSet*> group;
  ParvexEvalContext c = Context(nullptr);
  c.group = &group;
  EXPECT_FALSE(b->Evaluate(c, &out));  // empty group
  group.push_back(&first);
  group.push_back(&second);
  EXPECT_TRUE(b->Evaluate(c, &out));
  EXPECT_EQ(out.GetString().view(), "one");
}

// The table an expression wants bound next, and whether the expression can
// judge a record set once it is bound.
TEST_F(FieldTest, ChoosingTheNextTable) {
  auto eq = [](ParvexExprPtr l, ParvexExprPtr r) { return Cmp(kCompareEqual, std::move(l), std::move(r)); };
  ParvexRecSet none(2);
  ParvexRecSet firstBound(2);
  firstBound[0] = 1;
  struct Case {
    ParvexExprPtr e;
    const ParvexRecSet* bound;
    long table;
    bool usable;
  };
  Case cases[] = {
      {Int(1), &none, -1, true},
      {Field(1, 0), &none, 1, true},
      {Field(0, 0), &firstBound, -1, true},
      // Comparison: the left side's table, usable when the right needs no other.
      {eq(Field(0, 0), Int(1)), &none, 0, true},
      {eq(Field(0, 0), Field(1, 0)), &none, 0, false},
      {eq(Field(0, 0), Field(1, 0)), &firstBound, 1, true},
      // Math: usable only when some operand names a table.
      {Math('+', Int(1), Int(2)), &none, -1, false},
      {Math('+', Int(1), Field(1, 0)), &none, 1, true},
      {Like(Field(0, 1), Field(1, 0)), &none, 0, false},
      {Like(Str("x"), Field(1, 0), Field(1, 0)), &none, 1, true},
      {Like(Str("x"), Str("y"), Field(1, 0)), &none, 1, true},
      // Scalar functions: absent arguments count as not usable when all answers agree.
      {Func(kFuncUpper, Field(0, 1)), &firstBound, -1, false},
      {Func(kFuncUpper, Field(0, 1)), &none, 0, true},
      {Func(kFuncPosition, Field(0, 1), Field(1, 0)), &none, 0, false},
      {Func(kFuncTrim, Field(1, 0), Field(1, 0), Field(1, 0)), &none, 1, true},
      {Not(eq(Field(0, 0), Field(1, 0))), &none, 0, false},
      // AND / OR: the first usable answer wins; usable only when every operand asked was.
      {Junction<PExprAnd>(eq(Field(0, 0), Field(1, 0)), eq(Field(1, 0), Int(3))), &none, 1, false},
      // The search stops before the unusable operand.
      {Junction<PExprOr>(eq(Field(1, 0), Int(3)), eq(Field(0, 0), Field(1, 0))), &none, 1, true},
      // An unusable answer is replaced even by a later -1.
      {Junction<PExprAnd>(eq(Field(0, 0), Field(1, 0)), Int(1)), &none, -1, false},
      {Junction<PExprAnd>(), &none, -1, true},
  };
  for (const Case& c : cases) {
    bool usable = !c.usable;
    EXPECT_EQ(c.e->ChooseWildcardTable(c.bound, &usable), c.table) << c.e->Description().view();
    EXPECT_EQ(usable, c.usable) << c.e->Description().view();
  }
  // The flag is optional.
  EXPECT_EQ(Junction<PExprOr>(Field(0, 0))->ChooseWildcardTable(&none, nullptr), 0);
}

}  // namespace
}  // namespace parvex
