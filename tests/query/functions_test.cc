// The scalar functions, the database's clock texts and table lookup.
#include "query/functions.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <memory>
#include <regex>
#include <string>

#include "db/database.h"
#include "expr_test_table.h"
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

TEST(FunctionsTest, Lengths) {
  const ParvexValue foo = Str("foo"), five = ParvexValue::Integer(5), d = ParvexValue::Double(1.5);
  EXPECT_EQ(Eval(kFuncBitLength, &foo).GetInteger(), 24);
  EXPECT_EQ(Eval(kFuncOctetLength, &foo).GetInteger(), 3);
  EXPECT_EQ(Eval(kFuncCharLength, &foo).GetInteger(), 3);
  EXPECT_EQ(Eval(kFuncBitLength, &five).GetInteger(), 32);
  EXPECT_EQ(Eval(kFuncOctetLength, &five).GetInteger(), 4);
  EXPECT_TRUE(Eval(kFuncBitLength, &d).IsNull());
  EXPECT_TRUE(Eval(kFuncOctetLength, &d).IsNull());
  const ParvexValue null = ParvexValue::Null(kTypeString);
  EXPECT_TRUE(Eval(kFuncOctetLength, &null).IsNull());
  // CHAR_LENGTH reads any argument as text: a double by its digits.
  EXPECT_EQ(Eval(kFuncCharLength, &d).GetInteger(), 3);

  // UTF-8 counts characters, every other encoding counts bytes.
  const ParvexValue umlauts = Str("\xC3\xA4\xC3\xB6x", kEncodingUTF8);  // "äöx"
  EXPECT_EQ(Eval(kFuncCharLength, &umlauts).GetInteger(), 3);
  EXPECT_EQ(Eval(kFuncOctetLength, &umlauts).GetInteger(), 5);
  const ParvexValue latin = Str("\xC3\xA4\xC3\xB6x");
  EXPECT_EQ(Eval(kFuncCharLength, &latin).GetInteger(), 5);
  const ParvexValue wide = Utf16(u"ab");
  EXPECT_EQ(Eval(kFuncCharLength, &wide).GetInteger(), 4);
}

TEST(FunctionsTest, LowerAndUpper) {
  const ParvexValue foo = Str("FOO"), lower = Str("foo");
  EXPECT_EQ(Text(Eval(kFuncLower, &foo)), "foo");
  EXPECT_EQ(Text(Eval(kFuncUpper, &lower)), "FOO");
  // UTF-8 text uses the Unicode mapping; other text changes ASCII letters only.
  const ParvexValue utf8 = Str("\xC3\x84rger \xD0\x96", kEncodingUTF8);  // "Ärger Ж"
  const ParvexValue lowered = Eval(kFuncLower, &utf8);
  EXPECT_EQ(Text(lowered), "\xC3\xA4rger \xD0\xB6");
  EXPECT_EQ(lowered.RawText().Encoding(), kEncodingUTF8);
  const ParvexValue single = Str("\xC3\x84rger");
  EXPECT_EQ(Text(Eval(kFuncLower, &single)), "\xC3\x84rger");
  // A number is read as its text.
  const ParvexValue number = ParvexValue::Integer(12);
  EXPECT_EQ(Text(Eval(kFuncUpper, &number)), "12");
}

TEST(FunctionsTest, Position) {
  const ParvexValue hay = Str("banana"), nan = Str("nan"), none = Str("x"), empty = Str(""),
                    upper = Str("NAN");
  EXPECT_EQ(Eval(kFuncPosition, &hay, &nan).GetInteger(), 3);
  EXPECT_EQ(Eval(kFuncPosition, &hay, &none).GetInteger(), 0);
  EXPECT_EQ(Eval(kFuncPosition, &hay, &empty).GetInteger(), 1);
  EXPECT_EQ(Eval(kFuncPosition, &hay, &upper).GetInteger(), 0);  // case-sensitive
  EXPECT_EQ(Eval(kFuncPosition, &nan, &hay).GetInteger(), 0);    // longer than the text
  EXPECT_EQ(Eval(kFuncPosition, &empty, &empty).GetInteger(), 1);

  // UTF-8: characters before the match, plus one; the needle is converted first.
  const ParvexValue utf8 = Str("\xC3\xA4\xC3\xB6x\xC3\xBC", kEncodingUTF8);  // "äöxü"
  const ParvexValue x = Str("x");
  EXPECT_EQ(Eval(kFuncPosition, &utf8, &x).GetInteger(), 3);
  const ParvexValue uUmlautLatin1 = Str("\xFC");  // "ü" in a single-byte encoding
  EXPECT_EQ(Eval(kFuncPosition, &utf8, &uUmlautLatin1).GetInteger(), 4);

  // UTF-16: the byte-based answer halved.
  const ParvexValue wide = Utf16(u"abcd");
  const ParvexValue c = Str("c");
  const ParvexValue a = Str("a");
  EXPECT_EQ(Eval(kFuncPosition, &wide, &c).GetInteger(), 2);  // byte offset 4 -> (4 + 1) / 2
  EXPECT_EQ(Eval(kFuncPosition, &wide, &a).GetInteger(), 0);  // byte offset 0 -> (0 + 1) / 2

  // The first occurrence, found without quadratic work on a repetitive text.
  const ParvexValue longHay = Str((std::string(100000, 'a') + "b").c_str());
  const ParvexValue longNeedle = Str((std::string(1000, 'a') + "b").c_str());
  EXPECT_EQ(Eval(kFuncPosition, &longHay, &longNeedle).GetInteger(), 99001);
}

