// The dot-commands: listing, describing, parsing, schema data, reading files.
#include <gtest/gtest.h>

#include "shell_process.h"

namespace parvex::shell::testing {
namespace {

class ShellCommandsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const ShellResult r = Input(
        "CREATE TABLE Zebra (id Integer, name String);\n"
        "CREATE TABLE apple (code String, price Double, day Date, ok Boolean, t Time, ts Timestamp, b Binary);\n"
        "CREATE INDEX ByName ON Zebra (name);\n"
        "CREATE INDEX ByBoth ON Zebra (name, id);\n"
        "INSERT INTO Zebra (id, name) VALUES (1, 'a');\n"
        "INSERT INTO Zebra (id, name) VALUES (2, 'b');\n");
    ASSERT_EQ(r.exitCode, 0) << r.err;
  }

  ShellResult Input(const std::string& input) { return RunShell({db}, input, dir.path().string()); }

  TempDir dir;
  std::string db = dir.File("commands.pvx");
};

TEST_F(ShellCommandsTest, TablesSchemaAndIndexesDescribeTheDatabase) {
  ShellResult r = Input(".tables\n.indexes\n.indexes Zebra\n.indexes apple\n");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "Zebra\napple\nZebra.ByName\nZebra.ByBoth\nByName\nByBoth\n");

  r = Input(".schema\n.schema ZEBRA\n");
  EXPECT_EQ(r.out,
            "CREATE TABLE Zebra (id Integer, name String);\n"
            "CREATE INDEX ByName ON Zebra (name);\n"
            "CREATE INDEX ByBoth ON Zebra (name, id);\n"
            "CREATE TABLE apple (code String, price Double, day Date, ok Boolean, t Time, ts Timestamp, "
            "b Binary);\n"
            "CREATE TABLE Zebra (id Integer, name String);\n"
            "CREATE INDEX ByName ON Zebra (name);\n"
            "CREATE INDEX ByBoth ON Zebra (name, id);\n");

  r = Input(".schema nope\n.lastrowid nope\n");
  EXPECT_EQ(r.err, "[42S02] Error: Table nope not found.\n[42S02] Error: Table nope not found.\n");
  EXPECT_EQ(r.exitCode, 1);
}

TEST_F(ShellCommandsTest, LastRowIDIsTheLastRowAddedInTheSession) {
  const ShellResult r = Input(".lastrowid Zebra\nINSERT INTO Zebra (id) VALUES (3);\nINSERT INTO Zebra (id) VALUES (4);\n"
                              ".lastrowid zebra\nSELECT _rowid FROM Zebra WHERE id = 4;\n");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "0\n4\n4\n");
}

TEST_F(ShellCommandsTest, ParseShowsHowTheEngineReadsAStatement) {
  ShellResult r = Input(".parse SELECT foo FROM MYTABLE WHERE A=1 OR B=2 AND C=3;\n"
                        ".parse select x from t where not a = 1\n"
                        ".parse SELECT 'it''s' FROM t\n");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out,
            "SELECT foo FROM MYTABLE WHERE ((A=1) OR ((B=2) AND (C=3)))\n"
            "SELECT x FROM t WHERE (a=1)\n"
            "SELECT 'it''s' FROM t\n");
  r = Input(".parse SELECT FROM FOO\n.parse UPDATE foo\n.parse\n");
  EXPECT_EQ(r.err, "[07000] SQL Syntax Error\n[07000] SQL Error: SET expected\nUsage: .parse STATEMENT\n");
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.exitCode, 1);
}

TEST_F(ShellCommandsTest, SchemaDataExportsAndReplaces) {
  const std::string data = dir.File("schema.bin");
  ShellResult r = Input(".schema-export " + data + "\n");
  EXPECT_EQ(r.err, "");
  const std::string bytes = ReadFile(data);
  ASSERT_GT(bytes.size(), 8u);
  EXPECT_EQ(bytes.substr(0, 8), "SCHEMADA");

  // Another database takes the same tables and columns.
  const std::string other = dir.File("other.pvx");
  r = RunShell({other, ".schema-import " + data, ".tables", "SELECT id, name FROM Zebra"});
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "Zebra\napple\n");
  r = RunShell({other, ".schema apple"});
  EXPECT_EQ(r.out, "CREATE TABLE apple (code String, price Double, day Date, ok Boolean, t Time, ts Timestamp, "
                   "b Binary);\n");

  // Refusals come as status lines.
  WriteFile(data, "NOT SCHEMA DATA");
  r = RunShell({other, ".schema-import " + data});
  EXPECT_EQ(r.err, "[22023] Invalid schema data.\n");
  EXPECT_EQ(r.exitCode, 1);
  r = Input("BEGIN;\nINSERT INTO Zebra (id) VALUES (9);\n.schema-export " + data + "\nROLLBACK;\n");
  EXPECT_EQ(r.err, "[25S02] Can't get schema data while transaction is in progress.\n");
  r = Input(".schema-import " + dir.File("missing.bin") + "\n");
  EXPECT_EQ(r.err.rfind("Error: cannot open ", 0), 0u) << r.err;
}

TEST_F(ShellCommandsTest, ReadRunsAFileAndNestsWithinLimits) {
  WriteFile(dir.File("inner.sql"), "INSERT INTO Zebra (id, name) VALUES (10, 'from file');\nSELECT name FROM Zebra WHERE id = 10");
  WriteFile(dir.File("outer.sql"), ".read " + dir.File("inner.sql") + "\nSELECT COUNT(*) FROM Zebra;\n");
  ShellResult r = Input(".read '" + dir.File("outer.sql") + "'\n");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "from file\n3\n");

  WriteFile(dir.File("loop.sql"), ".read " + dir.File("loop.sql") + "\n");
  r = Input(".read " + dir.File("loop.sql") + "\nSELECT COUNT(*) FROM Zebra;\n");
  EXPECT_EQ(r.err, "Error: .read files nested more than 16 deep\n");
  EXPECT_EQ(r.out, "3\n");
  EXPECT_EQ(r.exitCode, 1);
}

TEST_F(ShellCommandsTest, BadCommandsAreFailuresWithAClearLine) {
  const ShellResult r = Input(".frobnicate\n.mode table\n.headers maybe\n.import onlyone\n.read 'open\n.help\n");
  EXPECT_EQ(r.err,
            "Error: unknown command .frobnicate (.help lists the commands)\n"
            "Error: unknown mode table (box, list, csv, json or line)\n"
            "Error: expected on or off, not maybe\n"
            "Usage: .import FILE TABLE\n"
            "Error: unterminated ' in the command\n");
  EXPECT_EQ(r.exitCode, 1);
  for (const char* command : {".bail", ".dump", ".headers", ".help", ".import", ".indexes", ".lastrowid", ".mode",
                              ".parse", ".quit", ".read", ".schema", ".schema-export", ".schema-import", ".tables",
                              ".timer"}) {
    EXPECT_NE(r.out.find(std::string("  ") + command + " "), std::string::npos) << command;
  }
}

TEST_F(ShellCommandsTest, QuitStopsTheInputAndTimerReportsOnStandardError) {
  const ShellResult r = Input(".timer on\nSELECT COUNT(*) FROM Zebra;\n.quit\nDROP TABLE Zebra;\n");
  EXPECT_EQ(r.out, "2\n");
  EXPECT_NE(r.err.find("Run Time: real "), std::string::npos);
  EXPECT_EQ(r.exitCode, 0);
  EXPECT_EQ(Input(".tables\n").out, "Zebra\napple\n");
}

}  // namespace
}  // namespace parvex::shell::testing
