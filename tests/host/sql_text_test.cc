// The SQL literals a cursor edit writes, and the query/statement split of
// the direct-select entry.
#include "host/sql_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "query/expr.h"
#include "sql/parser.h"
#include "sql/syntax_statements.h"


namespace parvex::kora {
namespace {

std::string Literal(const ParvexValue& value, char escape = 0) {
  std::string out = "x=";
  std::string why;
  EXPECT_TRUE(AppendSQLLiteral(value, escape, &out, &why)) << why;
  return out.substr(2);
}

std::string Refusal(const ParvexValue& value) {
  std::string out = "kept";
  std::string why;
  EXPECT_FALSE(AppendSQLLiteral(value, 0, &out, &why));
  EXPECT_EQ(out, "kept");  // nothing appended on refusal
  return why;
}

TEST(SQLLiteralTest, NullsOfEveryTypeAreTheWordNull) {
  EXPECT_EQ(Literal(ParvexValue()), "NULL");
  for (ParvexDataType type : {kTypeInteger, kTypeString, kTypeDouble, kTypeDate, kTypeTime,
                              kTypeTimestamp, kTypeBoolean, kTypeBinary}) {
    EXPECT_EQ(Literal(ParvexValue::Null(type)), "NULL") << int(type);
  }
}

TEST(SQLLiteralTest, IntegersAndBooleans) {
  EXPECT_EQ(Literal(ParvexValue::Integer(0)), "0");
  EXPECT_EQ(Literal(ParvexValue::Integer(42)), "42");
  EXPECT_EQ(Literal(ParvexValue::Integer(-42)), "-42");
  EXPECT_EQ(Literal(ParvexValue::Integer(std::numeric_limits<int32_t>::max())), "2147483647");
  // The smallest integer has no positive literal to negate.
  EXPECT_EQ(Literal(ParvexValue::Integer(std::numeric_limits<int32_t>::min())),
            "(-2147483647-1)");
  EXPECT_EQ(Literal(ParvexValue::Boolean(true)), "TRUE");
  EXPECT_EQ(Literal(ParvexValue::Boolean(false)), "FALSE");
}

TEST(SQLLiteralTest, DoublesAlwaysCarryADecimalPoint) {
  EXPECT_EQ(Literal(ParvexValue::Double(1.5)), "1.5");
  EXPECT_EQ(Literal(ParvexValue::Double(2.0)), "2.0");
  EXPECT_EQ(Literal(ParvexValue::Double(0.0)), "0.0");
  EXPECT_EQ(Literal(ParvexValue::Double(-0.0)), "0.0");
  EXPECT_EQ(Literal(ParvexValue::Double(1e20)), "1.0e+20");
  EXPECT_EQ(Literal(ParvexValue::Double(1.25e-7)), "1.25e-07");
  EXPECT_EQ(Literal(ParvexValue::Double(0.1)), "0.1");
  // Shortest text that reads back to the same double.
  EXPECT_EQ(std::stod(Literal(ParvexValue::Double(1.0 / 3.0))), 1.0 / 3.0);
}

TEST(SQLLiteralTest, DoublesWithoutALiteralAreRefused) {
  EXPECT_EQ(Refusal(ParvexValue::Double(-1.5)), "a negative double has no SQL literal");
  EXPECT_EQ(Refusal(ParvexValue::Double(std::numeric_limits<double>::infinity())),
            "a double that is not finite has no SQL literal");
  EXPECT_EQ(Refusal(ParvexValue::Double(std::nan(""))),
            "a double that is not finite has no SQL literal");
}

TEST(SQLLiteralTest, TextsAreQuotedWithQuotesDoubled) {
  EXPECT_EQ(Literal(ParvexValue::String("plain")), "'plain'");
  EXPECT_EQ(Literal(ParvexValue::String("")), "''");
  EXPECT_EQ(Literal(ParvexValue::String("it's")), "'it''s'");
  EXPECT_EQ(Literal(ParvexValue::String("''")), "''''''");
  EXPECT_EQ(Literal(ParvexValue::String("a;b -- c")), "'a;b -- c'");
  EXPECT_EQ(Literal(ParvexValue::Text(kTypeBinary, string("\x01\xff", 2, kEncodingDefault))),
            std::string("'\x01\xff'"));
  EXPECT_EQ(Refusal(ParvexValue::String(string("a\0b", 3, kEncodingDefault))),
            "a text with a NUL byte has no SQL literal");
}

TEST(SQLLiteralTest, DatesAndTimesCarryTheirKeyword) {
  EXPECT_EQ(Literal(ParvexValue::Text(kTypeDate, "2001-02-03")), "DATE '2001-02-03'");
  EXPECT_EQ(Literal(ParvexValue::Text(kTypeTime, "09:04:03")), "TIME '09:04:03'");
  EXPECT_EQ(Literal(ParvexValue::Text(kTypeTimestamp, "2007-03-05 09:04:03")),
            "TIMESTAMP '2007-03-05 09:04:03'");
  EXPECT_EQ(Literal(ParvexValue::Text(kTypeDate, "o'clock")), "DATE 'o''clock'");
}

// The parser keeps an escape byte and the byte behind it in the literal's
// value, except that an escaped quote reads as a quote.
TEST(SQLLiteralTest, EscapeBytesStandWithTheByteBehindThem) {
  EXPECT_EQ(Literal(ParvexValue::String("a^b"), '^'), "'a^b'");
  EXPECT_EQ(Literal(ParvexValue::String("^^'x"), '^'), "'^^''x'");
  EXPECT_EQ(Literal(ParvexValue::String("a'^%"), '^'), "'a''^%'");
  EXPECT_EQ(Literal(ParvexValue::Text(kTypeDate, "^1"), '^'), "DATE '^1'");
  const char* kNoLiteral =
      "a text with the escape character before a quote or at its end has no SQL literal";
  std::string out;
  std::string why;
  for (const char* text : {"a^", "^'", "^^^'", "^^^"}) {
    EXPECT_FALSE(AppendSQLLiteral(ParvexValue::String(text), '^', &out, &why)) << text;
    EXPECT_EQ(why, kNoLiteral);
  }
  EXPECT_FALSE(AppendSQLLiteral(ParvexValue::String("x"), '\'', &out, &why));
  EXPECT_TRUE(out.empty());
  EXPECT_TRUE(QuoteSQLString("a^b", 0, &out));
  EXPECT_EQ(out, "'a^b'");
}

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

TEST(SQLLiteralTest, EveryLiteralReadsBackAsTheSameValue) {
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
      ASSERT_TRUE(AppendSQLLiteral(value, escape, &literal, &why)) << why;
      const ParvexValue back = ParseBack(literal, escape);
      const bool sameText = back.RawText().CompareWithCase(value.RawText()) == 0;
      EXPECT_TRUE(back.Type() == value.Type() && !back.IsNull() && back.Equals(value) && sameText)
          << literal << " with escape " << int(escape) << " read back as " << back.GetString().str();
    }
    std::string literal;
    ASSERT_TRUE(AppendSQLLiteral(ParvexValue::Null(kTypeString), escape, &literal, nullptr));
    EXPECT_TRUE(ParseBack(literal, escape).IsNull());
  }
}

TEST(SelectStatementTest, FollowsTheTokenizersFirstWord) {
  EXPECT_TRUE(IsSelectStatement(string("select * from t")));
  EXPECT_TRUE(IsSelectStatement(string("SELECT 1")));
  EXPECT_TRUE(IsSelectStatement(string("  \t\n SeLeCt 1")));
  EXPECT_TRUE(IsSelectStatement(string("select*from t")));
  EXPECT_TRUE(IsSelectStatement(string("select(1)")));
  EXPECT_TRUE(IsSelectStatement(string("select")));
  EXPECT_FALSE(IsSelectStatement(string("")));
  EXPECT_FALSE(IsSelectStatement(string("selec")));
  EXPECT_FALSE(IsSelectStatement(string("selected")));
  EXPECT_FALSE(IsSelectStatement(string("select\n1")));  // a line feed joins the word
  EXPECT_FALSE(IsSelectStatement(string("insert into t values (1)")));
  EXPECT_FALSE(IsSelectStatement(string("update t set a='select '")));
}

}  // namespace
}  // namespace parvex::kora
