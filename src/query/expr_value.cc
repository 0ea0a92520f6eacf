// Leaf and arithmetic nodes: PExprConstant, PExprField, PExprMath.
#include <cstdint>
#include <limits>
#include <string>

#include "platform/number_format.h"
#include "query/expr_nodes.h"
#include "query/sql_literal.h"

namespace parvex {

// --- PExprConstant ---------------------------------------------------------------

ParvexDataType PExprConstant::GetType(const SimpleVector<ParvexTable*>&) const { return value.Type(); }

bool PExprConstant::Evaluate(const ParvexEvalContext&, ParvexValue* out) const {
  *out = value;
  return true;
}

string PExprConstant::Description() const { return SqlLiteral(value); }

long PExprConstant::ChooseWildcardTable(const ParvexRecSet*, bool* usable) const {
  if (usable) *usable = true;
  return -1;
}

// --- PExprField --------------------------------------------------------------------

ParvexDataType PExprField::GetType(const SimpleVector<ParvexTable*>& tables) const {
  if (table < 0 || static_cast<size_t>(table) >= tables.size() || !tables[static_cast<size_t>(table)]) {
    return kTypeNone;
  }
  const ParvexColumnInfo* info = tables[static_cast<size_t>(table)]->Column(column);
  return info ? info->Type() : kTypeNone;
}

const ParvexTable* PExprField::Source(const ParvexEvalContext& context, RowID* row) const {
  // Over a group (aggregate evaluation) a field reads the group's first row.
  const ParvexRecSet* recSet = context.recSet;
  if (!recSet) {
    if (!context.group || context.group->empty()) return nullptr;
    recSet = (*context.group)[0];
  }
  if (!recSet || !context.tables || table < 0) return nullptr;
  const size_t t = static_cast<size_t>(table);
  if (t >= recSet->size() || t >= context.tables->size()) return nullptr;
  *row = (*recSet)[t];
  return *row == kInvalidRowID ? nullptr : (*context.tables)[t];
}

bool PExprField::Evaluate(const ParvexEvalContext& context, ParvexValue* out) const {
  RowID row = kInvalidRowID;
  const ParvexTable* source = Source(context, &row);
  return source && source->GetValue(row, column, out);
}

bool PExprField::PeekString(const ParvexEvalContext& context, std::string_view* text) const {
  RowID row = kInvalidRowID;
  const ParvexTable* source = Source(context, &row);
  return source && source->PeekString(row, column, text);
}

string PExprField::Description() const {
  std::string text(1, static_cast<char>('A' + table));
  text += ".";
  text += FormatInteger(column);
  return string(text);
}

long PExprField::ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const {
  if (usable) *usable = true;
  if (table < 0) return -1;
  if (!recSet) return table;  // nothing bound yet
  const size_t t = static_cast<size_t>(table);
  if (t >= recSet->size()) return -1;
  return (*recSet)[t] == kInvalidRowID ? table : -1;
}

// --- PExprMath -----------------------------------------------------------------------

PExprMath::PExprMath(char mathOp, ParvexExprPtr l, ParvexExprPtr r)
    : op(mathOp), left(std::move(l)), right(std::move(r)) {}

ParvexDataType PExprMath::GetType(const SimpleVector<ParvexTable*>& tables) const {
  return left ? left->GetType(tables) : ParvexExpr::GetType(tables);
}

bool PExprMath::Evaluate(const ParvexEvalContext& context, ParvexValue* out) const {
  if (!left || !right || !left->Evaluate(context, out)) return false;
  ParvexValue rhs;
  if (!right->Evaluate(context, &rhs)) return false;

  if (out->Type() == kTypeInteger) {
    // 32-bit two's complement arithmetic that wraps on overflow.
    const int32_t a = out->GetInteger();
    const int32_t b = rhs.GetInteger();
    const uint32_t ua = static_cast<uint32_t>(a);
    const uint32_t ub = static_cast<uint32_t>(b);
    switch (op) {
      case '+':
        out->SetInteger(static_cast<int32_t>(ua + ub));
        break;
      case '-':
        out->SetInteger(static_cast<int32_t>(ua - ub));
        break;
      case '*':
        out->SetInteger(static_cast<int32_t>(ua * ub));
        break;
      case '/':
        // No defined quotient: the node's value is unknown, and what it
        // leaves behind is NULL (not the left operand), so a caller that
        // reads the value anyway sees no number.
        if (b == 0 || (a == std::numeric_limits<int32_t>::min() && b == -1)) {
          out->SetNull(kTypeInteger);
          return false;
        }
        out->SetInteger(a / b);
        break;
      default:
        break;  // an unknown operator leaves the left operand
    }
    return true;
  }
  if (out->Type() == kTypeString && op == '+') {
    out->SetText(kTypeString, out->GetString() + rhs.GetString());
  }
  // Any other left operand passes through unchanged: 1.5 + 2 is 1.5.
  return true;
}

string PExprMath::Description() const {
  const string l = left ? left->Description() : string();
  const string r = right ? right->Description() : string();
  return string("(") + l + " " + std::string_view(&op, 1) + " " + r + ")";
}

long PExprMath::ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const {
  const long a = left ? left->ChooseWildcardTable(recSet, nullptr) : -1;
  const long b = right ? right->ChooseWildcardTable(recSet, nullptr) : -1;
  if (usable) *usable = a != -1 || b != -1;
  return a != -1 ? a : b;
}

bool PExprMath::Valid() const { return left && right && left->Valid() && right->Valid(); }

bool PExprMath::HasAggregate() const {
  return (left && left->HasAggregate()) || (right && right->HasAggregate());
}

}  // namespace parvex
