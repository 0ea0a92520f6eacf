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

TEST(ParserTest, ValidStatementsRaiseNothing) {
  for (const char* sql : {
           "SELECT 1,2",
           "SELECT Upper(42) from FOO",
           "DELETE FROM Foobar",
           "DELETE Foobar WHERE a = 1",
           "DROP TABLE foo RESTRICT",
           "DROP TABLE foo CASCADE",
           "UPDATE foo SET bar=2, baz=3",
           "DROP INDEX ZipCodes.City",
           "SELECT TRIM (' foo ')",
           "SELECT TRIM('?' FROM ' foo ')",
           "SELECT RV.foo FROM MYTABLE RV",
           "SELECT 42 AS bar FROM MYTABLE",
           "SELECT 42 bar FROM MYTABLE",
           "SELECT POSITION('fu' IN 'snafu')",
           "UPDATE foo SET when=DATE '1994-07-09'",
           "INSERT INTO foo (bar,baz,  bamf ) VALUES (1, DEFAULT, 42)",
           "INSERT INTO foo (bar, baz) SELECT one,2 FROM TABLE1",
           "INSERT INTO foo VALUES (1)",
           "ALTER TABLE Foobar ADD foo Integer",
           "ALTER TABLE Foobar DROP COLUMN foo CASCADE",
           "ALTER TABLE Foobar ALTER COLUMN foo DROP DEFAULT",
           "CREATE TABLE Foobar (one Integer, two String)",
           "CREATE TABLE t (a Integer DEFAULT -1, b String DEFAULT 'x', c Date DEFAULT NULL)",
           "CREATE INDEX City on ZipCodes (City, State)",
           "SELECT * FROM a, b AS c WHERE x = 1 GROUP BY a.x, y HAVING COUNT(*) > 1 ORDER BY x DESC, y",
           "select distinct a from t;",
           "SELECT a FROM t ",
           "SELECT 1 ",
           "DELETE FROM t ",
           "COMMIT",
           "ROLLBACK WORK whatever",
           "SET ESCAPE \\",
           "SELECT CURRENT_DATE, LAST_ROWID('t'), CHARACTER_LENGTH(a), SUBSTRING(a FROM 1 FOR 2)",
       }) {
    auto result = Parse(sql);
    EXPECT_EQ(result.error, Parser::kNoError) << sql;
    EXPECT_NE(result.root, nullptr) << sql;
  }
}

TEST(ParserTest, StatementKindTests) {
  struct Case {
    const char* sql;
    bool (SQLSyntaxNode::*test)() const;
  };
  const std::vector<Case> cases = {
      {"SELECT 1", &SQLSyntaxNode::IsSelect},
      {"INSERT INTO t DEFAULT VALUES", &SQLSyntaxNode::IsInsert},
      {"UPDATE t SET a=1", &SQLSyntaxNode::IsUpdate},
      {"DELETE FROM t", &SQLSyntaxNode::IsDelete},
      {"SET ESCAPE ^", &SQLSyntaxNode::IsSetOption},
      {"CREATE TABLE t (a integer)", &SQLSyntaxNode::IsCreateTable},
      {"CREATE INDEX i ON t (a)", &SQLSyntaxNode::IsCreateIndex},
      {"ALTER TABLE t ADD a integer", &SQLSyntaxNode::IsAlterTable},
      {"COMMIT", &SQLSyntaxNode::IsEndTransaction},
      {"DROP TABLE t", &SQLSyntaxNode::IsDropTable},
      {"DROP INDEX t.i", &SQLSyntaxNode::IsDropIndex},
  };
  for (const Case& c : cases) {
    auto result = Parse(c.sql);
    ASSERT_NE(result.root, nullptr) << c.sql;
    for (const Case& other : cases) {
      EXPECT_EQ(((*result.root).*other.test)(), other.test == c.test) << c.sql << " / " << other.sql;
    }
  }
}

