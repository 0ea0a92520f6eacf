// ResultPrinter: writes a query's result table in one of the shell's output modes.
//
//   box       aligned columns inside line-drawing borders; numbers
//             right-aligned, control bytes escaped; a row count below ("3 rows")
//   table     the same inside +, - and | borders
//   markdown  the same as a Markdown table ('|' in a value written "\|"), no count
//   list      one line per row, values separated by the separator ('|')
//   csv       RFC 4180: one line per row; an empty text is written "" so that
//             it differs from NULL (an unquoted null text, empty by default),
//             and a text equal to the null text is quoted too
//   json      one array of objects per result, one object per row
//   line      one "column = value" line per value, a blank line between rows
//
// NULL shows as the null text of .nullvalue; when none is set, as NULL in the
// framed modes and line mode, as nothing in list and csv.
//
// Values print in the library's text form (dates without their keyword,
// booleans TRUE/FALSE, doubles in the shortest exact form). A header
// line with the column names is printed in box, list and csv modes when
// headers are on; by default they are on in every mode but list. Printing
// stops early when the stop check says so (Ctrl-C); the result is then
// reported as interrupted.
#pragma once

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "parvex/parvex.hpp"

namespace parvex::shell {

enum class OutputMode { kBox, kTable, kMarkdown, kList, kCsv, kJson, kLine };

// Accepts "box", "table", "markdown", "list", "csv", "json" and "line".
bool ParseOutputMode(std::string_view name, OutputMode* mode);
const char* OutputModeName(OutputMode mode);

struct OutputSettings {
  OutputMode mode = OutputMode::kList;
  std::optional<bool> headers;  // unset: the mode's default
  std::string separator = "|";  // between values in list mode
  std::string rowSeparator = "\n";
  std::optional<std::string> nullText;  // unset: the mode's default

  bool ShowHeaders() const { return headers.value_or(mode != OutputMode::kList); }
  std::string_view NullText() const {
    if (nullText) return *nullText;
    return mode == OutputMode::kList || mode == OutputMode::kCsv ? "" : "NULL";
  }
};

class ResultPrinter {
 public:
  using StopCheck = std::function<bool()>;

  ResultPrinter(const OutputSettings& settings, std::ostream& out, StopCheck stop = {})
      : mSettings(settings), mOut(out), mStop(std::move(stop)) {}

  // Prints the rows of the query `result`, whose first step has been taken
  // (`rowReady`: it gave a row), stepping through the rest; false when the
  // stop check ended it early.
  bool Print(Statement& result, bool rowReady);

 private:
  bool Stopped() const { return mStop && mStop(); }
  // box, table and markdown.
  bool PrintFramed(Statement& result, bool rowReady);
  // list ('|' between raw values) or csv (',' between quoted fields).
  bool PrintDelimited(Statement& result, bool rowReady, bool csv);
  bool PrintJson(Statement& result, bool rowReady);
  bool PrintLine(Statement& result, bool rowReady);

  const OutputSettings& mSettings;
  std::ostream& mOut;
  StopCheck mStop;
};

}  // namespace parvex::shell
