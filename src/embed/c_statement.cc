// The C interface: prepared statements, bindings, steps and column values.
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "embed/handles.h"
#include "parvex/parvex.h"
#include "platform/text_encoding.h"
#include "query/sql_literal.h"
#include "sql/binder.h"
#include "sql/syntax_statements.h"

using namespace parvex;
using namespace parvex::embed;

namespace {

// The statement ready to be bound: not while a SELECT's rows are read.
parvex_stmt* Bindable(parvex_stmt* stmt, int index) {
  if (!stmt) return nullptr;
  if (stmt->phase == parvex_stmt::Phase::kReading) {
    stmt->db->Fail(kPXInvalidTransactionState, "Error: Reset the statement before binding.");
    return nullptr;
  }
  if (index < 1 || !stmt->statement || index > stmt->statement->ParameterCount()) {
    stmt->db->Fail(kPXInvalidParameter, ("Error: The statement has no parameter ?" + std::to_string(index) + ".").c_str());
    return nullptr;
  }
  return stmt;
}

int Bind(parvex_stmt* stmt, int index, const ParvexValue& value) {
  if (!Bindable(stmt, index)) return PARVEX_ERROR;
  stmt->statement->Bind(index, value);
  return stmt->db->Succeed();
}

bool Digits(std::string_view text, size_t from, size_t count) {
  if (text.size() < from + count) return false;
  for (size_t i = from; i < from + count; ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
  }
  return true;
}

bool IsDate(std::string_view t) {
  return t.size() == 10 && Digits(t, 0, 4) && t[4] == '-' && Digits(t, 5, 2) && t[7] == '-' && Digits(t, 8, 2);
}

// HH:MM:SS, optionally followed by a fraction ".ddd".
bool IsTime(std::string_view t) {
  if (t.size() < 8 || !Digits(t, 0, 2) || t[2] != ':' || !Digits(t, 3, 2) || t[5] != ':' || !Digits(t, 6, 2)) {
    return false;
  }
  return t.size() == 8 || (t[8] == '.' && t.size() > 9 && Digits(t, 9, t.size() - 9));
}

bool IsTimestamp(std::string_view t) { return t.size() >= 19 && IsDate(t.substr(0, 10)) && t[10] == ' ' && IsTime(t.substr(11)); }

int BindDatetime(parvex_stmt* stmt, int index, const char* text, ParvexDataType type, bool (*valid)(std::string_view)) {
  if (!Bindable(stmt, index)) return PARVEX_ERROR;
  if (!text || !valid(text)) {
    return stmt->db->Fail(kPXInvalidParameter, "Error: Invalid date or time text.");
  }
  return Bind(stmt, index, ParvexValue::Text(type, Utf8(text)));
}

// The current row's value in `column`; NULL when out of range.
const ParvexValue& Cell(parvex_stmt* stmt, int column) {
  static const ParvexValue kNull;
  if (!stmt || column < 0 || static_cast<size_t>(column) >= stmt->row.size()) return kNull;
  const size_t c = static_cast<size_t>(column);
  if (stmt->resultRows && !stmt->decoded[c]) {
    DecodeValueInto(stmt->cells[c], &stmt->row[c]);
    stmt->decoded[c] = true;
  }
  return stmt->row[c];
}

// The engine's own text of a value (as a String column would store it),
// without the keyword of a date or time; UTF-8 unless it is a Binary's bytes.
std::string TextOf(const ParvexValue& value) {
  const string text = value.GetSaveString();
  if (!IsTextType(value.Type()) || value.Type() == kTypeBinary || text.Encoding() == kEncodingUTF8) return text.str();
  return ConvertEncoding(text, kEncodingUTF8).str();
}

// An Integer's text (TextOf's), written into the column's own digit buffer.
const char* HoldInteger(parvex_stmt::ColumnText* text, int32_t integer) {
  char* end = std::to_chars(text->digits, text->digits + sizeof text->digits - 1, integer).ptr;
  *end = '\0';
  text->text = text->digits;
  text->bytes = static_cast<size_t>(end - text->digits);
  return text->text;
}

// Ends the reading of a result.
void EndRows(parvex_stmt* stmt) {
  stmt->phase = parvex_stmt::Phase::kReady;
  stmt->result.reset();
  stmt->resultRows = nullptr;
  stmt->source = nullptr;
  stmt->rows.clear();
  stmt->qtyRows = 0;
  stmt->row.clear();
  stmt->next = 0;
}

// After an INSERT that added rows: the row ID of the last one.
void NoteInsert(parvex_stmt* stmt) {
  const SQLSyntaxNode& node = stmt->statement->Node();
  if (!node.IsInsert() || stmt->db->database->rowsChanged == 0) return;
  const auto& insert = static_cast<const SQLInsertNode&>(node);
  if (const ParvexTable* table = stmt->db->database->FindTable(insert.tableName)) {
    stmt->db->lastInsertRowID = table->lastRowID;
  }
}

// The columns of what is read: the query's result, or the table read.
const ParvexTable* Shape(parvex_stmt* stmt) {
  if (!stmt) return nullptr;
  return stmt->result ? stmt->result.get() : stmt->source;
}

// A new current row: no text asked for yet (the held texts keep their
// buffers for the next ones).
void KeepRow(parvex_stmt* stmt) {
  stmt->texts.resize(stmt->row.size());
  for (parvex_stmt::ColumnText& text : stmt->texts) text.text = nullptr;
}

// A damaged table stops its read, before the row it could not read whole.
int FailDamaged(parvex_stmt* stmt) {
  const ParvexStatus damage = stmt->source->DamageStatus();
  EndRows(stmt);
  stmt->db->Report(damage);
  return PARVEX_ERROR;
}

// One step of a table read: the next stored row, `_rowid` first, read from
// the table itself so that a damaged table yields the rows before the damage.
int StepTable(parvex_stmt* stmt) {
  if (stmt->phase == parvex_stmt::Phase::kReady) {
    EndRows(stmt);
    ParvexDatabase* database = stmt->db->Usable();
    if (!database) return PARVEX_ERROR;
    ParvexStatus status;
    stmt->source = BindTable(*database, Utf8(stmt->tableName.c_str()), &status);
    if (!stmt->source) {
      stmt->db->Report(status);
      return PARVEX_ERROR;
    }
    stmt->db->Succeed();
    if (stmt->readDefaults) {
      stmt->rows.push_back(0);
    } else {
      stmt->source->GetRowIDs(&stmt->rows);
    }
    stmt->phase = parvex_stmt::Phase::kReading;
  }
  const ParvexTable& table = *stmt->source;
  if (stmt->next >= stmt->rows.size()) {
    if (!stmt->readDefaults && table.IsDamaged()) return FailDamaged(stmt);
    stmt->phase = parvex_stmt::Phase::kReady;
    stmt->rows.clear();
    stmt->row.clear();
    return PARVEX_DONE;
  }
  const RowID id = stmt->rows[stmt->next++];
  const long columns = table.QtyColumns();
  stmt->row.assign(static_cast<size_t>(columns), ParvexValue());
  for (long c = 0; c < columns; ++c) {
    ParvexValue& cell = stmt->row[static_cast<size_t>(c)];
    if (stmt->readDefaults) {
      const ParvexColumnInfo* info = c > 0 ? table.Column(c) : nullptr;
      if (info) cell = info->defaultValue;
    } else if (!table.GetValue(id, c, &cell)) {
      cell = ParvexValue();
    }
  }
  if (!stmt->readDefaults && table.IsDamaged()) return FailDamaged(stmt);
  KeepRow(stmt);
  return PARVEX_ROW;
}

// The statement's canonical text. Most statements are run without it being
// asked for (each INSERT of a bulk load), so it is printed on first need;
// the syntax tree does not change after preparation.
const std::string& CanonicalText(parvex_stmt* stmt) {
  if (!stmt->canonicalMade && stmt->statement) {
    stmt->canonical = stmt->statement->Node().Description().str();
    stmt->canonicalMade = true;
  }
  return stmt->canonical;
}

int NextRow(parvex_stmt* stmt) {
  if (stmt->next >= stmt->qtyRows) {
    // The result's columns stay readable until the next step or reset.
    stmt->phase = parvex_stmt::Phase::kReady;
    stmt->rows.clear();
    stmt->qtyRows = 0;
    stmt->row.clear();
    return PARVEX_DONE;
  }
  if (stmt->resultRows) {
    // The values decoded for the last row keep their text buffers for this one.
    stmt->resultRows->ReadRow(static_cast<RowID>(stmt->next++), &stmt->cells);
    stmt->row.resize(stmt->cells.size());
    stmt->decoded.assign(stmt->cells.size(), false);
    KeepRow(stmt);
    return PARVEX_ROW;
  }
  const RowID id = stmt->rows[stmt->next++];
  const long columns = stmt->result->QtyColumns();
  stmt->row.assign(static_cast<size_t>(columns), ParvexValue());
  for (long c = 0; c < columns; ++c) {
    if (!stmt->result->GetValue(id, c, &stmt->row[static_cast<size_t>(c)])) stmt->row[static_cast<size_t>(c)] = ParvexValue();
  }
  KeepRow(stmt);
  return PARVEX_ROW;
}

}  // namespace

