// KeyDictionary: arena, open addressing with linear probing.
#include "query/key_dictionary.h"

#include <cstring>

#include "platform/hash_mix.h"

namespace parvex {

namespace {

constexpr size_t kInitialSlots = 16;
constexpr size_t kInlineBytes = 8;
// Short keys that differ only in these low bits share a group of slots.
constexpr unsigned kGroupBits = 3;
constexpr uint64_t kGroupMask = (uint64_t{1} << kGroupBits) - 1;

}  // namespace

uint64_t KeyDictionary::WordOf(std::string_view key) {
  if (key.size() > kInlineBytes) return 0;
  uint64_t word = 0;
  if (!key.empty()) std::memcpy(&word, key.data(), key.size());
  return word;
}

uint64_t KeyDictionary::Hash(std::string_view key, uint64_t word) {
  if (key.size() <= kInlineBytes) {
    // Short keys are mostly integers, and integers mostly come in runs
    // (consecutive IDs, a join column read in table order). Keys that differ
    // only in their lowest bits share one group of slots, at distinct places
    // within it, so a run of keys touches a few cache lines instead of one
    // per key; the group itself is placed by the full mix.
    const uint64_t group = MixHash((word >> kGroupBits) ^ (uint64_t{key.size()} << 56));
    return (group & ~kGroupMask) | ((word ^ group) & kGroupMask);
  }
  uint64_t h = 0x9e3779b97f4a7c15ULL ^ key.size();
  size_t i = 0;
  for (; i + 8 <= key.size(); i += 8) {
    uint64_t chunk;
    std::memcpy(&chunk, key.data() + i, sizeof chunk);
    h = MixHash(h ^ chunk);
  }
  uint64_t tail = 0;
  if (i < key.size()) std::memcpy(&tail, key.data() + i, key.size() - i);
  return MixHash(h ^ tail ^ (uint64_t{0xff} << 56));
}

size_t KeyDictionary::SlotOf(std::string_view key, uint64_t word, uint64_t hash) const {
  const size_t mask = mSlots.size() - 1;
  const bool inlined = key.size() <= kInlineBytes;
  for (size_t slot = hash & mask;; slot = (slot + 1) & mask) {
    const Slot& held = mSlots[slot];
    if (held.idPlusOne == 0) return slot;
    if (held.length != key.size()) continue;
    if (inlined) {
      if (held.word == word) return slot;
    } else if (held.word == hash) {
      const Entry& entry = mEntries[held.idPlusOne - 1];
      if (std::memcmp(mArena.data() + entry.offset, key.data(), key.size()) == 0) return slot;
    }
  }
}

void KeyDictionary::Grow() {
  std::vector<Slot> old = std::move(mSlots);
  mSlots.assign(old.empty() ? kInitialSlots : old.size() * 2, Slot());
  const size_t mask = mSlots.size() - 1;
  for (const Slot& held : old) {
    if (held.idPlusOne == 0) continue;
    const Entry& entry = mEntries[held.idPlusOne - 1];
    const std::string_view key(mArena.data() + entry.offset, entry.length);
    size_t slot = Hash(key, WordOf(key)) & mask;
    while (mSlots[slot].idPlusOne != 0) slot = (slot + 1) & mask;
    mSlots[slot] = held;
  }
}

uint32_t KeyDictionary::Intern(std::string_view key) {
  if ((mEntries.size() + 1) * 2 > mSlots.size()) Grow();
  const uint64_t word = WordOf(key);
  const uint64_t hash = Hash(key, word);
  Slot& slot = mSlots[SlotOf(key, word, hash)];
  if (slot.idPlusOne != 0) return slot.idPlusOne - 1;
  const auto id = static_cast<uint32_t>(mEntries.size());
  mEntries.push_back({mArena.size(), key.size()});
  mArena.append(key);
  slot.word = key.size() <= kInlineBytes ? word : hash;
  slot.idPlusOne = id + 1;
  slot.length = static_cast<uint32_t>(key.size());
  return id;
}

uint32_t KeyDictionary::Find(std::string_view key) const {
  if (mSlots.empty()) return kNoKey;
  const uint64_t word = WordOf(key);
  const Slot& slot = mSlots[SlotOf(key, word, Hash(key, word))];
  return slot.idPlusOne == 0 ? kNoKey : slot.idPlusOne - 1;
}

std::string_view KeyDictionary::KeyOf(uint32_t id) const {
  const Entry& entry = mEntries[id];
  return std::string_view(mArena).substr(entry.offset, entry.length);
}

}  // namespace parvex
