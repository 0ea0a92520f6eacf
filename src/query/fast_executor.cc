// The fast executor: the nested loop over the plan's levels with its access
// paths and pruning.
#include "query/fast_executor.h"

#include <memory>
#include <vector>

#include "query/column_hash.h"
#include "query/hash_grouping.h"
#include "query/query.h"
#include "query/query_output.h"
#include "query/query_plan.h"

namespace parvex {

namespace {

constexpr size_t kNoFact = static_cast<size_t>(-1);

class FastRun {
 public:
  FastRun(QueryOutput& output, unsigned long* combinations)
      : mOutput(output),
        mQuery(output.Query()),
        mCombinations(combinations),
        mPlan(mQuery),
        mCurrent(mQuery.tables.size()),
        mScans(mQuery.tables.size()),
        mHashes(mPlan.levels.size()),
        mPositions(mPlan.levels.size()),
        mRows(mPlan.levels.size()),
        mKnownTrue(mPlan.conjuncts.size(), 0) {
    if (mOutput.Aggregate()) mGrouping = std::make_unique<HashGrouping>(mOutput);
  }

  bool Run() {
    if (!ConstantsDefinitelyFalse()) Descend(0);
    if (mOutput.Stopped()) return false;
    if (mGrouping) mGrouping->Finish();
    return true;
  }

 private:
  // Where a level's rows come from for the current record set.
  enum class Source { kScan, kRows, kPositions };

  ParvexEvalContext Context() const { return mOutput.ContextFor(&mCurrent, nullptr); }

  bool DefinitelyFalse(const ParvexExpr& conjunct) const {
    ParvexValue verdict;
    return conjunct.Evaluate(Context(), &verdict) && verdict.GetInteger() == 0;
  }

  bool ConstantsDefinitelyFalse() const {
    for (size_t c : mPlan.constants) {
      if (DefinitelyFalse(*mPlan.conjuncts[c].expr)) return true;
    }
    return false;
  }

  const SimpleVector<RowID>& ScanOf(size_t table) {
    std::unique_ptr<SimpleVector<RowID>>& scan = mScans[table];
    if (!scan) {
      scan = std::make_unique<SimpleVector<RowID>>();
      mQuery.tables[table]->GetRowIDs(scan.get());
    }
    return *scan;
  }

  // Picks the rows of `level` for the current record set.
  Source Choose(size_t level) {
    PlanLevel& planned = mPlan.levels[level];
    ParvexValue value;
    if (planned.lookup && planned.lookup->other->Evaluate(Context(), &value) &&
        planned.access->Candidates(value, planned.lookup->columnOnLeft, &mRows[level])) {
      if (planned.access->Exact()) mLevelFact = planned.lookup->conjunct;
      return Source::kRows;
    }
    if (planned.hash) {
      value.SetNull();
      if (planned.hash->other->Evaluate(Context(), &value)) {
        std::unique_ptr<ColumnHash>& hash = mHashes[level];
        if (!hash) {
          hash = std::make_unique<ColumnHash>(*mQuery.tables[planned.table], planned.hash->field->column,
                                              ScanOf(planned.table));
        }
        hash->Candidates(value, planned.hash->columnOnLeft, &mPositions[level]);
        mLevelFact = planned.hash->conjunct;
        return Source::kPositions;
      }
    }
    return Source::kScan;
  }

  // Binds `row` at `level` and goes on; false when the query must stop.
  // `fact` is a conjunct known to hold for the row (the equality it was
  // found by), or kNoFact.
  bool Visit(size_t level, RowID row, size_t fact) {
    if (row == kInvalidRowID) return true;  // it means "no row": never bound
    if (mOutput.ShouldStop()) return false;
    const PlanLevel& planned = mPlan.levels[level];
    ++*mCombinations;
    mCurrent[planned.table] = row;
    if (fact != kNoFact) ++mKnownTrue[fact];
    if (level + 1 == mPlan.levels.size()) {
      HandOver();
    } else {
      bool pruned = false;
      for (size_t c : planned.prune) {
        if (!mKnownTrue[c] && DefinitelyFalse(*mPlan.conjuncts[c].expr)) {
          pruned = true;
          break;
        }
      }
      if (!pruned) Descend(level + 1);
    }
    if (fact != kNoFact) --mKnownTrue[fact];
    return !mOutput.Stopped();
  }

