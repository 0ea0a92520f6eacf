// PendingRows: a transaction's changed rows as encoded bodies in an arena.
#include "storage/pending_rows.h"

#include <algorithm>
#include <cstring>

namespace parvex {

namespace {

constexpr uint32_t kChunkSize = 256 << 10;
// Garbage below this is never worth a compaction.
constexpr uint64_t kCompactFloor = 4 << 20;

}  // namespace

PendingRows::PendingRows() : mRows(RowMap<Slot>::kDefaultSize, Slot{}) {}

void PendingRows::SetByteOrder(bool bigEndian, bool doubleSwap) {
  mBigEndian = bigEndian;
  mDoubleSwap = doubleSwap;
}

bool PendingRows::IsStored(RowID row) const {
  const Slot* slot = Find(row);
  return slot && IsStoredSlot(*slot);
}

const PendingRows::Slot* PendingRows::Find(RowID row) const {
  if (mRunLength > 0 && row >= mRunStart && row - mRunStart < mRunLength) return &RunSlot(row - mRunStart);
  const auto* node = mRows.FindNode(row);
  return node ? &node->value : nullptr;
}

void PendingRows::AppendToRun(RowID row, const Slot& slot) {
  if (mRunLength > 0 && uint64_t{row} != uint64_t{mRunStart} + mRunLength) EndRun();
  if (mRunLength == 0) mRunStart = row;
  if ((mRunLength & kRunPageMask) == 0) {
    mRun.emplace_back();
    mRun.back().reserve(mRunLength == 0 ? 16 : size_t{1} << kRunPageBits);
  }
  mRun.back().push_back(slot);
  ++mRunLength;
}

void PendingRows::EndRun() {
  for (size_t i = 0; i < mRunLength; ++i) mRows.AddItem(RunRow(i), RunSlot(i));
  mRun.clear();
  mRunLength = 0;
}

PendingRows::Slot PendingRows::Store(const uint8_t* bytes, uint32_t length) {
  if (mChunks.empty() || mChunks.back().size - mChunks.back().used < length) {
    // A full chunk whose rows have all been replaced goes now.
    if (!mChunks.empty() && mChunks.back().rows == 0) {
      mUsedBytes -= mChunks.back().used;
      mChunks.back() = Chunk();
    }
    Chunk chunk;
    chunk.size = std::max(kChunkSize, length);
    chunk.bytes = std::make_unique<uint8_t[]>(chunk.size);
    mChunks.push_back(std::move(chunk));
  }
  Chunk& chunk = mChunks.back();
  Slot slot;
  slot.chunk = static_cast<uint32_t>(mChunks.size() - 1);
  slot.at = chunk.used;
  slot.length = length;
  if (length > 0) std::memcpy(chunk.bytes.get() + chunk.used, bytes, length);
  chunk.used += length;
  ++chunk.rows;
  mUsedBytes += length;
  mLiveBytes += length;
  return slot;
}

void PendingRows::Release(const Slot& slot, bool all) {
  mLiveBytes -= Length(slot);
  Chunk& chunk = mChunks[slot.chunk];
  if (--chunk.rows == 0 && (all || slot.chunk + 1 < mChunks.size())) {
    mUsedBytes -= chunk.used;
    chunk.bytes.reset();
    chunk.size = 0;
    chunk.used = 0;
  }
}

void PendingRows::Put(RowID row, bool stored, const ParvexValueList& values) {
  mEncoded.clear();
  EncodeBody(values, mBigEndian, mDoubleSwap, stored, &mEncoded);
  Slot* old = Find(row);
  if (old) Release(*old, false);
  Slot slot = Store(mEncoded.data(), static_cast<uint32_t>(mEncoded.size()));
  if (stored) slot.length |= kStoredBit;
  if (old) {
    *old = slot;  // the row keeps its place
  } else {
    AppendToRun(row, slot);
  }
  if (mUsedBytes - mLiveBytes > kCompactFloor && mUsedBytes > 2 * mLiveBytes) Compact();
}

bool PendingRows::Read(RowID row, RecordFields* fields) const {
  const Slot* slot = Find(row);
  if (!slot) {
    fields->Clear();
    return false;
  }
  return Decode(Bytes(*slot), Length(*slot), fields);
}

void PendingRows::Remove(RowID row) {
  Slot* slot = Find(row);
  if (!slot) return;
  Release(*slot, false);
  if (mRunLength > 0 && row == RunRow(mRunLength - 1)) {
    mRun.back().pop_back();
    if (mRun.back().empty()) mRun.pop_back();
    --mRunLength;
    return;
  }
  // Out of the middle of the run: the run ends first.
  if (mRunLength > 0 && row >= mRunStart && row - mRunStart < mRunLength) EndRun();
  mRows.RemoveItem(row);
}

void PendingRows::Clear() {
  mRows.RemoveAll();
  mRun.clear();
  mRunLength = 0;
  mChunks.clear();
  mLiveBytes = 0;
  mUsedBytes = 0;
}

void PendingRows::Compact() {
  std::vector<Chunk> old;
  old.swap(mChunks);
  mUsedBytes = 0;
  mLiveBytes = 0;
  std::vector<std::pair<RowID, Slot>> moved;
  moved.reserve(mRows.QtyItems());
  mRows.ForEach([&](RowID row, const Slot& slot) {
    Slot copy = Store(old[slot.chunk].bytes.get() + slot.at, Length(slot));
    copy.length = slot.length;
    moved.emplace_back(row, copy);
  });
  for (const auto& [row, slot] : moved) mRows.AddItem(row, slot);  // keeps each row's place
  for (size_t i = 0; i < mRunLength; ++i) {
    Slot& slot = RunSlot(i);
    const uint32_t length = slot.length;
    slot = Store(old[slot.chunk].bytes.get() + slot.at, Length(slot));
    slot.length = length;
  }
}

}  // namespace parvex
