// ParvexTrans: a stored table inside a transaction.
//
// The rows live in a ParvexStorage (T.dat with its 256-byte metadata area and
// the row-position map T.map); every change is held in memory until Commit
// writes it or Rollback throws it away. The table also owns its indexes
// (T.<index>.idx), loads them when one is first needed (a lookup, a change
// of the table's rows or indexes) and keeps them current with every pending
// change.
//
// Contract:
// - Column 0 is the hidden `_rowid` (Integer, column ID 0); it reads as the
//   row's ID and is never stored. User columns are described by the schema
//   and identified by column ID in every value handed to AddRow and
//   UpdateRow (never by position).
// - Reads go through the pending state: a row with a pending change reads its
//   changed values first and then its stored record; a row pending deletion
//   does not exist. A column absent from a record reads as the NULL of the
//   column's type.
// - GetRowIDs lists the committed rows in row-position-map order, skipping
//   those pending deletion, then the rows added in this transaction in the
//   order of addition.
// - NULL is never stored: a NULL value leaves its column out of a new record,
//   and an update to NULL removes the column from the stored record.
// - Committing a deletion takes the row out of the row-position map for good,
//   so a deleted row ID never comes back. Row IDs are handed out from the
//   last row ID counter (metadata offset 0, little-endian), which only a
//   Commit saves; a Rollback restores it, so rolled-back IDs are reused.
// - The stored record of the row last read is decoded once and kept, so a
//   row visit decodes its record once, not once per column.
// - Damage (see ParvexTable): a data file that is missing or can't be opened,
//   an index file that doesn't parse or doesn't list the table's rows (found
//   when the indexes load), counters below the row IDs, and every
//   fault the storage meets while reading make the table damaged, with the
//   state kPXDataCorrupted and "Error: Table T is damaged: ..." (or, for a
//   read the operating system refused, kPXIOError and "Error: Cannot read
//   table T: ..."). A damaged table reads as empty, refuses every change and
//   commits nothing, so nothing acknowledged is written over damage. A map
//   loaded from its file is proven against the records before the first
//   access to rows.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "core/table.h"
#include "core/value.h"
#include "platform/parvex_string.h"
#include "platform/random_access.h"
#include "platform/simple_vector.h"
#include "storage/pending_rows.h"
#include "storage/record_fields.h"
#include "storage/row_map.h"

namespace parvex {

class ParvexFileAccess;
class ParvexIndex;
class ParvexStorage;

// Layout of the table counters at the start of the data file's metadata area.
constexpr uint32_t kMetaLastRowIDOffset = 0;     // u32, little-endian
constexpr uint32_t kMetaLastColumnIDOffset = 4;  // u32, little-endian
constexpr uint32_t kMetaCountersSize = 8;        // zero bytes follow up to 256

// File name pieces of a table T: T.dat, T.map, T.<index>.idx.
constexpr const char* kDataFileSuffix = ".dat";
constexpr const char* kMapFileSuffix = ".map";
constexpr const char* kIndexFileSuffix = ".idx";
constexpr const char* kIndexNameSeparator = ".";

// The name of the hidden row-ID column (column 0, column ID 0).
constexpr const char* kRowIDColumnName = "_rowid";
constexpr long kRowIDColumnID = 0;

// One pending change of a row, decoded: its ID, whether the row is already
// stored (true) or was added in this transaction (false), and the changed
// values (owned, identified by column ID). The table holds its changes
// encoded (PendingRows) and decodes one to merge more values into it.
class PTChangedRow {
 public:
  PTChangedRow(RowID id, bool existsInStorage) : rowID(id), exists(existsInStorage) {}
  PTChangedRow(const PTChangedRow&) = delete;
  PTChangedRow& operator=(const PTChangedRow&) = delete;
  ~PTChangedRow() { DeleteAll(values); }

  // Fills an empty change with `values` (taken over with `takeOwnership`,
  // which empties the caller's vector, else copied).
  void AddValues(ParvexValueList& values, bool takeOwnership);
  // Merges `values` in: a value replaces the one of the same column ID or is
  // appended. A NULL means "remove": for a stored row it is kept as a marker
  // that removes the column from the record at Commit; for a new row the
  // column is simply dropped.
  void UpdateValues(ParvexValueList& values, bool takeOwnership);
  // The value of a column ID, or null when the change does not touch it.
  const ParvexValueWithID* Find(long columnID) const;

