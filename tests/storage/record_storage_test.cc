// ParvexStorage where neither SQL nor the golden images reach: deleted rows
// that stay gone also from a rebuilt map, writes that don't fit their room,
// failing writes, and a storage without a map file. Moves are in the golden
// tests and transactions.sql.
#include <gtest/gtest.h>

#include "storage/record_storage.h"
#include "storage_test_util.h"

namespace parvex {
namespace {

using testing::List;
using testing::MemFile;
using testing::Open;

struct Files {
  std::shared_ptr<MemFile> data = std::make_shared<MemFile>();
  std::shared_ptr<MemFile> map = std::make_shared<MemFile>();
  std::unique_ptr<ParvexStorage> Storage() { return std::make_unique<ParvexStorage>(Open(data), Open(map)); }
};

std::vector<RowID> RowIDs(const ParvexStorage& storage) {
  SimpleVector<RowID> ids;
  storage.GetRowIDs(&ids);
  return std::vector<RowID>(ids.begin(), ids.end());
}

// Row IDs met by walking the live records in file order.
std::vector<RowID> Walk(ParvexStorage& storage) {
  std::vector<RowID> ids;
  for (bool more = storage.GoToFirstRecord(); more; more = storage.NextRecord()) ids.push_back(storage.CurrentRowID());
  return ids;
}

TEST(RecordStorageTest, DeletedRowsNeverComeBack) {
  Files files;
  auto storage = files.Storage();
  for (RowID id = 1; id <= 4; ++id) ASSERT_TRUE(storage->AddNewRecord(id, List().Int(1, static_cast<int32_t>(id))));
  // DeleteRecord marks the record; the map entry stays until RemoveRow.
  ASSERT_TRUE(storage->GoToRowID(2, true));
  ASSERT_TRUE(storage->DeleteRecord());
  EXPECT_TRUE(storage->ContainsRow(2));
  EXPECT_TRUE(storage->GoToRowID(2, false));
  EXPECT_TRUE(storage->IsCurrentDeleted());
  // Skipping deleted records moves on to the next live one.
  ASSERT_TRUE(storage->GoToRowID(2, true));
  EXPECT_EQ(storage->CurrentRowID(), 3u);
  ASSERT_TRUE(storage->RemoveRow(2));
  // RemoveRow alone also retires a live record.
  ASSERT_TRUE(storage->RemoveRow(4));
  EXPECT_FALSE(storage->RemoveRow(4));
  EXPECT_EQ(RowIDs(*storage), (std::vector<RowID>{1, 3}));
  EXPECT_FALSE(storage->GoToRowID(4, false));
  EXPECT_EQ(Walk(*storage), (std::vector<RowID>{1, 3}));
  EXPECT_FALSE(storage->GoToRowID(2, true));

  // Neither the saved map nor a rebuilt one lists them.
  storage.reset();
  storage = files.Storage();
  EXPECT_EQ(RowIDs(*storage), (std::vector<RowID>{1, 3}));
  storage.reset();
  files.map->SetContents({});
  storage = files.Storage();
  EXPECT_EQ(RowIDs(*storage), (std::vector<RowID>{1, 3}));
}

// Records are read through a block of the file kept in memory: reads in
// either direction and after in-place writes, moves and deletions must see
// what the file holds.
TEST(RecordStorageTest, ReadsSeeEveryWriteInBothDirections) {
  Files files;
  auto storage = files.Storage();
  constexpr RowID kRows = 3000;  // several blocks of the read window
  for (RowID id = 1; id <= kRows; ++id) {
    ASSERT_TRUE(storage->AddNewRecord(id, List().Int(1, static_cast<int32_t>(id)).Str(2, "row")));
  }
  const auto expect = [&](RowID id, int32_t n, const char* text) {
    OwnedValueList values;
    ASSERT_TRUE(storage->ReadRowValues(id, values.list)) << id;
    ASSERT_EQ(values.list.size(), 2u);
    EXPECT_EQ(values.list[0]->GetInteger(), n) << id;
    EXPECT_EQ(values.list[1]->GetString().str(), text) << id;
  };
  for (RowID id = kRows; id >= 1; --id) expect(id, static_cast<int32_t>(id), "row");
  // In place (same size), moved (longer) and deleted, between reads.
  for (RowID id = 1; id <= kRows; id += 3) {
    ASSERT_TRUE(storage->GoToRowID(id, false));
    ASSERT_TRUE(storage->UpdateRecord(List().Int(1, -static_cast<int32_t>(id))));
    ASSERT_TRUE(storage->GoToRowID(id + 1, false));
    ASSERT_TRUE(storage->UpdateRecord(List().Str(2, "a longer text")));
    ASSERT_TRUE(storage->RemoveRow(id + 2));
  }
  for (int pass = 0; pass < 2; ++pass) {
    for (RowID k = 1; k <= kRows; ++k) {
      const RowID id = pass == 0 ? k : kRows + 1 - k;
      if (id % 3 == 1) expect(id, -static_cast<int32_t>(id), "row");
      if (id % 3 == 2) expect(id, static_cast<int32_t>(id), "a longer text");
      if (id % 3 == 0) {
        EXPECT_FALSE(storage->ContainsRow(id));
      }
    }
  }
  EXPECT_FALSE(storage->HasFault());
}

TEST(RecordStorageTest, WriteRecordAtRefusesOverflowAndReportsShortWrites) {
  Files files;
  auto storage = files.Storage();
  ASSERT_TRUE(storage->AddNewRecord(1, List().Str(1, "abcdef")));
  ASSERT_TRUE(storage->AddNewRecord(2, List().Int(1, 2)));
  const uint32_t position = storage->RowPosition(1);
  const uint32_t end = storage->RowPosition(2);
  const auto before = files.data->Contents();
  // Too big for the room: nothing is written, the next record is safe.
  EXPECT_FALSE(storage->WriteRecordAt(position, 1, List().Str(1, "abcdefghijkl"), end));
  EXPECT_EQ(files.data->Contents(), before);
  // Exactly filling the room succeeds; a shorter write is reported.
  EXPECT_TRUE(storage->WriteRecordAt(position, 1, List().Str(1, "ghijkl"), end));
  EXPECT_FALSE(storage->WriteRecordAt(position, 1, List().Str(1, "mn"), end));
  OwnedValueList values;
  ASSERT_TRUE(storage->ReadRowValues(1, values.list));  // the room left over is fine to read
  EXPECT_EQ(values.list[0]->RawText().view(), "mn");
  ASSERT_TRUE(storage->ReadRowValues(2, values.list));
  EXPECT_EQ(values.list[0]->GetInteger(), 2);
}

TEST(RecordStorageTest, WriteFailuresAreReportedAndLeaveTheMapConsistent) {
  Files files;
  auto storage = files.Storage();
  ASSERT_TRUE(storage->AddNewRecord(1, List().Int(1, 1)));
  files.data->failWrites = true;
  EXPECT_FALSE(storage->AddNewRecord(2, List().Int(1, 2)));
  EXPECT_EQ(storage->LastError(), kStorageErrorWriteFailed);
  EXPECT_FALSE(storage->ContainsRow(2));
  ASSERT_TRUE(storage->GoToRowID(1, true));
  EXPECT_FALSE(storage->UpdateRecord(List().Str(1, "grows and must move")));
  EXPECT_FALSE(storage->WriteMetadata("x"));
  files.data->failWrites = false;
  OwnedValueList values;
  ASSERT_TRUE(storage->ReadRowValues(1, values.list));
  EXPECT_EQ(values.list[0]->GetInteger(), 1);
  EXPECT_EQ(RowIDs(*storage), (std::vector<RowID>{1}));
}

TEST(RecordStorageTest, StorageWithoutMapFileRebuildsItsMapFromTheData) {
  Files files;
  {
    ParvexStorage storage(Open(files.data), nullptr);
    ASSERT_TRUE(storage.AddNewRecord(kInvalidRowID, List().Int(1, 0)));
    ASSERT_TRUE(storage.AddNewRecord(8, List().Int(1, 8)));
    EXPECT_FALSE(storage.SaveRowPosMap());
    EXPECT_FALSE(storage.LoadRowPosMap());
  }
  ParvexStorage storage(Open(files.data), nullptr);
  EXPECT_EQ(RowIDs(storage), (std::vector<RowID>{kInvalidRowID, 8}));
  EXPECT_TRUE(storage.GoToRowID(kInvalidRowID, true));
}

}  // namespace
}  // namespace parvex