extern "C" {

int parvex_prepare(parvex_db* db, const char* sql, parvex_stmt** stmt) {
  if (!stmt) return PARVEX_ERROR;
  *stmt = nullptr;
  if (!db) return PARVEX_ERROR;
  ParvexDatabase* database = db->Usable();
  if (!database) return PARVEX_ERROR;
  try {
    ParvexStatus status;
    std::unique_ptr<ParvexPreparedStatement> prepared = ParvexPreparedStatement::Prepare(Utf8(sql), *database, &status);
    if (!prepared) return db->Report(status);
    auto handle = std::make_unique<parvex_stmt>();
    handle->db = db;
    handle->statement = std::move(prepared);
    *stmt = handle.release();
    ++db->liveStatements;
    return db->Succeed();
  } catch (...) {
    return db->Fail(kPXProgramLimitExceeded, "Error: Out of memory.");
  }
}

int parvex_read_table(parvex_db* db, const char* table, int what, parvex_stmt** stmt) {
  if (!stmt) return PARVEX_ERROR;
  *stmt = nullptr;
  if (!db || !table || (what != PARVEX_READ_ROWS && what != PARVEX_READ_DEFAULTS)) return PARVEX_ERROR;
  ParvexDatabase* database = db->Usable();
  if (!database) return PARVEX_ERROR;
  try {
    ParvexStatus status;
    if (!BindTable(*database, Utf8(table), &status)) return db->Report(status);
    auto handle = std::make_unique<parvex_stmt>();
    handle->db = db;
    handle->tableName = table;
    handle->readDefaults = what == PARVEX_READ_DEFAULTS;
    *stmt = handle.release();
    ++db->liveStatements;
    return db->Succeed();
  } catch (...) {
    return db->Fail(kPXProgramLimitExceeded, "Error: Out of memory.");
  }
}

void parvex_finalize(parvex_stmt* stmt) {
  if (!stmt) return;
  --stmt->db->liveStatements;
  delete stmt;
}

int parvex_reset(parvex_stmt* stmt) {
  if (!stmt) return PARVEX_ERROR;
  EndRows(stmt);
  return PARVEX_OK;
}

int parvex_step(parvex_stmt* stmt) {
  if (!stmt) return PARVEX_ERROR;
  parvex_db* db = stmt->db;
  try {
    if (!stmt->statement) return StepTable(stmt);
    if (stmt->phase == parvex_stmt::Phase::kReading) return NextRow(stmt);
    ParvexDatabase* database = db->Usable();
    if (!database) return PARVEX_ERROR;
    database->UpdateClock();
    database->ClearInterrupt();
    ParvexStatus status;
    EndRows(stmt);
    if (!stmt->statement->IsQuery()) {
      stmt->statement->Execute(&status);
      if (db->Report(status) != PARVEX_OK) return PARVEX_ERROR;
      NoteInsert(stmt);
      return PARVEX_DONE;
    }
    stmt->result.reset(stmt->statement->Query(&status));
    if (db->Report(status) != PARVEX_OK || !stmt->result) {
      EndRows(stmt);
      return PARVEX_ERROR;
    }
    // A result table's rows are its positions 0, 1, 2...
    stmt->resultRows = dynamic_cast<const ParvexTempTable*>(stmt->result.get());
    if (stmt->resultRows) {
      stmt->qtyRows = static_cast<size_t>(stmt->resultRows->QtyRows());
    } else {
      stmt->result->GetRowIDs(&stmt->rows);
      stmt->qtyRows = stmt->rows.size();
    }
    stmt->next = 0;
    stmt->phase = parvex_stmt::Phase::kReading;
    return NextRow(stmt);
  } catch (...) {
    EndRows(stmt);
    return db->Fail(kPXProgramLimitExceeded, "Error: Out of memory.");
  }
}

int parvex_stmt_kind(parvex_stmt* stmt) {
  if (!stmt) return 0;
  if (!stmt->statement) return PARVEX_KIND_SELECT;
  const SQLSyntaxNode& node = stmt->statement->Node();
  if (node.IsSelect()) return PARVEX_KIND_SELECT;
  if (node.IsInsert()) return PARVEX_KIND_INSERT;
  if (node.IsUpdate()) return PARVEX_KIND_UPDATE;
  if (node.IsDelete()) return PARVEX_KIND_DELETE;
  if (node.IsCreateTable()) return PARVEX_KIND_CREATE_TABLE;
  if (node.IsAlterTable()) return PARVEX_KIND_ALTER_TABLE;
  if (node.IsDropTable()) return PARVEX_KIND_DROP_TABLE;
  if (node.IsCreateIndex()) return PARVEX_KIND_CREATE_INDEX;
  if (node.IsDropIndex()) return PARVEX_KIND_DROP_INDEX;
  if (node.IsSetOption()) return PARVEX_KIND_SET;
  if (node.IsEndTransaction()) return CanonicalText(stmt) == "COMMIT" ? PARVEX_KIND_COMMIT : PARVEX_KIND_ROLLBACK;
  return 0;
}

const char* parvex_stmt_sql(parvex_stmt* stmt) {
  if (!stmt) return nullptr;
  try {
    return CanonicalText(stmt).c_str();
  } catch (...) {
    return "";
  }
}

int parvex_bind_parameter_count(parvex_stmt* stmt) {
  return stmt && stmt->statement ? stmt->statement->ParameterCount() : 0;
}

int parvex_bind_null(parvex_stmt* stmt, int index) { return Bind(stmt, index, ParvexValue()); }

int parvex_bind_int(parvex_stmt* stmt, int index, int64_t value) {
  if (!Bindable(stmt, index)) return PARVEX_ERROR;
  if (value < std::numeric_limits<int32_t>::min() || value > std::numeric_limits<int32_t>::max()) {
    return stmt->db->Fail(kPXInvalidParameter, "Error: Integer out of range (32 bits).");
  }
  return Bind(stmt, index, ParvexValue::Integer(static_cast<int32_t>(value)));
}

int parvex_bind_double(parvex_stmt* stmt, int index, double value) { return Bind(stmt, index, ParvexValue::Double(value)); }

int parvex_bind_bool(parvex_stmt* stmt, int index, int value) { return Bind(stmt, index, ParvexValue::Boolean(value != 0)); }

int parvex_bind_text(parvex_stmt* stmt, int index, const char* text, int64_t length) {
  if (!text && length > 0) return Bind(stmt, index, ParvexValue());
  const size_t size = length < 0 ? (text ? std::strlen(text) : 0) : static_cast<size_t>(length);
  return Bind(stmt, index, ParvexValue::String(Utf8(text, size)));
}

int parvex_bind_blob(parvex_stmt* stmt, int index, const void* data, size_t length) {
  if (!data && length > 0) return Bind(stmt, index, ParvexValue());
  return Bind(stmt, index, ParvexValue::Text(kTypeBinary, Utf8(static_cast<const char*>(data), length)));
}

int parvex_bind_date(parvex_stmt* stmt, int index, const char* text) {
  return BindDatetime(stmt, index, text, kTypeDate, IsDate);
}

int parvex_bind_time(parvex_stmt* stmt, int index, const char* text) {
  return BindDatetime(stmt, index, text, kTypeTime, IsTime);
}

int parvex_bind_timestamp(parvex_stmt* stmt, int index, const char* text) {
  return BindDatetime(stmt, index, text, kTypeTimestamp, IsTimestamp);
}

int parvex_clear_bindings(parvex_stmt* stmt) {
  if (!stmt) return PARVEX_ERROR;
  if (stmt->statement) stmt->statement->ClearBindings();
  return PARVEX_OK;
}

int parvex_column_count(parvex_stmt* stmt) {
  // (Asked for before every column by many callers: a result table answers
  // without a virtual call.)
  if (stmt && stmt->result && stmt->resultRows) return static_cast<int>(stmt->resultRows->QtyColumns());
  const ParvexTable* shape = Shape(stmt);
  return shape ? static_cast<int>(shape->QtyColumns()) : 0;
}

const char* parvex_column_name(parvex_stmt* stmt, int column) {
  const ParvexTable* shape = Shape(stmt);
  const ParvexColumnInfo* info = shape ? shape->Column(column) : nullptr;
  return info ? info->name.c_str() : nullptr;
}

int parvex_column_type(parvex_stmt* stmt, int column) {
  const ParvexTable* shape = Shape(stmt);
  const ParvexColumnInfo* info = shape ? shape->Column(column) : nullptr;
  return info ? info->Type() : PARVEX_TYPE_NULL;
}

int parvex_column_is_null(parvex_stmt* stmt, int column) { return Cell(stmt, column).IsNull(); }

int parvex_column_value_type(parvex_stmt* stmt, int column) {
  const ParvexValue& value = Cell(stmt, column);
  return value.IsNull() ? PARVEX_TYPE_NULL : value.Type();
}

int64_t parvex_column_int(parvex_stmt* stmt, int column) {
  const ParvexValue& value = Cell(stmt, column);
  if (value.IsNull()) return 0;
  switch (value.Type()) {
    case kTypeInteger:
    case kTypeBoolean:
      return value.RawInteger();
    case kTypeDouble: {
      const double d = value.RawDouble();
      if (std::isnan(d)) return 0;
      if (d >= 9.2e18) return std::numeric_limits<int64_t>::max();
      if (d <= -9.2e18) return std::numeric_limits<int64_t>::min();
      return static_cast<int64_t>(d);
    }
    default:
      return std::strtoll(value.RawText().c_str(), nullptr, 10);
  }
}

double parvex_column_double(parvex_stmt* stmt, int column) {
  const ParvexValue& value = Cell(stmt, column);
  if (value.IsNull()) return 0.0;
  switch (value.Type()) {
    case kTypeDouble:
      return value.RawDouble();
    case kTypeInteger:
    case kTypeBoolean:
      return value.RawInteger();
    default:
      return std::strtod(value.RawText().c_str(), nullptr);
  }
}

const char* parvex_column_text(parvex_stmt* stmt, int column) {
  const bool inRange = stmt && column >= 0 && static_cast<size_t>(column) < stmt->row.size();
  if (!inRange) return nullptr;  // NULL, as for any NULL value
  parvex_stmt::ColumnText& text = stmt->texts[static_cast<size_t>(column)];
  if (text.text) return text.text;
  const EncodedValue* cell = stmt->resultRows ? &stmt->cells[static_cast<size_t>(column)] : nullptr;
  if (cell && !cell->null && cell->type == kTypeInteger) {
    // A result table's value read in place: no decoding.
    return HoldInteger(&text, cell->integer);
  } else if (cell && !cell->null && IsTextType(cell->type) &&
             (cell->type == kTypeBinary || cell->encoding == kEncodingUTF8)) {
    // The encoded bytes end with a zero byte and stay put while the result
    // is read.
    text.text = cell->text.data();
    text.bytes = cell->text.size();
    return text.text;
  } else {
    const ParvexValue& value = Cell(stmt, column);
    if (value.IsNull()) return nullptr;
    if (value.Type() == kTypeInteger) {
      return HoldInteger(&text, value.RawInteger());
    } else if (IsTextType(value.Type()) &&
               (value.Type() == kTypeBinary || value.RawText().Encoding() == kEncodingUTF8)) {
      // The value's own bytes are the text (NUL-terminated, and unchanged
      // until the row changes).
      text.text = value.RawText().c_str();
      text.bytes = value.RawText().length();
      return text.text;
    } else {
      text.held = TextOf(value);
    }
  }
  text.text = text.held.c_str();
  text.bytes = text.held.size();
  return text.text;
}

const void* parvex_column_blob(parvex_stmt* stmt, int column) { return parvex_column_text(stmt, column); }

size_t parvex_column_bytes(parvex_stmt* stmt, int column) {
  return parvex_column_text(stmt, column) ? stmt->texts[static_cast<size_t>(column)].bytes : 0;
}

const char* parvex_column_literal(parvex_stmt* stmt, int column) {
  if (!stmt) return nullptr;
  stmt->literal.clear();
  stmt->literalExact = AppendSqlLiteral(Cell(stmt, column), 0, &stmt->literal);
  return stmt->literal.c_str();
}

int parvex_column_literal_exact(parvex_stmt* stmt) { return stmt && stmt->literalExact; }

}  // extern "C"
