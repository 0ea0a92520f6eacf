// Query execution: the visiting order of the work stack, pruning (seen
// through `combinations`), the WHERE value rule, DISTINCT, aggregates and
// grouping, HAVING and ORDER BY.
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
ParvexExprPtr Aggregate(long kind, ParvexExprPtr argument) {
  return std::make_unique<PExprAggregate>(kind, std::move(argument), false);
}
ParvexExprPtr CountAll() { return Aggregate(kAggCount, nullptr); }

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

// A fruit table: name (String), qty (Integer).
std::unique_ptr<RowsTable> Fruit(const std::vector<std::pair<const char*, int>>& rows) {
  auto table = std::make_unique<RowsTable>(
      "fruit", std::vector<query_test::RowsColumn>{{"name", kTypeString, 1}, {"qty", kTypeInteger, 2}});
  for (const auto& [name, qty] : rows) table->Insert({ParvexValue::String(name), ParvexValue::Integer(qty)});
  return table;
}

// A one-column integer table named `name` holding `values`.
std::unique_ptr<RowsTable> Numbers(const char* name, const std::vector<int>& values) {
  auto table = std::make_unique<RowsTable>(name, std::vector<query_test::RowsColumn>{{"x", kTypeInteger, 1}});
  for (int v : values) table->Insert({ParvexValue::Integer(v)});
  return table;
}

TEST(QueryTest, OneTableKeepsGetRowIDsOrderAndRecordsSources) {
  auto t = Numbers("t", {10, 20, 30});
  t->order = {3, 1, 2};
  ParvexQuery query;
  Prepare(query, {t.get()}, {{0, 1}});
  auto result = Execute(query);
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(Texts(*result, 0), (Texts_{"30", "10", "20"}));
  EXPECT_EQ(query.combinations, 1u);  // the last table's rows are handed over at once
  ASSERT_NE(result->GetSourceRecSet(0), nullptr);
  EXPECT_EQ((*result->GetSourceRecSet(0))[0], 3u);
  EXPECT_EQ((*result->GetSourceRecSet(2))[0], 2u);
}

