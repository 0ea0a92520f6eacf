// Damaged database files through the shell: statements that meet damage
// fail naming the table, a truncated file is refused, --check and .check
// report without changing the file, --recover copies what can be read.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <ctime>
#include <regex>

#include "shell_process.h"

namespace parvex::shell::testing {
namespace {

class ShellDamageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string sql =
        "CREATE TABLE Authors (name String);\n"
        "CREATE TABLE Books (title String, pages Integer);\n"
        "CREATE INDEX byTitle ON Books (title);\n";
    for (int i = 1; i <= 5; ++i) sql += "INSERT INTO Authors (name) VALUES ('author " + std::to_string(i) + "');\n";
    for (int i = 1; i <= 120; ++i) {
      sql += "INSERT INTO Books (title, pages) VALUES ('title-" + std::to_string(1000 + i) + "', " +
             std::to_string(i) + ");\n";
    }
    const ShellResult r = RunShell({db}, sql);
    ASSERT_EQ(r.exitCode, 0) << r.err;
  }

  // The offset in the database file of the record of a Books row (title,
  // pages), found through its title; the first row from `row` on whose
  // record lies within one block.
  size_t BooksRecord(int row, int* found) {
    const std::string bytes = ReadFile(db);
    for (; row <= 120; ++row) {
      const size_t text = bytes.find("title-" + std::to_string(1000 + row));
      // Header 12, value count 1, two column entries 4, string counts 12.
      if (text != std::string::npos && text >= 29 && bytes.compare(text - 29, 4, "RcSt") == 0) {
        *found = row;
        return text - 29;
      }
    }
    ADD_FAILURE() << "no record found";
    return 0;
  }

  void Patch(size_t at, const std::string& with) {
    std::string bytes = ReadFile(db);
    bytes.replace(at, with.size(), with);
    WriteFile(db, bytes);
  }

  static bool Matches(const std::string& text, const std::string& pattern) {
    return std::regex_match(text, std::regex(pattern));
  }

  TempDir dir;
  std::string db = dir.File("books.pvx");
};

TEST_F(ShellDamageTest, CheckOfASoundFileIsCleanAndChangesNothing) {
  // An old modification time: any write would move it.
  const struct timespec old[2] = {{1000000000, 0}, {1000000000, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, db.c_str(), old, 0), 0);
  const std::string before = ReadFile(db);
  const ShellResult r = RunShell({"--check", db});
  EXPECT_EQ(r.exitCode, 0) << r.out << r.err;
  EXPECT_TRUE(Matches(r.out, "ok: " + db + " \\(2 tables, 1 index, 125 rows, [0-9]+ blocks\\)\n")) << r.out;
  EXPECT_EQ(r.err, "");
  struct stat after;
  ASSERT_EQ(stat(db.c_str(), &after), 0);
  EXPECT_EQ(after.st_mtim.tv_sec, 1000000000);
  EXPECT_EQ(after.st_mtim.tv_nsec, 0);
  EXPECT_EQ(ReadFile(db), before);

  // .check reads the open database as committed: a table created and rolled
  // back leaves no file behind.
  const ShellResult session = RunShell({db}, "BEGIN;\nCREATE TABLE scratch (a Integer);\n.check\nROLLBACK;\n.check\n");
  EXPECT_EQ(session.err, "Error: .check reads the database as committed; COMMIT or ROLLBACK first\n");
  EXPECT_TRUE(Matches(session.out, "ok: " + db + " \\(2 tables, 1 index, 125 rows, [0-9]+ blocks\\)\n"))
      << session.out;
}

TEST_F(ShellDamageTest, TruncatedFileIsRefusedAndChecksAsDamaged) {
  std::string bytes = ReadFile(db);
  bytes.resize(bytes.size() - 500);
  WriteFile(db, bytes);
  ShellResult r = RunShell({db, "SELECT COUNT(*) FROM Authors"});
  EXPECT_EQ(r.exitCode, 2);
  EXPECT_EQ(r.err, "parvex: cannot open " + db + ": Error: Database file " + db +
                       " is damaged: it ends inside a block (it was cut short).\n");
  r = RunShell({"--check", db});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_TRUE(Matches(r.out, "volume: the file ends inside the block at offset [0-9]+ \\(1024 bytes long, 524 are "
                             "there\\)\n(.*\n)*damaged: [0-9]+ problems in " + db + " .*\n"))
      << r.out;
  EXPECT_EQ(ReadFile(db), bytes);
}

