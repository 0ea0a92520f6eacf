// Tokens of one line of a kora-host script.
//
// A line holds words (runs of anything but blanks, '"' and '='), double-
// quoted strings and the sign '='. Strings take the escapes \" \\ \n \r \t
// \0 and \xHH. A string written directly behind a word ending in ':' (as in
// date:"2001-02-03") is marked glued to it. Commands that take SQL read the
// rest of the line raw, after the words they need.
#pragma once

#include <cstddef>
#include <string>

namespace kora_host {

struct Token {
  enum Kind { kEnd, kWord, kString, kEquals } kind = kEnd;
  std::string text;
  bool glued = false;  // a string directly behind the previous token
};

class ScriptLexer {
 public:
  explicit ScriptLexer(std::string line) : mLine(std::move(line)) {}

  // The next token; a malformed string yields kEnd with error() set.
  Token Next();
  Token Peek();
  // The rest of the line after blanks, untokenized.
  std::string Rest();
  bool AtEnd();
  const std::string& error() const { return mError; }

 private:
  void SkipBlanks();

  std::string mLine;
  size_t mPos = 0;
  std::string mError;
};

}  // namespace kora_host
