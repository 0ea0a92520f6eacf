// The flat layer: file IDs and block reuse, stale and rebuilt maps,
// positioning and transfers across block chains.
// The block map's image is in the golden images, damaged maps in
// volume_hostile_test.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "volume/block_map.h"
#include "volume/vfs_volume.h"
#include "volume/volume_format.h"
#include "volume_test_util.h"

namespace parvex {
namespace {

using testing::BytesOf;
using testing::Hex;
using testing::StreamWith;

// The map image's layout is in the golden images; here, images whose counts
// don't fit them, at the boundary.
TEST(BlockMapTest, ImageRejectsCountsItCannotHold) {
  BlockMap map;
  map.AddEntry(2, 0x30, 0);
  map.AddEntry(1, 0x12345678, 0xA);
  const std::vector<uint8_t> image = map.WriteBlockMapToBuffer();
  BlockMap refused;
  EXPECT_FALSE(refused.ConstructBlockMapFromBuffer(image.data(), image.size() - 1));  // count 2, room for 1
  EXPECT_FALSE(refused.ConstructBlockMapFromBuffer(image.data(), 4));
  EXPECT_EQ(refused.QtyEntries(), 0u);
  BlockMap copy;
  ASSERT_TRUE(copy.ConstructBlockMapFromBuffer(image.data(), image.size()));
  ASSERT_EQ(copy.QtyEntries(), 2u);
  EXPECT_EQ(copy.Entry(1).sequence, 0xAu);
}

class FlatVolumeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    mStream.Reset();
    mVolume = VFSVolume::Create(&mStream, false);
    ASSERT_TRUE(mVolume && mVolume->IsValid());
  }
  // Destroys the volume (saving its map) and opens the stream again.
  void Reopen() {
    mVolume.reset();
    mVolume = std::make_unique<VFSVolume>(&mStream, false);
    ASSERT_TRUE(mVolume->IsValid());
  }
  std::vector<uint8_t> ReadAll(uint32_t fileID, int64_t count) {
    const int16_t handle = mVolume->OpenFile(fileID);
    EXPECT_GE(handle, 0);
    std::vector<uint8_t> bytes(static_cast<size_t>(count));
    double got = static_cast<double>(count);
    EXPECT_TRUE(mVolume->ReadFileData(handle, &got, bytes.data()));
    bytes.resize(static_cast<size_t>(got));
    mVolume->CloseFile(handle);
    return bytes;
  }

  FileHandle mStream;
  std::unique_ptr<VFSVolume> mVolume;
};

TEST_F(FlatVolumeTest, IDsCountUpAndFreedBlocksAreReusedInMapOrder) {
  EXPECT_EQ(mVolume->CreateFile(), 2u);
  EXPECT_EQ(mVolume->CreateFile(), 3u);
  EXPECT_EQ(mVolume->CreateFile(), 4u);
  // Blocks were appended at 48, 1072 and 2096.
  VFSBlockHeader header;
  double start = 0;
  ASSERT_TRUE(mVolume->FindFileFirstBlock(4, &header, &start));
  EXPECT_EQ(start, 2096);
  EXPECT_EQ(header.size, 1024);

  EXPECT_FALSE(mVolume->DeleteFile(kBlockMapFileID));
  EXPECT_FALSE(mVolume->DeleteFile(9));  // no such file
  ASSERT_TRUE(mVolume->DeleteFile(4));
  ASSERT_TRUE(mVolume->DeleteFile(2));
  EXPECT_FALSE(mVolume->FindFileFirstBlock(2, &header, &start));
  // The first free entry in map order (48) goes to the next file; IDs are never reused.
  EXPECT_EQ(mVolume->CreateFile(), 5u);
  ASSERT_TRUE(mVolume->FindFileFirstBlock(5, &header, &start));
  EXPECT_EQ(start, 48);
  EXPECT_EQ(mStream.GetLength(), 3120);
  // Saving the map on closing needed a second block for file 1 and took the
  // free block at 2096; the image saved (built before that) still calls it
  // free. After reopening, the block's header tells otherwise, so the next
  // file goes to the end instead of overwriting the map's block.
  Reopen();
  EXPECT_EQ(mVolume->CreateFile(), 6u);
  ASSERT_TRUE(mVolume->FindFileFirstBlock(6, &header, &start));
  EXPECT_EQ(start, 3120);
  ASSERT_TRUE(mVolume->FindFileFirstBlock(kBlockMapFileID, &header, &start));
  EXPECT_EQ(header.next, 2096);
  Reopen();
  EXPECT_EQ(mVolume->GetBlockMap().FindIDByBlockStart(2096), kBlockMapFileID);
}

