// Canonical SQL printing: the canonical text reads back as itself, nodes
// built by hand print and convert, and the text keeps the statement's
// encoding.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "parser_test_util.h"
#include "query/expr.h"

namespace parvex {
namespace {

// The canonical text is itself a statement that prints the same way (what
// each statement prints as is checked through the shell's .parse in
// tests/tools/scripts/parsing.sql).
TEST(PrintingTest, CanonicalTextReadsBackTheSame) {
  for (const char* canonical : {
           "SELECT 1, (39+3), (2+(4*10)), (-(6)*7) FROM MYTABLE",
           "SELECT a FROM t WHERE (((a=1) AND (b<>2) AND (c<=3)) OR (d>=4) OR (e<5) OR (f>6))",
           "SELECT foo FROM MYTABLE WHERE bar NOT LIKE '%dat'",
           "SELECT a FROM t WHERE b LIKE 'x^%' ESCAPE '^'",
           "SELECT DISTINCT T.*, * FROM t",
           "SELECT foo, bar FROM MYTABLE AS T ORDER BY foo, bar DESC",
           "SELECT pno, SUM(qty) FROM MYTABLE GROUP BY pno HAVING (pno>3)",
           "SELECT 'How''s it going?', 42 AS bar, COUNT(*), AVG(DISTINCT foo) FROM BAR",
           "SELECT POSITION('fu' IN 'snafu'), SUBSTRING('foobar' FROM 3 FOR 2), TRIM(BOTH '?' FROM ' foo ')",
           "SELECT trailing, TRIM(TRAILING 'x' FROM a), TRIM(LEADING FROM ' foo ') FROM t",
           "INSERT INTO foo (bar, baz, bamf) VALUES (1, DEFAULT, 42)",
           "INSERT INTO foo (bar, baz) SELECT one, 2 FROM TABLE1",
           "UPDATE foo SET a=TIME '10:00:00', b=TIMESTAMP '2001-02-03 04:05:06' WHERE (this=that)",
           "CREATE TABLE t (a integer DEFAULT -(5), b string DEFAULT 'x''y', c date DEFAULT DATE '2001-01-01')",
           "ALTER TABLE Foobar ALTER foo DROP DEFAULT",
           "ALTER TABLE Foobar DROP foo CASCADE",
           "SET ESCAPE ^",
       }) {
    auto result = test::Parse(canonical);
    ASSERT_EQ(result.error, ParvexSQLParser::kNoError) << canonical;
    EXPECT_EQ(result.root->Description().str(), canonical);
  }
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
