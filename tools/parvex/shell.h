// Shell: one session of the parvex shell over an open database.
//
// It reads lines from a LineSource, cuts them into statements and
// dot-commands (StatementSplitter) and runs them in order:
// - text whose first word is SELECT is prepared and stepped through, its
//   rows printed in the current output mode; everything else runs directly.
//   Text typed at the shell has no values for placeholders: a statement with
//   one fails saying so.
// - a failed statement (an error state) prints "[SSSSS] DESCRIPTION" on
//   standard error; warnings print the same way but are not failures. Input
//   read from a file or standard input puts "NAME:LINE: " before it, the
//   line where the statement or command began. At the terminal a syntax
//   error also shows the statement with a caret under where the parser
//   stopped making sense of it.
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
// - with bail set, the first failure stops the script it came from (every
//   input that is not the terminal, so standard input and .read files); at
//   the terminal the session goes on.
// - the output of statements and commands goes to standard output, or to the
//   file of .output (until .output alone) or of .once (for the next piece).
// - with .changes on, each statement is followed by the rows it changed and
//   those the session changed ("changes: N   total_changes: M").
// - the database is a file, or a transient one in memory (no path, or
//   ":memory:"), and .open replaces it.
// The exit code is 1 when anything failed, else 0.
#pragma once

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <fstream>

#include "completion.h"
#include "line_source.h"
#include "parvex/parvex.hpp"
#include "result_printer.h"
#include "statement_splitter.h"

namespace parvex::shell {

class Shell {
 public:
  // `openFlags` (PARVEX_OPEN_READONLY, PARVEX_OPEN_NOSYNC) and
  // `lockTimeoutMs` are used for every database the session opens.
  Shell(int openFlags, int lockTimeoutMs, const OutputSettings& output, bool bail);
  ~Shell();

  // Opens the database at `path` (empty or ":memory:": a new one in memory)
  // in place of the current one, which is closed as Close does. False with
  // `error` set, the current database kept, when it can't be opened.
  bool Open(const std::string& path, std::string* error);
  bool InMemory() const { return mInMemory; }
  // The tables and their columns, for completion.
  CompletionNames NamesForCompletion() const;

  // Runs every piece of `input` until its end, .quit, a bail or an interrupt
  // of non-interactive input.
  void Run(LineSource& input);
  // Runs the text of one command-line argument as a complete input.
  void RunText(const std::string& text);
  // Warnings on, off, or (unset) as the input and the output mode decide.
  void SetWarnings(std::optional<bool> warnings) { mWarnings = warnings; }
  // Ends the session: rolls back what BEGIN left pending, with a warning.
  void Close();

  // True once .quit ran, a failure bailed out of a script or non-interactive
  // input was interrupted.
  bool Stopped() const { return mStopped || mBailed; }
  int ExitCode() const { return mFailed ? 1 : 0; }

 private:
  friend class DotCommands;

  bool NextPiece(StatementSplitter& splitter, bool atEnd, InputPiece* piece);
  void Execute(const InputPiece& piece, const LineSource& input);
  // Ctrl-C: abandons what is pending (interactive input) or stops the session
  // (a script). True when the input goes on.
  bool TakeInterrupt(bool interactive, bool atPrompt);
  void RunStatement(const std::string& sql);
  bool RunBegin(const std::string& sql);
  // Prints a query's result; false when interrupted.
  bool PrintResult(Statement& result, bool rowReady);

  // Autocommit after a statement or a command that changed the database.
  void FinishChange(bool failed, bool isQuery);
  // Commit or roll back outside a COMMIT or ROLLBACK statement, reporting a failure.
  void CommitNow();
  void RollbackNow();

  // Failure reporting: a status as "[SSSSS] DESCRIPTION", or a message
  // line, after the place of the piece in a script.
  void ReportStatus(const Status& status);
  // The dialect's warnings for a statement that ran (as `ran` reads it), on
  // standard error.
  void PrintWarnings(const std::vector<Warning>& warnings, const std::string& ran);
  void ReportError(const std::string& message);
  void NoteFailure();
  // At the terminal: the statement, and a caret under where its syntax went wrong.
  void PointAtSyntaxError(const std::string& sql);

  // Sends standard output to `path` (empty: back to standard output); false
  // with `error` set when the file can't be written.
  bool RedirectOutput(const std::string& path, bool once, std::string* error);
  bool OutputIsTerminal() const;

  Database mDb;
  int mOpenFlags;
  int mLockTimeoutMs;
  bool mInMemory = false;
  OutputSettings mOutput;
  bool mBail;
  bool mTimer = false;
  std::optional<bool> mWarnings;
  bool mEcho = false;
  bool mShowChanges = false;    // .changes: the rows each statement changed
  int64_t mTotalChanges = 0;    // rows changed in the session
  bool mExplicitTransaction = false;  // between BEGIN and COMMIT/ROLLBACK
  bool mFailed = false;
  bool mStopped = false;
  bool mBailed = false;       // a failure stops the script under way
  bool mInteractive = false;  // the current input is a terminal
  std::string mPlace;         // "NAME:LINE: " of the piece under way in a script
  int mReadDepth = 0;         // nesting of .read
  std::filebuf mOutputFile;   // where .output or .once sends standard output
  std::streambuf* mStandardOutput = nullptr;  // standard output's own buffer while redirected
  bool mOnce = false;                         // the redirection ends after the next piece
  int mRedirections = 0;                      // calls of RedirectOutput so far
};

// A message or description as one line: line ends become blanks.
std::string OneLine(std::string_view text);

}  // namespace parvex::shell
