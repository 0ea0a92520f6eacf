// Row updates: values computed once or per row, targets chosen by WHERE,
// columns addressed by column ID, defaults, and the failure cases.
#include "query/update.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

#include "query/rows_table.h"

namespace parvex {
namespace {

using query_test::RowsTable;

// Forwards to another expression and counts its evaluations.
class CountingExpr : public ParvexExpr {
 public:
  CountingExpr(ParvexExprPtr inner, int* count) : mInner(std::move(inner)), mCount(count) {}
  ParvexDataType GetType(const SimpleVector<ParvexTable*>& tables) const override {
    return mInner->GetType(tables);
  }
  bool Evaluate(const ParvexEvalContext& context, ParvexValue* out) const override {
    ++*mCount;
    return mInner->Evaluate(context, out);
  }
  string Description() const override { return mInner->Description(); }
  long ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const override {
    return mInner->ChooseWildcardTable(recSet, usable);
  }
  bool Valid() const override { return mInner->Valid(); }

 private:
  ParvexExprPtr mInner;
  int* mCount;
};

ParvexExprPtr Field(long column) { return std::make_unique<PExprField>(0, column); }
ParvexExprPtr Int(int32_t n) { return std::make_unique<PExprConstant>(ParvexValue::Integer(n)); }
ParvexExprPtr Math(char op, ParvexExprPtr left, ParvexExprPtr right) {
  return std::make_unique<PExprMath>(op, std::move(left), std::move(right));
}
ParvexExprPtr Equal(ParvexExprPtr left, ParvexExprPtr right) {
  return std::make_unique<PExprCompare>(kCompareEqual, std::move(left), std::move(right));
}

// Columns a (ID 1) and b (ID 3): as if a column with ID 2 had been dropped.
std::unique_ptr<RowsTable> Table(const std::vector<std::pair<int, int>>& rows) {
  auto table = std::make_unique<RowsTable>(
      "t", std::vector<query_test::RowsColumn>{{"a", kTypeInteger, 1}, {"b", kTypeInteger, 3}});
  for (const auto& [a, b] : rows) table->Insert({ParvexValue::Integer(a), ParvexValue::Integer(b)});
  return table;
}

std::vector<int> ColumnOf(const RowsTable& table, long column) {
  std::vector<int> values;
  for (RowID id : table.order) values.push_back(table.At(id, column).GetInteger());
  return values;
}

void Assign(ParvexUpdate& update, const RowsTable& table, long column, ParvexExprPtr expression) {
  update.columns.push_back(*table.Column(column));
  update.expressions.push_back(std::move(expression));
}

TEST(UpdateTest, RowIndependentValueIsComputedOnceForEveryRow) {
  auto t = Table({{1, 10}, {2, 20}, {3, 30}});
  int evaluations = 0;
  ParvexUpdate update;
  update.table = t.get();
  Assign(update, *t, 1, std::make_unique<CountingExpr>(Int(5), &evaluations));
  ASSERT_TRUE(update.RunUpdate());
  EXPECT_EQ(ColumnOf(*t, 1), (std::vector<int>{5, 5, 5}));
  EXPECT_EQ(ColumnOf(*t, 2), (std::vector<int>{10, 20, 30}));
  EXPECT_EQ(evaluations, 1);
  EXPECT_EQ(t->updatedRows, (std::vector<RowID>{1, 2, 3}));
}

TEST(UpdateTest, RowDependentValueIsEvaluatedPerSelectedRow) {
  auto t = Table({{1, 2}, {2, 7}, {3, 2}, {4, 2}});
  t->order = {4, 1, 2, 3};
  int evaluations = 0;
  ParvexUpdate update;
  update.table = t.get();
  Assign(update, *t, 1, std::make_unique<CountingExpr>(Math('+', Field(1), Int(1)), &evaluations));
  update.where = Equal(Field(2), Int(2));
  ASSERT_TRUE(update.RunUpdate());
  EXPECT_EQ(t->At(1, 1).GetInteger(), 2);
  EXPECT_EQ(t->At(2, 1).GetInteger(), 2);  // b is 7: untouched
  EXPECT_EQ(t->At(3, 1).GetInteger(), 4);
  EXPECT_EQ(t->At(4, 1).GetInteger(), 5);
  EXPECT_EQ(t->updatedRows, (std::vector<RowID>{4, 1, 3}));  // the selection's order
  EXPECT_EQ(evaluations, 1 + 3);  // the failed isolated try, then once per row
  ASSERT_NE(update.where, nullptr);  // the condition stays with the update
}

TEST(UpdateTest, ValuesReachTheirColumnsByIDAndDefaultsFillUnsetExpressions) {
  auto t = Table({{1, 10}, {2, 20}});
  t->MutableColumn(2)->defaultValue = ParvexValue::Integer(99);
  ParvexUpdate update;
  update.table = t.get();
  Assign(update, *t, 2, nullptr);  // SET b = DEFAULT
  Assign(update, *t, 1, Math('*', Field(2), Int(2)));  // a = b * 2, b read before the update
  ASSERT_TRUE(update.RunUpdate());
  EXPECT_EQ(ColumnOf(*t, 1), (std::vector<int>{20, 40}));
  EXPECT_EQ(ColumnOf(*t, 2), (std::vector<int>{99, 99}));
}

TEST(UpdateTest, NothingToDoSucceedsWithoutTouchingTheTable) {
  auto t = Table({{1, 10}, {2, 20}});
  ParvexUpdate empty;
  empty.table = t.get();
  EXPECT_TRUE(empty.RunUpdate());

  ParvexUpdate noMatch;
  noMatch.table = t.get();
  Assign(noMatch, *t, 1, Int(0));
  noMatch.where = Equal(Field(2), Int(12345));
  EXPECT_TRUE(noMatch.RunUpdate());

  ParvexUpdate mismatched;
  mismatched.table = t.get();
  Assign(mismatched, *t, 1, Int(0));
  mismatched.columns.push_back(*t->Column(2));
  EXPECT_TRUE(mismatched.RunUpdate());

  EXPECT_TRUE(t->updatedRows.empty());
  EXPECT_EQ(ColumnOf(*t, 1), (std::vector<int>{1, 2}));
}

TEST(UpdateTest, FailuresStopAndKeepEarlierRows) {
  ParvexUpdate noTable;
  noTable.expressions.push_back(Int(1));
  noTable.columns.push_back(ParvexColumnInfo("a", kTypeInteger, 1, 1));
  EXPECT_FALSE(noTable.RunUpdate());

  // a = 10 / (a - 3) cannot be evaluated for the row where a is 3.
  auto t = Table({{1, 0}, {2, 0}, {3, 0}, {4, 0}});
  ParvexUpdate update;
  update.table = t.get();
  Assign(update, *t, 2, Math('/', Int(10), Math('-', Field(1), Int(3))));
  EXPECT_FALSE(update.RunUpdate());
  EXPECT_EQ(ColumnOf(*t, 2), (std::vector<int>{-5, -10, 0, 0}));

  // An incomplete expression is refused before anything is written.
  auto u = Table({{1, 0}});
  ParvexUpdate incomplete;
  incomplete.table = u.get();
  Assign(incomplete, *u, 1, Math('+', Field(1), nullptr));
  EXPECT_FALSE(incomplete.RunUpdate());
  EXPECT_TRUE(u->updatedRows.empty());
}

}  // namespace
}  // namespace parvex
