// The memory stream's encoded integers, hostile runs included. The string's
// comparisons are seen through ORDER BY (tests/sql/scripts/queries.sql);
// typed reads and writes through every golden image.
#include <gtest/gtest.h>

#include <cstring>

#include "platform/memory_stream.h"
#include "platform/parvex_string.h"

namespace parvex {
namespace {

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
