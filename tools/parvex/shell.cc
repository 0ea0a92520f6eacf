// The shell's session: statements, autocommit, BEGIN, errors and results.
#include "shell.h"

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <iostream>

#include "core/status.h"
#include "db/database.h"
#include "dot_commands.h"
#include "interrupt.h"
#include "progress.h"
#include "sql/execute.h"
#include "sql/sql_dialect.h"
#include "sql/statement_warnings.h"

namespace parvex::shell {
namespace {

bool SameWord(std::string_view a, std::string_view b) { return CompareNoCase(a, b) == 0; }

// SQLSTATE class "01": reported like an error, but not a failure.
bool IsWarningState(ParvexState state) { return state != nullptr && state[0] == '0' && state[1] == '1'; }

// Wall, user and system time of one piece of work, for .timer.
class RunTimer {
 public:
  RunTimer() : mStart(std::chrono::steady_clock::now()), mUsage(Usage()) {}

  std::string Text() const {
    const double real = std::chrono::duration<double>(std::chrono::steady_clock::now() - mStart).count();
    const struct rusage now = Usage();
    const auto seconds = [](const timeval& a, const timeval& b) {
      return static_cast<double>(b.tv_sec - a.tv_sec) + static_cast<double>(b.tv_usec - a.tv_usec) / 1e6;
    };
    char text[128];
    std::snprintf(text, sizeof text, "Run Time: real %.3f user %.3f sys %.3f", real,
                  seconds(mUsage.ru_utime, now.ru_utime), seconds(mUsage.ru_stime, now.ru_stime));
    return text;
  }

 private:
  static struct rusage Usage() {
    struct rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage;
  }

