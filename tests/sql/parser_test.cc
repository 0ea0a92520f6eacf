// The grammar: statement structure, the error codes each rule raises, the
// trees that errors discard, and the nesting limit.
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

// Statements the printing tests do not already parse.
TEST(ParserTest, ValidStatementsRaiseNothing) {
  for (const char* sql : {
           "SELECT 1,2", "DELETE FROM Foobar", "DELETE Foobar WHERE a = 1", "DROP TABLE foo RESTRICT",
           "UPDATE foo SET bar=2, baz=3", "INSERT INTO foo VALUES (1)", "ALTER TABLE Foobar ADD foo Integer",
           "ALTER TABLE Foobar ALTER COLUMN foo DROP DEFAULT", "ALTER TABLE t ALTER COLUMN c SET DEFAULT 3",
           "CREATE TABLE t (a Integer DEFAULT -1, b String DEFAULT 'x', c Date DEFAULT NULL)",
           "SELECT * FROM a, b AS c WHERE x = 1 GROUP BY a.x, y HAVING COUNT(*) > 1 ORDER BY x DESC, y",
           "select distinct a from t;", "SELECT a FROM t ", "SELECT 1 ", "DELETE FROM t ", "ROLLBACK WORK whatever",
           "SET ESCAPE \\", "SELECT CURRENT_DATE, LAST_ROWID('t'), CHARACTER_LENGTH(a), SUBSTRING(a FROM 1 FOR 2)",
           "CREATE INDEX City over ZipCodes (City)",  // the word in the place of ON is not checked
       }) {
    auto result = Parse(sql);
    EXPECT_EQ(result.error, Parser::kNoError) << sql;
    EXPECT_NE(result.root, nullptr) << sql;
  }
}

TEST(ParserTest, SetEscapeTakesTheRawRestOfTheText) {
  auto result = Parse("SET escape   ;x y ");
  const auto* set = As<SQLSetOptionNode>(result);
  ASSERT_NE(set, nullptr);
  EXPECT_EQ(set->option.str(), "escape");
  EXPECT_EQ(set->value.str(), ";x y ");
  auto empty = Parse("SET ESCAPE");
  ASSERT_NE(As<SQLSetOptionNode>(empty), nullptr);
  EXPECT_TRUE(As<SQLSetOptionNode>(empty)->value.empty());
  // Any other option is refused and gives no node.
  auto other = Parse("SET FOO bar");
  EXPECT_EQ(other.error, Parser::kErrKeywordExpected);
  EXPECT_EQ(other.root, nullptr);
}

TEST(ParserTest, EscapeByteReachesLiteralsAndStaysAcrossStatements) {
  ParvexSQLParser parser;
  parser.SetEscape('\\');
  for (const char* sql : {"SELECT 'it\\'s' FROM t", "SELECT 'a'"}) {
    auto root = parser.Evaluate(string(sql));
    ASSERT_EQ(parser.LastError(), Parser::kNoError) << sql;
    const auto* literal = dynamic_cast<const SQLLiteralNode*>(
        dynamic_cast<SQLSelectNode*>(root.get())->items[0]->expr.get());
    ASSERT_NE(literal, nullptr) << sql;
    EXPECT_EQ(literal->escape, '\\') << sql;
  }
}