  RowID rowID;
  bool exists;
  ParvexValueList values;
};

// Converts a value to a column type on its way into a stored table: NULL
// stays NULL; numbers keep their value in a Double column and text its
// number; a value stored into a text-form column (String, Date, Time,
// Timestamp, Binary) of another type takes its GetString text, keyword
// included; a type that can't be stored leaves NULL.
void CoerceToColumnType(ParvexValue* value, ParvexDataType type);

class ParvexTrans : public ParvexTable {
 public:
  // Opens T.dat and T.map through the file access, creating them when
  // missing, and loads the counters (index files load when first needed). The file
  // access is not owned. A table whose files can't be opened (or may be
  // among the items of a damaged folder) is not Valid(); it is also damaged
  // unless there is no file access at all.
  ParvexTrans(ParvexFileAccess* fileAccess, const string& tableName);
  ~ParvexTrans() override;

  bool Valid() const { return mStorage != nullptr; }

  // Appends a user column (the schema describes them); raises the highest
  // column ID counter when the column's ID is larger.
  void AddColumn(const ParvexColumnInfo& column);

  long QtyColumns() const override { return static_cast<long>(mColumns.size()); }
  const ParvexColumnInfo* Column(long index) const override;
  // Rows as GetRowIDs lists them.
  long QtyRows() const override;
  void GetRowIDs(SimpleVector<RowID>* ids) const override;
  bool GetValue(RowID row, long column, ParvexValue* out) const override;
  // Shows stored Strings of a sound table with nothing pending in place.
  bool PeekString(RowID row, long column, std::string_view* text) const override;
  // A new row takes the next unused row ID, or the ID given for `_rowid`;
  // kInvalidRowID when that ID is taken (or none is left).
  RowID AddRow(ParvexValueList& values, bool takeOwnership) override;
  void UpdateRow(RowID row, ParvexValueList& values, bool takeOwnership) override;
  void DeleteRow(RowID row) override;
  bool AddIndex(const string& indexName, const SimpleVector<uint32_t>& columnIDs) override;
  void GetIndexNames(SimpleVector<string>* names) const override;
  // Moves the index (matched case-insensitively) to the dropped list until
  // Commit deletes its file or Rollback brings it back. False when absent.
  virtual bool DropIndex(const string& indexName);

  bool ContainsRow(RowID row) const;
  long NextUnusedColumnID() const { return static_cast<long>(mLastColumnID) + 1; }
  RowID NextUnusedRowID() const { return mLastRowID + 1; }
  // The counters ReloadTable carries over to a reloaded table object.
  RowID LastRowIDCounter() const { return mLastRowID; }
  uint32_t LastColumnIDCounter() const { return mLastColumnID; }
  void RaiseCounters(RowID lastRowID, uint32_t lastColumnID);

  // The index of the column with that ID, or -1.
  long ColumnIndexOfID(long columnID) const;
  // Converts a value to the type of its column (CoerceToColumnType).
  void CoerceToCorrectType(ParvexValueWithID* value) const;

  bool HasChangesToCommit() const { return !mChanges.empty() || !mDeletions.empty(); }
  // Writes every pending change, deletion and dropped index to the files,
  // saves the counters and flushes. False when a write failed, or when the
  // table is damaged (then nothing is written).
  bool Commit();
  // Discards every pending change and restores the counters and indexes.
  void Rollback();
  // Writes every changed index into a new file of its own.
  bool CommitIndices();
  void LoadMetadata();
  bool SaveMetadata();
  // Removes the table's files: T.dat, T.map and every index file.
  void DeleteStorage();
  // Lets go of the table's files, dropping what is pending (the table is
  // then not Valid()), so that the database file can be rolled back under
  // it; ReopenStorage lets go too and opens them again, as the constructor
  // does. The object, its name and its columns stay.
  void CloseStorage();
  bool ReopenStorage();

  // Index upkeep (the index number is its place in the live list).
  void AddRowToIndex(RowID row, size_t indexNumber);
  void AddRowToIndices(RowID row);
  void RemoveRowFromIndex(RowID row, size_t indexNumber);

