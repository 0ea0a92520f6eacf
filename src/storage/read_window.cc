// ReadWindow: blocks of a data file read ahead (or behind) for record reads.
#include "storage/read_window.h"

#include <algorithm>
#include <cstring>

namespace parvex {

const uint8_t* ReadWindow::Get(RandomAccessMechanism* file, uint32_t position, uint32_t length, uint32_t limit) {
  const uint64_t wanted = uint64_t{position} + length;
  if (wanted > limit) return nullptr;
  const uint64_t end = uint64_t{mStart} + mValid;
  if (position >= mStart && wanted <= end) return mBytes.data() + (position - mStart);
  // A read that goes on from the block, or runs backwards into it, is a scan.
  const bool forward = mValid > 0 && position >= mStart && position <= end + mBlock;
  const bool backward = mValid > 0 && position < mStart && wanted + mBlock >= mStart;
  mBlock = forward || backward ? std::min(mBlock * 2, kMaxBlock) : kMinBlock;
  const uint64_t size = std::max<uint64_t>(mBlock, length);
  uint64_t from = position;
  uint64_t to = std::min<uint64_t>(from + size, limit);
  if (backward) {
    // End where the block started (the record read before this one), so
    // that the records before it come with this read.
    to = std::min<uint64_t>(std::max<uint64_t>(wanted, mStart), limit);
    from = to > size ? to - size : 0;
  }
  mValid = 0;
  mBytes.resize(static_cast<size_t>(to - from));
  int32_t got = 0;
  if (!file->SeekFromStart(static_cast<int32_t>(from)) ||
      !file->ReadData(mBytes.data(), static_cast<int32_t>(to - from), &got) || got < 0) {
    return nullptr;
  }
  mStart = static_cast<uint32_t>(from);
  mValid = static_cast<uint32_t>(got);
  if (wanted > uint64_t{mStart} + mValid) return nullptr;
  return mBytes.data() + (position - mStart);
}

void ReadWindow::Patch(uint32_t position, const void* bytes, uint32_t length) {
  const uint64_t from = std::max<uint64_t>(position, mStart);
  const uint64_t to = std::min<uint64_t>(uint64_t{position} + length, uint64_t{mStart} + mValid);
  if (from >= to) return;
  std::memcpy(mBytes.data() + (from - mStart), static_cast<const uint8_t*>(bytes) + (from - position),
              static_cast<size_t>(to - from));
}

void ReadWindow::Clear() {
  std::vector<uint8_t>().swap(mBytes);
  mStart = 0;
  mValid = 0;
  mBlock = kMinBlock;
}

}  // namespace parvex
