// The engine SQL script runner (see sql_script.h for the format).
#include "harness/sql_script.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "core/status.h"
#include "core/table.h"
#include "db/database.h"
#include "harness/files.h"
#include "harness/golden.h"
#include "harness/script_test.h"
#include "sql/execute.h"
#include "sql/sql_dialect.h"
#include "storage/file_access.h"

namespace parvex::testing {
namespace {

// One statement or directive of a script (0-based line indexes), with the
// expectations the script gives for it.
struct Step {
  size_t first = 0;
  size_t last = 0;
  std::string directive;  // ".reopen", ".transaction", ".file", ".execute", ".query", or empty
  std::string text;       // the statement, or the directive's argument
  bool expectColumns = false;
  bool expectStatus = false;
  bool IsStatement() const { return directive.empty() || directive == ".execute" || directive == ".query"; }
};

std::string TrimRight(const std::string& s) {
  const size_t e = s.find_last_not_of(" \t\r");
  return e == std::string::npos ? "" : s.substr(0, e + 1);
}

std::string Trim(const std::string& s) {
  const std::string right = TrimRight(s);
  return right.substr(std::min(right.size(), right.find_first_not_of(" \t")));
}

bool IsExpectation(const std::string& t) { return !t.empty() && (t[0] == '>' || t[0] == ':' || t[0] == '!'); }

// Reads the script's lines into steps and marks its expectation lines;
// malformed lines fail the test.
std::vector<Step> ParseSteps(const std::vector<std::string>& lines, const std::string& name,
                             std::vector<bool>* expectationLines) {
  std::vector<Step> steps;
  expectationLines->assign(lines.size(), false);
  bool inStatement = false;
  for (size_t i = 0; i < lines.size(); ++i) {
    const std::string t = Trim(lines[i]);
    const std::string where = name + ":" + std::to_string(i + 1) + ": ";
    if (!inStatement && (t.empty() || t.rfind("--", 0) == 0)) continue;
    if (!inStatement && IsExpectation(t)) {
      (*expectationLines)[i] = true;
      if (steps.empty() || !steps.back().IsStatement()) {
        ADD_FAILURE() << where << "'" << t[0] << "' without a statement";
      } else if (t[0] != '>') {
        (t[0] == ':' ? steps.back().expectColumns : steps.back().expectStatus) = true;
      }
      continue;
    }
    if (!inStatement && t[0] == '.') {
      const size_t blank = t.find(' ');
      Step step{i, i, t.substr(0, blank), blank == std::string::npos ? "" : Trim(t.substr(blank)), false, false};
      static const char* kDirectives[] = {".reopen", ".transaction", ".file", ".execute", ".query"};
      if (std::find(std::begin(kDirectives), std::end(kDirectives), step.directive) == std::end(kDirectives)) {
        ADD_FAILURE() << where << "unknown directive " << step.directive;
        continue;
      }
      if (step.IsStatement() && !step.text.empty() && step.text.back() == ';') step.text.pop_back();
      steps.push_back(step);
      continue;
    }
    if (inStatement) {
      steps.back().text += "\n" + lines[i];
      steps.back().last = i;
    } else {
      steps.push_back(Step{i, i, "", lines[i], false, false});
    }
    inStatement = t.empty() || t.back() != ';';
    if (!inStatement) {
      steps.back().text = Trim(steps.back().text);
      steps.back().text.pop_back();  // the ';'
    }
  }
  if (inStatement) ADD_FAILURE() << name << ":" << steps.back().first + 1 << ": statement without ';'";
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

// Runs one statement; returns its actual expectation lines.
std::vector<std::string> RunStatement(const Step& step, ParvexDatabase& db) {
  // Start from a status that no statement leaves behind, so that every path
  // must set it.
  ParvexStatus status(kPXFeatureNotSupported, string("status untouched"));
  db.UpdateClock();
  std::unique_ptr<ParvexTable> result;
  const bool query = step.directive.empty() ? StatementKindOf(step.text) == StatementKind::kQuery
                                            : step.directive == ".query";
  if (query) {
    result.reset(ParvexSQLQuery(string(step.text), db, &status, nullptr, nullptr, nullptr));
  } else {
    ParvexSQLExecute(string(step.text), db, &status);
  }
  std::vector<std::string> lines;
  if (step.expectStatus || IsErrorState(status.State())) {
    lines.push_back(std::string("! [") + status.Code() + "] " + std::string(status.Description().view()));
  }
  if (step.expectColumns) lines.push_back(": " + (result ? Join(*result, -1) : std::string("(null)")));
  if (query && !result) lines.push_back("> (null)");
  if (result) {
    SimpleVector<RowID> ids;
    result->GetRowIDs(&ids);
    if (static_cast<long>(ids.size()) != result->QtyRows()) {
      ADD_FAILURE() << "QtyRows() is " << result->QtyRows() << " but GetRowIDs lists " << ids.size();
    }
    for (RowID id : ids) lines.push_back("> " + Join(*result, static_cast<long>(id)));
  }
  return lines;
}

std::unique_ptr<ParvexDatabase> Open(const std::string& path, bool create,
                                     const std::function<void(ParvexDatabase&)>& prepare) {
  ParvexStatus status;
  std::unique_ptr<ParvexDatabase> db(ParvexOpenDatabase(string(path), create, &status));
  if (!db) ADD_FAILURE() << "cannot open " << path << ": " << status.Description().view();
  if (db && prepare) prepare(*db);
  return db;
}

}  // namespace

void RunSqlScript(const std::filesystem::path& script, const std::function<void(ParvexDatabase&)>& prepare) {
  const std::string name = script.filename().string();
  std::vector<std::string> lines;
  std::istringstream in(ReadFile(script.string()));
  for (std::string line; std::getline(in, line);) lines.push_back(TrimRight(line));
  std::vector<bool> expectationLines;
  const std::vector<Step> steps = ParseSteps(lines, name, &expectationLines);

  const std::string dbPath = FreshWorkFolder("sql", script) + "/script.pvx";
  std::unique_ptr<ParvexDatabase> db = Open(dbPath, true, prepare);
  if (!db) return;

  // What each line becomes: expectation lines go, each statement's actual
  // ones follow its last line, checks show their actual answers.
  std::vector<std::vector<std::string>> after(lines.size());
  std::vector<std::string> rendered = lines;
  for (const Step& step : steps) {
    SCOPED_TRACE(name + ":" + std::to_string(step.first + 1) + ": " + step.text);
    if (step.IsStatement()) {
      after[step.last] = RunStatement(step, *db);
    } else if (step.directive == ".reopen") {
      db.reset();
      db = Open(dbPath, false, prepare);
      if (!db) return;
    } else {
      const bool transaction = step.directive == ".transaction";
      const std::string file = transaction ? "" : step.text.substr(0, step.text.rfind(' '));
      const bool yes = transaction ? db->TransactionInProgress()
                                   : db->fileAccess && db->fileAccess->ContainsFile(string(file));
      const std::string answer = step.directive + (transaction ? "" : " " + file) + (yes ? " yes" : " no");
      if (answer != Trim(lines[step.first])) rendered[step.first] = answer;
    }
  }

  std::string expected, actual;
  for (size_t i = 0; i < lines.size(); ++i) {
    expected += lines[i] + "\n";
    if (!expectationLines[i]) actual += rendered[i] + "\n";
    for (const std::string& line : after[i]) actual += TrimRight(line) + "\n";
  }
  ExpectSameText(expected, actual, script.string());
}

}  // namespace parvex::testing
