// An interactive session on a pseudo-terminal: prompts, box output, UTF-8
// typed at the terminal, history recall within and across sessions, Ctrl-C at
// the prompt.
#include <gtest/gtest.h>

#include "shell_process.h"

namespace parvex::shell::testing {
namespace {

constexpr char kPrompt[] = "parvex> ";
constexpr char kContinuation[] = "   ...> ";
constexpr char kUpArrow[] = "\x1b[A";
constexpr char kCtrlC[] = "\x03";
constexpr char kCtrlD[] = "\x04";

TEST(ShellInteractiveTest, BoxOutputContinuationPromptAndHistory) {
  TempDir home;
  const std::string db = home.File("live.pvx");
  {
    PtySession session({db}, home.path().string());
    ASSERT_TRUE(session.WaitFor("Enter .help for the commands")) << session.Output();
    ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
    session.Send("CREATE TABLE t (id Integer, name String);\r");
    ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
    session.Send("INSERT INTO t (id, name) VALUES (1, 'Zoë');\r");
    ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
    session.Send("INSERT INTO t (id, name) VALUES (22, NULL);\r");
    ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();

    // A statement over two lines: the second line gets the continuation prompt.
    session.Send("SELECT id, name\r");
    ASSERT_TRUE(session.WaitForPrompt(kContinuation)) << session.Output();
    session.Send("FROM t;\r");
    // The terminal turns "\n" into "\r\n".
    ASSERT_TRUE(session.WaitFor("┌────┬──────┐\r\n"
                                "│ id │ name │\r\n"
                                "├────┼──────┤\r\n"
                                "│  1 │ Zoë  │\r\n"
                                "│ 22 │ NULL │\r\n"
                                "└────┴──────┘\r\n"
                                "2 rows\r\n"))
        << session.Output();
    ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();

    // Up arrow recalls the last line; Enter runs it again.
    session.Send("SELECT name FROM t WHERE id = 1;\r");
    ASSERT_TRUE(session.WaitFor("│ Zoë  │")) << session.Output();
    ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
    session.Send(kUpArrow);
    ASSERT_TRUE(session.WaitFor("SELECT name FROM t WHERE id = 1;")) << session.Output();
    session.Send("\r");
    ASSERT_TRUE(session.WaitFor("│ Zoë  │")) << session.Output();
    ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();

    // Ctrl-C abandons a statement under way: nothing runs, the prompt is back.
    session.Send("DELETE FROM t\r");
    ASSERT_TRUE(session.WaitForPrompt(kContinuation)) << session.Output();
    session.Send(kCtrlC);
    ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
    session.Send(".mode list\rSELECT COUNT(*) FROM t;\r");
    ASSERT_TRUE(session.WaitFor("\r\n2\r\n")) << session.Output();
    ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();

    // An error shows its status line; the session goes on.
    session.Send("SELECT * FROM nope;\r");
    ASSERT_TRUE(session.WaitFor("[42S02] Error: Table nope not found.")) << session.Output();
    ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
    session.Send(kCtrlD);
    EXPECT_EQ(session.Wait(), 1);  // a statement failed
  }

  // The history survives in the home folder: a new session recalls it.
  PtySession again({db}, home.path().string());
  ASSERT_TRUE(again.WaitForPrompt(kPrompt)) << again.Output();
  again.Send(kUpArrow);
  ASSERT_TRUE(again.WaitFor("SELECT * FROM nope;")) << again.Output();
  again.Send(std::string(kUpArrow) + kUpArrow);
  ASSERT_TRUE(again.WaitFor(".mode list")) << again.Output();
  again.Send("\r.quit\r");
  EXPECT_EQ(again.Wait(), 0);
}

}  // namespace
}  // namespace parvex::shell::testing