TEST(ParserTest, SelectNodeKeepsWhatTheExecutorReads) {
  auto result = Parse(
      "SELECT UNIQUE a AS x, T.b, * FROM one T, two WHERE a=1 GROUP BY a, T.b HAVING a>0 "
      "ORDER BY x DESC, b ASC, c");
  ASSERT_EQ(result.error, Parser::kNoError);
  const auto* select = As<SQLSelectNode>(result);
  ASSERT_NE(select, nullptr);
  EXPECT_TRUE(select->distinct);
  ASSERT_EQ(select->items.size(), 3u);
  EXPECT_EQ(select->items[0]->alias.str(), "x");
  EXPECT_EQ(select->items[1]->expr->Description().str(), "T.b");
  EXPECT_EQ(select->items[2]->expr->Description().str(), "*");
  ASSERT_EQ(select->tables.size(), 2u);
  EXPECT_EQ(select->tables[0]->tableName.str(), "one");
  EXPECT_EQ(select->tables[0]->ReferenceName().str(), "T");
  EXPECT_EQ(select->tables[1]->ReferenceName().str(), "two");
  ASSERT_NE(select->where, nullptr);
  ASSERT_EQ(select->groupBy.size(), 2u);
  EXPECT_EQ(select->groupBy[1]->name.str(), "T.b");
  ASSERT_NE(select->having, nullptr);
  ASSERT_EQ(select->orderBy.size(), 3u);
  EXPECT_EQ(select->orderBy[0].str(), "x");
  EXPECT_EQ(std::vector<uint8_t>(select->orderDescending.begin(), select->orderDescending.end()),
            (std::vector<uint8_t>{1, 0, 0}));

  EXPECT_FALSE(As<SQLSelectNode>(Parse("SELECT ALL a FROM t"))->distinct);
}

TEST(ParserTest, TableRefStopsAtClauseWords) {
  for (const char* word : {"WHERE a=1", "GROUP BY a", "HAVING a=1", "order by a"}) {
    auto result = Parse(std::string("SELECT a FROM t ") + word);
    EXPECT_EQ(result.error, Parser::kNoError) << word;
    const auto* select = As<SQLSelectNode>(result);
    ASSERT_NE(select, nullptr);
    EXPECT_TRUE(select->tables[0]->rangeVariable.empty()) << word;
  }
}

TEST(ParserTest, InsertUpdateDeleteNodes) {
  auto insert = Parse("INSERT INTO foo (bar,baz,  bamf ) VALUES (1, DEFAULT, 42)");
  const auto* in = As<SQLInsertNode>(insert);
  ASSERT_NE(in, nullptr);
  EXPECT_EQ(in->tableName.str(), "foo");
  ASSERT_EQ(in->columnNames.size(), 3u);
  EXPECT_EQ(in->columnNames[2].str(), "bamf");
  ASSERT_EQ(in->values.size(), 3u);
  EXPECT_FALSE(in->values[0]->IsKeywordDefault());
  EXPECT_TRUE(in->values[1]->IsKeywordDefault());
  EXPECT_FALSE(in->defaultValues);
  EXPECT_EQ(in->select, nullptr);

  auto defaults = Parse("INSERT INTO foo DEFAULT VALUES");
  EXPECT_TRUE(As<SQLInsertNode>(defaults)->defaultValues);
  auto fromSelect = Parse("INSERT INTO foo SELECT * FROM bar");
  ASSERT_NE(As<SQLInsertNode>(fromSelect)->select, nullptr);
  EXPECT_EQ(As<SQLInsertNode>(fromSelect)->select->items.size(), 1u);

  auto update = Parse("UPDATE foo SET a=1, b=DEFAULT WHERE c=2");
  const auto* up = As<SQLUpdateNode>(update);
  ASSERT_NE(up, nullptr);
  EXPECT_EQ(up->columnNames.size(), 2u);
  EXPECT_EQ(up->values.size(), 2u);
  EXPECT_TRUE(up->values[1]->IsKeywordDefault());
  EXPECT_NE(up->where, nullptr);

  auto del = Parse("DELETE foo");
  EXPECT_EQ(As<SQLDeleteNode>(del)->tableName.str(), "foo");
  EXPECT_EQ(As<SQLDeleteNode>(del)->where, nullptr);
}

