// Running a program from a test: standard input given as text, standard
// output and error captured separately, an exit status, and a time limit so
// that a program that hangs fails its test instead of stalling the suite.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace parvex::testing {

struct ProcessRun {
  std::vector<std::string> argv;  // argv[0] is the program's path
  std::string input;              // standard input, closed after it
  std::string workFolder;         // the working folder (empty: the test's own)
  // Environment changes: a value sets the variable, nullopt removes it.
  std::map<std::string, std::optional<std::string>> environment;
  std::chrono::seconds limit{60};
};

struct ProcessResult {
  int exitCode = -1;  // -1 when the program did not exit normally or ran out of time
  std::string out;
  std::string err;
};

ProcessResult RunProcess(const ProcessRun& run);

// In a child process: applies `run`'s environment and work folder and
// replaces the process image with its program (its input is not used).
[[noreturn]] void ExecProgram(const ProcessRun& run);

// Paths of the programs the build makes, next to the test binaries.
std::string BuiltProgram(const std::string& name);

}  // namespace parvex::testing
