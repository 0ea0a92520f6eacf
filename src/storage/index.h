// ParvexIndex: an in-memory index from the values of one or more columns to
// the rows that hold them, saved as a record file.
//
// Contract:
// - Entries are kept in the order they were added. Adding a row that already
//   has an entry overwrites its values in place; deleting keeps the order of
//   the others. Uniqueness is not enforced.
// - Memory is a few dozen bytes per entry plus its encoded values: entries
//   live in slot arrays, values encoded in one byte buffer, the row and key
//   lookups in open-addressing tables of 32-bit numbers.
// - Lookup returns the row of the first entry, in that order, whose values
//   each Equal (ParvexValue::Equals, entry value on the left) the given value
//   at the same place; kInvalidRowID when none does. It does not scan: every
//   entry is filed under a key that two values share exactly when Equals
//   holds, and a lookup probes that key once per kind of entry present.
//   LookupAll gives every matching row, in entry order.
// - The index counts its non-NULL values by type at each key place, so that a
//   query can tell whether equality on the index agrees with the comparison
//   it wants to answer (AllValuesOfType).
// - A key value list shorter than the index's columns matches nothing;
//   entries always hold one value per column (missing ones are NULL).
// - The index file is a record file (no map file): one record per entry with
//   the entry's row ID and its non-NULL values tagged with their column IDs.
//   An empty index, or one whose first entry has a NULL, starts with a
//   placeholder record (row ID kInvalidRowID, integer 0 per column) so that
//   the file always tells the columns; loading skips it.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "core/table.h"
#include "core/value.h"
#include "platform/parvex_string.h"
#include "platform/random_access.h"
#include "platform/simple_vector.h"
#include "storage/storage_fault.h"

namespace parvex {

class ParvexStorage;

// Key values in the index's column order. Null pointers count as NULL.
using ParvexIndexKey = std::span<const ParvexValue* const>;

// One entry as ForEachEntry shows it: a copy of its values and its row.
class ParvexIndexEntry {
 public:
  explicit ParvexIndexEntry(RowID row) : rowID(row) {}

  // True when each value of the entry Equals the value at its place in
  // `values` (which must hold at least as many).
  bool Matches(ParvexIndexKey values) const;

  SimpleVector<ParvexValue> values;
  RowID rowID;
};

class ParvexIndex {
 public:
  // An index file listing more columns than this is taken as damaged (it
  // bounds the memory a hostile file can claim per entry), so a table should
  // not create an index over more columns.
  static constexpr size_t kMaxColumns = 64;

  explicit ParvexIndex(const SimpleVector<uint32_t>& columnIDs, const string& name = string());
  ParvexIndex(const ParvexIndex&) = delete;
  ParvexIndex& operator=(const ParvexIndex&) = delete;
  ~ParvexIndex();

  const string& Name() const { return mName; }
  void SetName(const string& name) { mName = name; }
  const SimpleVector<uint32_t>& GetColumnIDs() const { return mColumnIDs; }
  size_t QtyEntries() const { return mSlotRow.size() - mHoles; }
  // True from construction and after Add/Delete until the next save or load.
  bool IsChanged() const { return mChanged; }

  // Enters (or overwrites) the row's key. kInvalidRowID is never entered.
  void Add(ParvexIndexKey values, RowID rowID);
  // Removes the row's entry; the row ID decides, the values are not compared.
  void Delete(ParvexIndexKey values, RowID rowID);
  RowID Lookup(ParvexIndexKey values) const;
  // The rows of every entry that matches, in entry order.
  std::vector<RowID> LookupAll(ParvexIndexKey values) const;
  // True when every non-NULL value at key place `place` has type `type`
  // (also when there is none).
  bool AllValuesOfType(size_t place, ParvexDataType type) const;
  // Copies the i-th key value of the row's entry; false when there is none.
  bool GetColumnValue(RowID rowID, size_t i, ParvexValue* out) const;
  // Calls f(row) for the row of every entry, in order (values not decoded).
  template <typename F>
  void ForEachRow(F&& f) const {
    for (RowID row : mSlotRow) {
      if (row != kInvalidRowID) f(row);
    }
  }
  // Calls f(entry) for every entry, in order (each a copy made for the call).
  template <typename F>
  void ForEachEntry(F&& f) const {
    ParvexIndexEntry entry(kInvalidRowID);
    for (uint32_t slot = 0; slot < mSlotRow.size(); ++slot) {
      if (mSlotRow[slot] == kInvalidRowID) continue;
      entry.rowID = mSlotRow[slot];
      DecodeValues(slot, &entry.values);
      f(static_cast<const ParvexIndexEntry&>(entry));
    }
  }

  // Writes the index file into the (fresh) stream and closes it. False when a
  // write failed; the index then stays marked changed.
  bool SaveToFile(std::unique_ptr<RandomAccessMechanism> stream);
  // Replaces the index's columns and entries with an index file's. False
  // when the file is damaged (what could be read is kept); `fault`, when
  // given, receives the record storage's fault if there was one. A file with
  // no record is damaged: saving always writes one.
  bool LoadFromFile(std::unique_ptr<RandomAccessMechanism> stream, StorageFault* fault = nullptr);

 private:
  static constexpr uint32_t kNoSlot = 0xFFFFFFFFu;

