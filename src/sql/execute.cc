// The SQL entry points, parse-error statuses, SELECT and the lookups the
// executors share.
#include "sql/execute.h"

#include "db/schema.h"
#include "query/query.h"
#include "sql/binder.h"
#include "sql/execute_internal.h"
#include "sql/parser.h"

namespace parvex {

namespace execute_internal {

namespace {

// Sets the status from the parser's last error: success for none, else
// 07000 with the parser's message (empty for codes it has none for).
void StatusFromParseError(const ParvexSQLParser& parser, ParvexStatus* status) {
  const long code = parser.LastError();
  if (code == ParvexSQLParser::kNoError) {
    status->Set(kPXStateSuccess);
  } else {
    status->Set(kPXDynamicSQLError, ParvexSQLParser::ErrorMessage(code));
  }
}

// The result name of a select item: its alias, else its description.
string OutputName(const ParvexExpr& item) { return item.name.empty() ? item.Description() : item.name; }

}  // namespace

bool ChangesData(const SQLSyntaxNode& node) {
  return node.IsInsert() || node.IsUpdate() || node.IsDelete() || node.IsCreateTable() || node.IsAlterTable() ||
         node.IsDropTable() || node.IsCreateIndex() || node.IsDropIndex();
}

ParvexSchema* SchemaOf(ParvexDatabase& db) {
  return db.tables.empty() ? nullptr : dynamic_cast<ParvexSchema*>(db.tables[0]);
}

std::unique_ptr<ParvexExpr> Convert(const SQLScalarExpNode& node, const SimpleVector<string>& tableNames,
                                    const SimpleVector<ParvexTable*>& tables, ParvexStatus* status) {
  ParvexStatus local;
  std::unique_ptr<ParvexExpr> expr(node.ConvertToParvexExpr(tableNames, tables, &local));
  if (!expr) {
    if (IsErrorState(local.State())) {
      *status = local;
    } else {
      status->Set(kPXDataException, string("Error: Couldn't evaluate ") + node.Description().view() + ".");
    }
  }
  return expr;
}

ParvexTable* RunSelect(const SQLSelectNode& select, ParvexDatabase& db, ParvexStatus* status,
                       SimpleVector<string>* tableNames, SimpleVector<string>* columnNames,
                       SimpleVector<long>* columnIDs) {
  ParvexQuery query;
  query.database = &db;
  query.executor = db.queryExecutor;
  query.distinct = select.distinct;

  SimpleVector<string> localNames;
  SimpleVector<ParvexTable*> localTables;
  for (const auto& ref : select.tables) {
    ParvexTable* table = BindQueryTable(db, ref->tableName, status);
    if (!table) return nullptr;
    query.tables.push_back(table);
    localTables.push_back(table);
    localNames.push_back(ref->ReferenceName());
    if (tableNames) tableNames->push_back(table->name);
  }

  for (const auto& item : select.items) {
    ParvexStatus local;
    const size_t before = query.items.size();
    const bool converted = item->ConvertToExprList(localNames, localTables, query.items, &local, columnNames,
                                                   columnIDs);
    if (!converted || IsErrorState(local.State()) || query.items.size() == before) {
      if (IsErrorState(local.State())) {
        *status = local;
      } else {
        status->Set(kPXDataException, string("Error: Couldn't evaluate ") + item->Description().view() + ".");
      }
      return nullptr;
    }
  }

  if (select.where) {
    query.where = Convert(*select.where, localNames, localTables, status);
    if (!query.where || !query.where->Valid()) return nullptr;
  }
  for (const auto& column : select.groupBy) {
    // A GROUP BY column named NULL ends the query without a message.
    if (column->name.Compare("NULL") == 0) return nullptr;
    std::unique_ptr<ParvexExpr> expr = Convert(*column, localNames, localTables, status);
    if (!expr) return nullptr;
    auto* field = dynamic_cast<PExprField*>(expr.get());
    if (!field) {
      status->Set(kPXDataException, string("Error: Couldn't evaluate ") + column->Description().view() + ".");
      return nullptr;
    }
    expr.release();
    query.groupBy.push_back(std::unique_ptr<PExprField>(field));
  }
  if (select.having) {
    query.having = Convert(*select.having, localNames, localTables, status);
    if (!query.having || !query.having->Valid()) return nullptr;
  }
  for (size_t k = 0; k < select.orderBy.size(); ++k) {
    for (size_t i = 0; i < query.items.size(); ++i) {
      if (OutputName(*query.items[i]).Compare(select.orderBy[k]) != 0) continue;
      query.orderColumns.push_back(static_cast<long>(i));
      query.orderDirections.push_back(k < select.orderDescending.size() && select.orderDescending[k] ? -1 : 1);
      break;
    }
  }

  std::unique_ptr<ParvexTable> result(query.RunQuery());
  if (query.interrupted) {
    status->Set(kPXDynamicSQLError, string("Error: Interrupted."));
    return nullptr;
  }
  // A source table found damaged makes the answer incomplete: no answer.
  if (db.TakeDamageNotice(status)) return nullptr;
  if ((!result || result->QtyRows() == 0) && status->State() == kPXStateSuccess) {
    status->Set(kPXStateNoData);
  }
  return result.release();
}

}  // namespace execute_internal

using namespace execute_internal;

void ParvexSQLExecute(const string& sql, ParvexDatabase& db, ParvexStatus* status) {
  ParvexStatus local;
  if (!status) status = &local;
  if (!db.CheckUsable(status)) return;
  // Notices left by earlier calls are not this statement's.
  db.TakeDamageNotice(nullptr);
  ExecuteStatement(sql, db, status);
  // Damage met on the way fails the statement, whatever else it reported.
  db.TakeDamageNotice(status);
}

ParvexTable* ParvexSQLQuery(const string& sql, ParvexDatabase& db, ParvexStatus* status,
                            SimpleVector<string>* tableNames, SimpleVector<string>* columnNames,
                            SimpleVector<long>* columnIDs) {
  ParvexStatus local;
  if (!status) status = &local;
  if (!db.CheckUsable(status)) return nullptr;
  db.TakeDamageNotice(nullptr);
  ParvexSQLParser parser;
  std::unique_ptr<SQLSyntaxNode> node = Parse(sql, db, &parser, status);
  if (!node || !node->IsSelect()) return nullptr;
  return QueryNode(static_cast<const SQLSelectNode&>(*node), db, status, tableNames, columnNames, columnIDs);
}

namespace execute_internal {

std::unique_ptr<SQLSyntaxNode> Parse(const string& sql, ParvexDatabase& db, ParvexSQLParser* parser,
                                     ParvexStatus* status) {
  if (!db.escapeOption.empty()) parser->SetEscape(static_cast<char>(db.escapeOption[0]));
  std::unique_ptr<SQLSyntaxNode> node = parser->Evaluate(sql);
  StatusFromParseError(*parser, status);
  const bool parsed = parser->LastError() == ParvexSQLParser::kNoError;
  db.parseErrorOffset = parsed ? -1 : static_cast<int64_t>(parser->ErrorOffset());
  if (!parsed) node.reset();
  return node;
}

ParvexTable* QueryNode(const SQLSelectNode& select, ParvexDatabase& db, ParvexStatus* status,
                       SimpleVector<string>* tableNames, SimpleVector<string>* columnNames,
                       SimpleVector<long>* columnIDs) {
  db.rowsChanged = 0;
  std::unique_ptr<ParvexTable> result(RunSelect(select, db, status, tableNames, columnNames, columnIDs));
  if (db.TakeDamageNotice(status)) return nullptr;
  return result.release();
}

void ExecuteStatement(const string& sql, ParvexDatabase& db, ParvexStatus* status) {
  ParvexSQLParser parser;
  std::unique_ptr<SQLSyntaxNode> node = Parse(sql, db, &parser, status);
  if (node) ExecuteNode(*node, db, status);
}

void ExecuteNode(const SQLSyntaxNode& statement, ParvexDatabase& db, ParvexStatus* status) {
  const SQLSyntaxNode* node = &statement;
  db.rowsChanged = 0;
  if (db.ReadOnly() && ChangesData(*node)) {
    status->Set(kPXReadOnlyDatabase);
    return;
  }
  if (node->IsInsert()) {
    ExecuteInsert(static_cast<const SQLInsertNode&>(*node), db, status);
  } else if (node->IsUpdate()) {
    ExecuteUpdate(static_cast<const SQLUpdateNode&>(*node), db, status);
  } else if (node->IsDelete()) {
    ExecuteDelete(static_cast<const SQLDeleteNode&>(*node), db, status);
  } else if (node->IsCreateTable()) {
    ExecuteCreateTable(static_cast<const SQLCreateTableNode&>(*node), db, status);
  } else if (node->IsAlterTable()) {
    ExecuteAlterTable(static_cast<const SQLAlterTableNode&>(*node), db, status);
  } else if (node->IsDropTable()) {
    ExecuteDropTable(static_cast<const SQLDropTableNode&>(*node), db, status);
  } else if (node->IsCreateIndex()) {
    ExecuteCreateIndex(static_cast<const SQLCreateIndexNode&>(*node), db, status);
  } else if (node->IsDropIndex()) {
    ExecuteDropIndex(static_cast<const SQLDropIndexNode&>(*node), db, status);
  } else if (node->IsEndTransaction()) {
    if (static_cast<const SQLEndTransactionNode&>(*node).commit) {
      db.Commit(status);
    } else {
      db.Rollback(status);
    }
  } else if (node->IsSetOption()) {
    ExecuteSetOption(static_cast<const SQLSetOptionNode&>(*node), db, status);
  }
  // Anything else (a SELECT in particular) is parsed and ignored.
}

}  // namespace execute_internal

}  // namespace parvex
