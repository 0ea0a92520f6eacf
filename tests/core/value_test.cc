// Value readings, equality and coercion, quirks included.
#include "core/value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace parvex {
namespace {

TEST(ValueTest, DefaultIsNullReadingAsZeroAndNULL) {
  ParvexValue v;
  EXPECT_TRUE(v.IsNull());
  EXPECT_EQ(v.Type(), kTypeNone);
  EXPECT_EQ(v.GetString().view(), "NULL");
  EXPECT_EQ(v.GetSaveString().view(), "NULL");
  EXPECT_EQ(v.GetInteger(), 0);
}

TEST(ValueTest, Readings) {
  EXPECT_EQ(ParvexValue::Boolean(true).GetInteger(), 1);
  EXPECT_FALSE(ParvexValue::Boolean(true).IsNull());
  EXPECT_EQ(ParvexValue::Boolean(false).GetString().view(), "FALSE");
  EXPECT_EQ(ParvexValue::Integer(42).GetString().view(), "42");
  EXPECT_EQ(ParvexValue::Integer(-7).GetString().view(), "-7");
  EXPECT_EQ(ParvexValue::String("12abc").GetInteger(), 12);
  EXPECT_EQ(ParvexValue::String("").GetInteger(), 0);
  EXPECT_EQ(ParvexValue::Double(-2.9).GetInteger(), -2);
  EXPECT_EQ(ParvexValue::Double(1e300).GetInteger(), std::numeric_limits<int32_t>::max());
  EXPECT_EQ(ParvexValue::Double(std::nan("")).GetInteger(), 0);
  // GetDouble does not widen.
  EXPECT_EQ(ParvexValue::Integer(5).GetDouble(), 0.0);
  EXPECT_EQ(ParvexValue::String("5.5").GetDouble(), 0.0);
  EXPECT_EQ(ParvexValue::Double(5.5).GetDouble(), 5.5);
  // Doubles print as the shortest text that reads back the same.
  EXPECT_EQ(ParvexValue::Double(0.1).GetString().view(), "0.1");
  EXPECT_EQ(ParvexValue::Double(1.0 / 3).GetString().view(), "0.3333333333333333");
}

TEST(ValueTest, TextTypesCarryKeywordOnlyWhenShown) {
  ParvexValue d = ParvexValue::Text(kTypeDate, "1994-07-09");
  EXPECT_EQ(d.GetString().view(), "DATE 1994-07-09");
  EXPECT_EQ(d.GetSaveString().view(), "1994-07-09");
  EXPECT_EQ(ParvexValue::Text(kTypeTime, "09:04:03").GetString().view(), "TIME 09:04:03");
  EXPECT_EQ(ParvexValue::Text(kTypeTimestamp, "x").GetString().view(), "TIMESTAMP x");
  EXPECT_EQ(ParvexValue::Text(kTypeBinary, "raw").GetString().view(), "raw");
  EXPECT_EQ(ParvexValue::Integer(3).GetSaveString().view(), "3");
}

TEST(ValueTest, EqualsDecidesByLeftType) {
  EXPECT_TRUE(ParvexValue::Integer(5).Equals(ParvexValue::String("5")));
  EXPECT_TRUE(ParvexValue().Equals(ParvexValue::Null(kTypeString)));
  EXPECT_FALSE(ParvexValue().Equals(ParvexValue::Integer(0)));
  EXPECT_FALSE(ParvexValue::Integer(0).Equals(ParvexValue()));
  EXPECT_TRUE(ParvexValue::String("abc").Equals(ParvexValue::String("ABC")));
  EXPECT_FALSE(ParvexValue::Double(5.0).Equals(ParvexValue::Integer(5)));
  EXPECT_FALSE(ParvexValue::Double(std::nan("")).Equals(ParvexValue::Double(std::nan(""))));
  EXPECT_TRUE(ParvexValue::Text(kTypeDate, "2001-02-03").Equals(ParvexValue::Text(kTypeDate, "2001-02-03")));
  EXPECT_TRUE(ParvexValue::Text(kTypeDate, "2001-02-03").Equals(ParvexValue::String("2001-02-03")));
}

TEST(ValueTest, CoerceToType) {
  ParvexValue v = ParvexValue::Integer(7);
  v.CoerceToType(kTypeDouble);
  EXPECT_EQ(v.Type(), kTypeDouble);
  EXPECT_EQ(v.GetDouble(), 0.0);

  for (const char* text : {"FALSE", "False", "0", "f", "F"}) {
    ParvexValue b = ParvexValue::String(text);
    b.CoerceToType(kTypeBoolean);
    EXPECT_EQ(b.GetInteger(), 0) << text;
  }
  for (const char* text : {"no", ""}) {
    ParvexValue b = ParvexValue::String(text);
    b.CoerceToType(kTypeBoolean);
    EXPECT_EQ(b.GetInteger(), 1) << text;
  }
  ParvexValue nan = ParvexValue::Double(std::nan(""));
  nan.CoerceToType(kTypeBoolean);
  EXPECT_EQ(nan.GetInteger(), 1);

  ParvexValue null;
  null.CoerceToType(kTypeInteger);
  EXPECT_FALSE(null.IsNull());
  EXPECT_EQ(null.GetInteger(), 0);
  ParvexValue nullText;
  nullText.CoerceToType(kTypeString);
  EXPECT_EQ(nullText.GetString().view(), "NULL");

  ParvexValue same = ParvexValue::Null(kTypeString);
  same.CoerceToType(kTypeString);
  EXPECT_TRUE(same.IsNull());

  ParvexValue date = ParvexValue::String("2001-02-03");
  date.CoerceToType(kTypeDate);
  EXPECT_EQ(date.Type(), kTypeDate);
  EXPECT_EQ(date.GetSaveString().view(), "2001-02-03");
}

}  // namespace
}  // namespace parvex
