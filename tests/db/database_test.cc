// The database object where scripts can't look: the file's bytes after an
// open and a commit without changes, and silent errors without a status.
// Transactions, schema data and the opener's refusals are covered by the
// engine, shell and host scripts; the source lists a query fills by the host
// script cursor_update.kora.
#include "db/database.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "harness/engine.h"

namespace parvex {
namespace {

// A new database file "db.pvx" in a fresh folder.
class DatabaseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db = Open(path, true, &status);
    ASSERT_NE(db, nullptr) << status.Description().view();
  }

  TempFolder folder;
  const std::string path = folder.File("db.pvx");
  ParvexStatus status;
  std::unique_ptr<ParvexDatabase> db;
};

TEST_F(DatabaseTest, ACommitWithoutChangesWritesNothing) {
  Exec(*db, "CREATE TABLE t (a Integer)");
  Exec(*db, "CREATE TABLE u (b String)");
  Exec(*db, "INSERT INTO t VALUES (1)");
  db->Commit(&status);
  db.reset();
  // Opening writes nothing, nor does a commit with nothing pending.
  const std::string before = testing::ReadFile(path);
  db = Open(path, false, &status);
  ASSERT_NE(db, nullptr);
  db->Commit(&status);
  Exec(*db, "COMMIT");
  EXPECT_EQ(Rows(*db, "SELECT a FROM t"), std::vector<std::string>{"1"});
  db.reset();
  EXPECT_EQ(testing::ReadFile(path), before);
}

TEST_F(DatabaseTest, NullStatusPointersMakeErrorsSilent) {
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
