// Short ways to open a database file, run SQL and read results in C++ tests
// (scripts are the usual way: tests/harness/sql_script.h).
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/status.h"
#include "core/table.h"
#include "db/database.h"
#include "harness/files.h"
#include "sql/execute.h"

namespace parvex {

// Opens (or creates) the database file at `path`.
inline std::unique_ptr<ParvexDatabase> Open(const std::string& path, bool create, ParvexStatus* status) {
  return std::unique_ptr<ParvexDatabase>(ParvexOpenDatabase(string(path), create, status));
}

// Runs one statement through ParvexSQLExecute; returns "[SQLSTATE] message".
inline std::string Exec(ParvexDatabase& db, const std::string& sql) {
  ParvexStatus status;
  ParvexSQLExecute(string(sql), db, &status);
  return std::string("[") + status.Code() + "] " + std::string(status.Description().view());
}

// Runs a query; returns its rows as "v1 | v2" texts (GetString of each
// value), or {"(null)"} when no table came back.
inline std::vector<std::string> Rows(ParvexDatabase& db, const std::string& sql,
                                     ParvexStatus* statusOut = nullptr) {
  ParvexStatus status;
  std::unique_ptr<ParvexTable> table(ParvexSQLQuery(string(sql), db, &status, nullptr, nullptr, nullptr));
  if (statusOut) *statusOut = status;
  if (!table) return {"(null)"};
  std::vector<std::string> rows;
  SimpleVector<RowID> ids;
  table->GetRowIDs(&ids);
  for (RowID id : ids) {
    std::string row;
    for (long c = 0; c < table->QtyColumns(); ++c) {
      ParvexValue v;
      if (c) row += " | ";
      row += table->GetValue(id, c, &v) ? std::string(v.GetString().view()) : "(missing)";
    }
    rows.push_back(row);
  }
  return rows;
}

}  // namespace parvex
