// ReadWindow: a block of a data file's bytes kept in memory, so that records
// read one after another, forwards or backwards, cost one stream read per
// block instead of several small reads through every stream layer per record.
//
// Contract:
// - Get hands out a pointer to the bytes [position, position + length), valid
//   until the next Get, Patch or Clear. Reads that continue where the block
//   ends (or, backwards, where it starts) double the block, up to kMaxBlock;
//   a read elsewhere (a point lookup) starts again at kMinBlock.
// - Null means the stream could not deliver the bytes; the caller reads them
//   itself and reports the failure as it would without the window.
// - Every write of the owner to the stream must be passed to Patch, so the
//   block never holds bytes the file no longer has.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/random_access.h"

namespace parvex {

class ReadWindow {
 public:
  static constexpr uint32_t kMinBlock = 4 * 1024;
  static constexpr uint32_t kMaxBlock = 128 * 1024;

  // The bytes [position, position + length) of `file`, whose bytes end at
  // `limit`; null when they pass the limit or can't be read.
  const uint8_t* Get(RandomAccessMechanism* file, uint32_t position, uint32_t length, uint32_t limit);
  // Copies bytes just written at `position` into the block where it holds them.
  void Patch(uint32_t position, const void* bytes, uint32_t length);
  // Forgets the block (and gives its memory back).
  void Clear();

 private:
  std::vector<uint8_t> mBytes;
  uint32_t mStart = 0;
  uint32_t mValid = 0;  // bytes of mBytes that hold the file's bytes from mStart
  uint32_t mBlock = kMinBlock;
};

}  // namespace parvex