  // An open-addressing table (linear probing, at most 70% full) of cells
  // holding a 32-bit key (never kNoSlot) and a 32-bit value. Where a cell
  // belongs is Home(cell), given by the owner: keys may be found indirectly
  // (Find takes a predicate), the hash kept in the value.
  template <uint32_t (*Home)(uint32_t key, uint32_t value)>
  class CellTable {
   public:
    struct Cell {
      uint32_t key = kNoSlot;
      uint32_t value = 0;
    };
    static constexpr size_t npos = static_cast<size_t>(-1);

    // The cell, among those whose home is `home`'s, that satisfies `same`; or npos.
    template <typename Same>
    size_t Find(uint32_t home, Same same) const {
      if (mCells.empty()) return npos;
      const size_t mask = mCells.size() - 1;
      for (size_t i = home & mask;; i = (i + 1) & mask) {
        const Cell& cell = mCells[i];
        if (cell.key == kNoSlot) return npos;
        if (same(cell)) return i;
      }
    }
    void Insert(uint32_t key, uint32_t value);  // the key must be absent
    void EraseAt(size_t cell);
    // Asks the processor to fetch the first cell of `home`'s run.
    void Prefetch(uint32_t home) const {
      if (!mCells.empty()) __builtin_prefetch(&mCells[home & (mCells.size() - 1)]);
    }
    void Reserve(size_t count);
    void Clear() {
      mCells.clear();
      mCount = 0;
    }
    std::vector<Cell> mCells;
    size_t mCount = 0;

   private:
    void Rebuild(size_t cells);
  };
  static uint32_t RowHome(uint32_t row, uint32_t slot);
  static uint32_t KeyHome(uint32_t head, uint32_t hash);

  void Clear();
  bool LoadEntries(ParvexStorage& storage);
  void DecodeValues(uint32_t slot, SimpleVector<ParvexValue>* values) const;
  // Appends the encoded values to the value bytes; returns where they start.
  uint32_t EncodeValues(ParvexIndexKey values);
  // The kinds and the equality key of a slot's values; false when they can
  // equal nothing.
  bool SlotKey(uint32_t slot, std::string* kinds, std::string* key) const;
  // The slot of a row, or kNoSlot.
  uint32_t SlotOf(RowID row) const;
  // The key table's cell of the list filed under `key`, or npos.
  size_t FindKeyCell(const std::string& key, uint32_t hash) const;
  size_t FindRowCell(RowID row) const;
  // Appends an entry (not yet in the row table) and files it under its key
  // (with `file` false, filing is left to the caller).
  uint32_t AppendSlot(ParvexIndexKey values, RowID rowID, bool file = true);
  // Files the slots from `from` on (holes stay unfiled) in slot order,
  // fetching the key cells of later slots ahead: a loaded index's key table
  // is far larger than the caches, and filing its slots one at a time would
  // wait for memory at each.
  void FileSlotsAhead(uint32_t from);
  // Turns a slot into a hole (the row table is the caller's business).
  void ClearSlot(uint32_t slot);
  void FileSlot(uint32_t slot);
  // Files a slot (not filed yet) under its key, made by SlotKey.
  void FileSlotUnder(uint32_t slot, const std::string& kinds, const std::string& key, uint32_t hash);
  void UnfileSlot(uint32_t slot);
  // Adds (delta 1) or removes (delta -1) a slot's values in the type counts.
  void CountValues(uint32_t slot, int delta);
  // Drops the holes and dead value bytes once they outweigh the entries.
  void CompactIfSparse();
  template <typename F>
  void ForEachMatchingChain(ParvexIndexKey values, F&& f) const;

  string mName;
  SimpleVector<uint32_t> mColumnIDs;
  // Entries by slot, in order of addition; a deleted entry leaves a hole.
  std::vector<RowID> mSlotRow;         // kInvalidRowID marks a hole
  std::vector<uint32_t> mSlotValues;   // where the slot's values start in mValueBytes
  // Slots filed under one key form a circular list in slot order (the head
  // is in the key table); kNoSlot: not filed.
  std::vector<uint32_t> mSlotNext;
  std::vector<uint32_t> mSlotPrev;
  std::string mValueBytes;
  size_t mHoles = 0;
  size_t mDeadBytes = 0;
  // Entered on first need (an index loaded for lookups only never needs it):
  // the slots from mRowSlotsFrom on are not in it yet.
  mutable CellTable<RowHome> mRowSlots;  // key: row ID; value: its slot
  mutable size_t mRowSlotsFrom = 0;
  int64_t mMaxRow = -1;  // the highest row ever entered since the last Clear (-1: none)
  CellTable<KeyHome> mKeyHeads;  // key: the head slot of a key's list; value: the key's hash
  // Key kinds of the filed entries -> how many entries have them.
  std::map<std::string, size_t> mKinds;
  // Per key place: non-NULL values by type (types past the table's end share
  // its last slot), and all non-NULL values.
  static constexpr size_t kTypeSlots = 16;
  std::vector<std::array<size_t, kTypeSlots>> mTypeCounts;
  std::vector<size_t> mNonNullCounts;
  mutable std::string mScratchKinds, mScratchKey;
  bool mChanged = true;
};

}  // namespace parvex
