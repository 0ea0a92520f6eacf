// The executors that change the schema or the database's settings: CREATE,
// ALTER and DROP TABLE, CREATE and DROP INDEX, SET. Schema changes are rows of
// `_schema` and follow the transaction like any row.
#include <vector>

#include "db/schema.h"
#include "sql/binder.h"
#include "sql/execute.h"
#include "sql/execute_internal.h"
#include "sql/sql_dialect.h"
#include "storage/trans.h"

namespace parvex {
namespace execute_internal {

namespace {

string TableInProgressMessage(const string& tableName) {
  return string("Error: Table ") + tableName.view() + " has a transaction in progress.";
}

// The text stored as a column's default: the DEFAULT literal's value in its
// saved form, or empty (no default) when there is none or it is NULL.
bool DefaultText(const SQLColumnDefNode& column, ParvexDatabase& db, string* text, ParvexStatus* status) {
  *text = string();
  if (!column.defaultValue) return true;
  const SimpleVector<string> noNames;
  const SimpleVector<ParvexTable*> noTables;
  std::unique_ptr<ParvexExpr> expr = Convert(*column.defaultValue, noNames, noTables, status);
  if (!expr) return false;
  ParvexValue value;
  if (!expr->Valid() || !expr->EvaluateInIsolation(&value, &db)) {
    status->Set(kPXDataException, string("Error: Couldn't evaluate ") + column.defaultValue->Description().view() + ".");
    return false;
  }
  if (!value.IsNull()) *text = value.GetSaveString();
  return true;
}

// The place of a table in the open-tables list, or -1.
long PlaceOf(const ParvexDatabase& db, const ParvexTable* table) {
  for (size_t i = 0; i < db.tables.size(); ++i) {
    if (db.tables[i] == table) return static_cast<long>(i);
  }
  return -1;
}

// Replaces the open table at `place` by a fresh load of its schema rows.
void ReloadAt(ParvexDatabase& db, ParvexSchema& schema, size_t place) {
  auto* trans = static_cast<ParvexTrans*>(db.tables[place]);
  schema.ReloadTable(&trans);
  if (trans) {
    db.tables[place] = trans;
  } else {
    db.tables.RemoveAt(place);
  }
}

}  // namespace

void ExecuteCreateTable(const SQLCreateTableNode& node, ParvexDatabase& db, ParvexStatus* status) {
  ParvexSchema* schema = SchemaOf(db);
  if (!schema) {
    status->Set(kPXInternalSQLError, string("Internal Error: Couldn't find column data in schema."));
    return;
  }
  if (db.FindTable(node.tableName)) {
    status->Set(kPXTableAlreadyExists, string("Error: Table ") + node.tableName.view() + " already exists.");
    return;
  }
  if (node.columns.empty()) {
    status->Set(kPXDynamicSQLError, string("Error: Table ") + node.tableName.view() + " has no columns.");
    return;
  }
  // Every type name and default is checked before anything is written.
  std::vector<ParvexDataType> types(node.columns.size());
  std::vector<string> defaults(node.columns.size());
  for (size_t i = 0; i < node.columns.size(); ++i) {
    if (!TypeFromName(node.columns[i]->typeName, &types[i], status)) return;
    if (!DefaultText(*node.columns[i], db, &defaults[i], status)) return;
  }
  for (size_t i = 0; i < node.columns.size(); ++i) {
    schema->AddSchemaRow(node.tableName, static_cast<long>(i + 1), node.columns[i]->name, types[i], 0, true,
                         defaults[i]);
  }
  std::unique_ptr<ParvexTrans> table = schema->LoadTable(node.tableName);
  if (!table) {
    status->Set(kPXInternalSQLError, string("Internal Error: Couldn't open the files of table ") +
                                         node.tableName.view() + ".");
    return;
  }
  db.tables.push_back(table.release());
}

void ExecuteAlterTable(const SQLAlterTableNode& node, ParvexDatabase& db, ParvexStatus* status) {
  ParvexTable* found = BindTable(db, node.tableName, status);
  if (!found) return;
  ParvexSchema* schema = SchemaOf(db);
  auto* table = dynamic_cast<ParvexTrans*>(found);
  if (found == schema) {
    // Its columns are fixed: reloading it would replace the schema itself.
    status->Set(kPXDynamicSQLError, string("Error: Can't alter the schema table."));
    return;
  }
  if (!schema || !table) {
    status->Set(kPXInternalSQLError, string("Internal Error: Couldn't find column data in schema."));
    return;
  }
  if (table->HasChangesToCommit()) {
    status->Set(kPXInvalidTransactionState, TableInProgressMessage(node.tableName));
    return;
  }
  // Reloading would forget the damage: a damaged table is not altered.
  if (table->IsDamaged()) {
    *status = table->DamageStatus();
    return;
  }
  const long tableNameCol = BindColumn(*schema, "TableName");
  const long columnNameCol = BindColumn(*schema, "ColumnName");
  const long columnIDCol = BindColumn(*schema, "ColumnID");
  if (tableNameCol < 0 || columnNameCol < 0 || columnIDCol < 0 || !node.column) {
    status->Set(kPXInternalSQLError, string("Internal Error: Couldn't find column data in schema."));
    return;
  }
  const string& columnName = node.column->name;
  SimpleVector<RowID> rows;
  schema->GetRowIDs(&rows);
  RowID match = kInvalidRowID;
  ParvexValue rowTable, rowColumn;
  for (RowID row : rows) {
    if (!schema->GetValue(row, tableNameCol, &rowTable) ||
        rowTable.GetSaveString().Compare(table->name) != 0) {
      continue;
    }
    schema->GetValue(row, columnNameCol, &rowColumn);
    if (match == kInvalidRowID && !rowColumn.IsNull() && rowColumn.GetSaveString().Compare(columnName) == 0) {
      match = row;
    }
  }
  const long place = PlaceOf(db, table);
  if (node.action == kAlterAddColumn) {
    if (match != kInvalidRowID) {
      status->Set(kPXColumnAlreadyExists, string("Error: Column ") + columnName.view() + " already exists.");
      return;
    }
    ParvexDataType type;
    if (!TypeFromName(node.column->typeName, &type, status)) return;
    string defaultText;
    if (!DefaultText(*node.column, db, &defaultText, status)) return;
    // The row carries the table's own spelling of its name, so that DROP
    // TABLE finds every row of the table.
    schema->AddSchemaRow(table->name, table->NextUnusedColumnID(), columnName, type, 0, true, defaultText);
    ReloadAt(db, *schema, static_cast<size_t>(place));
  } else if (node.action == kAlterDropColumn) {
    if (match == kInvalidRowID) {
      SetColumnNotFound(status, columnName.view());
      return;
    }
    if (table->QtyColumns() <= 2) {
      status->Set(kPXDynamicSQLError, string("Error: Can't drop the only column in a table."));
      return;
    }
    schema->DeleteRow(match);
    ReloadAt(db, *schema, static_cast<size_t>(place));
  } else {
    status->Set(kPXFeatureNotSupported);
  }
}

void ExecuteDropTable(const SQLDropTableNode& node, ParvexDatabase& db, ParvexStatus* status) {
  if (node.tableName.Compare(kSchemaTableName) == 0) {
    status->Set(kPXDynamicSQLError, string("Error: Can't drop the schema table (nice try!)."));
    return;
  }
  ParvexTable* found = BindTable(db, node.tableName, status);
  if (!found) return;
  auto* table = dynamic_cast<ParvexTrans*>(found);
  if (table && table->HasChangesToCommit()) {
    status->Set(kPXInvalidTransactionState, TableInProgressMessage(node.tableName));
    return;
  }
  ParvexStatus local;
  ParvexSQLExecute(string("DELETE FROM _schema WHERE TableName='") + found->name.view() + "'", db, &local);
  if (local.State() != kPXStateSuccess) {
    *status = local;
    return;
  }
  const long place = PlaceOf(db, found);
  if (place < 0) return;
  db.droppedTables.push_back(found);
  db.tables.RemoveAt(static_cast<size_t>(place));
}

void ExecuteCreateIndex(const SQLCreateIndexNode& node, ParvexDatabase& db, ParvexStatus* status) {
  ParvexTable* table = BindTable(db, node.tableName, status);
  if (!table) return;
  SimpleVector<string> names;
  table->GetIndexNames(&names);
  for (const string& existing : names) {
    if (existing.Compare(node.indexName) == 0) {
      status->Set(kPXIndexAlreadyExists, string("Error: Index '") + node.indexName.view() + " already exists.");
      return;
    }
  }
  SimpleVector<uint32_t> columnIDs;
  for (const string& columnName : node.columnNames) {
    const long index = BindColumn(*table, columnName.view());
    if (index < 0) {
      SetColumnNotFound(status, columnName.view());
      return;
    }
    columnIDs.push_back(static_cast<uint32_t>(table->Column(index)->columnID));
  }
  table->AddIndex(node.indexName, columnIDs);
}

void ExecuteDropIndex(const SQLDropIndexNode& node, ParvexDatabase& db, ParvexStatus* status) {
  const std::string_view specifier = node.specifier.view();
  const size_t dot = specifier.find('.');
  if (dot == std::string_view::npos || dot == 0 || dot + 1 == specifier.size()) {
    status->Set(kPXDynamicSQLError, string("Error: Invalid index specifier (should be TABLE.INDEX)."));
    return;
  }
  const string tableName = node.specifier.Substring(0, dot);
  const string indexName = node.specifier.Substring(dot + 1);
  if (tableName.Compare(kSchemaTableName) == 0) {
    status->Set(kPXDynamicSQLError, string("Error: Can't drop schema indexes."));
    return;
  }
  ParvexTable* found = BindTable(db, tableName, status);
  if (!found) return;
  auto* table = dynamic_cast<ParvexTrans*>(found);
  if (!table || !table->DropIndex(indexName)) {
    status->Set(kPXIndexNotFound, string("Error: Index ") + indexName.view() + " not found.");
  }
}

void ExecuteSetOption(const SQLSetOptionNode& node, ParvexDatabase& db, ParvexStatus* status) {
  if (node.option.Compare("ESCAPE") != 0) {
    status->Set(kPXDynamicSQLError, string("Error: Unknown option ") + node.option.view() + ".");
    return;
  }
  if (node.value.length() < 2) {
    db.escapeOption = node.value;
  } else {
    status->Set(kPXDynamicSQLError, string("Error: ESCAPE character must be only one byte."));
  }
}

}  // namespace execute_internal
}  // namespace parvex
