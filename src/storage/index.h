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
// - A key value list shorter than the index's columns matches nothing;
//   entries always hold one value per column (missing ones are NULL).
// - The index file is a record file (no map file): one record per entry with
//   the entry's row ID and its non-NULL values tagged with their column IDs.
//   An empty index, or one whose first entry has a NULL, starts with a
//   placeholder record (row ID kInvalidRowID, integer 0 per column) so that
//   the file always tells the columns; loading skips it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>

#include "core/table.h"
#include "core/value.h"
#include "platform/parvex_string.h"
#include "platform/random_access.h"
#include "platform/simple_vector.h"
#include "storage/row_map.h"
#include "storage/storage_fault.h"

namespace parvex {

class ParvexStorage;

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
  // when the file is damaged (what could be read is kept); `fault`, when
  // given, receives the record storage's fault if there was one. A file with
  // no record is damaged: saving always writes one.
  bool LoadFromFile(std::unique_ptr<RandomAccessMechanism> stream, StorageFault* fault = nullptr);

 private:
  void Clear();
  bool LoadEntries(ParvexStorage& storage);
  ParvexIndexEntry* AppendEntry(RowID rowID);
  void FileEntry(ParvexIndexEntry* entry);
  void UnfileEntry(const ParvexIndexEntry* entry);

  string mName;
  SimpleVector<uint32_t> mColumnIDs;
  RowMap<ParvexIndexEntry*> mRows;  // owns the entries; its list is the entry order
  // Key bytes -> the entries filed under it, by sequence.
  std::unordered_map<std::string, std::map<uint64_t, RowID>> mKeys;
  // Column kinds of the filed entries -> how many entries have them.
  std::map<std::string, size_t> mKinds;
  uint64_t mNextSequence = 0;
  bool mChanged = true;
};

}  // namespace parvex
