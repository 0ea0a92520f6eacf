// Result tables where SQL can't reach: sorting a key column that mixes types
// and misses values (no SQL result has one), and many rows over several
// chunks of the value store. ORDER BY itself, the record sets that move with
// the rows (cursor edits after ORDER BY) and _TABLES are covered by
// tests/sql/scripts/queries.sql and the host scripts.
#include "db/temp_table.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>


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
  table.AddRow(row, true, source.get());
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

}  // namespace
}  // namespace parvex
