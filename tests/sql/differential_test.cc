// The fast query executor against the reference executor: the same
// statements run on two databases built alike, one per executor, must give
// the same statuses, the same result tables (column names and types, rows in
// order, every value's type, NULL flag and payload, the source record set of
// every row, the FROM and column lists) and leave the same tables behind
// (rows in scan order with every value, last row IDs) after UPDATE, DELETE
// and INSERT ... SELECT.
//
// The statements come from SqlGenerator (seeded): PARVEX_DIFF_ITERATIONS
// schemas (default 50) of PARVEX_DIFF_STATEMENTS statements each (default
// 24), from seed PARVEX_DIFF_SEED (default 1). A failure names the seed of
// its schema; PARVEX_DIFF_SEED=<seed> PARVEX_DIFF_ITERATIONS=1 replays it, and
// PARVEX_DIFF_VERBOSE=1 prints every statement as it runs.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <sstream>
#include <strings.h>
#include <string>
#include <vector>

#include "core/status.h"
#include "db/database.h"
#include "db/temp_table.h"
#include "differential_generator.h"
#include "platform/memory_file_system.h"
#include "sql/execute.h"

namespace parvex {
namespace {

uint64_t EnvNumber(const char* name, uint64_t fallback) {
  const char* text = std::getenv(name);
  return text && *text ? std::strtoull(text, nullptr, 10) : fallback;
}

// A value's type, NULL flag and exact payload.
std::string Exact(const ParvexValue& v) {
  std::ostringstream out;
  out << int(v.Type()) << (v.IsNull() ? "n" : "v") << ":";
  if (v.Type() == kTypeDouble) {
    uint64_t bits;
    const double d = v.RawDouble();
    std::memcpy(&bits, &d, sizeof bits);
    out << std::hex << bits;
  } else if (IsTextType(v.Type())) {
    out << v.RawText().view();
  } else {
    out << v.RawInteger();
  }
  return out.str();
}

std::string DumpTable(const ParvexTable& table) {
  std::ostringstream out;
  out << "table " << table.name.view() << " last " << table.lastRowID << " columns";
  for (long c = 0; c < table.QtyColumns(); ++c) {
    const ParvexColumnInfo* info = table.Column(c);
    out << " [" << (info ? info->name.view() : "?") << " " << (info ? int(info->Type()) : -1) << "]";
  }
  out << "\n";
  SimpleVector<RowID> ids;
  table.GetRowIDs(&ids);
  const auto* result = dynamic_cast<const ParvexTempTable*>(&table);
  for (RowID id : ids) {
    out << "  " << id << ":";
    for (long c = 0; c < table.QtyColumns(); ++c) {
      ParvexValue v;
      out << " " << (table.GetValue(id, c, &v) ? Exact(v) : std::string("(none)"));
    }
    if (result) {
      const ParvexRecSet* source = result->GetSourceRecSet(static_cast<long>(id));
      out << " <-";
      for (size_t t = 0; source && t < source->size(); ++t) out << " " << (*source)[t];
    }
    out << "\n";
  }
  return out.str();
}

std::string DumpDatabase(const ParvexDatabase& db) {
  std::string text;
  for (const ParvexTable* table : db.tables) text += DumpTable(*table);
  return text;
}

// Runs a statement the way the host binding does and describes all it did.
std::string Run(ParvexDatabase& db, const std::string& sql) {
  ParvexStatus status;
  std::ostringstream out;
  const bool query = sql.size() >= 7 && strncasecmp(sql.c_str(), "select ", 7) == 0;
  if (query) {
    SimpleVector<string> tableNames, columnNames;
    SimpleVector<long> columnIDs;
    std::unique_ptr<ParvexTable> result(
        ParvexSQLQuery(string(sql), db, &status, &tableNames, &columnNames, &columnIDs));
    out << "[" << status.Code() << "] " << status.Description().view() << "\n";
    for (const string& name : tableNames) out << "from " << name.view() << "\n";
    for (size_t i = 0; i < columnNames.size(); ++i) {
      out << "column " << columnNames[i].view() << " " << (i < columnIDs.size() ? columnIDs[i] : -2) << "\n";
    }
    out << (result ? DumpTable(*result) : std::string("(null)\n"));
  } else {
    ParvexSQLExecute(string(sql), db, &status);
    out << "[" << status.Code() << "] " << status.Description().view() << "\n" << DumpDatabase(db);
  }
  return out.str();
}

// Two databases fed the same statements, one per executor.
// The files live in memory.
class Twins {
 public:
  Twins() { Reopen(true); }
  bool Open() const { return mReference && mFast; }

  // Runs `sql` on both (".reopen" reopens both files); false with a report
  // when they differ.
  bool Same(const std::string& sql, std::string* report) {
    if (sql == ".reopen") {
      Reopen(false);
      if (Open()) return true;
      *report = sql + ": a database did not open again";
      return false;
    }
    const std::string expected = Run(*mReference, sql);
    const std::string actual = Run(*mFast, sql);
    if (expected == actual) return true;
    *report = sql + "\n--- reference:\n" + expected + "--- fast:\n" + actual;
    return false;
  }

 private:
  void Reopen(bool create) {
    ParvexStatus status;
    ParvexOpenOptions options;
    options.create = create;
    options.fileSystem = &mFiles;
    mReference.reset();
    mFast.reset();
    mReference.reset(ParvexOpenDatabase(string("ref.pvx"), options, &status));
    mFast.reset(ParvexOpenDatabase(string("fast.pvx"), options, &status));
    if (mReference) mReference->queryExecutor = QueryExecutor::kReference;
  }

  MemoryFileSystem mFiles;
  std::unique_ptr<ParvexDatabase> mReference;
  std::unique_ptr<ParvexDatabase> mFast;
};

TEST(DifferentialTest, FastExecutorAgreesWithTheReferenceOnGeneratedStatements) {
  const uint64_t firstSeed = EnvNumber("PARVEX_DIFF_SEED", 1);
  const uint64_t iterations = EnvNumber("PARVEX_DIFF_ITERATIONS", 50);
  const uint64_t statements = EnvNumber("PARVEX_DIFF_STATEMENTS", 24);
  const bool verbose = EnvNumber("PARVEX_DIFF_VERBOSE", 0) != 0;
  int failures = 0;
  for (uint64_t seed = firstSeed; seed < firstSeed + iterations && failures < 3; ++seed) {
    differential::SqlGenerator generator(seed);
    Twins twins;
    ASSERT_TRUE(twins.Open());
    std::vector<std::string> history = generator.Setup();
    for (uint64_t s = 0; s < statements; ++s) history.push_back(generator.Statement());
    for (const std::string& sql : history) {
      if (verbose) std::cout << seed << ": " << sql << std::endl;
      std::string report;
      if (twins.Same(sql, &report)) continue;
      std::string script;
      for (const std::string& line : history) script += line + ";\n";
      ADD_FAILURE() << "seed " << seed << ": the executors differ on\n" << report << "\n--- statements:\n" << script;
      ++failures;
      break;
    }
  }
}

}  // namespace
}  // namespace parvex
