// The reference executor: work-stack enumeration with pruning, candidate
// collection and grouping by sorted key strings.
#include "query/reference_executor.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "query/group_key.h"
#include "query/query.h"
#include "query/query_output.h"

namespace parvex {

namespace {

// Record sets on the work stack are stored flat, `width` row IDs each.
class RecSetStack {
 public:
  explicit RecSetStack(size_t width) : mWidth(width) {}
  bool empty() const { return mCount == 0; }
  void Push(const ParvexRecSet& recSet) {
    for (size_t i = 0; i < mWidth; ++i) mIDs.push_back(recSet[i]);
    ++mCount;
  }
  void Pop(ParvexRecSet* recSet) {
    const size_t base = mIDs.size() - mWidth;
    for (size_t i = 0; i < mWidth; ++i) (*recSet)[i] = mIDs[base + i];
    mIDs.resize(base);
    --mCount;
  }

 private:
  size_t mWidth;
  size_t mCount = 0;
  std::vector<RowID> mIDs;
};

class ReferenceRun {
 public:
  ReferenceRun(QueryOutput& output, unsigned long* combinations)
      : mOutput(output), mQuery(output.Query()), mCombinations(combinations), mRowIDs(mQuery.tables.size()) {}

  bool Run() {
    Enumerate();
    if (mOutput.Stopped()) return false;
    if (mOutput.Aggregate()) EvalAggregates();
    return true;
  }

 private:
  // The table to bind next in `recSet` and whether the condition's answer
  // on the partial record set will mean anything.
  size_t ChooseTable(const ParvexRecSet& recSet, size_t firstUnbound, bool* usable) const {
    *usable = true;
    if (!mQuery.where) return firstUnbound;
    const long choice = mQuery.where->ChooseWildcardTable(&recSet, usable);
    if (choice < 0 || static_cast<size_t>(choice) >= recSet.size() ||
        recSet[static_cast<size_t>(choice)] != kInvalidRowID) {
      *usable = false;
      return firstUnbound;
    }
    return static_cast<size_t>(choice);
  }

  const SimpleVector<RowID>& RowIDsOf(size_t table) {
    std::unique_ptr<SimpleVector<RowID>>& ids = mRowIDs[table];
    if (!ids) {
      ids = std::make_unique<SimpleVector<RowID>>();
      mQuery.tables[table]->GetRowIDs(ids.get());
    }
    return *ids;
  }

  void Enumerate() {
    const size_t width = mQuery.tables.size();
    RecSetStack stack(width);
    ParvexRecSet current(width);  // every entry unbound
    ParvexRecSet next(width);
    stack.Push(current);
    while (!stack.empty()) {
      if (mOutput.ShouldStop()) return;
      stack.Pop(&current);
      ++*mCombinations;
      size_t firstUnbound = width;
      size_t unbound = 0;
      for (size_t i = 0; i < width; ++i) {
        if (current[i] != kInvalidRowID) continue;
        if (unbound++ == 0) firstUnbound = i;
      }
      if (unbound == 0) {
        HandOver(current);
        continue;
      }
      bool usable = true;
      const size_t bind = ChooseTable(current, firstUnbound, &usable);
      const bool completes = unbound == 1;
      for (RowID id : RowIDsOf(bind)) {
        if (mOutput.ShouldStop()) return;
        if (id == kInvalidRowID) continue;  // cannot be bound: it means "no row"
        next = current;
        next[bind] = id;
        if (usable && completes) {
          HandOver(next);
          continue;
        }
        if (usable && mQuery.where) {
          ParvexValue verdict;
          if (mQuery.where->Evaluate(mOutput.ContextFor(&next, nullptr), &verdict) && verdict.GetInteger() == 0) {
            continue;  // definitely false: the whole subtree is pruned
          }
        }
        stack.Push(next);
      }
    }
  }

  // ConsiderOutputRecord and ConsiderAggRecord.
  void HandOver(const ParvexRecSet& recSet) {
    if (!mOutput.PassesWhere(recSet)) return;
    if (mOutput.Aggregate()) {
      mCandidates.push_back(recSet);
    } else {
      mOutput.AddCombination(recSet);
    }
  }

  void EvalAggregates() {
    SimpleVector<ParvexRecSet*> all;
    all.reserve(mCandidates.size());
    for (ParvexRecSet& recSet : mCandidates) all.push_back(&recSet);
    if (mQuery.groupBy.empty()) {
      mOutput.AddGroup(mOutput.ContextFor(nullptr, &all), false);
      return;
    }
    std::vector<size_t> starts;
    SortIntoGroups(all, &starts);
    SimpleVector<ParvexRecSet*> group;
    for (size_t g = 0; g < starts.size(); ++g) {
      const size_t end = g + 1 < starts.size() ? starts[g + 1] : all.size();
      group.clear();
      for (size_t i = starts[g]; i < end; ++i) group.push_back(all[i]);
      mOutput.AddGroup(mOutput.ContextFor(nullptr, &group), true);
    }
  }

  // Orders the candidates by their keys (equal keys keep their order) and
  // lists where each group starts.
  void SortIntoGroups(SimpleVector<ParvexRecSet*>& candidates, std::vector<size_t>* groupStarts) const {
    struct Keyed {
      std::string key;
      ParvexRecSet* recSet;
    };
    std::vector<Keyed> keyed;
    keyed.reserve(candidates.size());
    for (ParvexRecSet* recSet : candidates) {
      keyed.push_back({std::string(), recSet});
      BuildGroupKey(mQuery, *recSet, &keyed.back().key);
    }
    std::stable_sort(keyed.begin(), keyed.end(),
                     [](const Keyed& a, const Keyed& b) { return GroupKeyLess(a.key, b.key); });
    groupStarts->clear();
    for (size_t i = 0; i < keyed.size(); ++i) {
      candidates[i] = keyed[i].recSet;
      if (i == 0 || !SameGroup(keyed[i].key, keyed[i - 1].key)) groupStarts->push_back(i);
    }
  }

  QueryOutput& mOutput;
  const ParvexQuery& mQuery;
  unsigned long* mCombinations;
  // The row IDs of each source table, read on first use.
  std::vector<std::unique_ptr<SimpleVector<RowID>>> mRowIDs;
  std::vector<ParvexRecSet> mCandidates;
};

}  // namespace

bool RunReferenceQuery(QueryOutput& output, unsigned long* combinations) {
  return ReferenceRun(output, combinations).Run();
}

}  // namespace parvex
