// SQL text made from data, read back by the parser: every literal gives the
// same value of the same type, also with an escape byte set (the values
// without an exact literal are seen through the shell's dump.sql and the host
// script cursor_update.kora). And the kind of statement a text holds.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "query/expr.h"
#include "query/sql_literal.h"
#include "sql/parser.h"
#include "sql/sql_dialect.h"
#include "sql/syntax_statements.h"

namespace parvex {
namespace {

// Reads `literal` back the way a cursor edit's UPDATE does: as the first of
// two SET values, parsed with `escape`, converted and evaluated.
ParvexValue ParseBack(const std::string& literal, char escape) {
  ParvexSQLParser parser;
  parser.SetEscape(escape);
  const string sql("UPDATE t SET a=" + literal + ", b=7 WHERE _rowid=3", kEncodingUTF8);
  std::unique_ptr<SQLSyntaxNode> node = parser.Evaluate(sql);
  EXPECT_EQ(parser.LastError(), ParvexSQLParser::kNoError) << sql.str();
  const auto* update = dynamic_cast<const SQLUpdateNode*>(node.get());
  ParvexValue value;
  if (!update || update->values.size() != 2 || !update->where) {
    ADD_FAILURE() << "the literal did not end where it should: " << sql.str();
    return value;
  }
  ParvexStatus status;
  const SimpleVector<string> noNames;
  const SimpleVector<ParvexTable*> noTables;
  ParvexExprPtr expr = update->values[0]->ConvertToParvexExpr(noNames, noTables, &status);
  EXPECT_TRUE(expr && expr->EvaluateInIsolation(&value, nullptr)) << literal;
  return value;
}

TEST(SqlLiteralTest, EveryLiteralReadsBackAsTheSameValue) {
  const ParvexValue values[] = {
      ParvexValue::Integer(0),
      ParvexValue::Integer(-42),
      ParvexValue::Integer(std::numeric_limits<int32_t>::max()),
      ParvexValue::Integer(std::numeric_limits<int32_t>::min()),
      ParvexValue::Boolean(true),
      ParvexValue::Boolean(false),
      ParvexValue::Double(0.0),
      ParvexValue::Double(2.0),
      ParvexValue::Double(1.0 / 3.0),
      ParvexValue::Double(1e21),
      ParvexValue::Double(1.25e-7),
      ParvexValue::Double(std::numeric_limits<double>::max()),
      ParvexValue::String(""),
      ParvexValue::String("it's ''quoted'', a;b -- c, \\x, ^y"),
      ParvexValue::String("WHERE _rowid=1"),
      ParvexValue::String("line\nfeed\ttab"),
      ParvexValue::Text(kTypeDate, "2001-02-03"),
      ParvexValue::Text(kTypeTime, "o'clock"),
      ParvexValue::Text(kTypeTimestamp, "2007-03-05 09:04:03"),
  };
  for (char escape : {'\0', '^', '\\'}) {
    for (const ParvexValue& value : values) {
      std::string literal;
      std::string why;
      ASSERT_TRUE(AppendSqlLiteral(value, escape, &literal, &why)) << why;
      const ParvexValue back = ParseBack(literal, escape);
      const bool sameText = back.RawText().CompareWithCase(value.RawText()) == 0;
      EXPECT_TRUE(back.Type() == value.Type() && !back.IsNull() && back.Equals(value) && sameText)
          << literal << " with escape " << int(escape) << " read back as " << back.GetString().str();
    }
    std::string literal;
    ASSERT_TRUE(AppendSqlLiteral(ParvexValue::Null(kTypeString), escape, &literal));
    EXPECT_TRUE(ParseBack(literal, escape).IsNull());
  }
}

TEST(StatementKindTest, FollowsTheTokenizersFirstWord) {
  struct Case {
    const char* sql;
    StatementKind kind;
  };
  const Case cases[] = {
      {"select * from t", StatementKind::kQuery},     {"  \t\n SeLeCt 1", StatementKind::kQuery},
      {"select*from t", StatementKind::kQuery},       {"select", StatementKind::kQuery},
      {"selected", StatementKind::kOther},            {"select\n1", StatementKind::kOther},  // a line feed joins
      {"", StatementKind::kOther},                    {"update t set a='select '", StatementKind::kOther},
      {"Commit", StatementKind::kCommit},             {"ROLLBACK WORK", StatementKind::kRollback},
  };
  for (const Case& c : cases) EXPECT_EQ(StatementKindOf(c.sql), c.kind) << c.sql;
  std::string_view rest;
  EXPECT_EQ(FirstWord("  BEGIN  TRANSACTION", &rest), "BEGIN");
  EXPECT_EQ(rest, "  TRANSACTION");
}

}  // namespace
}  // namespace parvex
