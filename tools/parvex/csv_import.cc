// CSV import into a new or existing table.
#include "csv_import.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <unordered_set>

#include "interrupt.h"
#include "progress.h"
#include "sql_words.h"

namespace parvex::shell {
namespace {

// The schema table, which the library does not list among the tables.
constexpr const char* kSchemaTable = "_schema";

// "[SSSSS] description". (Built piece by piece: GCC 12's -Wrestrict misfires
// on the inlined concatenation in the release build.)
std::string StatusLine(const Status& status) {
  std::string line(1, '[');
  line += status.sqlstate;
  line += "] ";
  line += status.message;
  return line;
}

// Where each CSV column goes.
struct Target {
  std::string name;  // as the header or the table spells it
  int type;          // PARVEX_TYPE_*
  bool rowID = false;  // the hidden _rowid column: sets the row's ID
};

bool ReadWholeFile(const std::string& path, std::string* text, std::string* error) {
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!file) {
    *error = "cannot open " + path + ": " + std::strerror(errno);
    return false;
  }
  char buffer[1 << 16];
  size_t count;
  while ((count = std::fread(buffer, 1, sizeof buffer, file.get())) > 0) text->append(buffer, count);
  if (std::ferror(file.get())) {
    *error = "cannot read " + path + ": " + std::strerror(errno);
    return false;
  }
  return true;
}

std::vector<std::string> PlainNames(const std::vector<CsvField>& header) {
  std::vector<std::string> names;
  for (const CsvField& field : header) names.push_back(field.text);
  return ColumnNamesFromHeader(names);
}

// The name of the table called `name` in any letter case, as the database
// spells it; empty when there is none.
std::string StoredTableName(const Database& db, std::string_view name) {
  for (const std::string& table : db.Tables()) {
    if (SameNoCase(table, name)) return table;
  }
  return "";
}

// Maps the header onto the columns of an existing table: a name as written,
// else as an import that created the table made it.
bool TargetsOfTable(const Database& db, const std::string& table, const std::vector<CsvField>& header,
                    std::vector<Target>* targets, std::string* error) {
  parvex_db* handle = db.handle();
  const int columns = parvex_table_column_count(handle, table.c_str());
  // A column's position; `columns` stands for _rowid, -1 for none.
  const auto find = [&](std::string_view name) {
    if (SameNoCase(name, "_rowid")) return columns;
    for (int c = 0; c < columns; ++c) {
      if (SameNoCase(name, parvex_table_column_name(handle, table.c_str(), c))) return c;
    }
    return -1;
  };
  std::unordered_set<int> used;
  const std::vector<std::string> plain = PlainNames(header);
  for (size_t i = 0; i < header.size(); ++i) {
    const CsvField& field = header[i];
    int found = find(field.text);
    if (found < 0) found = find(plain[i]);
    if (found < 0) {
      *error = "table " + table + " has no column " + field.text;
      return false;
    }
    if (!used.insert(found).second) {
      *error = "column " + field.text + " is named twice in the header";
      return false;
    }
    if (found == columns) {
      targets->push_back({"_rowid", PARVEX_TYPE_INTEGER, true});
    } else {
      targets->push_back({parvex_table_column_name(handle, table.c_str(), found),
                          parvex_table_column_type(handle, table.c_str(), found), false});
    }
  }
  return true;
}

// The types of a new table's columns, from every record after the header
// (read by a reader of its own; the caller's is not moved).
std::vector<int> GuessColumnTypes(std::string_view text, size_t columns, std::string_view nullText) {
  std::vector<ColumnTypeGuess> guesses(columns);
  CsvReader reader(text);
  std::vector<CsvField> fields;
  reader.Next(&fields);  // the header
  while (reader.Next(&fields)) {
    for (size_t i = 0; i < fields.size() && i < columns; ++i) guesses[i].Add(fields[i], nullText);
  }
  std::vector<int> types;
  for (const ColumnTypeGuess& guess : guesses) types.push_back(guess.Type());
  return types;
}

// The columns of a table the import creates: one per header name, made into
// a plain word (noted in the report when it changes), of the guessed type.
bool TargetsOfNewTable(const std::string& tableName, const std::vector<CsvField>& header,
                       const std::vector<int>& types, std::vector<Target>* targets, ImportReport* report,
                       std::string* error) {
  if (!IsPlainName(tableName)) {
    *error = "can't create a table named " + tableName + " (letters, digits, _ and # only)";
    return false;
  }
  const std::vector<std::string> names = PlainNames(header);
  for (size_t i = 0; i < names.size(); ++i) {
    const bool rowID = SameNoCase(header[i].text, "_rowid");
    if (!rowID && names[i] != header[i].text) {
      report->notes.push_back("column \"" + header[i].text + "\" is named " + names[i]);
    }
    targets->push_back({names[i], rowID ? PARVEX_TYPE_INTEGER : types[i], rowID});
  }
  return true;
}

// The records of the file, converted and checked, before anything is added.
struct Records {
  std::vector<CsvValue> values;  // row after row, one value per target
  std::vector<size_t> lines;     // the line each row began on
};

// Checks row ID fields: positive, not seen before in the file, not in the
// table (when it exists: `lookup` finds a row by its ID).
class RowIDCheck {
 public:
  RowIDCheck(Database& db, const std::string& table) {
    if (!table.empty()) mLookup = db.Prepare("SELECT _rowid FROM " + table + " WHERE _rowid = ?");
  }

