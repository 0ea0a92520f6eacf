// Hash helpers shared by the engine's hash tables.
#pragma once

#include <cstdint>

namespace parvex {

// A 64-bit finaliser (splitmix64's): spreads every input bit over the
// result, so that hashes built from small or similar values fill buckets.
inline uint64_t MixHash(uint64_t x) {
  x ^= x >> 30;
  x *= 0xbf58476d1ce4e5b9ULL;
  x ^= x >> 27;
  x *= 0x94d049bb133111ebULL;
  x ^= x >> 31;
  return x;
}

}  // namespace parvex
