// BlockMap: the entry list, its indexes and its big-endian image.
#include "volume/block_map.h"

#include "platform/file_ptr.h"
#include "volume/volume_format.h"

namespace parvex {

// The image is written and read front to back: magic, count, then each
// entry's start, file ID and sequence.
static_assert(kImageCountOffset == kImageMagicOffset + 4 && kImageHeaderSize == kImageCountOffset + 4);
static_assert(kImageEntryIDOffset == kImageEntryStartOffset + 4 &&
              kImageEntrySequenceOffset == kImageEntryIDOffset + 4 && kImageEntrySize == kImageEntrySequenceOffset + 4);

void BlockMap::IndexEntry(uint32_t index) {
  const BlockMapEntry& entry = mEntries[index];
  mByStart.emplace(entry.blockStart, index);  // keeps an earlier entry of the same start
  if (entry.sequence == 0) mFirstBlocks[entry.fileID].insert(index);
}

void BlockMap::UnindexEntry(uint32_t index) {
  const BlockMapEntry& entry = mEntries[index];
  if (entry.sequence != 0) return;
  auto found = mFirstBlocks.find(entry.fileID);
  if (found == mFirstBlocks.end()) return;
  found->second.erase(index);
  if (found->second.empty()) mFirstBlocks.erase(found);
}

void BlockMap::Reindex() {
  mByStart.clear();
  mFirstBlocks.clear();
  for (uint32_t i = 0; i < mEntries.size(); ++i) IndexEntry(i);
}

void BlockMap::Clear() {
  mEntries.clear();
  mByStart.clear();
  mFirstBlocks.clear();
}

void BlockMap::AddEntry(uint32_t fileID, uint32_t blockStart, uint32_t sequence) {
  mEntries.push_back({blockStart, fileID, sequence});
  IndexEntry(static_cast<uint32_t>(mEntries.size() - 1));
}

bool BlockMap::RemoveEntryByID(uint32_t fileID) {
  for (size_t i = 0; i < mEntries.size(); ++i) {
    if (mEntries[i].fileID == fileID) {
      mEntries.erase(mEntries.begin() + static_cast<std::ptrdiff_t>(i));
      Reindex();
      return true;
    }
  }
  return false;
}

bool BlockMap::RemoveEntryByBlockStart(uint32_t blockStart) {
  auto found = mByStart.find(blockStart);
  if (found == mByStart.end()) return false;
  mEntries.erase(mEntries.begin() + found->second);
  Reindex();
  return true;
}

bool BlockMap::ChangeEntryByBlockStart(uint32_t blockStart, uint32_t fileID, uint32_t sequence) {
  auto found = mByStart.find(blockStart);
  if (found == mByStart.end()) return false;
  const uint32_t index = found->second;
  UnindexEntry(index);
  mEntries[index].fileID = fileID;
  mEntries[index].sequence = sequence;
  if (sequence == 0) mFirstBlocks[fileID].insert(index);
  return true;
}

bool BlockMap::ChangeEntryByID(uint32_t fileID, uint32_t sequence, uint32_t newBlockStart) {
  uint32_t start = 0;
  const uint32_t index = FindBlockStartByID(fileID, &start, 0, sequence);
  if (index == kNotFound) return false;
  mEntries[index].blockStart = newBlockStart;
  Reindex();
  return true;
}

uint32_t BlockMap::FindBlockStartByID(uint32_t fileID, uint32_t* blockStart, uint32_t startIndex,
                                      uint32_t sequence) const {
  *blockStart = kNotFound;
  if (sequence == 0) {
    auto found = mFirstBlocks.find(fileID);
    if (found == mFirstBlocks.end()) return kNotFound;
    auto at = found->second.lower_bound(startIndex);
    if (at == found->second.end()) return kNotFound;
    *blockStart = mEntries[*at].blockStart;
    return *at;
  }
  for (size_t i = startIndex; i < mEntries.size(); ++i) {
    if (mEntries[i].fileID == fileID && mEntries[i].sequence == sequence) {
      *blockStart = mEntries[i].blockStart;
      return static_cast<uint32_t>(i);
    }
  }
  return kNotFound;
}

uint32_t BlockMap::FindIDByBlockStart(uint32_t blockStart) const {
  auto found = mByStart.find(blockStart);
  return found == mByStart.end() ? kNotFound : mEntries[found->second].fileID;
}

uint32_t BlockMap::FindIndexByBlockStart(uint32_t blockStart) const {
  auto found = mByStart.find(blockStart);
  return found == mByStart.end() ? kNotFound : found->second;
}

size_t BlockMap::QtyFreeEntries() const {
  auto found = mFirstBlocks.find(kFreeBlockID);
  return found == mFirstBlocks.end() ? 0 : found->second.size();
}

std::vector<uint8_t> BlockMap::WriteBlockMapToBuffer() const {
  std::vector<uint8_t> image(kImageHeaderSize + kImageEntrySize * mEntries.size());
  FilePtr out(static_cast<void*>(image.data()), static_cast<int32_t>(image.size()));
  out.SetBigEndian();
  out.WriteLong(kBlockMapMagic);
  out.WriteLong(static_cast<uint32_t>(mEntries.size()));
  for (const BlockMapEntry& entry : mEntries) {
    out.WriteLong(entry.blockStart);
    out.WriteLong(entry.fileID);
    out.WriteLong(entry.sequence);
  }
  return image;
}

bool BlockMap::ConstructBlockMapFromBuffer(const uint8_t* buffer, size_t length) {
  if (length > INT32_MAX) return false;
  FilePtr in(static_cast<const void*>(buffer), static_cast<int32_t>(length));
  in.SetBigEndian();
  uint32_t magic = 0;
  uint32_t count = 0;
  if (!in.ReadLong(&magic) || magic != kBlockMapMagic || !in.ReadLong(&count)) return false;
  if (count > (length - kImageHeaderSize) / kImageEntrySize) return false;
  mEntries.reserve(mEntries.size() + count);
  for (uint32_t i = 0; i < count; ++i) {
    BlockMapEntry entry;
    in.ReadLong(&entry.blockStart);
    in.ReadLong(&entry.fileID);
    in.ReadLong(&entry.sequence);
    AddEntry(entry.fileID, entry.blockStart, entry.sequence);
  }
  return true;
}

bool BlockMap::CheckIntegrity() const {
  size_t indexed = 0;
  for (const auto& [fileID, indexes] : mFirstBlocks) {
    for (uint32_t index : indexes) {
      if (index >= mEntries.size() || mEntries[index].fileID != fileID || mEntries[index].sequence != 0) return false;
    }
    indexed += indexes.size();
  }
  size_t firstBlocks = 0;
  for (uint32_t i = 0; i < mEntries.size(); ++i) {
    if (mEntries[i].sequence == 0) ++firstBlocks;
    auto found = mByStart.find(mEntries[i].blockStart);
    if (found == mByStart.end() || found->second > i) return false;
  }
  return indexed == firstBlocks;
}

}  // namespace parvex
