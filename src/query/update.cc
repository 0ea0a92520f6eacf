// ParvexUpdate: new values once or per row, targets through a row-ID query.
#include "query/update.h"

#include <memory>
#include <vector>

#include "db/database.h"
#include "db/temp_table.h"
#include "query/query.h"

namespace parvex {

namespace {

constexpr long kRowIDColumn = 0;  // a stored table's hidden `_rowid`
constexpr const char* kRowIDName = "_rowid";

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

  // The target rows.
  SimpleVector<RowID> targets;
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
    selection.where = std::move(where);
    std::unique_ptr<ParvexTempTable> found(selection.RunQuery());
    where = std::move(selection.where);  // the condition stays this update's
    if (!found) return false;
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
  for (RowID target : targets) {
    recSet[0] = target;
    for (size_t i : perRow) {
      slots[i]->SetNull();
      if (!expressions[i]->Evaluate(context, slots[i].get())) return false;
    }
    table->UpdateRow(target, values, false);
    ++rowsUpdated;
  }
  return true;
}

}  // namespace parvex
