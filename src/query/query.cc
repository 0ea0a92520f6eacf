// ParvexQuery: checks the query, builds the result's columns, runs the
// chosen executor and orders the result.
#include "query/query.h"

#include <string>
#include <utility>

#include "query/fast_executor.h"
#include "query/query_output.h"
#include "query/reference_executor.h"

namespace parvex {

bool ParvexQuery::WellFormed() const {
  for (const ParvexTable* table : tables) {
    if (!table) return false;
  }
  for (const ParvexExprPtr& item : items) {
    if (!item || !item->Valid()) return false;
  }
  for (const auto& field : groupBy) {
    if (!field || !field->Valid()) return false;
  }
  if (where && !where->Valid()) return false;
  if (having && !having->Valid()) return false;
  return true;
}

bool ParvexQuery::Evaluate(const PExprField& field, const ParvexRecSet& recSet, ParvexValue* out) const {
  ParvexEvalContext context;
  context.recSet = &recSet;
  context.tables = &tables;
  context.database = database;
  return field.Evaluate(context, out);
}

ParvexTempTable* ParvexQuery::RunQuery() {
  combinations = 0;
  interrupted = false;
  if (!WellFormed()) return nullptr;
  auto result = std::make_unique<ParvexTempTable>();
  QueryOutput output(*this, *result, executor == QueryExecutor::kReference);
  if (!Execute(output)) {
    interrupted = true;
    return nullptr;
  }
  OrderResult(*result);
  return result.release();
}

bool ParvexQuery::Execute(QueryOutput& output) {
  if (executor == QueryExecutor::kReference) return RunReferenceQuery(output, &combinations);
  return RunFastQuery(output, &combinations);
}

void ParvexQuery::OrderResult(ParvexTempTable& result) const {
  if (!orderColumns.empty()) result.Sort(orderColumns, orderDirections);
}

string ParvexQuery::Description() const {
  std::string text = "SELECT ";
  if (distinct) text += "DISTINCT ";
  for (size_t i = 0; i < items.size(); ++i) {
    if (i > 0) text += ", ";
    if (items[i]) text += items[i]->Description().view();
  }
  text += "\n  FROM ";
  for (size_t i = 0; i < tables.size(); ++i) {
    if (i > 0) text += ", ";
    if (tables[i]) text += tables[i]->name.view();
  }
  if (where) {
    text += "\n  WHERE ";
    text += where->Description().view();
  }
  return string(text);
}

}  // namespace parvex
