// HashGrouping: the fast executor's grouping of an aggregate query.
//
// Each record set that passed WHERE gets its GROUP BY key (group_key.h; a
// query without GROUP BY has the single key "") and is filed under it
// through a hash of the exact key bytes. At the end only the distinct keys
// are sorted (exact bytes) and split into groups where neighbouring keys
// differ ignoring case, which gives the reference's groups in the
// reference's order, each with its record sets in the reference's order (key
// order, then enumeration order).
//
// When every aggregate of the select list and HAVING can be accumulated
// (aggregate_stream.h), a key keeps only its first record set (which plain
// columns read) and its accumulated state, so the record sets are not held.
// Otherwise every record set is kept, filed by key, and the aggregates
// evaluate over each group's list as in the reference.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/table.h"
#include "query/aggregate_stream.h"
#include "query/key_dictionary.h"

namespace parvex {

class QueryOutput;

class HashGrouping {
 public:
  explicit HashGrouping(QueryOutput& output);
  HashGrouping(const HashGrouping&) = delete;
  HashGrouping& operator=(const HashGrouping&) = delete;

  // A complete record set that passed WHERE.
  void Accept(const ParvexRecSet& recSet);
  // Adds the groups' rows to the output.
  void Finish();

 private:
  // The keys of each group, in output order.
  std::vector<std::vector<uint32_t>> Groups() const;
  void FinishStreamed(const std::vector<std::vector<uint32_t>>& groups);
  void FinishHeld(const std::vector<std::vector<uint32_t>>& groups);

  QueryOutput& mOutput;
  const size_t mWidth;
  const bool mGrouped;
  KeyDictionary mKeys;
  std::string mKey;  // scratch
  std::unique_ptr<AggregateStream> mStream;  // null when record sets are held
  std::vector<RowID> mFirst;       // streamed: each key's first record set, `mWidth` IDs each
  std::vector<RowID> mHeld;        // held: every record set, `mWidth` IDs each
  std::vector<uint32_t> mHeldKey;  // held: each record set's key
};

}  // namespace parvex
