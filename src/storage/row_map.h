// RowMap<V>: a hash map from row ID to V that also keeps the row IDs in the
// order in which they were first added.
//
// Contract:
// - A row ID r lives in bucket (13 × r) mod bucket count. The bucket count is
//   a prime from GoodBinCount (never 13, so consecutive IDs spread over all
//   buckets); the array is rebuilt larger whenever the map holds more than
//   kMaxLoad items per bucket, so lookups stay O(1) at millions of rows.
// - Every ID appears at most once, both in the map and in the ordered list.
//   Setting the value of an ID that is already present keeps its place in the
//   list; a removed ID leaves the list and the others keep their order.
// - Removal, FindIndex and IDAt do not walk the list: each node remembers its
//   slot in the list, a removed slot becomes a tombstone, a Fenwick tree over
//   the slots counts the live ones before a slot, and the list is compacted
//   (in order) once tombstones make up more than half of it.
// - Looking up an absent ID yields the map's "not found" value, given at
//   construction.
// - Node pointers returned by FindNode/AddItem stay valid until that node is
//   removed (nodes live in a deque and are never moved).
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>
#include <vector>

#include "core/table.h"
#include "platform/simple_vector.h"

namespace parvex {

template <typename V>
class RowMap {
 public:
  static constexpr size_t kDefaultSize = 1000;
  // Items per bucket above which the bucket array grows.
  static constexpr size_t kMaxLoad = 2;
  // The multiplier of the bucket rule.
  static constexpr uint64_t kBucketFactor = 13;

  class Node {
   public:
    RowID id = 0;
    V value{};

   private:
    friend class RowMap;
    uint32_t next = kNoNode;  // next node of the bucket chain (or of the free list)
    uint32_t slot = 0;        // place in the insertion-order list, tombstones included
  };

  explicit RowMap(size_t requested = kDefaultSize, V notFound = V{}) : mNotFound(notFound) {
    mHeads.assign(GoodBinCount(requested), kNoNode);
  }
  RowMap(const RowMap&) = delete;
  RowMap& operator=(const RowMap&) = delete;
  RowMap(RowMap&&) noexcept = default;
  RowMap& operator=(RowMap&&) noexcept = default;

  // The smallest prime at least `requested` (and at least 17), skipping 13.
  static size_t GoodBinCount(size_t requested) {
    size_t n = requested < 17 ? 17 : requested;
    while (!IsPrime(n)) ++n;
    return n;
  }

  size_t QtyItems() const { return mCount; }
  bool empty() const { return mCount == 0; }
  size_t BinCount() const { return mHeads.size(); }
  const V& NotFound() const { return mNotFound; }

  Node* FindNode(RowID id) {
    for (uint32_t n = mHeads[Bucket(id)]; n != kNoNode; n = mNodes[n].next) {
      if (mNodes[n].id == id) return &mNodes[n];
    }
    return nullptr;
  }
  const Node* FindNode(RowID id) const { return const_cast<RowMap*>(this)->FindNode(id); }

  bool Contains(RowID id) const { return FindNode(id) != nullptr; }

  // The value of `id`, or the "not found" value.
  V Find(RowID id) const {
    const Node* node = FindNode(id);
    return node ? node->value : mNotFound;
  }

  // Find for a caller that asks for IDs in list order, forward or backward
  // (a table scan): the list neighbours of the slot in `*hint` are tried
  // before the bucket chain. `*hint` becomes the slot of `id` when found.
  V FindNear(RowID id, size_t* hint) const {
    const size_t at = *hint;
    if (at + 1 < mList.size() && mList[at + 1] != kNoNode && mNodes[mList[at + 1]].id == id) {
      *hint = at + 1;
      return mNodes[mList[at + 1]].value;
    }
    if (at > 0 && at - 1 < mList.size() && mList[at - 1] != kNoNode && mNodes[mList[at - 1]].id == id) {
      *hint = at - 1;
      return mNodes[mList[at - 1]].value;
    }
    const Node* node = FindNode(id);
    if (!node) return mNotFound;
    *hint = node->slot;
    return node->value;
  }

  // Sets the value of `id`. A new ID is appended to the list; an ID already
  // present keeps its place.
  Node* AddItem(RowID id, V value) {
    if (Node* existing = FindNode(id)) {
      existing->value = std::move(value);
      return existing;
    }
    const uint32_t n = NewNode();
    Node& node = mNodes[n];
    node.id = id;
    node.value = std::move(value);
    node.slot = static_cast<uint32_t>(mList.size());
    const size_t b = Bucket(id);
    node.next = mHeads[b];
    mHeads[b] = n;
    mList.push_back(n);
    FenwickAppend();
    ++mCount;
    if (mCount > kMaxLoad * mHeads.size()) Rehash(GoodBinCount(2 * mCount));
    return &node;
  }

  // The place of `id` in the insertion-order list (0 = first), or -1.
  long FindIndex(RowID id) const {
    const Node* node = FindNode(id);
    return node ? static_cast<long>(LiveBefore(node->slot)) : -1;
  }

  // The ID at `place` of the insertion-order list (place < QtyItems()).
  RowID IDAt(size_t place) const {
    assert(place < mCount);
    return mNodes[mList[SlotOfPlace(place)]].id;
  }

