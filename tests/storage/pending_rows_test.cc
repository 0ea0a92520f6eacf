// PendingRows against a plain model (rows in order of first change, with
// their values) under random puts, replacements and removals, mostly of
// consecutive new rows (kept as a run) mixed with rows anywhere, so that runs
// start, grow, lose their last row and are broken up many times.
#include "storage/pending_rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace parvex {
namespace {

ParvexValueList OneValue(int32_t n) {
  ParvexValueList values;
  values.push_back(new ParvexValueWithID(ParvexValue::Integer(n), 1));
  return values;
}

TEST(PendingRowsTest, MatchesAnOrderedModelUnderRandomChanges) {
  std::mt19937 random(20261126);
  PendingRows rows;
  rows.SetByteOrder(true, true);
  std::vector<RowID> order;
  std::map<RowID, std::pair<bool, int32_t>> model;  // stored, value
  RowID next = 1;
  auto check = [&](bool drain) {
    ASSERT_EQ(rows.size(), order.size());
    std::vector<RowID> walked;
    RecordFields fields;
    auto visit = [&](RowID row, bool stored, const uint8_t* body, uint32_t length) {
      walked.push_back(row);
      ASSERT_EQ(stored, model[row].first) << row;
      ASSERT_TRUE(rows.Decode(body, length, &fields));
      ASSERT_EQ(fields[0].integer, model[row].second) << row;
    };
    if (drain) {
      rows.Drain(visit);
      EXPECT_TRUE(rows.empty());
    } else {
      rows.ForEach(visit);
    }
    ASSERT_EQ(walked, order);
  };
  for (int step = 0; step < 40000; ++step) {
    const int op = static_cast<int>(random() % 10);
    RowID row = next;
    if (op < 6) {
      ++next;  // the next new row: continues the run
    } else if (op < 8) {
      row = static_cast<RowID>(random() % (next + 5));  // anywhere, present or not
    } else {
      if (!order.empty()) row = random() % 2 ? order.back() : order[random() % order.size()];
      const bool present = model.erase(row) > 0;
      if (present) order.erase(std::find(order.begin(), order.end(), row));
      rows.Remove(row);
      ASSERT_FALSE(rows.Contains(row));
      continue;
    }
    const bool stored = model.count(row) ? model[row].first : random() % 4 == 0;
    if (!model.count(row)) order.push_back(row);
    model[row] = {stored, step};
    ParvexValueList values = OneValue(step);
    rows.Put(row, stored, values);
    DeleteValues(values);
    ASSERT_TRUE(rows.Contains(row));
    ASSERT_EQ(rows.IsStored(row), stored);
    if (step % 4000 == 0) check(false);
  }
  RecordFields fields;
  for (RowID row : order) {
    ASSERT_TRUE(rows.Read(row, &fields));
    ASSERT_EQ(fields[0].integer, model[row].second);
  }
  check(false);
  check(true);
}

TEST(PendingRowsTest, CompactionKeepsOrderAndValues) {
  // Rows of 1000-byte bodies replaced twice, except every 100th, so that old
  // chunks stay pinned and garbage grows past the live bytes.
  constexpr RowID kRows = 8000;
  const std::string padding(1000, 'p');
  PendingRows rows;
  rows.SetByteOrder(false, false);
  for (int pass = 0; pass < 3; ++pass) {
    for (RowID row = 1; row <= kRows; ++row) {
      if (pass > 0 && row % 100 == 0) continue;
      ParvexValueList values = OneValue(static_cast<int32_t>(row) * 10 + pass);
      values.push_back(new ParvexValueWithID(ParvexValue::String(string(padding)), 2));
      rows.Put(row, row % 2 == 0, values);
      DeleteValues(values);
    }
  }
  RowID expected = 1;
  RecordFields fields;
  rows.ForEach([&](RowID row, bool stored, const uint8_t* body, uint32_t length) {
    ASSERT_EQ(row, expected++);
    ASSERT_EQ(stored, row % 2 == 0);
    ASSERT_TRUE(rows.Decode(body, length, &fields));
    ASSERT_EQ(fields[0].integer, static_cast<int32_t>(row) * 10 + (row % 100 == 0 ? 0 : 2));
    ASSERT_EQ(fields.Text(fields[1]).size(), padding.size());
  });
  EXPECT_EQ(expected, kRows + 1);
}

}  // namespace
}  // namespace parvex
