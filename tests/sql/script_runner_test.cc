// Runs the SQL scripts of tests/sql/scripts/ end to end, one test per script,
// each against a new database file in a temporary folder, once with each
// query executor.
//
// Script format (one item per line):
//   -- comment                  ignored, as are blank lines
//   <statement text>            may span lines; ends with a line ending in ';'
//                               (the ';' is not sent). Text that starts with
//                               "select" goes to ParvexSQLQuery, the rest to
//                               ParvexSQLExecute, as the host binding does.
//   > v1 | v2 | ...             an expected result row of the statement above,
//                               in order; values as ParvexValue::GetString
//                               (NULL prints as NULL). A query without '>'
//                               lines must return no rows.
//   : name1 | name2 | ...       the expected result column names
//   ! [SQLSTATE] message        the expected status (state and description);
//                               without it the statement must not fail
//   .execute <statement>        sends the statement to ParvexSQLExecute
//   .query <statement>          sends it to ParvexSQLQuery; a null result
//                               must be expected with "> (null)"
//   .reopen                     destroys the database object (no commit) and
//                               opens the file again
//   .transaction yes|no         checks TransactionInProgress()
//   .file <name> yes|no         checks whether the volume holds a file
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "db/database.h"
#include "sql/execute.h"
#include "sql_test_util.h"
#include "storage/file_access.h"

