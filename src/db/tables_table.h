// ParvexTablesTable: the read-only system table `_TABLES`.
//
// One column, "TableName" (String), and one row, whose ID is 1 and whose
// value is "_TABLES". It exists once per process (GetTablesTable creates it on
// first use, without locking: the engine runs on one thread) and can be named
// in a query's FROM. Writes are refused the way the table interface refuses
// them for read-only tables.
#pragma once

#include "core/table.h"

namespace parvex {

class ParvexTablesTable : public ParvexTable {
 public:
  ParvexTablesTable();

  long QtyColumns() const override;
  const ParvexColumnInfo* Column(long index) const override;
  long QtyRows() const override;
  void GetRowIDs(SimpleVector<RowID>* ids) const override;
  bool GetValue(RowID row, long column, ParvexValue* out) const override;
  void DeleteRow(RowID row) override;

 private:
  ParvexColumnInfo mTableName;
};

// The process-wide `_TABLES` table.
ParvexTablesTable* GetTablesTable();

}  // namespace parvex
