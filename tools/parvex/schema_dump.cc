// Schema statements and the SQL dump, through the public interface: the
// tables' columns, defaults and indexes from the schema functions, the rows
// read from each stored table one at a time (parvex_read_table), so that a
// damaged table still yields the rows before the damage.
#include "schema_dump.h"

#include <algorithm>
#include <set>

#include "foreign_sql.h"
#include "progress.h"

namespace parvex::shell {
namespace {

// How many rows one INSERT of a PostgreSQL dump adds.
constexpr size_t kPostgresRowsPerInsert = 100;

// How many places of inexact values a report names.
constexpr size_t kInexactPlacesShown = 5;

struct IndexColumns {
  std::string name;
  std::vector<std::string> columns;
};

struct ColumnInfo {
  std::string name;
  int type = PARVEX_TYPE_NULL;
  DumpValue defaultValue;  // NULL when the column has none
};

// What the dump writes of a table besides its rows.
struct TableInfo {
  std::string name;
  std::vector<ColumnInfo> columns;  // the user columns, in order
  std::vector<IndexColumns> indexes;
};

// The value of `column` of the statement's current row.
DumpValue ValueOf(const Statement& row, int column) {
  DumpValue value;
  value.type = row.ValueType(column);
  switch (value.type) {
    case PARVEX_TYPE_NULL:
      break;
    case PARVEX_TYPE_INTEGER:
    case PARVEX_TYPE_BOOLEAN:
      value.integer = row.Int(column);
      break;
    case PARVEX_TYPE_DOUBLE: {
      value.number = row.Double(column);
      // The literal of a negative or non-finite Double is its text in quotes.
      value.text = row.Literal(column);
      if (value.text.size() >= 2 && value.text.front() == '\'') value.text = value.text.substr(1, value.text.size() - 2);
      break;
    }
    default:
      value.text = row.Text(column).value_or("");
  }
  return value;
}

// The table's columns, defaults and indexes. An index over a column that was
// dropped since can't be written and is left out.
TableInfo Describe(Database& db, const std::string& name) {
  TableInfo table{name, {}, {}};
  parvex_db* h = db.handle();
  const int columns = parvex_table_column_count(h, name.c_str());
  Statement defaults = db.ReadTable(name, PARVEX_READ_DEFAULTS);
  const bool haveDefaults = defaults.Step();
  for (int c = 0; c < columns; ++c) {
    const char* columnName = parvex_table_column_name(h, name.c_str(), c);
    ColumnInfo column{columnName ? columnName : "", parvex_table_column_type(h, name.c_str(), c), {}};
    if (haveDefaults) column.defaultValue = ValueOf(defaults, c + 1);  // after _rowid
    table.columns.push_back(std::move(column));
  }
  const int indexes = parvex_index_count(h, name.c_str());
  for (int i = 0; i < indexes; ++i) {
    IndexColumns index{parvex_index_name(h, name.c_str(), i), {}};
    const int count = parvex_index_column_count(h, name.c_str(), i);
    bool whole = count > 0;
    for (int k = 0; k < count && whole; ++k) {
      const char* columnName = parvex_index_column_name(h, name.c_str(), i, k);
      if (columnName == nullptr) whole = false;
      if (whole) index.columns.emplace_back(columnName);
    }
    if (whole) table.indexes.push_back(std::move(index));
  }
  return table;
}

std::string Lower(std::string_view name) {
  std::string lower(name);
  for (char& c : lower) c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
  return lower;
}

// Counts an inexact value and names the first few places.
void CountInexact(DumpReport* report, std::string place) {
  ++report->inexactValues;
  if (report->inexactPlaces.size() < kInexactPlacesShown) report->inexactPlaces.push_back(std::move(place));
}

// Per table, what a dump for another engine writes differently: the column
// types, and the names given to indexes (which there share one namespace with
// the tables).
class ForeignSchema {
 public:
  ForeignSchema(const DumpOptions& options, const std::vector<TableInfo>& tables) : mOptions(options) {
    for (const TableInfo& table : tables) {
      mUsedNames.insert(Lower(table.name));
      // PostgreSQL names the index of a primary key TABLE_pkey.
      if (options.rowIDs && options.target == SqlTarget::kPostgres) {
        mUsedNames.insert(Lower(table.name + "_pkey"));
      }
    }
  }

