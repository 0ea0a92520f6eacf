// The engine SQL script runner (see sql_script.h for the format).
#include "harness/sql_script.h"

#include <gtest/gtest.h>

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

enum class StepKind { kStatement, kReopen, kTransaction, kFile };
enum class EntryPoint { kAuto, kExecute, kQuery };

// One statement or directive of a script, with the expectations behind it.
struct Step {
  StepKind kind = StepKind::kStatement;
  size_t firstLine = 0;  // 0-based line indexes in the script
  size_t lastLine = 0;
  std::string text;  // the statement, or a directive's argument
  EntryPoint entry = EntryPoint::kAuto;
  bool expectColumns = false;
  bool expectStatus = false;
  bool flag = false;  // the yes/no of a check
};

std::string Trim(const std::string& s) {
  const size_t b = s.find_first_not_of(" \t\r");
  if (b == std::string::npos) return "";
  const size_t e = s.find_last_not_of(" \t\r");
  return s.substr(b, e - b + 1);
}

std::string TrimRight(const std::string& s) {
  const size_t e = s.find_last_not_of(" \t\r");
  return e == std::string::npos ? "" : s.substr(0, e + 1);
}

bool IsExpectation(const std::string& trimmed) {
  return !trimmed.empty() && (trimmed[0] == '>' || trimmed[0] == ':' || trimmed[0] == '!');
}

// A directive line as a step; false (after a failure) for an unknown one.
bool ParseDirective(const std::string& line, size_t index, const std::string& where, Step* step) {
  std::istringstream words(line);
  std::string directive;
  words >> directive;
  std::string rest;
  std::getline(words, rest);
  rest = Trim(rest);
  step->firstLine = step->lastLine = index;
  if (directive == ".execute" || directive == ".query") {
    step->entry = directive == ".execute" ? EntryPoint::kExecute : EntryPoint::kQuery;
    step->text = rest;
    if (!step->text.empty() && step->text.back() == ';') step->text.pop_back();
  } else if (directive == ".reopen") {
    step->kind = StepKind::kReopen;
  } else if (directive == ".transaction") {
    step->kind = StepKind::kTransaction;
    step->flag = rest == "yes";
  } else if (directive == ".file") {
    step->kind = StepKind::kFile;
    const size_t blank = rest.rfind(' ');
    step->text = rest.substr(0, blank);
    step->flag = blank != std::string::npos && rest.substr(blank + 1) == "yes";
  } else {
    ADD_FAILURE() << where << ": unknown directive " << directive;
    return false;
  }
  return true;
}

// Reads the script's lines into steps and marks its expectation lines;
// malformed lines fail the test.
std::vector<Step> ParseSteps(const std::vector<std::string>& lines, const std::string& name,
                             std::vector<bool>* expectationLines) {
  std::vector<Step> steps;
  expectationLines->assign(lines.size(), false);
  bool inStatement = false;
  auto finish = [&steps] {
    Step& s = steps.back();
    s.text = Trim(s.text);
    s.text.pop_back();  // the ';'
  };
  for (size_t i = 0; i < lines.size(); ++i) {
    const std::string t = Trim(lines[i]);
    const std::string where = name + ":" + std::to_string(i + 1);
    if (inStatement) {
      steps.back().text += "\n" + lines[i];
      steps.back().lastLine = i;
      if (!t.empty() && t.back() == ';') {
        finish();
        inStatement = false;
      }
    } else if (t.empty() || t.rfind("--", 0) == 0) {
      continue;
    } else if (IsExpectation(t)) {
      (*expectationLines)[i] = true;
      if (steps.empty() || steps.back().kind != StepKind::kStatement) {
        ADD_FAILURE() << where << ": '" << t[0] << "' without a statement";
        continue;
      }
      Step& s = steps.back();
      if (t[0] == ':') s.expectColumns = true;
      if (t[0] == '!') s.expectStatus = true;
    } else if (t[0] == '.') {
      Step step;
      if (ParseDirective(t, i, where, &step)) steps.push_back(step);
    } else {
      Step step;
      step.firstLine = step.lastLine = i;
      step.text = lines[i];
      steps.push_back(step);
      if (t.back() == ';') {
        finish();
      } else {
        inStatement = true;
      }
    }
  }
  if (inStatement) ADD_FAILURE() << name << ":" << steps.back().firstLine + 1 << ": statement without ';'";
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

bool IsQuery(const Step& step) {
  if (step.entry != EntryPoint::kAuto) return step.entry == EntryPoint::kQuery;
  return StatementKindOf(step.text) == StatementKind::kQuery;
}

// Runs one statement; returns its actual expectation lines.
std::vector<std::string> RunStatement(const Step& step, ParvexDatabase& db) {
  // Start from a status that no statement leaves behind, so that every path
  // must set it.
  ParvexStatus status(kPXFeatureNotSupported, string("status untouched"));
  db.UpdateClock();
  std::unique_ptr<ParvexTable> result;
  const bool query = IsQuery(step);
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

  // What each line becomes: expectation lines go, each step's actual ones
  // follow its last line.
  std::vector<std::vector<std::string>> after(lines.size());
  std::vector<std::string> rendered = lines;
  for (const Step& step : steps) {
    SCOPED_TRACE(name + ":" + std::to_string(step.firstLine + 1) + ": " + step.text);
    switch (step.kind) {
      case StepKind::kReopen:
        db.reset();
        db = Open(dbPath, false, prepare);
        if (!db) return;
        break;
      case StepKind::kTransaction:
        if (db->TransactionInProgress() != step.flag) {
          rendered[step.firstLine] = db->TransactionInProgress() ? ".transaction yes" : ".transaction no";
        }
        break;
      case StepKind::kFile: {
        const bool present = db->fileAccess && db->fileAccess->ContainsFile(string(step.text));
        if (present != step.flag) rendered[step.firstLine] = ".file " + step.text + (present ? " yes" : " no");
        break;
      }
      case StepKind::kStatement:
        after[step.lastLine] = RunStatement(step, *db);
        break;
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
