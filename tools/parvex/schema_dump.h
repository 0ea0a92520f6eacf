// .schema, .indexes and .dump: the database described, or recreated, as SQL.
//
// .schema writes for each user table (or the one named) its CREATE TABLE
// statement, rebuilt from the columns the schema describes, and a CREATE INDEX
// statement per index. .dump writes SQL that recreates schema, data and
// indexes: BEGIN TRANSACTION, then per table its CREATE TABLE, one INSERT per
// row naming every column and the row's `_rowid` (so row IDs survive), its
// CREATE INDEX statements, and COMMIT at the end. Reading the dump into a new
// database with the shell gives the same tables, rows, row IDs and indexes, in
// one transaction. Values are written as the dialect's literals
// (query/sql_literal.h); those without an exact one are written as the
// closest text and counted as inexact.
//
// For PostgreSQL and sqlite3 (see foreign_sql.h) the dump names the types,
// quotes the names and writes the literals as they read them; `_rowid` becomes
// a column of its own, the table's primary key (bigint in PostgreSQL, as row
// IDs are unsigned 32-bit numbers), or is left out with rowIDs off. Index names
// share one namespace with table names there: an index whose name is taken is
// written as TABLE_INDEX (with _2, _3, ... until it is free). A PostgreSQL
// dump adds up to 100 rows per INSERT, which psql loads several times faster.
#pragma once

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "parvex/parvex.hpp"

namespace parvex::shell {

// The SQL a dump is written in: the dialect's own, PostgreSQL's or sqlite3's.
enum class SqlTarget { kParvex, kPostgres, kSqlite };

struct DumpOptions {
  SqlTarget target = SqlTarget::kParvex;
  bool rowIDs = true;  // write each row's _rowid
};

struct DumpReport {
  size_t rows = 0;
  size_t inexactValues = 0;
  std::vector<std::string> inexactPlaces;  // the first few, as "Table.column of row N"
  std::vector<std::string> textColumns;    // date and time columns written as text, and why
  bool interrupted = false;
  std::optional<Status> damaged;  // a table found damaged: the dump stopped there
};

// Writes the dump of the tables of `db` named `tables`, for `options`, to
// `out`; `stop` is asked between rows. With `showProgress` a progress bar runs
// on standard error (when it is a terminal). A damaged table ends the dump
// before its COMMIT.
void WriteDump(const Database& db, const std::vector<std::string>& tables, const DumpOptions& options, std::ostream& out,
               const std::function<bool()>& stop, bool showProgress, DumpReport* report);

}  // namespace parvex::shell
