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
constexpr int kU = Parser::kTokenUnknown;

TEST(TokenizerTest, ClassesOfASimpleStatement) {
  EXPECT_EQ(Tokens("SELECT a,'x' FROM t1 WHERE b>=2.5"),
            (std::vector<Tok>{{kW, "SELECT"}, {kW, "a"}, {kD, ","}, {kS, "'x'"}, {kW, "FROM"}, {kW, "t1"},
                              {kW, "WHERE"}, {kW, "b"}, {kD, ">="}, {kN, "2.5"}, {kE, ""}}));
}

TEST(TokenizerTest, OperatorsOfTwoCharacters) {
  EXPECT_EQ(Tokens("<=<>>=<>"),
            (std::vector<Tok>{{kD, "<="}, {kD, "<>"}, {kD, ">="}, {kD, "<>"}, {kE, ""}}));
  // => and =< are two tokens each; != is not an operator.
  EXPECT_EQ(Tokens("=<=>"), (std::vector<Tok>{{kD, "="}, {kD, "<="}, {kD, ">"}, {kE, ""}}));
  EXPECT_EQ(Tokens("a!=b"), (std::vector<Tok>{{kW, "a!"}, {kD, "="}, {kW, "b"}, {kE, ""}}));
}

TEST(TokenizerTest, WordsRunToTheNextDelimiter) {
  EXPECT_EQ(Tokens("T.A ZipCodes.City RV.foo x'y\"z _a #b"),
            (std::vector<Tok>{{kW, "T.A"}, {kW, "ZipCodes.City"}, {kW, "RV.foo"}, {kW, "x'y\"z"},
                              {kW, "_a"}, {kW, "#b"}, {kE, ""}}));
  // T.* is one word; a * after anything but a dot is a delimiter.
  EXPECT_EQ(Tokens("T.* a*b"),
            (std::vector<Tok>{{kW, "T.*"}, {kW, "a"}, {kD, "*"}, {kW, "b"}, {kE, ""}}));
  // Digits, dots and other non-delimiters belong to the word.
  EXPECT_EQ(Tokens("a1.b2$c"), (std::vector<Tok>{{kW, "a1.b2$c"}, {kE, ""}}));
}

TEST(TokenizerTest, LineFeedBelongsToAWordButSeparatesOtherwise) {
  EXPECT_EQ(Tokens("a\nb"), (std::vector<Tok>{{kW, "a\nb"}, {kE, ""}}));
  EXPECT_EQ(Tokens("a \nb"), (std::vector<Tok>{{kW, "a"}, {kW, "b"}, {kE, ""}}));
  EXPECT_EQ(Tokens("(\n1\n\t)"), (std::vector<Tok>{{kD, "("}, {kN, "1\n"}, {kD, ")"}, {kE, ""}}));
}

TEST(TokenizerTest, NumbersAndTheLowerCaseExponent) {
  EXPECT_EQ(Tokens("1e-5 2.5e+3"), (std::vector<Tok>{{kN, "1e-5"}, {kN, "2.5e+3"}, {kE, ""}}));
  EXPECT_EQ(Tokens("1E-5"), (std::vector<Tok>{{kN, "1E"}, {kD, "-"}, {kN, "5"}, {kE, ""}}));
  // The e takes whatever follows it, a blank included, but never the end.
  EXPECT_EQ(Tokens("1e 2"), (std::vector<Tok>{{kN, "1e 2"}, {kE, ""}}));
  EXPECT_EQ(Tokens("1e"), (std::vector<Tok>{{kN, "1e"}, {kE, ""}}));
  EXPECT_EQ(Tokens("12abc+1"), (std::vector<Tok>{{kN, "12abc"}, {kD, "+"}, {kN, "1"}, {kE, ""}}));
}

TEST(TokenizerTest, SemicolonEndsWithoutBeingConsumed) {
  Parser parser;
  parser.Start(string("a; b"));
  parser.GetToken();
  EXPECT_EQ(parser.Token().str(), "a");
  for (int i = 0; i < 3; ++i) {
    parser.GetToken();
    EXPECT_EQ(parser.TokenKind(), Parser::kTokenEnd);
    EXPECT_EQ(parser.Token().length(), 0u);
  }
}

TEST(TokenizerTest, UnknownCharactersDoNotMove) {
  for (const char* text : {".", "!", "&", "?", "@", "[", "$", "|", "\x80"}) {
    Parser parser;
    parser.Start(string(text));
    parser.GetToken();
    EXPECT_EQ(parser.TokenKind(), Parser::kTokenUnknown) << text;
    EXPECT_TRUE(parser.Token().empty());
    parser.GetToken();
    EXPECT_EQ(parser.TokenKind(), Parser::kTokenUnknown) << text;
  }
}

