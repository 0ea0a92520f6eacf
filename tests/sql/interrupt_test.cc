// Interrupting a running statement: a query over enough rows to be polled
// gives up with "Error: Interrupted.", and the next statement runs normally
// once the request is cleared.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "db/database.h"
#include "sql/execute.h"
#include "harness/engine.h"

namespace parvex {
namespace {

TEST(InterruptTest, QueriesDeletesAndUpdatesStopWhenAsked) {
  TempFolder folder;
  ParvexStatus status;
  std::unique_ptr<ParvexDatabase> db(ParvexOpenDatabase(string(folder.File("i.pvx")), true, &status));
  ASSERT_NE(db, nullptr);
  ASSERT_EQ(Exec(*db, "CREATE TABLE t (a Integer)"), "[00000] Success");
  for (int i = 0; i < 10000; ++i) ParvexSQLExecute(string("INSERT INTO t VALUES (" + std::to_string(i) + ")"), *db, &status);
  db->Commit(&status);

  db->Interrupt();
  std::unique_ptr<ParvexTable> rows(ParvexSQLQuery(string("SELECT a FROM t"), *db, &status, nullptr, nullptr, nullptr));
  EXPECT_EQ(rows, nullptr);
  EXPECT_EQ(status.State(), kPXDynamicSQLError);
  EXPECT_EQ(status.Description().view(), "Error: Interrupted.");
  EXPECT_EQ(Exec(*db, "DELETE FROM t WHERE a > 5"), "[07000] Error: Interrupted.");
  EXPECT_EQ(Exec(*db, "UPDATE t SET a = 0 WHERE a > 5"), "[07000] Error: Interrupted.");
  EXPECT_FALSE(db->TransactionInProgress());

  db->ClearInterrupt();
  rows.reset(ParvexSQLQuery(string("SELECT a FROM t WHERE a < 3"), *db, &status, nullptr, nullptr, nullptr));
  ASSERT_NE(rows, nullptr);
  EXPECT_EQ(rows->QtyRows(), 3);
}

}  // namespace
}  // namespace parvex
