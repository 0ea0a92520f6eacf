// An interactive session on a pseudo-terminal: prompts, box output, UTF-8
// typed at the terminal, history recall within and across sessions (a
// statement over several lines is one entry), tab completion, Ctrl-C at the
// prompt and during .import, .bail ending only the script, and the caret
// under a syntax error.
#include <gtest/gtest.h>

#include <fstream>

#include "shell_process.h"

namespace parvex::shell::testing {
namespace {

constexpr char kPrompt[] = "parvex> ";
constexpr char kContinuation[] = "   ...> ";
constexpr char kUpArrow[] = "\x1b[A";
constexpr char kCtrlC[] = "\x03";
constexpr char kCtrlD[] = "\x04";
constexpr char kTab[] = "\t";

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

TEST(ShellInteractiveTest, MultiLineHistoryCompletionBailAndSyntaxCaret) {
  TempDir home;
  {
    std::ofstream script(home.File("bad.sql"));
    script << "SELECT 'first';\nSELECT * FROM nope;\nSELECT 'never';\n";
  }
  PtySession session({}, home.path().string());
  ASSERT_TRUE(session.WaitFor("transient in-memory database")) << session.Output();
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
  session.Send(".mode list\rCREATE TABLE People (name String, nickname String);\r");
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();

  // Up arrow brings back both lines of a statement, and it runs again.
  session.Send("SELECT 40\r");
  ASSERT_TRUE(session.WaitForPrompt(kContinuation)) << session.Output();
  session.Send("+ 2;\r");
  ASSERT_TRUE(session.WaitFor("\r\n42\r\n")) << session.Output();
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
  session.Send(kUpArrow);
  ASSERT_TRUE(session.WaitFor("SELECT 40 + 2;")) << session.Output();
  session.Send("\r");
  ASSERT_TRUE(session.WaitFor("\r\n42\r\n")) << session.Output();
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();

  // Keywords in the case begun, columns, TABLE.COLUMN, tables; dot-commands
  // completed as far as they agree, then listed.
  session.Send("INSERT INTO People (name, nickname) VALUES ('Ann', 'Annie');\r");
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
  session.Send(std::string("sel") + kTab + "na" + kTab + ", People.ni" + kTab + "FR" + kTab + "Peo" + kTab + ";\r");
  ASSERT_TRUE(session.WaitFor("Ann|Annie\r\n")) << session.Output();
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
  session.Send(std::string(".sc") + kTab + kTab);
  ASSERT_TRUE(session.WaitFor(".schema  .schema-export  .schema-import")) << session.Output();
  session.Send("\r");
  ASSERT_TRUE(session.WaitFor("CREATE TABLE People (name String, nickname String);")) << session.Output();
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();

  // With bail on, a failing script stops; the session goes on.
  session.Send(".bail on\r.read " + home.File("bad.sql") + "\r");
  ASSERT_TRUE(session.WaitFor("bad.sql:2: [42S02] Error: Table nope not found.")) << session.Output();
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
  session.Send("SELECT 'alive';\r");
  ASSERT_TRUE(session.WaitFor("alive\r\n")) << session.Output();
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
  EXPECT_EQ(session.Output().find("never"), std::string::npos);

  // A syntax error points at where the statement stopped making sense (FRM
  // reads as an alias, so at the table name).
  session.Send("SELECT name FRM People;\r");
  ASSERT_TRUE(session.WaitFor("  SELECT name FRM People\r\n"
                              "                  ^\r\n"))
      << session.Output();
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
  session.Send(kCtrlD);
  EXPECT_EQ(session.Wait(), 1);
}

TEST(ShellInteractiveTest, CtrlCDuringImportTakesBackTheWholeFile) {
  TempDir home;
  {
    std::ofstream csv(home.File("big.csv"));
    csv << "a,b\n";
    for (int i = 0; i < 400000; ++i) csv << i << ",row " << i << "\n";
  }
  const std::string db = home.File("import.pvx");
  PtySession session({db}, home.path().string());
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
  // Inside BEGIN: the import's rows go, the transaction's own change stays.
  session.Send("CREATE TABLE big (a Integer, b String);\rBEGIN;\rINSERT INTO big (a, b) VALUES (-1, 'kept');\r");
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
  session.Send(".import " + home.File("big.csv") + " big\r");
  ASSERT_TRUE(session.WaitFor("Loading big", std::chrono::seconds(60))) << session.Output();
  session.Send(kCtrlC);
  ASSERT_TRUE(session.WaitFor("interrupted; nothing was imported", std::chrono::seconds(60))) << session.Output();
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
  session.Send("COMMIT;\r.mode list\rSELECT COUNT(*), MIN(a) FROM big;\r");
  ASSERT_TRUE(session.WaitFor("\r\n1|-1\r\n")) << session.Output();
  ASSERT_TRUE(session.WaitForPrompt(kPrompt)) << session.Output();
  session.Send(".quit\r");
  EXPECT_EQ(session.Wait(), 1);
}

}  // namespace
}  // namespace parvex::shell::testing
