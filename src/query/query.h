// ParvexQuery: executes one SELECT and returns its result table.
//
// What a query returns is defined by a depth-first enumeration of record sets
// (one row ID per source table) on a last-in first-out work stack. Before
// binding a table the WHERE condition picks which unbound table to enumerate
// next (ChooseWildcardTable); when its answer is usable, every partial record
// set on which the condition is definitely false is dropped with its whole
// subtree of combinations. Because the stack is LIFO, an outer table's rows
// are visited in the reverse of their GetRowIDs order while an inner table
// remains to be bound; the rows of the last table bound are visited in order
// when the condition's answer for it was usable, in reverse otherwise. Without
// ORDER BY the result keeps this visiting order.
//
// The final WHERE test on a complete record set looks only at the value the
// condition leaves behind (its integer reading must be non-zero), not at
// whether the evaluation succeeded. A query is an aggregate query when a
// select item has an aggregate; GROUP BY and HAVING without one change
// nothing (the rows come out one per combination). Aggregate queries collect
// the passing record sets: without GROUP BY the whole collection is one group
// and yields exactly one row (HAVING and DISTINCT are not applied); with
// GROUP BY the record sets are ordered by their key strings (exact bytes) and
// a group ends where the next key differs ignoring case; the groups come out
// in that order, filtered by HAVING and DISTINCT. DISTINCT keeps a row unless
// an earlier kept row equals it in every column (ParvexValue::Equals, the new
// value on the left). ORDER BY sorts the finished result (a stable sort, see
// ParvexTempTable::Sort).
//
// Two executors compute this (`executor`): the reference one runs the
// algorithm as described above; the fast one (the default) returns the same
// rows in the same order, the same record sets behind them and the same
// group order and group contents, using indexes, hash joins and hash grouping
// where they give the same answers (see fast_executor.h). Within a group both
// keep the record sets in enumeration order.
//
// The query owns its expression trees and not its tables. `combinations`
// counts the record sets the last RunQuery looked at (for the reference
// executor: taken from the work stack; for the fast one: bound rows).
#pragma once

#include <memory>

#include "core/table.h"
#include "db/database.h"
#include "db/temp_table.h"
#include "platform/parvex_string.h"
#include "platform/simple_vector.h"
#include "query/expr.h"
#include "query/expr_nodes.h"

namespace parvex {

class QueryOutput;

class ParvexQuery {
 public:
  ParvexQuery() = default;
  ParvexQuery(const ParvexQuery&) = delete;
  ParvexQuery& operator=(const ParvexQuery&) = delete;

  // Runs the query and returns a new result table owned by the caller. Null
  // when the query is malformed: a null source table, a null or incomplete
  // (not Valid) select item or GROUP BY column, or an incomplete WHERE or
  // HAVING condition (such trees are never evaluated); and when it was
  // interrupted (`interrupted` is then set).
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
  QueryExecutor executor = QueryExecutor::kFast;
  unsigned long combinations = 0;
  // Set when the last RunQuery gave up because the database was asked to
  // interrupt (RunQuery then returns null).
  bool interrupted = false;

 private:
  bool WellFormed() const;
  // Enumerates and groups with the chosen executor; false when interrupted.
  bool Execute(QueryOutput& output);
  void OrderResult(ParvexTempTable& result) const;
};

}  // namespace parvex
