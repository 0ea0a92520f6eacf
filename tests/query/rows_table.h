// The one in-memory source table of the query engine tests (aggregates,
// queries).
//
// It behaves like a stored table: column 0 is the hidden `_rowid` (its value
// is the row ID), the user columns follow with column IDs of the test's
// choosing, row IDs are handed out from 1. The order GetRowIDs reports can be
// set, and it may list "ghost" IDs that have no row (GetValue fails for them),
// which lets a test make expressions unknown on complete record sets.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "core/table.h"

namespace parvex::query_test {

struct RowsColumn {
  std::string name;
  ParvexDataType type;
  long columnID;
};

class RowsTable : public ParvexTable {
 public:
  RowsTable(const char* tableName, const std::vector<RowsColumn>& userColumns) {
    name = string(tableName);
    mColumns.emplace_back(string("_rowid"), kTypeInteger, 0, 0);
    for (const RowsColumn& c : userColumns) {
      const long position = static_cast<long>(mColumns.size());
      mColumns.emplace_back(string(c.name), c.type, position, c.columnID);
    }
  }

  // Adds a row of user-column values (in column order); returns its ID.
  RowID Insert(const std::vector<ParvexValue>& values) {
    const RowID id = mNextID++;
    mRows[id] = values;
    mRows[id].resize(mColumns.size() - 1);
    order.push_back(id);
    lastRowID = id;
    return id;
  }

  long QtyColumns() const override { return static_cast<long>(mColumns.size()); }
  const ParvexColumnInfo* Column(long index) const override {
    if (index < 0 || index >= QtyColumns()) return nullptr;
    return &mColumns[static_cast<size_t>(index)];
  }
  long QtyRows() const override { return static_cast<long>(mRows.size()); }
  void GetRowIDs(SimpleVector<RowID>* ids) const override {
    ids->clear();
    for (RowID id : order) ids->push_back(id);
  }
  bool GetValue(RowID row, long column, ParvexValue* out) const override {
    const auto found = mRows.find(row);
    if (found == mRows.end() || column < 0 || column >= QtyColumns()) return false;
    if (column == 0) {
      out->SetInteger(static_cast<int32_t>(row));
    } else {
      *out = found->second[static_cast<size_t>(column - 1)];
    }
    return true;
  }
  void DeleteRow(RowID row) override { mRows.erase(row); }

  std::vector<RowID> order;  // what GetRowIDs reports

 private:
  std::vector<ParvexColumnInfo> mColumns;
  std::map<RowID, std::vector<ParvexValue>> mRows;
  RowID mNextID = 1;
};

}  // namespace parvex::query_test
