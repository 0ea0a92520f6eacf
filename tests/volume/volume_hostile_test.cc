// Damaged and hostile volumes: every damage makes the operation that meets it
// fail (or the volume invalid); nothing hangs, crashes or reads outside its
// buffers (the sanitizers watch the last part).
//
// The base volume, as laid out by the allocation order: root folder in the
// block at 48, file "f" (ID 3, 1500 content bytes) in the blocks at 1072 and
// 2096, file 1's second block (the map image) at 3120; 4144 bytes in all.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>
#include <limits>
#include <utility>

#include "volume/vfs_volume.h"
#include "volume/vhfs_volume.h"
#include "volume/volume_format.h"
#include "volume_test_util.h"

namespace parvex {
namespace {

using testing::BytesOf;
using testing::StreamWith;
using testing::TrackedStream;

constexpr size_t kFileFirst = 1072;
constexpr size_t kFileSecond = 2096;
constexpr size_t kMapSecond = 3120;
constexpr size_t kRootData = 48 + kBlockHeaderSize;
constexpr size_t kFileData = kFileFirst + kBlockHeaderSize;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

void PutLong(std::vector<uint8_t>* bytes, size_t offset, uint32_t value) {
  for (int i = 0; i < 4; ++i) (*bytes)[offset + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

void PutDouble(std::vector<uint8_t>* bytes, size_t offset, double value) {
  uint64_t raw;
  std::memcpy(&raw, &value, sizeof raw);
  for (int i = 0; i < 8; ++i) (*bytes)[offset + i] = static_cast<uint8_t>(raw >> (56 - 8 * i));
}

std::vector<uint8_t> BaseVolume() {
  FileHandle stream;
  stream.Reset();
  {
    std::unique_ptr<VHFSVolume> volume = VHFSVolume::Create(&stream, false);
    VFileRef ref = volume->CreateFile(volume->GetRoot(), "f", FourCharCode("BINA"));
    std::unique_ptr<VFile> file = volume->OpenFile(ref);
    std::vector<uint8_t> content(1500);
    for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<uint8_t>(i);
    file->WriteData(content.data(), 1500);
  }
  std::vector<uint8_t> bytes = BytesOf(stream);
  EXPECT_EQ(bytes.size(), 4144u);
  return bytes;
}

// Opens the bytes and reads file "f" to its length; returns the bytes read
// (-1 when the volume, the tree or the file can't be opened).
int64_t ReadF(const std::vector<uint8_t>& bytes) {
  std::unique_ptr<FileHandle> stream(StreamWith(bytes));
  VHFSVolume volume(stream.get(), false);
  if (!volume.IsValid()) return -1;
  std::vector<VFileRef> children;
  volume.GetChildren(volume.GetRoot(), &children);
  if (children.empty()) return -1;
  std::unique_ptr<VFile> file = volume.OpenFile(children[0]);
  if (!file) return -1;
  std::vector<uint8_t> buffer(4000);
  int32_t got = 0;
  file->ReadData(buffer.data(), static_cast<int32_t>(buffer.size()), &got);
  for (int32_t i = 0; i < std::min(got, 1500); ++i) EXPECT_EQ(buffer[i], static_cast<uint8_t>(i));
  return got;
}

TEST(HostileVolumeTest, NotAVolumeDestroysAnOwnedStream) {
  const std::vector<std::vector<uint8_t>> inputs = {
      {},
      testing::Hex("56465376"),                      // magic only
      testing::Hex("56465378 00000003"),             // wrong magic
      testing::Hex("56465376 00000004"),             // version 4
      testing::Hex("56465376 00000003 426C6B53"),    // cut inside the first header
  };
  for (const std::vector<uint8_t>& input : inputs) {
    bool destroyed = false;
    auto* stream = new TrackedStream(&destroyed);
    if (!input.empty()) stream->WriteData(input.data(), static_cast<int32_t>(input.size()));
    VHFSVolume volume(stream, true);
    EXPECT_FALSE(volume.IsValid());
    EXPECT_TRUE(destroyed);
    EXPECT_TRUE(volume.GetRoot().IsEmpty());
    EXPECT_EQ(volume.FlatVolume()->CreateFile(), 0u);
  }
}

TEST(HostileVolumeTest, FirstBlockMustBeTheMapsAndFitTheFile) {
  const std::vector<uint8_t> base = BaseVolume();
  for (double size : {20.0, 35.0, -40.0, kNaN, 1e300, 40.5, 5000.0}) {
    std::vector<uint8_t> bytes = base;
    PutDouble(&bytes, 8 + kBlockSizeOffset, size);
    EXPECT_EQ(ReadF(bytes), -1) << size;
  }
  std::vector<uint8_t> bytes = base;
  PutLong(&bytes, 8 + kBlockFileIDOffset, 2);
  EXPECT_EQ(ReadF(bytes), -1);
  EXPECT_EQ(ReadF(base), 1500);
}

TEST(HostileVolumeTest, BrokenChainsEndReadsInsteadOfLooping) {
  const std::vector<uint8_t> base = BaseVolume();
  // The first block's content holds 992 - 256 = 736 bytes; the rest of the
  // file is only reachable through the link.
  for (double next : {static_cast<double>(kFileFirst), static_cast<double>(kFileSecond + 100), 4144.0, 1e12, -8.0,
                      kNaN, 2096.5, 4.0}) {
    std::vector<uint8_t> bytes = base;
    PutDouble(&bytes, kFileFirst + kBlockNextOffset, next);
    EXPECT_EQ(ReadF(bytes), 736) << next;
  }
  // A second block pointing back to the first (a loop of two).
  std::vector<uint8_t> bytes = base;
  PutDouble(&bytes, kFileSecond + kBlockNextOffset, static_cast<double>(kFileFirst));
  EXPECT_EQ(ReadF(bytes), 1500);
  std::unique_ptr<FileHandle> stream(StreamWith(bytes));
  {
    VHFSVolume volume(stream.get(), false);
    std::vector<VFileRef> children;
    ASSERT_TRUE(volume.GetChildren(volume.GetRoot(), &children));
    std::unique_ptr<VFile> file = volume.OpenFile(children[0]);
    EXPECT_TRUE(file->SeekFromStart(1984 - 256));
    EXPECT_FALSE(file->SeekFromStart(1984 - 256 + 1));
    EXPECT_FALSE(file->WriteData(std::vector<uint8_t>(600).data(), 600));  // the link can't be followed
    file.reset();
    EXPECT_TRUE(volume.DeleteFile(children[0]));  // stops at the block already freed
  }
  // A block that says it belongs to another file, or comes out of order.
  for (size_t field : {kBlockFileIDOffset, kBlockSequenceOffset}) {
    std::vector<uint8_t> other = base;
    PutLong(&other, kFileSecond + field, 7);
    EXPECT_EQ(ReadF(other), 736);
  }
}

TEST(HostileVolumeTest, ImpossibleBlockSizesAndItemLengthsRefuseTheFile) {
  const std::vector<uint8_t> base = BaseVolume();
  for (double size : {kNaN, -1024.0, 0.0, 31.0, 1e300, 1024.25, 4000.0}) {
    std::vector<uint8_t> bytes = base;
    PutDouble(&bytes, kFileFirst + kBlockSizeOffset, size);
    EXPECT_EQ(ReadF(bytes), -1) << size;  // the item header can't be read
  }
  for (double size : {kNaN, 31.0, 3000.0}) {
    std::vector<uint8_t> bytes = base;
    PutDouble(&bytes, kFileSecond + kBlockSizeOffset, size);
    EXPECT_EQ(ReadF(bytes), 736) << size;
  }
  for (double length : {kNaN, -1.0, 1e300, static_cast<double>(INT32_MAX)}) {
    std::vector<uint8_t> bytes = base;
    PutDouble(&bytes, kFileData + kItemLengthOffset, length);
    EXPECT_EQ(ReadF(bytes), -1) << length;
  }
  // A length beyond the blocks reads what the blocks hold.
  std::vector<uint8_t> bytes = base;
  PutDouble(&bytes, kFileData + kItemLengthOffset, 100000);
  EXPECT_EQ(ReadF(bytes), 1984 - 256);
}

TEST(HostileVolumeTest, FolderCountsBeyondTheirContent) {
  const std::vector<uint8_t> base = BaseVolume();
  std::vector<uint8_t> bytes = base;
  PutLong(&bytes, kRootData + kFolderCountOffset, 1000);  // more than a quarter of the length (8)
  std::unique_ptr<FileHandle> stream(StreamWith(bytes));
  {
    VHFSVolume volume(stream.get(), false);
    std::vector<VFileRef> children;
    EXPECT_TRUE(volume.GetChildren(volume.GetRoot(), &children));
    EXPECT_TRUE(children.empty());
    VFileRef f;
    f.fileID = 3;
    ASSERT_TRUE(volume.LoadFileInfo(&f));
    EXPECT_FALSE(volume.UnlinkFile(f, volume.GetRoot()));
  }
  // A huge length lets a huge count through the guard: the list ends with
  // the folder's blocks.
  bytes = base;
  PutDouble(&bytes, kRootData + kItemLengthOffset, 1e18);
  PutLong(&bytes, kRootData + kFolderCountOffset, 0xFFFFFFF0);
  stream.reset(StreamWith(bytes));
  VHFSVolume volume(stream.get(), false);
  std::vector<VFileRef> children;
  EXPECT_FALSE(volume.GetChildren(volume.GetRoot(), &children));
  EXPECT_EQ(children.size(), 1u);  // "f"; the zero IDs after it load nothing
  EXPECT_FALSE(volume.LinkFile(children[0], volume.GetRoot()));
}

TEST(HostileVolumeTest, ParentChainsThatLoopDoNotHangMoves) {
  FileHandle stream;
  stream.Reset();
  std::unique_ptr<VHFSVolume> volume = VHFSVolume::Create(&stream, false);
  VFileRef root = volume->GetRoot();
  VFileRef a = volume->CreateDirectory(root, "a");  // ID 3, block 1072
  VFileRef b = volume->CreateDirectory(a, "b");     // ID 4, block 2096
  VFileRef c = volume->CreateDirectory(root, "c");
  volume.reset();
  std::vector<uint8_t> bytes = BytesOf(stream);
  PutLong(&bytes, kFileData + kItemParentOffset, 4);  // a's parent is b, b's parent is a
  std::unique_ptr<FileHandle> damaged(StreamWith(bytes));
  VHFSVolume reopened(damaged.get(), false);
  EXPECT_TRUE(reopened.MoveFile(c, b));   // c is not above b; the walk up from b must end
  EXPECT_FALSE(reopened.MoveFile(b, c));  // now c is inside b
}

TEST(HostileVolumeTest, DamagedImagesAreRebuilt) {
  const std::vector<uint8_t> base = BaseVolume();
  const size_t image = kMapSecond + kBlockHeaderSize;
  // A count larger than the image, and an image length larger than the file.
  for (auto patch : {+[](std::vector<uint8_t>* b) { PutLong(b, kMapSecond + kBlockHeaderSize + 4, 0x10000000); },
                     +[](std::vector<uint8_t>* b) { PutLong(b, 40, 0x7FFFFFFF); }}) {
    std::vector<uint8_t> bytes = base;
    patch(&bytes);
    std::unique_ptr<FileHandle> stream(StreamWith(bytes));
    VHFSVolume volume(stream.get(), false);
    ASSERT_TRUE(volume.IsValid());
    EXPECT_EQ(volume.FlatVolume()->GetBlockMap().QtyEntries(), 5u);  // one per block, found by scanning
    EXPECT_EQ(ReadF(BytesOf(*stream)), 1500);
  }
  // The scan stops at a block whose size can't be stepped over.
  std::vector<uint8_t> bytes = base;
  bytes[image] = 'X';
  PutDouble(&bytes, kFileSecond + kBlockSizeOffset, 0);
  std::unique_ptr<FileHandle> stream(StreamWith(bytes));
  VHFSVolume volume(stream.get(), false);
  ASSERT_TRUE(volume.IsValid());
  EXPECT_EQ(volume.FlatVolume()->GetBlockMap().QtyEntries(), 3u);
}

TEST(HostileVolumeTest, CounterThatWouldRepeatAnIDStopsCreation) {
  const std::vector<uint8_t> base = BaseVolume();
  for (uint32_t counter : {0u, 1u, 3u, 0xFFFFFFFFu}) {
    std::vector<uint8_t> bytes = base;
    PutLong(&bytes, kFileIDCounterPlace, counter);
    std::unique_ptr<FileHandle> stream(StreamWith(bytes));
    VHFSVolume volume(stream.get(), false);
    EXPECT_EQ(volume.FlatVolume()->CreateFile(), 0u) << counter;
    EXPECT_EQ(ReadF(BytesOf(*stream)), 1500);
  }
}

// Reads file "f" of the volume in `stream` whole; the bytes read, and the
// error code of the read (0 when it succeeded), or -1 bytes when "f" can't
// be opened.
std::pair<int32_t, int32_t> ReadWholeF(FileHandle* stream) {
  VHFSVolume volume(stream, false);
  std::vector<VFileRef> children;
  volume.GetChildren(volume.GetRoot(), &children);
  std::unique_ptr<VFile> file = children.empty() ? nullptr : volume.OpenFile(children[0]);
  if (!file) return {-1, 0};
  std::vector<uint8_t> buffer(1500);
  int32_t got = 0;
  const bool ok = file->ReadData(buffer.data(), 1500, &got);
  return {got, ok ? 0 : file->LastError()};
}

TEST(HostileVolumeTest, TruncatedVolumeKeepsWhatIsWhole) {
  std::vector<uint8_t> bytes = BaseVolume();
  bytes.resize(3000);  // cuts the file's second block and the map's block
  std::unique_ptr<FileHandle> stream(StreamWith(bytes));
  // Damage, not an I/O error.
  EXPECT_EQ(ReadWholeF(stream.get()), std::make_pair(736, kStreamDamagedError));
  EXPECT_FALSE(VFSVolume(stream.get(), false).EndsCleanly());
  // Cut at a block boundary: the map still lists the blocks that are gone.
  bytes.resize(kFileSecond);
  stream.reset(StreamWith(bytes));
  EXPECT_FALSE(VFSVolume(stream.get(), false).EndsCleanly());
  stream.reset(StreamWith(BaseVolume()));
  EXPECT_TRUE(VFSVolume(stream.get(), false).EndsCleanly());
}

// A host stream whose reads fail from some offset on, as a disk that
// returns EIO.
class FailingStream : public FileHandle {
 public:
  explicit FailingStream(int32_t from) : mFrom(from) { Reset(); }
  bool ReadData(void* buffer, int32_t count, int32_t* bytesRead) override {
    if (GetPosition() + count > mFrom) {
      if (bytesRead) *bytesRead = 0;
      SetLastError(EIO);
      return false;
    }
    return FileHandle::ReadData(buffer, count, bytesRead);
  }

 private:
  int32_t mFrom;
};

TEST(HostileVolumeTest, ReadErrorsOfTheHostFileAreNotDamage) {
  FailingStream stream(static_cast<int32_t>(kFileSecond + 100));
  const std::vector<uint8_t> bytes = BaseVolume();
  stream.WriteData(bytes.data(), static_cast<int32_t>(bytes.size()));
  EXPECT_EQ(ReadWholeF(&stream).second, EIO);
}

// Work on damaged maps is counted in stream reads: every false entry may be
// read once, but not once per lookup.
constexpr int kFillers = 2000;
constexpr int kLookups = 300;

TEST(HostileVolumeTest, FalseFirstBlocksAreSearchedOncePerMapState) {
  testing::CountingStream stream;
  std::unique_ptr<VFSVolume> volume = VFSVolume::Create(&stream, false);
  volume->SetBlockSizePrefs(40, 64, 100);  // 32 data bytes per block
  std::vector<uint32_t> fillers;
  for (int i = 0; i < kFillers; ++i) fillers.push_back(volume->CreateFile());
  const uint32_t target = volume->CreateFile();  // its first block lies after the fillers'
  for (uint32_t filler : fillers) ASSERT_TRUE(volume->DeleteFile(filler));
  std::vector<uint8_t> data(32 * (kFillers + 1));
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i % 253);
  int16_t handle = volume->OpenFile(target);
  ASSERT_TRUE(volume->WriteFileData(handle, data.data(), static_cast<double>(data.size())));  // takes the freed blocks
  volume->CloseFile(handle);
  // Rebuilt, the map lists every block of the target as a first block, the
  // true one last.
  ASSERT_TRUE(volume->RebuildBlockMapFromScratch());
  stream.reads = 0;
  for (int i = 0; i < kLookups; ++i) {
    handle = volume->OpenFile(target);
    ASSERT_GE(handle, 0);
    volume->CloseFile(handle);
  }
  EXPECT_LT(stream.reads, 10 * (kFillers + kLookups));  // not kFillers * kLookups
  handle = volume->OpenFile(target);
  std::vector<uint8_t> back(data.size());
  double count = static_cast<double>(back.size());
  ASSERT_TRUE(volume->ReadFileData(handle, &count, back.data()));
  EXPECT_EQ(back, data);
}

TEST(HostileVolumeTest, UnusableFreeBlocksArePassedOverOnce) {
  std::vector<uint8_t> bytes;
  {
    FileHandle stream;
    stream.Reset();
    std::unique_ptr<VFSVolume> volume = VFSVolume::Create(&stream, false);
    volume->SetBlockSizePrefs(40, 64, 100);
    std::vector<uint32_t> fillers;  // blocks at 48 + 64 i
    for (int i = 0; i < kFillers; ++i) fillers.push_back(volume->CreateFile());
    volume->SetBlockSizePrefs(40, 65536, 100);
    ASSERT_TRUE(volume->FlushToDisk());  // file 1 gets one block big enough for every image below
    volume->SetBlockSizePrefs(40, 64, 100);
    for (uint32_t filler : fillers) ASSERT_TRUE(volume->DeleteFile(filler));
    ASSERT_TRUE(volume->FlushToDisk());  // the image lists them all as free
    volume.reset();
    bytes = BytesOf(stream);
  }
  for (int i = 0; i < kFillers; ++i) PutDouble(&bytes, 48 + 64 * i + kBlockSizeOffset, kNaN);
  testing::CountingStream stream;
  stream.WriteData(bytes.data(), static_cast<int32_t>(bytes.size()));
  VFSVolume volume(&stream, false);
  ASSERT_TRUE(volume.IsValid());
  ASSERT_EQ(volume.GetBlockMap().QtyFreeEntries(), static_cast<size_t>(kFillers));
  stream.reads = 0;
  for (int i = 0; i < kLookups; ++i) {
    const uint32_t fileID = volume.CreateFile();
    ASSERT_NE(fileID, 0u);
    VFSBlockHeader header;
    double start = 0;
    ASSERT_TRUE(volume.FindFileFirstBlock(fileID, &header, &start));
    ASSERT_GE(start, static_cast<double>(bytes.size()));  // appended, never a damaged block
  }
  EXPECT_LT(stream.reads, 10 * (kFillers + kLookups));
}

}  // namespace
}  // namespace parvex
