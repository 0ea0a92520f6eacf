// RowMap against a plain model (an ordered vector plus a hash map) under
// random adds, overwrites and removals, from 4 buckets up, so that the
// buckets grow many times on the way.
#include "storage/row_map.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <unordered_map>
#include <vector>

namespace parvex {
namespace {

TEST(RowMapTest, MatchesAnOrderedModelUnderRandomChanges) {
  std::mt19937 random(20240611);
  RowMap<int> map(4, -1);
  std::vector<RowID> order;
  std::unordered_map<RowID, int> values;
  auto check = [&]() {
    ASSERT_EQ(map.QtyItems(), order.size());
    for (RowID id : order) ASSERT_EQ(map.Find(id), values[id]) << id;
    std::vector<RowID> walked;
    map.ForEach([&](RowID id, int) { walked.push_back(id); });
    ASSERT_EQ(walked, order);
  };
  for (int step = 0; step < 60000; ++step) {
    // The all-ones ID is a key like any other.
    const RowID id = random() % 3000 == 0 ? kInvalidRowID : random() % 3000;
    const int op = static_cast<int>(random() % 10);
    if (op < 6) {
      if (!values.count(id)) order.push_back(id);
      values[id] = step;
      map.AddItem(id, step);
    } else {
      const bool present = values.erase(id) > 0;
      if (present) order.erase(std::find(order.begin(), order.end(), id));
      ASSERT_EQ(map.RemoveItem(id), present);
      ASSERT_EQ(map.Find(id), -1);
      ASSERT_EQ(map.FindNode(id), nullptr);
    }
    if (step % 3000 == 0) check();
  }
  check();
  // Empty it entirely, in random order, then refill; then RemoveAll.
  std::shuffle(order.begin(), order.end(), random);
  for (RowID id : order) ASSERT_TRUE(map.RemoveItem(id));
  EXPECT_TRUE(map.empty());
  order.clear();
  values.clear();
  for (RowID id = 10; id > 0; --id) {
    map.AddItem(id, static_cast<int>(id));
    order.push_back(id);
    values[id] = static_cast<int>(id);
  }
  check();
  map.RemoveAll();
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(map.Find(10), -1);
}

}  // namespace
}  // namespace parvex
