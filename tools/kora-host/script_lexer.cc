// Tokenizer of kora-host script lines.
#include "script_lexer.h"

#include "script_format.h"

namespace kora_host {

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

}  // namespace

void ScriptLexer::SkipBlanks() {
  while (mPos < mLine.size() && IsBlank(mLine[mPos])) ++mPos;
}

bool ScriptLexer::AtEnd() { return Peek().kind == Token::kEnd; }

Token ScriptLexer::Peek() {
  const size_t saved = mPos;
  const std::string savedError = mError;
  Token token = Next();
  mPos = saved;
  mError = savedError;
  return token;
}

std::string ScriptLexer::Rest() {
  SkipBlanks();
  std::string rest = mLine.substr(mPos);
  mPos = mLine.size();
  while (!rest.empty() && IsBlank(rest.back())) rest.pop_back();
  return rest;
}

Token ScriptLexer::Next() {
  const size_t before = mPos;
  SkipBlanks();
  const bool glued = mPos == before && before > 0 && mLine[before - 1] == ':';
  Token token;
  if (mPos >= mLine.size()) return token;
  const char c = mLine[mPos];
  if (c == '=') {
    ++mPos;
    token.kind = Token::kEquals;
    token.text = "=";
    return token;
  }
  if (c != '"') {
    const size_t start = mPos;
    while (mPos < mLine.size() && !IsBlank(mLine[mPos]) && mLine[mPos] != '"' &&
           mLine[mPos] != '=') {
      ++mPos;
    }
    token.kind = Token::kWord;
    token.text = mLine.substr(start, mPos - start);
    return token;
  }
  token.glued = glued;
  ++mPos;  // opening quote
  while (mPos < mLine.size() && mLine[mPos] != '"') {
    char ch = mLine[mPos++];
    if (ch == '\\') {
      if (mPos >= mLine.size()) break;
      const char e = mLine[mPos++];
      switch (e) {
        case 'n': ch = '\n'; break;
        case 'r': ch = '\r'; break;
        case 't': ch = '\t'; break;
        case '0': ch = '\0'; break;
        case 'x': {
          const int hi = mPos < mLine.size() ? HexValue(mLine[mPos]) : -1;
          const int lo = mPos + 1 < mLine.size() ? HexValue(mLine[mPos + 1]) : -1;
          if (hi < 0 || lo < 0) {
            mError = "bad \\x escape";
            return Token();
          }
          ch = static_cast<char>(hi * 16 + lo);
          mPos += 2;
          break;
        }
        default: ch = e; break;  // \" and \\ and anything else literally
      }
    }
    token.text.push_back(ch);
  }
  if (mPos >= mLine.size()) {
    mError = "unterminated string";
    return Token();
  }
  ++mPos;  // closing quote
  token.kind = Token::kString;
  return token;
}

}  // namespace kora_host
