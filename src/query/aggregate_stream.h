// AggregateStream: the aggregates of a grouped query accumulated record set
// by record set, per group key, instead of over a held list of record sets.
//
// A group is a run of one or more keys (keys that differ only in ASCII case
// may share a group), its record sets in key order and, within a key, in
// enumeration order. The accumulated state per key combines into exactly
// what PExprAggregate computes over the whole group:
// - COUNT without DISTINCT: the number of record sets (its argument is never
//   evaluated).
// - SUM over an argument not typed Double: 32-bit wrapping sum, which adds
//   up in any grouping of the terms.
// - SUM over a Double argument, and AVG: a left-to-right sum of the double
//   readings in extended precision, which does not regroup exactly; but a
//   zero reading leaves the sum unchanged, so the non-zero readings are kept
//   (in enumeration order, per key) and summed when the group is known.
// - MIN and MAX: the first reading that is strictly smaller (larger) than
//   all before it wins, per key and then across the keys in order; in the
//   Double domain a NaN never wins or loses, except that a group whose very
//   first reading is NaN keeps it.
// DISTINCT AVG, COUNT and SUM (a distinct list built in group order with a
// non-transitive equality) and aggregates inside an aggregate's argument (which
// read the whole group) cannot be accumulated: Collect refuses them.
#pragma once

#include <cstdint>
#include <vector>

#include "core/table.h"
#include "core/value.h"
#include "platform/parvex_string.h"
#include "query/expr_nodes.h"

namespace parvex {

class ParvexQuery;

class AggregateStream {
 public:
  // The aggregate nodes of the select items and HAVING, in order; false
  // when one of them cannot be accumulated.
  static bool Collect(const ParvexQuery& query, std::vector<const PExprAggregate*>* nodes);

  AggregateStream(const ParvexQuery& query, std::vector<const PExprAggregate*> nodes);

  const std::vector<const PExprAggregate*>& Nodes() const { return mNodes; }
  // Adds a record set to key `key`; keys are numbered densely from 0, and a
  // new key is the next number.
  void Add(uint32_t key, const ParvexRecSet& recSet);
  // Ends the adding: files the kept readings by key.
  void Seal();
  // The aggregates' values (one per node) over the group made of `keys` in
  // that order (after Seal).
  void Values(const std::vector<uint32_t>& keys, std::vector<ParvexValue>* values) const;

 private:
  // MIN or MAX of one key: the winning reading, with its reading in the
  // comparison domain, and (Double domain) the key's first reading.
  struct Extreme {
    bool has = false;  // a reading that can win was seen
    ParvexValue best;
    int32_t bestInteger = 0;
    double bestDouble = 0.0;
    string bestText;
    bool firstIsNaN = false;
    ParvexValue first;  // kept only when it is a NaN
  };
  struct NodeState {
    ParvexDataType argType = kTypeNone;
    ParvexDataType domain = kTypeNone;  // MIN, MAX: how readings compare
    std::vector<uint32_t> sums;       // per key: integer SUM
    std::vector<double> readings;     // non-zero double readings (SUM of Double, AVG)
    std::vector<uint32_t> readingKey;  // the key of each reading, until Seal
    std::vector<uint32_t> readingStart;  // after Seal: key k's readings are [start[k], start[k + 1])
    std::vector<Extreme> extremes;    // per key: MIN, MAX
  };

  static void AddExtreme(NodeState& state, uint32_t key, const ParvexValue& reading, bool max);
  // Whether `candidate` beats `best` for MIN (`max` false) or MAX.
  static bool Beats(const Extreme& candidate, const Extreme& best, ParvexDataType domain, bool max);

  const ParvexQuery& mQuery;
  std::vector<const PExprAggregate*> mNodes;
  std::vector<NodeState> mStates;
  std::vector<uint64_t> mCounts;  // per key: record sets
};

}  // namespace parvex