TEST_F(ShellDamageTest, DamagedRecordFailsWhatReadsItAndNothingIsCommittedOverIt) {
  int row = 0;
  const size_t record = BooksRecord(42, &row);
  Patch(record + 12, std::string(1, '\x7F'));  // a value count the body can't hold
  const std::string damage = "Error: Table Books is damaged: the record of row " + std::to_string(row) +
                             " at offset [0-9]+ of Books\\.dat can't be decoded\\.";

  // Counting needs no values; reading them meets the damage. (The storage's
  // own diagnostic line comes first.)
  ShellResult r = RunShell({db, "SELECT COUNT(*) FROM Authors", "SELECT COUNT(*) FROM Books", "SELECT title FROM Books"});
  EXPECT_EQ(r.out, "5\n120\n");
  EXPECT_TRUE(Matches(r.err, "ParvexStorage error 4\n\\[XX001\\] " + damage + "\n")) << r.err;
  EXPECT_EQ(r.exitCode, 1);

  // The damage shows up after two inserts are pending: the commit is refused
  // as a whole (and rolled back), and neither insert is in the file.
  r = RunShell({db}, "BEGIN;\nINSERT INTO Authors (name) VALUES ('late');\n"
                     "INSERT INTO Books (title) VALUES ('late');\nSELECT title FROM Books;\nCOMMIT;\n");
  EXPECT_TRUE(Matches(r.err, "ParvexStorage error 4\n(\\[XX001\\] " + damage + "\n){2}")) << r.err;
  EXPECT_EQ(RunShell({db, "SELECT COUNT(*) FROM Authors"}).out, "5\n");

  // A dump stops at the damaged table, without the COMMIT that would make it look whole.
  r = RunShell({db, ".dump Books"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.out.find("COMMIT;"), std::string::npos);
  EXPECT_TRUE(Matches(r.err, "ParvexStorage error 4\n\\[XX001\\] " + damage + "\n")) << r.err;

  r = RunShell({"--check", db});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.out.find("table Books: the record of row " + std::to_string(row) + " at offset "), std::string::npos)
      << r.out;

  const std::string copy = dir.File("copy.pvx");
  r = RunShell({"--recover", db, copy});
  EXPECT_EQ(r.exitCode, 1) << r.err;
  EXPECT_TRUE(Matches(r.out,
                      "table Authors: 5 rows copied\n"
                      "table Books: 119 rows copied\n"
                      "table Books: 1 damaged stretch of Books\\.dat \\([0-9]+ bytes\\) skipped\n"
                      "table Books: 1 row its map lists could not be read \\(" + std::to_string(row) + "\\)\n"
                      "table Books: index byTitle created again\n"
                      "recovered into " + copy + ": 2 tables, 124 rows, 1 index; 2 things could not be copied\n"))
      << r.out;
  EXPECT_EQ(RunShell({"--check", copy}).exitCode, 0);
  // Rows keep their IDs; the copy takes new rows.
  r = RunShell({copy, "SELECT _rowid, pages FROM Books WHERE pages = 120", "INSERT INTO Books (pages) VALUES (0)",
                "SELECT COUNT(*) FROM Books"});
  EXPECT_EQ(r.out, "120|120\n120\n");
  EXPECT_EQ(r.exitCode, 0) << r.err;
}

TEST_F(ShellDamageTest, CheckAndRecoverUsage) {
  ShellResult r = RunShell({"--recover", db});
  EXPECT_EQ(r.exitCode, 2);
  EXPECT_NE(r.err.find("--recover takes the damaged file and the new file"), std::string::npos);
  r = RunShell({"--check", db, "SELECT 1"});
  EXPECT_EQ(r.exitCode, 2);
  r = RunShell({"--recover", db, db});
  EXPECT_EQ(r.exitCode, 2);
  EXPECT_EQ(r.err, "[22023] Error: " + db + " already exists; recovery writes a new database.\n");
  r = RunShell({"--check", dir.File("missing.pvx")});
  EXPECT_EQ(r.exitCode, 2);
  EXPECT_EQ(r.err, "[22023] Error: Cannot open database file " + dir.File("missing.pvx") +
                       ": No such file or directory.\n");
}

}  // namespace
}  // namespace parvex::shell::testing