namespace parvex {
namespace {

namespace fs = std::filesystem;

enum class StepKind { kStatement, kReopen, kTransaction, kFile };
enum class EntryPoint { kAuto, kExecute, kQuery };

struct Step {
  StepKind kind = StepKind::kStatement;
  int line = 0;
  std::string text;  // statement, or the argument of a directive
  EntryPoint entry = EntryPoint::kAuto;
  std::vector<std::string> rows;
  bool checkColumns = false;
  std::string columns;
  bool expectStatus = false;
  std::string status;  // "[SQLSTATE] message"
  bool flag = false;   // the yes/no of a check
};

std::string Trim(const std::string& s) {
  size_t b = s.find_first_not_of(" \t\r");
  if (b == std::string::npos) return "";
  size_t e = s.find_last_not_of(" \t\r");
  return s.substr(b, e - b + 1);
}

// Reads a script into steps; a malformed line is reported as a failure.
std::vector<Step> ParseScript(const fs::path& path) {
  std::ifstream in(path);
  std::vector<Step> steps;
  std::string line;
  std::string pending;
  int pendingLine = 0;
  int number = 0;
  auto need_step = [&](const char* what) -> Step* {
    if (steps.empty() || steps.back().kind != StepKind::kStatement) {
      ADD_FAILURE() << path.filename() << ":" << number << ": " << what << " without a statement";
      return nullptr;
    }
    return &steps.back();
  };
  while (std::getline(in, line)) {
    ++number;
    const std::string t = Trim(line);
    if (!pending.empty()) {
      pending += "\n" + line;
      if (!t.empty() && t.back() == ';') {
        Step step;
        step.line = pendingLine;
        step.text = Trim(pending);
        step.text.pop_back();
        steps.push_back(step);
        pending.clear();
      }
      continue;
    }
    if (t.empty() || t.rfind("--", 0) == 0) continue;
    if (t[0] == '>') {
      if (Step* s = need_step("'>'")) s->rows.push_back(Trim(t.substr(1)));
    } else if (t[0] == ':') {
      if (Step* s = need_step("':'")) {
        s->checkColumns = true;
        s->columns = Trim(t.substr(1));
      }
    } else if (t[0] == '!') {
      if (Step* s = need_step("'!'")) {
        s->expectStatus = true;
        s->status = Trim(t.substr(1));
      }
    } else if (t[0] == '.') {
      std::istringstream words(t);
      std::string directive;
      words >> directive;
      std::string rest;
      std::getline(words, rest);
      rest = Trim(rest);
      Step step;
      step.line = number;
      if (directive == ".execute" || directive == ".query") {
        step.entry = directive == ".execute" ? EntryPoint::kExecute : EntryPoint::kQuery;
        step.text = rest;
        if (!step.text.empty() && step.text.back() == ';') step.text.pop_back();
      } else if (directive == ".reopen") {
        step.kind = StepKind::kReopen;
      } else if (directive == ".transaction") {
        step.kind = StepKind::kTransaction;
        step.flag = rest == "yes";
      } else if (directive == ".file") {
        step.kind = StepKind::kFile;
        const size_t blank = rest.rfind(' ');
        step.text = rest.substr(0, blank);
        step.flag = blank != std::string::npos && rest.substr(blank + 1) == "yes";
      } else {
        ADD_FAILURE() << path.filename() << ":" << number << ": unknown directive " << directive;
        continue;
      }
      steps.push_back(step);
    } else {
      pending = line;
      pendingLine = number;
      if (t.back() == ';') {
        Step step;
        step.line = number;
        step.text = t.substr(0, t.size() - 1);
        steps.push_back(step);
        pending.clear();
      }
    }
  }
  if (!pending.empty()) ADD_FAILURE() << path.filename() << ":" << pendingLine << ": statement without ';'";
  return steps;
}

// The cells of a table row (or, for row -1, its column names) joined by " | ".
std::string Join(const ParvexTable& table, long row) {
  std::string out;
  for (long c = 0; c < table.QtyColumns(); ++c) {
    ParvexValue value;
    const ParvexColumnInfo* info = table.Column(c);
    if (c) out += " | ";
    if (row < 0) {
      out += info ? std::string(info->name.view()) : "(missing)";
    } else {
      out += table.GetValue(static_cast<RowID>(row), c, &value) ? std::string(value.GetString().view()) : "(missing)";
    }
  }
  return out;
}

void RunScript(const fs::path& script, QueryExecutor executor) {
  SCOPED_TRACE(executor == QueryExecutor::kFast ? "fast executor" : "reference executor");
  TempFolder folder;
  const std::string dbPath = folder.File("script.pvx");
  ParvexStatus openStatus;
  std::unique_ptr<ParvexDatabase> db(ParvexOpenDatabase(string(dbPath), true, &openStatus));
  ASSERT_NE(db, nullptr) << openStatus.Description().view();
  db->queryExecutor = executor;

  for (const Step& step : ParseScript(script)) {
    SCOPED_TRACE(script.filename().string() + ":" + std::to_string(step.line) + ": " + step.text);
    switch (step.kind) {
      case StepKind::kReopen: {
        db.reset();
        ParvexStatus status;
        db.reset(ParvexOpenDatabase(string(dbPath), false, &status));
        ASSERT_NE(db, nullptr) << status.Description().view();
        db->queryExecutor = executor;
        continue;
      }
      case StepKind::kTransaction:
        EXPECT_EQ(db->TransactionInProgress(), step.flag);
        continue;
      case StepKind::kFile:
        ASSERT_NE(db->fileAccess, nullptr);
        EXPECT_EQ(db->fileAccess->ContainsFile(string(step.text)), step.flag);
        continue;
      case StepKind::kStatement:
        break;
    }
    const std::string start = Trim(step.text).substr(0, 6);
    const bool query = step.entry == EntryPoint::kQuery ||
                       (step.entry == EntryPoint::kAuto && CompareNoCase(start, "select") == 0);
    // Start from a status that no statement leaves behind, so that every path
    // must set it.
    ParvexStatus status(kPXFeatureNotSupported, string("status untouched"));
    db->UpdateClock();
    std::vector<std::string> rows;
    std::unique_ptr<ParvexTable> result;
    if (query) {
      result.reset(ParvexSQLQuery(string(step.text), *db, &status, nullptr, nullptr, nullptr));
      if (!result) {
        rows.push_back("(null)");
      } else {
        SimpleVector<RowID> ids;
        result->GetRowIDs(&ids);
        EXPECT_EQ(static_cast<long>(ids.size()), result->QtyRows());
        for (RowID id : ids) rows.push_back(Trim(Join(*result, static_cast<long>(id))));
      }
    } else {
      ParvexSQLExecute(string(step.text), *db, &status);
    }
    const std::string got = std::string("[") + status.Code() + "] " + std::string(status.Description().view());
    if (step.expectStatus) {
      EXPECT_EQ(got, step.status);
    } else {
      EXPECT_FALSE(IsErrorState(status.State())) << got;
    }
    if (query || !step.rows.empty()) {
      EXPECT_EQ(rows, step.rows);
    }
    if (step.checkColumns) {
      ASSERT_NE(result, nullptr);
      EXPECT_EQ(Join(*result, -1), step.columns);
    }
  }
}

std::vector<fs::path> Scripts() {
  std::vector<fs::path> scripts;
  const fs::path folder = fs::path(PARVEX_SOURCE_DIR) / "tests" / "sql" / "scripts";
  std::error_code ec;
  for (const auto& entry : fs::directory_iterator(folder, ec)) {
    if (entry.path().extension() == ".sql") scripts.push_back(entry.path());
  }
  std::sort(scripts.begin(), scripts.end());
  return scripts;
}

class ScriptTest : public testing::TestWithParam<fs::path> {};

// Every script runs under both query executors: they must give the same rows.
TEST_P(ScriptTest, Runs) {
  RunScript(GetParam(), QueryExecutor::kFast);
  RunScript(GetParam(), QueryExecutor::kReference);
}

INSTANTIATE_TEST_SUITE_P(Scripts, ScriptTest, testing::ValuesIn(Scripts()),
                         [](const testing::TestParamInfo<fs::path>& info) {
                           std::string name = info.param.stem().string();
                           for (char& c : name) {
                             if (!isalnum(static_cast<unsigned char>(c))) c = '_';
                           }
                           return name;
                         });

}  // namespace
}  // namespace parvex
