// .import: loads a CSV file into a table.
//
// The first record names the columns. When the table exists, each name must
// be one of its columns (case-insensitive; "_rowid" sets the row IDs); when it
// does not, it is created with a String column per name (made into plain
// words, see ColumnNamesFromHeader). Every record must have as many fields as
// the header (a blank line is skipped when there are several columns). Fields
// are converted to their column's type and checked (ConvertCsvField).
// All records are read and checked before the first row is added, so bad input
// changes nothing; the rows are then added in one transaction, which the
// caller commits or rolls back.
#pragma once

#include <string>
#include <vector>

#include "core/table.h"
#include "csv_fields.h"

namespace parvex {
class ParvexDatabase;
}

namespace parvex::shell {

struct ImportReport {
  size_t rows = 0;
  bool createdTable = false;
  std::vector<std::string> notes;  // renamed columns and the like
};

// Loads `path` into `tableName`. False with `error` set when nothing could be
// loaded; `changed` tells whether the database was touched before a failure.
bool ImportCsv(ParvexDatabase& db, const std::string& path, const std::string& tableName,
               ImportReport* report, std::string* error, bool* changed);

}  // namespace parvex::shell