  std::chrono::steady_clock::time_point mStart;
  struct rusage mUsage;
};

}  // namespace

std::string OneLine(std::string_view text) {
  std::string line(text);
  for (char& c : line) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  return line;
}

Shell::Shell(std::unique_ptr<ParvexDatabase> database, const OutputSettings& output, bool bail, std::string name)
    : mDatabase(std::move(database)), mName(std::move(name)), mOutput(output), mBail(bail) {}

Shell::~Shell() { SetInterruptTarget(nullptr); }  // the database goes with the shell

void Shell::Run(LineSource& input) {
  const bool interactive = input.IsInteractive();
  StatementSplitter splitter;
  std::string line;
  InputPiece piece;
  while (!mStopped) {
    const LineSource::Status status = input.ReadLine(splitter.HasPendingText(), &line);
    if (status == LineSource::Status::kEnd) break;
    if (status == LineSource::Status::kLine) {
      splitter.AddLine(line);
      while (!mStopped && !InterruptRequested() && NextPiece(splitter, false, &piece)) Execute(piece, interactive);
    }
    if (status == LineSource::Status::kInterrupted || InterruptRequested()) {
      if (!TakeInterrupt(interactive, status == LineSource::Status::kInterrupted)) return;
      splitter.Reset();
    }
  }
  while (!mStopped && !InterruptRequested() && NextPiece(splitter, true, &piece)) Execute(piece, interactive);
  if (InterruptRequested()) TakeInterrupt(interactive, false);
}

bool Shell::NextPiece(StatementSplitter& splitter, bool atEnd, InputPiece* piece) {
  // The escape byte in force (SET ESCAPE) decides where literals end in what follows.
  const string& escape = mDatabase->escapeOption;
  splitter.SetEscape(escape.empty() ? 0 : escape.data()[0]);
  return atEnd ? splitter.Finish(piece) : splitter.Next(piece);
}

bool Shell::TakeInterrupt(bool interactive, bool atPrompt) {
  // A .read file leaves the decision to the input that read it.
  if (mReadDepth > 0) return false;
  ClearInterrupt();
  if (!interactive) {
    ReportError("Interrupted.");
    mStopped = true;
    return false;
  }
  std::cerr << (atPrompt ? "^C\n" : "Interrupted.\n");
  return true;
}

void Shell::RunText(const std::string& text) {
  TextLineSource source(text);
  Run(source);
}

void Shell::Close() {
  // A BEGIN left open: whatever it holds is rolled back (new indexes included,
  // which the database's transaction test does not see).
  if (mExplicitTransaction) {
    std::cerr << "warning: the transaction begun with BEGIN was not committed; its changes were rolled back\n";
    RollbackNow();
  }
  mExplicitTransaction = false;
}

void Shell::Execute(const InputPiece& piece, bool interactive) {
  const bool wasInteractive = mInteractive;
  mInteractive = interactive;
  RunTimer timer;
  if (piece.kind == InputPiece::Kind::kDotCommand) {
    DotCommands(*this).Run(piece.text);
  } else {
    RunStatement(piece.text);
  }
  std::cout << std::flush;
  if (mTimer) std::cerr << timer.Text() << '\n';
  mInteractive = wasInteractive;
}

bool Shell::RunBegin(const std::string& sql) {
  // BEGIN or BEGIN TRANSACTION, in any case; anything else is the engine's to judge.
  std::string_view rest;
  FirstWord(sql, &rest);
  while (!rest.empty() && static_cast<unsigned char>(rest.front()) <= ' ') rest.remove_prefix(1);
  if (!rest.empty() && !SameWord(rest, "TRANSACTION")) return false;
  if (mExplicitTransaction) {
    ReportStatus(ParvexStatus(kPXTransactionInProgress));
  } else {
    mExplicitTransaction = true;
  }
  return true;
}

void Shell::RunStatement(const std::string& sql) {
  if (SameWord(FirstWord(sql), "BEGIN") && RunBegin(sql)) return;
  const StatementKind kind = StatementKindOf(sql);

  mDatabase->UpdateClock();
  mDatabase->ClearInterrupt();
  const string text(sql, kEncodingUTF8);
  const bool warn = mWarnings.value_or(mInteractive && mOutput.mode != OutputMode::kCsv);
  const StatementWarnings warnings = warn ? FindStatementWarnings(text, *mDatabase) : StatementWarnings();
  ParvexStatus status;
  const bool isQuery = kind == StatementKind::kQuery;
  if (isQuery) {
    std::unique_ptr<ParvexTable> result(ParvexSQLQuery(text, *mDatabase, &status, nullptr, nullptr, nullptr));
    if (!IsErrorState(status.State()) && result) PrintResult(*result);
  } else {
    ParvexSQLExecute(text, *mDatabase, &status);
  }
  const bool failed = IsErrorState(status.State());
  if (failed || IsWarningState(status.State())) ReportStatus(status);
  if (!failed) PrintWarnings(warnings);

  const bool endsTransaction = kind == StatementKind::kCommit || kind == StatementKind::kRollback;
  // A COMMIT that failed has rolled the transaction back: it is over too.
  if (endsTransaction && (!failed || !mDatabase->TransactionInProgress())) {
    mExplicitTransaction = false;  // the engine committed or rolled back
    return;
  }
  FinishChange(failed, isQuery);
}

bool Shell::PrintResult(const ParvexTable& table) {
  ResultPrinter printer(mOutput, std::cout, [] { return InterruptRequested(); });
  const bool complete = printer.Print(table);
  std::cout << std::flush;
  return complete;
}

void Shell::FinishChange(bool failed, bool isQuery) {
  if (mExplicitTransaction) return;
  if (!failed) {
    if (!isQuery) CommitNow();
  } else if (mDatabase->TransactionInProgress()) {
    // A rollback reloads every table: only when the statement left something behind.
    RollbackNow();
  }
}

void Shell::CommitNow() {
  BusyIndicator busy("Committing");
  ParvexStatus status;
  mDatabase->Commit(&status);
  if (IsErrorState(status.State())) ReportStatus(status);
}

void Shell::RollbackNow() {
  ParvexStatus status;
  mDatabase->Rollback(&status);
  if (IsErrorState(status.State())) ReportStatus(status);
}

void Shell::PrintWarnings(const StatementWarnings& warnings) {
  if (warnings.list.empty()) return;
  std::cout << std::flush;
  for (const StatementWarning& warning : warnings.list) {
    std::cerr << "warning: " << OneLine(warning.message) << "\n  ran:  " << OneLine(warnings.ran)
              << "\n  hint: " << OneLine(warning.hint) << '\n';
  }
}

void Shell::ReportStatus(const ParvexStatus& status) {
  std::cout << std::flush;
  std::cerr << '[' << status.Code() << "] " << OneLine(status.Description().view()) << '\n';
  if (IsErrorState(status.State())) NoteFailure();
}

void Shell::ReportError(const std::string& message) {
  std::cout << std::flush;
  std::cerr << OneLine(message) << '\n';
  NoteFailure();
}

void Shell::NoteFailure() {
  mFailed = true;
  if (mBail) mStopped = true;
}

}  // namespace parvex::shell
