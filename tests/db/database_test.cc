// The database object where scripts can't look: silent errors without a
// status. Transactions, schema data and the opener's refusals are covered by
// the engine, shell and host scripts; the source lists a query fills by the
// host script cursor_update.kora; that opening and a commit with nothing
// pending write nothing by the commit-safety test.
#include "db/database.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "harness/engine.h"

namespace parvex {
namespace {

TEST(DatabaseTest, NullStatusPointersMakeErrorsSilent) {
  TempFolder folder;
  ParvexStatus status;
  auto db = Open(folder.File("db.pvx"), true, &status);
  ASSERT_NE(db, nullptr) << status.Description().view();
  ParvexSQLExecute(string("CREATE TABLE t (a Integer)"), *db, nullptr);
  ParvexSQLExecute(string("INSERT INTO nowhere VALUES (1)"), *db, nullptr);
  ParvexSQLExecute(string("FOO"), *db, nullptr);
  ParvexSQLExecute(string(""), *db, nullptr);
  EXPECT_EQ(ParvexSQLQuery(string("SELECT * FROM nowhere"), *db, nullptr, nullptr, nullptr, nullptr), nullptr);
  std::unique_ptr<ParvexTable> result(
      ParvexSQLQuery(string("SELECT a FROM t"), *db, nullptr, nullptr, nullptr, nullptr));
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result->QtyRows(), 0);
  EXPECT_EQ(db->GetSchemaData(nullptr).length(), 0u);
}

}  // namespace
}  // namespace parvex
