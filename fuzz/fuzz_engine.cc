// Fuzz target for the engine end to end, in two modes chosen by the input.
//
// Script mode: every line is a statement, looked at for warnings and then
// run against a new database file (a query, by its first word, through
// ParvexSQLQuery, whose result is read completely, the rest through
// ParvexSQLExecute); the lines "!c", "!r" and "!o" commit, roll back and
// reopen. Queries whose joins would enumerate more than a bounded number of
// combinations are skipped, so that no input runs for long by being a big
// cross join.
//
// File mode (input starting with "#file\n"): the rest of the input is written
// as the database file, which is checked (the check must leave it as it was)
// and recovered into a new file, then opened, read table by table, changed,
// committed and reopened.
//
// Nothing may crash, hang, leak or read out of bounds, whatever the SQL or
// the bytes of the file.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include "core/check_report.h"
#include "db/database.h"
#include "db/integrity_check.h"
#include "db/recover.h"
#include "sql/execute.h"
#include "sql/parser.h"
#include "sql/sql_dialect.h"
#include "sql/statement_warnings.h"

namespace {

using namespace parvex;

constexpr size_t kMaxStatements = 48;
constexpr size_t kMaxRowsPerTable = 200;
constexpr double kMaxCombinations = 20000;

std::filesystem::path FuzzFolder() {
  return std::filesystem::temp_directory_path() / ("parvex-fuzz-" + std::to_string(getpid()));
}

const std::string& DatabasePath() {
  static const std::string path = [] {
    std::filesystem::create_directories(FuzzFolder());
    std::atexit([] {
      std::error_code ec;
      std::filesystem::remove_all(FuzzFolder(), ec);
    });
    return (FuzzFolder() / "fuzz.pvx").string();
  }();
  return path;
}

void ReadAll(const ParvexTable& table) {
  SimpleVector<RowID> ids;
  table.GetRowIDs(&ids);
  for (RowID id : ids) {
    for (long c = 0; c < table.QtyColumns(); ++c) {
      ParvexValue value;
      if (table.GetValue(id, c, &value)) value.GetString();
    }
  }
}

// The number of combinations a SELECT's FROM list can produce, or 0 when
// the text is not a SELECT (and -1 when it doesn't parse).
double SelectCost(const std::string& sql, ParvexDatabase& db) {
  ParvexSQLParser parser;
  auto node = parser.Evaluate(string(sql));
  if (!node || parser.LastError() != ParvexSQLParser::kNoError) return -1;
  const SQLSelectNode* select = nullptr;
  if (node->IsSelect()) select = static_cast<const SQLSelectNode*>(node.get());
  if (node->IsInsert()) select = static_cast<const SQLInsertNode*>(node.get())->select.get();
  if (!select) return 0;
  double cost = 1;
  for (const auto& ref : select->tables) {
    const ParvexTable* table = db.FindTable(ref->tableName);
    cost *= table ? static_cast<double>(table->QtyRows()) + 1 : 2;
  }
  return cost;
}

bool TablesSmall(const ParvexDatabase& db) {
  for (const ParvexTable* table : db.tables) {
    if (table->QtyRows() > static_cast<long>(kMaxRowsPerTable)) return false;
  }
  return true;
}

std::unique_ptr<ParvexDatabase> Open(bool create) {
  ParvexStatus status;
  return std::unique_ptr<ParvexDatabase>(ParvexOpenDatabase(string(DatabasePath()), create, &status));
}

void RunScript(std::string_view text) {
  std::filesystem::remove(DatabasePath());
  auto db = Open(true);
  if (!db) return;
  size_t statements = 0;
  while (!text.empty() && statements < kMaxStatements) {
    const size_t end = text.find('\n');
    const std::string line(text.substr(0, end));
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    ++statements;
    if (line == "!c") {
      db->Commit(nullptr);
    } else if (line == "!r") {
      db->Rollback(nullptr);
    } else if (line == "!o") {
      db.reset();
      db = Open(false);
      if (!db) return;
    } else {
      const double cost = SelectCost(line, *db);
      if (cost > kMaxCombinations) continue;
      FindStatementWarnings(string(line), *db);
      ParvexStatus status;
      db->UpdateClock();
      if (StatementKindOf(line) == StatementKind::kQuery) {
        std::unique_ptr<ParvexTable> result(ParvexSQLQuery(string(line), *db, &status, nullptr, nullptr, nullptr));
        if (result) ReadAll(*result);
      } else {
        ParvexSQLExecute(string(line), *db, &status);
      }
      status.Description();
      if (!TablesSmall(*db)) return;
    }
  }
  db->TransactionInProgress();
  db->GetSchemaData(nullptr);
}

// The integrity check and recovery read any file without harm, and the check
// never changes it.
void CheckAndRecover(std::string_view bytes) {
  CheckReport report;
  ParvexCheckDatabase(string(DatabasePath()), &report, nullptr);
  std::ifstream in(DatabasePath(), std::ios::binary);
  const std::string after((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (after != bytes) std::abort();
  const std::string copy = DatabasePath() + ".recovered";
  std::filesystem::remove(copy);
  RecoverReport recovered;
  ParvexRecoverDatabase(string(DatabasePath()), string(copy), &recovered, nullptr);
  std::filesystem::remove(copy);
}

void RunFile(std::string_view bytes) {
  {
    std::ofstream out(DatabasePath(), std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }
  CheckAndRecover(bytes);
  auto db = Open(false);
  if (!db) return;
  for (size_t i = 0; i < db->tables.size(); ++i) {
    if (db->tables[i]->QtyRows() <= static_cast<long>(kMaxRowsPerTable * 10)) ReadAll(*db->tables[i]);
  }
  ParvexStatus status;
  const string data = db->GetSchemaData(&status);
  if (db->tables.size() > 1) {
    const string name = db->tables[1]->name;
    ParvexSQLExecute(string("DELETE FROM ") + name.view() + " WHERE _rowid = 1", *db, &status);
    ParvexSQLExecute(string("INSERT INTO ") + name.view() + " DEFAULT VALUES", *db, &status);
  }
  ParvexSQLExecute(string("CREATE TABLE fuzz_new (a Integer, b String)"), *db, &status);
  ParvexSQLExecute(string("INSERT INTO fuzz_new VALUES (1, 'x')"), *db, &status);
  db->Commit(&status);
  db.reset();
  db = Open(false);
  if (!db) return;
  if (!data.empty()) db->ReplaceSchemaData(data, &status);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  constexpr std::string_view kFileMode = "#file\n";
  if (input.substr(0, kFileMode.size()) == kFileMode) {
    RunFile(input.substr(kFileMode.size()));
  } else {
    RunScript(input);
  }
  return 0;
}