  // Finds the date and time columns of `table` that hold a value the target's
  // type would refuse or change: those are written as text. False when `stop`
  // asked to stop.
  bool ChooseColumnTypes(Database& db, const TableInfo& table, const std::function<bool()>& stop,
                         DumpReport* report) {
    mTemporalAsText.assign(table.columns.size(), false);
    auto refused = [](int type, const DumpValue& value) {
      return value.type != PARVEX_TYPE_NULL && (value.type != type || !IsIsoTemporalText(type, value.text));
    };
    auto writeAsText = [&](size_t c, const std::string& why) {
      mTemporalAsText[c] = true;
      const ColumnInfo& column = table.columns[c];
      report->textColumns.push_back(table.name + "." + column.name + " is written as text (" + why +
                                    " is not an ISO " + Lower(parvex_type_name(column.type)) + ")");
    };
    std::vector<size_t> undecided;  // date and time columns with only ISO values so far
    for (size_t c = 0; c < table.columns.size(); ++c) {
      const int type = table.columns[c].type;
      if (type != PARVEX_TYPE_DATE && type != PARVEX_TYPE_TIME && type != PARVEX_TYPE_TIMESTAMP) continue;
      if (refused(type, table.columns[c].defaultValue)) {
        writeAsText(c, "its default");
      } else {
        undecided.push_back(c);
      }
    }
    if (undecided.empty()) return true;
    // One pass over the rows, until every column has a value that isn't ISO.
    // A damaged table ends the pass where its rows end.
    Statement rows = db.ReadTable(table.name);
    while (!undecided.empty() && rows.Step()) {
      if (stop && stop()) return false;
      std::erase_if(undecided, [&](size_t c) {
        if (!refused(table.columns[c].type, ValueOf(rows, static_cast<int>(c) + 1))) return false;
        writeAsText(c, "row " + std::to_string(rows.Int(0)));
        return true;
      });
    }
    return true;
  }

  std::string CreateTable(const TableInfo& table, DumpReport* report) const {
    std::string sql = "CREATE TABLE " + ForeignIdentifier(mOptions.target, table.name) + " (";
    if (mOptions.rowIDs) sql += mOptions.target == SqlTarget::kPostgres ? "_rowid bigint" : "_rowid integer";
    if (mOptions.rowIDs) sql += " PRIMARY KEY";
    for (size_t c = 0; c < table.columns.size(); ++c) {
      const ColumnInfo& column = table.columns[c];
      if (c > 0 || mOptions.rowIDs) sql += ", ";
      sql += ForeignIdentifier(mOptions.target, column.name);
      sql += ' ';
      sql += ForeignTypeName(mOptions.target, column.type, mTemporalAsText[c]);
      if (column.defaultValue.type != PARVEX_TYPE_NULL) {
        sql += " DEFAULT ";
        std::string why;
        if (!AppendForeignLiteral(mOptions.target, column.defaultValue, &sql, &why)) {
          CountInexact(report, "the default of " + table.name + "." + column.name + ": " + why);
        }
      }
    }
    return sql + ");";
  }

  std::vector<std::string> CreateIndexes(const TableInfo& table) {
    std::vector<std::string> statements;
    const std::string tableName = ForeignIdentifier(mOptions.target, table.name);
    for (const IndexColumns& index : table.indexes) {
      std::string sql = "CREATE INDEX " + ForeignIdentifier(mOptions.target, FreeName(table, index.name)) + " ON " +
                        tableName + " (";
      for (size_t i = 0; i < index.columns.size(); ++i) {
        sql += (i ? ", " : "") + ForeignIdentifier(mOptions.target, index.columns[i]);
      }
      statements.push_back(sql + ");");
    }
    return statements;
  }

 private:
  // `name`, or TABLE_name (then _2, _3, ...) when a table or an earlier
  // index has it.
  std::string FreeName(const TableInfo& table, const std::string& name) {
    std::string candidate = name;
    if (mUsedNames.count(Lower(candidate))) candidate = table.name + "_" + name;
    const std::string base = candidate;
    for (int n = 2; mUsedNames.count(Lower(candidate)); ++n) candidate = base + "_" + std::to_string(n);
    mUsedNames.insert(Lower(candidate));
    return candidate;
  }

