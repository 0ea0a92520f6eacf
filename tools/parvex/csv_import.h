// .import: loads a CSV file into a table.
//
// The first record names the columns. When the table exists, each name must
// be one of its columns (case-insensitive; "_rowid" sets the row IDs), as
// written or as made into a plain word (so a file loads again into the table
// it created); when it does not, it is created with a column per name (made
// into plain words, see ColumnNamesFromHeader), typed from the file's fields
// (ColumnTypeGuess). Every record must have as many fields as the header (a
// blank line is skipped when there are several columns). Fields are converted
// to their column's type and checked (ConvertCsvField, with the null text).
// All records are read and checked before the first row is added, so bad input
// changes nothing. The rows are then added as one unit: when adding fails or
// is interrupted (Ctrl-C), the rows added so far are deleted again, so the
// table holds what it held before (also inside BEGIN); the caller commits or
// rolls back. A table the import created is left to the caller's rollback
// (the engine can't drop a table with changes pending).
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "csv_fields.h"
#include "parvex/parvex.hpp"

namespace parvex::shell {

struct ImportReport {
  size_t rows = 0;
  bool createdTable = false;
  std::string columns;             // of a created table: "name String, n Integer"
  std::vector<std::string> notes;  // renamed columns and the like
};

// Loads `path` into `tableName`. False with `error` set when nothing could be
// loaded; `changed` tells whether the database was touched before a failure.
bool ImportCsv(Database& db, const std::string& path, const std::string& tableName,
               std::string_view nullText, ImportReport* report, std::string* error, bool* changed);

}  // namespace parvex::shell
