// The built-in self-check cases: a registry of short checks that exercise
// the engine's parts inside the library a program actually linked (`parvex
// --self-check` runs them one by one). Each case returns an empty text when
// it passes, else what it saw instead of what it expected. The cases work in
// memory (a MemoryFileSystem) except the transaction cycle, which uses a
// temporary file and removes it.
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "core/value.h"
#include "core/value_codec.h"
#include "db/database.h"
#include "embed/handles.h"
#include "parvex/parvex.h"
#include "platform/memory_file_system.h"
#include "sql/execute.h"
#include "sql/parser.h"

using namespace parvex;

namespace {

using Check = std::string (*)();

// One value of every type, with the awkward ones: the most negative
// integer, a negative double, NaN, text with zero bytes and non-ASCII text.
std::vector<ParvexValue> Samples() {
  return {ParvexValue::Integer(-2147483647 - 1),
          ParvexValue::Double(-1.5),
          ParvexValue::Double(std::nan("")),
          ParvexValue::String(string("Zoë Ünal", kEncodingUTF8)),
          ParvexValue::Text(kTypeBinary, string("a\0b", 3, kEncodingDefault)),
          ParvexValue::Text(kTypeDate, string("2001-02-03")),
          ParvexValue::Text(kTypeTime, string("23:59:58")),
          ParvexValue::Text(kTypeTimestamp, string("1999-12-31 23:59:59")),
          ParvexValue::Boolean(true),
          ParvexValue::Null(kTypeInteger)};
}

// Same type, NULL flag and payload (doubles by their bits, so NaN matches).
bool Same(const ParvexValue& a, const ParvexValue& b) {
  if (a.Type() != b.Type() || a.IsNull() != b.IsNull()) return false;
  if (a.IsNull()) return true;
  if (a.Type() == kTypeDouble) {
    const double x = a.RawDouble();
    const double y = b.RawDouble();
    return std::memcmp(&x, &y, sizeof(double)) == 0;
  }
  if (IsTextType(a.Type())) return a.RawText().view() == b.RawText().view();
  return a.RawInteger() == b.RawInteger();
}

std::string Describe(const ParvexValue& value) {
  return "type " + std::to_string(value.Type()) + " '" + value.GetString().str() + "'";
}

std::string ValueEncoding() {
  for (const ParvexValue& value : Samples()) {
    std::string bytes;
    EncodeValue(&bytes, &value);
    size_t at = 0;
    const ParvexValue back = DecodeValue(ReadEncodedValue(bytes, &at));
    if (!Same(value, back) || at != bytes.size()) return Describe(value) + " came back as " + Describe(back);
  }
  return "";
}

// Opens `path` on `fs`; `failure` receives why not.
std::unique_ptr<ParvexDatabase> OpenOn(ParvexFileSystem* fs, const std::string& path, bool create, std::string* failure) {
  ParvexOpenOptions options;
  options.create = create;
  options.fileSystem = fs;
  ParvexStatus status;
  std::unique_ptr<ParvexDatabase> db(ParvexOpenDatabase(string(path), options, &status));
  if (!db) *failure = "open: " + status.Description().str();
  return db;
}

std::string Run(ParvexDatabase& db, const char* sql) {
  ParvexStatus status;
  ParvexSQLExecute(string(sql, kEncodingUTF8), db, &status);
  return IsErrorState(status.State()) ? std::string(sql) + ": " + status.Description().str() : "";
}

std::string FileFormat() {
  MemoryFileSystem fs;
  std::string failure;
  const std::vector<ParvexValue> samples = Samples();
  {
    std::unique_ptr<ParvexDatabase> db = OpenOn(&fs, "check.pvx", true, &failure);
    if (!db) return failure;
    if (!(failure = Run(*db, "CREATE TABLE t (i Integer, d Double, e Double, s String, b Binary, dt Date, "
                             "tm Time, ts Timestamp, f Boolean, n Integer)")).empty()) {
      return failure;
    }
    ParvexValueList row;
    for (size_t i = 0; i < samples.size(); ++i) row.push_back(new ParvexValueWithID(samples[i], static_cast<long>(i + 1)));
    if (db->FindTable(string("t"))->AddRow(row, true) == kInvalidRowID) return "the row was refused";
    ParvexStatus status;
    db->Commit(&status);
    if (IsErrorState(status.State())) return "commit: " + status.Description().str();
  }
  std::unique_ptr<ParvexDatabase> db = OpenOn(&fs, "check.pvx", false, &failure);
  if (!db) return failure;
  const ParvexTable* table = db->FindTable(string("t"));
  if (!table || table->QtyRows() != 1) return "the table did not come back with its row";
  SimpleVector<RowID> ids;
  table->GetRowIDs(&ids);
  for (size_t i = 0; i < samples.size(); ++i) {
    ParvexValue back;
    table->GetValue(ids[0], static_cast<long>(i + 1), &back);
    if (!Same(samples[i], back)) return Describe(samples[i]) + " was read back as " + Describe(back);
  }
  return "";
}

std::string SchemaData() {
  MemoryFileSystem fs;
  std::string failure;
  std::unique_ptr<ParvexDatabase> from = OpenOn(&fs, "from.pvx", true, &failure);
  std::unique_ptr<ParvexDatabase> to = from ? OpenOn(&fs, "to.pvx", true, &failure) : nullptr;
  if (!to) return failure;
  if (!(failure = Run(*from, "CREATE TABLE people (name String, born Date)")).empty()) return failure;
  ParvexStatus status;
  from->Commit(&status);
  const string data = from->GetSchemaData(&status);
  to->ReplaceSchemaData(data, &status);
  const ParvexTable* copy = to->FindTable(string("people"));
  if (IsErrorState(status.State()) || !copy || copy->QtyColumns() != 3) return "the table did not arrive";
  return copy->Column(2)->name.view() == "born" ? "" : "column 2 is " + copy->Column(2)->name.str();
}

std::string ParserCases() {
  static constexpr const char* kCases[][2] = {
      {"SELECT 1,39+3,2+4*10,-6*7 FROM MYTABLE", "SELECT 1, (39+3), (2+(4*10)), (-(6)*7) FROM MYTABLE"},
      {"SELECT foo FROM MYTABLE WHERE A=1 OR B=2 AND C=3", "SELECT foo FROM MYTABLE WHERE ((A=1) OR ((B=2) AND (C=3)))"},
      {"SELECT RV.foo FROM MYTABLE RV", "SELECT RV.foo FROM MYTABLE AS RV"},
      {"SELECT a FROM t WHERE NOT a=1", "SELECT a FROM t WHERE (a=1)"},
      {"SELECT foo FROM MYTABLE WHERE bar Not LIKE '%dat'", "SELECT foo FROM MYTABLE WHERE bar NOT LIKE '%dat'"},
      {"SELECT SUBSTRING ('foobar' from 3 for 2)", "SELECT SUBSTRING('foobar' FROM 3 FOR 2)"},
      {"ALTER TABLE Foobar ADD COLUMN foo Integer", "ALTER TABLE Foobar ADD foo Integer"},
      {"UPDATE t SET a = ?, b = ?5 WHERE c = ?", "UPDATE t SET a=?, b=?5 WHERE (c=?)"},
      {"FOO BAR BAZ", "[07000] SQL Error: keyword expected"},
      {"SELECT 1,2 FROM 42", "[07000] SQL Error: table name expected"},
      {"UPDATE foo", "[07000] SQL Error: SET expected"},
      {"SELECT a FROM t WHERE a IN (1, 2)", "[07000] SQL Error: feature not supported"},
  };
  for (const auto& c : kCases) {
    ParvexSQLParser parser;
    std::unique_ptr<SQLSyntaxNode> node = parser.Evaluate(string(c[0]));
    const std::string got = parser.LastError() != ParvexSQLParser::kNoError
                                ? "[07000] " + ParvexSQLParser::ErrorMessage(parser.LastError()).str()
                                : node ? node->Description().str() : "(nothing)";
    if (got != c[1]) return std::string(c[0]) + " read as " + got;
  }
  return "";
}

std::string ExpressionCases() {
  static constexpr const char* kCases[][2] = {
      {"2+4*10", "42"},
      {"7/2", "3"},
      {"UPPER('Zoë Ünal')", "ZOË ÜNAL"},
      {"CHAR_LENGTH('Zoë')", "3"},
      {"SUBSTRING('foobar' FROM 3 FOR 2)", "ob"},
      {"POSITION('fu' IN 'snafu')", "4"},
      {"TRIM(BOTH '*' FROM '**x**')", "x"},
      {"'abc' LIKE 'A%'", "1"},
  };
  MemoryFileSystem fs;
  std::string failure;
  std::unique_ptr<ParvexDatabase> database = OpenOn(&fs, "expr.pvx", true, &failure);
  if (!database) return failure;
  for (const auto& c : kCases) {
    ParvexStatus status;
    std::unique_ptr<ParvexTable> result(ParvexSQLQuery(string(std::string("SELECT ") + c[0], kEncodingUTF8), *database,
                                                       &status, nullptr, nullptr, nullptr));
    ParvexValue value;
    if (!result || result->QtyRows() != 1 || !result->GetValue(0, 0, &value)) {
      return std::string(c[0]) + ": " + status.Description().str();
    }
    if (value.GetString().view() != c[1]) return std::string(c[0]) + " gave " + value.GetString().str();
  }
  return "";
}

// Runs `sql` through the C interface and returns its single integer.
int64_t Count(parvex_db* db, const char* sql) {
  parvex_stmt* stmt = nullptr;
  int64_t count = -1;
  if (parvex_prepare(db, sql, &stmt) == PARVEX_OK && parvex_step(stmt) == PARVEX_ROW) count = parvex_column_int(stmt, 0);
  parvex_finalize(stmt);
  return count;
}

// The steps of the cycle on an open handle; the first failure's text.
std::string CycleSteps(parvex_db* db, const std::string& path) {
  if (parvex_exec(db, "CREATE TABLE t (a Integer)") != PARVEX_OK || parvex_exec(db, "INSERT INTO t VALUES (1)") != PARVEX_OK ||
      parvex_commit(db) != PARVEX_OK || parvex_exec(db, "INSERT INTO t VALUES (2)") != PARVEX_OK) {
    return std::string("writing: ") + parvex_errmsg(db);
  }
  if (Count(db, "SELECT COUNT(*) FROM t") != 2 || !parvex_in_transaction(db)) return "the pending row is not seen";
  if (parvex_rollback(db) != PARVEX_OK || Count(db, "SELECT COUNT(*) FROM t") != 1) {
    return "rollback did not discard the pending row";
  }
  if (parvex_exec(db, "INSERT INTO t VALUES (3)") != PARVEX_OK) return std::string("writing: ") + parvex_errmsg(db);
  parvex_close(db);
  parvex_db* again = nullptr;
  std::string failure;
  if (parvex_open(path.c_str(), 0, 0, &again) != PARVEX_OK) {
    failure = std::string("reopen: ") + parvex_errmsg(again);
  } else if (Count(again, "SELECT SUM(a) FROM t") != 1) {
    failure = "closing without a commit kept a row";
  }
  parvex_close(again);
  return failure;
}

std::string TransactionCycle() {
  const char* tmpdir = std::getenv("TMPDIR");
  const std::string folder = tmpdir && *tmpdir ? tmpdir : "/tmp";
  std::string path = folder + "/parvex-self-check-XXXXXX";
  const int fd = mkstemp(path.data());
  if (fd < 0) return "can't make a temporary file in " + folder;
  close(fd);  // an empty file: the open below makes it a database
  parvex_db* db = nullptr;
  std::string failure;
  if (parvex_open(path.c_str(), PARVEX_OPEN_CREATE, 0, &db) != PARVEX_OK) {
    failure = std::string("open: ") + parvex_errmsg(db);
    parvex_close(db);
  } else {
    failure = CycleSteps(db, path);  // closes db
  }
  std::remove(path.c_str());
  std::remove((path + "-journal").c_str());
  return failure;
}

struct Case {
  const char* name;
  Check check;
};

constexpr Case kCases[] = {
    {"values: in-memory encoding round trip", ValueEncoding},
    {"file format: every type through a database file", FileFormat},
    {"schema data: export and replace", SchemaData},
    {"parser: canonical text and errors", ParserCases},
    {"expressions: functions, arithmetic, UTF-8 text", ExpressionCases},
    {"transactions: commit, rollback, close without commit", TransactionCycle},
};
constexpr int kCaseCount = sizeof(kCases) / sizeof(kCases[0]);

std::string gLastMessage;  // what parvex_self_check_run hands out

}  // namespace

extern "C" {

int parvex_self_check_count(void) { return kCaseCount; }

const char* parvex_self_check_name(int index) { return index >= 0 && index < kCaseCount ? kCases[index].name : nullptr; }

int parvex_self_check_run(int index, const char** message) {
  if (index < 0 || index >= kCaseCount) {
    gLastMessage = "no such case";
  } else {
    try {
      gLastMessage = kCases[index].check();
    } catch (...) {
      gLastMessage = "out of memory";
    }
  }
  if (message) *message = gLastMessage.c_str();
  return gLastMessage.empty() ? PARVEX_OK : PARVEX_ERROR;
}

}  // extern "C"
