// Schema statements and the SQL dump. This module still reads the engine's
// tables directly (rows, values and their literals); its header offers only
// the public interface's types.
#include "schema_dump.h"

#include "db/database.h"
#include "embed/handles.h"
#include "progress.h"
#include "query/sql_literal.h"
#include "sql/binder.h"
#include "sql/sql_dialect.h"
#include "storage/index.h"
#include "storage/trans.h"

namespace parvex::shell {
namespace {

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
  const auto* stored = dynamic_cast<const ParvexTrans*>(&table);
  SimpleVector<string> indexNames;
  table.GetIndexNames(&indexNames);
  for (const string& indexName : indexNames) {
    std::vector<std::string> columns;
    // An index over a column that was dropped since can't be written.
    if (stored == nullptr || !IndexColumnNames(*stored, indexName, &columns) || columns.empty()) continue;
    std::string sql = "CREATE INDEX " + indexName.str() + " ON " + table.name.str() + " (";
    for (size_t i = 0; i < columns.size(); ++i) sql += (i ? ", " : "") + columns[i];
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

void WriteDump(const std::vector<const ParvexTable*>& tables, std::ostream& out, const std::function<bool()>& stop,
               bool showProgress, DumpReport* report) {
  uint64_t total = 0;
  for (const ParvexTable* table : tables) total += static_cast<uint64_t>(table->QtyRows());
  ProgressBar progress("Dumping", total, showProgress);

  out << "BEGIN TRANSACTION;\n";
  SimpleVector<RowID> rows;
  std::string line;
  for (const ParvexTable* table : tables) {
    bool inexactType = false;
    out << CreateTableSql(*table, &inexactType) << '\n';
    if (inexactType) {
      ++report->inexactValues;
      if (report->inexactPlaces.size() < kInexactPlacesShown) {
        report->inexactPlaces.push_back("a column type of " + table->name.str());
      }
    }
    // "INSERT INTO T (_rowid, a, b) VALUES (" is the same for every row.
    std::string head = "INSERT INTO " + table->name.str() + " (_rowid";
    for (long c = 1; c < table->QtyColumns(); ++c) head += ", " + table->Column(c)->name.str();
    head += ") VALUES (";
    table->GetRowIDs(&rows);
    for (RowID row : rows) {
      if (stop && stop()) {
        report->interrupted = true;
        return;  // no COMMIT: reading a cut dump changes nothing
      }
      line = head;
      line += std::to_string(row);
      for (long c = 1; c < table->QtyColumns(); ++c) {
        ParvexValue value;
        if (!table->GetValue(row, c, &value)) value.SetNull();
        line += ", ";
        if (!AppendSqlLiteral(value, 0, &line)) {
          ++report->inexactValues;
          if (report->inexactPlaces.size() < kInexactPlacesShown) {
            report->inexactPlaces.push_back(table->name.str() + "." + table->Column(c)->name.str() + " of row " +
                                            std::to_string(row));
          }
        }
      }
      // A damaged table reads as empty: the dump stops before a row it
      // could not read, and without the COMMIT that would make it look whole.
      if (table->IsDamaged()) {
        report->damaged = DamageOf(*table);
        return;
      }
      line += ");\n";
      out << line;
      progress.Update(++report->rows);
    }
    if (table->IsDamaged()) {
      report->damaged = DamageOf(*table);
      return;
    }
    for (const std::string& index : CreateIndexSql(*table)) out << index << '\n';
  }
  out << "COMMIT;\n";
}

void WriteDump(const Database& db, const std::vector<std::string>& names, std::ostream& out,
               const std::function<bool()>& stop, bool showProgress, DumpReport* report) {
  const ParvexDatabase& engine = *db.handle()->database;
  std::vector<const ParvexTable*> tables;
  for (const std::string& name : names) {
    if (const ParvexTable* table = engine.FindTable(string(name, kEncodingUTF8))) tables.push_back(table);
  }
  WriteDump(tables, out, stop, showProgress, report);
}

}  // namespace parvex::shell
