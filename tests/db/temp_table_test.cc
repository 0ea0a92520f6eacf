// Result tables: row storage and ownership, reads and their bounds, source
// record sets, ORDER BY sorting; and the `_TABLES` system table.
#include "db/temp_table.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "db/tables_table.h"

namespace parvex {
namespace {

// Builds an owned row of values whose IDs are their positions.
ParvexValueList MakeRow(const std::vector<ParvexValue>& values) {
  ParvexValueList row;
  for (size_t i = 0; i < values.size(); ++i) {
    row.push_back(new ParvexValueWithID(values[i], static_cast<long>(i)));
  }
  return row;
}

void AddOwnedRow(ParvexTempTable& table, const std::vector<ParvexValue>& values,
                 std::unique_ptr<ParvexRecSet> source = nullptr) {
  ParvexValueList row = MakeRow(values);
  table.AddRow(row, true, std::move(source));
}

std::unique_ptr<ParvexRecSet> RecSetOf(RowID a, RowID b) {
  auto set = std::make_unique<ParvexRecSet>(2);
  (*set)[0] = a;
  (*set)[1] = b;
  return set;
}

std::string TextAt(const ParvexTempTable& table, RowID row, long column) {
  ParvexValue v;
  EXPECT_TRUE(table.GetValue(row, column, &v));
  return v.GetString().str();
}

std::vector<std::string> ColumnTexts(const ParvexTempTable& table, long column) {
  std::vector<std::string> texts;
  for (long r = 0; r < table.QtyRows(); ++r) texts.push_back(TextAt(table, r, column));
  return texts;
}

SimpleVector<long> Longs(const std::vector<long>& items) {
  SimpleVector<long> v;
  for (long x : items) v.push_back(x);
  return v;
}

TEST(TempTableTest, RowsCopyOrTakeTheirValuesAndAreNumberedByPosition) {
  ParvexTempTable table;
  table.AddColumn("a", kTypeInteger);
  table.AddColumn("b", kTypeString);
  ASSERT_EQ(table.QtyColumns(), 2);
  EXPECT_EQ(table.Column(1)->name.str(), "b");
  EXPECT_EQ(table.Column(1)->Type(), kTypeString);
  EXPECT_EQ(table.Column(1)->columnID, 1);  // result tables address columns by position
  EXPECT_EQ(table.Column(2), nullptr);

  // Copying: the caller keeps its vector and may change it afterwards.
  ParvexValueList kept = MakeRow({ParvexValue::Integer(7), ParvexValue::String("seven")});
  EXPECT_EQ(table.AddRow(kept, false), 0u);
  ASSERT_EQ(kept.size(), 2u);
  kept[0]->SetInteger(8);
  kept[1]->SetText(kTypeString, "eight");
  EXPECT_EQ(table.AddRow(kept, false), 1u);
  DeleteValues(kept);

  // Taking ownership: the vector is emptied; the sanitizer sees any leak.
  ParvexValueList given = MakeRow({ParvexValue::Integer(9), ParvexValue::String("nine")});
  EXPECT_EQ(table.AddRow(given, true), 2u);
  EXPECT_TRUE(given.empty());
  EXPECT_EQ(table.lastRowID, 2u);

  EXPECT_EQ(ColumnTexts(table, 0), (std::vector<std::string>{"7", "8", "9"}));
  EXPECT_EQ(ColumnTexts(table, 1), (std::vector<std::string>{"seven", "eight", "nine"}));
  SimpleVector<RowID> ids;
  ids.push_back(99);
  table.GetRowIDs(&ids);
  ASSERT_EQ(ids.size(), 3u);
  EXPECT_EQ(ids[0], 0u);
  EXPECT_EQ(ids[2], 2u);
}

TEST(TempTableTest, GetValueChecksBoundsAndReturnsStoredNulls) {
  ParvexTempTable table;
  table.AddColumn("a", kTypeInteger);
  table.AddColumn("b", kTypeDate);
  AddOwnedRow(table, {ParvexValue::Integer(1), ParvexValue::Null(kTypeDate)});
  AddOwnedRow(table, {ParvexValue::Integer(2)});  // a short row: one value only

  ParvexValueWithID out(ParvexValue::Integer(5), 42);
  EXPECT_TRUE(table.GetValue(0, 1, &out));
  EXPECT_TRUE(out.IsNull());
  EXPECT_EQ(out.Type(), kTypeDate);
  EXPECT_EQ(out.id, 42);  // reading a value leaves the slot's column ID alone

  ParvexValue v;
  EXPECT_FALSE(table.GetValue(0, -1, &v));
  EXPECT_FALSE(table.GetValue(0, 2, &v));
  EXPECT_FALSE(table.GetValue(2, 0, &v));  // row ID equal to QtyRows
  EXPECT_FALSE(table.GetValue(kInvalidRowID, 0, &v));
  EXPECT_FALSE(table.GetValue(1, 1, &v));  // past the short row's values
  EXPECT_TRUE(table.GetValue(1, 0, &v));
  EXPECT_EQ(v.GetInteger(), 2);
}

// Integers order numerically, other types by text ignoring case (doubles
// too), later keys break ties, directions apply per key, and every row's
// source record set moves with it.
TEST(TempTableTest, SortsByKeysAndDirectionsMovingSources) {
  ParvexTempTable table;
  table.AddColumn("s", kTypeString);
  table.AddColumn("n", kTypeInteger);
  table.AddColumn("d", kTypeDouble);
  const std::vector<std::tuple<const char*, int, double>> rows = {
      {"9", -5, 9.2}, {"b", 1, 10.5}, {"A", 3, 100}, {"10", -40, -1}, {"a", 2, 7}};
  for (const auto& [s, n, d] : rows) {
    AddOwnedRow(table, {ParvexValue::String(s), ParvexValue::Integer(n), ParvexValue::Double(d)},
                RecSetOf(static_cast<RowID>(n), 0));
  }
  struct Case {
    std::vector<long> keys, directions;
    std::vector<std::string> order;
  };
  const Case cases[] = {
      {{1}, {1}, {"10", "9", "b", "a", "A"}},
      {{1}, {-1}, {"A", "a", "b", "9", "10"}},
      {{0, 1}, {1, -1}, {"10", "9", "A", "a", "b"}},
      {{0, 1}, {-1, 1}, {"b", "a", "A", "9", "10"}},
      {{2}, {1}, {"10", "b", "A", "a", "9"}},  // "-1" < "10.5" < "100" < "7" < "9.2"
  };
  for (const Case& c : cases) {
    table.Sort(Longs(c.keys), Longs(c.directions));
    EXPECT_EQ(ColumnTexts(table, 0), c.order);
    for (RowID r = 0; r < 5; ++r) {
      EXPECT_EQ((*table.GetSourceRecSet(r))[0], static_cast<RowID>(table.ValueAt(r, 1)->GetInteger()));
    }
  }
  EXPECT_EQ(table.GetSourceRecSet(-1), nullptr);
  EXPECT_EQ(table.GetSourceRecSet(5), nullptr);
}

TEST(TempTableTest, SortToleratesMixedTypesMissingValuesAndBadKeys) {
  ParvexTempTable table;
  table.AddColumn("v", kTypeInteger);
  // Integers, texts and short rows mixed in one key column: the comparison is
  // not an order, but sorting must finish and keep every row exactly once.
  const int kRows = 300;
  for (int i = 0; i < kRows; ++i) {
    if (i % 3 == 0) {
      AddOwnedRow(table, {ParvexValue::Integer((i * 7919) % 101)});
    } else if (i % 3 == 1) {
      AddOwnedRow(table, {ParvexValue::String(string(std::to_string((i * 31) % 97)))});
    } else {
      AddOwnedRow(table, {});
    }
  }
  table.Sort(Longs({0}), Longs({1}));
  ASSERT_EQ(table.QtyRows(), kRows);
  int integers = 0, texts = 0, empty = 0;
  for (RowID r = 0; r < static_cast<RowID>(kRows); ++r) {
    const ParvexValue* v = table.ValueAt(r, 0);
    if (!v) {
      ++empty;
    } else if (v->Type() == kTypeInteger) {
      ++integers;
    } else {
      ++texts;
    }
  }
  EXPECT_EQ(integers, 100);
  EXPECT_EQ(texts, 100);
  EXPECT_EQ(empty, 100);

  // A key column no row has sorts nothing; so do no keys at all.
  ParvexTempTable small;
  small.AddColumn("v", kTypeInteger);
  for (int n : {2, 1}) AddOwnedRow(small, {ParvexValue::Integer(n)});
  small.Sort(Longs({5}), Longs({1}));
  small.Sort(Longs({}), Longs({}));
  EXPECT_EQ(ColumnTexts(small, 0), (std::vector<std::string>{"2", "1"}));
}

TEST(TempTableTest, ManyRowsSpanChunksAndSortCorrectly) {
  ParvexTempTable table;
  table.AddColumn("n", kTypeInteger);
  table.AddColumn("s", kTypeString);
  const int kRows = 20000;  // several chunks of the value store
  for (int i = 0; i < kRows; ++i) {
    const int n = (i * 7001) % kRows;  // a permutation of 0..kRows-1
    AddOwnedRow(table, {ParvexValue::Integer(n), ParvexValue::String(string(std::to_string(n)))});
  }
  table.Sort(Longs({0}), Longs({-1}));
  for (RowID r = 0; r < static_cast<RowID>(kRows); ++r) {
    const int expected = kRows - 1 - static_cast<int>(r);
    ASSERT_EQ(table.ValueAt(r, 0)->GetInteger(), expected);
    ASSERT_EQ(table.ValueAt(r, 1)->GetString().str(), std::to_string(expected));
  }
}

// The SQL scripts read `_TABLES`; here: its one row by ID, and that an added
// row is refused with its owned values released.
TEST(TablesTableTest, OneRowReadOnly) {
  ParvexTablesTable* tables = GetTablesTable();
  ASSERT_EQ(tables, GetTablesTable());
  ParvexValue v;
  ASSERT_TRUE(tables->GetValue(1, 0, &v));
  EXPECT_EQ(v.GetString().str(), "_TABLES");
  EXPECT_FALSE(tables->GetValue(0, 0, &v));
  EXPECT_FALSE(tables->GetValue(1, 1, &v));
  EXPECT_EQ(tables->Column(1), nullptr);
  ParvexValueList owned = MakeRow({ParvexValue::String("x")});
  EXPECT_EQ(tables->AddRow(owned, true), kInvalidRowID);
  EXPECT_TRUE(owned.empty());
  EXPECT_EQ(tables->QtyRows(), 1);
}

}  // namespace
}  // namespace parvex
