// KeyDictionary: numbers distinct byte strings densely (0, 1, 2, ... in
// order of first appearance), for hash joins and hash grouping.
//
// Keys are copied into one arena; an open-addressing table (load at most one
// half) finds them in O(1) on average. Keys of up to eight bytes (integer
// keys) are held in the table itself, so that finding one touches a single
// cache line, and keys that differ only in their three lowest bits share a
// group of eight neighbouring slots, so that a run of consecutive integers
// stays within a few cache lines; longer keys are told apart by their 64-bit
// hash and compared in the arena. No allocation per key.
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
    size_t offset;
    size_t length;
  };
  // A key of up to 8 bytes as itself (zero-padded); a longer one as its hash.
  struct Slot {
    uint64_t word = 0;
    uint32_t idPlusOne = 0;  // 0: empty
    uint32_t length = 0;
  };

  static uint64_t WordOf(std::string_view key);
  static uint64_t Hash(std::string_view key, uint64_t word);
  // The slot holding `key`, or the empty slot where it belongs.
  size_t SlotOf(std::string_view key, uint64_t word, uint64_t hash) const;
  void Grow();

  std::string mArena;
  std::vector<Entry> mEntries;
  std::vector<Slot> mSlots;
};

}  // namespace parvex
