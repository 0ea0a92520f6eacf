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
// - The nodes themselves are the ordered list: they are appended to pages of
//   kPageNodes in the order of addition, and a node costs its ID, its value
//   and one chain link, nothing more (a table of a million rows keeps its
//   row positions in about 15 MB). A removed node stays in place, marked,
//   until removed nodes make up more than half of the list; then the list is
//   compacted (in order) and the chains rebuilt.
// - Looking up an absent ID yields the map's "not found" value, given at
//   construction.
// - Node pointers returned by FindNode/AddItem stay valid until the next
//   AddItem or RemoveItem.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
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
  // Nodes per page of the list (a power of two).
  static constexpr uint32_t kPageBits = 12;
  static constexpr uint32_t kPageNodes = 1u << kPageBits;

  class Node {
   public:
    RowID id = 0;
    V value{};

   private:
    friend class RowMap;
    uint32_t next = kNoNode;  // next node of the bucket chain, or kRemoved
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
    if (mCount == 0) return nullptr;  // the usual state of a transaction's deletions: no hashing
    for (uint32_t n = mHeads[Bucket(id)]; n != kNoNode;) {
      Node& node = At(n);
      if (node.id == id) return &node;
      n = node.next;
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
  // (a table scan): the list neighbours of the place in `*hint` are tried
  // before the bucket chain. `*hint` becomes the place of `id` when found.
  V FindNear(RowID id, size_t* hint) const {
    RowMap& self = *const_cast<RowMap*>(this);
    const size_t at = *hint;
    for (const size_t n : {at + 1, at - 1}) {  // (at - 1 wraps past the end when at is 0)
      if (n >= mNodes) continue;
      const Node& node = self.At(static_cast<uint32_t>(n));
      if (node.id == id && node.next != kRemoved) {
        *hint = n;
        return node.value;
      }
    }
    for (uint32_t n = mHeads[Bucket(id)]; n != kNoNode;) {
      const Node& node = self.At(n);
      if (node.id == id) {
        *hint = n;
        return node.value;
      }
      n = node.next;
    }
    return mNotFound;
  }

  // Sets the value of `id`. A new ID is appended to the list; an ID already
  // present keeps its place.
  Node* AddItem(RowID id, V value) {
    if (Node* existing = FindNode(id)) {
      existing->value = std::move(value);
      return existing;
    }
    const uint32_t n = AppendNode(id, std::move(value));
    const size_t b = Bucket(id);
    At(n).next = mHeads[b];
    mHeads[b] = n;
    ++mCount;
    if (mCount > kMaxLoad * mHeads.size()) Rehash(GoodBinCount(2 * mCount));
    return &At(n);
  }

  // Unlinks the node of `id` and takes the ID out of the list. False when absent.
  bool RemoveItem(RowID id) {
    uint32_t* link = &mHeads[Bucket(id)];
    while (*link != kNoNode && At(*link).id != id) link = &At(*link).next;
    if (*link == kNoNode) return false;
    Node& node = At(*link);
    *link = node.next;
    node.next = kRemoved;
    node.value = V{};
    --mCount;
    ++mRemoved;
    if (mRemoved * 2 > mNodes) Compact();
    return true;
  }

  // Empties the map and the list; the bucket count stays.
  void RemoveAll() {
    mHeads.assign(mHeads.size(), kNoNode);
    mPages.clear();
    mNodes = 0;
    mCount = 0;
    mRemoved = 0;
  }

  // Rebuilds the bucket array for `n` rows (never for fewer than it holds).
  void Presize(size_t n) {
    Rehash(GoodBinCount(n > mCount ? n : mCount));
    mPages.reserve((n + kPageNodes - 1) / kPageNodes);
  }

  // Calls f(id, value) for every item, in list order.
  template <typename F>
  void ForEach(F&& f) const {
    for (const auto& page : mPages) {
      for (const Node& node : page) {
        if (node.next != kRemoved) f(node.id, node.value);
      }
    }
  }

  // Calls f(id, value) for every item, in list order, giving each page of
  // the list back as soon as it was walked, and leaves the map empty. The
  // map must not be used from `f`.
  template <typename F>
  void TakeEach(F&& f) {
    for (auto& page : mPages) {
      for (const Node& node : page) {
        if (node.next != kRemoved) f(node.id, node.value);
      }
      std::vector<Node>().swap(page);
    }
    RemoveAll();
  }

  // Replaces `ids` with the IDs in list order.
  void GetIDs(SimpleVector<RowID>* ids) const {
    ids->clear();
    ids->reserve(mCount);
    ForEach([ids](RowID id, const V&) { ids->push_back(id); });
  }

 private:
  static constexpr uint32_t kNoNode = 0xFFFFFFFFu;
  static constexpr uint32_t kRemoved = 0xFFFFFFFEu;
  static constexpr uint32_t kPageMask = kPageNodes - 1;

  static bool IsPrime(size_t n) {
    if (n < 2 || n == 13) return false;
    if (n % 2 == 0) return n == 2;
    for (size_t d = 3; d * d <= n; d += 2) {
      if (n % d == 0) return false;
    }
    return true;
  }

  size_t Bucket(RowID id) const { return static_cast<size_t>((kBucketFactor * id) % mHeads.size()); }

  Node& At(uint32_t n) { return mPages[n >> kPageBits][n & kPageMask]; }

  uint32_t AppendNode(RowID id, V value) {
    if (mPages.empty() || mPages.back().size() == kPageNodes) {
      mPages.emplace_back();
      // The first page grows with a small map; later ones are whole at once.
      if (mPages.size() > 1) mPages.back().reserve(kPageNodes);
    }
    Node node;
    node.id = id;
    node.value = std::move(value);
    mPages.back().push_back(std::move(node));
    return static_cast<uint32_t>(mNodes++);
  }

  void Rehash(size_t bins) {
    mHeads.assign(bins, kNoNode);
    for (uint32_t n = 0; n < mNodes; ++n) {
      Node& node = At(n);
      if (node.next == kRemoved) continue;
      const size_t b = Bucket(node.id);
      node.next = mHeads[b];
      mHeads[b] = n;
    }
  }

  // Drops the removed nodes, keeping the order, and rebuilds the chains.
  void Compact() {
    std::vector<std::vector<Node>> old;
    old.swap(mPages);
    mNodes = 0;
    mRemoved = 0;
    for (auto& page : old) {
      for (Node& node : page) {
        if (node.next != kRemoved) AppendNode(node.id, std::move(node.value));
      }
      std::vector<Node>().swap(page);
    }
    Rehash(mHeads.size());
  }

  std::vector<uint32_t> mHeads;
  std::vector<std::vector<Node>> mPages;  // the nodes in list order, removed ones included
  size_t mNodes = 0;                      // nodes in the pages
  size_t mCount = 0;                      // live nodes
  size_t mRemoved = 0;
  V mNotFound;
};

}  // namespace parvex