// The last error code for statements that each break one rule.
TEST(ParserTest, ErrorCodes) {
  struct Case {
    const char* sql;
    long code;
  };
  for (const Case& c : std::vector<Case>{
           {"FOO BAR BAZ", Parser::kErrKeywordExpected},
           {"42", Parser::kErrKeywordExpected},
           {"", Parser::kErrKeywordExpected},
           {"CREATE UNIQUE INDEX i ON t (a)", Parser::kErrKeywordExpected},
           {"CREATE VIEW v", Parser::kErrKeywordExpected},
           {"ALTER INDEX i", Parser::kErrKeywordExpected},
           {"DROP VIEW v", Parser::kErrKeywordExpected},
           {"ALTER TABLE t RENAME a", Parser::kErrKeywordExpected},
           {"ALTER TABLE t ALTER a DROP NOTHING", Parser::kErrKeywordExpected},
           {"SELECT POSITION('a')", Parser::kErrKeywordExpected},
           {"SELECT SUBSTRING('a')", Parser::kErrKeywordExpected},
           {"SELECT TRIM(LEADING 'a')", Parser::kErrKeywordExpected},
           {"SELECT 1,2 FROM 42", Parser::kErrTableNameExpected},
           {"UPDATE 1 SET a=1", Parser::kErrTableNameExpected},
           {"DELETE FROM", Parser::kErrTableNameExpected},
           {"CREATE TABLE (a integer)", Parser::kErrTableNameExpected},
           {"CREATE INDEX i ON (a)", Parser::kErrTableNameExpected},
           {"ALTER TABLE 'x' ADD a integer", Parser::kErrTableNameExpected},
           {"DROP TABLE", Parser::kErrTableNameExpected},
           {"SELECT 1,2 FROM FOO AS +", Parser::kErrRangeVarExpected},
           {"SELECT 1 AS", Parser::kErrRangeVarExpected},
           {"CREATE INDEX (a)", Parser::kErrIndexNameExpected},
           {"DROP INDEX", Parser::kErrIndexNameExpected},
           {"SELECT 1 WHERE a", Parser::kErrFromExpected},
           {"SELECT 1)", Parser::kErrFromExpected},
           {"UPDATE foo", Parser::kErrSetExpected},
           {"UPDATE foo a=1", Parser::kErrSetExpected},
           {"SELECT (1+2 FROM t", Parser::kErrUnbalancedParens},  // FROM stood for the ')'
           {"SELECT (1+2", Parser::kErrUnbalancedParens},
           {"SELECT UPPER('a' FROM t", Parser::kErrUnbalancedParens},
           {"UPDATE foo SET 1=2", Parser::kErrColumnNameExpected},
           {"CREATE TABLE t (a integer, )", Parser::kErrColumnNameExpected},
           {"CREATE INDEX i ON t (a, 2)", Parser::kErrColumnNameExpected},
           {"ALTER TABLE t DROP COLUMN 5", Parser::kErrColumnNameExpected},
           {"CREATE TABLE t (a integer b integer)", Parser::kErrCommaOrParenExpected},
           {"CREATE INDEX i ON t (a b)", Parser::kErrCommaOrParenExpected},
           {"CREATE TABLE t a integer", Parser::kErrParenExpected},
           {"CREATE INDEX i ON t a", Parser::kErrParenExpected},
           {"SELECT DATE 5", Parser::kErrDatetimeIncomplete},
           {"SELECT TIMESTAMP", Parser::kErrDatetimeIncomplete},
           {"UPDATE foo SET when=time 1994", Parser::kErrDatetimeIncomplete},
           {"SELECT a FROM t WHERE x IN (1,2)", Parser::kErrFeatureNotSupported},
           {"SELECT a FROM t WHERE x NOT IN (1,(2)) AND y=1", Parser::kErrFeatureNotSupported},
           {"SELECT a IN b FROM t", Parser::kErrFeatureNotSupported},
           {"SELECT POSITION('a' IN 'b' IN 'c')", Parser::kErrFeatureNotSupported},
           {"SELECT FROM FOO", Parser::kErrSyntax},
           {"SELECT \"a\" FROM t", Parser::kErrSyntax},
           {"SELECT 'a'b FROM t", Parser::kErrSyntax},
           {"SELECT - -1", Parser::kErrSyntax},
           {"SELECT a FROM t WHERE", Parser::kErrSyntax},
           {"SELECT a FROM t WHERE a=1 LIMIT 5", Parser::kErrSyntax},
           {"SELECT a FROM t ORDER BY a WHERE b=1", Parser::kErrSyntax},
           {"SELECT a FROM t WHERE NOT NOT a", Parser::kErrSyntax},
           {"DELETE FROM t WHERE a=1 )", Parser::kErrSyntax},
           {"DROP TABLE t u", Parser::kErrSyntax},
           {"UPDATE foo SET a 2", Parser::kErrSyntax},
           {"CREATE TABLE t (a)", Parser::kErrSyntax},
           {"CREATE TABLE t (a integer DEFAULT b)", Parser::kErrSyntax},
           {"CREATE TABLE t (a integer DEFAULT UPPER('x'))", Parser::kErrSyntax},
           {"SELECT a FROM t WHERE !", Parser::kErrSyntax},
       }) {
    EXPECT_EQ(ErrorOf(c.sql), c.code) << c.sql;
  }
}

