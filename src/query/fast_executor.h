// The fast query executor: the same rows in the same order as the reference
// executor (reference_executor.h), with less work.
//
// - Enumeration is a nested loop over the levels of a QueryPlan: the tables
//   in the reference's binding order, each level's rows in the reference's
//   direction, so that complete record sets come in the reference's order.
//   At a level the rows come from the table's scan list, or, when an
//   equality conjunct ties a column of the table to tables bound before,
//   from the row-ID map or an index (IndexAccess) or a hash of the column
//   built once per query (ColumnHash), which skip only rows on which that
//   conjunct is definitely false; the found rows are visited in scan order or
//   its reverse, as a scan would. When the other side of the equality cannot
//   be evaluated the level falls back to its scan list. After binding a row
//   the conjuncts that have just become fully bound are tested and a definite
//   false drops the row (pruning); the complete record set gets the final
//   WHERE test. A row found by an exact lookup (a hash match, a row ID, an
//   Integer index) is known to satisfy that equality, which is then not
//   evaluated again: the condition then passes exactly when no other
//   conjunct evaluates successfully to 0, which is what the whole
//   condition's value says.
// - Aggregate queries group through HashGrouping (hash_grouping.h), which
//   gives the reference's groups, in its order, with the same record sets in
//   the same order.
// - DISTINCT uses DistinctRows (through QueryOutput), ORDER BY the result
//   table's sort, both as in the reference.
#pragma once

namespace parvex {

class QueryOutput;

// Runs the output's query; false when it was interrupted.
bool RunFastQuery(QueryOutput& output, unsigned long* combinations);

}  // namespace parvex
