// The shared string, SimpleVector growth and the memory stream.
#include <gtest/gtest.h>

#include <cstring>

#include "platform/memory_stream.h"
#include "platform/number_format.h"
#include "platform/parvex_string.h"
#include "platform/simple_vector.h"

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

TEST(SimpleVectorTest, GrowsByIncrementOrCapacityNeverBelowSixteen) {
  SimpleVector<int> doubling;
  doubling.push_back(1);
  EXPECT_EQ(doubling.capacity(), 16u);
  for (int i = 0; i < 16; ++i) doubling.push_back(i);
  EXPECT_EQ(doubling.capacity(), 32u);
  SimpleVector<int> stepped(100);
  stepped.push_back(1);
  EXPECT_EQ(stepped.capacity(), 100u);
  SimpleVector<int> small(4);
  small.push_back(1);
  EXPECT_EQ(small.capacity(), 16u);
  for (int i = 0; i < 5; ++i) stepped.push_back(i);
  stepped.RemoveAt(0);
  EXPECT_EQ(stepped[0], 0);
  EXPECT_EQ(stepped.size(), 5u);
}

TEST(NumberFormatTest, IntegersAndDoubles) {
  EXPECT_EQ(FormatInteger(-2147483648LL), "-2147483648");
  EXPECT_EQ(FormatDouble(2.5e+300), "2.5e+300");
  EXPECT_EQ(FormatDouble(10.5), "10.5");
  EXPECT_EQ(ParseLeadingInteger("  -42x", 6), -42);
  EXPECT_EQ(ParseLeadingInteger("4294967297", 10), 1);  // wraps to 32 bits
}

TEST(MemoryStreamTest, ReadsBackWritesAndTypedValues) {
  FileHandle stream;
  ASSERT_TRUE(stream.WriteData("abc", 3));
  ASSERT_TRUE(stream.SeekFromStart(1));
  char c = 0;
  int32_t got = 0;
  ASSERT_TRUE(stream.ReadData(&c, 1, &got));
  EXPECT_EQ(got, 1);
  EXPECT_EQ(c, 'b');
  EXPECT_EQ(stream.GetLength(), 3);

  for (bool big : {true, false}) {
    FileHandle s;
    if (big) s.SetBigEndian(); else s.SetLittleEndian();
    ASSERT_TRUE(s.WriteLong(0x64FF2EFF));
    ASSERT_TRUE(s.WriteShort(0xFF5C));
    s.SeekFromStart(0);
    EXPECT_EQ(s.Bytes()[0], big ? 0x64 : 0xFF);
    uint32_t l = 0;
    uint16_t sh = 0;
    ASSERT_TRUE(s.ReadLong(&l));
    ASSERT_TRUE(s.ReadShort(&sh));
    EXPECT_EQ(l, 0x64FF2EFFu);
    EXPECT_EQ(sh, 0xFF5C);
    EXPECT_FALSE(s.ReadLong(&l));  // at the end
  }
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

TEST(MemoryStreamTest, ScramblingRoundTripsAndHidesBytes) {
  FileHandle s;
  s.SetEncryption(true);
  ASSERT_TRUE(s.WriteData("secret", 6));
  EXPECT_NE(std::memcmp(s.Bytes(), "secret", 6), 0);
  FileHandle r;
  MemoryHandle copy(s.Bytes(), s.Bytes() + 6);
  r.Open(&copy);
  r.SetEncryption(true);
  char out[6];
  int32_t got = 0;
  ASSERT_TRUE(r.ReadData(out, 6, &got));
  EXPECT_EQ(std::string(out, 6), "secret");
  // Lengths clamp seeks; SetLength pulls the position back.
  r.SetLength(2);
  EXPECT_EQ(r.GetPosition(), 2);
  r.SeekFromStart(100);
  EXPECT_EQ(r.GetPosition(), 2);
}

}  // namespace
}  // namespace parvex
