// The objects behind the C interface's opaque handles (include/parvex/parvex.h).
//
// A parvex_db owns the open database (null after a failed open) and the
// outcome of the last call on it, kept as texts so that the pointers the
// interface hands out stay valid until the next call. A parvex_stmt owns its
// prepared statement and, while a SELECT's rows are read, the result table
// and the current row's values; a table read has no statement and reads the
// stored table itself, one row per step. Every entry point catches what the standard
// library may throw (memory) and reports it as a failure: nothing crosses
// the C boundary.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/status.h"
#include "core/table.h"
#include "core/value.h"
#include "db/database.h"
#include "db/temp_table.h"
#include "platform/memory_file_system.h"
#include "platform/simple_vector.h"
#include "sql/prepared_statement.h"
#include "sql/statement_warnings.h"

struct parvex_db {
  // The files of a PARVEX_OPEN_MEMORY database; declared first, so it goes
  // after the database that lives on it.
  std::unique_ptr<parvex::MemoryFileSystem> memory;
  std::unique_ptr<parvex::ParvexDatabase> database;  // null after a failed open
  std::string path;                                  // as given to parvex_open
  std::string sqlstate = "00000";
  std::string message;
  int liveStatements = 0;  // not yet finalized
  int64_t lastInsertRowID = 0;
  std::string scratch;     // answers handed out until the next call
  parvex::StatementWarnings warnings;  // of the last parvex_warnings call

  // Records the outcome of a call; PARVEX_OK unless it is an error state.
  int Report(const parvex::ParvexStatus& status);
  int Fail(parvex::ParvexState state, const char* message);
  int Succeed() { return Report(parvex::ParvexStatus()); }
  // The open database, or null after recording why there is none.
  parvex::ParvexDatabase* Usable();
};

struct parvex_stmt {
  enum class Phase { kReady, kReading };

  parvex_db* db = nullptr;
  std::unique_ptr<parvex::ParvexPreparedStatement> statement;
  std::string canonical;  // the statement's canonical text, made when first asked for
  bool canonicalMade = false;
  Phase phase = Phase::kReady;
  std::unique_ptr<parvex::ParvexTable> result;  // while rows are read
  // The result as a result table (rows read by position, a row at a time),
  // or null when it is another kind of table (rows read by ID from `rows`).
  const parvex::ParvexTempTable* resultRows = nullptr;
  parvex::SimpleVector<parvex::RowID> rows;
  size_t qtyRows = 0;                   // rows to read
  size_t next = 0;                      // the next row to read
  // The current row. A result table's row is read in place into `cells`
  // and a value is decoded into `row` when first asked for (`decoded`).
  std::vector<parvex::ParvexValue> row;
  std::vector<parvex::EncodedValue> cells;
  std::vector<bool> decoded;
  // Per column of the current row, once asked for: its text (null until
  // then; it points into the value itself, `held` or `digits`) and byte count.
  struct ColumnText {
    const char* text = nullptr;
    size_t bytes = 0;
    std::string held;
    char digits[12];  // an Integer's text, kept out of `held` (no copy)
  };
  std::vector<ColumnText> texts;
  std::string literal;                   // the last column literal asked for
  bool literalExact = true;              // whether it reads back as the same value
  // A table read (parvex_read_table) has no prepared statement: it steps
  // through the rows of the table named here, or its one row of defaults.
  std::string tableName;
  bool readDefaults = false;
  const parvex::ParvexTable* source = nullptr;  // the table read, while its rows are read
};

namespace parvex::embed {

// Text given by the caller, as UTF-8.
string Utf8(const char* text);
string Utf8(const char* bytes, size_t length);
// Copies `text` into `holder` and returns its NUL-terminated bytes.
const char* Hold(std::string* holder, std::string_view text);

}  // namespace parvex::embed
