// BlockMap: the in-memory map of a volume's blocks.
//
// An ordered list of entries {block start, file ID, sequence number} in the
// order they were added; file ID 0 marks a free block. Its image on disk is
// "BMap", the entry count and 12 bytes per entry, all big-endian.
//
// Lookups keep the list's order ("the first entry at or after an index") but
// are indexed: block start -> entry, and file ID -> the ordered entries of
// that ID with sequence 0 (a file's first block; free blocks are the
// sequence-0 entries of ID 0). So finding a file's first block or the next
// free block costs O(log n). Lookups of other sequence numbers scan, and
// removals rebuild the indexes (O(n)); the volume uses neither on a hot path.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <unordered_map>
#include <vector>

namespace parvex {

struct BlockMapEntry {
  uint32_t blockStart = 0;
  uint32_t fileID = 0;
  uint32_t sequence = 0;
};

class BlockMap {
 public:
  static constexpr uint32_t kNotFound = 0xFFFFFFFF;

  void AddEntry(uint32_t fileID, uint32_t blockStart, uint32_t sequence);
  // Remove the first entry of that file ID / block start; false when none.
  bool RemoveEntryByID(uint32_t fileID);
  bool RemoveEntryByBlockStart(uint32_t blockStart);
  // Rewrites the ID and sequence of the entry with that block start; false
  // when no entry starts there.
  bool ChangeEntryByBlockStart(uint32_t blockStart, uint32_t fileID, uint32_t sequence);
  // Moves the entry of (fileID, sequence) to another block start.
  bool ChangeEntryByID(uint32_t fileID, uint32_t sequence, uint32_t newBlockStart);
  // The index of the first entry at or after `startIndex` whose ID and
  // sequence both match, with its block start; kNotFound (and a block start
  // of kNotFound) when none does.
  uint32_t FindBlockStartByID(uint32_t fileID, uint32_t* blockStart, uint32_t startIndex, uint32_t sequence) const;
  // The file ID of the entry starting there, or kNotFound.
  uint32_t FindIDByBlockStart(uint32_t blockStart) const;
  // The index of the (first) entry starting there, or kNotFound.
  uint32_t FindIndexByBlockStart(uint32_t blockStart) const;

  // The image: "BMap", N, then N entries.
  std::vector<uint8_t> WriteBlockMapToBuffer() const;
  // Appends the entries of an image. Fails, appending nothing, when the magic
  // differs or the buffer is too short for the entry count it states.
  bool ConstructBlockMapFromBuffer(const uint8_t* buffer, size_t length);
  // Verifies that the indexes agree with the entry list.
  bool CheckIntegrity() const;

  void Clear();
  size_t QtyEntries() const { return mEntries.size(); }
  const BlockMapEntry& Entry(size_t index) const { return mEntries[index]; }
  // Entries currently free (file ID 0, sequence 0).
  size_t QtyFreeEntries() const;

 private:
  void IndexEntry(uint32_t index);
  void UnindexEntry(uint32_t index);
  void Reindex();

  std::vector<BlockMapEntry> mEntries;
  std::unordered_map<uint32_t, uint32_t> mByStart;  // start -> lowest index with that start
  std::unordered_map<uint32_t, std::set<uint32_t>> mFirstBlocks;  // file ID -> indexes with sequence 0
};

}  // namespace parvex
