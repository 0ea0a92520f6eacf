// ParvexIndex: lookups agree with a plain scan of the entries over mixed
// value types, and the index file byte for byte (expected bytes written by
// hand from the record layout). What lookups answer to queries is checked by
// indexes.sql and the differential test (index lookups against scans).
#include "storage/index.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <set>
#include <vector>

#include "storage_test_util.h"

namespace parvex {
namespace {

using testing::AsciiHex;
using testing::Hex;
using testing::MemFile;
using testing::Open;

SimpleVector<uint32_t> Columns(std::initializer_list<uint32_t> ids) {
  SimpleVector<uint32_t> out;
  for (uint32_t id : ids) out.push_back(id);
  return out;
}

// A key of owned values, viewable as a ParvexIndexKey.
struct Key {
  Key(std::initializer_list<ParvexValue> v) : values(v) {
    for (const ParvexValue& value : values) pointers.push_back(&value);
  }
  operator ParvexIndexKey() const { return pointers; }  // NOLINT: test helper
  std::vector<ParvexValue> values;
  std::vector<const ParvexValue*> pointers;
};

ParvexValue I(int32_t v) { return ParvexValue::Integer(v); }
ParvexValue S(const char* v) { return ParvexValue::String(v); }

// Values drawn from a small pool so that equal, case-different and
// cross-type matches are frequent.
ParvexValue RandomValue(std::mt19937& random) {
  static const char* kTexts[] = {"a", "A", "b", "5", "TRUE", "DATE 2001-02-03", "2001-02-03", ""};
  const char* text = kTexts[random() % 8];
  switch (random() % 10) {
    case 0:
      return ParvexValue::Integer(static_cast<int32_t>(random() % 6));
    case 1:
      return ParvexValue::Boolean(random() % 2 == 0);
    case 2:
      return ParvexValue::String(text);
    case 3: {
      const double doubles[] = {0.0, -0.0, 1.0, 5.0, std::nan("")};
      return ParvexValue::Double(doubles[random() % 5]);
    }
    case 4:
      return ParvexValue::Text(kTypeDate, random() % 2 ? "2001-02-03" : "2001-02-04");
    case 5:
      return ParvexValue::Text(kTypeTime, random() % 2 ? "a" : "b");
    case 6:
      return ParvexValue::Text(kTypeBinary, text);
    case 7:
      return ParvexValue::Null(random() % 2 ? kTypeNone : kTypeInteger);
    case 8:
      return ParvexValue::Text(kTypeTimestamp, text);
    default:
      return ParvexValue::Integer(static_cast<int32_t>(random() % 3));
  }
}

// The linear lookup (a scan of the entries in order) is the reference for
// Lookup (its first match) and LookupAll (every match); the type census must
// count what the entries hold.
TEST(IndexTest, LookupAgreesWithAScanForTheFirstMatchingEntry) {
  std::mt19937 random(77);
  ParvexIndex index(Columns({3, 4}));
  std::set<RowID> rows;  // one entry per row, however often it is added
  for (int step = 0; step < 1500; ++step) {
    const RowID row = random() % 200;
    if (random() % 4 == 0) {
      index.Delete(Key{}, row);
      rows.erase(row);
    } else {
      index.Add(Key{RandomValue(random), RandomValue(random)}, row);
      rows.insert(row);
    }
    ASSERT_EQ(index.QtyEntries(), rows.size()) << "step " << step;
    const Key probe{RandomValue(random), RandomValue(random)};
    std::vector<RowID> expected;
    bool allIntegers = true;
    index.ForEachEntry([&](const ParvexIndexEntry& entry) {
      if (entry.Matches(probe)) expected.push_back(entry.rowID);
      allIntegers = allIntegers && (entry.values[0].IsNull() || entry.values[0].Type() == kTypeInteger);
    });
    ASSERT_EQ(index.Lookup(probe), expected.empty() ? kInvalidRowID : expected[0])
        << "step " << step << ": " << probe.values[0].GetString().view() << ", "
        << probe.values[1].GetString().view();
    ASSERT_EQ(index.LookupAll(probe), expected) << "step " << step;
    ASSERT_EQ(index.AllValuesOfType(0, kTypeInteger), allIntegers) << "step " << step;
  }
}

// Two entries over columns 2 (integer) and 5 (string): each record body is
// N, two column entries, an i32 and a string of 2 bytes = 1 + 2 + 2 + 4 + 14.
const char* kTwoEntryFile =
    "Z256 52635374 00000412 00000017 02 02 03 05 05 00000007 00000002 00000002 00000600 6162"
    "52635374 00000415 00000017 02 02 03 05 05 00000009 00000002 00000002 00000600 6364";

TEST(IndexTest, SavedEntriesAreRecordsTaggedWithTheirColumnIDs) {
  ParvexIndex index(Columns({2, 5}));
  index.Add(Key{I(7), S("ab")}, 1042);
  index.Add(Key{I(9), S("cd")}, 1045);
  auto file = std::make_shared<MemFile>();
  ASSERT_TRUE(index.SaveToFile(Open(file)));
  EXPECT_FALSE(index.IsChanged());
  EXPECT_EQ(file->Contents(), Hex(kTwoEntryFile));
}

TEST(IndexTest, EmptyIndexIsSavedAsAPlaceholderAndLoadsItsColumns) {
  ParvexIndex index(Columns({2, 5}));
  auto file = std::make_shared<MemFile>();
  ASSERT_TRUE(index.SaveToFile(Open(file)));
  EXPECT_EQ(file->Contents(), Hex("Z256 52635374 FFFFFFFF 0000000D 02 02 03 05 03 00000000 00000000"));

  ParvexIndex loaded(Columns({}));
  ASSERT_TRUE(loaded.LoadFromFile(Open(file)));
  ASSERT_EQ(loaded.GetColumnIDs().size(), 2u);
  EXPECT_EQ(loaded.GetColumnIDs()[1], 5u);
  EXPECT_EQ(loaded.QtyEntries(), 0u);
  EXPECT_FALSE(loaded.IsChanged());
  EXPECT_EQ(loaded.Lookup(Key{I(0), I(0)}), kInvalidRowID);
}

TEST(IndexTest, HandWrittenIndexFileLoads) {
  auto file = std::make_shared<MemFile>();
  // The two entries, a deleted record, a repeat of row 1042 and the placeholder.
  file->SetContents(Hex(std::string(kTwoEntryFile) +
                        "54727368 00000001 00000007 01 02 03 00000001"
                        "52635374 00000412 00000007 01 02 03 00000063"
                        "52635374 FFFFFFFF 00000007 01 02 03 00000000"));
  ParvexIndex index(Columns({}));
  ASSERT_TRUE(index.LoadFromFile(Open(file)));
  ASSERT_EQ(index.GetColumnIDs().size(), 2u);
  EXPECT_EQ(index.GetColumnIDs()[0], 2u);
  EXPECT_EQ(index.QtyEntries(), 2u);
  EXPECT_EQ(index.Lookup(Key{I(7), S("AB")}), 1042u);
  EXPECT_EQ(index.Lookup(Key{I(9), S("cd")}), 1045u);
  EXPECT_EQ(index.Lookup(Key{I(99), S("ab")}), kInvalidRowID);
  EXPECT_EQ(index.Lookup(Key{I(1), ParvexValue()}), kInvalidRowID);
}

TEST(IndexTest, NullKeyValuesSurviveSaveAndLoad) {
  ParvexIndex index(Columns({2, 5}));
  index.Add(Key{ParvexValue(), S("x")}, 1);
  index.Add(Key{I(4), ParvexValue::Null(kTypeString)}, 2);
  auto file = std::make_shared<MemFile>();
  ASSERT_TRUE(index.SaveToFile(Open(file)));
  // A placeholder first, because the first entry lacks column 2; then each
  // entry with only its non-NULL values.
  EXPECT_EQ(file->Contents(), Hex("Z256 52635374 FFFFFFFF 0000000D 02 02 03 05 03 00000000 00000000"
                                  "52635374 00000001 00000010 01 05 05 00000001 00000001 00000600" +
                                  AsciiHex("x") +
                                  "52635374 00000002 00000007 01 02 03 00000004"));
  ParvexIndex loaded(Columns({}));
  ASSERT_TRUE(loaded.LoadFromFile(Open(file)));
  EXPECT_EQ(loaded.Lookup(Key{ParvexValue(), S("x")}), 1u);
  EXPECT_EQ(loaded.Lookup(Key{I(0), S("x")}), kInvalidRowID);
  EXPECT_EQ(loaded.Lookup(Key{I(4), ParvexValue()}), 2u);
}

TEST(IndexTest, DamagedIndexFilesFailToLoad) {
  // First record with more values than an index may have columns.
  std::string body = "FF 01";  // N = 255
  for (int i = 1; i <= 254; ++i) {
    char entry[8];
    std::snprintf(entry, sizeof entry, "%02X 0C", i);
    body += entry;
  }
  body += "FF 01 0C";
  for (int i = 0; i < 255; ++i) body += "00";
  const size_t length = Hex(body).size();
  char header[40];
  std::snprintf(header, sizeof header, "Z256 52635374 00000001 %08zX", length);
  auto wide = std::make_shared<MemFile>();
  wide->SetContents(Hex(header + body));
  ParvexIndex index(Columns({1}));
  EXPECT_FALSE(index.LoadFromFile(Open(wide)));
  EXPECT_EQ(index.QtyEntries(), 0u);

  // A readable entry, then a record whose body is damaged: the entry is kept.
  auto damaged = std::make_shared<MemFile>();
  damaged->SetContents(Hex("Z256 52635374 00000001 00000007 01 02 03 00000001"
                           "52635374 00000002 00000002 05 00"));
  EXPECT_FALSE(index.LoadFromFile(Open(damaged)));
  EXPECT_EQ(index.Lookup(Key{I(1)}), 1u);
  EXPECT_FALSE(index.LoadFromFile(nullptr));
}

}  // namespace
}  // namespace parvex
