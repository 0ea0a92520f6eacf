// ParvexIndex: an in-memory index from the values of one or more columns to
// the rows that hold them, saved as a record file.
//
// Contract:
// - Entries are kept in the order they were added (a RowMap from row ID to
//   entry holds both the order and the row lookup). Adding a row that already
//   has an entry overwrites its values in place; deleting keeps the order of
//   the others. Uniqueness is not enforced.
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
#include <unordered_map>
#include <vector>

#include "core/table.h"
#include "core/value.h"
#include "platform/parvex_string.h"
#include "platform/random_access.h"
#include "platform/simple_vector.h"
#include "storage/row_map.h"

namespace parvex {

// Key values in the index's column order. Null pointers count as NULL.
using ParvexIndexKey = std::span<const ParvexValue* const>;

class ParvexIndexEntry {
 public:
  explicit ParvexIndexEntry(RowID row) : rowID(row) {}

  // True when each value of the entry Equals the value at its place in
  // `values` (which must hold at least as many).
  bool Matches(ParvexIndexKey values) const;

  SimpleVector<ParvexValue> values;
  RowID rowID;

 private:
  friend class ParvexIndex;
  uint64_t mSequence = 0;  // order of addition
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
  size_t QtyEntries() const { return mRows.QtyItems(); }
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
  // Calls f(entry) for every entry, in order.
  template <typename F>
  void ForEachEntry(F&& f) const {
    mRows.ForEach([&f](RowID, const ParvexIndexEntry* entry) { f(*entry); });
  }

  // Writes the index file into the (fresh) stream and closes it. False when a
  // write failed; the index then stays marked changed.
  bool SaveToFile(std::unique_ptr<RandomAccessMechanism> stream);
  // Replaces the index's columns and entries with an index file's. False
  // when the file is damaged (what could be read is kept).
  bool LoadFromFile(std::unique_ptr<RandomAccessMechanism> stream);

 private:
  void Clear();
  ParvexIndexEntry* AppendEntry(RowID rowID);
  void FileEntry(ParvexIndexEntry* entry);
  void UnfileEntry(const ParvexIndexEntry* entry);
  // Calls f(entries filed under the key) for each kind combination present
  // under which `values` can match.
  template <typename F>
  void ForEachMatchingKey(ParvexIndexKey values, F&& f) const;
  // Adds (delta 1) or removes (delta -1) the entry's values in the type counts.
  void CountValues(const ParvexIndexEntry& entry, int delta);

  string mName;
  SimpleVector<uint32_t> mColumnIDs;
  RowMap<ParvexIndexEntry*> mRows;  // owns the entries; its list is the entry order
  // Key bytes -> the entries filed under it, by sequence.
  std::unordered_map<std::string, std::map<uint64_t, RowID>> mKeys;
  // Column kinds of the filed entries -> how many entries have them.
  std::map<std::string, size_t> mKinds;
  // Per key place: non-NULL values by type (types past the table's end share
  // its last slot), and all non-NULL values.
  static constexpr size_t kTypeSlots = 16;
  std::vector<std::array<size_t, kTypeSlots>> mTypeCounts;
  std::vector<size_t> mNonNullCounts;
  uint64_t mNextSequence = 0;
  bool mChanged = true;
};

}  // namespace parvex
