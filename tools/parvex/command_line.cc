// Options and arguments of the shell.
#include "command_line.h"

#include <charconv>
#include <string_view>

namespace parvex::shell {

bool ParseCommandLine(int argc, const char* const* argv, CommandLine* commandLine, std::string* error) {
  int i = 1;
  for (; i < argc; ++i) {
    const std::string_view arg = argv[i];
    if (arg == "--") {
      ++i;
      break;
    }
    if (arg.size() < 2 || arg[0] != '-') break;
    OutputMode mode;
    if (arg.substr(0, 2) == "--" && ParseOutputMode(arg.substr(2), &mode)) {
      commandLine->mode = mode;
    } else if (arg == "--headers") {
      commandLine->headers = true;
    } else if (arg == "--no-headers") {
      commandLine->headers = false;
    } else if (arg == "--warnings") {
      commandLine->warnings = true;
    } else if (arg == "--no-warnings") {
      commandLine->warnings = false;
    } else if (arg == "--bail") {
      commandLine->bail = true;
    } else if (arg == "--readonly") {
      commandLine->readOnly = true;
    } else if (arg == "--no-sync") {
      commandLine->noSync = true;
    } else if (arg == "--timeout") {
      const std::string_view value = i + 1 < argc ? std::string_view(argv[i + 1]) : std::string_view();
      int32_t milliseconds = -1;
      const auto parsed = std::from_chars(value.data(), value.data() + value.size(), milliseconds);
      if (value.empty() || parsed.ec != std::errc() || parsed.ptr != value.data() + value.size() || milliseconds < 0) {
        *error = "--timeout needs a number of milliseconds";
        return false;
      }
      commandLine->timeoutMs = milliseconds;
      ++i;
    } else if (arg == "--check") {
      commandLine->check = true;
    } else if (arg == "--recover") {
      commandLine->recover = true;
    } else if (arg == "--help" || arg == "-h") {
      commandLine->help = true;
      return true;
    } else if (arg == "--version") {
      commandLine->version = true;
      return true;
    } else {
      *error = "unknown option " + std::string(arg);
      return false;
    }
  }
  if (i >= argc && (commandLine->check || commandLine->recover)) {
    *error = "no database file given";
    return false;
  }
  if (i < argc) commandLine->databasePath = argv[i++];
  for (; i < argc; ++i) commandLine->sql.emplace_back(argv[i]);
  if (commandLine->check && commandLine->recover) {
    *error = "--check and --recover can't be combined";
    return false;
  }
  if (commandLine->check && !commandLine->sql.empty()) {
    *error = "--check takes the database file alone";
    return false;
  }
  if (commandLine->recover && commandLine->sql.size() != 1) {
    *error = "--recover takes the damaged file and the new file";
    return false;
  }
  return true;
}

std::string UsageText() {
  return "Usage: parvex [OPTIONS] [FILE [SQL ...]]\n"
         "       parvex --check FILE\n"
         "       parvex --recover FILE NEWFILE\n"
         "Opens the database FILE (a missing or empty file becomes a new database; no FILE,\n"
         "or :memory:, a transient database in memory) and runs each SQL argument in order;\n"
         "without SQL arguments, reads statements and dot-commands from standard input (with\n"
         "line editing and completion on a terminal; .help lists the commands).\n"
         "\n"
         "Options:\n"
         "  --box          aligned columns inside borders (the default on a terminal)\n"
         "  --table        aligned columns inside +-| borders\n"
         "  --markdown     a Markdown table\n"
         "  --list         values separated by | (the default otherwise)\n"
         "  --csv          comma-separated values with a header line (RFC 4180)\n"
         "  --json         one JSON array of objects per query\n"
         "  --line         one \"column = value\" line per value\n"
         "  --headers      show column names (list mode hides them by default)\n"
         "  --no-headers   hide column names\n"
         "  --bail         stop at the first failed statement\n"
         "  --warnings     warn about statements the dialect reads otherwise than they look\n"
         "                 (the default for input from a terminal, except with --csv)\n"
         "  --no-warnings  never warn\n"
         "  --readonly     open FILE read-only (other readers may share it; no writer)\n"
         "  --timeout MS   wait up to MS milliseconds for another process to let go of FILE\n"
         "  --no-sync      do not wait for the disk at commits: faster, but a power loss\n"
         "                 can lose committed work or damage the file\n"
         "  --check        check FILE for damage without changing it; exit 0 when clean,\n"
         "                 1 when damaged\n"
         "  --recover      copy every readable row of FILE (and its indexes) into the new\n"
         "                 database NEWFILE, saying what could not be copied\n"
         "  --help         show this text\n"
         "  --version      show the version of parvex\n"
         "\n"
         "Exit status: 0 when every statement succeeded, 1 when one failed, 2 for a usage\n"
         "error or a database that cannot be opened.\n";
}

}  // namespace parvex::shell
