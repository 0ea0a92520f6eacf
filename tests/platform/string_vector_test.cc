// The shared string's comparisons and the memory stream's encoded integers
// and scrambling. Typed reads and writes are covered by every golden image
// (tests/storage, tests/volume).
#include <gtest/gtest.h>

#include <cstring>

#include "platform/memory_stream.h"
#include "platform/parvex_string.h"

namespace parvex {
namespace {

TEST(StringTest, SharesBytesAndComparesWithAndWithoutCase) {
  string a("Hello", kEncodingUTF8);
  string b = a;
  EXPECT_EQ(a.data(), b.data());  // copies share one buffer
  EXPECT_EQ(b.Encoding(), kEncodingUTF8);
  EXPECT_EQ(string("x").Encoding(), kEncodingDefault);
  EXPECT_EQ(a.Compare(string("hELLO")), 0);
  EXPECT_NE(a.CompareWithCase(string("hello")), 0);
  EXPECT_LT(string("abc").Compare(string("abcd")), 0);
  // Letters fold to lower case before bytes compare, so '_' sorts before letters.
  EXPECT_LT(string("_").Compare(string("a")), 0);
  EXPECT_LT(string("_").Compare(string("A")), 0);  // folded: 0x5F < 0x61
  EXPECT_LT(string("B").CompareWithCase(string("a")), 0);
  EXPECT_EQ(string(std::string_view("a\0b", 3)).length(), 3u);
  EXPECT_EQ(string("abcdef").Substring(2, 3).view(), "cde");
  EXPECT_EQ(string("abc").Substring(9).view(), "");
  EXPECT_EQ((string("ab") + string("cd")).view(), "abcd");
  EXPECT_EQ(string().c_str()[0], '\0');
}

TEST(MemoryStreamTest, EncodedIntegers) {
  auto bytesOf = [](int32_t v) {
    FileHandle s;
    s.WriteEncodedInt(v);
    return std::vector<uint8_t>(s.Bytes(), s.Bytes() + s.GetLength());
  };
  EXPECT_EQ(bytesOf(63), (std::vector<uint8_t>{0x3F}));
  EXPECT_EQ(bytesOf(64), (std::vector<uint8_t>{0x80, 0x01}));
  EXPECT_EQ(bytesOf(-1), (std::vector<uint8_t>{0x41}));
  for (int32_t v : {0, 1, -64, 8191, -8192, 123456789, INT32_MAX, INT32_MIN, -INT32_MAX}) {
    FileHandle s;
    ASSERT_TRUE(s.WriteEncodedInt(v));
    s.SeekFromStart(0);
    int32_t back = 0;
    ASSERT_TRUE(s.ReadEncodedInt(&back));
    EXPECT_EQ(back, v);
  }
  // An endless run of continuation bytes is refused, not looped over.
  FileHandle hostile;
  std::vector<uint8_t> ff(64, 0xFF);
  hostile.WriteData(ff.data(), 64);
  hostile.SeekFromStart(0);
  int32_t v = 0;
  EXPECT_FALSE(hostile.ReadEncodedInt(&v));
}

}  // namespace
}  // namespace parvex
