// ColumnHash: the hash side of a hash join. Built over one column of one
// source table once per query, it lists, for a value, the rows whose
// comparison with the column is not definitely false: the rows that compare
// equal (equality_match.h) and the rows whose column value cannot be read
// (unknown). Rows are given by their position in the table's scan list
// (GetRowIDs order), ascending, so a caller can visit them in the order a
// scan would, forward or backward.
//
// The column's rows are classified on first use; the lookup structure of a
// (class, reading) pair is built the first time a value needs it, with one
// more pass over the rows of that class. Cost: O(rows) per structure built,
// O(matches) per lookup.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "core/table.h"
#include "query/equality_match.h"
#include "query/key_dictionary.h"

namespace parvex {

class ColumnHash {
 public:
  // `scan` is the table's row list; it must outlive the hash and not change.
  ColumnHash(const ParvexTable& table, long column, const SimpleVector<RowID>& scan);
  ColumnHash(const ColumnHash&) = delete;
  ColumnHash& operator=(const ColumnHash&) = delete;

  // Replaces `positions` with the ascending scan positions of the rows to
  // visit for `column = value` (`columnOnLeft`) or `value = column`.
  void Candidates(const ParvexValue& value, bool columnOnLeft, std::vector<uint32_t>* positions);
  // Whether the comparison is known to hold for a position Candidates gave
  // (true unless the row's value could not be read).
  bool Matches(uint32_t position) const { return mClasses[position] < kRowClassCount; }

 private:
  // A row's class, or one of these.
  static constexpr uint8_t kSkipped = 0xFE;     // the invalid row ID: never bound
  static constexpr uint8_t kUnreadable = 0xFF;  // GetValue failed: always visited

  // Rows of one class by one reading of their value: the keys, and for key k
  // the positions starts[k] .. starts[k + 1] - 1 of `positions`.
  struct Buckets {
    bool built = false;
    KeyDictionary keys;
    std::vector<uint32_t> starts;
    std::vector<uint32_t> positions;
  };

  Buckets& BucketsOf(RowClass rowClass, KeyReading reading) {
    return mBuckets[static_cast<size_t>(rowClass) * kKeyReadingCount + static_cast<size_t>(reading)];
  }
  // Builds the buckets that `keys` need and do not have yet.
  void Build(const std::vector<EqualityKey>& keys);

  const ParvexTable& mTable;
  long mColumn;
  const SimpleVector<RowID>& mScan;
  bool mClassified = false;
  std::vector<uint8_t> mClasses;  // per scan position
  unsigned mPresent = 0;          // the classes of the rows (bit 1 << class)
  std::vector<uint32_t> mUnreadable;
  std::array<Buckets, kRowClassCount * kKeyReadingCount> mBuckets;
  std::vector<EqualityKey> mKeys;  // scratch
  std::vector<std::pair<const uint32_t*, const uint32_t*>> mRuns;  // scratch
};

}  // namespace parvex
