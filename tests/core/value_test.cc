// Value readings, equality and coercion where SQL can't reach them. How
// values read, print and convert on the way into columns is checked by the
// engine scripts (types.sql, expressions.sql).
#include "core/value.h"

#include "core/value_codec.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

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

// The in-memory encoding gives back type, NULL flag, payload and text
// encoding, for values back to back; EncodedSize counts what it writes and
// SkipEncodedValue steps over it.
TEST(ValueTest, EncodingRoundTrips) {
  const std::string longText(300, 'x');
  const std::vector<ParvexValue> values = {
      ParvexValue(), ParvexValue::Null(kTypeString), ParvexValue::Null(200), ParvexValue::Integer(0),
      ParvexValue::Integer(-1), ParvexValue::Integer(63), ParvexValue::Integer(-64),
      ParvexValue::Integer(std::numeric_limits<int32_t>::max()), ParvexValue::Integer(std::numeric_limits<int32_t>::min()),
      ParvexValue::Boolean(true), ParvexValue::Double(-2.5), ParvexValue::String(string("", kEncodingUTF8)),
      ParvexValue::String(string(longText, kEncodingUTF8)), ParvexValue::String(string("de", kEncodingDefault)),
      ParvexValue::Text(kTypeBinary, string(std::string_view("a\0b", 3), kEncodingUTF16)),
      ParvexValue::Text(kTypeDate, string("2001-02-03", kEncodingUTF8)), ParvexValue::Text(200, string("odd", 7))};
  std::string bytes;
  for (const ParvexValue& v : values) {
    const size_t before = bytes.size();
    EncodeValue(&bytes, &v);
    EXPECT_EQ(bytes.size() - before, EncodedSize(&v));
  }
  size_t at = 0;
  ParvexValue reused = ParvexValue::String("reused");
  for (const ParvexValue& v : values) {
    const size_t start = at;
    const ParvexValue back = DecodeValue(ReadEncodedValue(bytes, &at));
    size_t again = start;
    const EncodedValue read = ReadEncodedValue(bytes, &again);
    if (IsTextType(v.Type()) && !v.IsNull()) {
      EXPECT_EQ(read.text.data()[read.text.size()], '\0');  // a C string
    }
    DecodeValueInto(read, &reused);
    EXPECT_EQ(again, at);
    size_t skipped = start;
    SkipEncodedValue(bytes, &skipped);
    EXPECT_EQ(skipped, at);
    const ParvexValue* const decoded[] = {&back, &reused};
    for (const ParvexValue* got : decoded) {
      EXPECT_EQ(got->Type(), v.Type());
      EXPECT_EQ(got->IsNull(), v.IsNull());
      EXPECT_EQ(got->RawInteger(), v.RawInteger());
      EXPECT_EQ(got->RawDouble(), v.RawDouble());
      EXPECT_EQ(got->RawText().view(), v.RawText().view());
      EXPECT_EQ(got->RawText().Encoding(), v.RawText().Encoding());
    }
  }
  EXPECT_EQ(at, bytes.size());
}

}  // namespace
}  // namespace parvex
