// Parvex for C++ programs: a thin, header-only layer over the C interface
// (<parvex/parvex.h>, whose contracts hold here too).
//
//   parvex::Database db;
//   parvex::Status status = db.Open("my.pvx", PARVEX_OPEN_CREATE);
//   if (!status) std::cerr << status.message << '\n';
//   db.Exec("CREATE TABLE t (a Integer, b String)");
//   parvex::Statement insert = db.Prepare("INSERT INTO t VALUES (?, ?)");
//   insert.Bind(1, 42).Bind(2, "Zoë");
//   status = insert.Run();
//   db.Commit();
//   parvex::Statement select = db.Prepare("SELECT a, b FROM t");
//   while (select.Step()) std::cout << select.Int(0) << ' ' << select.Text(0) << '\n';
//   if (!select.status()) ...;   // Step returns false at the end and on failure
//
// Nothing throws. Database and Statement own their handles (move-only) and
// give them back when destroyed; a Statement must not outlive its
// Database. Calls that can fail return a Status (true when it succeeded) or
// remember it (Statement::status(), after Step and the binds). Text is UTF-8.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "parvex/parvex.h"

namespace parvex {

// The outcome of a call: the SQLSTATE ("00000" success, "01..." warning,
// "02000" no data, anything else an error) and the message.
struct Status {
  bool ok = true;
  std::string sqlstate = "00000";
  std::string message;
  explicit operator bool() const { return ok; }
};

class Statement {
 public:
  Statement() = default;
  Statement(Statement&& other) noexcept { *this = std::move(other); }
  Statement& operator=(Statement&& other) noexcept {
    if (this != &other) {
      parvex_finalize(mStmt);
      mStmt = std::exchange(other.mStmt, nullptr);
      mDb = other.mDb;
      mStatus = std::move(other.mStatus);
    }
    return *this;
  }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement() { parvex_finalize(mStmt); }

  // False when the statement failed to prepare (status() says why).
  bool valid() const { return mStmt != nullptr; }
  const Status& status() const { return mStatus; }
  parvex_stmt* handle() const { return mStmt; }

  // Placeholders count from 1. Each bind records its outcome in status().
  Statement& Bind(int index, std::nullptr_t) { return Record(parvex_bind_null(mStmt, index)); }
  template <typename Integer, std::enable_if_t<std::is_integral_v<Integer> && !std::is_same_v<Integer, bool>, int> = 0>
  Statement& Bind(int index, Integer value) {
    return Record(parvex_bind_int(mStmt, index, static_cast<int64_t>(value)));
  }
  Statement& Bind(int index, double value) { return Record(parvex_bind_double(mStmt, index, value)); }
  Statement& Bind(int index, bool value) { return Record(parvex_bind_bool(mStmt, index, value)); }
  Statement& Bind(int index, std::string_view text) {
    return Record(parvex_bind_text(mStmt, index, text.data(), static_cast<int64_t>(text.size())));
  }
  Statement& Bind(int index, const char* text) { return Bind(index, std::string_view(text)); }
  Statement& BindBlob(int index, const void* data, size_t length) {
    return Record(parvex_bind_blob(mStmt, index, data, length));
  }
  Statement& BindDate(int index, const char* text) { return Record(parvex_bind_date(mStmt, index, text)); }
  Statement& BindTime(int index, const char* text) { return Record(parvex_bind_time(mStmt, index, text)); }
  Statement& BindTimestamp(int index, const char* text) { return Record(parvex_bind_timestamp(mStmt, index, text)); }

  // Runs the statement or moves to the next row: true while a row is ready;
  // false at the end or on failure (then status() is not ok).
  bool Step() {
    const int result = parvex_step(mStmt);
    Record(result == PARVEX_ERROR ? PARVEX_ERROR : PARVEX_OK);
    return result == PARVEX_ROW;
  }
  // Runs a statement to its end (rows are skipped) and makes it ready to run again.
  Status Run() {
    while (Step()) {
    }
    const Status outcome = mStatus;
    parvex_reset(mStmt);
    return outcome;
  }
  void Reset() { parvex_reset(mStmt); }

  int ColumnCount() const { return parvex_column_count(mStmt); }
  std::string ColumnName(int column) const { return Str(parvex_column_name(mStmt, column)); }
  int ColumnType(int column) const { return parvex_column_type(mStmt, column); }
  bool IsNull(int column) const { return parvex_column_is_null(mStmt, column) != 0; }
  int64_t Int(int column) const { return parvex_column_int(mStmt, column); }
  double Double(int column) const { return parvex_column_double(mStmt, column); }
  // The text, or nullopt for NULL.
  std::optional<std::string> Text(int column) const {
    const char* text = parvex_column_text(mStmt, column);
    if (!text) return std::nullopt;
    return std::string(text, parvex_column_bytes(mStmt, column));
  }
  std::string Sql() const { return Str(parvex_stmt_sql(mStmt)); }
  int Kind() const { return parvex_stmt_kind(mStmt); }

