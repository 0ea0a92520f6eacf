// Record storage and index throughput at a million rows: appending small
// records, reading them back by row ID in random order, reopening through a
// saved map versus a rebuild by scanning, and index upkeep.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include "platform/memory_stream.h"
#include "storage/index.h"
#include "storage/record_storage.h"

namespace parvex {
namespace {

constexpr int64_t kRows = 1000000;

// A big-endian stream over a buffer the benchmark keeps.
std::unique_ptr<FileHandle> StreamOver(MemoryHandle* bytes) {
  auto stream = std::make_unique<FileHandle>();
  stream->Open(bytes);
  stream->SetBigEndian();
  stream->SetDoubleSwap(true);
  return stream;
}

// A small row: an integer and a short string, like a narrow table.
void FillRow(OwnedValueList* row, RowID id) {
  if (row->list.empty()) {
    row->list.push_back(new ParvexValueWithID(ParvexValue(), 1));
    row->list.push_back(new ParvexValueWithID(ParvexValue(), 2));
  }
  row->list[0]->SetInteger(static_cast<int32_t>(id));
  row->list[1]->SetText(kTypeString, "name");
}

// Files holding kRows rows with a saved map, built once.
struct Table {
  MemoryHandle data;
  MemoryHandle map;
  size_t dataLength = 0;
  size_t mapLength = 0;
};

const Table& SharedTable() {
  static const Table table = [] {
    Table t;
    ParvexStorage storage(StreamOver(&t.data), StreamOver(&t.map));
    OwnedValueList row;
    for (RowID id = 1; id <= kRows; ++id) {
      FillRow(&row, id);
      storage.AddNewRecord(id, row.list);
    }
    storage.FlushToDisk();
    t.dataLength = static_cast<size_t>(storage.DataFile()->GetLength());
    t.mapLength = static_cast<size_t>(storage.MapFile()->GetLength());
    return t;
  }();
  return table;
}

void BM_AppendRecords(benchmark::State& state) {
  for (auto _ : state) {
    MemoryHandle data, map;
    ParvexStorage storage(StreamOver(&data), StreamOver(&map));
    OwnedValueList row;
    for (RowID id = 1; id <= state.range(0); ++id) {
      FillRow(&row, id);
      storage.AddNewRecord(id, row.list);
    }
    storage.FlushToDisk();
    benchmark::DoNotOptimize(data.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_AppendRecords)->Arg(kRows)->Unit(benchmark::kMillisecond);

void BM_ReadByRowIDRandomOrder(benchmark::State& state) {
  const Table& table = SharedTable();
  MemoryHandle data(table.data.begin(), table.data.begin() + static_cast<std::ptrdiff_t>(table.dataLength));
  MemoryHandle map(table.map.begin(), table.map.begin() + static_cast<std::ptrdiff_t>(table.mapLength));
  ParvexStorage storage(StreamOver(&data), StreamOver(&map));
  std::vector<RowID> order(kRows);
  std::iota(order.begin(), order.end(), 1u);
  std::shuffle(order.begin(), order.end(), std::mt19937(5));
  OwnedValueList values;
  size_t next = 0;
  for (auto _ : state) {
    const RowID id = order[next];
    next = next + 1 == order.size() ? 0 : next + 1;
    if (!storage.ReadRowValues(id, values.list) || values.list[0]->GetInteger() != static_cast<int32_t>(id)) {
      state.SkipWithError("row read back wrong");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReadByRowIDRandomOrder);

// Opening a million-row table: state 0 loads the saved map, 1 finds it
// "Drty" and rebuilds it by scanning the data file.
void BM_OpenMillionRows(benchmark::State& state) {
  const Table& table = SharedTable();
  for (auto _ : state) {
    state.PauseTiming();
    MemoryHandle data(table.data.begin(), table.data.begin() + static_cast<std::ptrdiff_t>(table.dataLength));
    MemoryHandle map(table.map.begin(), table.map.begin() + static_cast<std::ptrdiff_t>(table.mapLength));
    if (state.range(0) == 1) std::copy_n("Drty", 4, map.begin());  // the last change was never saved
    state.ResumeTiming();
    auto storage = std::make_unique<ParvexStorage>(StreamOver(&data), StreamOver(&map));
    if (storage->QtyRows() != kRows) state.SkipWithError("rows missing");
    state.PauseTiming();
    storage.reset();  // saving a rebuilt map is not part of opening
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_OpenMillionRows)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// Index upkeep: add a million rows, look each key up, delete every row.
void BM_IndexAddLookupDelete(benchmark::State& state) {
  SimpleVector<uint32_t> columns;
  columns.push_back(1);
  for (auto _ : state) {
    ParvexIndex index(columns);
    ParvexValue key;
    const ParvexValue* keyView[] = {&key};
    for (RowID id = 1; id <= state.range(0); ++id) {
      key.SetInteger(static_cast<int32_t>(id % 100000));  // ten rows per key
      index.Add(keyView, id);
    }
    for (RowID id = 1; id <= state.range(0); ++id) {
      key.SetInteger(static_cast<int32_t>(id % 100000));
      benchmark::DoNotOptimize(index.Lookup(keyView));
    }
    for (RowID id = 1; id <= state.range(0); ++id) index.Delete(keyView, id);
    if (index.QtyEntries() != 0) state.SkipWithError("entries left");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0) * 3);
}
BENCHMARK(BM_IndexAddLookupDelete)->Arg(kRows)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace parvex
