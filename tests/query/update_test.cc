// Row updates: how often a row-independent value is computed, which SQL
// can't see (once for all rows). Targets, column IDs after a dropped column, DEFAULT and failures are
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

ParvexExprPtr Int(int32_t n) { return std::make_unique<PExprConstant>(ParvexValue::Integer(n)); }

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

}  // namespace
}  // namespace parvex
