// parvex: the command-line shell over a Parvex database.
//
// parvex [OPTIONS] [FILE [SQL ...]] opens (or creates) the database FILE, or
// one in memory, runs the SQL arguments or the statements of standard input,
// and exits with 0 when everything succeeded, 1 when a statement failed and 2
// for a usage error or a database that cannot be opened. --check and
// --recover work on the file without opening it as a database (see
// maintenance.h); --self-check runs the linked library's built-in self-check
// cases and reports each.
#include <unistd.h>

#include <iostream>
#include <memory>
#include <string_view>

#include "command_line.h"
#include "interrupt.h"
#include "line_source.h"
#include "maintenance.h"
#include "parvex/parvex.h"
#include "shell.h"

namespace {

constexpr int kExitUsage = 2;

// One line per case, "ok" or "FAILED" with what the case saw; exit 1 when
// any failed.
int RunSelfCheck() {
  const int count = parvex_self_check_count();
  int failed = 0;
  for (int i = 0; i < count; ++i) {
    const char* message = nullptr;
    const bool passed = parvex_self_check_run(i, &message) == PARVEX_OK;
    std::cout << (passed ? "ok      " : "FAILED  ") << parvex_self_check_name(i);
    if (!passed) {
      ++failed;
      std::cout << ": " << message;
    }
    std::cout << '\n';
  }
  std::cout << count - failed << " of " << count << " self-check cases passed (library " << parvex_version() << ")\n";
  return failed == 0 ? 0 : 1;
}

int RunShell(int argc, char** argv) {
  using namespace parvex;
  using namespace parvex::shell;

  if (argc == 2 && std::string_view(argv[1]) == "--self-check") return RunSelfCheck();
  CommandLine commandLine;
  std::string error;
  if (!ParseCommandLine(argc, argv, &commandLine, &error)) {
    std::cerr << "parvex: " << error << "\n\n" << UsageText();
    return kExitUsage;
  }
  if (commandLine.help) {
    std::cout << UsageText();
    return 0;
  }
  if (commandLine.version) {
    std::cout << "parvex " PARVEX_VERSION "\n";
    return 0;
  }
  if (commandLine.check) return RunCheck(commandLine.databasePath, std::cout, std::cerr);
  if (commandLine.recover) return RunRecover(commandLine.databasePath, commandLine.sql[0], std::cout, std::cerr);

  const int openFlags =
      (commandLine.readOnly ? PARVEX_OPEN_READONLY : 0) | (commandLine.noSync ? PARVEX_OPEN_NOSYNC : 0);
  const bool terminalIn = isatty(STDIN_FILENO) == 1;
  const bool terminalOut = isatty(STDOUT_FILENO) == 1;
  OutputSettings output;
  output.mode = commandLine.mode.value_or(terminalOut ? OutputMode::kBox : OutputMode::kList);
  output.headers = commandLine.headers;

  Shell shell(openFlags, commandLine.timeoutMs, output, commandLine.bail);
  if (!shell.Open(commandLine.databasePath, &error)) {
    std::cerr << "parvex: " << error << '\n';
    return kExitUsage;
  }
  shell.SetWarnings(commandLine.warnings);
  InstallSignalHandlers();
  if (!commandLine.sql.empty()) {
    for (const std::string& sql : commandLine.sql) {
      shell.RunText(sql);
      if (shell.Stopped()) break;
    }
  } else if (terminalIn) {
    if (terminalOut) {
      std::cout << "parvex " PARVEX_VERSION " on "
                << (shell.InMemory() ? "a transient in-memory database (.open FILE to keep your work)"
                                     : commandLine.databasePath)
                << ". Enter .help for the commands, .quit or Ctrl-D to leave.\n";
    }
    EditLineSource input(DefaultHistoryPath());
    input.SetCompletionNames([&shell] { return shell.NamesForCompletion(); });
    shell.Run(input);
    if (!shell.Stopped()) std::cout << '\n';  // Ctrl-D leaves the cursor behind the prompt
  } else {
    StreamLineSource input(stdin, "stdin");
    shell.Run(input);
  }
  shell.Close();
  return shell.ExitCode();
}

}  // namespace

int main(int argc, char** argv) { return RunShell(argc, argv); }
