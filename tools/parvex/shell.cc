// The shell's session: statements, autocommit, BEGIN, errors and results.
#include "shell.h"

#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <iostream>

#include "dot_commands.h"
#include "interrupt.h"
#include "progress.h"
#include "sql_words.h"
#include "text_width.h"

namespace parvex::shell {
namespace {

// What a statement's text holds, by its first word: a query (SELECT) prints
// its rows; COMMIT and ROLLBACK end a transaction begun with BEGIN.
enum class StatementKind { kQuery, kCommit, kRollback, kOther };

StatementKind StatementKindOf(std::string_view sql) {
  const std::string_view word = FirstWord(sql);
  if (SameNoCase(word, "SELECT")) return StatementKind::kQuery;
  if (SameNoCase(word, "COMMIT")) return StatementKind::kCommit;
  if (SameNoCase(word, "ROLLBACK")) return StatementKind::kRollback;
  return StatementKind::kOther;
}

// SQLSTATE class "01": reported like an error, but not a failure.
bool IsWarningState(std::string_view state) { return state.substr(0, 2) == "01"; }

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

Shell::Shell(int openFlags, int lockTimeoutMs, const OutputSettings& output, bool bail)
    : mOpenFlags(openFlags), mLockTimeoutMs(lockTimeoutMs), mOutput(output), mBail(bail) {}

Shell::~Shell() {
  SetInterruptTarget(nullptr);  // the database goes with the shell
  RedirectOutput("", false, nullptr);
}

bool Shell::Open(const std::string& path, std::string* error) {
  const bool memory = path.empty() || path == ":memory:";
  // An in-memory database is named as messages (.check) name it.
  const std::string name = memory ? "the in-memory database" : path;
  Database database;
  const Status status =
      database.Open(name, memory ? PARVEX_OPEN_MEMORY : mOpenFlags | PARVEX_OPEN_CREATE, mLockTimeoutMs);
  if (!status) {
    *error = "cannot open " + path + ": " + OneLine(status.message);
    return false;
  }
  if (mDb.handle()) Close();
  SetInterruptTarget(database.handle());
  mDb = std::move(database);
  mInMemory = memory;
  return true;
}

CompletionNames Shell::NamesForCompletion() const {
  CompletionNames names;
  parvex_db* db = mDb.handle();
  for (int t = 0; t < parvex_table_count(db); ++t) {
    const std::string table = parvex_table_name(db, t);
    names.tables.push_back(table);
    for (int c = 0; c < parvex_table_column_count(db, table.c_str()); ++c) {
      names.columns.emplace_back(table, parvex_table_column_name(db, table.c_str(), c));
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
  splitter.SetEscape(static_cast<char>(parvex_escape_char(mDb.handle())));
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
  if (!mDb.handle()) return;
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
  if (!rest.empty() && !SameNoCase(rest, "TRANSACTION")) return false;
  if (mExplicitTransaction) {
    ReportStatus(Status{false, "25S02", "Error: Transaction in progress."});
  } else {
    mExplicitTransaction = true;
  }
  return true;
}

void Shell::RunStatement(const std::string& sql) {
  if (SameNoCase(FirstWord(sql), "BEGIN") && RunBegin(sql)) return;
  const StatementKind kind = StatementKindOf(sql);
  const bool warn = mWarnings.value_or(mInteractive && mOutput.mode != OutputMode::kCsv);
  std::string ran;
  const std::vector<Warning> warnings = warn ? mDb.Warnings(sql, &ran) : std::vector<Warning>();
  const bool isQuery = kind == StatementKind::kQuery;
  Status status;
  if (isQuery) {
    Statement query = mDb.Prepare(sql);
    status = query.status();
    if (query.valid() && parvex_bind_parameter_count(query.handle()) > 0) {
      // Text typed at the shell has no values for its placeholders: run
      // directly, it fails saying so.
      status = mDb.Exec(sql);
    } else if (query.valid()) {
      const bool rowReady = query.Step();
      status = query.status();
      if (status) PrintResult(query, rowReady);
    }
  } else {
    status = mDb.Exec(sql);
  }
  const bool failed = !status.ok;
  if (failed || IsWarningState(status.sqlstate)) ReportStatus(status);
  if (!failed) PrintWarnings(warnings, ran);
  const int64_t changed = isQuery || failed ? 0 : mDb.Changes();
  mTotalChanges += changed;
  if (mShowChanges) std::cout << "changes: " << changed << "   total_changes: " << mTotalChanges << '\n' << std::flush;
  if (failed && mInteractive && status.sqlstate == "07000") PointAtSyntaxError(sql);

  const bool endsTransaction = kind == StatementKind::kCommit || kind == StatementKind::kRollback;
  // A COMMIT that failed has rolled the transaction back: it is over too.
  if (endsTransaction && (!failed || !mDb.InTransaction())) {
    mExplicitTransaction = false;  // the engine committed or rolled back
    return;
  }
  FinishChange(failed, isQuery);
}

bool Shell::PrintResult(Statement& result, bool rowReady) {
  ResultPrinter printer(mOutput, std::cout, [] { return InterruptRequested(); });
  const bool complete = printer.Print(result, rowReady);
  std::cout << std::flush;
  return complete;
}

void Shell::FinishChange(bool failed, bool isQuery) {
  if (mExplicitTransaction) return;
  if (!failed) {
    if (!isQuery) CommitNow();
  } else if (mDb.InTransaction()) {
    // A rollback reloads every table: only when the statement left something behind.
    RollbackNow();
  }
}

void Shell::CommitNow() {
  BusyIndicator busy("Committing");
  const Status status = mDb.Commit();
  if (!status) ReportStatus(status);
}

void Shell::RollbackNow() {
  const Status status = mDb.Rollback();
  if (!status) ReportStatus(status);
}

void Shell::PrintWarnings(const std::vector<Warning>& warnings, const std::string& ran) {
  if (warnings.empty()) return;
  std::cout << std::flush;
  for (const Warning& warning : warnings) {
    std::cerr << "warning: " << OneLine(warning.message) << "\n  ran:  " << OneLine(ran)
              << "\n  hint: " << OneLine(warning.hint) << '\n';
  }
}

void Shell::ReportStatus(const Status& status) {
  std::cout << std::flush;
  std::cerr << mPlace << '[' << status.sqlstate << "] " << OneLine(status.message) << '\n';
  if (!status) NoteFailure();
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
  const int64_t offset = parvex_error_offset(mDb.handle());
  if (offset < 0) return;  // it parsed: the error came later
  const std::string text = OneLine(sql);
  const size_t at = std::min(static_cast<size_t>(offset), text.size());
  std::cerr << "  " << text << "\n  " << std::string(DisplayWidth(text.substr(0, at)), ' ') << "^\n";
}

}  // namespace parvex::shell