  const DumpOptions& mOptions;
  std::set<std::string> mUsedNames;  // in lower case: unquoted names differ by more than case
  std::vector<bool> mTemporalAsText;  // by user column, for the current table
};

std::string CreateTableSql(const TableInfo& table, bool* inexact) {
  std::string sql = "CREATE TABLE " + table.name + " (";
  for (size_t c = 0; c < table.columns.size(); ++c) {
    if (c > 0) sql += ", ";
    sql += table.columns[c].name;
    sql += ' ';
    const char* type = parvex_type_name(table.columns[c].type);
    if (type == nullptr) {
      type = "String";
      *inexact = true;
    }
    sql += type;
  }
  sql += ");";
  return sql;
}

std::vector<std::string> CreateIndexSql(const TableInfo& table) {
  std::vector<std::string> statements;
  for (const IndexColumns& index : table.indexes) {
    std::string sql = "CREATE INDEX " + index.name + " ON " + table.name + " (";
    for (size_t i = 0; i < index.columns.size(); ++i) sql += (i ? ", " : "") + index.columns[i];
    statements.push_back(sql + ");");
  }
  return statements;
}

// The rows of the table, for the progress bar; 0 when they can't be counted.
uint64_t RowCount(Database& db, const std::string& table) {
  Statement count = db.Prepare("SELECT COUNT(*) FROM " + table);
  return count.valid() && count.Step() ? static_cast<uint64_t>(count.Int(0)) : 0;
}

}  // namespace

void WriteDump(Database& db, const std::vector<std::string>& names, const DumpOptions& options, std::ostream& out,
               const std::function<bool()>& stop, bool showProgress, DumpReport* report) {
  const bool foreign = options.target != SqlTarget::kParvex;
  // psql sends each statement on its own and waits for the answer: many rows
  // per INSERT load several times faster. sqlite3 and the shell gain nothing.
  const size_t rowsPerInsert = options.target == SqlTarget::kPostgres ? kPostgresRowsPerInsert : 1;
  std::vector<TableInfo> tables;
  uint64_t total = 0;
  for (const std::string& name : names) {
    if (parvex_table_column_count(db.handle(), name.c_str()) < 0) continue;
    tables.push_back(Describe(db, name));
    if (showProgress) total += RowCount(db, name);
  }
  ProgressBar progress("Dumping", total, showProgress);
  ForeignSchema schema(options, tables);
  auto quoted = [&](std::string_view text) {
    return foreign ? ForeignIdentifier(options.target, text) : std::string(text);
  };

  if (foreign) out << ForeignDumpPreamble(options.target);
  out << (options.target == SqlTarget::kPostgres ? "BEGIN;\n" : "BEGIN TRANSACTION;\n");
  std::string line, why;
  for (const TableInfo& table : tables) {
    if (foreign) {
      if (!schema.ChooseColumnTypes(db, table, stop, report)) {
        report->interrupted = true;
        return;
      }
      out << schema.CreateTable(table, report) << '\n';
    } else {
      bool inexactType = false;
      out << CreateTableSql(table, &inexactType) << '\n';
      if (inexactType) CountInexact(report, "a column type of " + table.name);
    }
    // "INSERT INTO T (_rowid, a, b) VALUES (" is the same for every row.
    std::string head = "INSERT INTO " + quoted(table.name) + " (";
    std::string columns = options.rowIDs ? "_rowid" : "";
    for (const ColumnInfo& column : table.columns) columns += (columns.empty() ? "" : ", ") + quoted(column.name);
    head += columns + ") VALUES (";
    Statement rows = db.ReadTable(table.name);
    size_t inStatement = 0;  // rows written of the current INSERT
    while (rows.Step()) {
      if (stop && stop()) {
        report->interrupted = true;
        return;  // no COMMIT: reading a cut dump changes nothing
      }
      line = inStatement == 0 ? head : ",\n(";
      const std::string rowID = std::to_string(rows.Int(0));
      if (options.rowIDs) line += rowID;
      for (size_t c = 0; c < table.columns.size(); ++c) {
        const int column = static_cast<int>(c) + 1;  // after _rowid
        if (c > 0 || options.rowIDs) line += ", ";
        why.clear();
        bool exact = true;
        if (foreign) {
          exact = AppendForeignLiteral(options.target, ValueOf(rows, column), &line, &why);
        } else {
          line += rows.Literal(column, &exact);
        }
        if (exact) continue;
        CountInexact(report, table.name + "." + table.columns[c].name + " of row " + rowID +
                                 (why.empty() ? "" : ": " + why));
      }
      line += ')';
      if (++inStatement == rowsPerInsert) {
        line += ";\n";
        inStatement = 0;
      }
      out << line;
      progress.Update(++report->rows);
    }
    // A damaged table ends its read before a row it could not read, and the
    // dump stops without the COMMIT that would make it look whole.
    if (!rows.status()) {
      report->damaged = rows.status();
      return;
    }
    if (inStatement > 0) out << ";\n";
    for (const std::string& index : foreign ? schema.CreateIndexes(table) : CreateIndexSql(table)) {
      out << index << '\n';
    }
  }
  out << "COMMIT;\n";
}

}  // namespace parvex::shell
