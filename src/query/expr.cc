// ParvexExpr defaults and isolated evaluation.
#include "query/expr.h"

namespace parvex {

ParvexDataType ParvexExpr::GetType(const SimpleVector<ParvexTable*>&) const { return kTypeInteger; }

bool ParvexExpr::EvaluateInIsolation(ParvexValue* out, ParvexDatabase* database) const {
  ParvexEvalContext context;
  context.database = database;
  return Evaluate(context, out);
}

}  // namespace parvex
