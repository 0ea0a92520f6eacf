// DotCommands: the shell's own commands, the lines that start with '.'.
//
// A command line is the command's name and its arguments, separated by
// blanks; an argument may be quoted with '...' or "..." (a doubled quote
// stands for itself) to hold blanks. `.parse` takes the rest of the line as it
// stands. A wrong command or argument count prints one line on standard error
// and counts as a failure, like a failed statement. `.help` lists them all.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace parvex::shell {

class Shell;

class DotCommands {
 public:
  explicit DotCommands(Shell& shell) : mShell(shell) {}

  void Run(const std::string& line);

  // Splits a command line into words; false with `error` set for an open quote.
  static bool SplitWords(const std::string& line, std::vector<std::string>* words, std::string* error);
  // The text of .help.
  static std::string HelpText();
  // The names of the commands, with their dots (for completion).
  static std::vector<std::string> Names();
  // Replaces \t, \n, \r and \\ in `text`; false for another escape.
  static bool ResolveEscapes(const std::string& text, std::string* out);

 private:
  using Args = std::vector<std::string>;

  struct Command {
    const char* name;
    const char* arguments;
    const char* help;
    size_t minArgs;
    size_t maxArgs;
    void (DotCommands::*run)(const Args& args);
    const char* details = nullptr;  // more for .help COMMAND
    bool raw = false;               // takes the rest of the line as it stands (in mRest)
  };
  static const Command kCommands[];
  static const Command* Find(std::string_view name);
  static std::string UsageOf(const Command& command);

  void Bail(const Args& args);
  void Changes(const Args& args);
  void Check(const Args& args);
  void Dump(const Args& args);
  void Echo(const Args& args);
  void Headers(const Args& args);
  void Help(const Args& args);
  void Import(const Args& args);
  void Indexes(const Args& args);
  void LastRowID(const Args& args);
  void Mode(const Args& args);
  void NullValue(const Args& args);
  void Once(const Args& args);
  void Open(const Args& args);
  void Output(const Args& args);
  void Parse(const Args& args);
  void Quit(const Args& args);
  void Read(const Args& args);
  void Schema(const Args& args);
  void SchemaExport(const Args& args);
  void SchemaImport(const Args& args);
  void Separator(const Args& args);
  void Tables(const Args& args);
  void Timer(const Args& args);
  void Warnings(const Args& args);

  // The user tables (args empty) or the one named in args[0]; reports a
  // missing table and returns false.
  // The tables a command describes: all, or the one named (as the database
  // spells it); false, with the failure reported, when there is none.
  bool TablesNamed(const Args& args, std::vector<std::string>* tables);
  // Reads on|off (also yes/no, true/false, 1/0) into `flag`; reports a bad word.
  bool ParseSwitch(const std::string& word, bool* flag);

  Shell& mShell;
  std::string mRest;  // the line after the command's name, for .parse
};

}  // namespace parvex::shell
