// Aggregates over a group of record sets where SQL can't reach: argument
// types SQL can't store, and DISTINCT against a plain search with Equals.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <memory>
#include <random>
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

// The distinct list equals the one a front-to-back search with Equals builds,
// for groups of one type family (hashed) and of mixed families (searched).
TEST_F(AggregateTest, DistinctEqualsLinearSearchWithEquals) {
  const std::vector<std::vector<ParvexValue>> families = {
      {I(0), I(1), I(-1), I(7), ParvexValue::Boolean(true), ParvexValue::Boolean(false)},
      {S("a"), S("A"), S("b"), S(""), S("Ab"), ParvexValue::Text(kTypeBinary, string("aB"))},
      {D(0.0), D(-0.0), D(1.5), D(NAN), D(1.5), D(-2)},
      {ParvexValue::Text(kTypeDate, string("2001-01-01")), ParvexValue::Text(kTypeDate, string("2001-01-0X")),
       ParvexValue::Text(kTypeDate, string("2001-01-0x"))},
      {ParvexValue::Text(kTypeTime, string("10:00")), ParvexValue::Text(kTypeTime, string("11:00"))},
      {I(5), S("5"), S("05"), D(5), ParvexValue::Text(kTypeDate, string("5")), S("DATE 5")},
  };
  const std::vector<ParvexValue> nulls = {ParvexValue(), ParvexValue::Null(kTypeInteger),
                                          ParvexValue::Null(kTypeString)};
  std::mt19937 random(7);
  for (int round = 0; round < 400; ++round) {
    const auto& family = families[round % families.size()];
    const bool mixed = round % 7 == 0;
    std::vector<ParvexValue> values;
    const int n = std::uniform_int_distribution<int>(0, 12)(random);
    for (int i = 0; i < n; ++i) {
      const int pick = std::uniform_int_distribution<int>(0, 9)(random);
      if (pick == 0) {
        values.push_back(nulls[static_cast<size_t>(i) % nulls.size()]);
      } else if (mixed && pick == 1) {
        const auto& other = families[std::uniform_int_distribution<size_t>(0, families.size() - 1)(random)];
        values.push_back(other[std::uniform_int_distribution<size_t>(0, other.size() - 1)(random)]);
      } else {
        values.push_back(family[std::uniform_int_distribution<size_t>(0, family.size() - 1)(random)]);
      }
    }
    std::vector<ParvexValue> expected;
    for (const ParvexValue& v : values) {
      bool found = false;
      for (const ParvexValue& e : expected) found = found || e.Equals(v);
      if (!found) expected.push_back(v);
    }
    int32_t expectedSum = 0;
    for (const ParvexValue& v : expected) expectedSum += v.GetInteger();
    Fill(kTypeInteger, values);
    EXPECT_EQ(Aggregate(kAggCount, true).GetInteger(), static_cast<int32_t>(expected.size())) << round;
    EXPECT_EQ(Aggregate(kAggSum, true).GetInteger(), expectedSum) << round;
  }
}

}  // namespace
}  // namespace parvex
