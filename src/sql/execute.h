// The engine's front door for SQL text.
//
// ParvexSQLExecute runs one statement that changes something (INSERT, UPDATE,
// DELETE, CREATE/ALTER/DROP TABLE, CREATE/DROP INDEX, SET, COMMIT, ROLLBACK)
// and reports only a status; a SELECT given to it is parsed and ignored.
// ParvexSQLQuery runs one SELECT and returns its result table (owned by the
// caller) with the source table names and, per result column, the source
// column's name and ID; any other statement returns null with a success
// status. Statements never commit by themselves. A null status makes errors
// silent; any of the three lists may be null. A statement that meets a
// damaged table (see ParvexTable) fails with that table's damage status
// (kPXDataCorrupted or kPXIOError), and a query then returns no table.
#pragma once

#include "core/status.h"
#include "core/table.h"
#include "platform/parvex_string.h"
#include "platform/simple_vector.h"

namespace parvex {

class ParvexDatabase;

void ParvexSQLExecute(const string& sql, ParvexDatabase& db, ParvexStatus* status);

ParvexTable* ParvexSQLQuery(const string& sql, ParvexDatabase& db, ParvexStatus* status,
                            SimpleVector<string>* tableNames, SimpleVector<string>* columnNames,
                            SimpleVector<long>* columnIDs);

}  // namespace parvex
