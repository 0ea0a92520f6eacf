// QueryPlan: how the fast executor enumerates a query's record sets while
// visiting them in exactly the reference order.
//
// The reference chooses the next table through ChooseWildcardTable, whose
// answer depends only on which tables are bound, never on their rows. So the
// binding order is a fixed sequence of levels, found by asking the WHERE tree
// once per level. Its LIFO work stack visits each level's rows in reverse
// scan order, except the last level: in scan order when the condition's
// answer for it was usable (such record sets are handed over at once), in
// reverse otherwise. The fast executor is a nested loop over these levels in
// these directions.
//
// The WHERE condition is split into conjuncts (the operands of a top-level
// AND, flattened; otherwise the condition itself). A record set passes the
// final test exactly when no conjunct evaluates successfully to 0, and a
// conjunct that does so on a partial record set does so on every completion
// of it (evaluation only ever turns unknowns into values). So after binding
// a level the executor may drop the row when a conjunct that has just become
// fully bound is definitely false (`prune`), and it may skip the rows for
// which an equality conjunct `column = expression` is definitely false,
// when the expression refers only to tables bound at earlier levels: those
// are found through the row-ID map or an index (`lookup`, IndexAccess) or a
// hash of the column (`hash`, ColumnHash; not at the first level, which is
// entered once and is then cheaper to scan). The rows that remain keep their
// scan order, so the visiting order is the reference's with the skipped rows
// left out.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "query/expr_nodes.h"
#include "query/index_access.h"

namespace parvex {

class ParvexQuery;

// `field = other` (or `other = field`) where `other` does not refer to the
// field's table.
struct EqualityConjunct {
  size_t conjunct;  // its number in QueryPlan::conjuncts
  const PExprField* field;
  const ParvexExpr* other;
  bool columnOnLeft;
  uint64_t otherTables;
};

struct Conjunct {
  const ParvexExpr* expr = nullptr;
  bool known = false;   // its tables could be told
  uint64_t tables = 0;  // the tables it refers to
  std::vector<EqualityConjunct> equalities;  // up to two readings of it
};

struct PlanLevel {
  size_t table = 0;
  bool forward = false;       // visit rows in scan order (else in reverse)
  std::vector<size_t> prune;  // conjuncts to test after binding (not at the last level)
  // Equality lookups for this level's table, or null.
  const EqualityConjunct* lookup = nullptr;  // through `access`
  std::unique_ptr<IndexAccess> access;
  const EqualityConjunct* hash = nullptr;
};

class QueryPlan {
 public:
  explicit QueryPlan(const ParvexQuery& query);
  QueryPlan(const QueryPlan&) = delete;
  QueryPlan& operator=(const QueryPlan&) = delete;

  std::vector<Conjunct> conjuncts;
  // Conjuncts that refer to no table: tested once before enumerating.
  std::vector<size_t> constants;
  std::vector<PlanLevel> levels;

 private:
  void SplitWhere(const ParvexExpr& condition);
  void OrderLevels(const ParvexQuery& query);
  void ChooseAccess(const ParvexQuery& query);
};

}  // namespace parvex
