// ParvexTempTable: chunked value store, row handles, ORDER BY sorting.
#include "db/temp_table.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

namespace parvex {

namespace {

// What a missing value (a key column past a row's values) reads as.
const ParvexValue kMissingValue{};

}  // namespace

// ---------------------------------------------------------------------------
// TempRowSorter

TempRowSorter::TempRowSorter(const ParvexTempTable& table, const SimpleVector<long>& keyColumns,
                             const SimpleVector<long>& keyDirections) {
  const size_t keys = std::min(keyColumns.size(), keyDirections.size());
  const size_t rows = static_cast<size_t>(table.QtyRows());
  mKeys.resize(keys);
  for (size_t k = 0; k < keys; ++k) {
    columns.push_back(keyColumns[k]);
    directions.push_back(keyDirections[k]);
    KeyReadings& readings = mKeys[k];
    readings.isInteger.resize(rows);
    readings.integers.resize(rows);
    bool allIntegers = true;
    for (size_t r = 0; r < rows; ++r) {
      const ParvexValue* value = table.ValueAt(static_cast<RowID>(r), keyColumns[k]);
      if (!value) value = &kMissingValue;
      readings.isInteger[r] = value->Type() == kTypeInteger;
      readings.integers[r] = value->GetInteger();
      allIntegers = allIntegers && readings.isInteger[r];
    }
    // Text readings are needed only when some row compares by text.
    if (allIntegers) continue;
    readings.texts.resize(rows);
    for (size_t r = 0; r < rows; ++r) {
      const ParvexValue* value = table.ValueAt(static_cast<RowID>(r), keyColumns[k]);
      readings.texts[r] = (value ? value : &kMissingValue)->GetString();
    }
  }
}

long TempRowSorter::Compare(size_t a, size_t b) const {
  for (size_t k = 0; k < mKeys.size(); ++k) {
    const KeyReadings& readings = mKeys[k];
    int order;
    if (readings.isInteger[a]) {
      const int32_t x = readings.integers[a];
      const int32_t y = readings.integers[b];
      order = x < y ? -1 : (x > y ? 1 : 0);
    } else {
      order = readings.texts[a].Compare(readings.texts[b]);
    }
    if (order < 0) return -directions[k];
    if (order > 0) return directions[k];
  }
  return 0;
}

// ---------------------------------------------------------------------------
// ParvexTempTable

ParvexTempTable::~ParvexTempTable() = default;

void ParvexTempTable::AddColumn(const string& columnName, ParvexDataType type) {
  const long position = static_cast<long>(mColumns.size());
  mColumns.push_back(std::make_unique<ParvexColumnInfo>(columnName, type, position, position));
}

ParvexValue& ParvexTempTable::ValueSlot(size_t index) {
  return mChunks[index / kValuesPerChunk][index % kValuesPerChunk];
}

const ParvexValue& ParvexTempTable::ValueSlot(size_t index) const {
  return mChunks[index / kValuesPerChunk][index % kValuesPerChunk];
}

void ParvexTempTable::ReserveValues(size_t count) {
  while (mChunks.size() * kValuesPerChunk < mQtyValues + count) {
    mChunks.push_back(std::make_unique<ParvexValue[]>(kValuesPerChunk));
  }
}

RowID ParvexTempTable::AddRow(ParvexValueList& values, bool takeOwnership,
                              std::unique_ptr<ParvexRecSet> source) {
  // Row IDs are positions; the last representable position is the invalid ID.
  if (mRows.size() >= kInvalidRowID || values.size() > std::numeric_limits<uint32_t>::max()) {
    if (takeOwnership) DeleteValues(values);
    return kInvalidRowID;
  }
  ReserveValues(values.size());
  ParvexTempRow row;
  row.firstValue = mQtyValues;
  row.qtyValues = static_cast<uint32_t>(values.size());
  row.source = std::move(source);
  for (ParvexValueWithID* value : values) {
    ParvexValue& slot = ValueSlot(mQtyValues++);
    if (!value) continue;  // an absent value is stored as NULL
    if (takeOwnership) {
      slot = std::move(static_cast<ParvexValue&>(*value));
    } else {
      slot = *value;
    }
  }
  if (takeOwnership) DeleteValues(values);
  mRows.push_back(std::move(row));
  lastRowID = static_cast<RowID>(mRows.size() - 1);
  return lastRowID;
}

RowID ParvexTempTable::AddRow(ParvexValueList& values, bool takeOwnership) {
  return AddRow(values, takeOwnership, nullptr);
}

long ParvexTempTable::QtyColumns() const { return static_cast<long>(mColumns.size()); }

const ParvexColumnInfo* ParvexTempTable::Column(long index) const {
  if (index < 0 || static_cast<size_t>(index) >= mColumns.size()) return nullptr;
  return mColumns[static_cast<size_t>(index)].get();
}

long ParvexTempTable::QtyRows() const { return static_cast<long>(mRows.size()); }

void ParvexTempTable::GetRowIDs(SimpleVector<RowID>* ids) const {
  if (!ids) return;
  ids->clear();
  ids->reserve(mRows.size());
  for (size_t r = 0; r < mRows.size(); ++r) ids->push_back(static_cast<RowID>(r));
}

const ParvexValue* ParvexTempTable::ValueAt(RowID row, long column) const {
  if (row >= mRows.size() || column < 0) return nullptr;
  const ParvexTempRow& handle = mRows[row];
  if (static_cast<unsigned long>(column) >= handle.qtyValues) return nullptr;
  return &ValueSlot(handle.firstValue + static_cast<size_t>(column));
}

bool ParvexTempTable::GetValue(RowID row, long column, ParvexValue* out) const {
  const ParvexValue* value = ValueAt(row, column);
  if (!value || !out) return false;
  *out = *value;
  return true;
}

void ParvexTempTable::UpdateRow(RowID, ParvexValueList& values, bool takeOwnership) {
  if (takeOwnership) DeleteValues(values);
}

void ParvexTempTable::DeleteRow(RowID) {}

const ParvexRecSet* ParvexTempTable::GetSourceRecSet(long row) const {
  if (row < 0 || static_cast<size_t>(row) >= mRows.size()) return nullptr;
  return mRows[static_cast<size_t>(row)].source.get();
}

void ParvexTempTable::Sort(const SimpleVector<long>& keyColumns,
                           const SimpleVector<long>& keyDirections) {
  if (mRows.size() < 2 || keyColumns.empty() || keyDirections.empty()) return;
  const TempRowSorter sorter(*this, keyColumns, keyDirections);
  std::vector<uint32_t> order(mRows.size());
  std::iota(order.begin(), order.end(), 0u);
  // The comparison is not a strict weak order when a key column mixes
  // Integer and other values (the first row's type picks the domain). A merge
  // sort stays within bounds and terminates whatever the comparison answers;
  // an introsort is not guaranteed to.
  std::stable_sort(order.begin(), order.end(),
                   [&sorter](uint32_t a, uint32_t b) { return sorter.Compare(a, b) < 0; });
  std::vector<ParvexTempRow> sorted;
  sorted.reserve(mRows.size());
  for (uint32_t position : order) sorted.push_back(std::move(mRows[position]));
  mRows.swap(sorted);
}

}  // namespace parvex
