// ParvexTempTable: the in-memory result table of a query.
//
// Columns are added first, then rows; a row's ID is its position (0, 1, 2,
// ...), so sorting renumbers the rows. Every row may carry the record set of
// source rows that produced it (owned by the row) so that a cursor can find the
// rows behind a result row. Result tables are read-only once built: UpdateRow
// and DeleteRow change nothing.
//
// Storage is compact so that results of millions of rows fit without waste:
// values are encoded (core/value_codec.h) into large byte chunks, a row is a
// 16-byte handle (where its values start, how many, its source), and the
// source record sets of a table's rows lie in one flat array. Sorting orders
// handles, never values. Reading a value decodes it; ValueAt and
// GetSourceRecSet hand out a view that stays valid until the next call of
// the same operation on the table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/table.h"
#include "core/value.h"
#include "core/value_codec.h"
#include "platform/parvex_string.h"
#include "platform/simple_vector.h"

namespace parvex {

class ParvexTempTable;

// The ORDER BY comparison of two result rows. For each key in order: when the
// first row's value is an Integer, both rows compare by integer readings,
// otherwise by text readings under the case-insensitive Compare; the result is
// multiplied by the key's direction (1 ascending, -1 descending) and the first
// unequal key decides. The readings are taken once per row when the sorter is
// built (texts as views of the stored bytes where the reading is the stored
// text, with their first eight folded bytes as a number that settles most
// comparisons), so a comparison never formats numbers or builds texts.
class TempRowSorter {
 public:
  TempRowSorter(const ParvexTempTable& table, const SimpleVector<long>& keyColumns,
                const SimpleVector<long>& keyDirections);

  // The row positions in sorted order, rows that compare equal in their
  // order of before. Called once.
  std::vector<uint32_t> SortedOrder();

  SimpleVector<long> columns;
  SimpleVector<long> directions;

 private:
  struct KeyReadings {
    bool anyInteger = false;          // some row compares by its integer reading
    bool anyText = false;             // some row compares by its text reading
    std::vector<uint8_t> isInteger;   // per row, only when both kinds occur
    std::vector<int32_t> integers;    // per row, only when some row is an Integer
    // Per row, when some row compares by text: the first eight bytes of
    // GetString folded to lower case, big-endian, zero-padded.
    std::vector<uint64_t> prefixes;
    // Per row, only when some reading is not the stored bytes (else the
    // text is read from the table again when two prefixes are equal).
    std::vector<std::string_view> texts;
    std::deque<std::string> owned;  // readings that are not stored bytes
  };
  bool IsInteger(const KeyReadings& readings, size_t row) const {
    return readings.isInteger.empty() ? !readings.anyText : readings.isInteger[row] != 0;
  }
  std::string_view TextOf(size_t key, size_t row) const;
  // The value of key column `key` in the row at `row`, read in place (false
  // when the row is short).
  bool ReadKey(size_t key, size_t row, EncodedValue* e) const;
  // Fills mKeys[key] (or the leads, for the first key when every later key
  // is uniform) in one pass when the key's rows are all Integers or all
  // stored texts; false, with nothing kept, otherwise.
  bool ReadKeyAtOnce(size_t key);
  // The same for any rows: one pass to learn which readings are needed, one
  // to take them. Updates mUniform.
  void ReadKeyTwice(size_t key);
  // mEntries[row] with the first key's reading `lead`, direction applied.
  void SetLead(size_t row, uint64_t lead);
  // <0, 0 or >0 for the rows at positions `a` and `b` (positions at the time
  // the sorter was built) by the keys from `first` on; key 0 only when the
  // sorter is not uniform (see Entry).
  long CompareKeys(size_t a, size_t b, size_t first) const;
  // Compare for two rows with equal leads (see Entry).
  long CompareTie(size_t a, size_t b) const;

  // When every key's rows compare one way (all by integer or all by text
  // readings) the comparison is a strict weak order and the first key's
  // reading is kept here instead of in mKeys[0]'s arrays: as a number whose
  // order agrees with the key's wherever two numbers differ (direction
  // included), beside the row's position, so that most comparisons read
  // one array in sequence and only equal leads look further.
  struct Entry {
    uint64_t lead;
    uint32_t row;
  };
  const ParvexTempTable& mTable;
  std::vector<KeyReadings> mKeys;
  bool mUniform = false;
  std::vector<Entry> mEntries;  // when mUniform
};

class ParvexTempTable final : public ParvexTable {
 public:
  ParvexTempTable() = default;
  ~ParvexTempTable() override;

