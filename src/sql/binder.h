// Name binding for statements: tables by name among the database's open
// tables, FROM entries by the names a statement gives them, and columns by
// name within a table. Names match with the case-insensitive Compare, front
// to back. A lookup that finds nothing reports with the dialect's messages:
// "Error: Table NAME not found." (42S02) and "Error: Column NAME not found."
// (42S22), NAME as the statement spells it. The statement executors, the
// expression conversion, the host binding and the shell all bind here.
#pragma once

#include <string_view>

#include "core/status.h"
#include "core/table.h"
#include "platform/parvex_string.h"
#include "platform/simple_vector.h"

namespace parvex {

class ParvexDatabase;

// The open table called `name` (first match); null with 42S02 set when none.
ParvexTable* BindTable(const ParvexDatabase& db, const string& name, ParvexStatus* status);
// As BindTable for a query's FROM, which also finds the read-only system table
// _TABLES, after the open tables.
ParvexTable* BindQueryTable(const ParvexDatabase& db, const string& name, ParvexStatus* status);

// The index of the FROM entry that a statement calls `qualifier` (`names`
// holds each entry's range variable, else its table name); -1 with 42S02 set
// when none.
long BindRangeName(std::string_view qualifier, const SimpleVector<string>& names, ParvexStatus* status);

// The index of the column called `name` in `table`: the first in index order,
// or with kLast the last (as UPDATE's SET list takes it). `_rowid` names
// column 0 also where the table gives that column another name. -1 when
// there is none; the caller reports it with SetColumnNotFound.
enum class ColumnMatch { kFirst, kLast };
long BindColumn(const ParvexTable& table, std::string_view name, ColumnMatch match = ColumnMatch::kFirst);

void SetTableNotFound(ParvexStatus* status, std::string_view name);
void SetColumnNotFound(ParvexStatus* status, std::string_view name);

}  // namespace parvex
