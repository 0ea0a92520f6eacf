// PendingRows: the changed rows of a table's transaction, held compactly.
//
// Each pending row is its values encoded as a record body (the data file's
// format and byte order, so a new row is written at Commit as it stands) in
// large arena chunks, reached through a RowMap that keeps the rows in the
// order they were first changed. A transaction therefore costs about the
// size of its encoded rows plus a small fixed amount per row, not a heap
// object per value.
//
// Contract:
// - A row is either new (added in this transaction) or stored (a change of a
//   row the data file holds). A stored row's NULLs are kept as removal marks
//   (kTypeNone entries, see RecordFields); a new row's NULLs are left out.
// - Put replaces a row's values and keeps its place; the old encoding
//   becomes garbage. A chunk no row uses any more is given back at once, and
//   the arena is compacted (in row order) once garbage outweighs the live
//   bytes.
// - Rows first changed one after the other with consecutive IDs (a load, an
//   update of every row) are kept as a run: a slot per row in ID order and
//   no hash entry. A row that does not continue the run moves the run's
//   rows into the hash map (each row at most once) and starts a new run.
// - Drain hands out every row, in order, giving back the memory of the rows
//   handed out as it goes, so that a Commit writing the rows into the data
//   file does not hold them twice.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "core/table.h"
#include "storage/record_fields.h"
#include "storage/row_map.h"

namespace parvex {

class PendingRows {
 public:
  PendingRows();

  // The byte order of the encodings (the data file's); set before any Put.
  void SetByteOrder(bool bigEndian, bool doubleSwap);

  size_t size() const { return mRows.QtyItems() + mRunLength; }
  bool empty() const { return size() == 0; }
  bool Contains(RowID row) const { return Find(row) != nullptr; }
  // True for a change of a stored row, false for a new row (or none).
  bool IsStored(RowID row) const;

  // Sets the row's values (see the contract for NULLs).
  void Put(RowID row, bool stored, const ParvexValueList& values);
  // Decodes the row's values; false when the row has no pending change.
  bool Read(RowID row, RecordFields* fields) const;
  void Remove(RowID row);
  void Clear();

  // Calls f(row, stored, body, length) for every row, in order.
  template <typename F>
  void ForEach(F&& f) const {
    const auto each = [&](RowID row, const Slot& slot) { f(row, IsStoredSlot(slot), Bytes(slot), Length(slot)); };
    mRows.ForEach(each);
    for (size_t i = 0; i < mRunLength; ++i) each(RunRow(i), RunSlot(i));
  }
  // The same, leaving no rows; the rows must not be read or changed from `f`
  // (the body is valid during the call).
  template <typename F>
  void Drain(F&& f) {
    const auto each = [&](RowID row, const Slot& slot) {
      f(row, IsStoredSlot(slot), Bytes(slot), Length(slot));
      Release(slot, true);
    };
    mRows.TakeEach(each);
    for (size_t i = 0; i < mRunLength; ++i) {
      each(RunRow(i), RunSlot(i));
      if ((i & kRunPageMask) == kRunPageMask) std::vector<Slot>().swap(mRun[i >> kRunPageBits]);
    }
    Clear();
  }
  // Decodes a body handed out by ForEach or Drain.
  bool Decode(const uint8_t* body, uint32_t length, RecordFields* fields) const {
    return fields->Decode(body, length, mBigEndian, mDoubleSwap, true);
  }

 private:
  // Where a row's body is; the top bit of `length` marks a stored row.
  struct Slot {
    uint32_t chunk = 0;
    uint32_t at = 0;
    uint32_t length = 0;
  };
  static constexpr uint32_t kStoredBit = 0x80000000u;
  struct Chunk {
    std::unique_ptr<uint8_t[]> bytes;
    uint32_t size = 0;
    uint32_t used = 0;
    uint32_t rows = 0;  // rows whose bodies are in the chunk
  };
  static constexpr uint32_t kRunPageBits = 12;
  static constexpr size_t kRunPageMask = (size_t{1} << kRunPageBits) - 1;
  static bool IsStoredSlot(const Slot& slot) { return (slot.length & kStoredBit) != 0; }
  RowID RunRow(size_t i) const { return static_cast<RowID>(mRunStart + i); }
  const Slot& RunSlot(size_t i) const { return mRun[i >> kRunPageBits][i & kRunPageMask]; }
  Slot& RunSlot(size_t i) { return mRun[i >> kRunPageBits][i & kRunPageMask]; }
  // The slot of a row, in the run or the map; null when it has none.
  const Slot* Find(RowID row) const;
  Slot* Find(RowID row) { return const_cast<Slot*>(static_cast<const PendingRows*>(this)->Find(row)); }
  void AppendToRun(RowID row, const Slot& slot);
  // Moves the run's rows into the map (after every row there).
  void EndRun();
  static uint32_t Length(const Slot& slot) { return slot.length & ~kStoredBit; }
  const uint8_t* Bytes(const Slot& slot) const { return mChunks[slot.chunk].bytes.get() + slot.at; }
  // Copies bytes into the arena and says where they went.
  Slot Store(const uint8_t* bytes, uint32_t length);
  // A row's body is no longer used: a chunk left without rows goes (the
  // chunk being filled too, with `all`).
  void Release(const Slot& slot, bool all);
  void Compact();

  RowMap<Slot> mRows;                   // rows changed before the run
  RowID mRunStart = 0;
  size_t mRunLength = 0;
  std::vector<std::vector<Slot>> mRun;  // the run's slots, in pages of 2^kRunPageBits
  std::vector<Chunk> mChunks;
  uint64_t mLiveBytes = 0;
  uint64_t mUsedBytes = 0;
  bool mBigEndian = true;
  bool mDoubleSwap = true;
  std::vector<uint8_t> mEncoded;  // the body being encoded
};

}  // namespace parvex
