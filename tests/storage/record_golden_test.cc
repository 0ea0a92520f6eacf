// Record files and row-position maps byte for byte. Every expected byte
// string below is written by hand from the file layouts: a 256-byte metadata
// area, records "RcSt"/"Trsh" + row ID + body length + body, counted
// integers, and maps "RMap"/"Drty" + count + pairs + "MEnd", all big-endian.
#include <gtest/gtest.h>

#include "storage/record_storage.h"
#include "storage_test_util.h"

namespace parvex {
namespace {

using testing::AsciiHex;
using testing::Hex;
using testing::List;
using testing::MemFile;
using testing::Open;

// The row the map lists first.
RowID FirstRow(const ParvexStorage& storage) {
  SimpleVector<RowID> ids;
  storage.GetRowIDs(&ids);
  return ids.empty() ? kInvalidRowID : ids[0];
}

std::string AllTypesRecord() {
  return "52635374 00000007 00000073"                          // "RcSt", row 7, body 115
         "08 01 03 02 05 03 0C 04 07 05 08 06 09 07 0A 08 0E"  // N = 8, column ID + type each
         "0001E240"                                            // Integer 123456
         "00000002 00000002 08000100 4869"                     // String: room, length, encoding, "Hi"
         "01"                                                  // Boolean true
         "3FF8000000000000"                                    // Double 1.5
         "0000000A 0000000A" + AsciiHex("2001-02-03") +        // Date
         "00000008 00000008" + AsciiHex("10:11:12") +          // Time
         "00000013 00000013" + AsciiHex("2001-02-03 10:11:12") +  // Timestamp
         "00000002 00000002 00FF";                                 // Binary
}

TEST(RecordGoldenTest, RecordWithEveryValueTypeIsWrittenAsLaidOut) {
  auto data = std::make_shared<MemFile>();
  auto map = std::make_shared<MemFile>();
  {
    ParvexStorage storage(Open(data), Open(map));
    EXPECT_EQ(data->Contents(), Hex("Z256 "));
    List values;
    values.Int(1, 123456)
        .Str(2, string("Hi", kEncodingUTF8))
        .Bool(3, true)
        .Dbl(4, 1.5)
        .Add(5, ParvexValue::Text(kTypeDate, "2001-02-03"))
        .Add(6, ParvexValue::Text(kTypeTime, "10:11:12"))
        .Add(7, ParvexValue::Text(kTypeTimestamp, "2001-02-03 10:11:12"))
        .Add(8, ParvexValue::Text(kTypeBinary, string(std::string_view("\x00\xFF", 2))));
    EXPECT_EQ(storage.CalcSchemaAndDataSize(values), 0x73u);
    ASSERT_TRUE(storage.AddNewRecord(7, values));
    EXPECT_EQ(map->Contents(), Hex("44727479"));  // "Drty" from the first change until the save
  }
  EXPECT_EQ(data->Contents(), Hex("Z256 " + AllTypesRecord()));
  EXPECT_EQ(map->Contents(), Hex("524D6170 00000001 00000007 00000100 4D456E64"));
}

TEST(RecordGoldenTest, HandWrittenRecordReadsBackWithEveryType) {
  auto data = std::make_shared<MemFile>();
  data->SetContents(Hex("Z256 " + AllTypesRecord()));
  ParvexStorage storage(Open(data), nullptr);
  ASSERT_TRUE(storage.GoToFirstRecord());
  EXPECT_EQ(storage.CurrentRowID(), 7u);
  OwnedValueList values;
  ASSERT_TRUE(storage.ReadRecordValues(values.list));
  ASSERT_EQ(values.list.size(), 8u);
  const ParvexDataType types[] = {kTypeInteger, kTypeString,    kTypeBoolean,   kTypeDouble,
                                  kTypeDate,    kTypeTime,      kTypeTimestamp, kTypeBinary};
  for (size_t i = 0; i < 8; ++i) {
    EXPECT_EQ(values.list[i]->id, static_cast<long>(i + 1));
    EXPECT_EQ(values.list[i]->Type(), types[i]);
    EXPECT_FALSE(values.list[i]->IsNull());
  }
  EXPECT_EQ(values.list[0]->GetInteger(), 123456);
  EXPECT_EQ(values.list[1]->RawText().view(), "Hi");
  EXPECT_EQ(values.list[1]->RawText().Encoding(), kEncodingUTF8);
  EXPECT_EQ(values.list[2]->GetInteger(), 1);
  EXPECT_EQ(values.list[3]->GetDouble(), 1.5);
  EXPECT_EQ(values.list[4]->GetString().view(), "DATE 2001-02-03");
  EXPECT_EQ(values.list[5]->RawText().view(), "10:11:12");
  EXPECT_EQ(values.list[6]->RawText().view(), "2001-02-03 10:11:12");
  EXPECT_EQ(values.list[7]->RawText().view(), std::string_view("\x00\xFF", 2));
  EXPECT_FALSE(storage.NextRecord());
}

TEST(RecordGoldenTest, CountedIntegersUseRunsOfFF) {
  auto data = std::make_shared<MemFile>();
  {
    ParvexStorage storage(Open(data), nullptr);
    List values;
    values.Bool(254, true).Bool(255, false).Bool(300, true).Bool(508, false).Bool(509, true);
    ASSERT_TRUE(storage.AddNewRecord(1, values));
  }
  EXPECT_EQ(data->Contents(), Hex("Z256 52635374 00000001 00000015"
                                  "05"           // N
                                  "FE 0C"        // 254
                                  "FF 01 0C"     // 255
                                  "FF 2E 0C"     // 300
                                  "FF FE 0C"     // 508
                                  "FF FF 01 0C"  // 509
                                  "01 00 01 00 01"));

  // 300 values: N takes FF 2E; IDs 1..254 one byte each, 255..300 two bytes.
  ParvexStorage storage(Open(std::make_shared<MemFile>()), nullptr);
  List many;
  for (long id = 1; id <= 300; ++id) many.Bool(id, false);
  EXPECT_EQ(storage.CalcSchemaAndDataSize(many), 2u + 254u + 46u * 2u + 300u + 300u);
  ASSERT_TRUE(storage.AddNewRecord(1, many));
  OwnedValueList back;
  ASSERT_TRUE(storage.GoToRowID(1, false));
  ASSERT_TRUE(storage.ReadRecordValues(back.list));
  ASSERT_EQ(back.list.size(), 300u);
  EXPECT_EQ(back.list[299]->id, 300);
}

// Two one-integer records: each is 12 + (N, ID, type, i32) = 19 bytes, so
// row 1 sits at 0x100 and row 2 at 0x113.
std::string TwoRecords() {
  return "Z256 52635374 00000001 00000007 01 01 03 0000000A"
         "52635374 00000002 00000007 01 01 03 00000014";
}

TEST(RecordGoldenTest, MapFileListsPairsInRowOrder) {
  auto data = std::make_shared<MemFile>();
  auto map = std::make_shared<MemFile>();
  {
    ParvexStorage storage(Open(data), Open(map));
    ASSERT_TRUE(storage.AddNewRecord(1, List().Int(1, 10)));
    ASSERT_TRUE(storage.AddNewRecord(2, List().Int(1, 20)));
  }
  EXPECT_EQ(data->Contents(), Hex(TwoRecords()));
  EXPECT_EQ(map->Contents(), Hex("524D6170 00000002 00000001 00000100 00000002 00000113 4D456E64"));
}

TEST(RecordGoldenTest, ReadyMapIsLoadedAsWritten) {
  // The map lists row 2 first: a loaded map keeps that order, a scan could not.
  const auto mapBytes = Hex("524D6170 00000002 00000002 00000113 00000001 00000100 4D456E64 DEADBEEF");
  auto data = std::make_shared<MemFile>();
  auto map = std::make_shared<MemFile>();
  data->SetContents(Hex(TwoRecords()));
  map->SetContents(mapBytes);
  {
    ParvexStorage storage(Open(data), Open(map));
    EXPECT_FALSE(storage.IsRowPosMapChanged());
    ASSERT_EQ(storage.QtyRows(), 2);
    EXPECT_EQ(FirstRow(storage), 2u);
    EXPECT_EQ(storage.RowPosition(2), 0x113u);
  }
  EXPECT_EQ(map->Contents(), mapBytes);  // unchanged maps are not rewritten
}

TEST(RecordGoldenTest, DirtyMapIsRebuiltAndSavedOverTheOldOneWithoutTruncation) {
  auto data = std::make_shared<MemFile>();
  auto map = std::make_shared<MemFile>();
  data->SetContents(Hex(TwoRecords()));
  // A crash left "Drty" and three stale pairs.
  map->SetContents(Hex("44727479 00000003 00000002 00000113 00000001 00000100 00000009 00000100 4D456E64"));
  {
    ParvexStorage storage(Open(data), Open(map));
    ASSERT_EQ(storage.QtyRows(), 2);
    EXPECT_EQ(FirstRow(storage), 1u);  // file order
    EXPECT_FALSE(storage.ContainsRow(9));
    EXPECT_EQ(storage.LastError(), kStorageErrorNone);  // a dirty map is no error
  }
  EXPECT_EQ(map->Contents(), Hex("524D6170 00000002 00000001 00000100 00000002 00000113 4D456E64"
                                 "00000100 4D456E64"));  // the old tail stays
}

TEST(RecordGoldenTest, MoveCutShortByACrashIsFinishedWhenTheMapIsRebuilt) {
  // Row 1 was appended again (value 11) but its old copy (value 10) was
  // never marked, and the map still says "Drty".
  auto data = std::make_shared<MemFile>();
  auto map = std::make_shared<MemFile>();
  data->SetContents(Hex("Z256 52635374 00000001 00000007 01 01 03 0000000A"
                        "52635374 00000002 00000007 01 01 03 00000014"
                        "52635374 00000001 00000007 01 01 03 0000000B"));
  map->SetContents(Hex("44727479"));
  {
    ParvexStorage storage(Open(data), Open(map));
    ASSERT_EQ(storage.QtyRows(), 2);
    EXPECT_EQ(FirstRow(storage), 1u);  // the row keeps its first place
    OwnedValueList values;
    ASSERT_TRUE(storage.ReadRowValues(1, values.list));
    EXPECT_EQ(values.list[0]->GetInteger(), 11);
  }
  EXPECT_EQ(data->Contents(), Hex("Z256 54727368 00000001 00000007 01 01 03 0000000A"
                                  "52635374 00000002 00000007 01 01 03 00000014"
                                  "52635374 00000001 00000007 01 01 03 0000000B"));
  EXPECT_EQ(map->Contents(), Hex("524D6170 00000002 00000001 00000126 00000002 00000113 4D456E64"));
}

TEST(RecordGoldenTest, UpdatesInPlaceKeepRoomAndMovesRetireTheOldRecord) {
  auto data = std::make_shared<MemFile>();
  auto map = std::make_shared<MemFile>();
  {
    ParvexStorage storage(Open(data), Open(map));
    ASSERT_TRUE(storage.AddNewRecord(1, List().Str(1, "abcd")));
    ASSERT_TRUE(storage.AddNewRecord(2, List().Int(1, 5)));
    ASSERT_TRUE(storage.GoToRowID(1, true));
    ASSERT_TRUE(storage.UpdateRecord(List().Str(1, "xy")));  // shorter: in place
    ASSERT_TRUE(storage.GoToRowID(2, true));
    ASSERT_TRUE(storage.UpdateRecord(List().Int(2, 6)));  // a new column: moves
  }
  // Row 1: body 1 + 2 + 12 + 4 = 19; rewritten with "xy" it keeps its length
  // and the last two bytes of "abcd". Row 2 (at 0x11F) is retired and
  // appended at 0x132 with both columns.
  EXPECT_EQ(data->Contents(),
            Hex("Z256 52635374 00000001 00000013 01 01 05 00000002 00000002 00000600 7879 6364"
                "54727368 00000002 00000007 01 01 03 00000005"
                "52635374 00000002 0000000D 02 01 03 02 03 00000005 00000006"));
  EXPECT_EQ(map->Contents(), Hex("524D6170 00000002 00000001 00000100 00000002 00000132 4D456E64"));
}

TEST(RecordGoldenTest, MetadataAreaHoldsTextZeroPadded) {
  auto data = std::make_shared<MemFile>();
  ParvexStorage storage(Open(data), nullptr);
  ASSERT_TRUE(storage.WriteMetadata("Here's some metadata"));
  ASSERT_TRUE(storage.WriteMetadata("Second"));
  string text;
  ASSERT_TRUE(storage.ReadMetadata(&text));
  EXPECT_EQ(text.length(), 256u);
  EXPECT_EQ(text.view().substr(0, 7), std::string_view("Second\0", 7));
  // Only the text and the zero padding are stored: the old text is gone.
  EXPECT_EQ(data->Contents(), Hex(AsciiHex("Second") + "Z250 "));
}

}  // namespace
}  // namespace parvex
