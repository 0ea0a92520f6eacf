// ParvexTempTable: the in-memory result table of a query.
//
// Columns are added first, then rows; a row's ID is its position (0, 1, 2,
// ...), so sorting renumbers the rows. Every row may carry the record set of
// source rows that produced it (owned by the row) so that a cursor can find the
// rows behind a result row. Result tables are read-only once built: UpdateRow
// and DeleteRow change nothing.
//
// Storage is compact so that results of millions of rows fit without waste:
// all values live in one store of fixed-size chunks (no allocation per row, no
// reallocation copies as it grows), and a row is a small handle (where its
// values start, how many, its source). Sorting orders handles, never values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "core/table.h"
#include "core/value.h"
#include "platform/parvex_string.h"
#include "platform/simple_vector.h"

namespace parvex {

// One row of a result table: its values (a run of the table's value store)
// and the source record set, or null for a row that no single combination of
// source rows produced (an aggregate row).
struct ParvexTempRow {
  size_t firstValue = 0;
  uint32_t qtyValues = 0;
  std::unique_ptr<ParvexRecSet> source;
};

class ParvexTempTable;

// The ORDER BY comparison of two result rows. For each key in order: when the
// first row's value is an Integer, both rows compare by integer readings,
// otherwise by text readings under the case-insensitive Compare; the result is
// multiplied by the key's direction (1 ascending, -1 descending) and the first
// unequal key decides. The readings are taken once per row when the sorter is
// built, so a comparison never formats numbers or builds texts.
class TempRowSorter {
 public:
  TempRowSorter(const ParvexTempTable& table, const SimpleVector<long>& keyColumns,
                const SimpleVector<long>& keyDirections);

  // <0, 0 or >0 for the rows at positions `a` and `b` (positions at the time
  // the sorter was built).
  long Compare(size_t a, size_t b) const;

  SimpleVector<long> columns;
  SimpleVector<long> directions;

 private:
  struct KeyReadings {
    std::vector<uint8_t> isInteger;  // per row: the value's type is Integer
    std::vector<int32_t> integers;   // per row: GetInteger
    std::vector<string> texts;       // per row: GetString; empty when every row is Integer
  };
  std::vector<KeyReadings> mKeys;
};

class ParvexTempTable : public ParvexTable {
 public:
  ParvexTempTable() = default;
  ~ParvexTempTable() override;

  // Appends a column with that name, a NULL prototype of that type and the
  // next position. The column's ID is its position: values handed to a
  // result table identify columns by position.
  void AddColumn(const string& columnName, ParvexDataType type);

  // Appends a row holding copies of `values` in vector order (or the values
  // themselves with `takeOwnership`, in which case the caller's vector is
  // emptied) and owning `source`. Returns the new row's ID, which also becomes
  // lastRowID, or kInvalidRowID when the table is full (no more row IDs).
  RowID AddRow(ParvexValueList& values, bool takeOwnership, std::unique_ptr<ParvexRecSet> source);
  RowID AddRow(ParvexValueList& values, bool takeOwnership) override;

  long QtyColumns() const override;
  const ParvexColumnInfo* Column(long index) const override;
  long QtyRows() const override;
  void GetRowIDs(SimpleVector<RowID>* ids) const override;
  // False when the row does not exist or the column is negative or past the
  // row's values; a stored NULL is returned as NULL with success.
  bool GetValue(RowID row, long column, ParvexValue* out) const override;
  // Result tables are not edited in place: nothing changes (owned values are
  // released, as for any read-only table).
  void UpdateRow(RowID row, ParvexValueList& values, bool takeOwnership) override;
  void DeleteRow(RowID row) override;

  // The record set that produced `row`, or null (no such row, or none kept).
  const ParvexRecSet* GetSourceRecSet(long row) const;
  // The stored value without a copy, or null under GetValue's failure rules.
  const ParvexValue* ValueAt(RowID row, long column) const;

  // Orders the rows by the given key columns and directions (see
  // TempRowSorter). Does nothing with fewer than two rows or no keys. Ties
  // keep their relative order; row IDs follow the new positions and source
  // record sets move with their rows.
  void Sort(const SimpleVector<long>& keyColumns, const SimpleVector<long>& keyDirections);

 private:
  // Values per chunk of the value store.
  static constexpr size_t kValuesPerChunk = 4096;

  ParvexValue& ValueSlot(size_t index);
  const ParvexValue& ValueSlot(size_t index) const;
  // Makes room for `count` more values at the end of the store.
  void ReserveValues(size_t count);

  std::vector<std::unique_ptr<ParvexColumnInfo>> mColumns;
  std::vector<ParvexTempRow> mRows;
  std::vector<std::unique_ptr<ParvexValue[]>> mChunks;
  size_t mQtyValues = 0;  // values in use in the store
};

}  // namespace parvex
