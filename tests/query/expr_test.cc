// Expression nodes where SQL can't reach them: the answer and the value left
// behind by three-valued logic, incomplete trees, fields over bound and
// unbound rows, and the table a condition wants bound next. Values of
// expressions are checked end to end by tests/sql/scripts/expressions.sql.
#include <gtest/gtest.h>

#include <climits>
#include <memory>

#include "db/database.h"
#include "query/expr_nodes.h"
#include "query/rows_table.h"

namespace parvex {
namespace {

ParvexExprPtr Const(const ParvexValue& v) { return std::make_unique<PExprConstant>(v); }
ParvexExprPtr Int(int32_t i) { return Const(ParvexValue::Integer(i)); }
ParvexExprPtr Str(const char* s) { return Const(ParvexValue::String(string(s))); }
ParvexExprPtr Field(long table, long column) { return std::make_unique<PExprField>(table, column); }
// Evaluated in isolation, a field has no row: its value is unknown.
ParvexExprPtr Unknown() { return Field(0, 0); }
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

// Counts its evaluations; evaluates to a fixed integer.
class CountingExpr : public ParvexExpr {
 public:
  CountingExpr(int32_t value, int* counter) : mValue(value), mCounter(counter) {}
  bool Evaluate(const ParvexEvalContext&, ParvexValue* out) const override {
    ++*mCounter;
    out->SetInteger(mValue);
    return true;
  }
  string Description() const override { return string("counted"); }
  long ChooseWildcardTable(const ParvexRecSet*, bool* usable) const override {
    if (usable) *usable = true;
    return -1;
  }

 private:
  int32_t mValue;
  int* mCounter;
};

struct Result {
  bool ok;
  ParvexValue value;
};

Result Isolated(const ParvexExprPtr& e, ParvexDatabase* db = nullptr) {
  Result r{false, ParvexValue()};
  r.ok = e->EvaluateInIsolation(&r.value, db);
  return r;
}

std::string TextOf(const ParvexExprPtr& e) {
  const Result r = Isolated(e);
  EXPECT_TRUE(r.ok) << e->Description().view();
  return r.value.GetString().str();
}

TEST(ExprTest, ThreeValuedLogicLeavesAValueInOut) {
  auto expect = [](const ParvexExprPtr& e, bool ok, int32_t value) {
    const Result r = Isolated(e);
    EXPECT_EQ(r.ok, ok) << e->Description().view();
    EXPECT_EQ(r.value.Type(), kTypeInteger) << e->Description().view();
    EXPECT_EQ(r.value.GetInteger(), value) << e->Description().view();
  };
  expect(Junction<PExprAnd>(Unknown(), Int(0)), true, 0);
  expect(Junction<PExprAnd>(Unknown(), Int(1)), false, 1);
  expect(Junction<PExprAnd>(Int(2), Int(1)), true, 1);
  expect(Junction<PExprAnd>(), true, 1);
  expect(Junction<PExprOr>(Unknown(), Int(1)), true, 1);
  expect(Junction<PExprOr>(Unknown(), Int(0)), false, 0);
  expect(Junction<PExprOr>(Int(0), Int(0)), true, 0);
  expect(Junction<PExprOr>(), true, 0);
  expect(Not(Int(0)), true, 1);
  expect(Not(Int(-3)), true, 0);
  expect(Not(Junction<PExprAnd>(Unknown(), Int(0))), true, 1);

  const Result notUnknown = Isolated(Not(Unknown()));
  EXPECT_FALSE(notUnknown.ok);

  // A decisive operand stops the evaluation.
  int counted = 0;
  ParvexExprPtr node = std::make_unique<PExprAnd>();
  auto* andNode = static_cast<PExprAnd*>(node.get());
  andNode->Add(std::make_unique<CountingExpr>(1, &counted));
  andNode->Add(Int(0));
  andNode->Add(std::make_unique<CountingExpr>(1, &counted));
  EXPECT_TRUE(Isolated(node).ok);
  EXPECT_EQ(counted, 1);

  EXPECT_EQ(Junction<PExprAnd>(Int(1), Junction<PExprOr>(Int(2), Int(3)))->Description().view(),
            "1 AND 2 OR 3");
  EXPECT_EQ(Not(Int(1))->Description().view(), "NOT 1");
}

// Absent arguments read as NULL; the clock functions need a database;
// aggregate codes are not scalar functions.
TEST(ExprTest, ScalarFunctionNode) {
  ParvexDatabase db(nullptr);
  db.SetClock(2007, 3, 5, 9, 4, 3);
  EXPECT_EQ(TextOf(Func(kFuncUpper)), "NULL");
  EXPECT_EQ(Isolated(Func(kFuncCurrentDate), &db).value.GetString().view(), "2007-03-05");
  EXPECT_FALSE(Isolated(Func(kFuncCurrentDate)).ok);
  EXPECT_FALSE(Isolated(Func(kFuncUpper, Unknown())).ok);
  EXPECT_FALSE(Isolated(Func(kFuncCount, Int(1))).ok);
  EXPECT_FALSE(Isolated(Func(kFuncSubstring, Str("ab"), Int(1), Unknown())).ok);
}

// Trees left incomplete are not valid (and are never evaluated: if they
// were, they are unknown); an aggregate anywhere makes a tree an aggregate.
TEST(ExprTest, ValidityAndAggregates) {
  EXPECT_TRUE(Math('+', Int(1), Int(2))->Valid());
  EXPECT_FALSE(Math('+', Int(1), nullptr)->Valid());
  EXPECT_FALSE(Cmp(kCompareEqual, Int(1), Math('+', Int(1), nullptr))->Valid());
  EXPECT_FALSE(Like(Str("a"), nullptr)->Valid());
  EXPECT_FALSE(Junction<PExprAnd>(Int(1), Not(nullptr))->Valid());
  EXPECT_FALSE(Func(kFuncUpper, Not(nullptr))->Valid());
  EXPECT_TRUE(PExprAggregate(kAggCount, nullptr, false).Valid());
  EXPECT_FALSE(PExprAggregate(kAggSum, nullptr, false).Valid());
  EXPECT_FALSE(Isolated(Junction<PExprAnd>(Int(1), nullptr)).ok);

  auto count = [] { return std::make_unique<PExprAggregate>(kAggCount, nullptr, false); };
  EXPECT_FALSE(Math('+', Field(0, 1), Int(1))->HasAggregate());
  EXPECT_TRUE(Like(Str("a"), Str("b"), Func(kFuncUpper, count()))->HasAggregate());
  EXPECT_TRUE(Not(Junction<PExprOr>(Int(0), count()))->HasAggregate());
  EXPECT_TRUE(Func(kFuncTrim, Str("a"), nullptr, count())->HasAggregate());
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
