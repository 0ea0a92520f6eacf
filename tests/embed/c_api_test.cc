// The public interface as an embedding program uses it, through real files:
// typed bindings that round-trip exactly, statement reuse, counters,
// introspection, errors with their SQLSTATEs, and the file lock.
#include <parvex/parvex.h>
#include <parvex/parvex.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "harness/files.h"

namespace parvex {
namespace {

// Opens (creating) `path`, failing the test when that does not work.
Database OpenOrFail(const std::string& path, int flags = PARVEX_OPEN_CREATE) {
  Database db;
  const Status status = db.Open(path, flags);
  EXPECT_TRUE(status) << status.message;
  return db;
}

TEST(CApiTest, BoundValuesRoundTripAndStatementsRunManyTimes) {
  TempFolder folder;
  const std::string path = folder.File("types.pvx");
  const std::string binary("a\0b\0", 4);
  {
    Database db = OpenOrFail(path);
    ASSERT_TRUE(db.Exec("CREATE TABLE t (i Integer, d Double, s String, b Binary, dt Date, tm Time, ts Timestamp, "
                        "f Boolean)"));
    Statement insert = db.Prepare("INSERT INTO t VALUES (?, ?, ?, ?3, ?, ?, ?, ?)");
    ASSERT_TRUE(insert.valid()) << insert.status().message;
    EXPECT_EQ(insert.Sql(), "INSERT INTO t VALUES (?, ?, ?, ?3, ?, ?, ?, ?)");
    // `?` after `?3` is 4: eight columns, seven placeholders.
    EXPECT_EQ(parvex_bind_parameter_count(insert.handle()), 7);
    EXPECT_EQ(insert.Kind(), PARVEX_KIND_INSERT);
    // ?3 stands twice: the text and the binary column get the same value.
    insert.Bind(1, -2147483647 - 1).Bind(2, -1.5).Bind(3, "it's Zoë").BindDate(4, "2001-02-03");
    insert.BindTime(5, "23:59:58").BindTimestamp(6, "1999-12-31 23:59:59").Bind(7, true);
    ASSERT_TRUE(insert.Run()) << insert.status().message;
    EXPECT_EQ(db.Changes(), 1);
    insert.Bind(1, nullptr).Bind(2, std::nan("")).Bind(3, nullptr).Bind(7, false);
    ASSERT_TRUE(insert.Run());
    EXPECT_EQ(db.LastRowID("T"), 2);
    Statement blob = db.Prepare("UPDATE t SET b = ? WHERE _rowid = ?");
    blob.BindBlob(1, binary.data(), binary.size()).Bind(2, 2);
    ASSERT_TRUE(blob.Run());
    EXPECT_EQ(db.Changes(), 1);
    EXPECT_TRUE(db.InTransaction());
    ASSERT_TRUE(db.Commit());
  }
  Database db = OpenOrFail(path, 0);
  Statement select = db.Prepare("SELEKT 1");
  EXPECT_FALSE(select.valid());
  EXPECT_EQ(select.status().sqlstate, "07000");
  select = db.Prepare("SELECT i, d, s, b, dt, tm, ts, f, UPPER(s), CHAR_LENGTH(s) FROM t");
  ASSERT_TRUE(select.Step()) << select.status().message;
  ASSERT_EQ(select.ColumnCount(), 10);
  EXPECT_EQ(select.ColumnName(1), "d");
  EXPECT_EQ(select.ColumnType(4), PARVEX_TYPE_DATE);
  EXPECT_EQ(select.Int(0), -2147483648LL);
  EXPECT_EQ(select.Text(0), "-2147483648");
  EXPECT_EQ(select.Text(1), "-1.5");
  EXPECT_EQ(select.Double(1), -1.5);
  EXPECT_EQ(select.Text(2), "it's Zoë");
  EXPECT_EQ(select.Text(4), "2001-02-03");
  EXPECT_EQ(select.Text(5), "23:59:58");
  EXPECT_EQ(select.Text(6), "1999-12-31 23:59:59");
  EXPECT_EQ(select.Int(7), 1);
  EXPECT_EQ(select.Text(8), "IT'S ZOË");
  EXPECT_EQ(select.Int(9), 8);
  ASSERT_TRUE(select.Step());
  EXPECT_TRUE(select.IsNull(0));
  EXPECT_TRUE(std::isnan(select.Double(1)));
  EXPECT_TRUE(select.IsNull(2));
  EXPECT_EQ(select.Text(3), binary);
  EXPECT_EQ(std::string(parvex_column_literal(select.handle(), 7)), "FALSE");
  EXPECT_FALSE(select.Step());
  EXPECT_TRUE(select.status());
  // The statement runs again from the start.
  EXPECT_TRUE(select.Step());
}

TEST(CApiTest, ErrorsCarryTheirStates) {
  TempFolder folder;
  const std::string path = folder.File("errors.pvx");
  Database db = OpenOrFail(path);
  ASSERT_TRUE(db.Exec("CREATE TABLE t (a Integer)"));
  {
  Status status = db.Exec("INSERT INTO t VALUES (?)");
  EXPECT_EQ(status.message, "Error: Parameter ?1 has no value.");
  status = db.Exec("INSERT INTO nowhere VALUES (1)");
  EXPECT_EQ(status.sqlstate, "42S02");
  EXPECT_FALSE(db.Prepare("SELECT ?0").valid());
  Statement insert = db.Prepare("INSERT INTO t VALUES (?)");
  EXPECT_FALSE(insert.Bind(2, 1).status());
  EXPECT_EQ(insert.Bind(1, int64_t{1} << 40).status().sqlstate, "22023");
  EXPECT_FALSE(insert.BindDate(1, "2001-2-3").status());
  // Unbound placeholders are NULL; a SELECT with no row is no failure.
  insert.Reset();
  ASSERT_TRUE(parvex_clear_bindings(insert.handle()) == PARVEX_OK && insert.Run());
  Statement empty = db.Prepare("SELECT a FROM t WHERE a = 1");
  EXPECT_FALSE(empty.Step());
  EXPECT_TRUE(empty.status());
  EXPECT_EQ(empty.status().sqlstate, "02000");
  EXPECT_EQ(empty.ColumnName(0), "a");
  // Statements must be finalized before their database closes.
  EXPECT_EQ(parvex_close(db.handle()), PARVEX_ERROR);
  ASSERT_TRUE(db.Commit());
  }

  // Where a statement stopped parsing, and the escape character in force.
  EXPECT_EQ(db.Exec("SELECT a FRM t").sqlstate, "07000");
  EXPECT_EQ(parvex_error_offset(db.handle()), 13);  // FRM is an alias: at t
  EXPECT_FALSE(db.Prepare("SELECT a FROM t WHERE").valid());
  EXPECT_EQ(parvex_error_offset(db.handle()), 21);  // the end
  ASSERT_TRUE(db.Exec("SET ESCAPE \\"));
  EXPECT_EQ(parvex_escape_char(db.handle()), '\\');
  EXPECT_EQ(parvex_error_offset(db.handle()), -1);

  // A second opener is refused while a writer holds the file; a reader
  // refuses changes.
  Database second;
  EXPECT_EQ(second.Open(path, PARVEX_OPEN_READONLY).sqlstate, "55006");
  db = Database();
  ASSERT_TRUE(second.Open(path, PARVEX_OPEN_READONLY));
  EXPECT_EQ(second.Exec("DELETE FROM t").sqlstate, "25006");
  EXPECT_EQ(Database().Exec("COMMIT").sqlstate, "HY009");

  // An in-memory database touches no file and is gone when closed.
  Database memory = OpenOrFail(path, PARVEX_OPEN_MEMORY | PARVEX_OPEN_READONLY);
  ASSERT_TRUE(memory.Exec("CREATE TABLE m (a Integer)") && memory.Exec("INSERT INTO m VALUES (1)") && memory.Commit());
  EXPECT_EQ(parvex_table_count(memory.handle()), 1);
  EXPECT_EQ(parvex_table_count(OpenOrFail(folder.File("m.pvx"), PARVEX_OPEN_MEMORY).handle()), 0);
  EXPECT_EQ(parvex_table_count(second.handle()), 1);  // the file beside it is untouched
}

TEST(CApiTest, IntrospectionSchemaDataAndChecks) {
  TempFolder folder;
  const std::string path = folder.File("schema.pvx");
  {
    Database db = OpenOrFail(path);
    ASSERT_TRUE(db.Exec("CREATE TABLE people (name String, born Date DEFAULT DATE '2000-01-01')"));
    ASSERT_TRUE(db.Exec("CREATE INDEX by_born ON people (born, name)"));
    ASSERT_TRUE(db.Exec("INSERT INTO people (name) VALUES ('Ann')"));
    ASSERT_TRUE(db.Exec("INSERT INTO people SELECT name, born FROM people"));
    EXPECT_EQ(db.Changes(), 1);
    ASSERT_TRUE(db.Exec("DELETE FROM people"));
    EXPECT_EQ(db.Changes(), 2);
    EXPECT_FALSE(db.ExportSchema().size());  // refused while the transaction is open
    ASSERT_TRUE(db.Commit());
    parvex_db* h = db.handle();
    EXPECT_EQ(db.Tables(), std::vector<std::string>{"people"});
    ASSERT_EQ(parvex_table_column_count(h, "PEOPLE"), 2);
    EXPECT_STREQ(parvex_table_column_name(h, "people", 1), "born");
    EXPECT_STREQ(parvex_type_name(parvex_table_column_type(h, "people", 1)), "Date");
    EXPECT_STREQ(parvex_table_column_default(h, "people", 1), "DATE '2000-01-01'");
    EXPECT_EQ(parvex_table_column_default(h, "people", 0), nullptr);
    ASSERT_EQ(parvex_index_count(h, "people"), 1);
    EXPECT_STREQ(parvex_index_name(h, "people", 0), "by_born");
    ASSERT_EQ(parvex_index_column_count(h, "people", 0), 2);
    EXPECT_STREQ(parvex_index_column_name(h, "people", 0, 1), "name");
    EXPECT_EQ(parvex_table_column_count(h, "nobody"), -1);

    Status exported;
    const std::string schema = db.ExportSchema(&exported);
    ASSERT_TRUE(exported) << exported.message;
    Database copy = OpenOrFail(folder.File("copy.pvx"));
    ASSERT_TRUE(copy.ReplaceSchema(schema));
    EXPECT_EQ(copy.Tables(), std::vector<std::string>{"people"});
    EXPECT_EQ(copy.ReplaceSchema("nonsense").sqlstate, "22023");

    // Reading the stored table: `_rowid` first, typed values, exact literals.
    Statement insert = db.Prepare("INSERT INTO people VALUES (?, DATE '2001-02-03')");
    ASSERT_TRUE(insert.Bind(1, std::string_view("a\0b", 3)).Run());
    Statement rows = db.ReadTable("People");
    ASSERT_TRUE(rows.Step()) << rows.status().message;
    ASSERT_EQ(rows.ColumnCount(), 3);
    EXPECT_EQ(rows.ColumnName(2), "born");
    EXPECT_EQ(rows.Int(0), db.LastRowID("people"));
    EXPECT_EQ(rows.ValueType(2), PARVEX_TYPE_DATE);
    bool exact = false;
    EXPECT_EQ(rows.Literal(2, &exact), "DATE '2001-02-03'");
    EXPECT_TRUE(exact);
    EXPECT_EQ(rows.Literal(1, &exact), "'ab'");
    EXPECT_FALSE(exact);
    EXPECT_FALSE(rows.Step());
    EXPECT_TRUE(rows.status());
    Statement defaults = db.ReadTable("people", PARVEX_READ_DEFAULTS);
    ASSERT_TRUE(defaults.Step());
    EXPECT_EQ(defaults.ValueType(1), PARVEX_TYPE_NULL);
    EXPECT_EQ(defaults.Text(2), "2000-01-01");
    EXPECT_FALSE(defaults.Step());
    EXPECT_EQ(db.ReadTable("nobody").status().sqlstate, "42S02");
  }
  parvex_report* report = nullptr;
  ASSERT_EQ(parvex_check_file(path.c_str(), &report), PARVEX_OK);
  EXPECT_TRUE(parvex_report_clean(report));
  EXPECT_EQ(std::string(parvex_report_summary(report)).rfind("ok: ", 0), 0u) << parvex_report_summary(report);
  parvex_report_free(report);
  const std::string copy = folder.File("recovered.pvx");
  ASSERT_EQ(parvex_recover_file(path.c_str(), copy.c_str(), &report), PARVEX_OK);
  EXPECT_TRUE(parvex_report_clean(report));
  parvex_report_free(report);
  ASSERT_EQ(parvex_recover_file(path.c_str(), copy.c_str(), &report), PARVEX_ERROR);  // never over a database
  EXPECT_STRNE(parvex_report_errmsg(report), "");
  parvex_report_free(report);
}

}  // namespace
}  // namespace parvex
