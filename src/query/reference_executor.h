// The reference query executor: the described algorithms, kept as they are
// described so that the fast executor can be checked against them.
//
// - Enumeration: a record set with every table unbound goes onto a LIFO work
//   stack. Each record set taken off it (counted in `combinations`) is either
//   complete, and handed over, or the WHERE condition chooses the table to
//   bind next (ChooseWildcardTable; a negative answer binds the first unbound
//   table and makes the condition unusable). For each row of that table in
//   GetRowIDs order a copy is made with the row bound: when the condition is
//   usable a complete copy is handed over at once, and an incomplete one on
//   which the condition is definitely false (evaluates successfully to 0) is
//   dropped with its subtree; the others go onto the stack.
// - Handing over: the final WHERE test, then a plain query's row, or, for an
//   aggregate query, the record set joins the candidates.
// - Grouping: without GROUP BY the candidates are one group. With it, each
//   candidate gets its key string (group_key.h), the candidates are sorted by
//   key with a stable sort (equal keys keep enumeration order) and split into
//   groups where neighbouring keys differ ignoring case; aggregates evaluate
//   over each group's record sets.
// - DISTINCT is the output's backward scan (QueryOutput).
// The only liberty taken: each table's row IDs are read once per run rather
// than once per expansion (the tables do not change while a query runs).
#pragma once

namespace parvex {

class QueryOutput;

// Runs the output's query; false when it was interrupted.
bool RunReferenceQuery(QueryOutput& output, unsigned long* combinations);

}  // namespace parvex
