// The C interface: opening and closing, errors, statements run directly,
// transactions, counters, schema data and interrupts.
#include <cstdlib>
#include <cstring>
#include <new>

#include "embed/handles.h"
#include "parvex/parvex.h"
#include "sql/binder.h"

using namespace parvex;

namespace parvex::embed {

string Utf8(const char* text) { return string(text ? text : "", kEncodingUTF8); }

string Utf8(const char* bytes, size_t length) { return string(length ? bytes : "", length, kEncodingUTF8); }

const char* Hold(std::string* holder, std::string_view text) {
  holder->assign(text);
  return holder->c_str();
}

}  // namespace parvex::embed

using namespace parvex::embed;

namespace {

int EndTransaction(parvex_db* db, void (ParvexDatabase::*end)(ParvexStatus*)) {
  if (!db) return PARVEX_ERROR;
  ParvexDatabase* database = db->Usable();
  if (!database) return PARVEX_ERROR;
  ParvexStatus status;
  (database->*end)(&status);
  return db->Report(status);
}

}  // namespace

int parvex_db::Report(const ParvexStatus& status) {
  sqlstate = status.Code();
  message = IsErrorState(status.State()) || status.State() != kPXStateSuccess ? status.Description().str() : "";
  return IsErrorState(status.State()) ? PARVEX_ERROR : PARVEX_OK;
}

int parvex_db::Fail(ParvexState state, const char* text) { return Report(ParvexStatus(state, string(text))); }

ParvexDatabase* parvex_db::Usable() {
  if (!database) Fail(kPXDynamicSQLError, "Error: The database is not open.");
  return database.get();
}

extern "C" {

const char* parvex_version(void) { return PARVEX_VERSION; }

int parvex_open(const char* path, int flags, int lock_timeout_ms, parvex_db** db) {
  if (!db) return PARVEX_ERROR;
  *db = new (std::nothrow) parvex_db;
  if (!*db) return PARVEX_ERROR;
  parvex_db& handle = **db;
  try {
    handle.path = path ? path : "";
    ParvexOpenOptions options;
    options.create = (flags & PARVEX_OPEN_CREATE) != 0;
    options.readOnly = (flags & PARVEX_OPEN_READONLY) != 0;
    options.noSync = (flags & PARVEX_OPEN_NOSYNC) != 0;
    options.lockTimeoutMs = lock_timeout_ms > 0 ? lock_timeout_ms : 0;
    if ((flags & PARVEX_OPEN_MEMORY) != 0) {
      handle.memory = std::make_unique<MemoryFileSystem>();
      options.fileSystem = handle.memory.get();
      options.create = true;
      options.readOnly = false;
      options.noSync = false;
    }
    ParvexStatus status;
    handle.database.reset(ParvexOpenDatabase(Utf8(path), options, &status));
    if (!handle.database && !IsErrorState(status.State())) status.Set(kPXIOError, string("Error: Can't open the database."));
    return handle.Report(status);
  } catch (...) {
    handle.database.reset();
    return handle.Fail(kPXProgramLimitExceeded, "Error: Out of memory.");
  }
}

int parvex_close(parvex_db* db) {
  if (!db) return PARVEX_OK;
  if (db->liveStatements > 0) return db->Fail(kPXInvalidTransactionState, "Error: Statements are not finalized.");
  delete db;
  return PARVEX_OK;
}

const char* parvex_sqlstate(parvex_db* db) { return db ? db->sqlstate.c_str() : "HY009"; }

const char* parvex_errmsg(parvex_db* db) { return db ? db->message.c_str() : "Error: No database."; }

void parvex_interrupt(parvex_db* db) {
  if (db && db->database) db->database->Interrupt();
}

int parvex_exec(parvex_db* db, const char* sql) {
  parvex_stmt* stmt = nullptr;
  if (parvex_prepare(db, sql, &stmt) != PARVEX_OK) return PARVEX_ERROR;
  int result = PARVEX_ERROR;
  if (stmt->statement->ParameterCount() > 0) {
    // Text run directly has no values for its placeholders.
    db->Fail(kPXDynamicSQLError, "Error: Parameter ?1 has no value.");
  } else {
    do {
      result = parvex_step(stmt);
    } while (result == PARVEX_ROW);
  }
  parvex_finalize(stmt);
  return result == PARVEX_DONE ? PARVEX_OK : PARVEX_ERROR;
}

int64_t parvex_error_offset(parvex_db* db) { return db && db->database ? db->database->parseErrorOffset : -1; }

int parvex_escape_char(parvex_db* db) {
  if (!db || !db->database || db->database->escapeOption.empty()) return 0;
  return static_cast<unsigned char>(db->database->escapeOption.data()[0]);
}

int64_t parvex_changes(parvex_db* db) { return db && db->database ? db->database->rowsChanged : 0; }

int64_t parvex_last_insert_row_id(parvex_db* db) { return db ? db->lastInsertRowID : 0; }

int64_t parvex_last_row_id(parvex_db* db, const char* table) {
  if (!db || !db->Usable()) return -1;
  ParvexStatus status;
  const ParvexTable* found = BindTable(*db->database, Utf8(table), &status);
  db->Report(status);
  return found ? static_cast<int64_t>(found->lastRowID) : -1;
}

int parvex_commit(parvex_db* db) { return EndTransaction(db, &ParvexDatabase::Commit); }

int parvex_rollback(parvex_db* db) { return EndTransaction(db, &ParvexDatabase::Rollback); }

int parvex_in_transaction(parvex_db* db) { return db && db->database && db->database->TransactionInProgress(); }

int parvex_schema_export(parvex_db* db, void** data, size_t* length) {
  if (!db || !data || !length) return PARVEX_ERROR;
  *data = nullptr;
  *length = 0;
  ParvexDatabase* database = db->Usable();
  if (!database) return PARVEX_ERROR;
  ParvexStatus status;
  const string schema = database->GetSchemaData(&status);
  if (IsErrorState(status.State())) return db->Report(status);
  void* copy = std::malloc(schema.length() ? schema.length() : 1);
  if (!copy) return db->Fail(kPXProgramLimitExceeded, "Error: Out of memory.");
  std::memcpy(copy, schema.data(), schema.length());
  *data = copy;
  *length = schema.length();
  return db->Report(status);
}

int parvex_schema_replace(parvex_db* db, const void* data, size_t length) {
  if (!db) return PARVEX_ERROR;
  ParvexDatabase* database = db->Usable();
  if (!database) return PARVEX_ERROR;
  ParvexStatus status;
  database->ReplaceSchemaData(string(static_cast<const char*>(data), data ? length : 0, kEncodingDefault), &status);
  return db->Report(status);
}

void parvex_free(void* data) { std::free(data); }

}  // extern "C"