TEST(QueryTest, ResultTablesServeAsSources) {
  ParvexTempTable source;
  source.AddColumn("text", kTypeString);
  source.AddColumn("n1", kTypeInteger);
  source.AddColumn("n2", kTypeInteger);
  const std::vector<std::tuple<const char*, int, int>> rows = {
      {"a", 16, 7}, {"b", 30, 10}, {"c", 24, 9}, {"d", 18, 8}};
  for (const auto& [text, n1, n2] : rows) {
    ParvexValueWithID a(ParvexValue::String(text), 0), b(ParvexValue::Integer(n1), 1),
        c(ParvexValue::Integer(n2), 2);
    ParvexValueList values;
    values.push_back(&a);
    values.push_back(&b);
    values.push_back(&c);
    source.AddRow(values, false);
  }

  ParvexQuery all;
  Prepare(all, {&source}, {{0, 0}, {0, 2}});
  auto result = Execute(all);
  ASSERT_EQ(result->QtyRows(), 4);
  EXPECT_EQ(Texts(*result, 1)[1], "10");

  ParvexQuery filtered;
  Prepare(filtered, {&source}, {{0, 0}, {0, 1}});
  filtered.where = Compare(kCompareGreaterEqual, Field(0, 2), Int(9));
  result = Execute(filtered);
  ASSERT_EQ(result->QtyRows(), 2);
  EXPECT_EQ(Texts(*result, 1), (Texts_{"30", "24"}));
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

TEST(QueryTest, FinalTestLooksOnlyAtTheValueLeftBehind) {
  auto t = Numbers("t", {1, 2});
  t->order = {1, 99, 2};  // 99 has no row: every field of it is unknown

  // AND of unknowns leaves 1: the row with unknown values passes.
  ParvexQuery loose;
  Prepare(loose, {t.get()}, {{0, 1}});
  loose.where = And(Compare(kCompareEqual, Field(0, 1), Field(0, 1)), Compare(kCompareEqual, Field(0, 1), Int(1)));
  auto result = Execute(loose);
  ASSERT_EQ(result->QtyRows(), 2);
  EXPECT_EQ(Texts(*result, 0), (Texts_{"1", "NULL"}));
  EXPECT_EQ((*result->GetSourceRecSet(1))[0], 99u);

  // A lone unknown comparison leaves NULL: the row fails.
  ParvexQuery strict;
  Prepare(strict, {t.get()}, {{0, 1}});
  strict.where = Compare(kCompareEqual, Field(0, 1), Int(1));
  result = Execute(strict);
  EXPECT_EQ(Texts(*result, 0), (Texts_{"1"}));
}

TEST(QueryTest, DistinctKeepsTheFirstOfEqualRows) {
  auto t = Fruit({{"a", 1}, {"a", 1}, {"b", 2}, {"A", 1}});
  ParvexQuery query;
  Prepare(query, {t.get()}, {{0, 2}, {0, 1}});
  query.distinct = true;
  auto result = Execute(query);
  ASSERT_EQ(result->QtyRows(), 2);  // texts compare without regard to case
  EXPECT_EQ(Texts(*result, 1), (Texts_{"a", "b"}));
  EXPECT_EQ((*result->GetSourceRecSet(0))[0], 1u);
}

TEST(QueryTest, GroupKeysSortByExactBytesAndSplitIgnoringCase) {
  // Keys sort by exact bytes (upper case first); a group ends where the next
  // key differs ignoring case, so adjacent case variants share a group.
  auto u = Fruit({{"apple", 1}, {"zed", 1}, {"Apple", 1}});
  ParvexQuery neighbours;
  Prepare(neighbours, {u.get()}, {});
  neighbours.items.push_back(CountAll());
  neighbours.groupBy.push_back(std::make_unique<PExprField>(0, 1));
  auto result = Execute(neighbours);
  EXPECT_EQ(Texts(*result, 0), (Texts_{"2", "1"}));
}

TEST(QueryTest, GroupedRowsGoThroughDistinctAndOrderBy) {
  auto t = Fruit({{"a", 1}, {"a", 1}, {"b", 1}, {"b", 1}, {"c", 1}});
  ParvexQuery query;
  Prepare(query, {t.get()}, {});
  query.items.push_back(CountAll());
  query.groupBy.push_back(std::make_unique<PExprField>(0, 1));
  query.distinct = true;
  auto result = Execute(query);
  EXPECT_EQ(Texts(*result, 0), (Texts_{"2", "1"}));

  ParvexQuery ordered;
  Prepare(ordered, {t.get()}, {{0, 1}});
  ordered.items.push_back(CountAll());
  ordered.groupBy.push_back(std::make_unique<PExprField>(0, 1));
  ordered.orderColumns.push_back(1);
  ordered.orderDirections.push_back(1);
  result = Execute(ordered);
  EXPECT_EQ(Texts(*result, 1), (Texts_{"1", "2", "2"}));
  EXPECT_EQ(Texts(*result, 0)[0], "c");
}

TEST(QueryTest, MalformedQueriesGiveNoResult) {
  auto t = Numbers("t", {1});
  ParvexQuery nullItem;
  Prepare(nullItem, {t.get()}, {});
  nullItem.items.push_back(nullptr);
  EXPECT_EQ(nullItem.RunQuery(), nullptr);

  ParvexQuery incompleteWhere;
  Prepare(incompleteWhere, {t.get()}, {{0, 1}});
  incompleteWhere.where = Compare(kCompareEqual, Field(0, 1), nullptr);
  EXPECT_EQ(incompleteWhere.RunQuery(), nullptr);

  ParvexQuery nullTable;
  Prepare(nullTable, {nullptr}, {});
  nullTable.items.push_back(Int(1));
  EXPECT_EQ(nullTable.RunQuery(), nullptr);
}

}  // namespace
}  // namespace parvex
