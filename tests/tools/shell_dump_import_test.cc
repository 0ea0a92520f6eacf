// .dump and reloading it, and .import of CSV files.
#include <gtest/gtest.h>

#include "shell_process.h"

namespace parvex::shell::testing {
namespace {

class ShellDumpImportTest : public ::testing::Test {
 protected:
  ShellResult Input(const std::string& database, const std::string& input) {
    return RunShell({database}, input, dir.path().string());
  }

  TempDir dir;
  std::string db = dir.File("source.pvx");
};

TEST_F(ShellDumpImportTest, DumpThenReloadGivesTheSameContent) {
  ShellResult r = Input(db,
                        "CREATE TABLE People (id Integer, name String, score Double, born Date, ok Boolean);\n"
                        "CREATE TABLE Events (at Timestamp, t Time, data Binary, note String);\n"
                        "CREATE INDEX ByName ON People (name);\n"
                        "CREATE INDEX ByBoth ON People (ok, id);\n"
                        "INSERT INTO People (id, name, score, born, ok) VALUES (1, 'O''Brien; \"Bob\"', 2.5, "
                        "DATE '1970-01-01', TRUE);\n"
                        "INSERT INTO People (id, name, score, born, ok) VALUES (-2147483647-1, 'two\nlines', 1.0e+20, "
                        "NULL, FALSE);\n"
                        "INSERT INTO People (id, name, score) VALUES (3, 'gone', 0.1);\n"
                        "INSERT INTO People (id, name, score) VALUES (4, '', 3.0);\n"
                        "DELETE FROM People WHERE id = 3;\n"
                        "INSERT INTO Events (at, t, data, note) VALUES (TIMESTAMP '2001-02-03 04:05:06', "
                        "TIME '23:59:59', 'bytes\t\x01', NULL);\n");
  ASSERT_EQ(r.exitCode, 0) << r.err;

  const ShellResult dump = Input(db, ".dump\n");
  EXPECT_EQ(dump.err, "");
  EXPECT_EQ(dump.out,
            "BEGIN TRANSACTION;\n"
            "CREATE TABLE People (id Integer, name String, score Double, born Date, ok Boolean);\n"
            "INSERT INTO People (_rowid, id, name, score, born, ok) VALUES (1, 1, 'O''Brien; \"Bob\"', 2.5, "
            "DATE '1970-01-01', TRUE);\n"
            "INSERT INTO People (_rowid, id, name, score, born, ok) VALUES (2, (-2147483647-1), 'two\nlines', "
            "1.0e+20, NULL, FALSE);\n"
            "INSERT INTO People (_rowid, id, name, score, born, ok) VALUES (4, 4, '', 3.0, NULL, NULL);\n"
            "CREATE INDEX ByName ON People (name);\n"
            "CREATE INDEX ByBoth ON People (ok, id);\n"
            "CREATE TABLE Events (at Timestamp, t Time, data Binary, note String);\n"
            "INSERT INTO Events (_rowid, at, t, data, note) VALUES (1, TIMESTAMP '2001-02-03 04:05:06', "
            "TIME '23:59:59', 'bytes\t\x01', NULL);\n"
            "COMMIT;\n");

  // Fed to a new database, the dump recreates rows, row IDs and indexes: the
  // new database dumps to the same text.
  const std::string copy = dir.File("copy.pvx");
  r = Input(copy, dump.out);
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(Input(copy, ".dump\n").out, dump.out);

  // One table alone.
  EXPECT_EQ(Input(db, ".dump Events\n").out,
            "BEGIN TRANSACTION;\n"
            "CREATE TABLE Events (at Timestamp, t Time, data Binary, note String);\n"
            "INSERT INTO Events (_rowid, at, t, data, note) VALUES (1, TIMESTAMP '2001-02-03 04:05:06', "
            "TIME '23:59:59', 'bytes\t\x01', NULL);\n"
            "COMMIT;\n");
}

TEST_F(ShellDumpImportTest, DoublesWithoutALiteralSurviveTheDumpAsQuotedText) {
  // The dialect has no literal for a negative double (-1.5 would be 0 minus
  // 1.5 in integer arithmetic), an infinity or NaN. .dump writes them as
  // quoted text, which the Double column turns back into the same double.
  ShellResult r = Input(db, "CREATE TABLE m (x Double, s String);\n");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  WriteFile(dir.File("m.csv"), "x,s\n-1.5,a\n-0.0,b\n-inf,c\nnan,d\n2.25,e\n");
  r = Input(db, ".import " + dir.File("m.csv") + " m\n");
  ASSERT_EQ(r.exitCode, 0) << r.err;

  const ShellResult dump = Input(db, ".dump\n");
  EXPECT_EQ(dump.err, "");
  EXPECT_EQ(dump.out,
            "BEGIN TRANSACTION;\n"
            "CREATE TABLE m (x Double, s String);\n"
            "INSERT INTO m (_rowid, x, s) VALUES (1, '-1.5', 'a');\n"
            "INSERT INTO m (_rowid, x, s) VALUES (2, '-0.0', 'b');\n"
            "INSERT INTO m (_rowid, x, s) VALUES (3, '-inf', 'c');\n"
            "INSERT INTO m (_rowid, x, s) VALUES (4, 'nan', 'd');\n"
            "INSERT INTO m (_rowid, x, s) VALUES (5, 2.25, 'e');\n"
            "COMMIT;\n");
  const std::string copy = dir.File("copy.pvx");
  r = Input(copy, dump.out);
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(Input(copy, "SELECT x FROM m;\n").out, "-1.5\n-0\n-inf\nnan\n2.25\n");
  EXPECT_EQ(Input(copy, ".dump\n").out, dump.out);
}

TEST_F(ShellDumpImportTest, TextWithNulBytesIsDumpedWithoutThemAndAWarning) {
  ShellResult r = Input(db, "CREATE TABLE n (s String);\n");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  std::string csv = "s\n\"a";
  csv += '\0';
  csv += "b\"\nplain\n";
  WriteFile(dir.File("n.csv"), csv);
  r = Input(db, ".import " + dir.File("n.csv") + " n\n.mode json\nSELECT s FROM n;\n");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(r.out, "[{\"s\":\"a\\u0000b\"},\n{\"s\":\"plain\"}]\n");
  const ShellResult dump = Input(db, ".dump n\n");
  EXPECT_EQ(dump.out,
            "BEGIN TRANSACTION;\n"
            "CREATE TABLE n (s String);\n"
            "INSERT INTO n (_rowid, s) VALUES (1, 'ab');\n"
            "INSERT INTO n (_rowid, s) VALUES (2, 'plain');\n"
            "COMMIT;\n");
  EXPECT_EQ(dump.err,
            "warning: .dump: 1 value(s) have no exact form in SQL and were written as the closest text "
            "(n.s of row 1)\n");
  EXPECT_EQ(dump.exitCode, 0);
}

TEST_F(ShellDumpImportTest, ImportCreatesATableFromQuotedFieldsWithEmbeddedNewlines) {
  WriteFile(dir.File("people.csv"),
            "name,\"home town\",note\r\n"
            "\"Smith, Ann\",Springfield,\"said \"\"hi\"\"\nand left\"\r\n"
            "Bob,,\"\"\r\n"
            "\r\n"
            "Zoë,Zürich,plain\r\n");
  ShellResult r = Input(db, ".import " + dir.File("people.csv") + " People\n.schema People\n.mode csv\n"
                            "SELECT name, home_town, note FROM People;\n");
  EXPECT_EQ(r.err, "note: column \"home town\" is named home_town\n");
  EXPECT_EQ(r.out,
            "CREATE TABLE People (name String, home_town String, note String);\n"
            "name,home_town,note\n"
            "\"Smith, Ann\",Springfield,\"said \"\"hi\"\"\nand left\"\n"
            "Bob,,\n"
            "Zoë,Zürich,plain\n");
  EXPECT_EQ(r.exitCode, 0);
  // The empty unquoted field is NULL, the quoted one an empty text.
  EXPECT_EQ(Input(db, ".mode json\nSELECT home_town, note FROM People WHERE name = 'Bob';\n").out,
            "[{\"home_town\":null,\"note\":\"\"}]\n");
}

TEST_F(ShellDumpImportTest, ImportIntoAnExistingTableConvertsAndChecksEveryFieldFirst) {
  ShellResult r = Input(db, "CREATE TABLE t (n Integer, d Double, b Boolean, day Date);\n"
                            "INSERT INTO t (n) VALUES (1);\n");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  WriteFile(dir.File("good.csv"), "D,n,B,day,_rowid\n0.5,7,yes,2020-01-02,10\n,-3,F,,11\n");
  r = Input(db, ".import " + dir.File("good.csv") + " t\n.mode csv\nSELECT _rowid, n, d, b, day FROM t;\n");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "_rowid,n,d,b,day\n1,1,,,\n10,7,0.5,TRUE,2020-01-02\n11,-3,,FALSE,\n");

