// VolumeScan: the block survey and the sequence-ordered data streams.
#include "volume/volume_scan.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>

#include "volume/volume_format.h"

namespace parvex {

namespace {

constexpr int32_t kSearchChunk = 64 * 1024;
constexpr std::string_view kBlockMagicBytes = "BlkS";

double DecodeF64(const uint8_t* bytes, bool bigEndian) {
  uint64_t bits = 0;
  for (int i = 0; i < 8; ++i) bits = (bits << 8) | bytes[bigEndian ? i : 7 - i];
  double value = 0;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

// A stream over a file's data areas, block after block in sequence order.
class ScannedDataStream : public RandomAccessMechanism {
 public:
  struct Piece {
    int64_t dataStart;  // offset in the file's data
    int64_t volumeOffset;
    int32_t size;
  };

  ScannedDataStream(const VolumeScan& scan, std::vector<Piece> pieces, int64_t offset, int64_t length)
      : mScan(scan), mPieces(std::move(pieces)), mOffset(offset), mLength(static_cast<int32_t>(length)) {
    SetBigEndian();
    SetDoubleSwap(true);
  }

  bool ReadData(void* buffer, int32_t count, int32_t* bytesRead) override {
    if (bytesRead) *bytesRead = 0;
    if (count < 0) return true;
    auto* out = static_cast<uint8_t*>(buffer);
    int32_t done = 0;
    const int32_t wanted = std::min(count, std::max(0, mLength - mPosition));
    while (done < wanted) {
      const int64_t at = mOffset + mPosition;
      auto piece = std::upper_bound(mPieces.begin(), mPieces.end(), at,
                                    [](int64_t value, const Piece& p) { return value < p.dataStart; });
      if (piece == mPieces.begin() || at >= (piece - 1)->dataStart + (piece - 1)->size) {
        return Finish(bytesRead, done, kStreamDamagedError);  // a block of the file is missing
      }
      --piece;
      const int64_t inPiece = at - piece->dataStart;
      const int32_t n = static_cast<int32_t>(std::min<int64_t>(wanted - done, piece->size - inPiece));
      if (!mScan.ReadAt(piece->volumeOffset + inPiece, out + done, n)) {
        return Finish(bytesRead, done, mScan.LastError() != 0 ? mScan.LastError() : EIO);
      }
      done += n;
      mPosition += n;
    }
    if (bytesRead) *bytesRead = done;
    return true;
  }
  bool WriteData(const void*, int32_t) override { return Refuse(); }
  bool Close() override { return true; }
  bool IsEOF() override { return mPosition >= mLength; }
  bool SeekFromStart(int32_t offset) override {
    if (offset < 0 || offset > mLength) {
      SetLastError(EINVAL);
      return false;
    }
    mPosition = offset;
    return true;
  }
  int32_t GetLength() override { return mLength; }
  bool SetLength(int32_t) override { return Refuse(); }
  int32_t GetPosition() override { return mPosition; }

 private:
  bool Finish(int32_t* bytesRead, int32_t done, int32_t error) {
    if (bytesRead) *bytesRead = done;
    SetLastError(error);
    return false;
  }
  bool Refuse() {
    SetLastError(EBADF);
    return false;
  }

  const VolumeScan& mScan;
  std::vector<Piece> mPieces;
  int64_t mOffset;
  int32_t mLength;
  int32_t mPosition = 0;
};

}  // namespace

uint32_t ScannedBlock::Capacity(int64_t fileLength) const {
  const int64_t end = std::min<int64_t>(int64_t{start} + size - kBlockEndMarkSize, fileLength);
  return static_cast<uint32_t>(std::max<int64_t>(0, end - (int64_t{start} + kBlockHeaderSize)));
}

bool VolumeScan::ReadAt(int64_t offset, void* buffer, int32_t count) const {
  int32_t got = 0;
  if (offset < 0 || offset + count > mLength || !mStream.SeekFromStart(static_cast<int32_t>(offset)) ||
      !mStream.ReadData(buffer, count, &got) || got != count) {
    mLastError = mStream.LastError();
    return false;
  }
  return true;
}

uint32_t VolumeScan::BigU32(const uint8_t* bytes) {
  return (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) | bytes[3];
}

uint32_t VolumeScan::DataU32(const uint8_t* bytes) const {
  if (mVersion > kVolumeVersionLastLittleEndianData) return BigU32(bytes);
  return (uint32_t{bytes[3]} << 24) | (uint32_t{bytes[2]} << 16) | (uint32_t{bytes[1]} << 8) | bytes[0];
}

double VolumeScan::DataF64(const uint8_t* bytes) const {
  return DecodeF64(bytes, mVersion > kVolumeVersionLastLittleEndianData);
}

VolumeScan::Outcome VolumeScan::Run() {
  mBlocks.clear();
  mGaps.clear();
  mLength = mStream.GetLength();
  uint8_t header[kVolumeHeaderSize];
  if (mLength < kVolumeHeaderSize) return Outcome::kNotAVolume;
  if (!ReadAt(0, header, kVolumeHeaderSize)) return Outcome::kUnreadable;
  if (BigU32(header + kVolumeMagicOffset) != kVolumeMagic) return Outcome::kNotAVolume;
  mVersion = BigU32(header + kVolumeVersionOffset);
  if (mVersion > kVolumeVersionCurrent) return Outcome::kUnsupportedVersion;

  int64_t at = kFirstBlockStart;
  while (at < mLength) {
    ScannedBlock block;
    bool fits = false;
    if (!ReadBlock(at, &block, &fits)) {
      if (mLastError != 0) return Outcome::kUnreadable;
      const int64_t next = FindNextBlock(at);
      mGaps.push_back({at, next});
      at = next;
      continue;
    }
    if (!fits) {
      block.truncated = true;  // the end of the file cuts it short
      mBlocks.push_back(block);
      break;
    }
    uint8_t mark[kBlockEndMarkSize];
    if (!ReadAt(at + block.size - kBlockEndMarkSize, mark, kBlockEndMarkSize)) return Outcome::kUnreadable;
    block.endMark = BigU32(mark) == kBlockEndMagic;
    mBlocks.push_back(block);
    at += block.size;
  }
  Index();
  return Outcome::kVolume;
}

bool VolumeScan::ReadBlock(int64_t start, ScannedBlock* block, bool* fits) const {
  uint8_t bytes[kBlockHeaderSize];
  mLastError = 0;
  if (start + kBlockHeaderSize > mLength) return false;
  if (!ReadAt(start, bytes, kBlockHeaderSize)) return false;
  if (BigU32(bytes + kBlockMagicOffset) != kBlockStartMagic) return false;
  const bool doublesBigEndian = mVersion != kVolumeVersionLittleEndianDoubles;
  const double size = DecodeF64(bytes + kBlockSizeOffset, doublesBigEndian);
  if (!(size >= kBlockOverhead && size <= INT32_MAX && size == std::floor(size))) return false;
  block->start = static_cast<uint32_t>(start);
  block->size = static_cast<uint32_t>(size);
  block->fileID = BigU32(bytes + kBlockFileIDOffset);
  block->sequence = BigU32(bytes + kBlockSequenceOffset);
  block->next = DecodeF64(bytes + kBlockNextOffset, doublesBigEndian);
  *fits = start + block->size <= mLength;
  return true;
}

int64_t VolumeScan::FindNextBlock(int64_t from) const {
  std::vector<uint8_t> chunk(kSearchChunk);
  for (int64_t base = from + 1; base + kBlockHeaderSize <= mLength;) {
    const auto n = static_cast<int32_t>(std::min<int64_t>(kSearchChunk, mLength - base));
    if (!ReadAt(base, chunk.data(), n)) return mLength;
    const std::string_view text(reinterpret_cast<const char*>(chunk.data()), static_cast<size_t>(n));
    for (size_t hit = text.find(kBlockMagicBytes); hit != std::string_view::npos;
         hit = text.find(kBlockMagicBytes, hit + 1)) {
      ScannedBlock block;
      bool fits = false;
      uint8_t mark[kBlockEndMarkSize];
      const int64_t start = base + static_cast<int64_t>(hit);
      if (ReadBlock(start, &block, &fits) && fits &&
          ReadAt(start + block.size - kBlockEndMarkSize, mark, kBlockEndMarkSize) && BigU32(mark) == kBlockEndMagic) {
        return start;
      }
    }
    // The next chunk overlaps this one by the magic's length less one byte.
    base += std::max<int64_t>(1, n - static_cast<int64_t>(kBlockMagicBytes.size()) + 1);
  }
  return mLength;
}

void VolumeScan::Index() {
  mByStart.clear();
  mSequences.clear();
  mDuplicates.clear();
  for (size_t i = 0; i < mBlocks.size(); ++i) {
    const ScannedBlock& block = mBlocks[i];
    mByStart.emplace(block.start, i);
    if (block.fileID == kFreeBlockID) continue;
    if (!mSequences[block.fileID].emplace(block.sequence, i).second) mDuplicates.push_back(i);
  }
}

long VolumeScan::BlockAt(int64_t start) const {
  const auto found = mByStart.find(start);
  return found == mByStart.end() ? -1 : static_cast<long>(found->second);
}

int64_t VolumeScan::ReachableData(uint32_t fileID) const {
  const auto file = mSequences.find(fileID);
  int64_t reach = 0;
  if (file == mSequences.end()) return 0;
  uint32_t expected = 0;
  for (const auto& [sequence, index] : file->second) {
    if (sequence != expected) break;
    const ScannedBlock& block = mBlocks[index];
    reach += block.Capacity(mLength);
    if (block.truncated) break;
    ++expected;
  }
  return reach;
}

std::unique_ptr<RandomAccessMechanism> VolumeScan::OpenData(uint32_t fileID, int64_t offset, int64_t length) const {
  const auto file = mSequences.find(fileID);
  if (file == mSequences.end() || file->second.begin()->first != 0 || offset < 0 || length < 0 ||
      length > INT32_MAX) {
    return nullptr;
  }
  std::vector<ScannedDataStream::Piece> pieces;
  int64_t dataStart = 0;
  uint32_t expected = 0;
  for (const auto& [sequence, index] : file->second) {
    if (sequence != expected) break;  // later blocks can't be placed
    const ScannedBlock& block = mBlocks[index];
    const uint32_t capacity = block.Capacity(mLength);
    pieces.push_back({dataStart, int64_t{block.start} + kBlockHeaderSize, static_cast<int32_t>(capacity)});
    dataStart += capacity;
    if (block.truncated) break;
    ++expected;
  }
  return std::make_unique<ScannedDataStream>(*this, std::move(pieces), offset, length);
}

}  // namespace parvex
