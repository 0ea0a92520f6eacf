// Logical nodes: PExprNot, PExprAnd, PExprOr, with three-valued logic.
//
// An operand that cannot be evaluated is unknown. NOT unknown is unknown.
// AND: a definite false (0) wins at once; otherwise `out` holds 1 and the node
// succeeds only when no operand was unknown. OR mirrors it: a definite true
// wins at once; otherwise `out` holds 0, success only without unknowns. The
// value left in `out` matters: callers that ignore the success flag read it.
#include <string>

#include "query/expr_nodes.h"

namespace parvex {

namespace {

// AND and OR: evaluates operands in order until one reads as `decisive`.
bool EvaluateJunction(const std::vector<ParvexExprPtr>& operands, const ParvexEvalContext& context,
                      ParvexValue* out, bool decisive) {
  bool unknown = false;
  ParvexValue scratch;
  for (const ParvexExprPtr& operand : operands) {
    scratch.SetNull();
    if (!operand || !operand->Evaluate(context, &scratch)) {
      unknown = true;
      continue;
    }
    if ((scratch.GetInteger() != 0) == decisive) {
      out->SetInteger(decisive ? 1 : 0);
      return true;
    }
  }
  out->SetInteger(decisive ? 0 : 1);
  return !unknown;
}

string JoinDescriptions(const std::vector<ParvexExprPtr>& operands, const char* separator) {
  std::string text;
  for (size_t i = 0; i < operands.size(); ++i) {
    if (i > 0) text += separator;
    if (operands[i]) text += operands[i]->Description().view();
  }
  return string(text);
}

// AND and OR: the first operand that names an unbound table and is usable
// decides; an answer from an unusable operand may be replaced by a later one.
long ChooseForJunction(const std::vector<ParvexExprPtr>& operands, const ParvexRecSet* recSet, bool* usable) {
  long answer = -1;
  bool answerUsable = false;
  bool allUsable = true;
  for (const ParvexExprPtr& operand : operands) {
    bool operandUsable = true;
    const long table = operand ? operand->ChooseWildcardTable(recSet, &operandUsable) : -1;
    allUsable = allUsable && operandUsable;
    if (answer == -1 || !answerUsable) {
      answer = table;
      answerUsable = operandUsable;
    }
    if (table != -1 && operandUsable) break;
  }
  if (usable) *usable = allUsable;
  return answer;
}

bool AllValid(const std::vector<ParvexExprPtr>& operands) {
  for (const ParvexExprPtr& operand : operands) {
    if (!operand || !operand->Valid()) return false;
  }
  return true;
}

bool AnyAggregate(const std::vector<ParvexExprPtr>& operands) {
  for (const ParvexExprPtr& operand : operands) {
    if (operand && operand->HasAggregate()) return true;
  }
  return false;
}

}  // namespace

// --- PExprNot -----------------------------------------------------------------------

PExprNot::PExprNot(ParvexExprPtr o) : operand(std::move(o)) {}

bool PExprNot::Evaluate(const ParvexEvalContext& context, ParvexValue* out) const {
  if (!operand || !operand->Evaluate(context, out)) return false;
  out->SetInteger(out->GetInteger() == 0 ? 1 : 0);
  return true;
}

string PExprNot::Description() const {
  return string("NOT ") + (operand ? operand->Description() : string());
}

long PExprNot::ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const {
  if (!operand) {
    if (usable) *usable = true;
    return -1;
  }
  return operand->ChooseWildcardTable(recSet, usable);
}

bool PExprNot::Valid() const { return operand && operand->Valid(); }

bool PExprNot::HasAggregate() const { return operand && operand->HasAggregate(); }

// --- PExprAnd -----------------------------------------------------------------------

bool PExprAnd::Evaluate(const ParvexEvalContext& context, ParvexValue* out) const {
  return EvaluateJunction(operands, context, out, false);
}

string PExprAnd::Description() const { return JoinDescriptions(operands, " AND "); }

long PExprAnd::ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const {
  return ChooseForJunction(operands, recSet, usable);
}

bool PExprAnd::Valid() const { return AllValid(operands); }

bool PExprAnd::HasAggregate() const { return AnyAggregate(operands); }

// --- PExprOr ------------------------------------------------------------------------

bool PExprOr::Evaluate(const ParvexEvalContext& context, ParvexValue* out) const {
  return EvaluateJunction(operands, context, out, true);
}

string PExprOr::Description() const { return JoinDescriptions(operands, " OR "); }

long PExprOr::ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const {
  return ChooseForJunction(operands, recSet, usable);
}

bool PExprOr::Valid() const { return AllValid(operands); }

bool PExprOr::HasAggregate() const { return AnyAggregate(operands); }

}  // namespace parvex
