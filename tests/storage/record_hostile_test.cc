// Damaged and hostile record files and maps: every case fails cleanly with
// its error number, reads nothing outside the file, and loses nothing that
// is still readable.
#include <gtest/gtest.h>

#include "storage/record_storage.h"
#include "storage_test_util.h"

namespace parvex {
namespace {

using testing::Hex;
using testing::MemFile;
using testing::Open;

std::shared_ptr<MemFile> FileOf(const std::string& hex) {
  auto file = std::make_shared<MemFile>();
  file->SetContents(Hex(hex));
  return file;
}

// Opens a data file with no map; the constructor's scan meets the damage.
std::unique_ptr<ParvexStorage> OpenData(const std::string& hex) {
  return std::make_unique<ParvexStorage>(Open(FileOf(hex)), nullptr);
}

TEST(RecordHostileTest, BadHeadersStopTheWalkWithTheirErrorNumbers) {
  struct Case {
    const char* what;
    std::string hex;
    int error;
  };
  const Case cases[] = {
      {"body length 0", "Z256 52635374 00000001 00000000", kStorageErrorBadHeader},
      {"unknown tag", "Z256 41424344 00000001 00000001 00", kStorageErrorBadHeader},
      {"truncated header", "Z256 52635374 0000", kStorageErrorReadFailed},
      {"body past the end", "Z256 52635374 00000001 00000002 00", kStorageErrorPastEnd},
      {"body length near 4 GB", "Z256 52635374 00000001 FFFFFFF8 00", kStorageErrorPastEnd},
      {"deleted then bad", "Z256 54727368 00000001 00000001 00 52635374 00000002 00000000",
       kStorageErrorBadHeader},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    auto storage = OpenData(c.hex);
    EXPECT_EQ(storage->LastError(), c.error);
    EXPECT_EQ(storage->QtyRows(), 0);
    EXPECT_FALSE(storage->GoToFirstRecord());
    EXPECT_FALSE(storage->HasCurrentRecord());
    EXPECT_FALSE(storage->NextRecord());
  }
}

TEST(RecordHostileTest, RowsBeforeTheDamageStayReadable) {
  auto storage = OpenData("Z256 52635374 00000001 00000007 01 01 03 0000002A  FFFFFFFF 00000002 00000001 00");
  EXPECT_EQ(storage->LastError(), kStorageErrorBadHeader);
  ASSERT_EQ(storage->QtyRows(), 1);
  OwnedValueList values;
  ASSERT_TRUE(storage->ReadRowValues(1, values.list));
  EXPECT_EQ(values.list[0]->GetInteger(), 42);
  ASSERT_TRUE(storage->GoToFirstRecord());
  EXPECT_FALSE(storage->NextRecord());
}

TEST(RecordHostileTest, DamagedBodiesFailWithoutLeavingValues) {
  struct Case {
    const char* what;
    std::string body;  // length in bytes follows from the hex
  };
  const Case cases[] = {
      {"count larger than the body", "05 00"},
      {"count far beyond the file", "FF FF FF FF FF FF FF 00"},
      {"column ID running off the body", "01 FF FF FF"},
      {"no type byte", "01 01"},
      {"type None", "01 01 00 00000000"},
      {"unknown type byte", "01 01 04 00000000"},
      {"integer cut short", "01 01 03 0000"},
      {"double cut short", "01 01 07 3FF00000"},
      {"string room past the body", "01 01 05 00000010 00000002 00000600 6162"},
      {"string longer than its room", "01 01 05 00000001 00000002 00000600 6162"},
      {"date room near 4 GB", "01 01 08 FFFFFFFF 00000001 41"},
      {"binary without its counts", "01 01 0E 000000"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const auto body = Hex(c.body);
    char length[9];
    std::snprintf(length, sizeof length, "%08zX", body.size());
    auto storage = OpenData("Z256 52635374 00000009 " + std::string(length) + c.body);
    ASSERT_TRUE(storage->GoToFirstRecord());  // the header is fine
    EXPECT_EQ(storage->CurrentRowID(), 9u);
    OwnedValueList values;
    values.list.push_back(new ParvexValueWithID(ParvexValue::Integer(1), 1));
    EXPECT_FALSE(storage->ReadRecordValues(values.list));
    EXPECT_TRUE(values.list.empty());
    EXPECT_EQ(storage->LastError(), kStorageErrorBadBody);
    // Nothing is written over a record that cannot be read.
    EXPECT_FALSE(storage->UpdateRecord(testing::List().Int(1, 1)));
  }
}

TEST(RecordHostileTest, LongRunsOfDeletedRecordsEndAtTheEndOfTheFile) {
  std::string hex = "Z256 ";
  for (int i = 0; i < 2000; ++i) hex += "54727368 00000001 00000001 00";
  auto storage = OpenData(hex);
  EXPECT_EQ(storage->LastError(), kStorageErrorNone);
  EXPECT_EQ(storage->QtyRows(), 0);
  EXPECT_FALSE(storage->GoToFirstRecord());
}

// Rows 1 (at 0x100) and 2 (at 0x113), one integer each.
const char* kTwoRecords =
    "Z256 52635374 00000001 00000007 01 01 03 0000000A"
    "52635374 00000002 00000007 01 01 03 00000014";

TEST(RecordHostileTest, MapsThatDoNotParseAreRebuiltFromTheData) {
  struct Case {
    const char* what;
    std::string map;
  };
  const Case cases[] = {
      {"count larger than the file", "524D6170 7FFFFFFF 4D456E64"},
      {"count of 4 G", "524D6170 FFFFFFFF 00000001 00000100 4D456E64"},
      {"no end mark", "524D6170 00000001 00000001 00000100 00000000"},
      {"cut short", "524D6170 00000002 00000001 00000100"},
      {"unknown state word", "52415453 00000000 4D456E64"},
      {"two bytes", "524D"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    auto map = FileOf(c.map);
    {
      ParvexStorage storage(Open(FileOf(kTwoRecords)), Open(map));
      EXPECT_EQ(storage.LastError(), kStorageErrorBadMap);
      EXPECT_FALSE(storage.HasFault());
      EXPECT_EQ(storage.QtyRows(), 2);
      EXPECT_TRUE(storage.IsRowPosMapChanged());
      EXPECT_TRUE(storage.GoToRowID(2, true));
      EXPECT_EQ(storage.CurrentPosition(), 0x113u);
    }
    const auto saved = map->Contents();
    ASSERT_GE(saved.size(), 28u);
    EXPECT_EQ(std::vector<uint8_t>(saved.begin(), saved.begin() + 28),
              Hex("524D6170 00000002 00000001 00000100 00000002 00000113 4D456E64"));
  }
}

// A complete map that leads somewhere wrong is evidence that the data file
// lost or changed records: a fault, and neither file is touched.
TEST(RecordHostileTest, MapsLeadingOutsideOrToTheWrongRecordAreFaults) {
  struct Case {
    const char* what;
    std::string map;
    int error;
    bool atLoad;  // found when loading, else when the map is proven
    std::string data = kTwoRecords;
  };
  const Case cases[] = {
      {"position past the data file", "524D6170 00000001 00000001 00010000 4D456E64", kStorageErrorBadMap, true},
      {"position inside the metadata area", "524D6170 00000001 00000001 00000010 4D456E64", kStorageErrorBadMap,
       true},
      {"header would pass the end", "524D6170 00000001 00000002 00000120 4D456E64", kStorageErrorBadMap, true},
      {"positions swapped", "524D6170 00000002 00000001 00000113 00000002 00000100 4D456E64",
       kStorageErrorMapMismatch, false},
      {"inside a record", "524D6170 00000002 00000001 00000101 00000002 00000113 4D456E64",
       kStorageErrorBadHeader, false},
      {"at the deleted copy of a moved row",
       "524D6170 00000001 00000001 00000100 4D456E64", kStorageErrorMapMismatch, false, "Z256 "
       "54727368 00000001 00000007 01 01 03 0000000A 52635374 00000001 00000007 01 01 03 00000014"},
      {"a row twice (another row is missing)",
       "524D6170 00000003 00000002 00000100 00000001 00000100 00000002 00000113 4D456E64",
       kStorageErrorMapRepeats, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    auto data = FileOf(c.data);
    auto map = FileOf(c.map);
    const auto dataBefore = data->Contents();
    const auto mapBefore = map->Contents();
    {
      ParvexStorage storage(Open(data), Open(map));
      EXPECT_EQ(storage.HasFault(), c.atLoad);
      EXPECT_FALSE(storage.ProveRowPosMap());
      ASSERT_TRUE(storage.HasFault());
      EXPECT_EQ(storage.Fault().error, c.error);
      OwnedValueList values;
      EXPECT_FALSE(storage.ReadRowValues(2, values.list) && storage.ReadRowValues(1, values.list));
    }
    EXPECT_EQ(data->Contents(), dataBefore);
    EXPECT_EQ(map->Contents(), mapBefore);
  }
}

TEST(RecordHostileTest, MapEntryAtADeletedRecordOfItsRowMeansTheRowIsDeleted) {
  // Row 1's record is "Trsh" but the map still lists it, as other programs
  // of this format leave it.
  ParvexStorage storage(Open(FileOf("Z256 54727368 00000001 00000007 01 01 03 0000000A"
                                    "52635374 00000002 00000007 01 01 03 00000014")),
                        Open(FileOf("524D6170 00000002 00000001 00000100 00000002 00000113 4D456E64")));
  EXPECT_EQ(storage.QtyRows(), 2);
  ASSERT_TRUE(storage.ProveRowPosMap());
  EXPECT_FALSE(storage.HasFault());
  EXPECT_EQ(storage.QtyRows(), 1);
  EXPECT_FALSE(storage.ContainsRow(1));
  OwnedValueList values;
  ASSERT_TRUE(storage.ReadRowValues(2, values.list));
  EXPECT_EQ(values.list[0]->GetInteger(), 20);
}

TEST(RecordHostileTest, FaultsSayWhereAndTellReadErrorsFromDamage) {
  struct Case {
    const char* what;
    int32_t failReadsFrom;
    std::string data;
    const char* text;
    bool ioError;
  };
  const Case cases[] = {
      {"bad tag", -1, "Z256 41424344 00000001 00000001 00",
       "the record header at offset 256 of T.dat is not valid", false},
      {"past the end", -1, "Z256 52635374 00000001 00000002 00",
       "the record at offset 256 of T.dat runs past the end of the file", false},
      {"cut inside a header", -1, "Z256 52635374 0000", "T.dat ends inside a record, at offset 256", false},
      {"body", -1, "Z256 52635374 00000005 00000002 05 00",
       "the record of row 5 at offset 256 of T.dat can't be decoded", false},
      {"read refused", 0x113 + 4, kTwoRecords, "T.dat can't be read at offset 275: Input/output error", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    auto data = FileOf(c.data);
    data->failReadsFrom = c.failReadsFrom;
    ParvexStorage storage(Open(data), nullptr);
    OwnedValueList values;
    for (bool more = storage.GoToFirstRecord(); more; more = storage.NextRecord()) storage.ReadRecordValues(values.list);
    ASSERT_TRUE(storage.HasFault());
    EXPECT_EQ(DescribeStorageFault(storage.Fault(), string("T.dat"), string("T.map")).view(), c.text);
    EXPECT_EQ(storage.Fault().IsIOError(), c.ioError);
  }
}

}  // namespace
}  // namespace parvex