  // Appends a column with that name, a NULL prototype of that type and the
  // next position. The column's ID is its position: values handed to a
  // result table identify columns by position.
  void AddColumn(const string& columnName, ParvexDataType type);

  // Appends a row holding copies of `values` in vector order (or the values
  // themselves with `takeOwnership`, in which case the caller's vector is
  // emptied) and a copy of `source` (none when null). Returns the new row's
  // ID, which also becomes lastRowID, or kInvalidRowID when the table is full
  // (no more row IDs).
  RowID AddRow(ParvexValueList& values, bool takeOwnership, const ParvexRecSet* source);
  RowID AddRow(ParvexValueList& values, bool takeOwnership) override;

  long QtyColumns() const override { return static_cast<long>(mColumns.size()); }
  const ParvexColumnInfo* Column(long index) const override;
  long QtyRows() const override;
  void GetRowIDs(SimpleVector<RowID>* ids) const override;
  // False when the row does not exist or the column is negative or past the
  // row's values; a stored NULL is returned as NULL with success.
  bool GetValue(RowID row, long column, ParvexValue* out) const override;
  // Result tables are not edited in place: nothing changes (owned values are
  // released, as for any read-only table).
  void UpdateRow(RowID row, ParvexValueList& values, bool takeOwnership) override;
  void DeleteRow(RowID row) override;

  // The record set that produced `row`, or null (no such row, or none kept).
  // The view stays valid until the next call.
  const ParvexRecSet* GetSourceRecSet(long row) const;
  // The stored value, or null under GetValue's failure rules. The view stays
  // valid until the next call.
  const ParvexValue* ValueAt(RowID row, long column) const;
  // Every value of `row` read in place in one pass, into `out` resized to
  // QtyColumns() (values past the row's own read as NULL); texts view the
  // table's bytes, which stay put while the table lives. False, with `out`
  // untouched, when there is no such row.
  bool ReadRow(RowID row, std::vector<EncodedValue>* out) const;

  // Orders the rows by the given key columns and directions (see
  // TempRowSorter). Does nothing with fewer than two rows or no keys. Ties
  // keep their relative order; row IDs follow the new positions and source
  // record sets move with their rows.
  void Sort(const SimpleVector<long>& keyColumns, const SimpleVector<long>& keyDirections);

 private:
  friend class TempRowSorter;
  static constexpr size_t kChunkBytes = 1 << 16;
  static constexpr size_t kFirstChunkBytes = 256;
  static constexpr uint32_t kNoSource = 0xFFFFFFFFu;
  static constexpr uint32_t kOddSource = 0x80000000u;  // marks an index into mOddSources

  // Where a row's encoded values are, how many, and its source (the number
  // of a flat source, kOddSource | an index into mOddSources, or kNoSource).
  struct RowHandle {
    uint32_t chunk;
    uint32_t offset;
    uint32_t qtyValues;
    uint32_t source;
  };

  // The encoded bytes of a row, starting at its first value.
  std::string_view RowBytes(const RowHandle& row) const;
  // Moves `*at` to the start of value `column` of the row; false when the
  // row has fewer values.
  bool SeekValue(const RowHandle& row, long column, size_t* at) const;

  std::vector<std::unique_ptr<ParvexColumnInfo>> mColumns;
  std::vector<RowHandle> mRows;
  std::vector<std::unique_ptr<char[]>> mChunks;
  std::vector<size_t> mChunkSizes;
  size_t mLastChunkUsed = 0;
  // Sources of `mSourceWidth` row IDs each; sources of another width (not
  // made by a query, whose record sets all have one width) are kept apart.
  bool mSourceWidthSet = false;
  size_t mSourceWidth = 0;
  size_t mQtySources = 0;
  std::vector<RowID> mSources;
  std::vector<ParvexRecSet> mOddSources;
  mutable ParvexValue mValueView;
  mutable ParvexRecSet mSourceView{0};
};

}  // namespace parvex