  // Unlinks the node of `id` and takes the ID out of the list. False when absent.
  bool RemoveItem(RowID id) {
    const size_t b = Bucket(id);
    uint32_t* link = &mHeads[b];
    while (*link != kNoNode && mNodes[*link].id != id) link = &mNodes[*link].next;
    if (*link == kNoNode) return false;
    const uint32_t n = *link;
    Node& node = mNodes[n];
    *link = node.next;
    mList[node.slot] = kNoNode;
    FenwickAdd(node.slot, -1);
    ++mTombstones;
    node.value = V{};
    node.next = mFreeNodes;
    mFreeNodes = n;
    --mCount;
    if (mTombstones * 2 > mList.size()) Compact();
    return true;
  }

  // Empties the map and the list; the bucket count stays.
  void RemoveAll() {
    mHeads.assign(mHeads.size(), kNoNode);
    mNodes.clear();
    mList.clear();
    mTree.assign(1, 0);
    mFreeNodes = kNoNode;
    mCount = 0;
    mTombstones = 0;
  }

  // Rebuilds the bucket array for `n` rows (never for fewer than it holds).
  void Presize(size_t n) {
    Rehash(GoodBinCount(n > mCount ? n : mCount));
    mList.reserve(n);
    mTree.reserve(n + 1);
  }

  // Calls f(id, value) for every item, in list order.
  template <typename F>
  void ForEach(F&& f) const {
    for (uint32_t n : mList) {
      if (n != kNoNode) f(mNodes[n].id, mNodes[n].value);
    }
  }

  // Replaces `ids` with the IDs in list order.
  void GetIDs(SimpleVector<RowID>* ids) const {
    ids->clear();
    ids->reserve(mCount);
    ForEach([ids](RowID id, const V&) { ids->push_back(id); });
  }

 private:
  static constexpr uint32_t kNoNode = 0xFFFFFFFFu;

  static bool IsPrime(size_t n) {
    if (n < 2 || n == 13) return false;
    if (n % 2 == 0) return n == 2;
    for (size_t d = 3; d * d <= n; d += 2) {
      if (n % d == 0) return false;
    }
    return true;
  }

  size_t Bucket(RowID id) const { return static_cast<size_t>((kBucketFactor * id) % mHeads.size()); }

  uint32_t NewNode() {
    if (mFreeNodes != kNoNode) {
      const uint32_t n = mFreeNodes;
      mFreeNodes = mNodes[n].next;
      mNodes[n] = Node();
      return n;
    }
    assert(mNodes.size() < kNoNode);
    mNodes.emplace_back();
    return static_cast<uint32_t>(mNodes.size() - 1);
  }

  void Rehash(size_t bins) {
    if (bins == mHeads.size()) return;
    mHeads.assign(bins, kNoNode);
    for (uint32_t n : mList) {
      if (n == kNoNode) continue;
      const size_t b = Bucket(mNodes[n].id);
      mNodes[n].next = mHeads[b];
      mHeads[b] = n;
    }
  }

  // Fenwick tree over the list slots (1-based): mTree[i] counts the live
  // slots in (i - lowbit(i), i].
  static size_t LowBit(size_t i) { return i & (~i + 1); }

  size_t LiveBefore(size_t slot) const {  // live slots in [0, slot)
    size_t sum = 0;
    for (size_t i = slot; i > 0; i -= LowBit(i)) sum += mTree[i];
    return sum;
  }

  void FenwickAdd(size_t slot, int delta) {
    for (size_t i = slot + 1; i < mTree.size(); i += LowBit(i)) {
      mTree[i] = static_cast<uint32_t>(static_cast<int64_t>(mTree[i]) + delta);
    }
  }

  // Extends the tree by the slot just pushed onto the list (a live one).
  void FenwickAppend() {
    const size_t i = mList.size();
    mTree.push_back(static_cast<uint32_t>(1 + LiveBefore(i - 1) - LiveBefore(i - LowBit(i))));
  }

  // The slot holding the live item at `place` (binary descent of the tree).
  size_t SlotOfPlace(size_t place) const {
    size_t pos = 0;
    size_t remaining = place + 1;
    size_t step = 1;
    while (step * 2 < mTree.size()) step *= 2;
    for (; step > 0; step /= 2) {
      if (pos + step < mTree.size() && mTree[pos + step] < remaining) {
        pos += step;
        remaining -= mTree[pos];
      }
    }
    return pos;  // 1-based position pos + 1, i.e. slot pos
  }

  // Drops the tombstones, keeping the order; every slot is live afterwards.
  void Compact() {
    size_t out = 0;
    for (uint32_t n : mList) {
      if (n == kNoNode) continue;
      mNodes[n].slot = static_cast<uint32_t>(out);
      mList[out++] = n;
    }
    mList.resize(out);
    mTree.resize(out + 1);
    for (size_t i = 1; i <= out; ++i) mTree[i] = static_cast<uint32_t>(LowBit(i));
    mTombstones = 0;
  }

  std::vector<uint32_t> mHeads;
  std::deque<Node> mNodes;
  std::vector<uint32_t> mList;         // node per slot, kNoNode for a tombstone
  std::vector<uint32_t> mTree{0};      // Fenwick tree, index 0 unused
  uint32_t mFreeNodes = kNoNode;
  size_t mCount = 0;
  size_t mTombstones = 0;
  V mNotFound;
};

}  // namespace parvex
