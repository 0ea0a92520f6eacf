// CSV in the RFC 4180 form: the shell's output quoting and its import reader.
//
// Writing: a field that holds a comma, a double quote, CR or LF is enclosed in
// double quotes with inner quotes doubled; every other field is written as it
// is. Reading: records end at LF or CR LF (also inside the last field of a
// file without a final line end); a field that starts with a double quote runs
// to the matching closing quote and may hold commas, doubled quotes and line
// ends; an empty unquoted field is told apart from a quoted empty one (the
// importer reads the first as NULL). A UTF-8 byte-order mark at the start is
// skipped. Malformed input (text behind a closing quote, a quote left open)
// stops the reader with a message naming the line.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace parvex::shell {

// Appends `field` to `out`, quoted when it needs to be or `quote` asks for it.
void AppendCsvField(std::string_view field, std::string* out, bool quote = false);

struct CsvField {
  std::string text;
  bool quoted = false;
};

class CsvReader {
 public:
  // The reader keeps a view of `text`: the caller keeps it alive.
  explicit CsvReader(std::string_view text);

  // Reads the next record into `fields`. False at the end of the input or on
  // malformed input (then Failed() is true and Error() says why). A blank line
  // is a record of one empty field; the end of the last line ends the input.
  bool Next(std::vector<CsvField>* fields);

  bool Failed() const { return !mError.empty(); }
  const std::string& Error() const { return mError; }
  // The line on which the last record returned began (1-based).
  size_t RecordLine() const { return mRecordLine; }
  // Bytes consumed so far (for progress).
  size_t Offset() const { return mPos; }

 private:
  bool ReadQuoted(CsvField* field);

  std::string_view mText;
  size_t mPos = 0;
  size_t mLine = 1;
  size_t mRecordLine = 0;
  std::string mError;
};

}  // namespace parvex::shell
