// The engine callbacks of the KORADatabase objects.
#include "host/engine.h"

#include <memory>
#include <string>

#include "core/status.h"
#include "db/database.h"
#include "db/temp_table.h"
#include "host/cursor.h"
#include "host/database_class.h"
#include "host/host_services.h"
#include "host/session_sentry.h"
#include "platform/number_format.h"
#include "query/sql_literal.h"
#include "sql/binder.h"
#include "sql/execute.h"
#include "sql/sql_dialect.h"

namespace parvex::kora {

namespace {

constexpr const char* kTableSchemaQuery =
    "select unique TableName from _schema where TableName <> '_schema'";
constexpr const char* kFieldSchemaQuery =
    "select ColumnName, TypeCode as FieldType, false as IsPrimary, NotNull, Length "
    "from _schema where TableName=";

// The open database of `self`, or null after telling the host it is not connected.
ParvexDatabase* ConnectedDatabase(KORAObject self, const char* entry) {
  ParvexDatabase* db = OpenDatabaseOf(self);
  if (!db) ReportDBError(self, kBindingErrorState, string(entry) + ": database not connected");
  return db;
}

bool ReportIfError(KORAObject self, const ParvexStatus& status) {
  if (!IsErrorState(status.State())) return false;
  ReportDBError(self, status.State(), status.Description());
  return true;
}

char EscapeByte(const ParvexDatabase& db) {
  return db.escapeOption.empty() ? 0 : static_cast<char>(db.escapeOption[0]);
}

// Runs a query and hands its result to the host as a cursor; null after
// reporting an error.
KORADBCursor QueryCursor(KORAObject self, ParvexDatabase& db, const string& sql) {
  SimpleVector<string> tableNames;
  SimpleVector<string> columnNames;
  SimpleVector<long> columnIDs;
  ParvexStatus status;
  db.UpdateClock();
  std::unique_ptr<ParvexTable> result(
      ParvexSQLQuery(sql, db, &status, &tableNames, &columnNames, &columnIDs));
  if (ReportIfError(self, status) || !result) return nullptr;
  if (TraceEnabled()) {
    Trace("ParvexSQLQuery returned a table of " + FormatInteger(result->QtyRows()) +
          " rows,  each from " + FormatInteger(static_cast<int64_t>(tableNames.size())) +
          " table(s).");
  }
  return NewHostCursor(std::make_unique<ParvexCursor>(self, std::move(result),
                                                      std::move(tableNames),
                                                      std::move(columnNames),
                                                      std::move(columnIDs)));
}

// Runs a statement that returns no rows.
void ExecuteStatement(KORAObject self, ParvexDatabase& db, const string& sql) {
  if (TraceEnabled()) {
    Trace("ParvexDatabaseDirectSQLExecute(\"" + sql.str() + "\" (encoding: " +
          FormatInteger(sql.Encoding()) + "))");
  }
  ParvexStatus status;
  db.UpdateClock();
  ParvexSQLExecute(sql, db, &status);
  ReportIfError(self, status);
}

// ---- entries ----------------------------------------------------------------

void ParvexDatabaseClose(KORAObject self) {
  SessionSentry sentry;
  DatabaseObjectData* data = ObjectData(self);
  if (!data || !data->database) return;
  std::unique_ptr<ParvexDatabase> db(data->database);
  data->database = nullptr;
  ParvexStatus status;
  db->Commit(&status);
  ReportIfError(self, status);
  db.reset();
  Host().setDBIsConnected(self, 0);
}

KORADBCursor ParvexGetTableSchema(KORAObject self) {
  SessionSentry sentry;
  ParvexDatabase* db = ConnectedDatabase(self, "ParvexGetTableSchema");
  return db ? QueryCursor(self, *db, string(kTableSchemaQuery)) : nullptr;
}

KORADBCursor ParvexGetFieldSchema(KORAObject self, KORAText table) {
  SessionSentry sentry;
  ParvexDatabase* db = ConnectedDatabase(self, "ParvexGetFieldSchema");
  if (!db) return nullptr;
  const string tableName = FromHostText(table);
  // The name goes in as a string literal, quotes doubled, so that any name
  // the engine accepts is looked up as it is spelled.
  std::string sql = kFieldSchemaQuery;
  if (!QuoteSqlString(tableName.view(), EscapeByte(*db), &sql)) {
    ReportDBError(self, kBindingErrorState,
                  string("ParvexGetFieldSchema: the table name can't be written as SQL text "
                         "under the ESCAPE option"));
    return nullptr;
  }
  return QueryCursor(self, *db, string(sql, tableName.Encoding()));
}

KORADBCursor ParvexDatabaseDirectSQLSelect(KORAObject self, KORAText sqlText) {
  SessionSentry sentry;
  ParvexDatabase* db = ConnectedDatabase(self, "ParvexDatabaseDirectSQLSelect");
  if (!db) return nullptr;
  const string sql = FromHostText(sqlText);
  if (StatementKindOf(sql.view()) == StatementKind::kQuery) return QueryCursor(self, *db, sql);
  ExecuteStatement(self, *db, sql);
  return nullptr;
}

void ParvexDatabaseDirectSQLExecute(KORAObject self, KORAText sqlText) {
  SessionSentry sentry;
  ParvexDatabase* db = ConnectedDatabase(self, "ParvexDatabaseDirectSQLExecute");
  if (!db) return;
  const string sql = FromHostText(sqlText);
  if (StatementKindOf(sql.view()) != StatementKind::kQuery) {
    ExecuteStatement(self, *db, sql);
    return;
  }
  // A query run for its effect on the error state only: the rows are dropped.
  SimpleVector<string> tableNames;
  ParvexStatus status;
  db->UpdateClock();
  std::unique_ptr<ParvexTable> result(
      ParvexSQLQuery(sql, *db, &status, &tableNames, nullptr, nullptr));
  ReportIfError(self, status);
}

KORADBCursor ParvexGetIndexSchema(KORAObject self, KORAText table) {
  SessionSentry sentry;
  ParvexDatabase* db = ConnectedDatabase(self, "ParvexGetIndexSchema");
  if (!db) return nullptr;
  const string tableName = FromHostText(table);
  ParvexStatus status;
  const ParvexTable* source = BindTable(*db, tableName, &status);
  if (!source) {
    ReportIfError(self, status);
    return nullptr;
  }
  SimpleVector<string> names;
  source->GetIndexNames(&names);
  auto result = std::make_unique<ParvexTempTable>();
  result->AddColumn(string("IndexName"), kTypeString);
  for (const string& indexName : names) {
    ParvexValueList row;
    row.push_back(new ParvexValueWithID(ParvexValue::String(indexName), 0));
    result->AddRow(row, true, nullptr);
  }
  return NewHostCursor(std::make_unique<ParvexCursor>(self, std::move(result),
                                                      SimpleVector<string>(),
                                                      SimpleVector<string>(),
                                                      SimpleVector<long>()));
}

void ParvexDatabaseCommit(KORAObject self) {
  SessionSentry sentry;
  ParvexDatabase* db = ConnectedDatabase(self, "ParvexDatabaseCommit");
  if (!db) return;
  ParvexStatus status;
  db->Commit(&status);
  ReportIfError(self, status);
}

void ParvexDatabaseRollback(KORAObject self) {
  SessionSentry sentry;
  ParvexDatabase* db = ConnectedDatabase(self, "ParvexDatabaseRollback");
  if (!db) return;
  ParvexStatus status;
  db->Rollback(&status);
  ReportIfError(self, status);
}

void ParvexGetColumnTypes(KORAObject, const int32_t** codes, KORAText* names, int32_t* count) {
  SessionSentry sentry;
  if (codes) *codes = kColumnTypeCodes;
  if (names) *names = HostTextView(kColumnTypeNames);
  if (count) *count = static_cast<int32_t>(sizeof kColumnTypeCodes / sizeof kColumnTypeCodes[0]);
}

const KORADatabaseEngine kEngine = {
    KORA_ENGINE_VERSION,
    ParvexDatabaseClose,
    ParvexGetTableSchema,
    ParvexGetFieldSchema,
    ParvexDatabaseDirectSQLSelect,
    ParvexDatabaseDirectSQLExecute,
    ParvexGetIndexSchema,
    ParvexDatabaseCommit,
    ParvexDatabaseRollback,
    ParvexGetColumnTypes,
    nullptr,  // addTableRecord: not offered
    nullptr,  // lastErrorMessage: errors are reported as they happen
};

}  // namespace

const KORADatabaseEngine& EngineTable() { return kEngine; }

}  // namespace parvex::kora