TEST(ParserTest, CodesNoRuleRaises) {
  // An unknown function name is a column reference, not an error.
  auto result = Parse("SELECT NoSuchFunc FROM t");
  EXPECT_EQ(result.error, Parser::kNoError);
  EXPECT_EQ(ErrorOf("SELECT NoSuchFunc(1) FROM t"), Parser::kErrFromExpected);
  EXPECT_EQ(Parser::ErrorMessage(Parser::kErrUnknownFunction).str(), "SQL Error: unknown function");
}

TEST(ParserTest, ErrorMessages) {
  EXPECT_EQ(Parser::ErrorMessage(Parser::kNoError).str(), "");
  EXPECT_EQ(Parser::ErrorMessage(Parser::kErrKeywordExpected).str(), "SQL Error: keyword expected");
  EXPECT_EQ(Parser::ErrorMessage(Parser::kErrCommaOrParenExpected).str(),
            "SQL Error: comma or parenthesis expected");
  EXPECT_EQ(Parser::ErrorMessage(Parser::kErrValuesExpected).str(), "SQL Error: keyword values expected");
  EXPECT_EQ(Parser::ErrorMessage(Parser::kErrFeatureNotSupported).str(), "SQL Error: feature not supported");
  EXPECT_EQ(Parser::ErrorMessage(Parser::kErrSyntax).str(), "SQL Syntax Error");
  EXPECT_EQ(Parser::ErrorMessage(20).str(), "");
  EXPECT_EQ(Parser::ErrorMessage(-1).str(), "");
}

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
  EXPECT_EQ(ErrorOf("INSERT foo VALUES (1)"), Parser::kErrIntoExpected);
  EXPECT_EQ(ErrorOf("INSERT INTO foo (a b) VALUES (1)"), Parser::kErrCommaOrParenExpected);
  EXPECT_EQ(ErrorOf("INSERT INTO foo DEFAULT (1)"), Parser::kErrValuesExpected);
  EXPECT_EQ(ErrorOf("INSERT INTO foo VALUES 1"), Parser::kErrParenExpected);
  EXPECT_EQ(ErrorOf("INSERT INTO foo VALUES (1 2)"), Parser::kErrCommaOrParenExpected);
  EXPECT_EQ(ErrorOf("SELECT a FROM t GROUP a"), Parser::kErrKeywordExpected);
  EXPECT_EQ(ErrorOf("SELECT a FROM t ORDER BY a, 'b'"), Parser::kErrColumnNameExpected);

  // Other errors leave the partial tree to the caller.
  auto partial = Parse("SELECT 1,2 FROM 42");
  EXPECT_NE(partial.root, nullptr);
}

TEST(ParserTest, SelectStopsQuietlyAtTrailingPunctuation) {
  EXPECT_EQ(ErrorOf("SELECT a FROM t )"), Parser::kNoError);
  EXPECT_EQ(ErrorOf("SELECT a FROM t WHERE a=1 ) junk"), Parser::kNoError);
  EXPECT_EQ(ErrorOf("SELECT a FROM t; DROP TABLE t"), Parser::kNoError);
}

TEST(ParserTest, ErrorListenerHearsEveryCode) {
  struct Recorder : ParvexSQLParser::ErrorListener {
    std::vector<long> codes;
    void ParserError(ParvexSQLParser::ErrorType code) override { codes.push_back(code); }
  } recorder;
  ParvexSQLParser parser;
  parser.SetErrorListener(&recorder);
  // DATE without its text, then a range variable that is not a word.
  parser.Evaluate(string("SELECT DATE 5 FROM t AS 5"));
  EXPECT_EQ(recorder.codes, (std::vector<long>{Parser::kErrDatetimeIncomplete, Parser::kErrRangeVarExpected}));
  EXPECT_EQ(parser.LastError(), Parser::kErrRangeVarExpected);
  // The next statement starts without an error.
  parser.Evaluate(string("SELECT 1"));
  EXPECT_EQ(parser.LastError(), Parser::kNoError);
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

}  // namespace
}  // namespace parvex
