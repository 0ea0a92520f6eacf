// VFSVolume: creating and opening volumes, the block map, allocating,
// creating, deleting, opening and closing files, block headers.
// (Positioning and transfers inside files are in vfs_file_io.cc.)
#include "volume/vfs_volume.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "platform/file_ptr.h"
#include "volume/volume_format.h"

namespace parvex {

namespace {

// Zero bytes for the data area of new blocks, written a chunk at a time.
constexpr int32_t kZeroChunk = 4096;
const uint8_t kZeros[kZeroChunk] = {};

// A whole number in [low, high]; false for NaN and infinities.
bool IsWholeInRange(double value, double low, double high) {
  return value >= low && value <= high && value == std::floor(value);
}

}  // namespace

VFSVolume::VFSVolume(RandomAccessMechanism* stream, bool ownsStream, CreateTag)
    : mStream(stream),
      mOwnedStream(ownsStream ? stream : nullptr),
      mMinReusableSize(kDefaultMinReusableBlockSize),
      mNewBlockSize(kDefaultNewBlockSize),
      mMaxReusableSize(kDefaultMaxReusableBlockSize) {}

VFSVolume::VFSVolume(RandomAccessMechanism* stream, bool ownsStream)
    : VFSVolume(stream, ownsStream, CreateTag{}) {
  mValid = stream && Open();
  if (!mValid && mOwnedStream) {
    mOwnedStream.reset();
    mStream = nullptr;
  }
}

std::unique_ptr<VFSVolume> VFSVolume::Create(RandomAccessMechanism* stream, bool ownsStream) {
  if (!stream) return nullptr;
  std::unique_ptr<VFSVolume> volume(new VFSVolume(stream, ownsStream, CreateTag{}));
  volume->mValid = volume->InitializeNewVolume();
  volume->mMapChanged = true;  // file 1 holds no image yet
  return volume;
}

VFSVolume::~VFSVolume() {
  if (!mStream) return;
  if (mValid) UpdateBlockMap();
  mStream->Close();
}

void VFSVolume::ApplyByteOrder() {
  mStream->SetBigEndian();
  mStream->SetDoubleSwap(mVersion != kVolumeVersionLittleEndianDoubles);
}

bool VFSVolume::DataIsBigEndian() const { return mVersion > kVolumeVersionLastLittleEndianData; }

bool VFSVolume::InitializeNewVolume() {
  mVersion = kVolumeVersionCurrent;
  ApplyByteOrder();
  mCounterPlace = kFileIDCounterPlace;
  const VFSBlockHeader first{kBlockStartMagic, kBlockMapFileID, 0, kNewVolumeFirstBlockSize, 0};
  return mStream->SetLength(0) && mStream->SeekFromStart(kVolumeMagicOffset) && mStream->WriteLong(kVolumeMagic) &&
         mStream->WriteLong(kVolumeVersionCurrent) && WriteHeader(first) && mStream->WriteLong(kFirstFileID) &&
         mStream->WriteLong(0) && mStream->WriteLong(kBlockEndMagic);
}

bool VFSVolume::Open() {
  mStream->SetBigEndian();
  uint32_t magic = 0;
  uint32_t version = 0;
  if (!mStream->SeekFromStart(kVolumeMagicOffset) || !mStream->ReadLong(&magic) || magic != kVolumeMagic) return false;
  if (!mStream->ReadLong(&version) || version > kVolumeVersionCurrent) return false;
  mVersion = version;
  ApplyByteOrder();

  VFSBlockHeader first;
  if (!ReadHeaderAt(kFirstBlockStart, &first) || first.magic != kBlockStartMagic || first.fileID != kBlockMapFileID ||
      !(first.size >= kFirstBlockMinimumSize) || !IsUsableBlock(kFirstBlockStart, first.size)) {
    return false;
  }
  mCounterPlace = mStream->GetPosition();
  // The valid flag is needed by the map's own file operations below.
  mValid = true;
  const bool loaded = LoadBlockMapImage();
  if (!loaded) RebuildBlockMapFromScratch();
  mEndsCleanly = BlocksReachTheEnd();
  // A rebuilt map is saved at once, unless the file turned out cut short.
  if (!loaded && mEndsCleanly) UpdateBlockMap();
  return true;
}

bool VFSVolume::BlocksReachTheEnd() {
  const int64_t length = mStream->GetLength();
  // A block the map lists past the end was cut off; blocks after the last
  // one it lists (file 1 may have grown while its image was written) must
  // step to the end exactly.
  int64_t last = kFirstBlockStart;
  for (size_t i = 0; i < mBlockMap.QtyEntries(); ++i) {
    const int64_t start = mBlockMap.Entry(i).blockStart;
    if (start + kBlockHeaderSize > length) return false;
    last = std::max(last, start);
  }
  VFSBlockHeader header;
  for (int64_t at = last; at < length; at += static_cast<int64_t>(header.size)) {
    if (!ReadHeaderAt(at, &header) || header.magic != kBlockStartMagic || !IsUsableBlock(at, header.size)) {
      return false;
    }
  }
  // The map's own chain is read before the map exists (a rebuilt map can't
  // list what was cut off): its links must stay inside the file.
  VFSOpenFile mapFile;
  if (!OpenRecord(kBlockMapFileID, &mapFile)) return false;
  for (ChainStep step = ExtendChain(mapFile); step != ChainStep::kEnd; step = ExtendChain(mapFile)) {
    if (step == ChainStep::kFailed) return mapFile.chain.back().next < static_cast<double>(length);
  }
  return true;
}

bool VFSVolume::LoadBlockMapImage() {
  VFSOpenFile mapFile;
  uint8_t lengthBytes[4];
  int64_t got = 0;
  if (!OpenRecord(kBlockMapFileID, &mapFile) || !Seek(mapFile, kMapFileImageLengthOffset) ||
      !Read(mapFile, lengthBytes, sizeof lengthBytes, &got) || got != static_cast<int64_t>(sizeof lengthBytes)) {
    return false;
  }
  // The image length is big-endian in every version.
  FilePtr lengthField(static_cast<const void*>(lengthBytes), sizeof lengthBytes);
  lengthField.SetBigEndian();
  uint32_t length = 0;
  lengthField.ReadLong(&length);
  // An image can't be longer than the volume; a longer length is damage.
  if (length > static_cast<uint32_t>(std::max(0, mStream->GetLength()))) return false;
  std::vector<uint8_t> image(length);
  if (!Read(mapFile, image.data(), length, &got) || got != static_cast<int64_t>(length)) return false;
  return mBlockMap.ConstructBlockMapFromBuffer(image.data(), image.size());
}

void VFSVolume::SetBlockSizePrefs(double minimum, double newSize, double maximum) {
  const bool sane = IsWholeInRange(newSize, kBlockOverhead + 1, INT32_MAX) && minimum <= maximum;
  assert(sane && "block-size preferences");
  if (!sane) return;
  mMinReusableSize = minimum;
  mNewBlockSize = newSize;
  mMaxReusableSize = maximum;
  mFreeSearchFrom = 0;
}

// --- block headers -------------------------------------------------------------------

bool VFSVolume::ReadHeader(VFSBlockHeader* header) {
  return mStream->ReadLong(&header->magic) && mStream->ReadLong(&header->fileID) &&
         mStream->ReadLong(&header->sequence) && mStream->ReadDouble(&header->size) &&
         mStream->ReadDouble(&header->next);
}

bool VFSVolume::WriteHeader(const VFSBlockHeader& header) {
  return mStream->WriteLong(header.magic) && mStream->WriteLong(header.fileID) &&
         mStream->WriteLong(header.sequence) && mStream->WriteDouble(header.size) && mStream->WriteDouble(header.next);
}

bool VFSVolume::ReadHeaderAt(int64_t start, VFSBlockHeader* header) {
  if (start < kFirstBlockStart || start > INT32_MAX || start + kBlockHeaderSize > mStream->GetLength()) {
    mLastFailure = kStreamDamagedError;
    return false;
  }
  if (!mStream->SeekFromStart(static_cast<int32_t>(start)) || !ReadHeader(header)) {
    NoteStreamFailure();
    return false;
  }
  return true;
}

void VFSVolume::NoteStreamFailure() {
  const int32_t code = mStream->LastError();
  mLastFailure = code != 0 && code != kStreamDamagedError ? code : EIO;
}

bool VFSVolume::WriteHeaderAt(int64_t start, const VFSBlockHeader& header) {
  return mStream->SeekFromStart(static_cast<int32_t>(start)) && WriteHeader(header);
}

bool VFSVolume::ReadHeader(int16_t handle, VFSBlockHeader* header) {
  VFSOpenFile* file = Record(handle);
  if (!file) return false;
  return ReadHeaderAt(file->chain[file->current].start, header) && header->fileID == file->fileID;
}

bool VFSVolume::IsUsableBlock(int64_t start, double size) {
  const int64_t length = mStream->GetLength();
  return start >= kFirstBlockStart && IsWholeInRange(size, kBlockOverhead, static_cast<double>(length - start));
}

// --- the block map ---------------------------------------------------------------------

bool VFSVolume::UpdateBlockMap() {
  if (!mValid) return false;
  if (!mMapChanged) return true;
  const std::vector<uint8_t> image = mBlockMap.WriteBlockMapToBuffer();
  // Blocks that this write gives to file 1 change the map again.
  mMapChanged = false;
  uint8_t lengthBytes[4];
  FilePtr lengthField(static_cast<void*>(lengthBytes), sizeof lengthBytes);
  lengthField.SetBigEndian();  // in every version
  lengthField.WriteLong(static_cast<uint32_t>(image.size()));
  // A private record instead of a handle: saving the map must work even when
  // the open-file table is full.
  VFSOpenFile mapFile;
  const bool written = OpenRecord(kBlockMapFileID, &mapFile) && Seek(mapFile, kMapFileImageLengthOffset) &&
                       Write(mapFile, lengthBytes, sizeof lengthBytes) &&
                       Write(mapFile, image.data(), static_cast<int64_t>(image.size()));
  if (!written) mMapChanged = true;
  return written;
}

bool VFSVolume::RebuildBlockMapFromScratch() {
  if (!mValid) return false;
  MutableMap().Clear();
  mFreeBlockSizes.clear();
  mFreeSearchFrom = 0;
  // Every block gets sequence 0 and the magic is not checked: the scan only
  // records which file owns which block. It stops at the first header that
  // can't be read or whose size can't be a block.
  int64_t start = kFirstBlockStart;
  VFSBlockHeader header;
  while (ReadHeaderAt(start, &header) && IsUsableBlock(start, header.size)) {
    MutableMap().AddEntry(header.fileID, static_cast<uint32_t>(start), 0);
    if (header.fileID == kFreeBlockID) mFreeBlockSizes[static_cast<uint32_t>(start)] = header.size;
    start += static_cast<int64_t>(header.size);
  }
  return true;
}

bool VFSVolume::FlushToDisk() {
  if (!mValid) return false;
  const bool saved = UpdateBlockMap();
  const bool flushed = mStream->FlushToDisk();
  return saved && flushed;
}

// --- allocation ---------------------------------------------------------------------------

double VFSVolume::FindOrAllocateBlock(double* size) {
  *size = 0;
  if (!mValid) return -1;
  // Free blocks in map order; the first whose size is within the reuse range.
  // The walk stops at the first usable entry, so every entry it passes over
  // stays unusable and is not looked at again.
  uint32_t blockStart = 0;
  for (uint32_t index = mBlockMap.FindBlockStartByID(kFreeBlockID, &blockStart, mFreeSearchFrom, 0);
       index != BlockMap::kNotFound; index = mBlockMap.FindBlockStartByID(kFreeBlockID, &blockStart, index + 1, 0)) {
    double blockSize;
    auto known = mFreeBlockSizes.find(blockStart);
    if (known != mFreeBlockSizes.end()) {
      blockSize = known->second;
    } else {
      VFSBlockHeader header;
      if (!ReadHeaderAt(blockStart, &header)) return -1;
      if (header.magic == kBlockStartMagic && header.fileID != kFreeBlockID) {
        // A stale map (the volume was not flushed after this block was
        // taken): record the true owner instead of handing the block out.
        const uint32_t owner = header.fileID;
        const uint32_t sequence = header.sequence;
        MutableMap().ChangeEntryByBlockStart(blockStart, owner, sequence);
        mFreeSearchFrom = index + 1;
        continue;
      }
      blockSize = header.size;
      if (IsUsableBlock(blockStart, blockSize)) mFreeBlockSizes[blockStart] = blockSize;
    }
    if (blockSize >= mMinReusableSize && blockSize <= mMaxReusableSize && IsUsableBlock(blockStart, blockSize)) {
      *size = blockSize;
      return blockStart;
    }
    mFreeSearchFrom = index + 1;
  }

  // Append a block at the end of the stream.
  const int64_t start = mStream->GetLength();
  const int64_t newSize = static_cast<int64_t>(mNewBlockSize);
  if (start < kFirstBlockStart || start + newSize > INT32_MAX) return -1;
  const VFSBlockHeader header{kBlockStartMagic, kFreeBlockID, 0, mNewBlockSize, 0};
  if (!WriteHeaderAt(start, header) || !mStream->SetLength(static_cast<int32_t>(start + newSize))) return -1;
  if (mZeroFill) {
    for (int64_t left = newSize - kBlockOverhead; left > 0; left -= kZeroChunk) {
      if (!mStream->WriteData(kZeros, static_cast<int32_t>(std::min<int64_t>(left, kZeroChunk)))) return -1;
    }
  }
  if (!mStream->SeekFromStart(static_cast<int32_t>(start + newSize - kBlockEndMarkSize)) ||
      !mStream->WriteLong(kBlockEndMagic)) {
    return -1;
  }
  MutableMap().AddEntry(kFreeBlockID, static_cast<uint32_t>(start), 0);
  *size = mNewBlockSize;
  return static_cast<double>(start);
}

// --- files ---------------------------------------------------------------------------------

uint32_t VFSVolume::CreateFile() {
  if (!mValid) return 0;
  uint32_t counter = 0;
  if (!mStream->SeekFromStart(mCounterPlace) || !mStream->ReadLong(&counter)) return 0;
  // A counter that would hand out the free ID, the map's ID, wrap around, or
  // repeat an ID in use belongs to a damaged volume.
  uint32_t inUse = 0;
  if (counter < kFirstFileID || counter == UINT32_MAX ||
      mBlockMap.FindBlockStartByID(counter, &inUse, 0, 0) != BlockMap::kNotFound) {
    return 0;
  }
  if (!mStream->SeekFromStart(mCounterPlace) || !mStream->WriteLong(counter + 1)) return 0;
  const uint32_t fileID = counter;
  double size = 0;
  const double start = FindOrAllocateBlock(&size);
  if (start < 0) return 0;
  if (!WriteHeaderAt(static_cast<int64_t>(start), {kBlockStartMagic, fileID, 0, size, 0})) return 0;
  MutableMap().ChangeEntryByBlockStart(static_cast<uint32_t>(start), fileID, 0);
  return fileID;
}

bool VFSVolume::DeleteFile(uint32_t fileID) {
  if (!mValid || fileID < kFirstFileID || mOpenCounts.count(fileID)) return false;
  VFSBlockHeader header;
  double firstStart = 0;
  if (!FindFileFirstBlock(fileID, &header, &firstStart)) return false;
  // Only the file-ID field of each header is cleared; freed blocks keep their
  // size and their link. A loop in the chain ends at a block already cleared.
  int64_t start = static_cast<int64_t>(firstStart);
  while (header.magic == kBlockStartMagic && header.fileID == fileID) {
    if (!mStream->SeekFromStart(static_cast<int32_t>(start + kBlockFileIDOffset)) ||
        !mStream->WriteLong(kFreeBlockID)) {
      return false;
    }
    MutableMap().ChangeEntryByBlockStart(static_cast<uint32_t>(start), kFreeBlockID, 0);
    mFreeSearchFrom = std::min(mFreeSearchFrom, mBlockMap.FindIndexByBlockStart(static_cast<uint32_t>(start)));
    if (IsUsableBlock(start, header.size)) mFreeBlockSizes[static_cast<uint32_t>(start)] = header.size;
    if (header.next == 0 || !IsWholeInRange(header.next, kFirstBlockStart, INT32_MAX)) break;
    start = static_cast<int64_t>(header.next);
    if (!ReadHeaderAt(start, &header)) break;
  }
  return true;
}

bool VFSVolume::FindMapFileFirstBlock(VFSBlockHeader* header, int64_t* start) {
  if (mMapFileFirstBlock >= 0) {
    *start = mMapFileFirstBlock;
    return ReadHeaderAt(*start, header) && IsUsableBlock(*start, header->size);
  }
  // Walk the blocks from the first one, stepping by their sizes.
  for (int64_t at = kFirstBlockStart; ReadHeaderAt(at, header) && IsUsableBlock(at, header->size);
       at += static_cast<int64_t>(header->size)) {
    if (header->fileID == kBlockMapFileID && header->sequence == 0) {
      mMapFileFirstBlock = *start = at;
      return true;
    }
  }
  return false;
}

bool VFSVolume::IsFirstBlockOf(uint32_t fileID, int64_t start, const VFSBlockHeader& header) {
  return header.magic == kBlockStartMagic && header.fileID == fileID && header.sequence == 0 &&
         IsUsableBlock(start, header.size);
}

bool VFSVolume::FindFileFirstBlock(uint32_t fileID, VFSBlockHeader* header, double* start) {
  if (!mValid || fileID == kFreeBlockID) return false;
  int64_t found = -1;
  if (fileID == kBlockMapFileID) {
    if (!FindMapFileFirstBlock(header, &found)) return false;
    *start = static_cast<double>(found);
    return true;
  }
  FirstBlockHint& hint = mFirstBlockHints[fileID];
  if (hint.generation == mMapGeneration) {
    if (hint.start < 0) return false;
    if (ReadHeaderAt(hint.start, header) && IsFirstBlockOf(fileID, hint.start, *header)) {
      *start = static_cast<double>(hint.start);
      return true;
    }
  }
  // The first map entry of this ID with sequence 0 whose header really is
  // that file's first block. In a consistent map that is the first entry;
  // after a rebuild every entry carries sequence 0, and the header decides.
  uint32_t blockStart = 0;
  for (uint32_t index = mBlockMap.FindBlockStartByID(fileID, &blockStart, 0, 0); index != BlockMap::kNotFound;
       index = mBlockMap.FindBlockStartByID(fileID, &blockStart, index + 1, 0)) {
    if (ReadHeaderAt(blockStart, header) && IsFirstBlockOf(fileID, blockStart, *header)) {
      found = blockStart;
      break;
    }
  }
  hint = FirstBlockHint{mMapGeneration, found};
  if (found < 0) return false;
  *start = static_cast<double>(found);
  return true;
}

bool VFSVolume::OpenRecord(uint32_t fileID, VFSOpenFile* record) {
  VFSBlockHeader header;
  double start = 0;
  if (!FindFileFirstBlock(fileID, &header, &start)) return false;
  record->fileID = fileID;
  record->position = 0;
  record->current = 0;
  record->chain.assign(1, VFSChainLink{static_cast<int32_t>(start), static_cast<int32_t>(header.size) - kBlockOverhead,
                                       0, header.sequence, header.next});
  return true;
}

int16_t VFSVolume::OpenFile(uint32_t fileID) {
  if (!mValid || mOpenFiles.size() >= static_cast<size_t>(kMaxOpenFileSlots)) return -1;
  auto record = std::make_unique<VFSOpenFile>();
  if (!OpenRecord(fileID, record.get())) return -1;
  int16_t handle;
  if (!mFreeSlots.empty()) {
    // The highest-numbered free slot.
    auto highest = std::prev(mFreeSlots.end());
    handle = *highest;
    mFreeSlots.erase(highest);
    mOpenFiles[handle] = std::move(record);
  } else {
    handle = static_cast<int16_t>(mOpenFiles.size());
    mOpenFiles.push_back(std::move(record));
  }
  ++mOpenCounts[fileID];
  return handle;
}

VFSOpenFile* VFSVolume::Record(int16_t handle) const {
  if (!mValid || handle < 0 || static_cast<size_t>(handle) >= mOpenFiles.size()) return nullptr;
  return mOpenFiles[handle].get();
}

bool VFSVolume::CloseFile(int16_t handle) {
  VFSOpenFile* file = Record(handle);
  if (!file) return false;
  auto count = mOpenCounts.find(file->fileID);
  if (count != mOpenCounts.end() && --count->second == 0) mOpenCounts.erase(count);
  mOpenFiles[handle].reset();
  mFreeSlots.insert(handle);
  return true;
}

}  // namespace parvex
