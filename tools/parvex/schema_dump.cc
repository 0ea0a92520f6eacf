// Schema statements and the SQL dump. This module still reads the engine's
// tables directly (rows, values and their literals); its header offers only
// the public interface's types.
#include "schema_dump.h"

#include <algorithm>
#include <set>

#include "db/database.h"
#include "embed/handles.h"
#include "foreign_sql.h"
#include "platform/text_encoding.h"
#include "progress.h"
#include "query/sql_literal.h"
#include "sql/binder.h"
#include "sql/sql_dialect.h"
#include "storage/index.h"
#include "storage/trans.h"

namespace parvex::shell {
namespace {

// How many rows one INSERT of a PostgreSQL dump adds.
constexpr size_t kPostgresRowsPerInsert = 100;

// How many places of inexact values a report names.
constexpr size_t kInexactPlacesShown = 5;

// Column names of an index, in key order; false when a column is missing.
bool IndexColumnNames(const ParvexTrans& table, const string& indexName, std::vector<std::string>* names) {
  const ParvexIndex* index = table.FindIndex(indexName);
  if (index == nullptr) return false;
  for (uint32_t id : index->GetColumnIDs()) {
    const ParvexColumnInfo* column = table.Column(table.ColumnIndexOfID(static_cast<long>(id)));
    if (column == nullptr) return false;
    names->push_back(column->name.str());
  }
  return true;
}

struct IndexColumns {
  std::string name;
  std::vector<std::string> columns;
};

// The indexes of `table` with their columns. An index over a column that was
// dropped since can't be written and is left out.
std::vector<IndexColumns> IndexesOf(const ParvexTable& table) {
  std::vector<IndexColumns> indexes;
  const auto* stored = dynamic_cast<const ParvexTrans*>(&table);
  SimpleVector<string> indexNames;
  table.GetIndexNames(&indexNames);
  for (const string& indexName : indexNames) {
    IndexColumns index{indexName.str(), {}};
    if (stored == nullptr || !IndexColumnNames(*stored, indexName, &index.columns) || index.columns.empty()) continue;
    indexes.push_back(std::move(index));
  }
  return indexes;
}

std::string Lower(std::string_view name) {
  std::string lower(name);
  for (char& c : lower) c = AsciiToLower(c);
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
  ForeignSchema(const DumpOptions& options, const std::vector<const ParvexTable*>& tables) : mOptions(options) {
    for (const ParvexTable* table : tables) {
      mUsedNames.insert(Lower(table->name.view()));
      // PostgreSQL names the index of a primary key TABLE_pkey.
      if (options.rowIDs && options.target == SqlTarget::kPostgres) {
        mUsedNames.insert(Lower(table->name.str() + "_pkey"));
      }
    }
  }

  // Finds the date and time columns of `table` that hold a value the target's
  // type would refuse or change: those are written as text. False when `stop`
  // asked to stop.
  bool ChooseColumnTypes(const ParvexTable& table, const std::function<bool()>& stop, DumpReport* report) {
    mTemporalAsText.assign(static_cast<size_t>(std::max(table.QtyColumns(), 1L)), false);
    auto refused = [](ParvexDataType type, const ParvexValue& value) {
      return !value.IsNull() && (value.Type() != type || !IsIsoTemporalText(type, value.RawText().view()));
    };
    auto writeAsText = [&](long c, const std::string& why) {
      mTemporalAsText[static_cast<size_t>(c)] = true;
      const ParvexColumnInfo* column = table.Column(c);
      report->textColumns.push_back(table.name.str() + "." + column->name.str() + " is written as text (" + why +
                                    " is not an ISO " + Lower(TypeName(column->Type())) + ")");
    };
    std::vector<long> undecided;  // date and time columns with only ISO values so far
    for (long c = 1; c < table.QtyColumns(); ++c) {
      const ParvexColumnInfo* column = table.Column(c);
      if (column == nullptr) continue;
      const ParvexDataType type = column->Type();
      if (type != kTypeDate && type != kTypeTime && type != kTypeTimestamp) continue;
      if (refused(type, column->defaultValue)) {
        writeAsText(c, "its default");
      } else {
        undecided.push_back(c);
      }
    }
    if (undecided.empty()) return true;
    // One pass over the rows, until every column has a value that isn't ISO.
    SimpleVector<RowID> rows;
    table.GetRowIDs(&rows);
    ParvexValue value;
    for (size_t i = 0; i < rows.size() && !undecided.empty(); ++i) {
      if (stop && stop()) return false;
      std::erase_if(undecided, [&](long c) {
        if (!table.GetValue(rows[i], c, &value) || !refused(table.Column(c)->Type(), value)) return false;
        writeAsText(c, "row " + std::to_string(rows[i]));
        return true;
      });
    }
    return true;
  }

  std::string CreateTable(const ParvexTable& table, DumpReport* report) const {
    std::string sql = "CREATE TABLE " + ForeignIdentifier(mOptions.target, table.name.view()) + " (";
    if (mOptions.rowIDs) sql += mOptions.target == SqlTarget::kPostgres ? "_rowid bigint" : "_rowid integer";
    if (mOptions.rowIDs) sql += " PRIMARY KEY";
    for (long c = 1; c < table.QtyColumns(); ++c) {
      const ParvexColumnInfo* column = table.Column(c);
      if (column == nullptr) continue;
      if (c > 1 || mOptions.rowIDs) sql += ", ";
      sql += ForeignIdentifier(mOptions.target, column->name.view());
      sql += ' ';
      sql += ForeignTypeName(mOptions.target, column->Type(), mTemporalAsText[static_cast<size_t>(c)]);
      if (!column->defaultValue.IsNull()) {
        sql += " DEFAULT ";
        std::string why;
        if (!AppendForeignLiteral(mOptions.target, column->defaultValue, &sql, &why)) {
          CountInexact(report, "the default of " + table.name.str() + "." + column->name.str() + ": " + why);
        }
      }
    }
    return sql + ");";
  }

  std::vector<std::string> CreateIndexes(const ParvexTable& table) {
    std::vector<std::string> statements;
    const std::string tableName = ForeignIdentifier(mOptions.target, table.name.view());
    for (const IndexColumns& index : IndexesOf(table)) {
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
  std::string FreeName(const ParvexTable& table, const std::string& name) {
    std::string candidate = name;
    if (mUsedNames.count(Lower(candidate))) candidate = table.name.str() + "_" + name;
    const std::string base = candidate;
    for (int n = 2; mUsedNames.count(Lower(candidate)); ++n) candidate = base + "_" + std::to_string(n);
    mUsedNames.insert(Lower(candidate));
    return candidate;
  }

  const DumpOptions& mOptions;
  std::set<std::string> mUsedNames;  // in lower case: unquoted names differ by more than case
  std::vector<bool> mTemporalAsText;  // by column index, for the current table
};

}  // namespace

std::string CreateTableSql(const ParvexTable& table, bool* inexact) {
  std::string sql = "CREATE TABLE ";
  sql += table.name.view();
  sql += " (";
  for (long c = 1; c < table.QtyColumns(); ++c) {
    const ParvexColumnInfo* column = table.Column(c);
    if (column == nullptr) continue;
    if (c > 1) sql += ", ";
    sql += column->name.view();
    sql += ' ';
    const char* type = TypeName(column->Type());
    if (type == nullptr) {
      type = "String";
      *inexact = true;
    }
    sql += type;
  }
  sql += ");";
  return sql;
}

std::vector<std::string> CreateIndexSql(const ParvexTable& table) {
  std::vector<std::string> statements;
  for (const IndexColumns& index : IndexesOf(table)) {
    std::string sql = "CREATE INDEX " + index.name + " ON " + table.name.str() + " (";
    for (size_t i = 0; i < index.columns.size(); ++i) sql += (i ? ", " : "") + index.columns[i];
    statements.push_back(sql + ");");
  }
  return statements;
}

namespace {

Status DamageOf(const ParvexTable& table) {
  const ParvexStatus status = table.DamageStatus();
  return Status{false, status.Code(), status.Description().str()};
}

}  // namespace

void WriteDump(const std::vector<const ParvexTable*>& tables, const DumpOptions& options, std::ostream& out,
               const std::function<bool()>& stop, bool showProgress, DumpReport* report) {
  const bool foreign = options.target != SqlTarget::kParvex;
  // psql sends each statement on its own and waits for the answer: many rows
  // per INSERT load several times faster. sqlite3 and the shell gain nothing.
  const size_t rowsPerInsert = options.target == SqlTarget::kPostgres ? kPostgresRowsPerInsert : 1;
  uint64_t total = 0;
  for (const ParvexTable* table : tables) total += static_cast<uint64_t>(table->QtyRows());
  ProgressBar progress("Dumping", total, showProgress);
  ForeignSchema schema(options, tables);
  auto name = [&](std::string_view text) {
    return foreign ? ForeignIdentifier(options.target, text) : std::string(text);
  };

  if (foreign) out << ForeignDumpPreamble(options.target);
  out << (options.target == SqlTarget::kPostgres ? "BEGIN;\n" : "BEGIN TRANSACTION;\n");
  SimpleVector<RowID> rows;
  std::string line, why;
  for (const ParvexTable* table : tables) {
    if (foreign) {
      if (!schema.ChooseColumnTypes(*table, stop, report)) {
        report->interrupted = true;
        return;
      }
      out << schema.CreateTable(*table, report) << '\n';
    } else {
      bool inexactType = false;
      out << CreateTableSql(*table, &inexactType) << '\n';
      if (inexactType) CountInexact(report, "a column type of " + table->name.str());
    }
    // "INSERT INTO T (_rowid, a, b) VALUES (" is the same for every row.
    std::string head = "INSERT INTO " + name(table->name.view()) + " (";
    std::string columns = options.rowIDs ? "_rowid" : "";
    for (long c = 1; c < table->QtyColumns(); ++c) {
      columns += (columns.empty() ? "" : ", ") + name(table->Column(c)->name.view());
    }
    head += columns + ") VALUES (";
    table->GetRowIDs(&rows);
    size_t inStatement = 0;  // rows written of the current INSERT
    for (RowID row : rows) {
      if (stop && stop()) {
        report->interrupted = true;
        return;  // no COMMIT: reading a cut dump changes nothing
      }
      line = inStatement == 0 ? head : ",\n(";
      if (options.rowIDs) line += std::to_string(row);
      for (long c = 1; c < table->QtyColumns(); ++c) {
        ParvexValue value;
        if (!table->GetValue(row, c, &value)) value.SetNull();
        if (c > 1 || options.rowIDs) line += ", ";
        why.clear();
        if (foreign ? AppendForeignLiteral(options.target, value, &line, &why) : AppendSqlLiteral(value, 0, &line)) {
          continue;
        }
        CountInexact(report, table->name.str() + "." + table->Column(c)->name.str() + " of row " +
                                 std::to_string(row) + (why.empty() ? "" : ": " + why));
      }
      // A damaged table reads as empty: the dump stops before a row it
      // could not read, and without the COMMIT that would make it look whole.
      if (table->IsDamaged()) {
        report->damaged = DamageOf(*table);
        return;
      }
      line += ')';
      if (++inStatement == rowsPerInsert) {
        line += ";\n";
        inStatement = 0;
      }
      out << line;
      progress.Update(++report->rows);
    }
    if (inStatement > 0) out << ";\n";
    if (table->IsDamaged()) {
      report->damaged = DamageOf(*table);
      return;
    }
    for (const std::string& index : foreign ? schema.CreateIndexes(*table) : CreateIndexSql(*table)) {
      out << index << '\n';
    }
  }
  out << "COMMIT;\n";
}

void WriteDump(const Database& db, const std::vector<std::string>& names, const DumpOptions& options,
               std::ostream& out, const std::function<bool()>& stop, bool showProgress, DumpReport* report) {
  const ParvexDatabase& engine = *db.handle()->database;
  std::vector<const ParvexTable*> tables;
  for (const std::string& name : names) {
    if (const ParvexTable* table = engine.FindTable(string(name, kEncodingUTF8))) tables.push_back(table);
  }
  WriteDump(tables, options, out, stop, showProgress, report);
}

}  // namespace parvex::shell
