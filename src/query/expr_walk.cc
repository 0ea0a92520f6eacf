// Expression walks over the node classes of expr_nodes.h.
#include "query/expr_walk.h"

namespace parvex {

bool VisitChildren(const ParvexExpr& node, const std::function<void(const ParvexExpr&)>& visit) {
  auto each = [&visit](const ParvexExprPtr& child) {
    if (child) visit(*child);
  };
  if (dynamic_cast<const PExprConstant*>(&node) || dynamic_cast<const PExprField*>(&node)) return true;
  if (const auto* math = dynamic_cast<const PExprMath*>(&node)) {
    each(math->left);
    each(math->right);
  } else if (const auto* compare = dynamic_cast<const PExprCompare*>(&node)) {
    each(compare->left);
    each(compare->right);
  } else if (const auto* like = dynamic_cast<const PExprCompareLike*>(&node)) {
    each(like->value);
    each(like->pattern);
    each(like->escape);
  } else if (const auto* negation = dynamic_cast<const PExprNot*>(&node)) {
    each(negation->operand);
  } else if (const auto* conjunction = dynamic_cast<const PExprAnd*>(&node)) {
    for (const ParvexExprPtr& operand : conjunction->operands) each(operand);
  } else if (const auto* disjunction = dynamic_cast<const PExprOr*>(&node)) {
    for (const ParvexExprPtr& operand : disjunction->operands) each(operand);
  } else if (const auto* function = dynamic_cast<const PExprScalarFunc*>(&node)) {
    each(function->arg1);
    each(function->arg2);
    each(function->arg3);
  } else if (const auto* aggregate = dynamic_cast<const PExprAggregate*>(&node)) {
    each(aggregate->argument);
  } else {
    return false;
  }
  return true;
}

bool TablesOf(const ParvexExpr& node, uint64_t* tables) {
  if (const auto* field = dynamic_cast<const PExprField*>(&node)) {
    if (field->table < 0 || field->table >= 64) return false;
    *tables |= uint64_t{1} << field->table;
    return true;
  }
  bool known = true;
  const bool walked = VisitChildren(node, [&](const ParvexExpr& child) { known = TablesOf(child, tables) && known; });
  return walked && known;
}

bool AggregatesOf(const ParvexExpr& node, std::vector<const PExprAggregate*>* aggregates, bool* nested) {
  if (const auto* aggregate = dynamic_cast<const PExprAggregate*>(&node)) {
    aggregates->push_back(aggregate);
    if (aggregate->argument && aggregate->argument->HasAggregate()) *nested = true;
    return true;
  }
  bool known = true;
  const bool walked = VisitChildren(node, [&](const ParvexExpr& child) {
    known = AggregatesOf(child, aggregates, nested) && known;
  });
  return walked && known;
}

}  // namespace parvex