  bool Check(const CsvValue& value, std::string* problem) {
    const int64_t id = value.integer;
    if (value.type == PARVEX_TYPE_NULL || id <= 0) {
      *problem = "a row ID must be a positive integer";
    } else if (!mSeen.insert(id).second) {
      *problem = "row ID " + std::to_string(id) + " appears twice";
    } else if (mLookup.valid() && InTable(id)) {
      *problem = "row ID " + std::to_string(id) + " is already in the table";
    }
    return problem->empty();
  }

 private:
  bool InTable(int64_t id) {
    mLookup.Bind(1, id);
    const bool found = mLookup.Step();
    mLookup.Reset();
    return found;
  }

  Statement mLookup;
  std::unordered_set<int64_t> mSeen;
};

bool ReadRecords(CsvReader& reader, const std::string& path, size_t size, const std::vector<Target>& targets,
                 std::string_view nullText, RowIDCheck& rowIDs, Records* records, std::string* error) {
  std::vector<CsvField> fields;
  ProgressBar progress("Reading " + path, size);
  while (reader.Next(&fields)) {
    if (InterruptRequested()) {
      *error = "interrupted; nothing was imported";
      return false;
    }
    const std::string where = path + ":" + std::to_string(reader.RecordLine()) + ": ";
    // A blank line can't be a record of several columns: it is skipped.
    if (fields.size() == 1 && targets.size() > 1 && fields[0].text.empty() && !fields[0].quoted) continue;
    if (fields.size() != targets.size()) {
      *error = where + "expected " + std::to_string(targets.size()) + " fields, found " +
               std::to_string(fields.size());
      return false;
    }
    for (size_t i = 0; i < fields.size(); ++i) {
      CsvValue value;
      std::string problem;
      if (!ConvertCsvField(fields[i], targets[i].type, nullText, &value, &problem) ||
          (targets[i].rowID && !rowIDs.Check(value, &problem))) {
        *error = where + "column " + targets[i].name + ": " + problem;
        return false;
      }
      records->values.push_back(std::move(value));
    }
    records->lines.push_back(reader.RecordLine());
    progress.Update(reader.Offset());
  }
  if (reader.Failed()) {
    *error = path + ": " + reader.Error();
    return false;
  }
  return true;
}

// Creates the table for `targets`; `changed` is set once the statement ran.
bool CreateTable(Database& db, const std::string& tableName, const std::vector<Target>& targets,
                 ImportReport* report, std::string* error, bool* changed) {
  std::string& columns = report->columns;
  for (const Target& target : targets) {
    if (target.rowID) continue;
    columns += (columns.empty() ? "" : ", ") + target.name + " " + parvex_type_name(target.type);
  }
  if (columns.empty()) {
    *error = "the header names no column but _rowid";
    return false;
  }
  const Status status = db.Exec("CREATE TABLE " + tableName + " (" + columns + ")");
  *changed = true;
  if (!status) *error = StatusLine(status);
  return status.ok;
}

void BindValue(Statement& insert, int index, const CsvValue& value) {
  switch (value.type) {
    case PARVEX_TYPE_NULL: insert.Bind(index, nullptr); break;
    case PARVEX_TYPE_INTEGER: insert.Bind(index, value.integer); break;
    case PARVEX_TYPE_BOOLEAN: insert.Bind(index, value.integer != 0); break;
    case PARVEX_TYPE_DOUBLE: insert.Bind(index, value.number); break;
    case PARVEX_TYPE_BINARY: insert.BindBlob(index, value.text.data(), value.text.size()); break;
    // Dates and times go in as text: the column reads them as it reads literals.
    default: insert.Bind(index, std::string_view(value.text)); break;
  }
}

bool AddRows(Database& db, const std::string& path, const std::string& tableName,
             const std::vector<Target>& targets, const Records& records, std::vector<int64_t>* added,
             std::string* error) {
  std::string columns;
  std::string placeholders;
  for (const Target& target : targets) {
    columns += (columns.empty() ? "" : ", ") + target.name;
    placeholders += placeholders.empty() ? "?" : ", ?";
  }
  Statement insert = db.Prepare("INSERT INTO " + tableName + " (" + columns + ") VALUES (" + placeholders + ")");
  if (!insert.valid()) {
    *error = StatusLine(insert.status());
    return false;
  }
  const size_t width = targets.size();
  ProgressBar progress("Loading " + tableName, records.lines.size());
  for (size_t r = 0; r < records.lines.size(); ++r) {
    if (InterruptRequested()) {
      *error = "interrupted; nothing was imported";
      return false;
    }
    for (size_t i = 0; i < width; ++i) BindValue(insert, static_cast<int>(i + 1), records.values[r * width + i]);
    const Status status = insert.Run();
    if (!status) {
      *error = path + ":" + std::to_string(records.lines[r]) + ": " + StatusLine(status);
      return false;
    }
    added->push_back(parvex_last_insert_row_id(db.handle()));
    progress.Update(r + 1);
  }
  return true;
}

// Takes back the rows a failed AddRows added. (A table the import created
// can't be dropped while it has changes pending: outside BEGIN the caller's
// rollback removes it, inside BEGIN it stays, empty.)
void UndoImport(Database& db, const std::string& tableName, const std::vector<int64_t>& added) {
  Statement remove = db.Prepare("DELETE FROM " + tableName + " WHERE _rowid = ?");
  for (int64_t id : added) remove.Bind(1, id).Run();
}

}  // namespace