TEST(TokenizerTest, TrailingBlankGivesANulDelimiterThenTheEnd) {
  auto tokens = Tokens("a  ");
  ASSERT_EQ(tokens.size(), 3u);
  EXPECT_EQ(tokens[1], Tok(kD, std::string(1, '\0')));
  EXPECT_EQ(tokens[2], Tok(kE, ""));
  // Text without trailing blanks ends directly.
  EXPECT_EQ(Tokens("a"), (std::vector<Tok>{{kW, "a"}, {kE, ""}}));
  EXPECT_EQ(Tokens(""), (std::vector<Tok>{{kE, ""}}));
}

TEST(TokenizerTest, EmbeddedNulEndsTheText) {
  using namespace std::string_literals;
  EXPECT_EQ(Tokens("a\0b c"s), (std::vector<Tok>{{kW, "a"}, {kE, ""}}));
  EXPECT_EQ(Tokens("'ab\0cd'"s), (std::vector<Tok>{{kS, "'ab"}, {kE, ""}}));
}

TEST(TokenizerTest, StringLiterals) {
  long error = 0;
  EXPECT_EQ(Tokens("'How''s it going?'", 0, &error), (std::vector<Tok>{{kS, "'How''s it going?'"}, {kE, ""}}));
  EXPECT_EQ(error, 0);
  // National literal: the N is not part of the token.
  EXPECT_EQ(Tokens("N'abc' N"), (std::vector<Tok>{{kS, "'abc'"}, {kW, "N"}, {kE, ""}}));
  // Unterminated: accepted up to the end without an error.
  EXPECT_EQ(Tokens("'abc", 0, &error), (std::vector<Tok>{{kS, "'abc"}, {kE, ""}}));
  EXPECT_EQ(error, 0);
  EXPECT_EQ(Tokens("'", 0, &error), (std::vector<Tok>{{kS, "'"}, {kE, ""}}));
  EXPECT_EQ(Tokens("'a'''", 0, &error), (std::vector<Tok>{{kS, "'a'''"}, {kE, ""}}));
  // A closing quote must be followed by a delimiter.
  Tokens("'abc'x", 0, &error);
  EXPECT_EQ(error, Parser::kErrSyntax);
  Tokens("'abc'(", 0, &error);
  EXPECT_EQ(error, 0);
}

TEST(TokenizerTest, EscapeByteInStringLiterals) {
  // Without an escape byte the backslash is an ordinary byte.
  EXPECT_EQ(Tokens("'a\\'b'"), (std::vector<Tok>{{kS, "'a\\'"}, {kW, "b'"}, {kE, ""}}));
  // With it, an escaped quote does not end the literal.
  EXPECT_EQ(Tokens("'a\\'b' c", '\\'), (std::vector<Tok>{{kS, "'a\\'b'"}, {kW, "c"}, {kE, ""}}));
  // An escape byte at the very end stops there.
  EXPECT_EQ(Tokens("'ab\\", '\\'), (std::vector<Tok>{{kS, "'ab\\"}, {kE, ""}}));
  // The escape byte is honoured only inside literals.
  EXPECT_EQ(Tokens("a^b", '^'), (std::vector<Tok>{{kW, "a"}, {kD, "^"}, {kW, "b"}, {kE, ""}}));
}

TEST(TokenizerTest, DoubleQuoteIsRefused) {
  long error = 0;
  EXPECT_EQ(Tokens("\"name\"", 0, &error), (std::vector<Tok>{{kE, ""}}));
  EXPECT_EQ(error, Parser::kErrSyntax);
}

TEST(TokenizerTest, PutbackReadsTheSameTokenAgain) {
  Parser parser;
  parser.Start(string("  alpha  'b''c'  N'x'  <>  "));
  for (const char* expected : {"alpha", "'b''c'", "'x'", "<>"}) {
    parser.GetToken();
    EXPECT_EQ(parser.Token().str(), expected);
    parser.putback();
    parser.GetToken();
    EXPECT_EQ(parser.Token().str(), expected);
  }
  parser.GetToken();  // the NUL delimiter
  parser.putback();
  parser.GetToken();
  EXPECT_EQ(parser.TokenKind(), Parser::kTokenEnd);
}

TEST(TokenizerTest, EncodingOfTokens) {
  Parser parser;
  parser.Start(string("abc", kEncodingUTF8));
  parser.GetToken();
  EXPECT_EQ(parser.Token().Encoding(), kEncodingUTF8);
  parser.Start(string("", kEncodingUTF8));
  parser.GetToken();
  EXPECT_EQ(parser.Token().Encoding(), kEncodingDefault);
}

}  // namespace
}  // namespace parvex
