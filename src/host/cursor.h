// ParvexCursor: a host cursor over the result table of a query.
//
// The cursor owns the result table and walks it by a signed row index that
// starts on row 0; the row count is taken once, when the cursor is made. It
// remembers the database object it came from (not the engine database: the
// host may close and reopen the object while the cursor lives, so every use
// looks the open database up again) and, for writing edits back, the query's
// source table names and, per result column, the source column's name and
// ID. Cursors reach the host as the data of a KORADBCursor of the type that
// CursorDefinition describes; the host closes them through it.
#pragma once

#include <memory>
#include <string>

#include "core/table.h"
#include "kora/kora_plugin.h"
#include "platform/parvex_string.h"
#include "platform/simple_vector.h"

namespace parvex {
class ParvexDatabase;
}

namespace parvex::kora {

class ParvexCursor {
 public:
  // Takes ownership of `result`. The three lists are those that
  // ParvexSQLQuery filled (empty for a table built by the binding).
  ParvexCursor(KORAObject dbObject, std::unique_ptr<ParvexTable> result,
               SimpleVector<string> tableNames, SimpleVector<string> columnNames,
               SimpleVector<long> columnIDs);

  long QtyColumns() const;
  long QtyRows() const { return mRowCount; }
  long CurrentRow() const { return mRow; }
  bool OnRow() const { return mTable && mRow >= 0 && mRow < mRowCount; }
  bool ValidColumn(long column) const;

  // Column name (empty when there is no such column).
  string ColumnName(long column) const;
  // Type code of the column while on a row, else 0.
  ParvexDataType ColumnType(long column) const;
  // Fills `value` from the current row. False when off a row or the column
  // does not exist; false with `error` set for a value type the host cannot
  // take. Texts in `value` stay valid until the host's next call.
  bool ColumnValue(long column, KORAColumnValue* value, string* error) const;

  bool Next();
  void Previous();
  void First();
  void Last();

  // Writes the changed columns of the current row back to their source
  // tables, one UPDATE per table. False with `error` set when refused or
  // when a statement fails; `state` receives the failing SQLSTATE.
  bool Update(const KORAFieldUpdate* fields, long count, string* error, const char** state);

  KORAObject DatabaseObject() const { return mDBObject; }

 private:
  struct Assignment {
    long table;  // index into mTableNames
    std::string text;
  };

  // The FROM table that result column `column` was read from, or -1.
  long SourceTableOf(ParvexDatabase& db, long column) const;
  bool BuildAssignment(ParvexDatabase& db, const KORAFieldUpdate& field, Assignment* assignment,
                       string* error) const;

  KORAObject mDBObject;
  std::unique_ptr<ParvexTable> mTable;
  SimpleVector<string> mTableNames;
  SimpleVector<string> mColumnNames;
  SimpleVector<long> mColumnIDs;
  long mRow = 0;
  long mRowCount = 0;
};

// The cursor type registered with the host.
const KORADBCursorDefinition& CursorDefinition();

// Hands a cursor to the host; null (and the cursor freed) when the host
// refuses it.
KORADBCursor NewHostCursor(std::unique_ptr<ParvexCursor> cursor);

}  // namespace parvex::kora
