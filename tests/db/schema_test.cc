// The schema table and the database opener through their own interfaces:
// the initial rows of a new file, loading tables and their defaults, counters
// across reloads, and what the opener does with files it can't use.
#include "db/schema.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "db/database.h"
#include "db_test_util.h"
#include "sql/sql_test_util.h"
#include "storage/file_access.h"

namespace parvex {
namespace {

// Every row of a table as "v1|v2|..." (column 0 included).
std::vector<std::string> AllRows(const ParvexTable& table) {
  SimpleVector<RowID> ids;
  table.GetRowIDs(&ids);
  std::vector<std::string> rows;
  for (RowID id : ids) {
    std::string row;
    for (long c = 0; c < table.QtyColumns(); ++c) {
      ParvexValue v;
      if (c) row += "|";
      row += table.GetValue(id, c, &v) ? std::string(v.GetString().view()) : "(none)";
    }
    rows.push_back(row);
  }
  return rows;
}

class SchemaTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ParvexStatus status;
    db = Open(folder.File("schema.pvx"), true, &status);
    ASSERT_NE(db, nullptr) << status.Description().view();
    schema = dynamic_cast<ParvexSchema*>(db->tables[0]);
    ASSERT_NE(schema, nullptr);
  }

  TempFolder folder;
  std::unique_ptr<ParvexDatabase> db;
  ParvexSchema* schema = nullptr;
};

TEST_F(SchemaTest, ANewDatabaseHasTheSevenSchemaRowsCommitted) {
  EXPECT_EQ(AllRows(*schema), (std::vector<std::string>{
                                  "1|_schema|1|TableName|5|0|1|", "2|_schema|2|ColumnID|3|0|1|",
                                  "3|_schema|3|ColumnName|5|0|1|", "4|_schema|4|TypeCode|3|0|1|",
                                  "5|_schema|5|Length|3|0|1|", "6|_schema|6|NotNull|3|0|1|",
                                  "7|_schema|7|DefaultValue|5|0|1|"}));
  EXPECT_FALSE(db->TransactionInProgress());

  // Opening a database whose schema has rows writes nothing.
  const std::string path = folder.File("schema.pvx");
  db.reset();
  const std::string before = ReadHostFile(path);
  ParvexStatus status;
  db = Open(path, false, &status);
  ASSERT_NE(db, nullptr);
  EXPECT_EQ(db->tables.size(), 1u);
  db.reset();
  EXPECT_EQ(ReadHostFile(path), before);
}

TEST_F(SchemaTest, LoadTableBuildsColumnsAndDefaultsFromTheRows) {
  EXPECT_EQ(schema->LoadTable(string("nothing")), nullptr);
  schema->AddSchemaRow(string("Things"), 1, string("n"), kTypeInteger, 0, true, string("12"));
  schema->AddSchemaRow(string("other"), 1, string("x"), kTypeInteger, 0, true, string());
  schema->AddSchemaRow(string("THINGS"), 2, string("s"), kTypeString, 0, true, string("hello"));
  schema->AddSchemaRow(string("things"), 5, string("d"), kTypeDouble, 0, true, string("2.5"));
  schema->AddSchemaRow(string("things"), 4, string("b"), kTypeBoolean, 0, true, string("false"));
  schema->AddSchemaRow(string("things"), 3, string("when"), kTypeDate, 0, true, string("2007-03-05"));
  schema->AddSchemaRow(string("things"), 6, string("none"), kTypeInteger, 0, true, string());

  std::unique_ptr<ParvexTrans> table = schema->LoadTable(string("things"));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table->name.view(), "things");
  ASSERT_EQ(table->QtyColumns(), 7);
  const char* names[] = {"_rowid", "n", "s", "d", "b", "when", "none"};
  const long ids[] = {0, 1, 2, 5, 4, 3, 6};
  const ParvexDataType types[] = {kTypeInteger, kTypeInteger, kTypeString, kTypeDouble,
                                  kTypeBoolean, kTypeDate,    kTypeInteger};
  const char* defaults[] = {"NULL", "12", "hello", "2.5", "FALSE", "DATE 2007-03-05", "NULL"};
  for (long i = 0; i < 7; ++i) {
    const ParvexColumnInfo* column = table->Column(i);
    ASSERT_NE(column, nullptr);
    EXPECT_EQ(column->name.view(), names[i]);
    EXPECT_EQ(column->index, i);
    EXPECT_EQ(column->columnID, ids[i]);
    EXPECT_EQ(column->Type(), types[i]);
    EXPECT_EQ(column->defaultValue.GetString().view(), defaults[i]) << names[i];
    if (i > 0) {
      EXPECT_EQ(column->defaultValue.Type(), types[i]);
    }
  }
  EXPECT_EQ(table->Column(7), nullptr);
  EXPECT_EQ(table->NextUnusedColumnID(), 7);

  // Every table once, in the order of its first row, spelled as there.
  SimpleVector<ParvexTable*> tables;
  schema->LoadAllTables(tables);
  ASSERT_EQ(tables.size(), 2u);
  EXPECT_EQ(tables[0]->name.view(), "Things");
  EXPECT_EQ(tables[1]->name.view(), "other");
  DeleteAll(tables);
}

