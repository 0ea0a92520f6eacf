// Two shells on one file: the second is refused at once, or waits (--timeout)
// until the first lets go and then gets in, and nothing either acknowledged
// is lost; read-only shells share the file, refuse changes and leave its
// bytes alone.
#include <gtest/gtest.h>

#include "shell_process.h"

namespace parvex::shell::testing {
namespace {

constexpr char kPrompt[] = "parvex> ";
constexpr char kLocked[] = "Error: The database is locked by another process.";

TEST(ShellSafetyTest, OneWriterAtATimeAcrossProcesses) {
  TempDir home;
  const std::string db = home.File("shared.pvx");
  PtySession holder({"--list", db}, home.path().string());
  ASSERT_TRUE(holder.WaitForPrompt(kPrompt)) << holder.Output();
  holder.Send("CREATE TABLE t (a Integer);\r");
  ASSERT_TRUE(holder.WaitForPrompt(kPrompt)) << holder.Output();
  holder.Send("INSERT INTO t VALUES (1);\r");
  ASSERT_TRUE(holder.WaitForPrompt(kPrompt)) << holder.Output();

  const std::string before = ReadFile(db);
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{db, "INSERT INTO t VALUES (9)"}, {"--readonly", db, "SELECT a FROM t"}}) {
    const ShellResult refused = RunShell(args);
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_EQ(refused.err, "parvex: cannot open " + db + ": " + kLocked + "\n");
  }
  EXPECT_EQ(ReadFile(db), before);

  // This one waits for the holder to finish, then does its work.
  PtySession waiter({"--list", "--timeout", "60000", db, "INSERT INTO t VALUES (2)", "SELECT a FROM t"},
                    home.path().string());
  EXPECT_FALSE(waiter.WaitFor("\n", std::chrono::milliseconds(300))) << waiter.Output();
  holder.Send("INSERT INTO t VALUES (3);\r");
  ASSERT_TRUE(holder.WaitForPrompt(kPrompt)) << holder.Output();
  holder.Send(".quit\r");
  EXPECT_EQ(holder.Wait(), 0) << holder.Output();
  ASSERT_TRUE(waiter.WaitFor("1\r\n3\r\n2\r\n", std::chrono::seconds(30))) << waiter.Output();
  EXPECT_EQ(waiter.Wait(), 0) << waiter.Output();
  EXPECT_EQ(RunShell({"--no-sync", db, "SELECT a FROM t"}).out, "1\n3\n2\n");
}

TEST(ShellSafetyTest, ReadOnlyShellsShareTheFileAndRefuseChanges) {
  TempDir home;
  const std::string db = home.File("readers.pvx");
  ASSERT_EQ(RunShell({db, "CREATE TABLE t (a Integer)", "INSERT INTO t VALUES (1)"}).exitCode, 0);
  const std::string before = ReadFile(db);

  PtySession reader({"--readonly", "--list", db}, home.path().string());
  ASSERT_TRUE(reader.WaitForPrompt(kPrompt)) << reader.Output();
  const ShellResult other = RunShell({"--readonly", db, "SELECT a FROM t"});
  EXPECT_EQ(other.exitCode, 0);
  EXPECT_EQ(other.out, "1\n");
  EXPECT_NE(RunShell({db, "SELECT a FROM t"}).err.find(kLocked), std::string::npos);

  reader.Send("INSERT INTO t VALUES (2);\r");
  ASSERT_TRUE(reader.WaitFor("[25006] Error: The database is open read-only.")) << reader.Output();
  ASSERT_TRUE(reader.WaitForPrompt(kPrompt)) << reader.Output();
  reader.Send(".quit\r");
  EXPECT_EQ(reader.Wait(), 1) << reader.Output();
  EXPECT_EQ(ReadFile(db), before);
  EXPECT_EQ(RunShell({"--readonly", home.File("missing.pvx")}).exitCode, 2);
}

}  // namespace
}  // namespace parvex::shell::testing
