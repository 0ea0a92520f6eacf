// ParvexDatabase: one open database.
//
// It owns the file access object through which every table's storage is
// reached, the list of open tables (entry 0 is always the schema table
// `_schema`, then the user tables in load order), the tables dropped in the
// current transaction, the ESCAPE option and the three clock texts that SQL
// sees as the current date and time. Every change stays pending in the
// tables' transaction layers until Commit writes it or Rollback discards it;
// destroying the object does not commit (its owner decides).
#pragma once

#include <atomic>

#include "core/status.h"
#include "core/table.h"
#include "platform/parvex_string.h"
#include "platform/simple_vector.h"

namespace parvex {

class ParvexFileAccess;

// Which executor runs the queries of a database (SELECT, and the row
// selection of UPDATE, DELETE and INSERT ... SELECT). Both return the same
// rows in the same order; kReference runs the plain described algorithms
// (nested-loop enumeration with pruning, linear DISTINCT, grouping by sorted
// key strings) and exists so that tests can compare the two.
enum class QueryExecutor { kFast, kReference };

class ParvexDatabase {
 public:
  // Takes ownership of `fileAccess` and, when it is not null, creates the
  // schema table over it as entry 0 of `tables`. User tables are loaded by the
  // opener (ParvexOpenDatabase) through the schema's LoadAllTables. A null
  // file access gives a database without data files and without tables (used
  // where only the clock and expression evaluation are needed).
  explicit ParvexDatabase(ParvexFileAccess* fileAccess);
  ParvexDatabase(const ParvexDatabase&) = delete;
  ParvexDatabase& operator=(const ParvexDatabase&) = delete;
  // Destroys the tables from the last to the first, then the file access.
  virtual ~ParvexDatabase();

  void Commit();
  void Rollback();
  bool TransactionInProgress() const;
  // "SCHEMADA" followed by the bytes of the schema's data file; empty with
  // the status set when refused.
  string GetSchemaData(ParvexStatus* status);
  void ReplaceSchemaData(const string& data, ParvexStatus* status);
  // Refreshes the clock texts from the local date and time.
  void UpdateClock();
  // Sets the clock texts from given parts (UpdateClock's formatting).
  void SetClock(int year, int month, int day, int hour, int minute, int second);

  // The open table named `name` (case-insensitive, first match), or null.
  ParvexTable* FindTable(const string& tableName) const;

  // Asks the statement running on this database to stop at its next check
  // (a query gives up and its statement fails with "Error: Interrupted.").
  // Safe to call from a signal handler or another thread. The request stays
  // until ClearInterrupt, which the caller does before its next statement.
  void Interrupt() { mInterrupted.store(true, std::memory_order_relaxed); }
  bool InterruptRequested() const { return mInterrupted.load(std::memory_order_relaxed); }
  void ClearInterrupt() { mInterrupted.store(false, std::memory_order_relaxed); }

  SimpleVector<ParvexTable*> tables;         // owned; [0] is the schema
  SimpleVector<ParvexTable*> droppedTables;  // owned
  string currentDate;
  string currentTime;
  string currentTimestamp;
  string escapeOption;
  QueryExecutor queryExecutor = QueryExecutor::kFast;
  ParvexFileAccess* fileAccess = nullptr;  // owned; null when no data files are available

 private:
  std::atomic<bool> mInterrupted{false};
};

// Opens the database in the host file at `path`, or creates it when `create`
// is set and the file is missing or empty. Returns an owned database with all
// tables loaded, or null with the status set: a missing file (when not
// creating), a file that is not a database, an unreadable file. A non-empty
// file that is not a database is never modified.
ParvexDatabase* ParvexOpenDatabase(const string& path, bool create, ParvexStatus* status);

}  // namespace parvex
