// ParvexQuery: executes one SELECT and returns its result table.
//
// Joins are a depth-first enumeration of record sets (one row ID per source
// table) kept on a last-in first-out work stack. Before binding a table the
// WHERE condition picks which unbound table to enumerate next
// (ChooseWildcardTable); when its answer is usable, every partial record set
// on which the condition is definitely false is dropped with its whole subtree
// of combinations. Because the stack is LIFO, an outer table's rows are
// visited in the reverse of their GetRowIDs order while an inner table remains
// to be bound; the rows of the last table bound are visited in order. Without
// ORDER BY the result keeps this visiting order.
//
// The final WHERE test on a complete record set looks only at the value the
// condition leaves behind (its integer reading must be non-zero), not at
// whether the evaluation succeeded. Aggregate queries collect the passing
// record sets and evaluate the select list per group: without GROUP BY the
// whole collection is one group and yields exactly one row (HAVING and
// DISTINCT are not applied); with GROUP BY the groups come out in key order,
// filtered by HAVING and DISTINCT. A query that has GROUP BY columns is
// grouped even when no select item is an aggregate.
//
// The query owns its expression trees and not its tables. `combinations`
// counts the record sets taken from the work stack by the last RunQuery.
#pragma once

#include <memory>
#include <vector>

#include "core/table.h"
#include "db/temp_table.h"
#include "platform/parvex_string.h"
#include "platform/simple_vector.h"
#include "query/expr.h"
#include "query/expr_nodes.h"

namespace parvex {

class ParvexDatabase;

class ParvexQuery {
 public:
  ParvexQuery() = default;
  ParvexQuery(const ParvexQuery&) = delete;
  ParvexQuery& operator=(const ParvexQuery&) = delete;

  // Runs the query and returns a new result table owned by the caller. Null
  // when the query is malformed: a null source table, a null or incomplete
  // (not Valid) select item or GROUP BY column, or an incomplete WHERE or
  // HAVING condition (such trees are never evaluated).
  ParvexTempTable* RunQuery();

  // "SELECT [DISTINCT ]items\n  FROM tables[\n  WHERE condition]", for reading.
  string Description() const;

  // Evaluates one column on one record set (the GROUP BY keys).
  bool Evaluate(const PExprField& field, const ParvexRecSet& recSet, ParvexValue* out) const;

  ParvexDatabase* database = nullptr;
  SimpleVector<ParvexTable*> tables;  // source tables in FROM order; not owned
  SimpleVector<ParvexExprPtr> items;  // the select list; each item's name is its alias
  ParvexExprPtr where;                // may be null
  SimpleVector<std::unique_ptr<PExprField>> groupBy;
  ParvexExprPtr having;               // may be null
  SimpleVector<long> orderColumns;    // result-column indexes of the ORDER BY keys
  SimpleVector<long> orderDirections; // per key: 1 ascending, -1 descending
  bool distinct = false;
  unsigned long combinations = 0;
  // Set when the last RunQuery gave up because the database was asked to
  // interrupt (RunQuery then returns null).
  bool interrupted = false;

 private:
  struct RunState;

  bool WellFormed() const;
  // Whether `condition` passes on the context: only the value left behind
  // counts (its integer reading is non-zero), not the evaluation's success.
  static bool Passes(const ParvexExpr& condition, const ParvexEvalContext& context);
  ParvexEvalContext ContextFor(const ParvexRecSet* recSet,
                               const SimpleVector<ParvexRecSet*>* group) const;
  // Evaluates every select item into its value slot (each reset to NULL first).
  void EvaluateItems(const ParvexEvalContext& context, ParvexValueList& values) const;
  // Adds the row in `values`, dropping it when DISTINCT finds an equal row.
  void AddResultRow(RunState& run, const ParvexRecSet* source) const;

  // A complete record set: output row or aggregate candidate.
  void HandOver(RunState& run, const ParvexRecSet& recSet) const;
  void ConsiderOutputRecord(RunState& run, const ParvexRecSet& recSet) const;
  void ConsiderAggRecord(RunState& run, const ParvexRecSet& recSet) const;
  void EvalAggregates(RunState& run) const;
  // Orders the candidates by their GROUP BY key and lists where each group
  // starts (ascending indexes, the first being 0 when there are candidates).
  void SortIntoGroups(SimpleVector<ParvexRecSet*>& candidates,
                      std::vector<size_t>* groupStarts) const;
};

}  // namespace parvex
