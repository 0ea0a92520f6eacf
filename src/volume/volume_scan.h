// VolumeScan: a read-only survey of the blocks of a volume file, for
// integrity checks and recovery.
//
// Run() reads the volume header, then every block header and end mark from
// the first block to the end of the stream, stepping by the blocks' sizes.
// Where no block starts (a header without "BlkS", or a size that can't be),
// it records the stretch as a gap and searches on for the next offset that
// holds a plausible block ("BlkS", a size that fits, "BlkE" at its end), so
// that the blocks after a damaged one are still found. A last block that the
// end of the file cuts short is kept, marked truncated.
//
// The scan never writes and never changes the stream's settings: numbers are
// decoded from the bytes it reads (block headers big-endian, their f64
// fields little-endian in version 1; numbers in file data big-endian from
// version 3, little-endian before). Each file's blocks are then known by
// sequence number, and OpenData reads a file's data in sequence order,
// whatever its `next` links say.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "platform/random_access.h"

namespace parvex {

struct ScannedBlock {
  uint32_t start = 0;
  uint32_t size = 0;  // as the header says (header and end mark included)
  uint32_t fileID = 0;
  uint32_t sequence = 0;
  double next = 0;
  bool endMark = false;    // "BlkE" in its last four bytes
  bool truncated = false;  // the file ends before the block does
  // Data bytes that are really in the file.
  uint32_t Capacity(int64_t fileLength) const;
};

// A stretch of the file where no block was found.
struct ScanGap {
  int64_t start = 0;
  int64_t end = 0;
};

class VolumeScan {
 public:
  enum class Outcome {
    kVolume,              // the blocks were surveyed
    kNotAVolume,          // no "VFSv" header
    kUnsupportedVersion,  // a version above 3
    kUnreadable,          // the stream refused a read (LastError() tells why)
  };

  explicit VolumeScan(RandomAccessMechanism& stream) : mStream(stream) {}
  VolumeScan(const VolumeScan&) = delete;
  VolumeScan& operator=(const VolumeScan&) = delete;

  Outcome Run();

  uint32_t Version() const { return mVersion; }
  int64_t Length() const { return mLength; }
  int32_t LastError() const { return mLastError; }
  const std::vector<ScannedBlock>& Blocks() const { return mBlocks; }
  const std::vector<ScanGap>& Gaps() const { return mGaps; }
  // Blocks whose file ID and sequence number another block already has
  // (indexes into Blocks()); they are left out of Sequences().
  const std::vector<size_t>& Duplicates() const { return mDuplicates; }
  // The index of the block starting at `start`, or -1.
  long BlockAt(int64_t start) const;
  // The blocks of each file in use (file ID 0 is left out): file ID ->
  // sequence number -> index into Blocks().
  const std::map<uint32_t, std::map<uint32_t, size_t>>& Sequences() const { return mSequences; }

  // A read-only stream over bytes [offset, offset + length) of a file's
  // data, taken from its blocks in sequence order; big-endian with double
  // swapping on, as the engine's files are read. Bytes past a missing block
  // can't be read (kStreamDamagedError). Null when the file has no block 0.
  std::unique_ptr<RandomAccessMechanism> OpenData(uint32_t fileID, int64_t offset, int64_t length) const;
  // The bytes of the file's data a sequence-ordered read can reach: up to the
  // first missing block (or the end of the last one).
  int64_t ReachableData(uint32_t fileID) const;

  // Exactly `count` bytes at `offset` of the volume file.
  bool ReadAt(int64_t offset, void* buffer, int32_t count) const;
  // Numbers in file data, as this version stores them.
  uint32_t DataU32(const uint8_t* bytes) const;
  double DataF64(const uint8_t* bytes) const;
  static uint32_t BigU32(const uint8_t* bytes);

 private:
  // Reads the block header at `start`; true when a block plausibly starts
  // there ("BlkS" and a whole size of at least header + end mark).
  bool ReadBlock(int64_t start, ScannedBlock* block, bool* fits) const;
  // The first offset after `from` where a whole block with its end mark
  // starts, or the file's length.
  int64_t FindNextBlock(int64_t from) const;
  void Index();

  RandomAccessMechanism& mStream;
  uint32_t mVersion = 0;
  int64_t mLength = 0;
  mutable int32_t mLastError = 0;
  std::vector<ScannedBlock> mBlocks;
  std::vector<ScanGap> mGaps;
  std::vector<size_t> mDuplicates;
  std::map<int64_t, size_t> mByStart;
  std::map<uint32_t, std::map<uint32_t, size_t>> mSequences;
};

}  // namespace parvex
