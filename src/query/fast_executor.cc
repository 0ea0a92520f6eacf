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
        mRows(mPlan.levels.size()) {
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
        return Source::kPositions;
      }
    }
    return Source::kScan;
  }

  // Binds `row` at `level` and goes on; false when the query must stop.
  bool Visit(size_t level, RowID row) {
    if (row == kInvalidRowID) return true;  // it means "no row": never bound
    if (mOutput.ShouldStop()) return false;
    const PlanLevel& planned = mPlan.levels[level];
    ++*mCombinations;
    mCurrent[planned.table] = row;
    if (level + 1 == mPlan.levels.size()) {
      HandOver();
    } else {
      bool pruned = false;
      for (size_t c : planned.prune) {
        if (DefinitelyFalse(*mPlan.conjuncts[c].expr)) {
          pruned = true;
          break;
        }
      }
      if (!pruned) Descend(level + 1);
    }
    return !mOutput.Stopped();
  }

  template <typename Rows, typename RowAt>
  void VisitAll(size_t level, const Rows& rows, RowAt rowAt) {
    const size_t n = rows.size();
    if (mPlan.levels[level].forward) {
      for (size_t i = 0; i < n; ++i) {
        if (!Visit(level, rowAt(rows[i]))) return;
      }
    } else {
      for (size_t i = n; i-- > 0;) {
        if (!Visit(level, rowAt(rows[i]))) return;
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
    switch (Choose(level)) {
      case Source::kScan:
        VisitAll(level, ScanOf(table), [](RowID row) { return row; });
        break;
      case Source::kRows:
        VisitAll(level, mRows[level], [](RowID row) { return row; });
        break;
      case Source::kPositions: {
        const SimpleVector<RowID>& scan = ScanOf(table);
        VisitAll(level, mPositions[level], [&scan](uint32_t position) { return scan[position]; });
        break;
      }
    }
    mCurrent[table] = kInvalidRowID;
  }

  // A complete record set: the final WHERE test, then a row or a candidate.
  void HandOver() {
    if (!mOutput.PassesWhere(mCurrent)) return;
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
  std::unique_ptr<HashGrouping> mGrouping;
};

}  // namespace

bool RunFastQuery(QueryOutput& output, unsigned long* combinations) {
  return FastRun(output, combinations).Run();
}

}  // namespace parvex