 private:
  friend class Database;
  Statement(parvex_db* db, parvex_stmt* stmt) : mDb(db), mStmt(stmt) { Record(stmt ? PARVEX_OK : PARVEX_ERROR); }
  static std::string Str(const char* text) { return text ? text : ""; }
  Statement& Record(int result) {
    mStatus.ok = result == PARVEX_OK;
    mStatus.sqlstate = Str(parvex_sqlstate(mDb));
    mStatus.message = Str(parvex_errmsg(mDb));
    return *this;
  }

  parvex_db* mDb = nullptr;
  parvex_stmt* mStmt = nullptr;
  Status mStatus;
};

// A place where the dialect reads a statement otherwise than it looks
// (parvex_warnings): its PARVEX_WARNING_* kind, what the statement does
// instead, and how to write what was probably meant.
struct Warning {
  int kind = 0;
  std::string message;
  std::string hint;
};

class Database {
 public:
  Database() = default;
  Database(Database&& other) noexcept : mDb(std::exchange(other.mDb, nullptr)) {}
  Database& operator=(Database&& other) noexcept {
    if (this != &other) {
      parvex_close(mDb);
      mDb = std::exchange(other.mDb, nullptr);
    }
    return *this;
  }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;
  // Closes the database; what was not committed is discarded.
  ~Database() { parvex_close(mDb); }

  // `flags`: PARVEX_OPEN_CREATE, PARVEX_OPEN_READONLY, PARVEX_OPEN_NOSYNC.
  Status Open(const std::string& path, int flags = 0, int lockTimeoutMs = 0) {
    parvex_close(mDb);
    mDb = nullptr;
    return Outcome(parvex_open(path.c_str(), flags, lockTimeoutMs, &mDb));
  }
  bool IsOpen() const { return mDb != nullptr && LastStatus().ok; }
  parvex_db* handle() const { return mDb; }

  Status Exec(const std::string& sql) { return Outcome(parvex_exec(mDb, sql.c_str())); }
  // A statement that is not valid() when the text does not parse.
  Statement Prepare(const std::string& sql) {
    parvex_stmt* stmt = nullptr;
    parvex_prepare(mDb, sql.c_str(), &stmt);
    return Statement(mDb, stmt);
  }
  Status Commit() { return Outcome(parvex_commit(mDb)); }
  Status Rollback() { return Outcome(parvex_rollback(mDb)); }
  bool InTransaction() const { return parvex_in_transaction(mDb) != 0; }
  int64_t Changes() const { return parvex_changes(mDb); }
  int64_t LastRowID(const std::string& table) const { return parvex_last_row_id(mDb, table.c_str()); }
  void Interrupt() { parvex_interrupt(mDb); }

  // The warnings for `sql`, which is not run; `ran` (when given) receives
  // the statement as it was read, as canonical SQL.
  std::vector<Warning> Warnings(const std::string& sql, std::string* ran = nullptr) {
    std::vector<Warning> warnings;
    const int count = parvex_warnings(mDb, sql.c_str());
    for (int i = 0; i < count; ++i) {
      warnings.push_back({parvex_warning_kind(mDb, i), parvex_warning_message(mDb, i), parvex_warning_hint(mDb, i)});
    }
    if (ran) *ran = count >= 0 ? parvex_warnings_sql(mDb) : "";
    return warnings;
  }

  std::vector<std::string> Tables() const {
    std::vector<std::string> names;
    for (int i = 0; i < parvex_table_count(mDb); ++i) names.emplace_back(parvex_table_name(mDb, i));
    return names;
  }
  // The schema as one block of bytes, empty with the status set when refused.
  std::string ExportSchema(Status* status = nullptr) {
    void* data = nullptr;
    size_t length = 0;
    const Status outcome = Outcome(parvex_schema_export(mDb, &data, &length));
    std::string bytes(static_cast<const char*>(data ? data : ""), length);
    parvex_free(data);
    if (status) *status = outcome;
    return bytes;
  }
  Status ReplaceSchema(const std::string& data) {
    return Outcome(parvex_schema_replace(mDb, data.data(), data.size()));
  }

  // The status of the last call on the database.
  Status LastStatus() const {
    Status status;
    status.sqlstate = parvex_sqlstate(mDb);
    status.message = parvex_errmsg(mDb);
    status.ok = mDb != nullptr && status.sqlstate.size() == 5 &&
                (status.sqlstate.compare(0, 2, "00") == 0 || status.sqlstate.compare(0, 2, "01") == 0 ||
                 status.sqlstate.compare(0, 2, "02") == 0);
    return status;
  }

 private:
  Status Outcome(int result) const {
    Status status = LastStatus();
    status.ok = result == PARVEX_OK;
    return status;
  }

  parvex_db* mDb = nullptr;
};

}  // namespace parvex
