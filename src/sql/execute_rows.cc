// The executors that change rows: INSERT (VALUES, DEFAULT VALUES, SELECT),
// UPDATE and DELETE. Changes stay pending in the tables' transactions.
#include <memory>
#include <vector>

#include "query/expr_nodes.h"
#include "query/query.h"
#include "query/update.h"
#include "sql/binder.h"
#include "sql/execute_internal.h"
#include "storage/trans.h"

namespace parvex {
namespace execute_internal {

namespace {

// The target columns of an INSERT: the named ones in statement order, or all
// user columns in index order. Fills one NULL slot per target (tagged with
// the column's ID) and the targets' column indexes.
bool InsertTargets(const SQLInsertNode& node, const ParvexTable& table, OwnedValues* slots,
                   std::vector<long>* indexes, ParvexStatus* status) {
  if (node.columnNames.empty()) {
    for (long i = 1; i < table.QtyColumns(); ++i) {
      slots->list.push_back(new ParvexValueWithID(ParvexValue(), table.Column(i)->columnID));
      indexes->push_back(i);
    }
    return true;
  }
  for (const string& columnName : node.columnNames) {
    const long index = BindColumn(table, columnName.view());
    if (index < 0) {
      SetColumnNotFound(status, columnName.view());
      return false;
    }
    slots->list.push_back(new ParvexValueWithID(ParvexValue(), table.Column(index)->columnID));
    indexes->push_back(index);
  }
  return true;
}

bool InsertDefaultValues(ParvexTable& table) {
  OwnedValues slots;
  for (long i = 1; i < table.QtyColumns(); ++i) {
    const ParvexColumnInfo* column = table.Column(i);
    slots.list.push_back(new ParvexValueWithID(column->defaultValue, column->columnID));
  }
  return table.AddRow(slots.list, true) != kInvalidRowID;
}

bool InsertValues(const SQLInsertNode& node, ParvexTable& table, ParvexDatabase& db, ParvexStatus* status) {
  OwnedValues slots;
  std::vector<long> indexes;
  if (!InsertTargets(node, table, &slots, &indexes, status)) return false;
  if (slots.list.size() != node.values.size()) {
    status->Set(kPXInsertValuesMismatch);
    return false;
  }
  // An INSERT value can't refer to columns: it is converted without tables.
  const SimpleVector<string> noNames;
  const SimpleVector<ParvexTable*> noTables;
  for (size_t i = 0; i < node.values.size(); ++i) {
    const ParvexColumnInfo* column = table.Column(indexes[i]);
    ParvexValueWithID& slot = *slots.list[i];
    if (node.values[i] && node.values[i]->IsKeywordDefault()) {
      static_cast<ParvexValue&>(slot) = column->defaultValue;
      continue;
    }
    if (!node.values[i]) {
      status->Set(kPXDataException, string("Couldn't evaluate value for ") + column->name.view());
      return false;
    }
    std::unique_ptr<ParvexExpr> expr = Convert(*node.values[i], noNames, noTables, status);
    if (!expr) return false;
    ParvexValue value;
    if (!expr->Valid() || !expr->EvaluateInIsolation(&value, &db)) {
      status->Set(kPXDataException, string("Couldn't evaluate value for ") + column->name.view());
      return false;
    }
    static_cast<ParvexValue&>(slot) = value;
  }
  if (table.AddRow(slots.list, true) == kInvalidRowID) {
    status->Set(kPXIntegrityConstraintViolation, string("Constraint violation."));
    return false;
  }
  return true;
}

// Returns the number of rows added.
int64_t InsertSelect(const SQLInsertNode& node, ParvexTable& table, ParvexDatabase& db, ParvexStatus* status) {
  OwnedValues slots;
  std::vector<long> indexes;
  if (!InsertTargets(node, table, &slots, &indexes, status)) return 0;
  // Items are counted as written: a * is one item.
  if (slots.list.size() != node.select->items.size()) {
    status->Set(kPXInsertValuesMismatch);
    return 0;
  }
  std::unique_ptr<ParvexTable> result(RunSelect(*node.select, db, status, nullptr, nullptr, nullptr));
  if (!result) return 0;
  SimpleVector<RowID> rows;
  result->GetRowIDs(&rows);
  int64_t added = 0;
  for (RowID row : rows) {
    for (size_t j = 0; j < slots.list.size(); ++j) {
      ParvexValue value;
      if (!result->GetValue(row, static_cast<long>(j), &value)) value = ParvexValue();
      static_cast<ParvexValue&>(*slots.list[j]) = value;
    }
    // A row the table refuses is skipped.
    if (table.AddRow(slots.list, false) != kInvalidRowID) ++added;
  }
  return added;
}

}  // namespace

void ExecuteInsert(const SQLInsertNode& node, ParvexDatabase& db, ParvexStatus* status) {
  ParvexTable* table = BindTable(db, node.tableName, status);
  if (!table) return;
  if (node.defaultValues) {
    db.rowsChanged = InsertDefaultValues(*table) ? 1 : 0;
  } else if (node.select) {
    db.rowsChanged = InsertSelect(node, *table, db, status);
  } else {
    db.rowsChanged = InsertValues(node, *table, db, status) ? 1 : 0;
  }
}

void ExecuteUpdate(const SQLUpdateNode& node, ParvexDatabase& db, ParvexStatus* status) {
  ParvexTable* table = BindTable(db, node.tableName, status);
  if (!table) return;
  SimpleVector<string> tableNames;
  tableNames.push_back(table->name);
  SimpleVector<ParvexTable*> tables;
  tables.push_back(table);

  ParvexUpdate update;
  update.database = &db;
  update.table = table;
  for (size_t i = 0; i < node.columnNames.size(); ++i) {
    // Unlike the other statements, the last column of that name wins.
    const long index = BindColumn(*table, node.columnNames[i].view(), ColumnMatch::kLast);
    if (index < 0) {
      SetColumnNotFound(status, node.columnNames[i].view());
      return;
    }
    update.columns.push_back(*table->Column(index));
    const SQLScalarExpNode* value = i < node.values.size() ? node.values[i].get() : nullptr;
    if (value && value->IsKeywordDefault()) {
      update.expressions.push_back(nullptr);  // the column's default
      continue;
    }
    ParvexStatus ignored;
    std::unique_ptr<ParvexExpr> expr;
    if (value) expr = Convert(*value, tableNames, tables, &ignored);
    if (!expr) {
      status->Set(kPXDataException,
                  string("Error: Couldn't evaluate ") + (value ? value->Description().view() : "") + ".");
      return;
    }
    update.expressions.push_back(std::move(expr));
  }
  if (node.where) {
    update.where = Convert(*node.where, tableNames, tables, status);
    if (!update.where || !update.where->Valid()) return;
  }
  const bool updated = update.RunUpdate();
  db.rowsChanged = update.rowsUpdated;
  if (!updated) {
    status->Set(kPXDynamicSQLError, string(db.InterruptRequested() ? "Error: Interrupted." : "Error: UPDATE failed."));
  }
}

void ExecuteDelete(const SQLDeleteNode& node, ParvexDatabase& db, ParvexStatus* status) {
  ParvexTable* table = BindTable(db, node.tableName, status);
  if (!table) return;
  SimpleVector<RowID> rows;
  if (!node.where) {
    table->GetRowIDs(&rows);
    for (RowID row : rows) table->DeleteRow(row);
    db.rowsChanged = static_cast<int64_t>(rows.size());
    return;
  }
  ParvexQuery query;
  query.database = &db;
  query.executor = db.queryExecutor;
  query.tables.push_back(table);
  auto rowID = std::make_unique<PExprField>(0, 0);
  rowID->name = string(kRowIDColumnName);
  query.items.push_back(std::move(rowID));
  SimpleVector<string> tableNames;
  tableNames.push_back(table->name);
  query.where = Convert(*node.where, tableNames, query.tables, status);
  if (!query.where || !query.where->Valid()) return;
  std::unique_ptr<ParvexTable> result(query.RunQuery());
  if (query.interrupted) status->Set(kPXDynamicSQLError, string("Error: Interrupted."));
  if (!result) return;
  result->GetRowIDs(&rows);
  for (RowID row : rows) {
    ParvexValue id;
    if (result->GetValue(row, 0, &id)) {
      table->DeleteRow(static_cast<RowID>(id.GetInteger()));
      ++db.rowsChanged;
    }
  }
}

}  // namespace execute_internal
}  // namespace parvex
