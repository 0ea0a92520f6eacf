// ParvexSchema: the system table `_schema`, one row per column of every table.
//
// It is a stored table like any other (its rows follow the transaction), with
// seven fixed columns (IDs 1 to 7): TableName, ColumnID, ColumnName, TypeCode,
// Length, NotNull, DefaultValue. A new, empty schema storage receives the
// seven rows that describe `_schema` itself, committed at once so that a new
// database file is complete. A table's columns are the rows whose TableName
// matches its name (case-insensitively), in the schema's row order; column
// IDs are never reused while the database stays open (ReloadTable carries the
// counters over). A DefaultValue is stored as text and converted to the
// column's type when the table is loaded; an empty text means no default.
#pragma once

#include <memory>

#include "core/table.h"
#include "platform/parvex_string.h"
#include "platform/simple_vector.h"
#include "storage/trans.h"

namespace parvex {

extern const char* const kSchemaTableName;  // "_schema"

// Column IDs of the schema table (its column index is the same number).
constexpr long kSchemaColTableName = 1;
constexpr long kSchemaColColumnID = 2;
constexpr long kSchemaColColumnName = 3;
constexpr long kSchemaColTypeCode = 4;
constexpr long kSchemaColLength = 5;
constexpr long kSchemaColNotNull = 6;
constexpr long kSchemaColDefaultValue = 7;

class ParvexSchema : public ParvexTrans {
 public:
  explicit ParvexSchema(ParvexFileAccess* fileAccess);
  ~ParvexSchema() override;

  // Adds one pending schema row; returns its row ID (kInvalidRowID on refusal).
  RowID AddSchemaRow(const string& tableName, long columnID, const string& columnName, long typeCode,
                     long length, bool notNull, const string& defaultValue);
  // A new table object built from the schema rows of `tableName` (its files
  // are created when missing), or null when the name has no rows. A table
  // whose files can't be opened, or whose columns share an ID, comes back
  // damaged.
  std::unique_ptr<ParvexTrans> LoadTable(const string& tableName);
  // Replaces *table with a freshly loaded object of the same name whose
  // counters are at least the old object's. *table becomes null when the
  // table has no schema rows any more.
  void ReloadTable(ParvexTrans** table);
  // Appends every user table, in the order of each table's first schema row.
  void LoadAllTables(SimpleVector<ParvexTable*>& tables);
  // Adds (and commits) the seven rows that describe `_schema`.
  void PopulateInitialSchema();

 private:
  // Builds the table named `tableName` from its schema rows (row IDs into
  // this table); null when there are none.
  std::unique_ptr<ParvexTrans> BuildTable(const string& tableName, const SimpleVector<RowID>& rows);
};

}  // namespace parvex
