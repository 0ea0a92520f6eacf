// Aggregates over a group of record sets where SQL can't reach: argument
// types SQL can't store. DISTINCT's hashing (case, -0.0, NaN) is checked by
// tests/sql/scripts/expressions.sql.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "query/expr_nodes.h"
#include "query/rows_table.h"

namespace parvex {
namespace {

// One single-column table whose rows form the group, in row order.
class AggregateTest : public ::testing::Test {
 protected:
  void Fill(ParvexDataType type, const std::vector<ParvexValue>& values) {
    table = std::make_unique<query_test::RowsTable>("T", std::vector<query_test::RowsColumn>{{"v", type, 1}});
    tables.clear();
    tables.push_back(table.get());
    recSets.clear();
    group.clear();
    for (const ParvexValue& v : values) {
      recSets.push_back(std::make_unique<ParvexRecSet>(1));
      (*recSets.back())[0] = table->Insert({v});
      group.push_back(recSets.back().get());
    }
  }

  // Runs kind(argument) over the group; the argument defaults to the column.
  ParvexValue Aggregate(long kind, bool distinct, bool star = false) {
    PExprAggregate node(kind, star ? nullptr : std::make_unique<PExprField>(0, 1), distinct);
    ParvexEvalContext context;
    context.group = &group;
    context.tables = &tables;
    ParvexValue out;
    EXPECT_TRUE(node.Evaluate(context, &out)) << node.Description().view();
    return out;
  }

  std::unique_ptr<query_test::RowsTable> table;
  SimpleVector<ParvexTable*> tables;
  std::vector<std::unique_ptr<ParvexRecSet>> recSets;
  SimpleVector<ParvexRecSet*> group;
};

ParvexValue I(int32_t i) { return ParvexValue::Integer(i); }
ParvexValue D(double d) { return ParvexValue::Double(d); }
ParvexValue S(const char* s) { return ParvexValue::String(string(s)); }

// MIN and MAX compare by the argument's static type: texts of an
// Integer-typed column by their integer readings, of a Double column as
// doubles; the chosen value keeps its own type. (SQL can't put a text into an
// Integer column; the other aggregate rules are in expressions.sql.)
TEST_F(AggregateTest, MinAndMaxCompareByTheArgumentsType) {
  Fill(kTypeInteger, {I(3), I(-4), S("10"), I(2)});
  const ParvexValue max = Aggregate(kAggMax, false);
  EXPECT_EQ(max.Type(), kTypeString);
  EXPECT_EQ(max.GetInteger(), 10);
  EXPECT_EQ(Aggregate(kAggMin, false).GetInteger(), -4);
  Fill(kTypeDouble, {D(2.5), D(-1.25), D(2.75)});
  EXPECT_EQ(Aggregate(kAggMax, false).GetDouble(), 2.75);
  EXPECT_EQ(Aggregate(kAggMin, false).GetDouble(), -1.25);
  Fill(kTypeString, {});
  EXPECT_TRUE(Aggregate(kAggMax, false).IsNull());
  PExprAggregate count(kAggCount, nullptr, false);
  ParvexValue out;
  EXPECT_FALSE(count.EvaluateInIsolation(&out, nullptr));  // no group
}

}  // namespace
}  // namespace parvex