  // A bad field anywhere refuses the whole file, naming its line.
  WriteFile(dir.File("bad.csv"), "n,d\n1,1.5\n2,\"x\ny\"\n3,abc\n");
  r = Input(db, ".import " + dir.File("bad.csv") + " t\nSELECT COUNT(*) FROM t;\n");
  EXPECT_EQ(r.err, "Error: .import: " + dir.File("bad.csv") + ":3: column d: 'x\\ny' is not a number\n");
  EXPECT_EQ(r.out, "3\n");
  EXPECT_EQ(r.exitCode, 1);

  const auto importError = [&](const std::string& csv) {
    WriteFile(dir.File("x.csv"), csv);
    return Input(db, ".import " + dir.File("x.csv") + " t\n").err;
  };
  const std::string where = "Error: .import: " + dir.File("x.csv");
  EXPECT_EQ(importError("n,nope\n1,2\n"), "Error: .import: table t has no column nope\n");
  EXPECT_EQ(importError("n,d\n1\n"), where + ":2: expected 2 fields, found 1\n");
  EXPECT_EQ(importError("n,_rowid\n5,10\n"), where + ":2: column _rowid: row ID 10 is already in the table\n");
  EXPECT_EQ(importError("n\n\"open\n"), where + ": line 2: quoted field is not closed\n");
  EXPECT_EQ(importError(""), where + ": the file is empty\n");
  EXPECT_EQ(Input(db, "SELECT COUNT(*) FROM t;\n").out, "3\n");
}

TEST_F(ShellDumpImportTest, ImportInsideBeginBelongsToTheTransaction) {
  WriteFile(dir.File("rows.csv"), "a\n1\n2\n");
  ShellResult r = Input(db, "BEGIN;\n.import " + dir.File("rows.csv") + " fresh\nSELECT COUNT(*) FROM fresh;\nROLLBACK;\n.tables\n");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "2\n");
  r = Input(db, ".import " + dir.File("rows.csv") + " fresh\n");
  EXPECT_EQ(Input(db, "SELECT a FROM fresh;\n").out, "1\n2\n");
}

}  // namespace
}  // namespace parvex::shell::testing
