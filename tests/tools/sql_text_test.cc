// SQL literals and CREATE TABLE text as .schema and .dump write them. Doubles
// without a literal and text with NUL bytes are checked through .dump itself.
#include "sql_text.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

namespace parvex::shell {
namespace {

TEST(SqlTextTest, ExactLiteralsOfEveryType) {
  const std::pair<ParvexValue, const char*> cases[] = {
      {ParvexValue::Null(kTypeInteger), "NULL"},
      {ParvexValue::Integer(-42), "-42"},
      {ParvexValue::Integer(std::numeric_limits<int32_t>::min()), "(-2147483647-1)"},
      {ParvexValue::Boolean(true), "TRUE"},
      {ParvexValue::String("it's"), "'it''s'"},
      {ParvexValue::String("two\nlines"), "'two\nlines'"},
      {ParvexValue::Text(kTypeDate, "2007-03-05"), "DATE '2007-03-05'"},
      {ParvexValue::Text(kTypeTime, "09:04:03"), "TIME '09:04:03'"},
      {ParvexValue::Text(kTypeTimestamp, "2007-03-05 09:04:03"), "TIMESTAMP '2007-03-05 09:04:03'"},
      {ParvexValue::Text(kTypeBinary, "\x01\xff"), "'\x01\xff'"},
      // Doubles always carry a decimal point.
      {ParvexValue::Double(2.5), "2.5"},
      {ParvexValue::Double(3), "3.0"},
      {ParvexValue::Double(1e20), "1.0e+20"},
      {ParvexValue::Double(0.1), "0.1"},
      {ParvexValue::Double(1.5e-7), "1.5e-07"},
      {ParvexValue::Double(0), "0.0"},
  };
  for (const auto& [value, literal] : cases) {
    std::string out;
    EXPECT_TRUE(AppendSqlLiteral(value, &out)) << literal;
    EXPECT_EQ(out, literal);
  }
  std::string date;
  EXPECT_FALSE(AppendSqlLiteral(ParvexValue::Text(kTypeDate, string("\0", 1, kEncodingDefault)), &date));
  EXPECT_EQ(date, "DATE ''");
}

TEST(SqlTextTest, NamesAndTypeNames) {
  for (const char* name : {"Customers_2", "_rowid", "#temp"}) EXPECT_TRUE(IsPlainName(name)) << name;
  for (const char* name : {"2nd", "first name", "T.col", ""}) EXPECT_FALSE(IsPlainName(name)) << name;
  EXPECT_STREQ(SqlTypeName(kTypeTimestamp), "Timestamp");
  EXPECT_STREQ(SqlTypeName(kTypeString), "String");
  EXPECT_EQ(SqlTypeName(kTypeNone), nullptr);
}

}  // namespace
}  // namespace parvex::shell
