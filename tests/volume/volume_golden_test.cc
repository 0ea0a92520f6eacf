// Volume bytes, checked against images written out by hand from the layout:
// volume header, block headers and end marks, the block-map file and its
// image, item headers and folder lists, in versions 3, 2 and 1.
//
// f64 values used below (big-endian bit patterns):
//   4.0 = 4010000000000000    5.0 = 4014000000000000     8.0 = 4020000000000000
//   12.0 = 4028000000000000   21.0 = 4035000000000000    40.0 = 4044000000000000
//   100.0 = 4059000000000000  300.0 = 4072C00000000000   348.0 = 4075C00000000000
//   648.0 = 4084400000000000  748.0 = 4087600000000000   1024.0 = 4090000000000000
//   1072.0 = 4090C00000000000 3120.0 = 40A8600000000000  1e9 = 41CDCD6500000000
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

#include "volume/vfs_volume.h"
#include "volume/vhfs_volume.h"
#include "volume/volume_format.h"
#include "volume_test_util.h"

namespace parvex {
namespace {

using testing::BytesOf;
using testing::Hex;
using testing::Place;
using testing::SameBytes;
using testing::StreamWith;

double Now() {
  return static_cast<double>(
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count());
}

double DecodeDouble(const std::vector<uint8_t>& bytes, size_t offset, bool bigEndian) {
  uint64_t raw = 0;
  for (int i = 0; i < 8; ++i) {
    const uint8_t b = bytes[offset + (bigEndian ? i : 7 - i)];
    raw = (raw << 8) | b;
  }
  double value;
  std::memcpy(&value, &raw, sizeof value);
  return value;
}

// Item times come from the clock (local time, so up to a day away from UTC):
// each must lie in [before - 1 day, after + 1 day]; then the actual bytes are
// copied into the expected image.
void TakeTimes(std::vector<uint8_t>* expected, const std::vector<uint8_t>& actual, std::initializer_list<size_t> offsets,
               bool bigEndian, double before, double after) {
  for (size_t offset : offsets) {
    ASSERT_LE(offset + 8, actual.size());
    const double seconds = DecodeDouble(actual, offset, bigEndian);
    EXPECT_GE(seconds, before - 86400) << "time at " << offset;
    EXPECT_LE(seconds, after + 86400) << "time at " << offset;
    std::memcpy(expected->data() + offset, actual.data() + offset, 8);
  }
}

// A new hierarchical volume after it was destroyed: the root folder (file 2)
// in the block at 48, and the map image in a second block of file 1 at 1072,
// which the image itself does not list.
std::vector<uint8_t> NewVolumeImage() {
  std::vector<uint8_t> image;
  Place(&image, 0, "56465376 00000003");                                                    // "VFSv", version 3
  Place(&image, 8, "426C6B53 00000001 00000000 4044000000000000 4090C00000000000");         // file 1 #0, next 1072
  Place(&image, 36, "00000003 00000014 426C6B45");                                          // counter 3, L 20, "BlkE"
  Place(&image, 48, "426C6B53 00000002 00000000 4090000000000000 0000000000000000");        // root #0, 1024 bytes
  Place(&image, 76, "4010000000000000 666F6C64 00000000");                                  // length 4, "fold", parent 0
  Place(&image, 108, "2F");                                                                 // name "/", count 0 at 332
  Place(&image, 1068, "426C6B45");
  Place(&image, 1072, "426C6B53 00000001 00000001 4090000000000000 0000000000000000");      // file 1 #1
  Place(&image, 1100, "424D6170 00000001 | 00000030 00000002 00000000");                    // "BMap", (48, 2, 0)
  Place(&image, 2092, "426C6B45");
  return image;
}

TEST(VolumeGoldenTest, NewFlatVolumeIs48BytesUntilItsFirstFlush) {
  FileHandle stream;
  stream.Reset();
  std::unique_ptr<VFSVolume> volume = VFSVolume::Create(&stream, false);
  ASSERT_TRUE(volume && volume->IsValid());
  const std::vector<uint8_t> expected = Hex(
      "56465376 00000003 "                          // "VFSv", version 3
      "426C6B53 00000001 00000000 "                 // "BlkS", file 1, sequence 0
      "4044000000000000 0000000000000000 "          // size 40, next 0
      "00000002 00000000 "                          // next file ID 2, image length 0
      "426C6B45");                                  // "BlkE"
  EXPECT_TRUE(SameBytes(expected, BytesOf(stream)));
  EXPECT_EQ(volume->GetBlockMap().QtyEntries(), 0u);
  EXPECT_EQ(VFSVolume::Create(nullptr, true), nullptr);
}

TEST(VolumeGoldenTest, NewHierarchicalVolumeAfterDestruction) {
  FileHandle stream;
  stream.Reset();
  const double before = Now();
  ASSERT_NE(VHFSVolume::Create(&stream, false), nullptr);  // destroyed at once
  const double after = Now();
  std::vector<uint8_t> expected = NewVolumeImage();
  const std::vector<uint8_t> actual = BytesOf(stream);
  TakeTimes(&expected, actual, {92, 100}, true, before, after);
  EXPECT_TRUE(SameBytes(expected, actual));
}

TEST(VolumeGoldenTest, RootFolderWithAFileAndAFolder) {
  FileHandle stream;
  stream.Reset();
  const double before = Now();
  {
    std::unique_ptr<VHFSVolume> volume = VHFSVolume::Create(&stream, false);
    ASSERT_NE(volume, nullptr);
    VFileRef root = volume->GetRoot();
    EXPECT_EQ(volume->CreateFile(root, "a", FourCharCode("BINA")).fileID, 3u);
    EXPECT_EQ(volume->CreateDirectory(root, "d").fileID, 4u);
  }
  const double after = Now();
  std::vector<uint8_t> expected;
  Place(&expected, 0, "56465376 00000003");
  Place(&expected, 8, "426C6B53 00000001 00000000 4044000000000000 40A8600000000000");  // next 3120
  Place(&expected, 36, "00000005 0000002C 426C6B45");                                   // counter 5, L 44
  Place(&expected, 48, "426C6B53 00000002 00000000 4090000000000000 0000000000000000");
  Place(&expected, 76, "4028000000000000 666F6C64 00000000");                           // root: length 12
  Place(&expected, 108, "2F");
  Place(&expected, 332, "00000002 00000003 00000004");                                  // children 3, 4
  Place(&expected, 1068, "426C6B45");
  Place(&expected, 1072, "426C6B53 00000003 00000000 4090000000000000 0000000000000000");
  Place(&expected, 1100, "0000000000000000 42494E41 00000002");                         // length 0, "BINA", parent 2
  Place(&expected, 1132, "61");                                                         // "a"
  Place(&expected, 2092, "426C6B45");
  Place(&expected, 2096, "426C6B53 00000004 00000000 4090000000000000 0000000000000000");
  Place(&expected, 2124, "4010000000000000 666F6C64 00000002");                         // folder: length 4
  Place(&expected, 2156, "64");                                                         // "d", count 0 at 2380
  Place(&expected, 3116, "426C6B45");
  Place(&expected, 3120, "426C6B53 00000001 00000001 4090000000000000 0000000000000000");
  Place(&expected, 3148,
        "424D6170 00000003 | 00000030 00000002 00000000 | 00000430 00000003 00000000 | 00000830 00000004 00000000");
  Place(&expected, 4140, "426C6B45");
  const std::vector<uint8_t> actual = BytesOf(stream);
  TakeTimes(&expected, actual, {92, 100, 1116, 1124, 2140, 2148}, true, before, after);
  EXPECT_TRUE(SameBytes(expected, actual));
}

TEST(VolumeGoldenTest, ImageThatDoesNotParseIsRebuiltFromTheBlocks) {
  FileHandle made;
  made.Reset();
  ASSERT_NE(VHFSVolume::Create(&made, false), nullptr);
  std::vector<uint8_t> bytes = BytesOf(made);
  ASSERT_EQ(bytes.size(), 2096u);
  bytes[1100] = 'X';  // "XMap"

  std::unique_ptr<FileHandle> stream(StreamWith(bytes));
  {
    VHFSVolume volume(stream.get(), false);
    ASSERT_TRUE(volume.IsValid());
    // Rebuilt in block order, every entry with sequence 0 (file 1's second
    // block included), and saved at once.
    const BlockMap& map = volume.FlatVolume()->GetBlockMap();
    ASSERT_EQ(map.QtyEntries(), 3u);
    EXPECT_EQ(map.Entry(2).blockStart, 1072u);
    EXPECT_EQ(map.Entry(2).fileID, 1u);
    EXPECT_EQ(map.Entry(2).sequence, 0u);
    EXPECT_EQ(volume.GetRoot().type, kFolderType);
  }
  std::vector<uint8_t> expected = NewVolumeImage();
  Place(&expected, 40, "0000002C");  // L 44
  Place(&expected, 1100,
        "424D6170 00000003 | 00000008 00000001 00000000 | 00000030 00000002 00000000 | 00000430 00000001 00000000");
  std::memcpy(expected.data() + 92, bytes.data() + 92, 16);  // the root's times, as created
  EXPECT_TRUE(SameBytes(expected, BytesOf(*stream)));
}

// A version-2 volume written by hand with an empty image: block headers are
// big-endian, numbers inside file data little-endian.
TEST(VolumeGoldenTest, VersionTwoVolumeIsRebuiltAndWrittenWithItsByteOrder) {
  std::vector<uint8_t> input;
  Place(&input, 0, "56465376 00000002");
  Place(&input, 8, "426C6B53 00000001 00000000 4044000000000000 0000000000000000");
  Place(&input, 36, "00000003 00000000 426C6B45");                                  // counter 3, L 0
  Place(&input, 48, "426C6B53 00000002 00000000 4072C00000000000 0000000000000000");  // root, 300 bytes
  Place(&input, 76, "0000000000001040 646C6F66 00000000");                          // 4.0 LE, "fold" LE, parent 0
  Place(&input, 108, "2F");
  Place(&input, 344, "426C6B45");
  std::unique_ptr<FileHandle> stream(StreamWith(input));
  const double before = Now();
  {
    VHFSVolume volume(stream.get(), false);
    ASSERT_TRUE(volume.IsValid());
    EXPECT_EQ(volume.FlatVolume()->Version(), 2u);
    VFileRef root = volume.GetRoot();
    ASSERT_EQ(root.type, kFolderType);
    EXPECT_EQ(root.name.view(), "/");
    EXPECT_EQ(volume.CreateFile(root, "x", FourCharCode("BINA")).fileID, 3u);
  }
  const double after = Now();
  std::vector<uint8_t> expected = input;
  Place(&expected, 8, "426C6B53 00000001 00000000 4044000000000000 4075C00000000000");  // next 348
  Place(&expected, 36, "00000004 00000038");                                            // counter 4, L 56
  Place(&expected, 76, "0000000000002040");                                             // root length 8 LE
  Place(&expected, 332, "01000000 03000000");                                           // count 1, child 3 (LE)
  // Saving the rebuilt map at opening gave file 1 a second block; the
  // image written then did not list it, the image written at the end does.
  Place(&expected, 348, "426C6B53 00000001 00000001 4090000000000000 0000000000000000");
  Place(&expected, 376,
        "424D6170 00000004 | 00000008 00000001 00000000 | 00000030 00000002 00000000 | 0000015C 00000001 00000001 | "
        "0000055C 00000003 00000000");
  Place(&expected, 1368, "426C6B45");
  Place(&expected, 1372, "426C6B53 00000003 00000000 4090000000000000 0000000000000000");
  Place(&expected, 1400, "0000000000000000 414E4942 02000000");                         // length 0, "BINA" LE, parent 2
  Place(&expected, 1432, "78");                                                         // "x"
  Place(&expected, 2392, "426C6B45");
  const std::vector<uint8_t> actual = BytesOf(*stream);
  TakeTimes(&expected, actual, {1416, 1424}, false, before, after);
  EXPECT_TRUE(SameBytes(expected, actual));
}

// A version-1 volume written by hand, with a valid image: the f64 fields of
// block headers and all numbers in file data are little-endian.
std::vector<uint8_t> VersionOneVolume() {
  std::vector<uint8_t> image;
  Place(&image, 0, "56465376 00000001");
  Place(&image, 8, "426C6B53 00000001 00000000 0000000000004440 0000000000408440");   // 40, next 648 (LE)
  Place(&image, 36, "00000004 00000038 426C6B45");                                    // counter 4, L 56
  Place(&image, 48, "426C6B53 00000002 00000000 0000000000C07240 0000000000000000");  // root, 300
  Place(&image, 76, "0000000000002040 646C6F66 00000000");                            // length 8, "fold", parent 0
  Place(&image, 92, "0000000065CDCD41 0000000065CDCD41");                             // times 1e9
  Place(&image, 108, "2F");
  Place(&image, 332, "01000000 03000000");                                            // one child: 3
  Place(&image, 344, "426C6B45");
  Place(&image, 348, "426C6B53 00000003 00000000 0000000000C07240 0000000000000000");  // "hello", 300
  Place(&image, 376, "0000000000001440 414E4942 02000000");                           // length 5, "BINA", parent 2
  Place(&image, 392, "0000000065CDCD41 0000000065CDCD41");
  Place(&image, 408, "68656C6C6F");                                                   // "hello"
  Place(&image, 632, "48656C6C6F");                                                   // content "Hello"
  Place(&image, 644, "426C6B45");
  Place(&image, 648, "426C6B53 00000001 00000001 0000000000005940 0000000000000000");  // file 1 #1, 100
  Place(&image, 676,
        "424D6170 00000004 | 00000008 00000001 00000000 | 00000030 00000002 00000000 | 0000015C 00000003 00000000 | "
        "00000288 00000001 00000001");
  Place(&image, 744, "426C6B45");
  return image;
}

TEST(VolumeGoldenTest, VersionOneVolumeIsReadAndWrittenWithItsByteOrder) {
  const std::vector<uint8_t> input = VersionOneVolume();
  ASSERT_EQ(input.size(), 748u);
  std::unique_ptr<FileHandle> stream(StreamWith(input));
  {
    VHFSVolume volume(stream.get(), false);
    ASSERT_TRUE(volume.IsValid());
    EXPECT_EQ(volume.FlatVolume()->Version(), 1u);
    EXPECT_FALSE(stream->IsDoubleSwap());
    EXPECT_EQ(volume.FlatVolume()->GetBlockMap().QtyEntries(), 4u);  // parsed, not rebuilt
    VFileRef root = volume.GetRoot();
    ASSERT_EQ(root.type, kFolderType);
    std::vector<VFileRef> children;
    ASSERT_TRUE(volume.GetChildren(root, &children));
    ASSERT_EQ(children.size(), 1u);
    EXPECT_EQ(children[0].name.view(), "hello");
    EXPECT_EQ(children[0].type, FourCharCode("BINA"));
    const VFileInfo info = volume.GetFileInfo(children[0]);
    EXPECT_EQ(info.length, 5.0);
    EXPECT_EQ(info.creationTime, 1e9);
    EXPECT_EQ(volume.GetParent(children[0]).fileID, kRootDirectoryIDnum);

    std::unique_ptr<VFile> file = volume.OpenFile(children[0]);
    ASSERT_NE(file, nullptr);
    char text[16] = {};
    int32_t got = 0;
    ASSERT_TRUE(file->ReadData(text, 16, &got));
    EXPECT_EQ(std::string(text, got), "Hello");
    // 12 content bytes fit in the 300-byte block; the rest needs a new one.
    ASSERT_TRUE(file->WriteData(" world", 6));
    ASSERT_TRUE(file->WriteData("0123456789", 10));
    EXPECT_EQ(file->GetLength(), 21);
    ASSERT_TRUE(file->Close());
  }
  std::vector<uint8_t> expected = input;
  Place(&expected, 40, "00000044");                                                    // L 68
  Place(&expected, 348, "426C6B53 00000003 00000000 0000000000C07240 0000000000608740");  // next 748 (LE)
  Place(&expected, 376, "0000000000003540");                                           // length 21 (LE)
  Place(&expected, 632, "48656C6C6F20776F726C6430");                                  // "Hello world0"
  // The image now fills the 68 data bytes of file 1's second block exactly.
  Place(&expected, 676,
        "424D6170 00000005 | 00000008 00000001 00000000 | 00000030 00000002 00000000 | 0000015C 00000003 00000000 | "
        "00000288 00000001 00000001 | 000002EC 00000003 00000001");
  Place(&expected, 748, "426C6B53 00000003 00000001 0000000000009040 0000000000000000");  // #1, 1024 (LE)
  Place(&expected, 776, "313233343536373839");                                        // "123456789"
  Place(&expected, 1768, "426C6B45");
  EXPECT_TRUE(SameBytes(expected, BytesOf(*stream)));
}

}  // namespace
}  // namespace parvex
