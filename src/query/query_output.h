// QueryOutput: the result side shared by both query executors.
//
// It creates the result table's columns (an item's alias, or its
// Description() when it has none, typed by GetType) and one value slot per
// select item, and turns what an executor finds into result rows: the final
// WHERE test on a complete record set (only the value the condition leaves
// behind counts), the select items' evaluation (each slot reset to NULL
// first; a failed item keeps what it wrote), HAVING, and DISTINCT (a row is
// dropped when an earlier kept row equals it in every column, the new value
// on the left of ParvexValue::Equals). The reference executor checks DISTINCT
// with a backward scan of the result; the fast one with DistinctRows, which
// gives the same answers. It also polls the database's interrupt request.
#pragma once

#include <memory>
#include <vector>

#include "core/table.h"
#include "db/temp_table.h"
#include "query/distinct_rows.h"
#include "query/expr.h"

namespace parvex {

class ParvexQuery;

class QueryOutput {
 public:
  QueryOutput(const ParvexQuery& query, ParvexTempTable& result, bool linearDistinct);
  QueryOutput(const QueryOutput&) = delete;
  QueryOutput& operator=(const QueryOutput&) = delete;

  const ParvexQuery& Query() const { return mQuery; }
  // True when a select item has an aggregate.
  bool Aggregate() const { return mAggregate; }

  ParvexEvalContext ContextFor(const ParvexRecSet* recSet, const SimpleVector<ParvexRecSet*>* group) const;
  // Whether `condition` passes on the context: only the value left behind
  // counts (its integer reading is non-zero), not the evaluation's success.
  static bool Passes(const ParvexExpr& condition, const ParvexEvalContext& context);
  // The final WHERE test of a complete record set (true without WHERE).
  bool PassesWhere(const ParvexRecSet& recSet) const;

  // A plain query's row: the select items on a record set that passed
  // WHERE, kept with the record set as its source (subject to DISTINCT).
  void AddCombination(const ParvexRecSet& recSet);
  // An aggregate query's row for one group, evaluated on `context`. With
  // GROUP BY (`grouped`) HAVING filters it and DISTINCT applies.
  void AddGroup(const ParvexEvalContext& context, bool grouped);

  // Counts a step of work; true (and from then on) when the database asked
  // the query to stop. Polls the request every few thousand steps.
  bool ShouldStop();
  bool Stopped() const { return mStopped; }

 private:
  void EvaluateItems(const ParvexEvalContext& context);
  void AddRow(const ParvexRecSet* source);
  // Whether an earlier kept row equals the values in the slots.
  bool IsDuplicate();

  const ParvexQuery& mQuery;
  ParvexTempTable& mResult;
  bool mAggregate = false;
  std::vector<std::unique_ptr<ParvexValueWithID>> mSlots;
  ParvexValueList mValues;
  bool mLinearDistinct;
  std::unique_ptr<DistinctRows> mSeen;  // the hashed DISTINCT test
  unsigned mSteps = 0;
  bool mStopped = false;
};

}  // namespace parvex
