// KeyDictionary: arena, open addressing with linear probing.
#include "query/key_dictionary.h"

#include <cstring>

#include "platform/hash_mix.h"

namespace parvex {

namespace {

constexpr size_t kInitialSlots = 16;

}  // namespace

uint64_t KeyDictionary::Hash(std::string_view key) {
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

size_t KeyDictionary::SlotOf(std::string_view key, uint64_t hash) const {
  const size_t mask = mSlots.size() - 1;
  for (size_t slot = hash & mask;; slot = (slot + 1) & mask) {
    const uint32_t held = mSlots[slot];
    if (held == 0) return slot;
    const Entry& entry = mEntries[held - 1];
    if (entry.hash == hash && entry.length == key.size() &&
        (key.empty() || std::memcmp(mArena.data() + entry.offset, key.data(), key.size()) == 0)) {
      return slot;
    }
  }
}

void KeyDictionary::Grow() {
  mSlots.assign(mSlots.empty() ? kInitialSlots : mSlots.size() * 2, 0);
  const size_t mask = mSlots.size() - 1;
  for (size_t id = 0; id < mEntries.size(); ++id) {
    size_t slot = mEntries[id].hash & mask;
    while (mSlots[slot] != 0) slot = (slot + 1) & mask;
    mSlots[slot] = static_cast<uint32_t>(id + 1);
  }
}

uint32_t KeyDictionary::Intern(std::string_view key) {
  if ((mEntries.size() + 1) * 2 > mSlots.size()) Grow();
  const uint64_t hash = Hash(key);
  const size_t slot = SlotOf(key, hash);
  if (mSlots[slot] != 0) return mSlots[slot] - 1;
  const auto id = static_cast<uint32_t>(mEntries.size());
  mEntries.push_back({hash, mArena.size(), key.size()});
  mArena.append(key);
  mSlots[slot] = id + 1;
  return id;
}

uint32_t KeyDictionary::Find(std::string_view key) const {
  if (mSlots.empty()) return kNoKey;
  const uint32_t held = mSlots[SlotOf(key, Hash(key))];
  return held == 0 ? kNoKey : held - 1;
}

std::string_view KeyDictionary::KeyOf(uint32_t id) const {
  const Entry& entry = mEntries[id];
  return std::string_view(mArena).substr(entry.offset, entry.length);
}

}  // namespace parvex
