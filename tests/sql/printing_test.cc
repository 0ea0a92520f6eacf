// Canonical SQL printing: each statement parses without error and prints as
// the text beside it; printing the printed text again gives the same text.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "parser_test_util.h"
#include "query/expr.h"

namespace parvex {
namespace {

struct PrintCase {
  const char* sql;
  const char* printed;  // null: prints exactly as written
};

std::string Printed(const std::string& sql) {
  auto result = test::Parse(sql);
  EXPECT_EQ(result.error, ParvexSQLParser::kNoError) << sql;
  if (!result.root) return "<no tree>";
  return result.root->Description().str();
}

void ExpectPrints(const std::vector<PrintCase>& cases) {
  for (const PrintCase& c : cases) {
    const std::string expected = c.printed ? c.printed : c.sql;
    EXPECT_EQ(Printed(c.sql), expected) << c.sql;
    // The canonical text is itself a statement that prints the same way.
    EXPECT_EQ(Printed(expected), expected) << expected;
  }
}

TEST(PrintingTest, Arithmetic) {
  ExpectPrints({
      {"SELECT 1,39+3,2+4*10,-6*7 FROM MYTABLE", "SELECT 1, (39+3), (2+(4*10)), (-(6)*7) FROM MYTABLE"},
      {"SELECT 2+4*10, (2+4)*10 FROM MYTABLE", "SELECT (2+(4*10)), ((2+4)*10) FROM MYTABLE"},
      {"SELECT 10-4-3, 8/4/2, +5, 1e-5 FROM t", "SELECT ((10-4)-3), ((8/4)/2), 5, 1e-5 FROM t"},
      {"SELECT 'abc' + 'def'", "SELECT ('abc'+'def')"},
  });
}

TEST(PrintingTest, Conditions) {
  ExpectPrints({
      {"SELECT foo, bar FROM MYTABLE WHERE foo=42", "SELECT foo, bar FROM MYTABLE WHERE (foo=42)"},
      {"SELECT foo FROM MYTABLE WHERE A=1 OR B=2 AND C=3",
       "SELECT foo FROM MYTABLE WHERE ((A=1) OR ((B=2) AND (C=3)))"},
      {"SELECT a FROM t WHERE a=1 and b<>2 AND c<=3 or d>=4 OR e<5 or f>6",
       "SELECT a FROM t WHERE (((a=1) AND (b<>2) AND (c<=3)) OR (d>=4) OR (e<5) OR (f>6))"},
      {"SELECT foo FROM MYTABLE WHERE bar Not LIKE '%dat'", "SELECT foo FROM MYTABLE WHERE bar NOT LIKE '%dat'"},
      {"SELECT a FROM t WHERE b like 'x^%' escape '^'", "SELECT a FROM t WHERE b LIKE 'x^%' ESCAPE '^'"},
      {"DELETE FROM Foobar WHERE foo + 2 > bar", "DELETE FROM Foobar WHERE ((foo+2)>bar)"},
      // NOT is discarded.
      {"SELECT a FROM t WHERE NOT a=1", "SELECT a FROM t WHERE (a=1)"},
      {"SELECT a FROM t WHERE b = TRUE AND c = false", "SELECT a FROM t WHERE ((b=TRUE) AND (c=FALSE))"},
  });
}

TEST(PrintingTest, NamesAliasesAndClauses) {
  ExpectPrints({
      {"SELECT RV.foo FROM MYTABLE RV", "SELECT RV.foo FROM MYTABLE AS RV"},
      {"SELECT 1,2 FROM TAB1, TAB2", "SELECT 1, 2 FROM TAB1, TAB2"},
      {"SELECT 42 bar FROM MYTABLE", "SELECT 42 AS bar FROM MYTABLE"},
      {"SELECT 42 AS bar FROM MYTABLE", nullptr},
      {"SELECT foo,bar FROM MYTABLE T ORDER BY foo,T.bar", "SELECT foo, bar FROM MYTABLE AS T ORDER BY foo, T.bar"},
      {"SELECT foo,bar FROM MYTABLE T ORDER BY foo ASC,bar DESC",
       "SELECT foo, bar FROM MYTABLE AS T ORDER BY foo, bar DESC"},
      {"SELECT pno, SUM(qty) FROM MYTABLE GROUP BY pno HAVING pno > 3",
       "SELECT pno, SUM(qty) FROM MYTABLE GROUP BY pno HAVING (pno>3)"},
      {"select distinct T.*, * from t", "SELECT DISTINCT T.*, * FROM t"},
      {"SELECT UNIQUE a FROM t", "SELECT DISTINCT a FROM t"},
      {"SELECT ALL a FROM t", "SELECT a FROM t"},
      {"SELECT 'How''s it going?' FROM BAR", nullptr},
      {"SELECT N'abc'", "SELECT 'abc'"},
  });
}

TEST(PrintingTest, Functions) {
  ExpectPrints({
      {"SELECT COUNT(*) FROM MYTABLE WHERE foo=42", "SELECT COUNT(*) FROM MYTABLE WHERE (foo=42)"},
      {"SELECT AVG(DISTINCT foo) FROM MYTABLE WHERE bar='baz'", "SELECT AVG(DISTINCT foo) FROM MYTABLE WHERE (bar='baz')"},
      {"SELECT COUNT(ALL foo) FROM MYTABLE WHERE bar='baz'", "SELECT COUNT(foo) FROM MYTABLE WHERE (bar='baz')"},
      {"SELECT POSITION ('fu' IN 'snafu')", "SELECT POSITION('fu' IN 'snafu')"},
      {"SELECT SUBSTRING ('foobar' from 3 for 2)", "SELECT SUBSTRING('foobar' FROM 3 FOR 2)"},
      {"SELECT SUBSTRING ('foobar' from 3)", "SELECT SUBSTRING('foobar' FROM 3)"},
      {"SELECT TRIM (' foo ')", "SELECT TRIM(' foo ')"},
      {"SELECT TRIM (Leading from ' foo ')", "SELECT TRIM(LEADING FROM ' foo ')"},
      {"SELECT TRIM (BOTH '?' from ' foo ')", "SELECT TRIM(BOTH '?' FROM ' foo ')"},
      {"SELECT TRIM('?' FROM ' foo ')", nullptr},
      {"SELECT trailing, TRIM(trailing 'x' FROM a) FROM t", "SELECT trailing, TRIM(TRAILING 'x' FROM a) FROM t"},
      {"SELECT Upper(42) from FOO", "SELECT UPPER(42) FROM FOO"},
      {"SELECT character_length(a), current_date, Current_Time() FROM t",
       "SELECT CHAR_LENGTH(a), CURRENT_DATE, CURRENT_TIME() FROM t"},
      {"SELECT max(a)+min(b), sum(distinct c) FROM t", "SELECT (MAX(a)+MIN(b)), SUM(DISTINCT c) FROM t"},
      {"SELECT LAST_ROWID('t'), LOWER(UPPER(a)) FROM t", nullptr},
  });
}

TEST(PrintingTest, DataStatements) {
  ExpectPrints({
      {"INSERT INTO foo (bar,baz, bamf ) DEFAULT VALUES", "INSERT INTO foo (bar, baz, bamf) DEFAULT VALUES"},
      {"INSERT INTO foo (bar,baz, bamf ) VALUES (1, DEFAULT, 42)",
       "INSERT INTO foo (bar, baz, bamf) VALUES (1, DEFAULT, 42)"},
      {"INSERT INTO foo (bar, baz) SELECT one,2 FROM TABLE1", "INSERT INTO foo (bar, baz) SELECT one, 2 FROM TABLE1"},
      {"insert into foo values ('a', -1)", "INSERT INTO foo VALUES ('a', -(1))"},
      {"UPDATE foo SET when=DATE '1994-07-09'", nullptr},
      {"UPDATE foo SET bar=2, baz=3 WHERE this = that", "UPDATE foo SET bar=2, baz=3 WHERE (this=that)"},
      {"update foo set a = time '10:00:00', b = timestamp '2001-02-03 04:05:06'",
       "UPDATE foo SET a=TIME '10:00:00', b=TIMESTAMP '2001-02-03 04:05:06'"},
      {"DELETE Foobar", "DELETE FROM Foobar"},
  });
}

TEST(PrintingTest, SchemaAndOtherStatements) {
  ExpectPrints({
      {"CREATE TABLE Foobar (one Integer, two String)", nullptr},
      {"create table t (a integer default -5, b string default 'x''y', c date DEFAULT date '2001-01-01')",
       "CREATE TABLE t (a integer DEFAULT -(5), b string DEFAULT 'x''y', c date DEFAULT DATE '2001-01-01')"},
      {"ALTER TABLE Foobar DROP foo RESTRICT", nullptr},
      {"ALTER TABLE Foobar ADD COLUMN foo Integer", "ALTER TABLE Foobar ADD foo Integer"},
      {"ALTER TABLE Foobar DROP COLUMN foo CASCADE", "ALTER TABLE Foobar DROP foo CASCADE"},
      {"alter table Foobar alter column foo drop default", "ALTER TABLE Foobar ALTER foo DROP DEFAULT"},
      {"ALTER TABLE Foobar ALTER foo SET DEFAULT 'x'", nullptr},
      {"CREATE INDEX City on ZipCodes (City, State)", nullptr},
      {"drop table foo", "DROP TABLE foo"},
      {"DROP TABLE foo cascade", "DROP TABLE foo CASCADE"},
      {"drop index ZipCodes.City", "DROP INDEX ZipCodes.City"},
      {"commit", "COMMIT"},
      {"rollback", "ROLLBACK"},
      {"set escape  ^", "SET ESCAPE ^"},
      {"SET ESCAPE", nullptr},
  });
}

// Nodes the parser never builds (NOT) or leaves incomplete after an error
// still print; incomplete ones convert to no expression, without a status.
TEST(PrintingTest, HandBuiltNodesPrintAndConvert) {
  SQLNotNode notNode(std::make_unique<SQLFieldRefNode>(string("a")));
  EXPECT_EQ(notNode.Description().str(), "NOT a");
  SQLInfixOpNode partial(string("="));
  partial.AddOperand(std::make_unique<SQLLiteralNode>(string("1"), 0));
  partial.AddOperand(nullptr);
  EXPECT_EQ(partial.Description().str(), "(1=)");
  EXPECT_EQ(partial.Height(), 2);

  SQLInfixOpNode oneOperand(string("<"));
  oneOperand.AddOperand(std::make_unique<SQLLiteralNode>(string("1"), 0));
  SQLInfixOpNode unknown(string("%"));
  unknown.AddOperand(std::make_unique<SQLLiteralNode>(string("1"), 0));
  unknown.AddOperand(std::make_unique<SQLLiteralNode>(string("2"), 0));
  SQLLikeNode noPattern(std::make_unique<SQLLiteralNode>(string("'a'"), 0), nullptr, nullptr, false);
  const SimpleVector<string> names;
  const SimpleVector<ParvexTable*> tables;
  ParvexStatus status;
  for (const SQLScalarExpNode* node : std::initializer_list<const SQLScalarExpNode*>{&partial, &oneOperand, &unknown, &noPattern}) {
    EXPECT_EQ(node->ConvertToParvexExpr(names, tables, &status), nullptr) << node->Description().str();
  }
  EXPECT_EQ(status.State(), kPXStateSuccess);
}

TEST(PrintingTest, DescriptionKeepsTheStatementEncoding) {
  ParvexSQLParser parser;
  auto root = parser.Evaluate(string("SELECT a FROM t", kEncodingUTF8));
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->Description().Encoding(), kEncodingUTF8);
}

}  // namespace
}  // namespace parvex
