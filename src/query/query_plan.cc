// QueryPlan: conjuncts, the binding order and directions, pruning tests and
// access paths.
#include "query/query_plan.h"

#include "query/expr_walk.h"
#include "query/query.h"

namespace parvex {

namespace {

bool IsSubset(uint64_t part, uint64_t whole) { return (part & ~whole) == 0; }

void FlattenConjunction(const ParvexExpr& condition, std::vector<const ParvexExpr*>* out) {
  if (const auto* conjunction = dynamic_cast<const PExprAnd*>(&condition)) {
    for (const ParvexExprPtr& operand : conjunction->operands) {
      if (operand) FlattenConjunction(*operand, out);
    }
    return;
  }
  out->push_back(&condition);
}

}  // namespace

QueryPlan::QueryPlan(const ParvexQuery& query) {
  if (query.where) SplitWhere(*query.where);
  OrderLevels(query);
  ChooseAccess(query);
}

void QueryPlan::SplitWhere(const ParvexExpr& condition) {
  std::vector<const ParvexExpr*> parts;
  FlattenConjunction(condition, &parts);
  for (const ParvexExpr* part : parts) {
    Conjunct conjunct;
    conjunct.expr = part;
    conjunct.known = TablesOf(*part, &conjunct.tables) && !part->HasAggregate();
    const auto* compare = dynamic_cast<const PExprCompare*>(part);
    if (conjunct.known && compare && compare->op == kCompareEqual && compare->left && compare->right) {
      for (const bool fieldOnLeft : {true, false}) {
        const ParvexExpr* side = fieldOnLeft ? compare->left.get() : compare->right.get();
        const ParvexExpr* other = fieldOnLeft ? compare->right.get() : compare->left.get();
        const auto* field = dynamic_cast<const PExprField*>(side);
        uint64_t otherTables = 0;
        if (!field || !TablesOf(*other, &otherTables)) continue;
        if (otherTables & (uint64_t{1} << field->table)) continue;
        conjunct.equalities.push_back({conjuncts.size(), field, other, fieldOnLeft, otherTables});
      }
    }
    if (conjunct.known && conjunct.tables == 0) constants.push_back(conjuncts.size());
    conjuncts.push_back(std::move(conjunct));
  }
}

void QueryPlan::OrderLevels(const ParvexQuery& query) {
  const size_t width = query.tables.size();
  ParvexRecSet pattern(width);  // bound entries hold 0: only boundness matters
  uint64_t bound = 0;
  for (size_t level = 0; level < width; ++level) {
    size_t table = 0;
    while (pattern[table] != kInvalidRowID) ++table;  // the first unbound table
    bool usable = true;
    if (query.where) {
      const long choice = query.where->ChooseWildcardTable(&pattern, &usable);
      if (choice >= 0 && static_cast<size_t>(choice) < width && pattern[static_cast<size_t>(choice)] == kInvalidRowID) {
        table = static_cast<size_t>(choice);
      } else {
        usable = false;
      }
    }
    PlanLevel planned;
    planned.table = table;
    const bool last = level + 1 == width;
    planned.forward = last && usable;
    pattern[table] = 0;
    const uint64_t before = bound;
    if (table < 64) bound |= uint64_t{1} << table;
    if (!last && width <= 64) {
      for (size_t c = 0; c < conjuncts.size(); ++c) {
        const Conjunct& conjunct = conjuncts[c];
        if (!conjunct.known || conjunct.tables == 0) continue;
        if (IsSubset(conjunct.tables, bound) && !IsSubset(conjunct.tables, before)) planned.prune.push_back(c);
      }
    }
    levels.push_back(std::move(planned));
  }
}

void QueryPlan::ChooseAccess(const ParvexQuery& query) {
  if (query.tables.size() > 64) return;
  uint64_t bound = 0;
  for (size_t level = 0; level < levels.size(); ++level) {
    PlanLevel& planned = levels[level];
    for (const Conjunct& conjunct : conjuncts) {
      for (const EqualityConjunct& equality : conjunct.equalities) {
        if (static_cast<size_t>(equality.field->table) != planned.table) continue;
        if (!IsSubset(equality.otherTables, bound)) continue;
        if (!planned.lookup) {
          planned.access = IndexAccess::For(*query.tables[planned.table], equality.field->column);
          if (planned.access) planned.lookup = &equality;
        }
        if (!planned.hash && level > 0) planned.hash = &equality;
      }
    }
    bound |= uint64_t{1} << planned.table;
  }
}

}  // namespace parvex