// Random writes, reads and seeks over a chain of small blocks, compared with
// a plain vector, before and after reopening.
TEST_F(FlatVolumeTest, TransfersAcrossManySmallBlocksMatchAModel) {
  mVolume->SetBlockSizePrefs(40, 64, 100);  // 32 data bytes per block
  const uint32_t fileID = mVolume->CreateFile();
  const int16_t handle = mVolume->OpenFile(fileID);
  ASSERT_GE(handle, 0);
  std::vector<uint8_t> model;
  int64_t position = 0;
  std::mt19937 random(7);
  std::vector<uint8_t> data, got;
  for (int step = 0; step < 600; ++step) {
    const int action = static_cast<int>(random() % 3);
    const int32_t count = static_cast<int32_t>(random() % 150);
    if (action == 0) {
      data.resize(static_cast<size_t>(count));
      for (uint8_t& b : data) b = static_cast<uint8_t>(random());
      ASSERT_TRUE(mVolume->WriteFileData(handle, data.data(), count));
      if (static_cast<int64_t>(model.size()) < position + count) model.resize(static_cast<size_t>(position + count));
      std::copy(data.begin(), data.end(), model.begin() + position);
      position += count;
    } else if (action == 1) {
      got.assign(static_cast<size_t>(count), 0);
      double n = count;
      ASSERT_TRUE(mVolume->ReadFileData(handle, &n, got.data()));
      // Past the data written so far lie the zero bytes of the last block.
      const int64_t capacity = (model.size() + 31) / 32 * 32;
      ASSERT_EQ(n, static_cast<double>(std::min<int64_t>(count, std::max<int64_t>(capacity, 32) - position)));
      for (int64_t i = 0; i < static_cast<int64_t>(n); ++i) {
        const int64_t at = position + i;
        ASSERT_EQ(got[i], at < static_cast<int64_t>(model.size()) ? model[at] : 0) << "step " << step << " at " << at;
      }
      position += static_cast<int64_t>(n);
    } else if (!model.empty()) {
      position = static_cast<int64_t>(random() % model.size());
      ASSERT_TRUE(mVolume->SetFilePosition(handle, static_cast<double>(position)));
    }
    ASSERT_EQ(mVolume->GetFilePosition(handle), static_cast<double>(position));
  }
  mVolume->CloseFile(handle);
  Reopen();
  EXPECT_EQ(ReadAll(fileID, static_cast<int64_t>(model.size())), model);
}

TEST_F(FlatVolumeTest, PositionsStayWithinTheBlocksAFileHas) {
  const uint32_t fileID = mVolume->CreateFile();  // one block: 992 data bytes
  const int16_t handle = mVolume->OpenFile(fileID);
  EXPECT_TRUE(mVolume->SetFilePosition(handle, 992));   // the end of the data area
  EXPECT_FALSE(mVolume->SetFilePosition(handle, 993));
  EXPECT_FALSE(mVolume->SetFilePosition(handle, -1));
  EXPECT_FALSE(mVolume->SetFilePosition(handle, 1.5));
  EXPECT_EQ(mVolume->GetFilePosition(handle), 992);
  ASSERT_TRUE(mVolume->WriteFileLong(handle, 0xA1B2C3D4));  // starts a second block
  EXPECT_TRUE(mVolume->SetFilePosition(handle, 1984));
  EXPECT_FALSE(mVolume->SetFilePosition(handle, 1985));
  ASSERT_TRUE(mVolume->SetFilePosition(handle, 990));
  uint16_t low = 0;
  uint32_t value = 0;
  ASSERT_TRUE(mVolume->ReadFileShort(handle, &low));
  ASSERT_TRUE(mVolume->ReadFileLong(handle, &value));
  EXPECT_EQ(low, 0);
  EXPECT_EQ(value, 0xA1B2C3D4u);
  // Reading runs to the end of the chain and reports what it got.
  ASSERT_TRUE(mVolume->SetFilePosition(handle, 1980));
  uint8_t buffer[16];
  double count = 16;
  EXPECT_TRUE(mVolume->ReadFileData(handle, &count, buffer));
  EXPECT_EQ(count, 4);
  EXPECT_FALSE(mVolume->SetFilePosition(-1, 0));
  EXPECT_TRUE(mVolume->CloseFile(handle));
  EXPECT_FALSE(mVolume->CloseFile(handle));
  EXPECT_FALSE(mVolume->SetFilePosition(handle, 0));
}

