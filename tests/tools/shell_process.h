// Running the real parvex binary from C++ tests that scripts can't express:
// an interactive session on a pseudo-terminal, driven keystroke by keystroke,
// and runs through pipes beside such a session (other runs through pipes are
// the shell scripts of tests/tools/scripts). Every wait has a time limit, so
// a hanging shell fails its test instead of the suite.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "harness/files.h"
#include "harness/process.h"

namespace parvex::shell::testing {

// A fresh folder under the system's temporary folder, removed at the end.
using TempDir = parvex::testing::TempFolder;
using ShellResult = parvex::testing::ProcessResult;
using parvex::testing::ReadFile;

// Runs the shell with `args` (the program name is added) and `input` on its
// standard input, through pipes.
ShellResult RunShell(const std::vector<std::string>& args, const std::string& input = "");

// An interactive session on a pseudo-terminal (TERM=xterm, 100x30).
class PtySession {
 public:
  PtySession(const std::vector<std::string>& args, const std::string& home);
  ~PtySession();
  PtySession(const PtySession&) = delete;
  PtySession& operator=(const PtySession&) = delete;

  void Send(const std::string& keys);
  // Reads until `text` appears in the output after what earlier waits
  // consumed; false at the time limit or when the shell ended first.
  bool WaitFor(const std::string& text, std::chrono::milliseconds limit = std::chrono::seconds(10));
  // WaitFor(prompt), then waits until the line editor has put the terminal
  // into its character-at-a-time mode: it draws the prompt a moment before,
  // and keys sent in between would be read by the terminal's line mode.
  bool WaitForPrompt(const std::string& prompt);
  // Everything the terminal showed so far.
  const std::string& Output() const { return mOutput; }
  // Waits for the shell to end; its exit code, -1 when it did not end normally.
  int Wait(std::chrono::milliseconds limit = std::chrono::seconds(10));

 private:
  bool ReadSome(std::chrono::milliseconds limit);

  pid_t mPid = -1;
  int mMaster = -1;
  std::string mOutput;
  size_t mConsumed = 0;
};

}  // namespace parvex::shell::testing