TEST(FunctionsTest, Substring) {
  const ParvexValue foo = Str("Foo");
  const ParvexValue one = ParvexValue::Integer(1), two = ParvexValue::Integer(2),
                    zero = ParvexValue::Integer(0);
  const ParvexValue minus = ParvexValue::Integer(-1), big = ParvexValue::Integer(INT_MAX);
  const ParvexValue small = ParvexValue::Integer(INT_MIN), null = ParvexValue::Null(kTypeInteger);
  EXPECT_EQ(Text(Eval(kFuncSubstring, &foo, &one)), "Foo");
  EXPECT_EQ(Text(Eval(kFuncSubstring, &foo, &one, &two)), "Fo");
  EXPECT_EQ(Text(Eval(kFuncSubstring, &foo, &two)), "oo");
  EXPECT_EQ(Text(Eval(kFuncSubstring, &foo, &two, &one)), "o");
  EXPECT_EQ(Text(Eval(kFuncSubstring, &foo, &two, &null)), "oo");  // a NULL count means "to the end"
  // Positions outside the text clamp to it; the window [start, start + count) counts from 1.
  EXPECT_EQ(Text(Eval(kFuncSubstring, &foo, &zero)), "Foo");
  EXPECT_EQ(Text(Eval(kFuncSubstring, &foo, &zero, &two)), "F");
  EXPECT_EQ(Text(Eval(kFuncSubstring, &foo, &minus, &two)), "");
  EXPECT_EQ(Text(Eval(kFuncSubstring, &foo, &small, &big)), "");
  EXPECT_EQ(Text(Eval(kFuncSubstring, &foo, &two, &big)), "oo");
  EXPECT_EQ(Text(Eval(kFuncSubstring, &foo, &big, &big)), "");
  EXPECT_EQ(Text(Eval(kFuncSubstring, &foo, &one, &minus)), "");
  EXPECT_EQ(Text(Eval(kFuncSubstring, &foo, &one, &zero)), "");

  // UTF-8 counts characters and never splits one.
  const ParvexValue utf8 = Str("a\xC3\xA4\xE2\x82\xAC\x62", kEncodingUTF8);  // "aä€b"
  const ParvexValue three = ParvexValue::Integer(3);
  EXPECT_EQ(Text(Eval(kFuncSubstring, &utf8, &two, &two)), "\xC3\xA4\xE2\x82\xAC");
  EXPECT_EQ(Text(Eval(kFuncSubstring, &utf8, &three)), "\xE2\x82\xAC\x62");
  // UTF-16 counts two-byte units.
  const ParvexValue wide = Utf16(u"wxyz");
  const ParvexValue sub = Eval(kFuncSubstring, &wide, &two, &two);
  EXPECT_EQ(sub.RawText().view(), std::string_view(reinterpret_cast<const char*>(u"xy"), 4));
  EXPECT_EQ(sub.RawText().Encoding(), kEncodingUTF16);
}

