// The tokenizer on its own: token classes, delimiters, literals and the
// guarantees at the end of the text.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "sql/parser.h"

namespace parvex {
namespace {

using Parser = ParvexSQLParser;
using Tok = std::pair<int, std::string>;

// Every token up to and including the first end token.
std::vector<Tok> Tokens(std::string_view text, char escape = 0, long* error = nullptr) {
  Parser parser;
  parser.SetEscape(escape);
  parser.Start(string(text));
  std::vector<Tok> tokens;
  for (int guard = 0; guard < 200; ++guard) {
    parser.GetToken();
    tokens.emplace_back(parser.TokenKind(), parser.Token().str());
    if (parser.TokenKind() == Parser::kTokenEnd || parser.TokenKind() == Parser::kTokenUnknown) break;
  }
  if (error) *error = parser.LastError();
  return tokens;
}

constexpr int kD = Parser::kTokenDelimiter;
constexpr int kW = Parser::kTokenWord;
constexpr int kN = Parser::kTokenNumber;
constexpr int kS = Parser::kTokenString;
constexpr int kE = Parser::kTokenEnd;
constexpr int kP = Parser::kTokenParameter;
constexpr int kU = Parser::kTokenUnknown;

// Every token of a text, up to the end token, and the error it leaves.
TEST(TokenizerTest, TokensOfTexts) {
  using namespace std::string_literals;
  struct Case {
    std::string text;
    char escape;
    std::vector<Tok> tokens;
    long error;
  };
  const std::vector<Case> cases = {
      {"SELECT a,'x' FROM t1 WHERE b>=2.5", 0,
       {{kW, "SELECT"}, {kW, "a"}, {kD, ","}, {kS, "'x'"}, {kW, "FROM"}, {kW, "t1"}, {kW, "WHERE"}, {kW, "b"},
        {kD, ">="}, {kN, "2.5"}, {kE, ""}}, 0},
      // Operators of two characters; => and =< are two tokens each; != is not an operator.
      {"<=<>>=<>", 0, {{kD, "<="}, {kD, "<>"}, {kD, ">="}, {kD, "<>"}, {kE, ""}}, 0},
      {"=<=>", 0, {{kD, "="}, {kD, "<="}, {kD, ">"}, {kE, ""}}, 0},
      {"a!=b", 0, {{kW, "a!"}, {kD, "="}, {kW, "b"}, {kE, ""}}, 0},
      // Words run to the next delimiter; T.* is one word, a * after anything but a dot is a delimiter.
      {"T.A ZipCodes.City x'y\"z _a #b a1.b2$c", 0,
       {{kW, "T.A"}, {kW, "ZipCodes.City"}, {kW, "x'y\"z"}, {kW, "_a"}, {kW, "#b"}, {kW, "a1.b2$c"}, {kE, ""}}, 0},
      {"T.* a*b", 0, {{kW, "T.*"}, {kW, "a"}, {kD, "*"}, {kW, "b"}, {kE, ""}}, 0},
      // A line feed belongs to a word or number but separates otherwise.
      {"a\nb", 0, {{kW, "a\nb"}, {kE, ""}}, 0},
      {"a \nb", 0, {{kW, "a"}, {kW, "b"}, {kE, ""}}, 0},
      {"(\n1\n\t)", 0, {{kD, "("}, {kN, "1\n"}, {kD, ")"}, {kE, ""}}, 0},
      // Only a lower-case e is an exponent; it takes whatever follows it, a blank included, but never the end.
      {"1e-5 2.5e+3", 0, {{kN, "1e-5"}, {kN, "2.5e+3"}, {kE, ""}}, 0},
      {"1E-5", 0, {{kN, "1E"}, {kD, "-"}, {kN, "5"}, {kE, ""}}, 0},
      {"1e 2", 0, {{kN, "1e 2"}, {kE, ""}}, 0},
      {"1e", 0, {{kN, "1e"}, {kE, ""}}, 0},
      {"12abc+1", 0, {{kN, "12abc"}, {kD, "+"}, {kN, "1"}, {kE, ""}}, 0},
      // A trailing blank gives a NUL delimiter, then the end.
      {"a  ", 0, {{kW, "a"}, {kD, std::string(1, '\0')}, {kE, ""}}, 0},
      {"a", 0, {{kW, "a"}, {kE, ""}}, 0},
      {"", 0, {{kE, ""}}, 0},
      // An embedded NUL ends the text.
      {"a\0b c"s, 0, {{kW, "a"}, {kE, ""}}, 0},
      {"'ab\0cd'"s, 0, {{kS, "'ab"}, {kE, ""}}, 0},
      // String literals; the N of a national literal is not part of the token.
      {"'How''s it going?'", 0, {{kS, "'How''s it going?'"}, {kE, ""}}, 0},
      {"N'abc' N", 0, {{kS, "'abc'"}, {kW, "N"}, {kE, ""}}, 0},
      // Unterminated: accepted up to the end without an error.
      {"'abc", 0, {{kS, "'abc"}, {kE, ""}}, 0},
      {"'", 0, {{kS, "'"}, {kE, ""}}, 0},
      {"'a'''", 0, {{kS, "'a'''"}, {kE, ""}}, 0},
      // A closing quote must be followed by a delimiter.
      {"'abc'(", 0, {{kS, "'abc'"}, {kD, "("}, {kE, ""}}, 0},
      // Without an escape byte the backslash is an ordinary byte; with it an escaped quote does not end the
      // literal, an escape byte at the very end stops there, and outside literals it is not honoured.
      {"'a\\'b'", 0, {{kS, "'a\\'"}, {kW, "b'"}, {kE, ""}}, Parser::kErrSyntax},
      {"'a\\'b' c", '\\', {{kS, "'a\\'b'"}, {kW, "c"}, {kE, ""}}, 0},
      {"'ab\\", '\\', {{kS, "'ab\\"}, {kE, ""}}, 0},
      {"a^b", '^', {{kW, "a"}, {kD, "^"}, {kW, "b"}, {kE, ""}}, 0},
      {"\"name\"", 0, {{kE, ""}}, Parser::kErrSyntax},
      // Placeholders: `?` and its digits, up to a non-digit.
      {"?,?12a", 0, {{kP, "?"}, {kD, ","}, {kP, "?12"}, {kW, "a"}, {kE, ""}}, 0},
  };
  for (const Case& c : cases) {
    long error = -1;
    EXPECT_EQ(Tokens(c.text, c.escape, &error), c.tokens) << c.text;
    EXPECT_EQ(error, c.error) << c.text;
  }
  long error = 0;
  Tokens("'abc'x", 0, &error);
  EXPECT_EQ(error, Parser::kErrSyntax);
}

TEST(TokenizerTest, UnknownCharactersDoNotMove) {
  for (const char* text : {".", "!", "&", "@", "[", "$", "|", "\x80"}) {
    Parser parser;
    parser.Start(string(text));
    parser.GetToken();
    EXPECT_EQ(parser.TokenKind(), Parser::kTokenUnknown) << text;
    EXPECT_TRUE(parser.Token().empty());
    parser.GetToken();
    EXPECT_EQ(parser.TokenKind(), Parser::kTokenUnknown) << text;
  }
}

}  // namespace
}  // namespace parvex
