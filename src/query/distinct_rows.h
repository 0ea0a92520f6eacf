// DistinctRows: the DISTINCT test of a query result, without a scan of every
// earlier row for every new row.
//
// A new row is a duplicate when some row already in the result equals it in
// every column under ParvexValue::Equals, the new row's value on the left.
// Equals is not an equivalence across types (Integer 5 equals the String
// "5x", a Double 0.0 equals any String), so rows cannot simply be hashed
// whole. Within one class of types Equals is consistent with a simple key:
// Integer/Boolean by integer, String/Binary by ASCII-folded text, Date, Time
// and Timestamp each by folded text, Double by value; NULL equals only NULL.
// So every column whose non-NULL values all fall into one class so far is part
// of the row hash; a column that has seen two classes leaves the hash (the
// index is rebuilt once, without it). Candidates from the row's hash bucket
// are then compared exactly. When every column is mixed the hash is constant
// and the test degrades to the plain scan, the only case that is quadratic.
#pragma once

#include <cstdint>
#include <vector>

#include "core/table.h"
#include "core/value.h"

namespace parvex {

class ParvexTempTable;

class DistinctRows {
 public:
  // `table` holds the rows remembered so far (it must outlive this object).
  explicit DistinctRows(const ParvexTempTable& table);

  // True when a remembered row equals `values` in every column (the widths
  // must match). Also prepares Remember for these values.
  bool Contains(const ParvexValueList& values);
  // Remembers the table row `row`, just added with the values last passed to
  // Contains.
  void Remember(RowID row);

 private:
  // Classes of non-NULL values within which Equals has a consistent key.
  enum KeyClass : uint8_t {
    kClassUnset,
    kClassInteger,    // Integer, Boolean
    kClassText,       // String, Binary
    kClassDate,
    kClassTime,
    kClassTimestamp,
    kClassDouble,
    kClassOther,      // a non-NULL value of no usable type: never equal as the left side
    kClassMixed,      // two classes seen: the column is not hashed
  };

  static KeyClass ClassOf(const ParvexValue& value);
  static uint64_t HashValue(const ParvexValue& value);
  // Folds the value classes of `values` into the columns' classes; true when
  // a column became mixed.
  bool NoteClasses(const ParvexValueList& values);
  uint64_t HashOf(const ParvexValueList& values) const;
  uint64_t HashOfRow(RowID row) const;
  bool RowEquals(const ParvexValueList& values, RowID row) const;
  // Recomputes every remembered row's hash (after a column left the hash).
  void RehashRows();
  // Rebuilds the bucket chains for `bucketCount` buckets (a power of two).
  void Rebucket(size_t bucketCount);

  const ParvexTempTable& mTable;
  std::vector<KeyClass> mColumnClass;
  // Chained hash index over remembered rows: bucket heads and per-entry links
  // hold entry + 1 (0 ends a chain).
  std::vector<uint32_t> mHeads;
  std::vector<uint32_t> mNext;
  std::vector<uint64_t> mHashes;
  std::vector<RowID> mRows;
  uint64_t mPendingHash = 0;  // hash of the values last passed to Contains
};

}  // namespace parvex
