// Value readings, equality and coercion where SQL can't reach them. How
// values read, print and convert on the way into columns is checked by the
// engine scripts (types.sql, expressions.sql).
#include "core/value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace parvex {
namespace {

// Readings SQL can't produce (texts and decimal forms are in the scripts).
TEST(ValueTest, ReadingsOfDoublesOutOfRange) {
  EXPECT_EQ(ParvexValue::Double(1e300).GetInteger(), std::numeric_limits<int32_t>::max());
  EXPECT_EQ(ParvexValue::Double(std::nan("")).GetInteger(), 0);
  EXPECT_EQ(ParvexValue::String("5.5").GetDouble(), 0.0);  // GetDouble does not widen
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