bool ImportCsv(Database& db, const std::string& path, const std::string& tableName,
               std::string_view nullText, ImportReport* report, std::string* error, bool* changed) {
  *changed = false;
  std::string text;
  if (!ReadWholeFile(path, &text, error)) return false;
  CsvReader reader(text);
  std::vector<CsvField> header;
  if (!reader.Next(&header)) {
    *error = reader.Failed() ? path + ": " + reader.Error() : path + ": the file is empty";
    return false;
  }

  if (SameNoCase(tableName, kSchemaTable)) {
    *error = "the schema table can't be imported into";
    return false;
  }
  const std::string table = StoredTableName(db, tableName);
  std::vector<Target> targets;
  const bool planned =
      !table.empty()
          ? TargetsOfTable(db, table, header, &targets, error)
          : TargetsOfNewTable(tableName, header, GuessColumnTypes(text, header.size(), nullText), &targets, report,
                              error);
  Records records;
  RowIDCheck rowIDs(db, table);
  if (!planned || !ReadRecords(reader, path, text.size(), targets, nullText, rowIDs, &records, error)) return false;

  if (table.empty()) {
    if (!CreateTable(db, tableName, targets, report, error, changed)) return false;
    report->createdTable = true;
  }
  *changed = *changed || !records.lines.empty();
  std::vector<int64_t> added;
  if (AddRows(db, path, tableName, targets, records, &added, error)) {
    report->rows = added.size();
    return true;
  }
  UndoImport(db, tableName, added);
  return false;
}

}  // namespace parvex::shell
