// ParvexDatabase: one open database.
//
// It owns the file access object through which every table's storage is
// reached, the list of open tables (entry 0 is always the schema table
// `_schema`, then the user tables in load order), the tables dropped in the
// current transaction, the ESCAPE option and the three clock texts that SQL
// sees as the current date and time. Every change stays pending in the
// tables' transaction layers until Commit writes it or Rollback discards it;
// destroying the object does not commit (its owner decides).
//
// Guarantees (through the database file's JournaledFile):
// - Atomic: one Commit is one unit across every table, the schema, the
//   indexes and the volume's block map. A crash, a kill or a power loss at
//   any moment leaves the file as last committed or, once Commit returned,
//   with everything it committed. Whatever was written to the file since the
//   last commit (creating a table's files, say) is undone by Rollback and by
//   closing without a commit.
// - Durable: Commit returns after the file was synced (unless the database
//   was opened with noSync).
// - One writer: a read-write open holds an exclusive lock on the file until
//   the database object is destroyed; read-only opens share theirs.
// - Failures reach the caller: a Commit that fails (disk full, I/O error,
//   file too large) reports it in its status, leaves the file exactly as
//   last committed, rolls the transaction back and leaves the object usable:
//   the caller runs the transaction again once the cause is mended.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "core/status.h"
#include "core/table.h"
#include "platform/parvex_string.h"
#include "platform/simple_vector.h"

namespace parvex {

class ParvexFileAccess;
class ParvexFileSystem;

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

  // Writes every pending change as one atomic, durable unit. On failure the
  // status says what failed (kPXDiskFull, kPXIOError, kPXProgramLimitExceeded,
  // kPXReadOnlyDatabase...) and that nothing was committed; the transaction
  // has then been rolled back. Success leaves the status kPXStateSuccess.
  void Commit(ParvexStatus* status);
  // Discards every pending change and everything written to the file since
  // the last commit. Fails only when the file can't be restored (an I/O
  // error); the database then refuses all work, and every later statement or
  // Rollback tries the restore again.
  void Rollback(ParvexStatus* status);
  // True while anything is pending: a table's changes, a dropped table, or
  // writes to the file since the last commit.
  bool TransactionInProgress() const;
  // Opened read-only: statements that change something fail with kPXReadOnlyDatabase.
  bool ReadOnly() const;
  // False, with the status set, when an earlier failure left the database
  // without its tables and the file still can't be restored; otherwise true
  // (having reloaded the tables when the restore now succeeds).
  bool CheckUsable(ParvexStatus* status);
  // True, with `status` (when given) set to that table's damage, when a
  // damaged table holds changes that a Commit would have to write (Commit
  // then refuses the whole transaction).
  bool FindDamagedChanges(ParvexStatus* status) const;
  // Collects the damage notices of the open and dropped tables (see
  // ParvexTable): true, with `status` (when given) set to the first noticed
  // table's damage, when a table recorded damage or refused a request since
  // the last call. Statements call it before they start and when they end.
  bool TakeDamageNotice(ParvexStatus* status) const;
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
  // The rows the last statement inserted, updated or deleted (0 after any
  // other statement); set by statement execution.
  int64_t rowsChanged = 0;
  // Where the last statement parsed stopped making sense: the byte offset in
  // its text of the token the parser's first error was raised at; -1 when it
  // parsed. Set by statement execution and preparation.
  int64_t parseErrorOffset = -1;
  QueryExecutor queryExecutor = QueryExecutor::kFast;
  ParvexFileAccess* fileAccess = nullptr;  // owned; null when no data files are available

 private:
  // Destroys every table, restores the file as last committed and loads the
  // tables again from it.
  bool ReloadFromFile(ParvexStatus* status);
  void RollbackInMemory();
  // Commits what loading the tables wrote to the file (repairs), when
  // nothing else is pending.
  void SettleLoadingWrites();

  std::atomic<bool> mInterrupted{false};
  bool mNeedsReload = false;  // the tables are gone until the file is restored
  // The parts the clock texts were last made from (none yet: all zero).
  std::array<int, 6> mClockParts{};
};

// How to open a database file. The defaults open an existing file read-write,
// synced, failing at once when another process has it open.
struct ParvexOpenOptions {
  // A missing file, or an existing empty one, becomes a new empty database
  // (ignored for read-only opens).
  bool create = false;
  // A shared lock instead of the exclusive one: other read-only opens may
  // read the file at the same time, writers are refused. Statements that
  // change something fail with kPXReadOnlyDatabase; nothing is ever written
  // to the file (an unfinished transaction left by a crash is read around,
  // not rolled back).
  bool readOnly = false;
  // Skips fsync/fdatasync. Commits stay atomic against crashes of the
  // program (a kill), but a power loss or an operating system crash can lose
  // committed transactions or damage the file. For bulk work on files that
  // can be made again.
  bool noSync = false;
  // How long to wait for another process to let go of the file before
  // failing with kPXDatabaseLocked; 0 fails at once.
  int32_t lockTimeoutMs = 0;
  // Pages (4 KiB each) of the database file kept in memory; 0 for the default
  // (2 MiB). A transaction that changes more spills pages to the file before
  // its commit, safely.
  int32_t cachePages = 0;
  // Every access to host files goes through this file system; null for the
  // operating system's. Not owned: it must outlive the database object. Tests
  // pass a MemoryFileSystem or a FaultInjectingFileSystem here.
  ParvexFileSystem* fileSystem = nullptr;
};

// Opens the database in the host file at `path`, or creates it when
// `options.create` is set and the file is missing or empty (a new database is
// committed before the call returns). Returns an owned database with all
// tables loaded, or null with the status set: kPXDatabaseLocked when another
// process holds the file (after the timeout), a missing file (when not
// creating), a file that is not a database, an unreadable file, an
// unfinished transaction that can't be rolled back. A non-empty file that is
// not a database is never modified, nor is a file whose lock was refused.
ParvexDatabase* ParvexOpenDatabase(const string& path, const ParvexOpenOptions& options, ParvexStatus* status);
// The same with default options and `create`.
ParvexDatabase* ParvexOpenDatabase(const string& path, bool create, ParvexStatus* status);

}  // namespace parvex
