// The shell's session: statements, autocommit, BEGIN, errors and results.
#include "shell.h"

#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <iostream>

#include "core/status.h"
#include "db/database.h"
#include "dot_commands.h"
#include "interrupt.h"
#include "platform/memory_file_system.h"
#include "progress.h"
#include "sql/execute.h"
#include "sql/sql_dialect.h"
#include "sql/statement_warnings.h"
#include "text_width.h"

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

Shell::Shell(const ParvexOpenOptions& options, const OutputSettings& output, bool bail)
    : mOpenOptions(options), mOutput(output), mBail(bail) {}

Shell::~Shell() {
  SetInterruptTarget(nullptr);  // the database goes with the shell
  RedirectOutput("", false, nullptr);
}

bool Shell::Open(const std::string& path, std::string* error) {
  const bool memory = path.empty() || path == ":memory:";
  auto files = memory ? std::make_unique<MemoryFileSystem>() : nullptr;
  ParvexOpenOptions options = mOpenOptions;
  options.create = true;
  if (memory) {
    options.fileSystem = files.get();
    options.readOnly = false;  // there is nothing to protect
  }
  ParvexStatus status;
  std::unique_ptr<ParvexDatabase> database(
      ParvexOpenDatabase(string(memory ? "memory.pvx" : path, kEncodingUTF8), options, &status));
  if (!database) {
    *error = "cannot open " + path + ": " + OneLine(status.Description().view());
    return false;
  }
  if (mDatabase) Close();
  SetInterruptTarget(database.get());
  mDatabase = std::move(database);  // before the files it lives on are replaced
  mMemory = std::move(files);
  mName = memory ? "the in-memory database" : path;
  return true;
}

CompletionNames Shell::NamesForCompletion() const {
  CompletionNames names;
  const SimpleVector<ParvexTable*>& tables = mDatabase->tables;
  for (size_t i = 1; i < tables.size(); ++i) {  // entry 0 is the schema table
    const ParvexTable& table = *tables[i];
    names.tables.push_back(table.name.str());
    for (long c = 1; c < table.QtyColumns(); ++c) {  // column 0 is _rowid
      if (const ParvexColumnInfo* column = table.Column(c)) names.columns.emplace_back(table.name.str(), column->name.str());
    }
  }
  return names;
}

void Shell::Run(LineSource& input) {
  const bool interactive = input.IsInteractive();
  StatementSplitter splitter;
  std::string line;
  InputPiece piece;
  const auto more = [this] { return !mStopped && !mBailed && !InterruptRequested(); };
  while (!mStopped && !mBailed) {
    const LineSource::Status status = input.ReadLine(splitter.HasPendingText(), &line);
    if (status == LineSource::Status::kEnd) break;
    if (status == LineSource::Status::kLine) {
      splitter.AddLine(line);
      while (more() && NextPiece(splitter, false, &piece)) Execute(piece, input);
    }
    if (status == LineSource::Status::kInterrupted || InterruptRequested()) {
      if (!TakeInterrupt(interactive, status == LineSource::Status::kInterrupted)) return;
      splitter.Reset();
    }
  }
  while (more() && NextPiece(splitter, true, &piece)) Execute(piece, input);
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
  if (!mDatabase) return;
  // A BEGIN left open: whatever it holds is rolled back (new indexes included,
  // which the database's transaction test does not see).
  if (mExplicitTransaction) {
    std::cerr << "warning: the transaction begun with BEGIN was not committed; its changes were rolled back\n";
    RollbackNow();
  }
  mExplicitTransaction = false;
}

void Shell::Execute(const InputPiece& piece, const LineSource& input) {
  const bool wasInteractive = mInteractive;
  std::string place = input.Name().empty() ? "" : input.Name() + ":" + std::to_string(piece.line) + ": ";
  mInteractive = input.IsInteractive();
  mPlace.swap(place);
  // A .once before this piece (not a .once or .output of the piece itself).
  const bool once = mOnce;
  const int redirections = mRedirections;
  const bool command = piece.kind == InputPiece::Kind::kDotCommand;
  if (mEcho) std::cout << piece.text << (command ? "\n" : ";\n");
  RunTimer timer;
  if (command) {
    DotCommands(*this).Run(piece.text);
  } else {
    RunStatement(piece.text);
  }
  std::cout << std::flush;
  if (mTimer) std::cerr << timer.Text() << '\n';
  if (once && mOnce && redirections == mRedirections) RedirectOutput("", false, nullptr);
  mPlace.swap(place);
  mInteractive = wasInteractive;
  // A failure with bail set ends scripts only: the terminal reads on.
  if (input.IsInteractive()) mBailed = false;
}

bool Shell::RedirectOutput(const std::string& path, bool once, std::string* error) {
  std::cout << std::flush;
  if (mStandardOutput != nullptr) {
    std::cout.rdbuf(mStandardOutput);
    mStandardOutput = nullptr;
    mOutputFile.close();
  }
  mOnce = false;
  ++mRedirections;
  if (path.empty()) return true;
  if (mOutputFile.open(path, std::ios::out | std::ios::binary | std::ios::trunc) == nullptr) {
    *error = "Error: cannot write " + path;
    return false;
  }
  mStandardOutput = std::cout.rdbuf(&mOutputFile);
  mOnce = once;
  return true;
}

bool Shell::OutputIsTerminal() const { return mStandardOutput == nullptr && isatty(STDOUT_FILENO) == 1; }

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
  const int64_t changed = isQuery || failed ? 0 : mDatabase->rowsChanged;
  mTotalChanges += changed;
  if (mShowChanges) std::cout << "changes: " << changed << "   total_changes: " << mTotalChanges << '\n' << std::flush;
  if (failed && mInteractive && status.State() == kPXDynamicSQLError) PointAtSyntaxError(sql);

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
  std::cerr << mPlace << '[' << status.Code() << "] " << OneLine(status.Description().view()) << '\n';
  if (IsErrorState(status.State())) NoteFailure();
}

void Shell::ReportError(const std::string& message) {
  std::cout << std::flush;
  std::cerr << mPlace << OneLine(message) << '\n';
  NoteFailure();
}

void Shell::NoteFailure() {
  mFailed = true;
  if (mBail) mBailed = true;
}

void Shell::PointAtSyntaxError(const std::string& sql) {
  const int64_t offset = mDatabase->parseErrorOffset;
  if (offset < 0) return;  // it parsed: the error came later
  const std::string text = OneLine(sql);
  const size_t at = std::min(static_cast<size_t>(offset), text.size());
  std::cerr << "  " << text << "\n  " << std::string(DisplayWidth(text.substr(0, at)), ' ') << "^\n";
}

}  // namespace parvex::shell
