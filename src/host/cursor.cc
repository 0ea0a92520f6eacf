// ParvexCursor and the cursor callbacks handed to the host.
#include "host/cursor.h"

#include <string>
#include <utility>
#include <vector>

#include "core/status.h"
#include "db/database.h"
#include "db/temp_table.h"
#include "host/database_class.h"
#include "host/host_services.h"
#include "host/session_sentry.h"
#include "query/sql_literal.h"
#include "platform/number_format.h"
#include "sql/execute.h"

namespace parvex::kora {

namespace {

constexpr const char* kUpdateNoRow = "ParvexCursorUpdate: invalid cursor row or no DB";
constexpr const char* kUpdateNoRecSet = "ParvexCursorUpdate: no source record set";
constexpr const char* kUpdateNoTables = "ParvexCursorUpdate: no source tables";

std::string Decimal(long value) { return FormatInteger(value); }

}  // namespace

ParvexCursor::ParvexCursor(KORAObject dbObject, std::unique_ptr<ParvexTable> result,
                           SimpleVector<string> tableNames, SimpleVector<string> columnNames,
                           SimpleVector<long> columnIDs)
    : mDBObject(dbObject),
      mTable(std::move(result)),
      mTableNames(std::move(tableNames)),
      mColumnNames(std::move(columnNames)),
      mColumnIDs(std::move(columnIDs)),
      mRowCount(mTable ? mTable->QtyRows() : 0) {}

long ParvexCursor::QtyColumns() const { return mTable ? mTable->QtyColumns() : 0; }

bool ParvexCursor::ValidColumn(long column) const {
  return mTable && column >= 0 && column < mTable->QtyColumns() && mTable->Column(column);
}

string ParvexCursor::ColumnName(long column) const {
  return ValidColumn(column) ? mTable->Column(column)->name : string();
}

ParvexDataType ParvexCursor::ColumnType(long column) const {
  if (!OnRow() || !ValidColumn(column)) return kTypeNone;
  return mTable->Column(column)->Type();
}

bool ParvexCursor::ColumnValue(long column, KORAColumnValue* value, string* error) const {
  *value = KORAColumnValue{};
  if (!OnRow() || !ValidColumn(column)) return false;
  ParvexValue v;
  if (!mTable->GetValue(static_cast<RowID>(mRow), column, &v)) return false;
  if (v.IsNull()) {
    // A NULL carries no reading; the host still learns the column's type.
    value->type = mTable->Column(column)->Type();
    value->isNull = 1;
    return true;
  }
  value->type = v.Type();
  switch (v.Type()) {
    case kTypeInteger:
    case kTypeBoolean:
      value->integer = v.GetInteger();
      return true;
    case kTypeDouble:
      value->number = v.GetDouble();
      return true;
    case kTypeString:
    case kTypeDate:
    case kTypeTime:
    case kTypeTimestamp:
    case kTypeBinary:
      // Dates and times go out as their bare text, without the keyword.
      value->text = ReturnText(v.RawText());
      return true;
    default:
      if (error) {
        *error = string("ParvexCursorColumnValue: Not yet able to handle fieldType ") +
                 Decimal(v.Type());
      }
      return false;
  }
}

bool ParvexCursor::Next() {
  if (mRow < mRowCount) ++mRow;
  return mRow >= 0 && mRow < mRowCount;
}

void ParvexCursor::Previous() {
  if (mRow > 0) --mRow;
}

void ParvexCursor::First() {
  if (mRowCount > 0) mRow = 0;
}

void ParvexCursor::Last() {
  if (mRowCount > 0) mRow = mRowCount - 1;
}

// The query reports, per result column, the source column's name and ID but
// not its table: the first FROM table (the order in which unqualified names
// resolve) that has a column with both that name and that ID owns it.
long ParvexCursor::SourceTableOf(ParvexDatabase& db, long column) const {
  if (column < 0 || static_cast<size_t>(column) >= mColumnNames.size() ||
      static_cast<size_t>(column) >= mColumnIDs.size()) {
    return -1;
  }
  const string& columnName = mColumnNames[column];
  const long columnID = mColumnIDs[column];
  if (columnName.empty()) return -1;
  for (size_t t = 0; t < mTableNames.size(); ++t) {
    const ParvexTable* table = db.FindTable(mTableNames[t]);
    if (!table) continue;
    for (long c = 0; c < table->QtyColumns(); ++c) {
      const ParvexColumnInfo* info = table->Column(c);
      if (info && info->columnID == columnID && info->name.Compare(columnName) == 0) {
        return static_cast<long>(t);
      }
    }
  }
  return -1;
}

bool ParvexCursor::BuildAssignment(ParvexDatabase& db, const KORAFieldUpdate& field,
                                   Assignment* assignment, string* error) const {
  const std::string prefix = "ParvexCursorUpdate: column " + Decimal(field.column);
  if (!ValidColumn(field.column)) {
    *error = string(prefix + " does not exist");
    return false;
  }
  const long table = SourceTableOf(db, field.column);
  if (table < 0) {
    *error = string(prefix + " is not a column of a source table");
    return false;
  }
  if (mColumnIDs[field.column] == 0) {
    *error = string(prefix + " is the row ID, which can't be changed");
    return false;
  }
  ParvexValue value;
  const KORAColumnValue& in = field.value;
  if (in.isNull) {
    value.SetNull(static_cast<ParvexDataType>(in.type));
  } else {
    switch (in.type) {
      case kTypeInteger:
        value.SetInteger(in.integer);
        break;
      case kTypeBoolean:
        value.SetBoolean(in.integer != 0);
        break;
      case kTypeDouble:
        value.SetDouble(in.number);
        break;
      case kTypeString:
      case kTypeDate:
      case kTypeTime:
      case kTypeTimestamp:
      case kTypeBinary:
        value.SetText(static_cast<ParvexDataType>(in.type), FromHostText(in.text));
        break;
      default:
        *error = string(prefix + ": Not yet able to handle fieldType " + Decimal(in.type));
        return false;
    }
  }
  const char escape = db.escapeOption.empty() ? 0 : static_cast<char>(db.escapeOption[0]);
  std::string literal;
  std::string why;
  if (!AppendSqlLiteral(value, escape, &literal, &why)) {
    *error = string(prefix + ": " + why);
    return false;
  }
  assignment->table = table;
  assignment->text = std::string(mColumnNames[field.column].view()) + "=" + literal;
  return true;
}

bool ParvexCursor::Update(const KORAFieldUpdate* fields, long count, string* error,
                          const char** state) {
  *state = kBindingErrorState;
  ParvexDatabase* db = OpenDatabaseOf(mDBObject);
  if (!OnRow() || !db) {
    *error = kUpdateNoRow;
    return false;
  }
  const auto* result = dynamic_cast<const ParvexTempTable*>(mTable.get());
  const ParvexRecSet* source = result ? result->GetSourceRecSet(mRow) : nullptr;
  if (!source) {
    *error = kUpdateNoRecSet;
    return false;
  }
  if (mTableNames.empty()) {
    *error = kUpdateNoTables;
    return false;
  }
  // Check every change before running anything, so that an edit is written
  // whole or not at all.
  std::vector<Assignment> assignments;
  uint32_t encoding = kEncodingDefault;  // statements take the host texts' encoding
  bool encodingSet = false;
  for (long i = 0; i < count; ++i) {
    const int32_t type = fields[i].value.type;
    if (!encodingSet && !fields[i].value.isNull && type >= 0 && type <= 0xFF &&
        IsTextType(static_cast<ParvexDataType>(type))) {
      encoding = fields[i].value.text.encoding;
      encodingSet = true;
    }
    Assignment assignment;
    if (!BuildAssignment(*db, fields[i], &assignment, error)) return false;
    if (static_cast<size_t>(assignment.table) >= source->size() ||
        (*source)[assignment.table] == kInvalidRowID) {
      *error = string("ParvexCursorUpdate: no source row in table ") +
               mTableNames[assignment.table].view();
      return false;
    }
    assignments.push_back(std::move(assignment));
  }
  for (size_t t = 0; t < mTableNames.size(); ++t) {
    std::string sql;
    for (const Assignment& a : assignments) {
      if (static_cast<size_t>(a.table) != t) continue;
      sql += sql.empty() ? "UPDATE " + mTableNames[t].str() + " SET " : ", ";
      sql += a.text;
    }
    if (sql.empty()) continue;
    sql += " WHERE _rowid=" + Decimal(static_cast<long>((*source)[t]));
    db->UpdateClock();
    ParvexStatus status;
    ParvexSQLExecute(string(sql, encoding), *db, &status);
    if (IsErrorState(status.State())) {
      *error = status.Description();
      *state = status.State();
      return false;
    }
  }
  return true;
}

// ---- callbacks ------------------------------------------------------------

namespace {

ParvexCursor* AsCursor(void* data) { return static_cast<ParvexCursor*>(data); }

void ParvexCursorClose(void* data) {
  SessionSentry sentry;
  delete AsCursor(data);
}

int32_t ParvexCursorColumnCount(void* data) {
  SessionSentry sentry;
  return data ? static_cast<int32_t>(AsCursor(data)->QtyColumns()) : 0;
}

KORAText ParvexCursorColumnName(void* data, int32_t column) {
  SessionSentry sentry;
  if (!data) return ReturnText(string());
  ParvexCursor* cursor = AsCursor(data);
  if (!cursor->ValidColumn(column)) {
    ReportDBError(cursor->DatabaseObject(), kBindingErrorState,
                  string("ParvexCursorColumnName (column ") + Decimal(column) +
                      "): no such column");
    return ReturnText(string());
  }
  return ReturnText(cursor->ColumnName(column));
}

int32_t ParvexCursorColumnType(void* data, int32_t column) {
  SessionSentry sentry;
  return data ? AsCursor(data)->ColumnType(column) : kTypeNone;
}

KORABoolean ParvexCursorColumnValue(void* data, int32_t column, KORAColumnValue* value) {
  SessionSentry sentry;
  if (!value) return 0;
  *value = KORAColumnValue{};
  if (!data) return 0;
  ParvexCursor* cursor = AsCursor(data);
  string error;
  if (cursor->ColumnValue(column, value, &error)) return 1;
  if (!error.empty()) ReportDBError(cursor->DatabaseObject(), kBindingErrorState, error);
  return 0;
}

int32_t ParvexCursorRowCount(void* data) {
  SessionSentry sentry;
  return data ? static_cast<int32_t>(AsCursor(data)->QtyRows()) : 0;
}

KORABoolean ParvexCursorNext(void* data) {
  SessionSentry sentry;
  return data && AsCursor(data)->Next();
}

void ParvexCursorPrevious(void* data) {
  SessionSentry sentry;
  if (data) AsCursor(data)->Previous();
}

void ParvexCursorFirst(void* data) {
  SessionSentry sentry;
  if (data) AsCursor(data)->First();
}

void ParvexCursorLast(void* data) {
  SessionSentry sentry;
  if (data) AsCursor(data)->Last();
}

KORABoolean ParvexCursorUpdate(void* data, const KORAFieldUpdate* fields, int32_t count) {
  SessionSentry sentry;
  if (!data) return 0;
  ParvexCursor* cursor = AsCursor(data);
  if (count > 0 && !fields) count = 0;
  string error;
  const char* state = kBindingErrorState;
  if (cursor->Update(fields, count, &error, &state)) return 1;
  ReportDBError(cursor->DatabaseObject(), state, error);
  return 0;
}

const KORADBCursorDefinition kCursorDefinition = {
    KORA_CURSOR_VERSION,
    ParvexCursorClose,
    ParvexCursorColumnCount,
    ParvexCursorColumnName,
    ParvexCursorColumnType,
    ParvexCursorColumnValue,
    ParvexCursorRowCount,
    ParvexCursorNext,
    ParvexCursorPrevious,
    ParvexCursorFirst,
    ParvexCursorLast,
    ParvexCursorUpdate,
    nullptr,  // deleteRow: not offered
};

}  // namespace

const KORADBCursorDefinition& CursorDefinition() { return kCursorDefinition; }

KORADBCursor NewHostCursor(std::unique_ptr<ParvexCursor> cursor) {
  if (!cursor) return nullptr;
  KORADBCursor handle = Host().newDBCursor(&kCursorDefinition, cursor.get());
  if (handle) cursor.release();  // the host owns it now and closes it through the table
  return handle;
}

}  // namespace parvex::kora
