// The fixed-size view of a block (FilePtr) that block headers and the block
// map are read and written through: it never reads or writes past its block.
#include "platform/file_ptr.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace parvex {
namespace {

TEST(FilePtrTest, ReadsAndWritesOnlyWithinItsBlock) {
  uint8_t block[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  FilePtr view(block, 8);
  view.SetBigEndian();
  uint32_t value = 0;
  ASSERT_TRUE(view.ReadLong(&value));
  EXPECT_EQ(value, 0x01020304u);
  ASSERT_TRUE(view.WriteShort(0xABCD));
  EXPECT_EQ(block[4], 0xAB);
  EXPECT_EQ(block[5], 0xCD);
  EXPECT_FALSE(view.WriteLong(0));  // 2 bytes left: nothing is written
  EXPECT_EQ(view.LastError(), ENOSPC);
  EXPECT_EQ(block[6], 7);
  EXPECT_FALSE(view.SeekFromStart(9));
  ASSERT_TRUE(view.SetLength(4));
  EXPECT_EQ(view.GetPosition(), 4);
  EXPECT_TRUE(view.IsEOF());
  uint8_t byte = 0;
  EXPECT_FALSE(view.ReadByte(&byte));
  ASSERT_TRUE(view.WriteByte(0xEE));  // lengthens up to the block's size
  EXPECT_EQ(view.GetLength(), 5);
  EXPECT_FALSE(view.SetLength(9));
  ASSERT_TRUE(view.SeekFromStart(2));
  int32_t got = 0;
  uint8_t buffer[8];
  ASSERT_TRUE(view.ReadData(buffer, 8, &got));
  EXPECT_EQ(got, 3);
  EXPECT_TRUE(view.Close());
  EXPECT_FALSE(view.ReadData(buffer, 1, &got));
  EXPECT_EQ(view.LastError(), EBADF);

  const uint8_t fixed[2] = {9, 9};
  FilePtr readOnly(fixed, 2);
  EXPECT_FALSE(readOnly.WriteByte(1));
  EXPECT_EQ(readOnly.LastError(), EBADF);
  ASSERT_TRUE(readOnly.ReadByte(&byte));
  EXPECT_EQ(byte, 9);
}

}  // namespace
}  // namespace parvex
