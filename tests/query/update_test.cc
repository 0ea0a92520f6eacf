// Row updates: how often the values are computed, which SQL can't see (a
// row-independent value once for all rows, the others once per selected
// row). Targets, column IDs after a dropped column, DEFAULT and failures are
// covered by tests/sql/scripts (rows, alter, schema, errors) and the shell's
// transactions script.
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

}  // namespace
}  // namespace parvex
