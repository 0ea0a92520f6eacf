// Warnings in an interactive session: shown by default, and not for a file
// run with .read, in CSV mode, or after .warnings off.
#include <gtest/gtest.h>

#include "shell_process.h"

namespace parvex::shell::testing {
namespace {

constexpr char kPrompt[] = "parvex> ";

size_t Count(const std::string& text, const std::string& piece) {
  size_t count = 0;
  for (size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) ++count;
  return count;
}

TEST(ShellWarningsTest, ShownInteractivelyUnlessAScriptCsvOrTurnedOff) {
  TempDir home;
  const std::string script = home.File("script.sql");
  ASSERT_TRUE(parvex::testing::WriteFile(script, "SELECT id FROM t WHERE NOT id = 1;\n"));
  PtySession session({home.File("live.pvx")}, home.path().string());
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
  session.Send(".mode list\rCREATE TABLE t (id Integer);\rINSERT INTO t VALUES (1);\r");
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
  session.Send("SELECT id FROM t WHERE NOT id = 1;\r");
  ASSERT_TRUE(session.WaitFor("warning: the NOT before (id=1) was dropped")) << session.Output();
  ASSERT_TRUE(session.WaitFor("  ran:  SELECT id FROM t WHERE (id=1)\r\n"
                              "  hint: write the opposite condition: (id<>1)\r\n"))
      << session.Output();
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();

  session.Send(".read " + script + "\r.mode csv\rSELECT id FROM t WHERE NOT id = 1;\r");
  session.Send(".mode list\r.warnings off\rSELECT id FROM t WHERE NOT id = 1;\rSELECT 'done';\r");
  ASSERT_TRUE(session.WaitFor("\r\ndone\r\n")) << session.Output();
  EXPECT_EQ(Count(session.Output(), "warning:"), 1u) << session.Output();
  session.Send(".quit\r");
  EXPECT_EQ(session.Wait(), 0);
}

}  // namespace
}  // namespace parvex::shell::testing