TEST_F(FlatVolumeTest, TwoHandlesOnOneFileSeeEachOthersBlocks) {
  const uint32_t fileID = mVolume->CreateFile();
  const int16_t first = mVolume->OpenFile(fileID);
  const int16_t second = mVolume->OpenFile(fileID);
  std::vector<uint8_t> bytes(1500, 0x5A);
  ASSERT_TRUE(mVolume->WriteFileData(first, bytes.data(), 1500));  // adds a block
  ASSERT_TRUE(mVolume->SetFilePosition(second, 1499));             // found through the new link
  std::vector<uint8_t> more(1000, 0x6B);
  ASSERT_TRUE(mVolume->SetFilePosition(second, 1984));
  ASSERT_TRUE(mVolume->WriteFileData(second, more.data(), 1000));  // adds a third and a fourth block
  ASSERT_TRUE(mVolume->SetFilePosition(first, 2500));
  uint8_t byte = 0;
  double count = 1;
  ASSERT_TRUE(mVolume->ReadFileData(first, &count, &byte));
  EXPECT_EQ(byte, 0x6B);
  EXPECT_FALSE(mVolume->DeleteFile(fileID));  // open
  mVolume->CloseFile(first);
  EXPECT_FALSE(mVolume->DeleteFile(fileID));
  mVolume->CloseFile(second);
  ASSERT_TRUE(mVolume->DeleteFile(fileID));
  EXPECT_EQ(mVolume->GetBlockMap().QtyFreeEntries(), 4u);
}

// After a crash the stored map may call a block free that a file took since.
TEST_F(FlatVolumeTest, AStaleFreeEntryIsNotHandedOutAgain) {
  const uint32_t gone = mVolume->CreateFile();  // block 48
  ASSERT_TRUE(mVolume->FlushToDisk());          // file 1 gets a block with room for later images
  ASSERT_TRUE(mVolume->DeleteFile(gone));
  ASSERT_TRUE(mVolume->FlushToDisk());  // the image says: block 48 is free
  const uint32_t taker = mVolume->CreateFile();
  VFSBlockHeader header;
  double start = 0;
  ASSERT_TRUE(mVolume->FindFileFirstBlock(taker, &header, &start));
  ASSERT_EQ(start, 48);
  const int16_t handle = mVolume->OpenFile(taker);
  ASSERT_TRUE(mVolume->WriteFileData(handle, "precious", 8));
  mVolume->CloseFile(handle);
  std::unique_ptr<FileHandle> crashed(StreamWith(BytesOf(mStream)));  // taken before the map is saved again

  VFSVolume volume(crashed.get(), false);
  ASSERT_TRUE(volume.IsValid());
  const uint32_t fresh = volume.CreateFile();
  ASSERT_EQ(fresh, taker + 1);
  ASSERT_TRUE(volume.FindFileFirstBlock(fresh, &header, &start));
  EXPECT_EQ(start, 2096);
  ASSERT_TRUE(volume.FindFileFirstBlock(taker, &header, &start));  // the map learnt the owner
  EXPECT_EQ(start, 48);
  const int16_t reader = volume.OpenFile(taker);
  char text[8];
  double count = 8;
  ASSERT_TRUE(volume.ReadFileData(reader, &count, text));
  EXPECT_EQ(std::string(text, 8), "precious");
}

// After a rebuild every map entry has sequence 0; a file whose second block
// lies before its first must still open at its first block.
TEST_F(FlatVolumeTest, RebuiltMapStillFindsTheTrueFirstBlock) {
  const uint32_t early = mVolume->CreateFile();  // block 48
  const uint32_t fileID = mVolume->CreateFile();  // block 1072
  ASSERT_TRUE(mVolume->DeleteFile(early));
  const int16_t handle = mVolume->OpenFile(fileID);
  std::vector<uint8_t> bytes(1500);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i % 251);
  ASSERT_TRUE(mVolume->WriteFileData(handle, bytes.data(), 1500));  // second block reuses 48
  mVolume->CloseFile(handle);
  ASSERT_TRUE(mVolume->RebuildBlockMapFromScratch());
  const BlockMap& map = mVolume->GetBlockMap();
  for (size_t i = 0; i < map.QtyEntries(); ++i) EXPECT_EQ(map.Entry(i).sequence, 0u);
  EXPECT_EQ(ReadAll(fileID, 1500), bytes);
}

}  // namespace
}  // namespace parvex
