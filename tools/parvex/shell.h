// Shell: one session of the parvex shell over an open database.
//
// It reads lines from a LineSource, cuts them into statements and
// dot-commands (StatementSplitter) and runs them in order:
// - text whose first word is SELECT goes to ParvexSQLQuery and its result is
//   printed in the current output mode; everything else goes to
//   ParvexSQLExecute. The clock is refreshed before each statement, and the
//   text carries the UTF-8 encoding code.
// - a failed statement (an error state) prints "[SSSSS] DESCRIPTION" on
//   standard error; warnings print the same way but are not failures.
// - autocommit: after a successful statement that is not a query the database
//   commits; after a failure it rolls back when a transaction is in progress.
//   BEGIN [TRANSACTION] (handled here, not by the engine) suspends this until
//   a COMMIT or ROLLBACK statement succeeds; changes still pending after BEGIN
//   at the end of the session are rolled back with a warning.
// - warnings: a statement that the dialect reads otherwise than it looks
//   (text left unread, a dropped NOT, arithmetic or comparisons of Doubles,
//   ...) prints what ran and how to write what was meant on standard error,
//   after it ran without failing. By default for input from a terminal
//   only, and not in CSV mode; .warnings and --warnings decide otherwise.
// - with bail set, the first failure stops the session.
// The exit code is 1 when anything failed, else 0.
#pragma once

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "line_source.h"
#include "result_printer.h"
#include "statement_splitter.h"

namespace parvex {
class ParvexDatabase;
class ParvexStatus;
struct StatementWarnings;
}  // namespace parvex

namespace parvex::shell {

class Shell {
 public:
  // `name` is how messages (.check) name the database, usually its path.
  Shell(std::unique_ptr<ParvexDatabase> database, const OutputSettings& output, bool bail,
        std::string name = "the database");
  ~Shell();

  // Runs every piece of `input` until its end, .quit, a bail or an interrupt
  // of non-interactive input.
  void Run(LineSource& input);
  // Runs the text of one command-line argument as a complete input.
  void RunText(const std::string& text);
  // Warnings on, off, or (unset) as the input and the output mode decide.
  void SetWarnings(std::optional<bool> warnings) { mWarnings = warnings; }
  // Ends the session: rolls back what BEGIN left pending, with a warning.
  void Close();

  // True once .quit ran, a failure bailed out or non-interactive input was interrupted.
  bool Stopped() const { return mStopped; }
  int ExitCode() const { return mFailed ? 1 : 0; }

 private:
  friend class DotCommands;

  bool NextPiece(StatementSplitter& splitter, bool atEnd, InputPiece* piece);
  void Execute(const InputPiece& piece, bool interactive);
  // Ctrl-C: abandons what is pending (interactive input) or stops the session
  // (a script). True when the input goes on.
  bool TakeInterrupt(bool interactive, bool atPrompt);
  void RunStatement(const std::string& sql);
  bool RunBegin(const std::string& sql);
  // Prints a query's result; false when interrupted.
  bool PrintResult(const ParvexTable& table);

  // Autocommit after a statement or a command that changed the database.
  void FinishChange(bool failed, bool isQuery);
  // Commit or roll back outside a COMMIT or ROLLBACK statement, reporting a failure.
  void CommitNow();
  void RollbackNow();

  // Failure reporting: a status as "[SSSSS] DESCRIPTION", or a message line.
  void ReportStatus(const ParvexStatus& status);
  // The dialect's warnings for a statement that ran, on standard error.
  void PrintWarnings(const StatementWarnings& warnings);
  void ReportError(const std::string& message);
  void NoteFailure();

  std::unique_ptr<ParvexDatabase> mDatabase;
  std::string mName;
  OutputSettings mOutput;
  bool mBail;
  bool mTimer = false;
  std::optional<bool> mWarnings;
  bool mExplicitTransaction = false;  // between BEGIN and COMMIT/ROLLBACK
  bool mFailed = false;
  bool mStopped = false;
  bool mInteractive = false;  // the current input is a terminal
  int mReadDepth = 0;         // nesting of .read
};

// A message or description as one line: line ends become blanks.
std::string OneLine(std::string_view text);

}  // namespace parvex::shell
