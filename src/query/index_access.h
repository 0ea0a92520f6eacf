// IndexAccess: finds the rows of a stored table that can satisfy
// `column = value` (or `value = column`) without reading the table: through
// the row-ID map for `_rowid`, or through a one-column ParvexIndex.
//
// An index answers by ParvexValue::Equals with the entry on the left, which
// is not the comparison's rule; it is used only where, for the column's type,
// the comparison's matches are a subset of what the index can find, and the
// caller's final WHERE test then rejects the rest:
// - Integer column (every non-NULL entry an Integer): the comparison matches
//   an integer k (the value's integer reading, or, for a text value on the
//   left, the number its text spells exactly in decimal), and NULL rows when
//   k is 0 (NULL reads as 0) or when a text value reads "NULL".
// - String, Date, Time or Timestamp column (every non-NULL entry of that
//   type): the comparison matches the value's text (Date values read
//   "DATE ...", so the text must carry the type's prefix), which the index
//   finds ignoring case; NULL rows when the text is "NULL". Not used when a
//   non-text value is on the left (integer comparison).
// - A Boolean value on either side coerces both sides: never answered.
// - `_rowid` (column 0 of a stored table): as an Integer column without NULLs.
// Other column types, a census that shows other types, an index over several
// columns, or a table that is not a stored one: no IndexAccess.
//
// The found rows are returned in the table's scan order (GetRowIDs order):
// one row needs no ordering; for several the scan positions are read once
// per query (GetRowIDs, no record reads).
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "core/table.h"
#include "core/value.h"

namespace parvex {

class ParvexIndex;
class ParvexTrans;

class IndexAccess {
 public:
  // An access for the table's column, or null when neither the row-ID map nor
  // a suitable index can answer for it.
  static std::unique_ptr<IndexAccess> For(const ParvexTable& table, long column);

  // Replaces `rows` with the rows to visit, in scan order; false (and `rows`
  // unspecified) when this value cannot be answered here.
  bool Candidates(const ParvexValue& value, bool columnOnLeft, std::vector<RowID>* rows);
  // Whether every row Candidates gives satisfies the comparison (row IDs and
  // Integer indexes find exactly those; text indexes find ignoring case).
  bool Exact() const { return mType == kTypeInteger; }

 private:
  IndexAccess(const ParvexTrans& table, const ParvexIndex* index, ParvexDataType type);

  // The key values to look up for the comparison's matches; false when the
  // index cannot answer.
  bool LookupKeys(const ParvexValue& value, bool columnOnLeft, std::vector<ParvexValue>* keys) const;
  // Sorts `rows` by scan position, dropping rows the scan does not list.
  void OrderByScan(std::vector<RowID>* rows);

  const ParvexTrans& mTable;
  const ParvexIndex* mIndex;  // null for `_rowid`
  ParvexDataType mType;       // the column's type
  bool mScanRead = false;
  std::vector<std::pair<RowID, uint32_t>> mScanPosition;  // (row, scan position), by row
  std::vector<ParvexValue> mKeys;  // scratch
};

}  // namespace parvex
