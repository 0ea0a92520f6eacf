// Query execution where SQL can't look: a join over a table listing a row ID
// that has no row, under both executors. Results and their order are checked
// by tests/sql/scripts (queries.sql, executors.sql) and the differential test.
#include "query/query.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "query/rows_table.h"

namespace parvex {
namespace {

using query_test::RowsTable;

ParvexExprPtr Field(long table, long column) { return std::make_unique<PExprField>(table, column); }
ParvexExprPtr Compare(long op, ParvexExprPtr left, ParvexExprPtr right) {
  return std::make_unique<PExprCompare>(op, std::move(left), std::move(right));
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
