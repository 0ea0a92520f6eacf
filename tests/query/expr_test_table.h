// An in-memory table for expression tests: typed columns, rows of values, row
// IDs that differ from row positions (100, 107, 114, ...) so that a mix-up of
// the two shows.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/table.h"

namespace parvex {

class ExprTestTable : public ParvexTable {
 public:
  static constexpr RowID kFirstRowID = 100;
  static constexpr RowID kRowIDStep = 7;

  ExprTestTable(const char* tableName, const std::vector<std::pair<const char*, ParvexDataType>>& columns) {
    name = string(tableName);
    for (const auto& [columnName, type] : columns) {
      mColumns.emplace_back(string(columnName), type, static_cast<long>(mColumns.size()));
    }
  }

  // Appends a row; returns its ID.
  RowID Add(std::vector<ParvexValue> row) {
    const RowID id = kFirstRowID + kRowIDStep * static_cast<RowID>(mRows.size());
    mRows.push_back(std::move(row));
    lastRowID = id;
    return id;
  }

  long QtyColumns() const override { return static_cast<long>(mColumns.size()); }
  const ParvexColumnInfo* Column(long index) const override {
    if (index < 0 || static_cast<size_t>(index) >= mColumns.size()) return nullptr;
    return &mColumns[static_cast<size_t>(index)];
  }
  long QtyRows() const override { return static_cast<long>(mRows.size()); }
  void GetRowIDs(SimpleVector<RowID>* ids) const override {
    ids->clear();
    for (size_t i = 0; i < mRows.size(); ++i)
      ids->push_back(kFirstRowID + kRowIDStep * static_cast<RowID>(i));
  }
  bool GetValue(RowID row, long column, ParvexValue* out) const override {
    if (row < kFirstRowID || (row - kFirstRowID) % kRowIDStep != 0) return false;
    const size_t index = (row - kFirstRowID) / kRowIDStep;
    if (index >= mRows.size() || column < 0 || static_cast<size_t>(column) >= mRows[index].size())
      return false;
    *out = mRows[index][static_cast<size_t>(column)];
    return true;
  }
  void DeleteRow(RowID) override {}

 private:
  std::vector<ParvexColumnInfo> mColumns;
  std::vector<std::vector<ParvexValue>> mRows;
};

}  // namespace parvex
