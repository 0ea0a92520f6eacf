// Result tables and query execution at growing sizes: filling and sorting a
// result, a plain scan, DISTINCT, GROUP BY with COUNT, and a two-table join
// pruned by its condition. Times per row should stay flat (or grow with
// log n) as the sizes grow; a quadratic step would show as times growing with n.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "db/temp_table.h"
#include "query/expr_nodes.h"
#include "query/query.h"

namespace parvex {
namespace {

// A source table of `rows` rows: an Integer column holding row % modulus and
// a String column holding the same number as text.
std::unique_ptr<ParvexTempTable> Source(long rows, long modulus) {
  auto table = std::make_unique<ParvexTempTable>();
  table->AddColumn("n", kTypeInteger);
  table->AddColumn("s", kTypeString);
  for (long r = 0; r < rows; ++r) {
    const int32_t n = static_cast<int32_t>((r * 7919) % modulus);
    ParvexValueWithID number(ParvexValue::Integer(n), 0);
    ParvexValueWithID text(ParvexValue::String(string(std::to_string(n))), 1);
    ParvexValueList values;
    values.push_back(&number);
    values.push_back(&text);
    table->AddRow(values, false);
  }
  return table;
}

// Makes `query` select both columns of `source`.
void SelectBothColumns(ParvexQuery& query, ParvexTable* source) {
  query.tables.push_back(source);
  query.items.push_back(std::make_unique<PExprField>(0, 0));
  query.items.push_back(std::make_unique<PExprField>(0, 1));
}

void RunAndCheck(benchmark::State& state, ParvexQuery& query, long expectedRows) {
  for (auto _ : state) {
    std::unique_ptr<ParvexTempTable> result(query.RunQuery());
    if (!result || result->QtyRows() != expectedRows) state.SkipWithError("wrong result size");
    benchmark::DoNotOptimize(result.get());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_FillAndSortResult(benchmark::State& state) {
  const long rows = state.range(0);
  SimpleVector<long> columns, directions;
  columns.push_back(1);
  directions.push_back(-1);
  for (auto _ : state) {
    auto table = Source(rows, rows);
    table->Sort(columns, directions);
    benchmark::DoNotOptimize(table.get());
  }
  state.SetItemsProcessed(state.iterations() * rows);
}
BENCHMARK(BM_FillAndSortResult)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);

void BM_Scan(benchmark::State& state) {
  auto source = Source(state.range(0), state.range(0));
  ParvexQuery query;
  SelectBothColumns(query, source.get());
  RunAndCheck(state, query, state.range(0));
}
BENCHMARK(BM_Scan)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);

void BM_Distinct(benchmark::State& state) {
  const long distinctValues = state.range(0) / 2;
  auto source = Source(state.range(0), distinctValues);
  ParvexQuery query;
  SelectBothColumns(query, source.get());
  query.distinct = true;
  RunAndCheck(state, query, distinctValues);
}
BENCHMARK(BM_Distinct)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);

void BM_GroupByCount(benchmark::State& state) {
  const long groups = state.range(0) / 10;
  auto source = Source(state.range(0), groups);
  ParvexQuery query;
  query.tables.push_back(source.get());
  query.items.push_back(std::make_unique<PExprField>(0, 1));
  query.items.push_back(std::make_unique<PExprAggregate>(kAggCount, nullptr, false));
  query.groupBy.push_back(std::make_unique<PExprField>(0, 1));
  RunAndCheck(state, query, groups);
}
BENCHMARK(BM_GroupByCount)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);

// A join of two n-row tables whose condition fixes one row of the first
// table: pruning keeps the work at about 2n combinations instead of n * n.
void BM_PrunedJoin(benchmark::State& state) {
  const long rows = state.range(0);
  auto a = Source(rows, rows);
  auto b = Source(rows, rows);
  ParvexQuery query;
  query.tables.push_back(a.get());
  query.tables.push_back(b.get());
  query.items.push_back(std::make_unique<PExprField>(1, 1));
  query.where = std::make_unique<PExprCompare>(kCompareEqual, std::make_unique<PExprField>(0, 0),
                                               std::make_unique<PExprConstant>(ParvexValue::Integer(7)));
  RunAndCheck(state, query, rows);
  state.counters["combinations"] = static_cast<double>(query.combinations);
}
BENCHMARK(BM_PrunedJoin)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond);

// An equality join of an n-row table with an n/10-row one, every row of the
// first matching one row of the second, counted: the fast executor hashes the
// second table once (O(n + m)); the reference enumerates every pair.
void EqualityJoin(benchmark::State& state, QueryExecutor executor) {
  const long rows = state.range(0);
  auto a = Source(rows, rows / 10);
  auto b = Source(rows / 10, rows / 10);
  ParvexQuery query;
  query.executor = executor;
  query.tables.push_back(a.get());
  query.tables.push_back(b.get());
  query.items.push_back(std::make_unique<PExprAggregate>(kAggCount, nullptr, false));
  query.where = std::make_unique<PExprCompare>(kCompareEqual, std::make_unique<PExprField>(0, 0),
                                               std::make_unique<PExprField>(1, 0));
  for (auto _ : state) {
    std::unique_ptr<ParvexTempTable> result(query.RunQuery());
    ParvexValue count;
    if (!result || !result->GetValue(0, 0, &count) || count.GetInteger() != rows) {
      state.SkipWithError("wrong join count");
    }
  }
  state.SetItemsProcessed(state.iterations() * rows);
}
void BM_EqualityJoin(benchmark::State& state) { EqualityJoin(state, QueryExecutor::kFast); }
BENCHMARK(BM_EqualityJoin)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);
void BM_EqualityJoinReference(benchmark::State& state) { EqualityJoin(state, QueryExecutor::kReference); }
BENCHMARK(BM_EqualityJoinReference)->RangeMultiplier(10)->Range(1000, 10000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace parvex