  ParvexFileAccess* FileAccess() const { return mFileAccess; }
  // Records damage described by `detail`: "Error: Table T is damaged:
  // <detail>." (kPXDataCorrupted), or for a read the system refused "Error:
  // Cannot read table T: <detail>." (kPXIOError).
  void ReportDamage(const string& detail, bool ioError = false) const;
  // The live index of that name (case-insensitive), or null.
  const ParvexIndex* FindIndex(const string& indexName) const;

  // Stored records decoded since the table was opened (a diagnostic).
  mutable unsigned long recordDecodes = 0;

 private:
  bool OpenStorage();
  string FileName(const char* suffix) const;
  string IndexFileName(const ParvexIndex& index) const;
  // Opens T.dat and T.map; false (with the table damaged) when they can't be.
  bool OpenFiles(std::unique_ptr<RandomAccessMechanism>* data, std::unique_ptr<RandomAccessMechanism>* map);
  // Index files are read when an index is first needed (a lookup through
  // one, a change of the table, index management), not on opening: most
  // statements never use them. False, with the table damaged, when the
  // table is not usable or an index file can't be loaded or does not list
  // the table's rows.
  bool IndexesReady() const {
    if (!mIndexesLoaded) LoadIndexes();
    return Usable();
  }
  void LoadIndexes() const;
  // The names of the table's index files in the data folder.
  std::vector<string> IndexFiles() const;
  // Whether an index may cover one of the values' columns. Before the
  // indexes are loaded this reads only the first record of each index file
  // (its column IDs), so an update of other columns loads no index.
  bool MayIndexColumns(const ParvexValueList& values) const;
  // Takes over the storage's fault, if it has one; true when it had.
  bool TakeStorageFault() const;
  // True when rows may be read and changed: the table is sound and its
  // storage's map is proven. Otherwise leaves a damage notice.
  bool Usable() const {
    if (mUsable) return true;
    return BecomeUsable();
  }
  bool BecomeUsable() const;
  void CheckCounters();
  // Points the fetch cache at a stored row; false when the row has no
  // readable record.
  bool FetchStoredRow(RowID row) const;
  void ForgetFetchedRow() const;
  // The value of a column ID of a visible row, as it reads through the
  // pending state; false when the row does not exist.
  bool ReadColumn(RowID row, long columnID, ParvexValue* out) const;
  bool IndexUsesColumns(const ParvexIndex& index, const ParvexValueList& values) const;
  // True when a Commit would write anything at all.
  bool NeedsCommit() const;
  void DeleteChange(RowID row);

  ParvexFileAccess* mFileAccess;
  std::unique_ptr<ParvexStorage> mStorage;
  mutable bool mUsable = false;  // sound, with a proven map: the fast path
  std::vector<std::unique_ptr<ParvexColumnInfo>> mColumns;
  // Reads a pending row's fields through a one-row cache; false when the
  // row has no pending change.
  bool FetchPendingRow(RowID row) const;
  void ForgetPendingRow() const { mPendingRowID = kInvalidRowID; }

  PendingRows mChanges;             // in order of first change
  RowMap<uint8_t> mDeletions;       // in order of deletion
  mutable std::vector<std::unique_ptr<ParvexIndex>> mIndexes;
  mutable bool mIndexesLoaded = false;
  mutable bool mIndexedColumnsKnown = false;
  mutable std::vector<uint32_t> mIndexedColumns;  // of the index files, before loading
  std::vector<std::unique_ptr<ParvexIndex>> mDroppedIndexes;
  SimpleVector<string> mAddedIndexNames;  // created in this transaction (no file yet)
  RowID mLastRowID = 0;
  uint32_t mLastColumnID = 0;
  // The counters as the metadata area holds them (after a load or a save).
  RowID mSavedLastRowID = 0;
  uint32_t mSavedLastColumnID = 0;
  bool mColumnCounterFromFile = false;  // the metadata area held a column counter

  // The stored row last read: its record's fields, and the values read from
  // them so far (kept from row to row, so their text buffers are reused).
  mutable RowID mFetchedRowID = kInvalidRowID;
  mutable RecordFields mFetchedFields;
  mutable std::vector<ParvexValue> mFetchedColumns;
  mutable std::vector<uint8_t> mFetchedColumnRead;
  // The pending row last read, decoded.
  mutable RowID mPendingRowID = kInvalidRowID;
  mutable RecordFields mPendingFields;
};

}  // namespace parvex
