// CSV import into a new or existing table.
#include "csv_import.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <unordered_set>

#include "core/status.h"
#include "db/database.h"
#include "interrupt.h"
#include "progress.h"
#include "sql/binder.h"
#include "sql/execute.h"
#include "sql/sql_dialect.h"

namespace parvex::shell {
namespace {

// "[SSSSS] description". (Built piece by piece: GCC 12's -Wrestrict misfires
// on the inlined concatenation in the release build.)
std::string StatusLine(const ParvexStatus& status) {
  std::string line(1, '[');
  line += status.Code();
  line += "] ";
  line += status.Description().view();
  return line;
}

// Where each CSV column goes.
struct Target {
  std::string name;       // as the header or the table spells it
  ParvexDataType type;
  long columnID = 0;
  bool rowID = false;     // the hidden _rowid column: sets the row's ID
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

bool SameText(std::string_view a, const char* b) { return CompareNoCase(a, b) == 0; }

std::vector<std::string> PlainNames(const std::vector<CsvField>& header) {
  std::vector<std::string> names;
  for (const CsvField& field : header) names.push_back(field.text);
  return ColumnNamesFromHeader(names);
}

// Maps the header onto the columns of an existing table: a name as written,
// else as an import that created the table made it.
bool TargetsOfTable(const ParvexTable& table, const std::vector<CsvField>& header,
                    std::vector<Target>* targets, std::string* error) {
  std::unordered_set<long> used;
  const std::vector<std::string> plain = PlainNames(header);
  for (size_t i = 0; i < header.size(); ++i) {
    const CsvField& field = header[i];
    long found = BindColumn(table, field.text);
    if (found < 0) found = BindColumn(table, plain[i]);
    if (found < 0) {
      *error = "table " + table.name.str() + " has no column " + field.text;
      return false;
    }
    if (!used.insert(found).second) {
      *error = "column " + field.text + " is named twice in the header";
      return false;
    }
    const ParvexColumnInfo* column = table.Column(found);
    targets->push_back({column->name.str(), found == 0 ? kTypeInteger : column->Type(), column->columnID,
                        found == 0});
  }
  return true;
}

// The types of a new table's columns, from every record after the header
// (read by a reader of its own; the caller's is not moved).
std::vector<ParvexDataType> GuessColumnTypes(std::string_view text, size_t columns, std::string_view nullText) {
  std::vector<ColumnTypeGuess> guesses(columns);
  CsvReader reader(text);
  std::vector<CsvField> fields;
  reader.Next(&fields);  // the header
  while (reader.Next(&fields)) {
    for (size_t i = 0; i < fields.size() && i < columns; ++i) guesses[i].Add(fields[i], nullText);
  }
  std::vector<ParvexDataType> types;
  for (const ColumnTypeGuess& guess : guesses) types.push_back(guess.Type());
  return types;
}

// The columns of a table the import creates: one per header name, made into
// a plain word (noted in the report when it changes), of the guessed type.
bool TargetsOfNewTable(const std::string& tableName, const std::vector<CsvField>& header,
                       const std::vector<ParvexDataType>& types, std::vector<Target>* targets, ImportReport* report,
                       std::string* error) {
  if (!IsPlainName(tableName)) {
    *error = "can't create a table named " + tableName + " (letters, digits, _ and # only)";
    return false;
  }
  const std::vector<std::string> names = PlainNames(header);
  for (size_t i = 0; i < names.size(); ++i) {
    const bool rowID = SameText(header[i].text, "_rowid");
    if (!rowID && names[i] != header[i].text) {
      report->notes.push_back("column \"" + header[i].text + "\" is named " + names[i]);
    }
    targets->push_back({names[i], rowID ? kTypeInteger : types[i], 0, rowID});
  }
  return true;
}

// The records of the file, converted and checked, before anything is added.
struct Records {
  std::vector<ParvexValue> values;  // row after row, one value per target
  std::vector<size_t> lines;        // the line each row began on
};

// Checks a row ID field: positive, not seen before in the file, not in the table.
bool CheckRowID(const ParvexValue& value, const ParvexTable* table, std::unordered_set<int32_t>* seen,
                std::string* problem) {
  const int32_t id = value.GetInteger();
  ParvexValue existing;
  if (value.IsNull() || id <= 0) {
    *problem = "a row ID must be a positive integer";
  } else if (!seen->insert(id).second) {
    *problem = "row ID " + std::to_string(id) + " appears twice";
  } else if (table != nullptr && table->GetValue(static_cast<RowID>(id), 0, &existing)) {
    *problem = "row ID " + std::to_string(id) + " is already in the table";
  }
  return problem->empty();
}

bool ReadRecords(CsvReader& reader, const std::string& path, size_t size, const std::vector<Target>& targets,
                 std::string_view nullText, const ParvexTable* table, Records* records, std::string* error) {
  std::unordered_set<int32_t> rowIDs;
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
      ParvexValue value;
      std::string problem;
      if (!ConvertCsvField(fields[i], targets[i].type, nullText, &value, &problem) ||
          (targets[i].rowID && !CheckRowID(value, table, &rowIDs, &problem))) {
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

const char* TypeName(ParvexDataType type) {
  switch (type) {
    case kTypeInteger: return "Integer";
    case kTypeDouble: return "Double";
    case kTypeBoolean: return "Boolean";
    case kTypeDate: return "Date";
    case kTypeTime: return "Time";
    case kTypeTimestamp: return "Timestamp";
    default: return "String";
  }
}

// Runs one statement the import needs; false with `error` set when it failed.
bool Run(ParvexDatabase& db, const std::string& sql, std::string* error) {
  ParvexStatus status;
  db.UpdateClock();
  ParvexSQLExecute(string(sql, kEncodingUTF8), db, &status);
  if (!IsErrorState(status.State())) return true;
  *error = StatusLine(status);
  return false;
}

// Creates the table for `targets` and gives each its column ID; `changed`
// is set once the statement ran.
ParvexTable* CreateTable(ParvexDatabase& db, const std::string& tableName, std::vector<Target>* targets,
                         ImportReport* report, std::string* error, bool* changed) {
  std::string& columns = report->columns;
  for (const Target& target : *targets) {
    if (target.rowID) continue;
    columns += (columns.empty() ? "" : ", ") + target.name + " " + TypeName(target.type);
  }
  if (columns.empty()) {
    *error = "the header names no column but _rowid";
    return nullptr;
  }
  const bool created = Run(db, "CREATE TABLE " + tableName + " (" + columns + ")", error);
  *changed = true;
  ParvexTable* table = created ? db.FindTable(string(tableName)) : nullptr;
  if (table == nullptr) return nullptr;
  for (Target& target : *targets) {
    const long column = target.rowID ? -1 : BindColumn(*table, target.name);
    if (column > 0) target.columnID = table->Column(column)->columnID;
  }
  return table;
}

bool AddRows(ParvexTable& table, const std::string& path, const std::string& tableName,
             const std::vector<Target>& targets, const Records& records, std::vector<RowID>* added,
             std::string* error) {
  const size_t width = targets.size();
  ProgressBar progress("Loading " + tableName, records.lines.size());
  for (size_t r = 0; r < records.lines.size(); ++r) {
    if (InterruptRequested()) {
      *error = "interrupted; nothing was imported";
      return false;
    }
    ParvexValueList row;
    for (size_t i = 0; i < width; ++i) {
      row.push_back(new ParvexValueWithID(records.values[r * width + i], targets[i].columnID));
    }
    const RowID id = table.AddRow(row, true);
    DeleteValues(row);  // the table took the values; this frees any it left behind
    if (id == kInvalidRowID) {
      if (table.IsDamaged()) {
        *error = StatusLine(table.DamageStatus());
      } else {
        *error = path + ":" + std::to_string(records.lines[r]) + ": the table refused the row";
      }
      return false;
    }
    added->push_back(id);
    progress.Update(r + 1);
  }
  return true;
}

// Takes back the rows a failed AddRows added. (A table the import created
// can't be dropped while it has changes pending: outside BEGIN the caller's
// rollback removes it, inside BEGIN it stays, empty.)
void UndoImport(ParvexTable& table, const std::vector<RowID>& added) {
  for (RowID id : added) table.DeleteRow(id);
}

}  // namespace

bool ImportCsv(ParvexDatabase& db, const std::string& path, const std::string& tableName,
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

  ParvexTable* table = db.FindTable(string(tableName));
  if (table != nullptr && !db.tables.empty() && table == db.tables[0]) {
    *error = "the schema table can't be imported into";
    return false;
  }
  std::vector<Target> targets;
  const bool planned =
      table != nullptr
          ? TargetsOfTable(*table, header, &targets, error)
          : TargetsOfNewTable(tableName, header, GuessColumnTypes(text, header.size(), nullText), &targets, report,
                              error);
  Records records;
  if (!planned || !ReadRecords(reader, path, text.size(), targets, nullText, table, &records, error)) return false;

  if (table == nullptr) {
    table = CreateTable(db, tableName, &targets, report, error, changed);
    if (table == nullptr) return false;
    report->createdTable = true;
  }
  *changed = *changed || !records.lines.empty();
  std::vector<RowID> added;
  if (AddRows(*table, path, tableName, targets, records, &added, error)) {
    report->rows = added.size();
    return true;
  }
  UndoImport(*table, added);
  return false;
}

}  // namespace parvex::shell
