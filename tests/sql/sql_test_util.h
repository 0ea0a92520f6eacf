// Helpers for end-to-end engine tests: a private temporary folder for
// database files, and short ways to run SQL and read results.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "core/status.h"
#include "core/table.h"
#include "db/database.h"
#include "sql/execute.h"

namespace parvex {

// A folder of its own under the system's temporary folder, removed with
// everything in it when the object goes.
class TempFolder {
 public:
  TempFolder() {
    static std::atomic<int> counter{0};
    const auto base = std::filesystem::temp_directory_path();
    mPath = base / ("parvex-test-" + std::to_string(getpid()) + "-" + std::to_string(counter++));
    std::filesystem::remove_all(mPath);
    std::filesystem::create_directories(mPath);
  }
  ~TempFolder() {
    std::error_code ec;
    std::filesystem::remove_all(mPath, ec);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::filesystem::path& path() const { return mPath; }
  std::string File(const std::string& name) const { return (mPath / name).string(); }

 private:
  std::filesystem::path mPath;
};

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