TEST_F(SchemaTest, ReloadKeepsCountersSoIDsAreNeverReused) {
  schema->AddSchemaRow(string("t"), 1, string("a"), kTypeInteger, 0, true, string());
  const RowID bRow = schema->AddSchemaRow(string("t"), 2, string("b"), kTypeInteger, 0, true, string());
  db->tables.push_back(schema->LoadTable(string("t")).release());
  auto* table = static_cast<ParvexTrans*>(db->tables[1]);
  ParvexValueList values;
  values.push_back(new ParvexValueWithID(ParvexValue::Integer(5), 2));
  EXPECT_EQ(table->AddRow(values, true), 1u);
  table->DeleteRow(1);
  schema->DeleteRow(bRow);
  schema->ReloadTable(&table);
  ASSERT_NE(table, nullptr);
  db->tables[1] = table;
  EXPECT_EQ(table->QtyColumns(), 2);
  EXPECT_EQ(table->NextUnusedColumnID(), 3);
  EXPECT_EQ(table->NextUnusedRowID(), 2u);

  // A table whose rows are all gone reloads as nothing.
  SimpleVector<RowID> rows;
  schema->GetRowIDs(&rows);
  for (RowID row : rows) {
    ParvexValue name;
    schema->GetValue(row, kSchemaColTableName, &name);
    if (name.GetString().Compare("t") == 0) schema->DeleteRow(row);
  }
  schema->ReloadTable(&table);
  EXPECT_EQ(table, nullptr);
  db->tables.RemoveAt(1);
}

TEST_F(SchemaTest, RollbackRebuildsTheTablesFromTheSchemaRows) {
  schema->AddSchemaRow(string("kept"), 1, string("a"), kTypeInteger, 0, true, string());
  db->tables.push_back(schema->LoadTable(string("kept")).release());
  ParvexStatus status;
  db->Commit(&status);
  schema->AddSchemaRow(string("kept"), 2, string("b"), kTypeString, 0, true, string());
  schema->AddSchemaRow(string("fresh"), 1, string("x"), kTypeInteger, 0, true, string());
  db->tables.push_back(schema->LoadTable(string("fresh")).release());
  EXPECT_TRUE(db->TransactionInProgress());
  db->Rollback(&status);
  EXPECT_FALSE(db->TransactionInProgress());
  ASSERT_EQ(db->tables.size(), 2u);
  EXPECT_EQ(db->tables[0], schema);
  EXPECT_EQ(db->tables[1]->name.view(), "kept");
  EXPECT_EQ(db->tables[1]->QtyColumns(), 2);
  EXPECT_EQ(db->FindTable(string("FRESH")), nullptr);
}

TEST(OpenDatabaseTest, CreatesConnectsAndRefusesWhatIsNotADatabase) {
  TempFolder folder;
  const std::string path = folder.File("db.pvx");
  ParvexStatus status;

  // A missing file: refused when connecting, created when asked to.
  EXPECT_EQ(Open(path, false, &status), nullptr);
  EXPECT_TRUE(IsErrorState(status.State()));
  EXPECT_FALSE(status.Description().empty());
  EXPECT_FALSE(std::filesystem::exists(path));
  {
    auto db = Open(path, true, &status);
    ASSERT_NE(db, nullptr) << status.Description().view();
    EXPECT_EQ(status.State(), kPXStateSuccess);
    ASSERT_EQ(db->tables.size(), 1u);
    EXPECT_EQ(db->tables[0]->name.view(), "_schema");
  }
  EXPECT_NE(Open(path, false, &status), nullptr) << status.Description().view();
  EXPECT_NE(Open(path, true, &status), nullptr) << status.Description().view();

  // An empty file becomes a database only when creating.
  const std::string empty = folder.File("empty.pvx");
  WriteHostFile(empty, "");
  EXPECT_EQ(Open(empty, false, &status), nullptr);
  EXPECT_TRUE(IsErrorState(status.State()));
  EXPECT_NE(Open(empty, true, &status), nullptr) << status.Description().view();
  EXPECT_NE(Open(empty, false, &status), nullptr) << status.Description().view();

  // A file that is not a volume is refused both ways and never modified.
  const std::string text = folder.File("notes.txt");
  std::string bytes = "These are somebody's notes, not a database.\n";
  for (int i = 0; i < 200; ++i) bytes += "line " + std::to_string(i) + "\n";
  WriteHostFile(text, bytes);
  EXPECT_EQ(Open(text, false, &status), nullptr);
  EXPECT_TRUE(IsErrorState(status.State()));
  EXPECT_EQ(Open(text, true, &status), nullptr);
  EXPECT_TRUE(IsErrorState(status.State()));
  EXPECT_EQ(ReadHostFile(text), bytes);

  // A folder can't be opened as a database.
  EXPECT_EQ(Open(folder.File(""), true, &status), nullptr);
  EXPECT_TRUE(IsErrorState(status.State()));

  // A volume without a schema is not a database.
  const std::string bare = folder.File("bare.pvx");
  {
    ParvexFileAccess access;
    ASSERT_TRUE(access.CreateOrOpenDataFolder(string(bare), true, &status));
  }
  EXPECT_EQ(Open(bare, false, &status), nullptr);
  EXPECT_TRUE(IsErrorState(status.State()));
  EXPECT_NE(status.Description().view().find("not a database"), std::string_view::npos);

  // Without a status pointer the answers are the same, silently.
  EXPECT_EQ(ParvexOpenDatabase(string(text), true, nullptr), nullptr);
  std::unique_ptr<ParvexDatabase> quiet(ParvexOpenDatabase(string(path), false, nullptr));
  EXPECT_NE(quiet, nullptr);
}

}  // namespace
}  // namespace parvex
