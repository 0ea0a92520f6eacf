// The database object where scripts can't look: the file's bytes after an
// open and a commit without changes, schema data replaced into another
// database, silent errors without a status, and the source lists a query
// fills. Transactions, schema export and the opener's refusals are covered
// by the engine, shell and host scripts.
#include "db/database.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "db_test_util.h"
#include "sql/sql_test_util.h"

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
  db->Commit();
  db.reset();
  // Opening writes nothing, nor does a commit with nothing pending.
  const std::string before = ReadHostFile(path);
  db = Open(path, false, &status);
  ASSERT_NE(db, nullptr);
  db->Commit();
  Exec(*db, "COMMIT");
  EXPECT_EQ(Rows(*db, "SELECT a FROM t"), std::vector<std::string>{"1"});
  db.reset();
  EXPECT_EQ(ReadHostFile(path), before);
}

TEST_F(DatabaseTest, ReplacingTheSchemaGivesAnotherDatabaseTheSameTables) {
  ParvexDatabase* source = db.get();
  Exec(*source, "CREATE TABLE people (name String, age Integer)");
  Exec(*source, "CREATE TABLE pets (kind String)");
  Exec(*source, "ALTER TABLE people ADD born Date");
  Exec(*source, "INSERT INTO people VALUES ('Ann', 31, DATE '1990-01-02')");
  source->Commit();
  const string data = source->GetSchemaData(&status);
  ASSERT_EQ(status.State(), kPXStateSuccess);

  auto target = Open(folder.File("target.pvx"), true, &status);
  ASSERT_NE(target, nullptr);
  Exec(*target, "CREATE TABLE other (x Integer)");
  target->ReplaceSchemaData(data, &status);
  EXPECT_EQ(status.Description().view(), "Can't replace schema while transaction is in progress.");
  target->Commit();

  // Bad data changes nothing; the tag is matched in any letter case.
  target->ReplaceSchemaData(string("SCHEMAXX") + data.view().substr(8), &status);
  EXPECT_EQ(status.State(), kPXInvalidParameter);
  EXPECT_EQ(status.Description().view(), "Invalid schema data.");
  target->ReplaceSchemaData(string("SCHEM"), &status);
  EXPECT_EQ(status.State(), kPXInvalidParameter);
  EXPECT_NE(target->FindTable(string("other")), nullptr);

  target->ReplaceSchemaData(string("schemada") + data.view().substr(8), &status);
  EXPECT_EQ(status.State(), kPXStateSuccess) << status.Description().view();
  EXPECT_EQ(target->FindTable(string("other")), nullptr);
  ASSERT_EQ(target->tables.size(), 3u);
  std::unique_ptr<ParvexTable> cols(
      ParvexSQLQuery(string("SELECT * FROM people"), *target, &status, nullptr, nullptr, nullptr));
  ASSERT_NE(cols, nullptr);
  ASSERT_EQ(cols->QtyColumns(), 3);
  EXPECT_EQ(cols->Column(2)->name.view(), "born");
  EXPECT_EQ(cols->Column(2)->Type(), kTypeDate);
  // The user tables' data files are not part of the schema data.
  EXPECT_EQ(cols->QtyRows(), 0);
  EXPECT_FALSE(target->TransactionInProgress());

  // It survives a reopen and works like any schema.
  target.reset();
  target = Open(folder.File("target.pvx"), false, &status);
  ASSERT_NE(target, nullptr);
  EXPECT_EQ(Exec(*target, "INSERT INTO pets VALUES ('cat')"), "[00000] Success");
  EXPECT_EQ(Rows(*target, "SELECT kind FROM pets"), std::vector<std::string>{"cat"});
  EXPECT_EQ(Rows(*target, "SELECT COUNT(*) FROM _schema"), std::vector<std::string>{"11"});
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

TEST_F(DatabaseTest, QueryReportsSourceTablesAndColumns) {
  Exec(*db, "CREATE TABLE People (name String, age Integer)");
  Exec(*db, "CREATE TABLE pets (owner Integer, kind String)");
  Exec(*db, "ALTER TABLE people DROP name");
  Exec(*db, "ALTER TABLE people ADD name String");
  Exec(*db, "INSERT INTO people VALUES (31, 'Ann')");
  Exec(*db, "INSERT INTO pets VALUES (1, 'cat')");
  SimpleVector<string> tableNames, columnNames;
  SimpleVector<long> columnIDs;
  std::unique_ptr<ParvexTable> result(ParvexSQLQuery(string("select P.name, kind, age from people P, PETS"), *db,
                                                     &status, &tableNames, &columnNames, &columnIDs));
  ASSERT_NE(result, nullptr) << status.Description().view();
  ASSERT_EQ(tableNames.size(), 2u);
  EXPECT_EQ(tableNames[0].view(), "People");
  EXPECT_EQ(tableNames[1].view(), "pets");
  ASSERT_EQ(columnNames.size(), 3u);
  ASSERT_EQ(columnIDs.size(), 3u);
  EXPECT_EQ(columnNames[0].view(), "name");
  EXPECT_EQ(columnIDs[0], 3);
  EXPECT_EQ(columnNames[1].view(), "kind");
  EXPECT_EQ(columnIDs[1], 2);
  EXPECT_EQ(columnNames[2].view(), "age");
  EXPECT_EQ(columnIDs[2], 2);
  EXPECT_EQ(Rows(*db, "SELECT P.name, kind, age FROM people P, PETS"), std::vector<std::string>{"Ann | cat | 31"});
}

}  // namespace
}  // namespace parvex
