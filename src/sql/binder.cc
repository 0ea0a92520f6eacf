// Binding names to tables, FROM entries and columns.
#include "sql/binder.h"

#include "db/database.h"
#include "db/tables_table.h"
#include "storage/trans.h"

namespace parvex {

ParvexTable* BindTable(const ParvexDatabase& db, const string& name, ParvexStatus* status) {
  ParvexTable* table = db.FindTable(name);
  if (!table) SetTableNotFound(status, name.view());
  return table;
}

ParvexTable* BindQueryTable(const ParvexDatabase& db, const string& name, ParvexStatus* status) {
  if (ParvexTable* table = db.FindTable(name)) return table;
  if (name.Compare(GetTablesTable()->name) == 0) return GetTablesTable();
  SetTableNotFound(status, name.view());
  return nullptr;
}

long BindRangeName(std::string_view qualifier, const SimpleVector<string>& names, ParvexStatus* status) {
  for (size_t i = 0; i < names.size(); ++i) {
    if (names[i].Compare(qualifier) == 0) return static_cast<long>(i);
  }
  SetTableNotFound(status, qualifier);
  return -1;
}

long BindColumn(const ParvexTable& table, std::string_view name, ColumnMatch match) {
  const long count = table.QtyColumns();
  for (long k = 0; k < count; ++k) {
    const long i = match == ColumnMatch::kFirst ? k : count - 1 - k;
    const ParvexColumnInfo* info = table.Column(i);
    if (info && info->name.Compare(name) == 0) return i;
  }
  if (count > 0 && CompareNoCase(name, kRowIDColumnName) == 0) return 0;
  return -1;
}

void SetTableNotFound(ParvexStatus* status, std::string_view name) {
  SetStatus(status, kPXTableNotFound, string("Error: Table ") + name + " not found.");
}

void SetColumnNotFound(ParvexStatus* status, std::string_view name) {
  SetStatus(status, kPXColumnNotFound, string("Error: Column ") + name + " not found.");
}

}  // namespace parvex
