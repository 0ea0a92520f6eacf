// ParvexUpdate: the core of an UPDATE statement on one table.
//
// SET values that do not depend on the row (they evaluate in isolation) are
// computed once; the others are evaluated per target row with that row bound.
// With the fast executor, row-dependent values that read only their own row
// (columns, constants, operators) are taken by the selecting query while it
// holds the row, which gives the same values without fetching the row again;
// if one fails for some row, the values are evaluated row by row instead.
// A SET entry without an expression takes the column's default value. The
// target rows are all rows, or those a ParvexQuery selecting `_rowid` under
// the WHERE condition returns, in that query's order; each is written with
// the table's UpdateRow, the values identifying their columns by column ID
// (for a result table a column's ID is its position). The update owns its
// expressions and condition, not the table.
#pragma once

#include "core/table.h"
#include "platform/simple_vector.h"
#include "query/expr.h"
#include "query/expr_nodes.h"

namespace parvex {

class ParvexDatabase;

class ParvexUpdate {
 public:
  ParvexUpdate() = default;
  ParvexUpdate(const ParvexUpdate&) = delete;
  ParvexUpdate& operator=(const ParvexUpdate&) = delete;

  // True when the statement completed, also when there was nothing to do:
  // no SET entries, or expressions not matching the entries one to one (then
  // nothing changes). False without a table, with an incomplete (not Valid)
  // expression or condition (nothing changes), or when a row-dependent value
  // cannot be evaluated for a row (the rows before it stay written).
  bool RunUpdate();

  ParvexDatabase* database = nullptr;
  ParvexTable* table = nullptr;               // the target; not owned
  SimpleVector<ParvexColumnInfo> columns;     // the assigned columns in SET order
  SimpleVector<ParvexExprPtr> expressions;    // one per column; null takes the column's default
  ParvexExprPtr where;                        // may be null
  long rowsUpdated = 0;                       // set by RunUpdate: the rows it wrote
};

}  // namespace parvex
