// What CSV text means to the importer: typed values and column names.
//
// An empty unquoted field is NULL (of the column's type, so that storing it
// converts nothing); a quoted empty field "" is an empty text. Integers,
// doubles and booleans are checked: surrounding blanks are allowed, anything
// else that is not a value of the type is refused with a message saying why.
// Booleans are true/false, t/f, yes/no, y/n or 1/0 in any case. Dates, times,
// timestamps, texts and binary data are taken as they stand.
#pragma once

#include <string>
#include <vector>

#include "core/value.h"
#include "csv.h"

namespace parvex::shell {

// Converts a field to a value of `type`; false with `problem` set when the
// text is not a value of that type.
bool ConvertCsvField(const CsvField& field, ParvexDataType type, ParvexValue* value, std::string* problem);

// Makes header names usable as column names of a new table: characters other
// than letters, digits, '_' and '#' become '_', a leading digit gets a '_'
// before it, an empty name becomes columnN, and a name met before (in any
// case) gets a suffix _2, _3, ...
std::vector<std::string> ColumnNamesFromHeader(const std::vector<std::string>& header);

}  // namespace parvex::shell