  // Visits the rows forward or backward; `rowAt` turns an entry into a row
  // ID, `holds` tells whether the level's fact holds for the entry.
  template <typename Rows, typename RowAt, typename Holds>
  void VisitAll(size_t level, const Rows& rows, size_t fact, RowAt rowAt, Holds holds) {
    const size_t n = rows.size();
    auto visit = [&](size_t i) { return Visit(level, rowAt(rows[i]), holds(rows[i]) ? fact : kNoFact); };
    if (mPlan.levels[level].forward) {
      for (size_t i = 0; i < n; ++i) {
        if (!visit(i)) return;
      }
    } else {
      for (size_t i = n; i-- > 0;) {
        if (!visit(i)) return;
      }
    }
  }

  void Descend(size_t level) {
    if (level == mPlan.levels.size()) {  // no source tables: one empty record set
      ++*mCombinations;
      HandOver();
      return;
    }
    const size_t table = mPlan.levels[level].table;
    mLevelFact = kNoFact;
    const Source source = Choose(level);
    const size_t fact = mLevelFact;
    auto same = [](RowID row) { return row; };
    auto always = [](auto) { return true; };
    switch (source) {
      case Source::kScan:
        VisitAll(level, ScanOf(table), kNoFact, same, always);
        break;
      case Source::kRows:
        VisitAll(level, mRows[level], fact, same, always);
        break;
      case Source::kPositions: {
        const SimpleVector<RowID>& scan = ScanOf(table);
        const ColumnHash& hash = *mHashes[level];
        VisitAll(level, mPositions[level], fact, [&scan](uint32_t position) { return scan[position]; },
                 [&hash](uint32_t position) { return hash.Matches(position); });
        break;
      }
    }
    mCurrent[table] = kInvalidRowID;
  }

  // The final WHERE test. When the lookups have shown some conjuncts to
  // hold, the others decide: the condition's value is 0 exactly when some
  // conjunct evaluates successfully to 0.
  bool PassesWhere() const {
    bool anyKnown = false;
    for (int known : mKnownTrue) anyKnown = anyKnown || known;
    if (!anyKnown) return mOutput.PassesWhere(mCurrent);
    for (size_t c = 0; c < mPlan.conjuncts.size(); ++c) {
      if (!mKnownTrue[c] && DefinitelyFalse(*mPlan.conjuncts[c].expr)) return false;
    }
    return true;
  }

  // A complete record set: the final WHERE test, then a row or a candidate.
  void HandOver() {
    if (!PassesWhere()) return;
    if (mGrouping) {
      mGrouping->Accept(mCurrent);
    } else {
      mOutput.AddCombination(mCurrent);
    }
  }

  QueryOutput& mOutput;
  const ParvexQuery& mQuery;
  unsigned long* mCombinations;
  QueryPlan mPlan;
  ParvexRecSet mCurrent;
  std::vector<std::unique_ptr<SimpleVector<RowID>>> mScans;  // per table, read on first use
  std::vector<std::unique_ptr<ColumnHash>> mHashes;           // per level, built on first use
  // Per level: the rows or scan positions found for the current record set
  // (each level has its own, as deeper levels run while one is visited).
  std::vector<std::vector<uint32_t>> mPositions;
  std::vector<std::vector<RowID>> mRows;
  // Per conjunct: how many bound levels found their row through it (it then
  // holds for the current record set).
  std::vector<int> mKnownTrue;
  size_t mLevelFact = kNoFact;  // what Choose found its rows through
  std::unique_ptr<HashGrouping> mGrouping;
};

}  // namespace

bool RunFastQuery(QueryOutput& output, unsigned long* combinations) {
  return FastRun(output, combinations).Run();
}

}  // namespace parvex
