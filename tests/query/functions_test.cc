// The scalar functions where SQL text can't reach them: UTF-16 and mixed
// encodings, long texts, and the database's clock.
// Their values for single-byte and UTF-8 text are checked end to end by
// tests/sql/scripts/expressions.sql and tests/tools/scripts/text.sql.
#include "query/functions.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <regex>
#include <string>

#include "db/database.h"
#include "platform/clock.h"

namespace parvex {
namespace {

ParvexValue Str(const char* text, uint32_t encoding = kEncodingDefault) {
  return ParvexValue::String(string(text, encoding));
}

ParvexValue Utf16(const std::u16string& text) {
  return ParvexValue::String(
      string(reinterpret_cast<const char*>(text.data()), text.size() * 2, kEncodingUTF16));
}

// Evaluates a function that must succeed.
ParvexValue Eval(ParvexFuncCode code, const ParvexValue* a1, const ParvexValue* a2 = nullptr,
                 const ParvexValue* a3 = nullptr, ParvexDatabase* db = nullptr) {
  ParvexValue out = ParvexValue::Integer(-999);
  EXPECT_TRUE(ParvexFuncEval(code, db, a1, a2, a3, &out)) << ParvexFuncName(code).view();
  return out;
}

std::string Text(const ParvexValue& v) {
  EXPECT_EQ(v.Type(), kTypeString);
  EXPECT_FALSE(v.IsNull());
  return v.GetString().str();
}

// UTF-16 counts two-byte units; a needle in another encoding is converted
// before it is searched for; the first occurrence is found without quadratic
// work on a repetitive text.
TEST(FunctionsTest, WideAndMixedEncodings) {
  const ParvexValue wide = Utf16(u"abcd"), c = Str("c"), a = Str("a"), two = ParvexValue::Integer(2);
  EXPECT_EQ(Eval(kFuncCharLength, &wide).GetInteger(), 8);
  EXPECT_EQ(Eval(kFuncPosition, &wide, &c).GetInteger(), 2);  // byte offset 4 -> (4 + 1) / 2
  EXPECT_EQ(Eval(kFuncPosition, &wide, &a).GetInteger(), 0);  // byte offset 0 -> (0 + 1) / 2
  const ParvexValue sub = Eval(kFuncSubstring, &wide, &two, &two);
  EXPECT_EQ(sub.RawText().view(), std::string_view(reinterpret_cast<const char*>(u"bc"), 4));
  EXPECT_EQ(sub.RawText().Encoding(), kEncodingUTF16);

  const ParvexValue utf8 = Str("\xC3\xA4\xC3\xB6x\xC3\xBC", kEncodingUTF8);  // "äöxü"
  const ParvexValue latin1 = Str("\xFC");                                    // "ü" in one byte
  EXPECT_EQ(Eval(kFuncPosition, &utf8, &latin1).GetInteger(), 4);
  const ParvexValue lowered = Eval(kFuncLower, &utf8);
  EXPECT_EQ(lowered.RawText().Encoding(), kEncodingUTF8);

  const ParvexValue longHay = Str((std::string(100000, 'a') + "b").c_str());
  const ParvexValue longNeedle = Str((std::string(1000, 'a') + "b").c_str());
  EXPECT_EQ(Eval(kFuncPosition, &longHay, &longNeedle).GetInteger(), 99001);
}

TEST(FunctionsTest, ClockTexts) {
  ParvexDatabase db(nullptr);
  db.SetClock(2007, 3, 5, 9, 4, 3);
  EXPECT_EQ(db.currentDate.view(), "2007-03-05");
  EXPECT_EQ(db.currentTime.view(), "09:04:03");
  EXPECT_EQ(db.currentTimestamp.view(), "2007-03-05 09:04:03");
  EXPECT_EQ(Text(Eval(kFuncCurrentDate, nullptr, nullptr, nullptr, &db)), "2007-03-05");
  EXPECT_EQ(Text(Eval(kFuncCurrentTime, nullptr, nullptr, nullptr, &db)), "09:04:03");
  EXPECT_EQ(Text(Eval(kFuncCurrentTimestamp, nullptr, nullptr, nullptr, &db)), "2007-03-05 09:04:03");
  db.SetClock(12345, 12, 31, 23, 59, 59);
  EXPECT_EQ(db.currentTimestamp.view(), "12345-12-31 23:59:59");

  // The live clock: the texts have the fixed shape and lie between two readings.
  LocalDateTime before, after;
  ASSERT_TRUE(GetLocalDateTime(&before));
  db.UpdateClock();
  ASSERT_TRUE(GetLocalDateTime(&after));
  EXPECT_TRUE(std::regex_match(db.currentTimestamp.str(), std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)")))
      << db.currentTimestamp.view();
  auto stamp = [](const LocalDateTime& t) {
    char text[64];
    snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", t.year, t.month, t.day, t.hour, t.minute,
             t.second);
    return std::string(text);
  };
  EXPECT_LE(stamp(before), db.currentTimestamp.str());
  EXPECT_GE(stamp(after), db.currentTimestamp.str());
  EXPECT_EQ(db.currentTimestamp.str(), db.currentDate.str() + " " + db.currentTime.str());
}

}  // namespace
}  // namespace parvex
