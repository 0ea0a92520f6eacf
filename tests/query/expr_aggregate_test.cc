// Aggregates over a group of record sets: COUNT, SUM, AVG, MIN, MAX, DISTINCT.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "expr_test_table.h"
#include "query/expr_nodes.h"

namespace parvex {
namespace {

// One single-column table whose rows form the group, in row order.
class AggregateTest : public ::testing::Test {
 protected:
  void Fill(ParvexDataType type, const std::vector<ParvexValue>& values) {
    table = std::make_unique<ExprTestTable>("T",
                                            std::vector<std::pair<const char*, ParvexDataType>>{{"v", type}});
    tables.clear();
    tables.push_back(table.get());
    recSets.clear();
    group.clear();
    for (const ParvexValue& v : values) {
      recSets.push_back(std::make_unique<ParvexRecSet>(1));
      (*recSets.back())[0] = table->Add({v});
      group.push_back(recSets.back().get());
    }
  }

  // Runs kind(argument) over the group; the argument defaults to the column.
  ParvexValue Aggregate(long kind, bool distinct, bool star = false) {
    PExprAggregate node(kind, star ? nullptr : std::make_unique<PExprField>(0, 0), distinct);
    ParvexEvalContext context;
    context.group = &group;
    context.tables = &tables;
    ParvexValue out;
    EXPECT_TRUE(node.Evaluate(context, &out)) << node.Description().view();
    return out;
  }

  std::unique_ptr<ExprTestTable> table;
  SimpleVector<ParvexTable*> tables;
  std::vector<std::unique_ptr<ParvexRecSet>> recSets;
  SimpleVector<ParvexRecSet*> group;
};

ParvexValue I(int32_t i) { return ParvexValue::Integer(i); }
ParvexValue D(double d) { return ParvexValue::Double(d); }
ParvexValue S(const char* s) { return ParvexValue::String(string(s)); }

TEST_F(AggregateTest, CountCountsEveryRecordSet) {
  Fill(kTypeInteger, {I(1), ParvexValue::Null(kTypeInteger), I(1)});
  EXPECT_EQ(Aggregate(kAggCount, false, true).GetInteger(), 3);
  EXPECT_EQ(Aggregate(kAggCount, false).GetInteger(), 3);  // NULLs are counted
  EXPECT_EQ(Aggregate(kAggCount, true).GetInteger(), 2);   // the NULL is one distinct value
  Fill(kTypeInteger, {});
  const ParvexValue none = Aggregate(kAggCount, false, true);
  EXPECT_EQ(none.Type(), kTypeInteger);
  EXPECT_EQ(none.GetInteger(), 0);
  EXPECT_EQ(Aggregate(kAggSum, false).GetInteger(), 0);
}

TEST_F(AggregateTest, SumFollowsTheArgumentType) {
  Fill(kTypeInteger, {I(INT_MAX), I(1), I(5)});
  const ParvexValue sum = Aggregate(kAggSum, false);
  EXPECT_EQ(sum.Type(), kTypeInteger);
  EXPECT_EQ(sum.GetInteger(), INT_MIN + 5);  // wraps
  Fill(kTypeInteger, {I(5), I(5), S("7"), I(-2)});
  EXPECT_EQ(Aggregate(kAggSum, false).GetInteger(), 15);
  EXPECT_EQ(Aggregate(kAggSum, true).GetInteger(), 10);

  // Doubles are summed with more precision than a double holds.
  Fill(kTypeDouble, {D(1e16), D(1), D(1)});
  const ParvexValue precise = Aggregate(kAggSum, false);
  EXPECT_EQ(precise.Type(), kTypeDouble);
  EXPECT_EQ(precise.GetDouble(), 1e16 + 2);
  EXPECT_EQ(Aggregate(kAggSum, true).GetDouble(), 1e16 + 1);
}

TEST_F(AggregateTest, AverageReadsDoubles) {
  Fill(kTypeDouble, {D(1), D(2), D(2), D(7)});
  const ParvexValue avg = Aggregate(kAggAvg, false);
  EXPECT_EQ(avg.Type(), kTypeDouble);
  EXPECT_EQ(avg.GetDouble(), 3.0);
  EXPECT_EQ(Aggregate(kAggAvg, true).GetDouble(), 10.0 / 3);
  // Integers have no double reading: their average is 0.
  Fill(kTypeInteger, {I(4), I(6)});
  EXPECT_EQ(Aggregate(kAggAvg, false).GetDouble(), 0.0);
  Fill(kTypeDouble, {});
  EXPECT_TRUE(Aggregate(kAggAvg, false).IsNull());
}

TEST_F(AggregateTest, MinAndMaxKeepTheFirstOfEqualValues) {
  Fill(kTypeString, {S("b"), S("a"), S("B")});
  EXPECT_EQ(Aggregate(kAggMax, false).GetString().view(), "b");  // "B" equals "b" without case
  EXPECT_EQ(Aggregate(kAggMin, false).GetString().view(), "a");
  Fill(kTypeString, {S("B"), S("b"), S("a")});
  EXPECT_EQ(Aggregate(kAggMax, true).GetString().view(), "B");  // DISTINCT changes nothing

  Fill(kTypeInteger, {I(3), I(-4), S("10"), I(2)});
  const ParvexValue max = Aggregate(kAggMax, false);
  EXPECT_EQ(max.Type(), kTypeString);  // the chosen value keeps its own type
  EXPECT_EQ(max.GetInteger(), 10);
  EXPECT_EQ(Aggregate(kAggMin, false).GetInteger(), -4);

  Fill(kTypeDouble, {D(2.5), D(-1.25), D(2.75)});
  EXPECT_EQ(Aggregate(kAggMax, false).GetDouble(), 2.75);  // compared as doubles, not truncated
  EXPECT_EQ(Aggregate(kAggMin, false).GetDouble(), -1.25);
  // Texts of an integer-typed column compare by their integer readings; of
  // other columns by text: "10" < "9".
  Fill(kTypeString, {S("9"), S("10")});
  EXPECT_EQ(Aggregate(kAggMax, false).GetString().view(), "9");
  Fill(kTypeString, {});
  EXPECT_TRUE(Aggregate(kAggMax, false).IsNull());
}

TEST_F(AggregateTest, NeedsAGroup) {
  Fill(kTypeInteger, {I(1)});
  PExprAggregate count(kAggCount, nullptr, false);
  ParvexValue out;
  EXPECT_FALSE(count.EvaluateInIsolation(&out, nullptr));
  EXPECT_EQ(count.Description().view(), "COUNT(*)");
  EXPECT_EQ(PExprAggregate(kAggSum, std::make_unique<PExprField>(0, 2), true).Description().view(),
            "SUM(DISTINCT A.2)");
  EXPECT_EQ(PExprAggregate(kAggAvg, std::make_unique<PExprField>(1, 0), false).Description().view(),
            "AVG(B.0)");
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
