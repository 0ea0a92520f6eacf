// Unicode case mapping of UTF-8 text, and the text encoding conversions.
#include "platform/unicode_case.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/text_encoding.h"

namespace parvex {
namespace {

std::string Lower(const char* utf8) { return UTF8ToLower(string(utf8, kEncodingUTF8)).str(); }
std::string Upper(const char* utf8) { return UTF8ToUpper(string(utf8, kEncodingUTF8)).str(); }

TEST(UnicodeCaseTest, InvalidBytesPassThrough) {
  const char* samples[] = {
      "\xC3",              // truncated two-byte sequence
      "a\xE2\x82",         // truncated three-byte sequence
      "\xC0\x81",          // overlong form of U+0001
      "\xED\xA0\x80",      // a surrogate
      "\xF4\x90\x80\x80",  // beyond U+10FFFF
      "\xFF\xFE",          // bytes that never occur
      "\x80\x41",          // a stray continuation byte, then the letter A
  };
  for (const char* s : samples) {
    const std::string lowered = Lower(s);
    std::string expected(s);
    for (char& c : expected) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    }
    EXPECT_EQ(lowered, expected);
  }
  EXPECT_EQ(Upper("\xC3\xC3\xA4"), "\xC3\xC3\x84");  // the valid character after a bad byte still maps
}

// Every code point maps exactly as the installed character database says.
TEST(UnicodeCaseTest, AgreesWithTheCharacterDatabase) {
  std::ifstream data("/usr/share/unicode/UnicodeData.txt");
  if (!data) GTEST_SKIP() << "UnicodeData.txt is not installed";
  std::vector<char32_t> lower(0x110000), upper(0x110000);
  for (char32_t c = 0; c < 0x110000; ++c) lower[c] = upper[c] = c;
  std::string line;
  while (std::getline(data, line)) {
    std::vector<std::string> fields;
    std::stringstream in(line);
    for (std::string field; std::getline(in, field, ';');) fields.push_back(field);
    if (fields.size() < 14) continue;
    const char32_t code = static_cast<char32_t>(std::stoul(fields[0], nullptr, 16));
    if (!fields[12].empty()) upper[code] = static_cast<char32_t>(std::stoul(fields[12], nullptr, 16));
    if (!fields[13].empty()) lower[code] = static_cast<char32_t>(std::stoul(fields[13], nullptr, 16));
  }
  int wrong = 0;
  for (char32_t c = 0; c < 0x110000; ++c) {
    if (UnicodeToLower(c) != lower[c] || UnicodeToUpper(c) != upper[c]) {
      if (++wrong < 5) ADD_FAILURE() << std::hex << "U+" << static_cast<uint32_t>(c);
    }
  }
  EXPECT_EQ(wrong, 0) << "regenerate the table with scripts/gen_unicode_case.py";
}

// Every length's boundaries round-trip; a surrogate is no scalar value (other
// invalid sequences show in InvalidBytesPassThrough).
TEST(TextEncodingTest, EncodesAndDecodesEveryLengthsBoundaries) {
  char32_t c = 0;
  EXPECT_EQ(DecodeUTF8("\xED\xBF\xBF", 0, &c), 0u);
  for (char32_t cp : {U'\u0000', U'\u007F', U'\u0080', U'\u07FF', U'\u0800', U'\uFFFF', U'\U00010000', U'\U0010FFFF'}) {
    std::string bytes;
    AppendUTF8(bytes, cp);
    char32_t back = 1;
    EXPECT_EQ(DecodeUTF8(bytes, 0, &back), bytes.size());
    EXPECT_EQ(back, cp);
  }
}

TEST(TextEncodingTest, Converts) {
  const string utf8("a\xC3\xA4\xE2\x82\xAC\xF0\x90\x90\x80", kEncodingUTF8);  // a ä € U+10400
  const string wide = ConvertEncoding(utf8, kEncodingUTF16);
  EXPECT_EQ(wide.Encoding(), kEncodingUTF16);
  const std::u16string expected = u"a\u00E4\u20AC\U00010400";
  EXPECT_EQ(wide.view(),
            std::string_view(reinterpret_cast<const char*>(expected.data()), expected.size() * 2));
  EXPECT_EQ(ConvertEncoding(wide, kEncodingUTF8).view(), utf8.view());
  // Single-byte text is ISO-8859-1; what it cannot hold becomes '?'.
  EXPECT_EQ(ConvertEncoding(utf8, kEncodingDefault).view(), "a\xE4??");
  EXPECT_EQ(ConvertEncoding(string("\xE4"), kEncodingUTF8).view(), "\xC3\xA4");
  // Between single-byte codes only the label changes.
  const string relabelled = ConvertEncoding(string("\xE4"), 1280);
  EXPECT_EQ(relabelled.view(), "\xE4");
  EXPECT_EQ(relabelled.Encoding(), 1280u);
  // Broken input still converts: a stray UTF-8 byte, a dangling UTF-16 byte.
  EXPECT_EQ(ConvertEncoding(string("\xFF", kEncodingUTF8), kEncodingDefault).view(), "\xFF");
  EXPECT_EQ(ConvertEncoding(string("a\0b", 3, kEncodingUTF16), kEncodingUTF8).view(), "a\xEF\xBF\xBD");
}

}  // namespace
}  // namespace parvex
