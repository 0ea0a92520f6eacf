// ParvexUpdate: new values once or per row, targets through a row-ID query.
#include "query/update.h"

#include <memory>
#include <vector>

#include "db/database.h"
#include "db/temp_table.h"
#include "query/expr_walk.h"
#include "query/query.h"

namespace parvex {

namespace {

constexpr long kRowIDColumn = 0;  // a stored table's hidden `_rowid`
constexpr const char* kRowIDName = "_rowid";

// True when `node` reads nothing but the target row's own columns through
// operators and constants: its value is then the same whether it is taken
// while the selecting scan holds the row or just before the row is written
// (the update changes each target once, and no other row's change can reach
// it). Functions, subqueries and aggregates are left out.
bool ReadsOnlyItsRow(const ParvexExpr& node) {
  if (const auto* field = dynamic_cast<const PExprField*>(&node)) return field->table == 0;
  if (!dynamic_cast<const PExprConstant*>(&node) && !dynamic_cast<const PExprMath*>(&node) &&
      !dynamic_cast<const PExprCompare*>(&node) && !dynamic_cast<const PExprNot*>(&node) &&
      !dynamic_cast<const PExprAnd*>(&node) && !dynamic_cast<const PExprOr*>(&node)) {
    return false;
  }
  bool local = true;
  const bool known = VisitChildren(node, [&](const ParvexExpr& child) { local = local && ReadsOnlyItsRow(child); });
  return known && local;
}

// A result item of the selecting query standing for a SET expression it
// does not own; it notes whether any evaluation failed, since a query keeps
// a failed item's value and goes on.
class NotingItem : public ParvexExpr {
 public:
  explicit NotingItem(const ParvexExpr& inner) : mInner(inner) {}
  ParvexDataType GetType(const SimpleVector<ParvexTable*>& tables) const override { return mInner.GetType(tables); }
  bool Evaluate(const ParvexEvalContext& context, ParvexValue* out) const override {
    if (mInner.Evaluate(context, out)) return true;
    failed = true;
    return false;
  }
  string Description() const override { return mInner.Description(); }
  long ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const override {
    return mInner.ChooseWildcardTable(recSet, usable);
  }
  bool Valid() const override { return mInner.Valid(); }

  mutable bool failed = false;

 private:
  const ParvexExpr& mInner;
};

}  // namespace

bool ParvexUpdate::RunUpdate() {
  rowsUpdated = 0;
  if (!table) return false;
  if (columns.empty()) return true;
  if (columns.size() != expressions.size()) return true;
  for (const ParvexExprPtr& expression : expressions) {
    if (expression && !expression->Valid()) return false;
  }
  if (where && !where->Valid()) return false;

  // The new values: row-independent ones now, the others noted for later.
  std::vector<std::unique_ptr<ParvexValueWithID>> slots;
  ParvexValueList values;
  std::vector<size_t> perRow;
  for (size_t i = 0; i < columns.size(); ++i) {
    slots.push_back(std::make_unique<ParvexValueWithID>(ParvexValue(), columns[i].columnID));
    values.push_back(slots.back().get());
    if (!expressions[i]) {
      static_cast<ParvexValue&>(*slots[i]) = columns[i].defaultValue;
    } else if (!expressions[i]->EvaluateInIsolation(slots[i].get(), database)) {
      perRow.push_back(i);
    }
  }

  // The target rows, and with the fast executor the row-dependent values
  // that read only their own row, taken by the selecting scan.
  SimpleVector<RowID> targets;
  std::unique_ptr<ParvexTempTable> found;
  bool valuesFound = false;
  if (!where) {
    table->GetRowIDs(&targets);
  } else {
    ParvexQuery selection;
    selection.database = database;
    if (database) selection.executor = database->queryExecutor;
    selection.tables.push_back(table);
    auto rowID = std::make_unique<PExprField>(0, kRowIDColumn);
    rowID->name = string(kRowIDName);
    selection.items.push_back(std::move(rowID));
    valuesFound = selection.executor == QueryExecutor::kFast && !perRow.empty();
    for (size_t i : perRow) valuesFound = valuesFound && ReadsOnlyItsRow(*expressions[i]);
    std::vector<const NotingItem*> noting;
    if (valuesFound) {
      for (size_t i : perRow) {
        auto item = std::make_unique<NotingItem>(*expressions[i]);
        noting.push_back(item.get());
        selection.items.push_back(std::move(item));
      }
    }
    selection.where = std::move(where);
    found.reset(selection.RunQuery());
    where = std::move(selection.where);  // the condition stays this update's
    if (!found) return false;
    // A value that failed for some row: evaluate row by row instead, so the
    // rows before that one are written and the statement fails at it.
    for (const NotingItem* item : noting) valuesFound = valuesFound && !item->failed;
    targets.reserve(static_cast<size_t>(found->QtyRows()));
    ParvexValue id;
    for (long row = 0; row < found->QtyRows(); ++row) {
      found->GetValue(static_cast<RowID>(row), 0, &id);
      targets.push_back(static_cast<RowID>(id.GetInteger()));
    }
  }

  SimpleVector<ParvexTable*> oneTable;
  oneTable.push_back(table);
  ParvexRecSet recSet(1);
  ParvexEvalContext context;
  context.recSet = &recSet;
  context.tables = &oneTable;
  context.database = database;
  for (size_t row = 0; row < targets.size(); ++row) {
    const RowID target = targets[row];
    recSet[0] = target;
    for (size_t k = 0; k < perRow.size(); ++k) {
      const size_t i = perRow[k];
      slots[i]->SetNull();
      if (valuesFound) {
        found->GetValue(static_cast<RowID>(row), static_cast<long>(k + 1), slots[i].get());
      } else if (!expressions[i]->Evaluate(context, slots[i].get())) {
        return false;
      }
    }
    table->UpdateRow(target, values, false);
    ++rowsUpdated;
  }
  return true;
}

}  // namespace parvex
