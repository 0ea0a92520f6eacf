// Pieces shared by the statement executors (execute*.cc); not a public
// interface. Every function reports through the given status, which is never
// null here: the entry points substitute a local one when the caller passes
// none.
#pragma once

#include <memory>

#include "core/status.h"
#include "core/table.h"
#include "db/database.h"
#include "platform/parvex_string.h"
#include "platform/simple_vector.h"
#include "query/expr.h"
#include "sql/syntax_scalar.h"
#include "sql/syntax_statements.h"

namespace parvex {

class ParvexSchema;
class ParvexSQLParser;
class ParvexTrans;

namespace execute_internal {

// An owned list of value slots, freed with the object unless handed over.
struct OwnedValues {
  OwnedValues() = default;
  OwnedValues(const OwnedValues&) = delete;
  OwnedValues& operator=(const OwnedValues&) = delete;
  ~OwnedValues() { DeleteAll(list); }
  ParvexValueList list;
};

// True for the statements a read-only database refuses: those that change
// rows, tables or indexes.
bool ChangesData(const SQLSyntaxNode& node);
// The schema table (entry 0 of the open tables), or null.
ParvexSchema* SchemaOf(ParvexDatabase& db);
// Converts a scalar node. On failure returns null with the status set: the
// conversion's own error, or "Error: Couldn't evaluate TEXT." when the
// conversion gave none.
std::unique_ptr<ParvexExpr> Convert(const SQLScalarExpNode& node, const SimpleVector<string>& tableNames,
                                    const SimpleVector<ParvexTable*>& tables, ParvexStatus* status);
// The body of a SELECT (also behind INSERT ... SELECT).
ParvexTable* RunSelect(const SQLSelectNode& select, ParvexDatabase& db, ParvexStatus* status,
                       SimpleVector<string>* tableNames, SimpleVector<string>* columnNames,
                       SimpleVector<long>* columnIDs);

// Parses one statement with the database's escape byte; null, with the
// status set from the parser's error, when it has an error. The status is
// success otherwise.
std::unique_ptr<SQLSyntaxNode> Parse(const string& sql, ParvexDatabase& db, ParvexSQLParser* parser,
                                     ParvexStatus* status);
// Parses and runs one statement of ParvexSQLExecute.
void ExecuteStatement(const string& sql, ParvexDatabase& db, ParvexStatus* status);
// Runs a parsed statement as ParvexSQLExecute does (a SELECT is ignored).
void ExecuteNode(const SQLSyntaxNode& node, ParvexDatabase& db, ParvexStatus* status);
// Runs a parsed SELECT as ParvexSQLQuery does.
ParvexTable* QueryNode(const SQLSelectNode& select, ParvexDatabase& db, ParvexStatus* status,
                       SimpleVector<string>* tableNames, SimpleVector<string>* columnNames,
                       SimpleVector<long>* columnIDs);
void ExecuteInsert(const SQLInsertNode& node, ParvexDatabase& db, ParvexStatus* status);
void ExecuteUpdate(const SQLUpdateNode& node, ParvexDatabase& db, ParvexStatus* status);
void ExecuteDelete(const SQLDeleteNode& node, ParvexDatabase& db, ParvexStatus* status);
void ExecuteCreateTable(const SQLCreateTableNode& node, ParvexDatabase& db, ParvexStatus* status);
void ExecuteAlterTable(const SQLAlterTableNode& node, ParvexDatabase& db, ParvexStatus* status);
void ExecuteDropTable(const SQLDropTableNode& node, ParvexDatabase& db, ParvexStatus* status);
void ExecuteCreateIndex(const SQLCreateIndexNode& node, ParvexDatabase& db, ParvexStatus* status);
void ExecuteDropIndex(const SQLDropIndexNode& node, ParvexDatabase& db, ParvexStatus* status);
void ExecuteSetOption(const SQLSetOptionNode& node, ParvexDatabase& db, ParvexStatus* status);

}  // namespace execute_internal
}  // namespace parvex
