// The shell's contract for scripts: arguments and standard input, CSV output,
// error lines, exit codes, opening and refusing files, persistence.
#include <gtest/gtest.h>

#include "shell_process.h"

namespace parvex::shell::testing {
namespace {

class ShellCliTest : public ::testing::Test {
 protected:
  // Runs the shell on the test's database with `options`, then the SQL arguments.
  ShellResult Run(std::vector<std::string> options, const std::vector<std::string>& sql = {},
                  const std::string& input = "") {
    options.push_back(db);
    options.insert(options.end(), sql.begin(), sql.end());
    return RunShell(options, input, dir.path().string());
  }

  TempDir dir;
  std::string db = dir.File("test.pvx");
};

TEST_F(ShellCliTest, CsvOutputQuotesFieldsAndKeepsEmptyResultsToTheirHeader) {
  const ShellResult r = Run({"--csv"}, {
      "CREATE TABLE t (id Integer, name String, score Double, born Date, ok Boolean)",
      "INSERT INTO t (id, name, score, born, ok) VALUES (1, 'a,b', 2.5, DATE '2001-02-03', TRUE)",
      "INSERT INTO t (id, name, score, born, ok) VALUES (-2, 'say \"hi\"', 0.125, DATE '1999-12-31', FALSE)",
      "INSERT INTO t (id, name) VALUES (3, 'two\nlines')",
      "SELECT id, name, score, born, ok FROM t",
      "SELECT name AS label FROM t WHERE id > 100",
  });
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.exitCode, 0);
  EXPECT_EQ(r.out,
            "id,name,score,born,ok\n"
            "1,\"a,b\",2.5,2001-02-03,TRUE\n"
            "-2,\"say \"\"hi\"\"\",0.125,1999-12-31,FALSE\n"
            "3,\"two\nlines\",,,\n"
            "label\n");
}

TEST_F(ShellCliTest, StandardInputIsCutAtSemicolonsOutsideLiterals) {
  ShellResult r = Run({"--csv"}, {},
                      "CREATE TABLE t (s String);\n"
                      "INSERT INTO t (s) VALUES ('a;b'); INSERT INTO t (s)\n"
                      "  VALUES ('it''s');\n"
                      "SELECT s\n"
                      "FROM t");  // the last statement needs no `;`
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "s\na;b\nit's\n");
  EXPECT_EQ(r.exitCode, 0);

  // After SET ESCAPE the escape character keeps a quote (and a `;`) inside a literal.
  r = Run({}, {}, "SET ESCAPE \\;\nSELECT 'it\\'s; fine', 2;\nSET ESCAPE ;\nSELECT 'a\\';\n");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "it's; fine|2\na\\\n");
}

TEST_F(ShellCliTest, FailedStatementsPrintStateAndDescriptionAndSetTheExitCode) {
  ShellResult r = Run({"--csv"}, {"FOO BAR", "SELECT * FROM nope", "CREATE TABLE t (a Integer)", "SELECT a FROM t"});
  EXPECT_EQ(r.err, "[07000] SQL Error: keyword expected\n[42S02] Error: Table nope not found.\n");
  EXPECT_EQ(r.out, "a\n");  // later statements still ran
  EXPECT_EQ(r.exitCode, 1);

  r = Run({"--bail"}, {"CREATE TABLE t (a Integer)", "CREATE TABLE u (a Integer)"});
  EXPECT_EQ(r.err, "[42S01] Error: Table t already exists.\n");
  EXPECT_EQ(r.exitCode, 1);
  r = Run({}, {".tables"});
  EXPECT_EQ(r.out, "t\n");  // --bail stopped before u

  // The same through standard input, with .bail.
  r = Run({}, {}, ".bail on\nSELECT * FROM t;\nDROP TABLE nope;\nCREATE TABLE v (a Integer);\n");
  EXPECT_EQ(r.err, "[42S02] Error: Table nope not found.\n");
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(Run({}, {".tables"}).out, "t\n");
}

