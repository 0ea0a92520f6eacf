// Query execution where SQL can't look: the visiting order of the work stack
// and its pruning (seen through `combinations` and each table's GetRowIDs
// calls), and queries built incomplete. Results of queries are checked by
// tests/sql/scripts/queries.sql and expressions.sql.
#include "query/query.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "query/rows_table.h"

namespace parvex {
namespace {

using query_test::RowsTable;

ParvexExprPtr Field(long table, long column) { return std::make_unique<PExprField>(table, column); }
ParvexExprPtr Const(const ParvexValue& v) { return std::make_unique<PExprConstant>(v); }
ParvexExprPtr Int(int32_t n) { return Const(ParvexValue::Integer(n)); }
ParvexExprPtr Compare(long op, ParvexExprPtr left, ParvexExprPtr right) {
  return std::make_unique<PExprCompare>(op, std::move(left), std::move(right));
}
ParvexExprPtr And(ParvexExprPtr a, ParvexExprPtr b) {
  auto node = std::make_unique<PExprAnd>();
  node->Add(std::move(a));
  node->Add(std::move(b));
  return node;
}

// Fills `query` with its source tables and plain-column items (table, column).
void Prepare(ParvexQuery& query, std::initializer_list<ParvexTable*> sources,
           std::initializer_list<std::pair<long, long>> fields) {
  for (ParvexTable* table : sources) query.tables.push_back(table);
  for (const auto& [table, column] : fields) query.items.push_back(Field(table, column));
}

std::unique_ptr<ParvexTempTable> Execute(ParvexQuery& query) {
  return std::unique_ptr<ParvexTempTable>(query.RunQuery());
}

// The text readings of one result column, row by row.
std::vector<std::string> Texts(const ParvexTempTable& result, long column) {
  std::vector<std::string> texts;
  for (long r = 0; r < result.QtyRows(); ++r) {
    ParvexValue v;
    EXPECT_TRUE(result.GetValue(static_cast<RowID>(r), column, &v));
    texts.push_back(v.GetString().str());
  }
  return texts;
}

using Texts_ = std::vector<std::string>;

// A one-column integer table named `name` holding `values`.
std::unique_ptr<RowsTable> Numbers(const char* name, const std::vector<int>& values) {
  auto table = std::make_unique<RowsTable>(name, std::vector<query_test::RowsColumn>{{"x", kTypeInteger, 1}});
  for (int v : values) table->Insert({ParvexValue::Integer(v)});
  return table;
}

// The visiting order of the work stack and its pruning, seen through the
// result order (column 0: row IDs of a) and `combinations`; an empty `b`
// joins `a` with itself.
TEST(QueryTest, JoinsVisitInStackOrderAndPruneEarly) {
  struct Case {
    std::vector<int> a, b;
    ParvexExprPtr where;
    Texts_ first, second;
    size_t combinations;
  };
  Case cases[] = {
      // The condition names both tables, so it cannot judge the first binding:
      // all outer rows are stacked (and come back last first); the inner rows
      // are then bound and handed over in order.
      {{1, 2, 3, 4}, {}, Compare(kCompareNotEqual, Field(0, 1), Field(1, 1)),
       {"4", "4", "4", "3", "3", "3", "2", "2", "2", "1", "1", "1"},
       {"1", "2", "3", "1", "2", "4", "1", "3", "4", "2", "3", "4"}, 5},
      // 1 start + 1 surviving row of a + its 4 combinations with b (not 1 + 5 + 20);
      // b is bound without a usable condition, so its rows come out in reverse.
      {{1, 2, 3, 4, 5}, {10, 20, 30, 40}, Compare(kCompareEqual, Field(0, 1), Int(1)),
       {"1", "1", "1", "1"}, {"40", "30", "20", "10"}, 6},
      // The condition chooses the later table first: a is stacked after b.
      {{1, 2, 3}, {1, 2, 3}, Compare(kCompareEqual, Field(1, 1), Int(2)), {"3", "2", "1"}, {"2", "2", "2"}, 5},
      // Conjunctions bind their tables one after the other.
      {{1, 2, 1, 3, 4}, {5, 2, 7, 9},
       And(Compare(kCompareEqual, Field(0, 1), Int(1)), Compare(kCompareEqual, Field(1, 1), Int(2))), {"3", "1"},
       {"2", "2"}, 3},
  };
  for (Case& c : cases) {
    auto a = Numbers("a", c.a);
    auto b = c.b.empty() ? nullptr : Numbers("b", c.b);
    ParvexQuery query;
    Prepare(query, {a.get(), b ? b.get() : a.get()}, {{0, 0}, {1, 1}});
    query.executor = QueryExecutor::kReference;  // `combinations` counts the work stack's record sets
    query.where = std::move(c.where);
    auto result = Execute(query);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(Texts(*result, 0), c.first);
    EXPECT_EQ(Texts(*result, 1), c.second);
    EXPECT_EQ(query.combinations, c.combinations);
    if (b) {
      EXPECT_EQ(b->getRowIDsCalls, 1);
    }
  }
}

// A hash join must still visit the rows whose key it cannot read: there the
// comparison is unknown, and a lone unknown comparison leaves its left
// operand behind, which passes when non-zero.
TEST(QueryTest, HashJoinVisitsRowsWhoseKeyCannotBeRead) {
  auto a = Numbers("a", {1, 2, 0});
  auto b = Numbers("b", {2, 1});
  b->order = {1, 99, 2};  // 99 has no row
  std::vector<std::string> results[2];
  for (const QueryExecutor executor : {QueryExecutor::kReference, QueryExecutor::kFast}) {
    ParvexQuery query;
    Prepare(query, {a.get(), b.get()}, {{0, 1}, {1, 0}});
    query.executor = executor;
    query.where = Compare(kCompareEqual, Field(0, 1), Field(1, 1));
    auto result = Execute(query);
    ASSERT_NE(result, nullptr);
    const Texts_ left = Texts(*result, 0), right = Texts(*result, 1);
    for (size_t r = 0; r < left.size(); ++r) results[executor == QueryExecutor::kFast].push_back(left[r] + "|" + right[r]);
  }
  EXPECT_EQ(results[0], (Texts_{"2|1", "2|NULL", "1|NULL", "1|2"}));
  EXPECT_EQ(results[1], results[0]);
}

}  // namespace
}  // namespace parvex
