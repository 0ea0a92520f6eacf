// The grammar where .parse can't show it: the trees errors discard, the
// nesting limit and the printed text's encoding. The statements' printed
// forms (which read back as themselves) and error codes are checked by
// tests/tools/scripts/parsing.sql.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "parser_test_util.h"

namespace parvex {
namespace {

using Parser = ParvexSQLParser;
using test::ErrorOf;
using test::Parse;

template <typename Node>
const Node* As(const test::ParseResult& result) {
  return dynamic_cast<const Node*>(result.root.get());
}

// Every error code a rule raises, with its message, is checked through the
// shell's .parse (tests/tools/scripts/parsing.sql); here the empty statement.
TEST(ParserTest, EmptyStatementWantsAKeyword) { EXPECT_EQ(ErrorOf(""), Parser::kErrKeywordExpected); }

TEST(ParserTest, ErrorsThatDiscardTheTree) {
  for (const char* sql : {
           "SELECT a FROM t GROUP a",
           "SELECT a FROM t GROUP BY 1",
           "SELECT a FROM t ORDER a",
           "SELECT a FROM t ORDER BY a, 'b'",
           "INSERT foo VALUES (1)",
           "INSERT INTO 'foo' VALUES (1)",
           "INSERT INTO foo (1) VALUES (1)",
           "INSERT INTO foo (a b) VALUES (1)",
           "INSERT INTO foo DEFAULT (1)",
           "INSERT INTO foo VALUES 1",
           "INSERT INTO foo VALUES (1 2)",
           "INSERT INTO foo (a) 1",
           "INSERT INTO foo SELECT a FROM t ORDER BY 1",
           "INSERT INTO foo VALUES (DATE 1)",
       }) {
    auto result = Parse(sql);
    EXPECT_NE(result.error, Parser::kNoError) << sql;
    EXPECT_EQ(result.root, nullptr) << sql;
  }
  // Other errors leave the partial tree to the caller.
  auto partial = Parse("SELECT 1,2 FROM 42");
  EXPECT_NE(partial.root, nullptr);
}

std::string Repeat(const std::string& piece, int count) {
  std::string out;
  for (int i = 0; i < count; ++i) out += piece;
  return out;
}

TEST(ParserTest, NestingWithinTheLimitParsesAndPrints) {
  const int depth = Parser::kMaxNesting - 2;
  auto parens = Parse("SELECT " + Repeat("(", depth) + "1" + Repeat(")", depth));
  EXPECT_EQ(parens.error, Parser::kNoError);
  EXPECT_EQ(parens.root->Description().str(), "SELECT 1");

  auto negations = Parse("SELECT " + Repeat("-(", depth / 2) + "1" + Repeat(")", depth / 2));
  EXPECT_EQ(negations.error, Parser::kNoError);
  EXPECT_EQ(negations.root->Description().length(), 8 + 3 * static_cast<size_t>(depth / 2));

  auto sum = Parse("SELECT 1" + Repeat("+1", depth));
  EXPECT_EQ(sum.error, Parser::kNoError);
}

TEST(ParserTest, NestingBeyondTheLimitIsASyntaxError) {
  const int hostile = 100000;
  for (const std::string& sql : {
           "SELECT " + Repeat("(", hostile),
           "SELECT " + Repeat("(", hostile) + "1" + Repeat(")", hostile),
           "SELECT " + Repeat("-", hostile) + "1",
           "SELECT " + Repeat("-(", hostile) + "1",
           "SELECT 1" + Repeat("+1", hostile),
           "SELECT 1" + Repeat("*a", hostile),
           "SELECT " + Repeat("UPPER(", hostile),
           "SELECT a FROM t WHERE " + Repeat("a LIKE ", hostile) + "b",
           "SELECT a FROM t WHERE " + Repeat("(a=1 OR ", hostile),
           "INSERT INTO t VALUES (" + Repeat("(", hostile) + ")",
       }) {
    auto result = Parse(sql);
    EXPECT_EQ(result.error, Parser::kErrSyntax) << sql.substr(0, 30);
    if (result.root) result.root->Description();  // must not overflow either
  }
  // One level past the limit is enough.
  EXPECT_EQ(ErrorOf("SELECT " + Repeat("(", Parser::kMaxNesting) + "1" + Repeat(")", Parser::kMaxNesting)),
            Parser::kErrSyntax);
}

TEST(ParserTest, WideStatementsAreFine) {
  // Long flat lists are not nesting.
  auto result = Parse("SELECT a FROM t WHERE a=1" + Repeat(" OR a=1", 20000));
  EXPECT_EQ(result.error, Parser::kNoError);
  auto values = Parse("INSERT INTO t VALUES (1" + Repeat(", 1", 20000) + ")");
  EXPECT_EQ(values.error, Parser::kNoError);
  EXPECT_EQ(As<SQLInsertNode>(values)->values.size(), 20001u);
}

TEST(ParserTest, DescriptionKeepsTheStatementEncoding) {
  Parser parser;
  EXPECT_EQ(parser.Evaluate(string("SELECT a FROM t", kEncodingUTF8))->Description().Encoding(), kEncodingUTF8);
}

}  // namespace
}  // namespace parvex