TEST(FunctionsTest, Trim) {
  const ParvexValue padded = Str("  foo  "), leading = Str("leading"), trailing = Str("TRAILING");
  const ParvexValue both = Str("BOTH"), null = ParvexValue();
  EXPECT_EQ(Text(Eval(kFuncTrim, &padded)), "foo");
  EXPECT_EQ(Text(Eval(kFuncTrim, &padded, &null, &leading)), "foo  ");
  EXPECT_EQ(Text(Eval(kFuncTrim, &padded, &null, &trailing)), "  foo");
  EXPECT_EQ(Text(Eval(kFuncTrim, &padded, &null, &both)), "foo");

  const ParvexValue marks = Str("???foo???"), q = Str("?");
  EXPECT_EQ(Text(Eval(kFuncTrim, &marks, &q, &trailing)), "???foo");
  EXPECT_EQ(Text(Eval(kFuncTrim, &marks, &q, &leading)), "foo???");
  EXPECT_EQ(Text(Eval(kFuncTrim, &marks, &q)), "foo");
  // Trimming at the back never removes an occurrence at the very start.
  const ParvexValue allMarks = Str("???");
  EXPECT_EQ(Text(Eval(kFuncTrim, &allMarks, &q, &trailing)), "?");
  EXPECT_EQ(Text(Eval(kFuncTrim, &allMarks, &q, &leading)), "");
  EXPECT_EQ(Text(Eval(kFuncTrim, &allMarks, &q)), "");
  // Multi-byte trim texts are matched whole and case-sensitively.
  const ParvexValue ab = Str("abABabxab"), abTrim = Str("ab");
  EXPECT_EQ(Text(Eval(kFuncTrim, &ab, &abTrim)), "ABabx");
  // Empty texts and empty trim texts change nothing.
  const ParvexValue empty = Str("");
  EXPECT_EQ(Text(Eval(kFuncTrim, &empty, &q)), "");
  EXPECT_EQ(Text(Eval(kFuncTrim, &marks, &empty)), "???foo???");
}

TEST(FunctionsTest, MissingArgumentsAndAggregateCodesFail) {
  ParvexValue out = ParvexValue::Integer(7);
  const ParvexValue foo = Str("foo");
  for (ParvexFuncCode code : {kFuncBitLength, kFuncOctetLength, kFuncCharLength, kFuncLower, kFuncUpper,
                              kFuncPosition, kFuncSubstring, kFuncTrim, kFuncLastRowID}) {
    EXPECT_FALSE(ParvexFuncEval(code, nullptr, nullptr, &foo, &foo, &out)) << code;
  }
  EXPECT_FALSE(ParvexFuncEval(kFuncPosition, nullptr, &foo, nullptr, nullptr, &out));
  EXPECT_FALSE(ParvexFuncEval(kFuncSubstring, nullptr, &foo, nullptr, nullptr, &out));
  // The clock functions and LAST_ROWID need a database.
  EXPECT_FALSE(ParvexFuncEval(kFuncCurrentDate, nullptr, nullptr, nullptr, nullptr, &out));
  EXPECT_FALSE(ParvexFuncEval(kFuncLastRowID, nullptr, &foo, nullptr, nullptr, &out));
  for (ParvexFuncCode code = kFuncAvg; code <= kFuncSum + 1; ++code) {
    EXPECT_FALSE(ParvexFuncEval(code, nullptr, &foo, &foo, &foo, &out)) << code;
  }
  EXPECT_FALSE(ParvexFuncEval(-1, nullptr, &foo, &foo, &foo, &out));
  EXPECT_EQ(out.GetInteger(), 7);  // untouched by every failure
  // A null result pointer is allowed.
  EXPECT_TRUE(ParvexFuncEval(kFuncUpper, nullptr, &foo, nullptr, nullptr, nullptr));
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

TEST(FunctionsTest, LastRowIDAndFindTable) {
  ParvexDatabase db(nullptr);
  EXPECT_EQ(db.FindTable(string("t")), nullptr);
  auto* first = new ExprTestTable("People", {{"name", kTypeString}});
  auto* second = new ExprTestTable("people", {{"name", kTypeString}});
  db.tables.push_back(first);
  db.tables.push_back(second);
  first->Add({Str("a")});
  first->Add({Str("b")});
  second->Add({Str("c")});

  EXPECT_EQ(db.FindTable(string("PEOPLE")), first);  // case-insensitive, first match
  const ParvexValue name = Str("pEoPlE");
  EXPECT_EQ(Eval(kFuncLastRowID, &name, nullptr, nullptr, &db).GetInteger(), 107);
  const ParvexValue missing = Str("nobody");
  ParvexValue out = ParvexValue::Integer(1);
  EXPECT_TRUE(ParvexFuncEval(kFuncLastRowID, &db, &missing, nullptr, nullptr, &out));
  EXPECT_TRUE(out.IsNull());
}

}  // namespace
}  // namespace parvex
