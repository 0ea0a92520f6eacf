// COUNT(DISTINCT x) over large groups: the distinct collection must grow
// linearly with the group.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "query/expr_nodes.h"

namespace parvex {
namespace {

// One column of texts; every record set names one row by its position.
class TextColumn : public ParvexTable {
 public:
  explicit TextColumn(size_t rows) : mInfo(string("v"), kTypeString, 0) {
    for (size_t i = 0; i < rows; ++i)
      mValues.push_back(ParvexValue::String(string("value" + std::to_string(i / 2))));
  }
  long QtyColumns() const override { return 1; }
  const ParvexColumnInfo* Column(long index) const override { return index == 0 ? &mInfo : nullptr; }
  long QtyRows() const override { return static_cast<long>(mValues.size()); }
  void GetRowIDs(SimpleVector<RowID>* ids) const override {
    ids->clear();
    for (size_t i = 0; i < mValues.size(); ++i) ids->push_back(static_cast<RowID>(i));
  }
  bool GetValue(RowID row, long column, ParvexValue* out) const override {
    if (column != 0 || row >= mValues.size()) return false;
    *out = mValues[row];
    return true;
  }
  void DeleteRow(RowID) override {}

 private:
  ParvexColumnInfo mInfo;
  std::vector<ParvexValue> mValues;
};

void BM_CountDistinct(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  TextColumn table(n);
  SimpleVector<ParvexTable*> tables;
  tables.push_back(&table);
  std::vector<std::unique_ptr<ParvexRecSet>> recSets;
  SimpleVector<ParvexRecSet*> group;
  for (size_t i = 0; i < n; ++i) {
    recSets.push_back(std::make_unique<ParvexRecSet>(1));
    (*recSets.back())[0] = static_cast<RowID>(i);
    group.push_back(recSets.back().get());
  }
  const PExprAggregate count(kAggCount, std::make_unique<PExprField>(0, 0), true);
  ParvexEvalContext context;
  context.group = &group;
  context.tables = &tables;
  ParvexValue out;
  for (auto _ : state) {
    count.Evaluate(context, &out);
    benchmark::DoNotOptimize(out);
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_CountDistinct)
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace parvex
