// PExprScalarFunc: a built-in scalar function over up to three arguments.
#include <string>

#include "query/expr_nodes.h"

namespace parvex {

PExprScalarFunc::PExprScalarFunc(ParvexFuncCode code, ParvexExprPtr a1, ParvexExprPtr a2, ParvexExprPtr a3)
    : func(code), arg1(std::move(a1)), arg2(std::move(a2)), arg3(std::move(a3)) {}

ParvexDataType PExprScalarFunc::GetType(const SimpleVector<ParvexTable*>&) const {
  return ParvexFuncResultType(func);
}

bool PExprScalarFunc::Evaluate(const ParvexEvalContext& context, ParvexValue* out) const {
  // Absent arguments reach the function as NULL values of type None.
  ParvexValue values[3];
  const ParvexExpr* args[3] = {arg1.get(), arg2.get(), arg3.get()};
  for (int i = 0; i < 3; ++i) {
    if (args[i] && !args[i]->Evaluate(context, &values[i])) return false;
  }
  return ParvexFuncEval(func, context.database, &values[0], &values[1], &values[2], out);
}

string PExprScalarFunc::Description() const {
  std::string text(ParvexFuncName(func).view());
  const ParvexExpr* args[3] = {arg1.get(), arg2.get(), arg3.get()};
  bool any = false;
  for (const ParvexExpr* arg : args) {
    if (!arg) continue;
    text += any ? ", " : "(";
    text += arg->Description().view();
    any = true;
  }
  if (any) text += ")";
  return string(text);
}

long PExprScalarFunc::ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const {
  // An absent argument answers -1 and is not usable, except that the first
  // argument's flag starts as usable.
  const ParvexExpr* args[3] = {arg1.get(), arg2.get(), arg3.get()};
  long answers[3] = {-1, -1, -1};
  bool flags[3] = {true, false, false};
  for (int i = 0; i < 3; ++i) {
    if (args[i]) answers[i] = args[i]->ChooseWildcardTable(recSet, &flags[i]);
  }
  if (answers[0] == answers[1] && answers[1] == answers[2]) {
    if (usable) *usable = flags[0] && flags[1] && flags[2];
    return answers[0];
  }
  long chosen = -1;
  for (long a : answers) {
    if (a != -1) {
      chosen = a;
      break;
    }
  }
  bool agree = true;
  for (long a : answers) agree = agree && (a == -1 || a == chosen);
  if (usable) *usable = agree;
  return chosen;
}

bool PExprScalarFunc::Valid() const {
  return (!arg1 || arg1->Valid()) && (!arg2 || arg2->Valid()) && (!arg3 || arg3->Valid());
}

bool PExprScalarFunc::HasAggregate() const {
  return (arg1 && arg1->HasAggregate()) || (arg2 && arg2->HasAggregate()) || (arg3 && arg3->HasAggregate());
}

}  // namespace parvex
