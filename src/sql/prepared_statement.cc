// ParvexPreparedStatement: parsing with a parameter list, binding, runs.
#include "sql/prepared_statement.h"

#include "db/database.h"
#include "sql/execute_internal.h"
#include "sql/parser.h"

namespace parvex {

using namespace execute_internal;

std::unique_ptr<ParvexPreparedStatement> ParvexPreparedStatement::Prepare(const string& sql, ParvexDatabase& db,
                                                                          ParvexStatus* status) {
  ParvexStatus local;
  if (!status) status = &local;
  // The placeholder nodes point at the statement's value list (the vector
  // object, which stays where it is: the statement neither moves nor copies).
  std::unique_ptr<ParvexPreparedStatement> statement(new ParvexPreparedStatement(db));
  ParvexSQLParser parser;
  parser.SetParameterValues(&statement->mValues);
  statement->mNode = Parse(sql, db, &parser, status);
  if (!statement->mNode) {
    if (!IsErrorState(status->State())) status->Set(kPXDynamicSQLError, string("Error: No statement."));
    return nullptr;
  }
  statement->mValues.resize(static_cast<size_t>(parser.ParameterCount()));
  return statement;
}

ParvexPreparedStatement::ParvexPreparedStatement(ParvexDatabase& db) : mDatabase(db) {}

ParvexPreparedStatement::~ParvexPreparedStatement() = default;

bool ParvexPreparedStatement::Bind(int index, const ParvexValue& value) {
  if (index < 1 || index > ParameterCount()) return false;
  mValues[static_cast<size_t>(index) - 1] = value;
  return true;
}

void ParvexPreparedStatement::ClearBindings() {
  for (ParvexValue& value : mValues) value = ParvexValue();
}

bool ParvexPreparedStatement::Begin(ParvexStatus* status) {
  status->Set(kPXStateSuccess);
  if (!mDatabase.CheckUsable(status)) return false;
  // Notices left by earlier calls are not this statement's.
  mDatabase.TakeDamageNotice(nullptr);
  return true;
}

void ParvexPreparedStatement::Execute(ParvexStatus* status) {
  ParvexStatus local;
  if (!status) status = &local;
  if (!Begin(status)) return;
  ExecuteNode(*mNode, mDatabase, status);
  mDatabase.TakeDamageNotice(status);
}

ParvexTable* ParvexPreparedStatement::Query(ParvexStatus* status) {
  ParvexStatus local;
  if (!status) status = &local;
  if (!IsQuery() || !Begin(status)) return nullptr;
  return QueryNode(static_cast<const SQLSelectNode&>(*mNode), mDatabase, status, nullptr, nullptr, nullptr);
}

}  // namespace parvex