TEST_F(ShellCliTest, UsageErrorsAndUnopenableDatabasesExitWithTwo) {
  ShellResult r = RunShell({});
  EXPECT_EQ(r.exitCode, 2);
  EXPECT_NE(r.err.find("Usage: parvex [OPTIONS] FILE [SQL ...]"), std::string::npos);
  r = RunShell({"--tsv", db});
  EXPECT_EQ(r.exitCode, 2);
  EXPECT_NE(r.err.find("unknown option --tsv"), std::string::npos);
  r = RunShell({dir.File("no/such/folder/db.pvx"), "SELECT 1"});
  EXPECT_EQ(r.exitCode, 2);
  EXPECT_NE(r.err.find("parvex: cannot open "), std::string::npos);
  r = RunShell({"--help"});
  EXPECT_EQ(r.exitCode, 0);
  EXPECT_NE(r.out.find("--bail"), std::string::npos);
}

TEST_F(ShellCliTest, AFileThatIsNotADatabaseIsRefusedAndLeftUnchanged) {
  std::string bytes = "name,value\nthis is not a database,42\n";
  for (int i = 0; i < 200; ++i) bytes += static_cast<char>(i * 37);
  WriteFile(db, bytes);
  const ShellResult r = Run({}, {"CREATE TABLE t (a Integer)"});
  EXPECT_EQ(r.exitCode, 2);
  EXPECT_EQ(r.err.rfind("parvex: cannot open " + db + ": ", 0), 0u) << r.err;
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(ReadFile(db), bytes);
}

TEST_F(ShellCliTest, MissingAndEmptyFilesBecomeDatabasesThatPersist) {
  WriteFile(db, "");
  ShellResult r = Run({}, {"CREATE TABLE first (a Integer)", "INSERT INTO first (a) VALUES (7)"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  const std::string other = dir.File("new.pvx");
  r = RunShell({other, "CREATE TABLE second (b String)", "INSERT INTO second (b) VALUES ('x')"});
  EXPECT_EQ(r.exitCode, 0) << r.err;

  // A second run sees what the first committed.
  r = Run({"--csv"}, {"SELECT a FROM first"});
  EXPECT_EQ(r.out, "a\n7\n");
  r = RunShell({"--csv", other, "SELECT b FROM second", ".tables"});
  EXPECT_EQ(r.out, "b\nx\nsecond\n");
}

TEST_F(ShellCliTest, OutputModesAndHeaders) {
  Run({}, {"CREATE TABLE t (id Integer, name String)", "INSERT INTO t (id, name) VALUES (1, 'Ann')",
           "INSERT INTO t (id, name) VALUES (22, NULL)"});
  const std::string query = "SELECT id, name FROM t";
  EXPECT_EQ(Run({}, {query}).out, "1|Ann\n22|\n");  // list: the default when output is not a terminal
  EXPECT_EQ(Run({"--list", "--headers"}, {query}).out, "id|name\n1|Ann\n22|\n");
  EXPECT_EQ(Run({"--csv", "--no-headers"}, {query}).out, "1,Ann\n22,\n");
  EXPECT_EQ(Run({"--json"}, {query}).out, "[{\"id\":1,\"name\":\"Ann\"},\n{\"id\":22,\"name\":null}]\n");
  EXPECT_EQ(Run({"--line"}, {query}).out, "  id = 1\nname = Ann\n\n  id = 22\nname = NULL\n");
  EXPECT_EQ(Run({"--box"}, {query}).out,
            "┌────┬──────┐\n"
            "│ id │ name │\n"
            "├────┼──────┤\n"
            "│  1 │ Ann  │\n"
            "│ 22 │ NULL │\n"
            "└────┴──────┘\n"
            "2 rows\n");
  // .mode and .headers switch between queries.
  EXPECT_EQ(Run({}, {}, ".mode csv\n" + query + ";\n.headers off\n.mode json\n" + query + ";\n.mode\n").out,
            "id,name\n1,Ann\n22,\n[{\"id\":1,\"name\":\"Ann\"},\n{\"id\":22,\"name\":null}]\njson\n");
}

}  // namespace
}  // namespace parvex::shell::testing
