// HashGrouping: filing by key, ordering the distinct keys, and evaluating
// each group from accumulated states or from its held record sets.
#include "query/hash_grouping.h"

#include <algorithm>
#include <numeric>

#include "query/group_key.h"
#include "query/query.h"
#include "query/query_output.h"

namespace parvex {

HashGrouping::HashGrouping(QueryOutput& output)
    : mOutput(output), mWidth(output.Query().tables.size()), mGrouped(!output.Query().groupBy.empty()) {
  std::vector<const PExprAggregate*> nodes;
  if (AggregateStream::Collect(output.Query(), &nodes)) {
    mStream = std::make_unique<AggregateStream>(output.Query(), std::move(nodes));
  }
}

void HashGrouping::Accept(const ParvexRecSet& recSet) {
  if (mGrouped) {
    BuildGroupKey(mOutput.Query(), recSet, &mKey);
  } else {
    mKey.clear();
  }
  const size_t known = mKeys.size();
  const uint32_t key = mKeys.Intern(mKey);
  if (!mStream) {
    for (size_t t = 0; t < mWidth; ++t) mHeld.push_back(recSet[t]);
    mHeldKey.push_back(key);
    return;
  }
  if (key == known) {
    for (size_t t = 0; t < mWidth; ++t) mFirst.push_back(recSet[t]);
  }
  mStream->Add(key, recSet);
}

std::vector<std::vector<uint32_t>> HashGrouping::Groups() const {
  std::vector<uint32_t> order(mKeys.size());
  std::iota(order.begin(), order.end(), 0u);
  std::sort(order.begin(), order.end(),
            [this](uint32_t a, uint32_t b) { return GroupKeyLess(mKeys.KeyOf(a), mKeys.KeyOf(b)); });
  std::vector<std::vector<uint32_t>> groups;
  for (size_t i = 0; i < order.size(); ++i) {
    if (i == 0 || !SameGroup(mKeys.KeyOf(order[i]), mKeys.KeyOf(order[i - 1]))) groups.emplace_back();
    groups.back().push_back(order[i]);
  }
  return groups;
}

void HashGrouping::Finish() {
  if (!mGrouped && mKeys.size() == 0) {
    // No record set at all: the one row of an empty group.
    const SimpleVector<ParvexRecSet*> none;
    mOutput.AddGroup(mOutput.ContextFor(nullptr, &none), false);
    return;
  }
  const std::vector<std::vector<uint32_t>> groups = Groups();
  if (mStream) {
    FinishStreamed(groups);
  } else {
    FinishHeld(groups);
  }
}

void HashGrouping::FinishStreamed(const std::vector<std::vector<uint32_t>>& groups) {
  mStream->Seal();
  const std::vector<const PExprAggregate*>& nodes = mStream->Nodes();
  std::vector<ParvexValue> values;
  ParvexRecSet first(mWidth);
  SimpleVector<ParvexRecSet*> firstOnly;
  firstOnly.push_back(&first);
  for (const std::vector<uint32_t>& keys : groups) {
    mStream->Values(keys, &values);
    for (size_t t = 0; t < mWidth; ++t) first[t] = mFirst[keys[0] * mWidth + t];
    // Plain columns read the group's first record set; aggregates their values.
    ParvexAggregateValues known;
    known.nodes = nodes.data();
    known.values = values.data();
    known.count = nodes.size();
    ParvexEvalContext context = mOutput.ContextFor(nullptr, &firstOnly);
    context.aggregateValues = &known;
    mOutput.AddGroup(context, mGrouped);
  }
}

void HashGrouping::FinishHeld(const std::vector<std::vector<uint32_t>>& groups) {
  // The held record sets filed by key (counting sort; enumeration order kept).
  std::vector<size_t> start(mKeys.size() + 1, 0);
  for (uint32_t key : mHeldKey) ++start[key + 1];
  for (size_t k = 1; k < start.size(); ++k) start[k] += start[k - 1];
  std::vector<uint32_t> filed(mHeldKey.size());
  std::vector<size_t> next(start.begin(), start.end() - 1);
  for (size_t i = 0; i < mHeldKey.size(); ++i) filed[next[mHeldKey[i]]++] = static_cast<uint32_t>(i);

  std::vector<ParvexRecSet> members;
  SimpleVector<ParvexRecSet*> group;
  for (const std::vector<uint32_t>& keys : groups) {
    members.clear();
    for (uint32_t key : keys) {
      for (size_t f = start[key]; f < start[key + 1]; ++f) {
        ParvexRecSet recSet(mWidth);
        for (size_t t = 0; t < mWidth; ++t) recSet[t] = mHeld[filed[f] * mWidth + t];
        members.push_back(std::move(recSet));
      }
    }
    group.clear();
    for (ParvexRecSet& recSet : members) group.push_back(&recSet);
    mOutput.AddGroup(mOutput.ContextFor(nullptr, &group), mGrouped);
  }
}

}  // namespace parvex
