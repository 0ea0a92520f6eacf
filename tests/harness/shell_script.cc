// The shell script runner (see shell_script.h for the format).
#include "harness/shell_script.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "harness/files.h"
#include "harness/golden.h"
#include "harness/process.h"
#include "harness/script_test.h"

namespace parvex::testing {
namespace {

struct Command {
  std::string line;  // as written
  std::vector<std::string> words;
  std::string input;  // standard input of a run
};

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Splits a command line into words; false with `error` set when malformed.
bool SplitWords(const std::string& text, std::vector<std::string>* words, std::string* error) {
  size_t i = 0;
  while (true) {
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) ++i;
    if (i == text.size()) return true;
    std::string word;
    while (i < text.size() && text[i] != ' ' && text[i] != '\t') {
      const char quote = text[i];
      if (quote != '\'' && quote != '"') {
        word += text[i++];
        continue;
      }
      for (++i; i < text.size() && text[i] != quote; ++i) {
        if (quote == '\'' || text[i] != '\\' || i + 1 >= text.size()) {
          word += text[i];
          continue;
        }
        const char e = text[++i];
        static const std::string kFrom = "nrt0\\\"", kTo = std::string("\n\r\t\0\\\"", 6);
        if (kFrom.find(e) != std::string::npos) {
          word += kTo[kFrom.find(e)];
        } else if (e == 'x' && i + 2 < text.size() && HexDigit(text[i + 1]) >= 0 && HexDigit(text[i + 2]) >= 0) {
          word += static_cast<char>(HexDigit(text[i + 1]) * 16 + HexDigit(text[i + 2]));
          i += 2;
        } else {
          *error = std::string("unknown escape \\") + e;
          return false;
        }
      }
      if (i >= text.size()) {
        *error = std::string("unterminated ") + quote;
        return false;
      }
      ++i;  // the closing quote
    }
    words->push_back(word);
  }
}

std::vector<Command> ParseCommands(const std::string& text, const std::string& name) {
  std::vector<Command> commands;
  std::istringstream in(text);
  int number = 0;
  for (std::string line; std::getline(in, line);) {
    ++number;
    if (line.rfind("$", 0) != 0) {
      if (!commands.empty()) {
        commands.back().input += line + "\n";
      } else if (line.find_first_not_of(" \t\r") != std::string::npos && line.rfind("--", 0) != 0) {
        ADD_FAILURE() << name << ":" << number << ": input before the first '$' line";
      }
      continue;
    }
    Command command;
    command.line = line;
    std::string error;
    if (!SplitWords(line.substr(1), &command.words, &error) || command.words.empty()) {
      ADD_FAILURE() << name << ":" << number << ": " << (error.empty() ? "empty command" : error);
      continue;
    }
    commands.push_back(command);
  }
  return commands;
}

// Text for the transcript: a line end is added where one is missing.
std::string Block(const std::string& text) {
  if (text.empty() || text.back() == '\n') return text;
  return text + "\n[no line end]\n";
}

std::string Escaped(const std::string& bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : bytes) {
    if (c == '\n' || (c >= 0x20 && c < 0x7F && c != '\\')) {
      out += static_cast<char>(c);
    } else if (c == '\\') {
      out += "\\\\";
    } else {
      out += "\\x";
      out += kDigits[c >> 4];
      out += kDigits[c & 15];
    }
  }
  return out;
}

std::string StandardError(const std::string& err) {
  static const std::regex kTimer(R"(Run Time: real [0-9.]+ user [0-9.]+ sys [0-9.]+)");
  std::string out;
  std::istringstream in(err);
  for (std::string line; std::getline(in, line);) {
    out += "2> " + std::regex_replace(line, kTimer, "Run Time: ...") + "\n";
  }
  if (!err.empty() && err.back() != '\n') out += "[no line end]\n";
  return out;
}

// Runs one command; returns its part of the transcript.
std::string Run(const Command& command, const std::string& work) {
  std::string out = command.line + "\n";
  const std::string& verb = command.words[0];
  const auto argument = [&](size_t i) { return i < command.words.size() ? command.words[i] : std::string(); };
  if (verb == "parvex") {
    ProcessRun run;
    run.argv = {BuiltProgram("parvex")};
    run.input = command.input;
    run.workFolder = work;
    run.environment["HOME"] = work;
    std::string outputFile;
    for (size_t i = 1; i < command.words.size(); ++i) {
      const std::string& word = command.words[i];
      if ((word == "<" || word == ">") && i + 1 < command.words.size()) {
        const std::string path = work + "/" + command.words[++i];
        if (word == ">") {
          outputFile = path;
        } else {
          run.input = ReadFile(path) + run.input;
        }
      } else {
        run.argv.push_back(word);
      }
    }
    const ProcessResult result = RunProcess(run);
    if (outputFile.empty()) {
      out += Block(result.out);
    } else if (!WriteFile(outputFile, result.out)) {
      ADD_FAILURE() << "cannot write " << outputFile;
    }
    out += StandardError(result.err);
    if (result.exitCode != 0) out += "[exit " + std::to_string(result.exitCode) + "]\n";
  } else if (verb == "write" && command.words.size() >= 2) {
    std::string bytes;
    for (size_t i = 2; i < command.words.size(); ++i) bytes += command.words[i];
    if (!WriteFile(work + "/" + argument(1), bytes)) ADD_FAILURE() << "cannot write " << argument(1);
  } else if (verb == "truncate" && command.words.size() == 3) {
    std::string bytes = ReadFile(work + "/" + argument(1));
    bytes.resize(bytes.size() - std::min<size_t>(bytes.size(), std::stoul(argument(2))));
    if (!WriteFile(work + "/" + argument(1), bytes)) ADD_FAILURE() << "cannot write " << argument(1);
  } else if (verb == "poke" && command.words.size() == 5) {
    std::string bytes = ReadFile(work + "/" + argument(1));
    const size_t found = bytes.find(argument(2));
    const long long at = static_cast<long long>(found) + std::stoll(argument(3));
    if (found == std::string::npos || at < 0 || static_cast<size_t>(at) + argument(4).size() > bytes.size()) {
      ADD_FAILURE() << "nothing to poke: " << command.line;
    } else {
      bytes.replace(static_cast<size_t>(at), argument(4).size(), argument(4));
      if (!WriteFile(work + "/" + argument(1), bytes)) ADD_FAILURE() << "cannot write " << argument(1);
    }
  } else if (verb == "cat" && (command.words.size() == 2 || command.words.size() == 3)) {
    std::string bytes = ReadFile(work + "/" + argument(1));
    if (command.words.size() == 3) bytes = bytes.substr(0, std::stoul(argument(2)));
    out += Block(Escaped(bytes));
  } else {
    ADD_FAILURE() << "unknown command: " << command.line;
  }
  std::istringstream input(command.input);
  for (std::string line; verb != "parvex" && std::getline(input, line);) {
    if (line.find_first_not_of(" \t\r") != std::string::npos && line.rfind("--", 0) != 0) {
      ADD_FAILURE() << "a line after '" << command.line << "' is not read: " << line;
    }
  }
  return out;
}

}  // namespace

void RunShellScript(const std::filesystem::path& script) {
  const std::vector<Command> commands = ParseCommands(ReadFile(script.string()), script.filename().string());
  const std::string work = FreshWorkFolder("shell", script);
  std::string transcript;
  for (const Command& command : commands) transcript += Run(command, work);
  std::filesystem::path expected = script;
  ExpectMatchesFile(transcript, expected.replace_extension(".out").string());
}

}  // namespace parvex::testing
