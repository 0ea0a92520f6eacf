// The shell's command line: parvex [OPTIONS] [FILE [SQL ...]], or
// parvex --check FILE, or parvex --recover FILE NEWFILE.
//
// Options come before FILE (`--` ends them, for a FILE that starts with '-');
// every argument after FILE is SQL, run in order. Without FILE (or with
// ":memory:") the database is a transient one in memory. --check takes FILE
// alone, --recover FILE and NEWFILE. A usage error (an unknown option, a wrong
// argument count for --check or --recover) makes the shell print the usage
// and exit with code 2.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "result_printer.h"

namespace parvex::shell {

struct CommandLine {
  std::string databasePath;
  std::vector<std::string> sql;
  std::optional<OutputMode> mode;  // unset: box on a terminal, list otherwise
  std::optional<bool> headers;
  bool bail = false;
  std::optional<bool> warnings;  // unset: on for a terminal's input, unless in CSV mode
  bool help = false;
  bool version = false;
  bool readOnly = false;
  bool noSync = false;
  int32_t timeoutMs = 0;
  bool check = false;    // --check: check FILE and exit
  bool recover = false;  // --recover: copy FILE into sql[0] and exit
};

// False with `error` set for a usage error.
bool ParseCommandLine(int argc, const char* const* argv, CommandLine* commandLine, std::string* error);

std::string UsageText();

}  // namespace parvex::shell