TEST(ParserTest, SchemaStatementNodes) {
  auto create = Parse("CREATE TABLE t (a Integer, b varchar DEFAULT 'x')");
  const auto* ct = As<SQLCreateTableNode>(create);
  ASSERT_NE(ct, nullptr);
  ASSERT_EQ(ct->columns.size(), 2u);
  EXPECT_EQ(ct->columns[1]->name.str(), "b");
  EXPECT_EQ(ct->columns[1]->typeName.str(), "varchar");
  EXPECT_EQ(ct->columns[0]->defaultValue, nullptr);
  ASSERT_NE(ct->columns[1]->defaultValue, nullptr);

  struct AlterCase {
    const char* sql;
    long action;
    long behavior;
    const char* column;
  };
  for (const AlterCase& c : {
           AlterCase{"ALTER TABLE t ADD COLUMN c Integer", kAlterAddColumn, kDropBehaviorNone, "c"},
           AlterCase{"ALTER TABLE t DROP c", kAlterDropColumn, kDropBehaviorNone, "c"},
           AlterCase{"ALTER TABLE t DROP COLUMN c RESTRICT", kAlterDropColumn, kDropBehaviorRestrict, "c"},
           AlterCase{"ALTER TABLE t DROP c cascade", kAlterDropColumn, kDropBehaviorCascade, "c"},
           AlterCase{"ALTER TABLE t ALTER c DROP DEFAULT", kAlterDropDefault, kDropBehaviorNone, "c"},
           AlterCase{"ALTER TABLE t ALTER COLUMN c SET DEFAULT 3", kAlterSetDefault, kDropBehaviorNone, "c"},
       }) {
    auto result = Parse(c.sql);
    EXPECT_EQ(result.error, Parser::kNoError) << c.sql;
    const auto* alter = As<SQLAlterTableNode>(result);
    ASSERT_NE(alter, nullptr) << c.sql;
    EXPECT_EQ(alter->tableName.str(), "t");
    EXPECT_EQ(alter->action, c.action) << c.sql;
    EXPECT_EQ(alter->dropBehavior, c.behavior) << c.sql;
    ASSERT_NE(alter->column, nullptr);
    EXPECT_EQ(alter->column->name.str(), c.column);
  }

  auto index = Parse("CREATE INDEX City on ZipCodes (City, State)");
  const auto* ci = As<SQLCreateIndexNode>(index);
  ASSERT_NE(ci, nullptr);
  EXPECT_EQ(ci->indexName.str(), "City");
  EXPECT_EQ(ci->tableName.str(), "ZipCodes");
  EXPECT_EQ(ci->columnNames.size(), 2u);
  // The word in the place of ON is not checked.
  EXPECT_EQ(ErrorOf("CREATE INDEX City over ZipCodes (City)"), Parser::kNoError);

  EXPECT_EQ(As<SQLDropIndexNode>(Parse("DROP INDEX ZipCodes.City"))->specifier.str(), "ZipCodes.City");
  EXPECT_EQ(As<SQLDropTableNode>(Parse("DROP TABLE foo RESTRICT"))->dropBehavior, kDropBehaviorRestrict);
  EXPECT_TRUE(As<SQLEndTransactionNode>(Parse("commit"))->commit);
  EXPECT_FALSE(As<SQLEndTransactionNode>(Parse("Rollback"))->commit);
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
  auto first = parser.Evaluate(string("SELECT 'it\\'s', 5 FROM t"));
  ASSERT_EQ(parser.LastError(), Parser::kNoError);
  auto* select = dynamic_cast<SQLSelectNode*>(first.get());
  ASSERT_NE(select, nullptr);
  ASSERT_EQ(select->items.size(), 2u);
  for (const auto& item : select->items) {
    const auto* literal = dynamic_cast<const SQLLiteralNode*>(item->expr.get());
    ASSERT_NE(literal, nullptr);
    EXPECT_EQ(literal->escape, '\\');
  }
  EXPECT_EQ(dynamic_cast<const SQLLiteralNode*>(select->items[0]->expr.get())->text.str(), "'it\\'s'");
  auto second = parser.Evaluate(string("SELECT 'a'"));
  EXPECT_EQ(parser.Escape(), '\\');
  EXPECT_EQ(dynamic_cast<const SQLLiteralNode*>(
                dynamic_cast<SQLSelectNode*>(second.get())->items[0]->expr.get())
                ->escape,
            '\\');
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
