// Autocommit, BEGIN ... COMMIT/ROLLBACK, and what a failed statement leaves.
#include <gtest/gtest.h>

#include "shell_process.h"

namespace parvex::shell::testing {
namespace {

class ShellTransactionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // Row 1 divides fine, row 2 divides by zero: an UPDATE of b / c fails on
    // its second row after changing the first.
    const ShellResult r = Sql("CREATE TABLE t (a Integer, b Integer, c Integer);"
                              "INSERT INTO t (a, b, c) VALUES (1, 10, 2);"
                              "INSERT INTO t (a, b, c) VALUES (2, 10, 0);");
    ASSERT_EQ(r.exitCode, 0) << r.err;
  }

  ShellResult Sql(const std::string& input) { return RunShell({db}, input, dir.path().string()); }
  std::string Column(const std::string& column) {
    return RunShell({db, "SELECT " + column + " FROM t"}, "", dir.path().string()).out;
  }

  TempDir dir;
  std::string db = dir.File("tx.pvx");
};

TEST_F(ShellTransactionTest, AFailedStatementIsRolledBackAndLeavesNothingBehind) {
  const ShellResult r = Sql("UPDATE t SET a = b / c;\nSELECT a FROM t;\n");
  EXPECT_EQ(r.err, "[07000] Error: UPDATE failed.\n");
  EXPECT_EQ(r.out, "1\n2\n");  // the first row's change went with the rollback
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(Column("a"), "1\n2\n");
}

TEST_F(ShellTransactionTest, BeginSuspendsAutocommitUntilCommit) {
  // Inside BEGIN a failure is not rolled back: COMMIT keeps what it changed.
  ShellResult r = Sql("begin transaction;\nUPDATE t SET a = b / c;\nINSERT INTO t (a) VALUES (3);\nCOMMIT;\n");
  EXPECT_EQ(r.err, "[07000] Error: UPDATE failed.\n");
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(Column("a"), "5\n2\n3\n");
}

TEST_F(ShellTransactionTest, RollbackDiscardsEverythingSinceBegin) {
  ShellResult r = Sql("BEGIN;\nINSERT INTO t (a) VALUES (3);\nCREATE TABLE u (x Integer);\nDELETE FROM t;\n"
                      "SELECT a FROM t;\nROLLBACK;\nSELECT a FROM t;\n.tables\n");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "1\n2\nt\n");  // the empty SELECT prints nothing in list mode
  EXPECT_EQ(r.exitCode, 0);
  // After ROLLBACK autocommit is back.
  r = Sql("INSERT INTO t (a) VALUES (4);\n");
  EXPECT_EQ(Column("a"), "1\n2\n4\n");
}

TEST_F(ShellTransactionTest, ChangesLeftOpenAfterBeginAreRolledBackWithAWarning) {
  ShellResult r = Sql("BEGIN;\nINSERT INTO t (a) VALUES (3);\n");
  EXPECT_EQ(r.err,
            "warning: the transaction begun with BEGIN was not committed; its changes were rolled back\n");
  EXPECT_EQ(r.exitCode, 0);
  EXPECT_EQ(Column("a"), "1\n2\n");

  // A second BEGIN inside a transaction is refused; the first stays open.
  r = Sql("BEGIN;\nBEGIN TRANSACTION;\nINSERT INTO t (a) VALUES (3);\nCOMMIT;\n");
  EXPECT_EQ(r.err, "[25S02] Error: Transaction in progress.\n");
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(Column("a"), "1\n2\n3\n");
}

TEST_F(ShellTransactionTest, EachArgumentIsCommittedOnItsOwn) {
  // The second argument fails; the first and third stay.
  const ShellResult r = RunShell({db, "INSERT INTO t (a) VALUES (3)", "INSERT INTO t (nope) VALUES (0)",
                                  "INSERT INTO t (a) VALUES (4)"},
                                 "", dir.path().string());
  EXPECT_EQ(r.err, "[42S22] Error: Column nope not found.\n");
  EXPECT_EQ(Column("a"), "1\n2\n3\n4\n");
}

}  // namespace
}  // namespace parvex::shell::testing
