// The public header as an embedding program uses it: the README's example,
// end to end through a real file, including what closing without COMMIT does.
#include <parvex/parvex.h>

#include <gtest/gtest.h>

#include <memory>

#include "harness/engine.h"

namespace parvex {
namespace {

TEST(EmbeddingTest, OpenExecuteQueryCommitReopen) {
  TempFolder folder;
  const string path(folder.File("my.pvx"));
  ParvexStatus status;
  {
    std::unique_ptr<ParvexDatabase> db(ParvexOpenDatabase(path, true, &status));
    ASSERT_NE(db, nullptr) << status.Description().view();
    ParvexSQLExecute("CREATE TABLE t (a Integer, b String)", *db, &status);
    ASSERT_FALSE(IsErrorState(status.State())) << status.Description().view();
    ParvexSQLExecute("INSERT INTO t VALUES (1, 'one')", *db, &status);
    db->Commit(&status);
    ParvexSQLExecute("INSERT INTO t VALUES (2, 'two')", *db, &status);  // never committed
  }
  std::unique_ptr<ParvexDatabase> db(ParvexOpenDatabase(path, false, &status));
  ASSERT_NE(db, nullptr) << status.Description().view();
  std::unique_ptr<ParvexTable> rows(ParvexSQLQuery("SELECT a, b FROM t", *db, &status, nullptr, nullptr, nullptr));
  ASSERT_NE(rows, nullptr);
  ASSERT_EQ(rows->QtyRows(), 1);
  SimpleVector<RowID> ids;
  rows->GetRowIDs(&ids);
  ParvexValue a, b;
  ASSERT_TRUE(rows->GetValue(ids[0], 0, &a));
  ASSERT_TRUE(rows->GetValue(ids[0], 1, &b));
  EXPECT_EQ(a.GetInteger(), 1);
  EXPECT_EQ(b.GetString().view(), "one");

  ParvexSQLExecute("INSERT INTO nowhere VALUES (1)", *db, &status);
  EXPECT_TRUE(IsErrorState(status.State()));
  EXPECT_EQ(status.Description().view(), "Error: Table nowhere not found.");
}

}  // namespace
}  // namespace parvex
