// SQL literals and CREATE TABLE text as .schema and .dump write them.
#include "sql_text.h"

#include <gtest/gtest.h>

#include <limits>

namespace parvex::shell {
namespace {

std::string Literal(const ParvexValue& value, bool exact = true) {
  std::string out;
  EXPECT_EQ(AppendSqlLiteral(value, &out), exact) << out;
  return out;
}

TEST(SqlTextTest, ExactLiteralsOfEveryType) {
  EXPECT_EQ(Literal(ParvexValue::Null(kTypeInteger)), "NULL");
  EXPECT_EQ(Literal(ParvexValue::Integer(-42)), "-42");
  EXPECT_EQ(Literal(ParvexValue::Integer(std::numeric_limits<int32_t>::min())), "(-2147483647-1)");
  EXPECT_EQ(Literal(ParvexValue::Boolean(true)), "TRUE");
  EXPECT_EQ(Literal(ParvexValue::String("it's")), "'it''s'");
  EXPECT_EQ(Literal(ParvexValue::String("two\nlines")), "'two\nlines'");
  EXPECT_EQ(Literal(ParvexValue::Text(kTypeDate, "2007-03-05")), "DATE '2007-03-05'");
  EXPECT_EQ(Literal(ParvexValue::Text(kTypeTime, "09:04:03")), "TIME '09:04:03'");
  EXPECT_EQ(Literal(ParvexValue::Text(kTypeTimestamp, "2007-03-05 09:04:03")),
            "TIMESTAMP '2007-03-05 09:04:03'");
  EXPECT_EQ(Literal(ParvexValue::Text(kTypeBinary, "\x01\xff")), "'\x01\xff'");
}

TEST(SqlTextTest, DoublesAlwaysCarryADecimalPoint) {
  EXPECT_EQ(Literal(ParvexValue::Double(2.5)), "2.5");
  EXPECT_EQ(Literal(ParvexValue::Double(3)), "3.0");
  EXPECT_EQ(Literal(ParvexValue::Double(1e20)), "1.0e+20");
  EXPECT_EQ(Literal(ParvexValue::Double(0.1)), "0.1");
  EXPECT_EQ(Literal(ParvexValue::Double(1.5e-7)), "1.5e-07");
  EXPECT_EQ(Literal(ParvexValue::Double(0)), "0.0");
}

TEST(SqlTextTest, DoublesWithoutANumericLiteralAreQuoted) {
  EXPECT_EQ(Literal(ParvexValue::Double(-1.5)), "'-1.5'");
  EXPECT_EQ(Literal(ParvexValue::Double(-0.0)), "'-0.0'");
  EXPECT_EQ(Literal(ParvexValue::Double(-std::numeric_limits<double>::infinity())), "'-inf'");
  EXPECT_EQ(Literal(ParvexValue::Double(std::numeric_limits<double>::quiet_NaN())), "'nan'");
}

TEST(SqlTextTest, TextWithNulBytesIsFlaggedInexact) {
  EXPECT_EQ(Literal(ParvexValue::String(string("a\0b", 3, kEncodingDefault)), false), "'ab'");
  EXPECT_EQ(Literal(ParvexValue::Text(kTypeDate, string("\0", 1, kEncodingDefault)), false), "DATE ''");
}

TEST(SqlTextTest, NamesAndTypeNames) {
  EXPECT_TRUE(IsPlainName("Customers_2"));
  EXPECT_TRUE(IsPlainName("_rowid"));
  EXPECT_TRUE(IsPlainName("#temp"));
  EXPECT_FALSE(IsPlainName("2nd"));
  EXPECT_FALSE(IsPlainName("first name"));
  EXPECT_FALSE(IsPlainName("T.col"));
  EXPECT_FALSE(IsPlainName(""));
  EXPECT_STREQ(SqlTypeName(kTypeTimestamp), "Timestamp");
  EXPECT_STREQ(SqlTypeName(kTypeString), "String");
  EXPECT_EQ(SqlTypeName(kTypeNone), nullptr);
}

}  // namespace
}  // namespace parvex::shell
