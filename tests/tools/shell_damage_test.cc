// `parvex --check` never writes to the file it checks: its bytes and its
// modification time stay as they were. (What damaged files do through the
// shell is the script tests/tools/scripts/damage.sql.)
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "shell_process.h"

namespace parvex::shell::testing {
namespace {

TEST(ShellDamageTest, CheckLeavesTheFileAndItsTimeAlone) {
  TempDir dir;
  const std::string db = dir.File("books.pvx");
  ASSERT_EQ(RunShell({db}, "CREATE TABLE t (a Integer, b String);\nCREATE INDEX tb ON t (b);\n"
                           "INSERT INTO t VALUES (1, 'one');\nINSERT INTO t VALUES (2, 'two');\n")
                .exitCode,
            0);
  // An old modification time: any write would move it.
  const struct timespec old[2] = {{1000000000, 0}, {1000000000, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, db.c_str(), old, 0), 0);
  const std::string before = ReadFile(db);
  for (const std::string& bytes : {before, before.substr(0, before.size() - 100)}) {  // sound, then cut short
    ASSERT_TRUE(parvex::testing::WriteFile(db, bytes));
    ASSERT_EQ(utimensat(AT_FDCWD, db.c_str(), old, 0), 0);
    const ShellResult r = RunShell({"--check", db});
    EXPECT_EQ(r.exitCode, bytes == before ? 0 : 1) << r.out << r.err;
    struct stat after;
    ASSERT_EQ(stat(db.c_str(), &after), 0);
    EXPECT_EQ(after.st_mtim.tv_sec, 1000000000);
    EXPECT_EQ(after.st_mtim.tv_nsec, 0);
    EXPECT_EQ(ReadFile(db), bytes);
  }
}

}  // namespace
}  // namespace parvex::shell::testing
