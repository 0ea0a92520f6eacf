// What CSV text means to the importer: typed values and column names.
//
// An empty unquoted field, and an unquoted field equal to the null text (set
// by .nullvalue), is NULL; a quoted empty field "" is an empty text. Integers,
// doubles and booleans are checked: surrounding blanks are allowed, anything
// else that is not a value of the type is refused with a message saying why.
// Booleans are true/false, t/f, yes/no, y/n or 1/0 in any case. Dates, times,
// timestamps, texts and binary data are taken as they stand.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "csv.h"
#include "parvex/parvex.h"

namespace parvex::shell {

bool IsNullField(const CsvField& field, std::string_view nullText);

// A field converted to its column's type (a PARVEX_TYPE_*): Integer and
// Boolean in `integer`, Double in `number`, the rest in `text`.
struct CsvValue {
  int type = PARVEX_TYPE_NULL;  // PARVEX_TYPE_NULL for NULL
  int64_t integer = 0;
  double number = 0;
  std::string text;
};

// Converts a field to a value of `type`; false with `problem` set when the
// text is not a value of that type.
bool ConvertCsvField(const CsvField& field, int type, std::string_view nullText, CsvValue* value,
                     std::string* problem);

// The type of a new column, from the fields of its CSV column: the first of
// Integer, Double, Boolean (true/false), Date (2001-02-03), Time (04:05:06,
// fractions allowed), Timestamp (a date, a blank, a time) that every field
// that is not NULL is a value of, else String (also for a column of NULLs).
// A number written with a leading zero (007, an identifier or a postal code)
// stays text.
class ColumnTypeGuess {
 public:
  void Add(const CsvField& field, std::string_view nullText);
  int Type() const;  // a PARVEX_TYPE_*

 private:
  unsigned mCandidates = ~0u;  // bits of the types still possible
  bool mSeen = false;
};

// Makes header names usable as column names of a new table: characters other
// than letters, digits, '_' and '#' become '_', a leading digit gets a '_'
// before it, an empty name becomes columnN, and a name met before (in any
// case) gets a suffix _2, _3, ...
std::vector<std::string> ColumnNamesFromHeader(const std::vector<std::string>& header);

}  // namespace parvex::shell
