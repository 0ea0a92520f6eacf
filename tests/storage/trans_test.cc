// ParvexTrans where SQL can't look: NULL left out of stored records, the
// counters' bytes and damaged counters. Pending changes, commit, rollback,
// deletions and the files a table keeps are covered by
// tests/sql/scripts/transactions.sql; indexes following every change by
// indexes.sql and the differential test (index lookups against scans).
#include "storage/trans.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "harness/engine.h"
#include "storage/file_access.h"
#include "storage/record_storage.h"

namespace parvex {
namespace {

class TransTest : public ::testing::Test {
 protected:
  void SetUp() override { OpenVolume(); }

  void OpenVolume() {
    access = std::make_unique<ParvexFileAccess>();
    ParvexStatus status;
    ASSERT_TRUE(access->CreateOrOpenDataFolder(string(folder.File("trans.pvx")), true, &status))
        << status.Description().view();
  }

  // Commits the table, then the database file it lives in.
  bool Commit() {
    HostFileFailure failure;
    return table->Commit() && access->Commit(&failure);
  }

  std::unique_ptr<ParvexTrans> OpenTable() {
    auto t = std::make_unique<ParvexTrans>(access.get(), string("T"));
    t->AddColumn(ParvexColumnInfo(string("a"), kTypeInteger, 0, 1));
    t->AddColumn(ParvexColumnInfo(string("b"), kTypeString, 0, 2));
    return t;
  }

  static ParvexValueList Values(std::optional<int> a, std::optional<std::string> b) {
    ParvexValueList values;
    values.push_back(new ParvexValueWithID(a ? ParvexValue::Integer(*a) : ParvexValue(), 1));
    values.push_back(new ParvexValueWithID(b ? ParvexValue::String(string(*b)) : ParvexValue(), 2));
    return values;
  }

  RowID Add(std::optional<int> a, std::optional<std::string> b) {
    ParvexValueList values = Values(a, b);
    return table->AddRow(values, true);
  }

  RowID AddWithID(int id, int a) {
    ParvexValueList values = Values(a, std::nullopt);
    values.push_back(new ParvexValueWithID(ParvexValue::Integer(id), kRowIDColumnID));
    return table->AddRow(values, true);
  }

  void Update(RowID row, std::optional<int> a, std::optional<std::string> b) {
    ParvexValueList values = Values(a, b);
    table->UpdateRow(row, values, true);
  }

  std::vector<RowID> IDs() const {
    SimpleVector<RowID> ids;
    table->GetRowIDs(&ids);
    return std::vector<RowID>(ids.begin(), ids.end());
  }

  // "rowid|a|b" as the table reads it.
  std::string Row(RowID row) const {
    std::string out;
    for (long c = 0; c < table->QtyColumns(); ++c) {
      ParvexValue v;
      if (c) out += "|";
      out += table->GetValue(row, c, &v) ? std::string(v.GetString().view()) : "(none)";
    }
    return out;
  }

  // The values of a row's stored record, read by a storage of its own.
  std::vector<long> StoredColumnIDs(RowID row) {
    auto data = access->OpenFile(string("T.dat"), false, true);
    auto map = access->OpenFile(string("T.map"), false, true);
    ParvexStorage storage(std::move(data), std::move(map));
    ParvexValueList values;
    std::vector<long> ids;
    if (storage.ReadRowValues(row, values)) {
      for (const ParvexValueWithID* v : values) ids.push_back(v->id);
    }
    DeleteAll(values);
    return ids;
  }

  TempFolder folder;
  std::unique_ptr<ParvexFileAccess> access;
  std::unique_ptr<ParvexTrans> table;
};

TEST_F(TransTest, AbsentColumnsReadAsTypedNullAndNullIsNeverStored) {
  table = OpenTable();
  const RowID row = Add(std::nullopt, "text");
  ParvexValue a;
  ASSERT_TRUE(table->GetValue(row, 1, &a));
  EXPECT_TRUE(a.IsNull());
  EXPECT_EQ(a.Type(), kTypeInteger);
  ParvexValue id;
  ASSERT_TRUE(table->GetValue(row, 0, &id));
  EXPECT_EQ(id.Type(), kTypeInteger);
  EXPECT_EQ(id.GetInteger(), static_cast<int32_t>(row));
  ASSERT_TRUE(Commit());
  EXPECT_EQ((std::vector<long>{2}), StoredColumnIDs(row));

  // An update to NULL removes the column from the record.
  Update(row, 5, std::nullopt);
  ASSERT_TRUE(Commit());
  EXPECT_EQ((std::vector<long>{1}), StoredColumnIDs(row));
  EXPECT_EQ(Row(row), "1|5|NULL");
  ParvexValue b;
  ASSERT_TRUE(table->GetValue(row, 2, &b));
  EXPECT_EQ(b.Type(), kTypeString);
}

TEST_F(TransTest, CountersAreStoredLittleEndianAtTheStartOfTheMetadata) {
  table = OpenTable();
  AddWithID(0x0102, 1);
  table->AddColumn(ParvexColumnInfo(string("c"), kTypeInteger, 0, 0x0305));
  ASSERT_TRUE(Commit());
  table.reset();
  auto data = access->OpenFile(string("T.dat"), false, true);
  ASSERT_NE(data, nullptr);
  uint8_t bytes[12] = {};
  int32_t got = 0;
  ASSERT_TRUE(data->SeekFromStart(0));
  ASSERT_TRUE(data->ReadData(bytes, sizeof bytes, &got));
  const uint8_t expected[12] = {0x02, 0x01, 0x00, 0x00, 0x05, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
  EXPECT_EQ(0, memcmp(bytes, expected, sizeof expected));
}

TEST_F(TransTest, RowIDsNeverCollideOrWrapAround) {
  table = OpenTable();
  for (int i = 1; i <= 3; ++i) Add(i, "x");
  ASSERT_TRUE(Commit());
  table.reset();
  {
    // A damaged counter that lags behind the rows.
    auto data = access->OpenFile(string("T.dat"), false, false);
    auto map = access->OpenFile(string("T.map"), false, false);
    ParvexStorage storage(std::move(data), std::move(map));
    const char counters[8] = {1, 0, 0, 0, 2, 0, 0, 0};
    ASSERT_TRUE(storage.WriteMetadata(string(counters, sizeof counters, kEncodingDefault)));
  }
  // A counter that does not cover the rows would hand out an ID twice: the
  // table is damaged and takes nothing.
  table = OpenTable();
  EXPECT_TRUE(table->IsDamaged());
  EXPECT_EQ(table->DamageStatus().State(), kPXDataCorrupted);
  EXPECT_EQ(table->DamageStatus().Description().view(),
            "Error: Table T is damaged: its row-ID counter (1) is below its largest row ID (3).");
  EXPECT_EQ(Add(4, "y"), kInvalidRowID);
  EXPECT_TRUE(IDs().empty());
  EXPECT_TRUE(table->TakeDamageNotice());

  // The last ID below the invalid one can be taken; after it none is left.
  table.reset();
  access->DeleteFile(string("T.dat"));
  access->DeleteFile(string("T.map"));
  table = OpenTable();
  EXPECT_EQ(AddWithID(-2, 5), 0xFFFFFFFEu);
  EXPECT_EQ(Add(6, "z"), kInvalidRowID);
  EXPECT_EQ(AddWithID(-1, 7), kInvalidRowID);
  EXPECT_EQ(IDs().size(), 1u);
}

}  // namespace
}  // namespace parvex
