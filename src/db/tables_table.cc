// ParvexTablesTable: the single row of `_TABLES`.
#include "db/tables_table.h"

namespace parvex {

namespace {

constexpr RowID kTablesRowID = 1;          // the ID of the table's only row
constexpr long kTableNameColumn = 0;       // position of "TableName"
constexpr const char* kTablesTableName = "_TABLES";

}  // namespace

ParvexTablesTable::ParvexTablesTable()
    : mTableName(string("TableName"), kTypeString, kTableNameColumn, kTableNameColumn) {
  name = string(kTablesTableName);
}

long ParvexTablesTable::QtyColumns() const { return 1; }

const ParvexColumnInfo* ParvexTablesTable::Column(long index) const {
  return index == kTableNameColumn ? &mTableName : nullptr;
}

long ParvexTablesTable::QtyRows() const { return 1; }

void ParvexTablesTable::GetRowIDs(SimpleVector<RowID>* ids) const {
  if (!ids) return;
  ids->clear();
  ids->push_back(kTablesRowID);
}

bool ParvexTablesTable::GetValue(RowID row, long column, ParvexValue* out) const {
  if (row != kTablesRowID || column != kTableNameColumn || !out) return false;
  out->SetText(kTypeString, string(kTablesTableName));
  return true;
}

void ParvexTablesTable::DeleteRow(RowID) {}

ParvexTablesTable* GetTablesTable() {
  static ParvexTablesTable table;
  return &table;
}

}  // namespace parvex
