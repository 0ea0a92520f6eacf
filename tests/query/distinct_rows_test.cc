// DISTINCT through DistinctRows must keep exactly the rows that a scan of
// every earlier row with ParvexValue::Equals (new value on the left) keeps,
// whatever mix of types the columns hold.
#include "query/distinct_rows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "db/temp_table.h"

namespace parvex {
namespace {

// Values whose equalities cross types in every way Equals allows.
std::vector<ParvexValue> MixedPool() {
  return {
      ParvexValue::Integer(0),          ParvexValue::Integer(5),
      ParvexValue::Integer(1),          ParvexValue::Integer(-1),
      ParvexValue::Boolean(true),       ParvexValue::Boolean(false),
      ParvexValue::String("5"),         ParvexValue::String("5x"),
      ParvexValue::String("abc"),       ParvexValue::String("ABC"),
      ParvexValue::String(""),          ParvexValue::String("TRUE"),
      ParvexValue::String("1"),         ParvexValue::String("NULL"),
      ParvexValue::String("DATE 2001-01-01"),
      ParvexValue::String("2001-01-01"),
      ParvexValue::Text(kTypeBinary, "abc"),
      ParvexValue::Text(kTypeDate, "2001-01-01"),
      ParvexValue::Text(kTypeTime, "10:00:00"),
      ParvexValue::Text(kTypeTimestamp, "2001-01-01 10:00:00"),
      ParvexValue::Double(0.0),         ParvexValue::Double(-0.0),
      ParvexValue::Double(5.0),         ParvexValue::Double(5.5),
      ParvexValue::Double(std::nan("")),
      ParvexValue::Null(kTypeNone),     ParvexValue::Null(kTypeInteger),
      ParvexValue::Null(kTypeString),
  };
}

// Feeds rows to a DistinctRows and to the plain scan over the same table and
// checks that both decide every row alike; returns the rows kept.
class DistinctChecker {
 public:
  explicit DistinctChecker(size_t width) : mSeen(mTable), mWidth(width) {
    for (size_t c = 0; c < width; ++c) mTable.AddColumn("c", kTypeNone);
  }

  void Offer(const std::vector<ParvexValue>& row) {
    std::vector<std::unique_ptr<ParvexValueWithID>> owned;
    ParvexValueList values;
    for (size_t c = 0; c < row.size(); ++c) {
      owned.push_back(std::make_unique<ParvexValueWithID>(row[c], static_cast<long>(c)));
      values.push_back(owned.back().get());
    }
    const bool expected = ScanFindsEqual(values);
    const bool found = mSeen.Contains(values);
    ASSERT_EQ(found, expected) << "row " << mOffered << ": " << Text(row);
    ++mOffered;
    if (!found) mSeen.Remember(mTable.AddRow(values, false));
  }

  long Kept() const { return mTable.QtyRows(); }

 private:
  bool ScanFindsEqual(const ParvexValueList& values) const {
    for (long r = mTable.QtyRows() - 1; r >= 0; --r) {
      bool equal = true;
      for (size_t c = 0; c < mWidth && equal; ++c) {
        equal = values[c]->Equals(*mTable.ValueAt(static_cast<RowID>(r), static_cast<long>(c)));
      }
      if (equal) return true;
    }
    return false;
  }

  static std::string Text(const std::vector<ParvexValue>& row) {
    std::string text;
    for (const ParvexValue& v : row) text += "[" + std::to_string(v.Type()) + " " + v.GetString().str() + "]";
    return text;
  }

  ParvexTempTable mTable;
  DistinctRows mSeen;
  size_t mWidth;
  long mOffered = 0;
};

TEST(DistinctRowsTest, KeepsWhatTheScanKeepsOverMixedTypes) {
  const std::vector<ParvexValue> pool = MixedPool();
  std::mt19937 random(20240607);
  for (size_t width : {1u, 2u, 3u}) {
    DistinctChecker checker(width);
    for (int i = 0; i < 1200; ++i) {
      std::vector<ParvexValue> row;
      for (size_t c = 0; c < width; ++c) row.push_back(pool[random() % pool.size()]);
      checker.Offer(row);
      if (::testing::Test::HasFatalFailure()) return;
    }
  }
}

TEST(DistinctRowsTest, StaysExactWhenAColumnTurnsMixedLate) {
  // Long homogeneous runs are hashed; a late value of another class must
  // still find (and be found by) the earlier rows it equals.
  DistinctChecker checker(2);
  for (int i = 0; i < 2000; ++i) {
    checker.Offer({ParvexValue::Integer(i % 300), ParvexValue::String(i % 2 ? "x" : "X")});
    ASSERT_FALSE(::testing::Test::HasFatalFailure());
  }
  EXPECT_EQ(checker.Kept(), 300);  // "x" and "X" are equal
  checker.Offer({ParvexValue::String("17"), ParvexValue::String("x")});  // equals (17, X)
  checker.Offer({ParvexValue::Double(0.0), ParvexValue::Text(kTypeBinary, "X")});
  checker.Offer({ParvexValue::Integer(17), ParvexValue::Boolean(true)});
  checker.Offer({ParvexValue::Integer(299), ParvexValue::String("x")});
  for (int i = 0; i < 600; ++i) {
    checker.Offer({ParvexValue::String(string(std::to_string(i % 400))),
                   ParvexValue::String(i % 3 ? "x" : "y")});
    ASSERT_FALSE(::testing::Test::HasFatalFailure());
  }
}

}  // namespace
}  // namespace parvex
