// KeyDictionary: numbers distinct byte strings densely (0, 1, 2, ... in
// order of first appearance), for hash joins and hash grouping.
//
// Keys are copied into one arena; an open-addressing table of key numbers
// (load at most one half) finds them in O(1) on average. No allocation per key.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace parvex {

class KeyDictionary {
 public:
  static constexpr uint32_t kNoKey = 0xFFFFFFFFu;

  // The number of `key`, adding it when it is new.
  uint32_t Intern(std::string_view key);
  // The number of `key`, or kNoKey.
  uint32_t Find(std::string_view key) const;
  std::string_view KeyOf(uint32_t id) const;
  size_t size() const { return mEntries.size(); }

 private:
  struct Entry {
    uint64_t hash;
    size_t offset;
    size_t length;
  };

  static uint64_t Hash(std::string_view key);
  // The slot holding `key` (hash `hash`), or the empty slot where it belongs.
  size_t SlotOf(std::string_view key, uint64_t hash) const;
  void Grow();

  std::string mArena;
  std::vector<Entry> mEntries;
  std::vector<uint32_t> mSlots;  // key number + 1; 0 is empty
};

}  // namespace parvex
