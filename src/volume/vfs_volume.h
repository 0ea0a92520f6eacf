// VFSVolume: the flat layer of a virtual volume.
//
// A store of numbered files inside one stream. Each file is a chain of
// blocks linked by absolute `next` offsets; file 1 holds the persistent block
// map. The layout is in volume/volume_format.h. The volume reads and writes
// every structure through the stream, which it keeps big-endian, with double
// swapping off for version 1 and on for every other version.
//
// Opening never trusts the file: block chains that loop, `next` offsets
// outside the file, sizes that are negative, NaN, fractional or run past the
// end make the operation that meets them fail; nothing is asserted about
// bytes read from the file.
//
// Speed: each open file keeps the blocks of its chain it has seen so far
// (start, capacity and the file offset where the block's data begins), so a
// seek is a binary search and a chain is followed at most once per handle.
// The block map indexes first blocks and free blocks, so finding a file or a
// reusable block does not scan the map. The choices (which block is reused,
// which block a position lands in) are those of walking the chain and the
// map in order.
//
// Handles are 16-bit; positions and counts are f64 holding whole numbers.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <unordered_map>
#include <vector>

#include "platform/random_access.h"
#include "volume/block_map.h"

namespace parvex {

struct VFSBlockHeader {
  uint32_t magic = 0;
  uint32_t fileID = 0;
  uint32_t sequence = 0;
  double size = 0;  // header and end mark included
  double next = 0;  // absolute start of the next block; 0 = last
};

// One block of an open file's chain.
struct VFSChainLink {
  int32_t start = 0;      // the block's start in the volume
  int32_t capacity = 0;   // data bytes: size - header - end mark
  int64_t dataStart = 0;  // offset in the file's data of the block's first data byte
  uint32_t sequence = 0;
  double next = 0;        // as last read or written
  int64_t DataEnd() const { return dataStart + capacity; }
};

// The state behind a handle: the file, the position in its data, and the
// part of its chain seen so far; `current` is the block holding the position
// (at the end of its data area when the position is where the next block
// starts and that block has not been reached yet).
struct VFSOpenFile {
  uint32_t fileID = 0;
  int64_t position = 0;
  size_t current = 0;
  std::vector<VFSChainLink> chain;
};

class VFSVolume {
 public:
  // Builds a new, empty version-3 volume on the stream (which it truncates).
  // Null when the stream is null; otherwise IsValid() tells whether every
  // write succeeded.
  static std::unique_ptr<VFSVolume> Create(RandomAccessMechanism* stream, bool ownsStream);
  // Opens an existing volume. An owned stream is destroyed at once when the
  // stream does not hold a volume.
  VFSVolume(RandomAccessMechanism* stream, bool ownsStream);
  VFSVolume(const VFSVolume&) = delete;
  VFSVolume& operator=(const VFSVolume&) = delete;
  // Saves the block map, closes the stream, deletes it when owned.
  virtual ~VFSVolume();

  bool IsValid() const { return mValid; }
  // False when the blocks do not lie back to back up to the end of the file
  // exactly (found on opening): the file was cut short, or blocks the map
  // lists lie past its end.
  bool EndsCleanly() const { return mEndsCleanly; }
  uint32_t Version() const { return mVersion; }
  RandomAccessMechanism* Stream() const { return mStream; }
  const BlockMap& GetBlockMap() const { return mBlockMap; }

  // Reused free blocks have a size within [minimum, maximum]; new blocks
  // have `newSize` bytes (more than the 32 bytes of header and end mark).
  void SetBlockSizePrefs(double minimum, double newSize, double maximum);
  // New blocks get a zeroed data area (on by default).
  void SetZeroFill(bool on) { mZeroFill = on; }

  // A new file's ID (taken from the counter), 0 on failure.
  uint32_t CreateFile();
  // Frees every block of the file. False when it is open or has no first block.
  bool DeleteFile(uint32_t fileID);
  // A handle at data offset 0, or -1. Once the open-file table holds
  // kMaxOpenFileSlots slots, every later open fails.
  int16_t OpenFile(uint32_t fileID);
  bool CloseFile(int16_t handle);
  // Moves within the blocks the file has; positions never extend a file.
  bool SetFilePosition(int16_t handle, double position);
  double GetFilePosition(int16_t handle) const;
  // Reads up to *count bytes across the chain; *count becomes the bytes read.
  // Reaching the end of the chain is success; a link that can't be followed
  // is failure (with *count still telling what was read). After a failed
  // read or seek, LastFailure() tells why.
  bool ReadFileData(int16_t handle, double* count, void* buffer);
  // Writes all bytes at the position, adding blocks as the chain runs out.
  bool WriteFileData(int16_t handle, const void* buffer, double count);
  // Numbers in file data: big-endian from version 3, little-endian before.
  bool WriteFileLong(int16_t handle, uint32_t value);
  bool WriteFileShort(int16_t handle, uint16_t value);
  bool WriteFileDouble(int16_t handle, double value);
  bool ReadFileLong(int16_t handle, uint32_t* value);
  bool ReadFileShort(int16_t handle, uint16_t* value);
  bool ReadFileDouble(int16_t handle, double* value);

  // Why the last read or seek inside a file failed: kStreamDamagedError for a
  // broken chain (a link to something that is not the file's next block, a
  // block past the end of the stream), otherwise the stream's own error code.
  int32_t LastFailure() const { return mLastFailure; }

  // Saves the block map, then flushes the stream.
  bool FlushToDisk();
  // Writes the map's image into file 1 unless the map is unchanged since it
  // was loaded or last written (the bytes would be the same). The image is
  // built first, so blocks this write adds to file 1 are not in the stored
  // image (they are in the next one).
  bool UpdateBlockMap();
  // Replaces the map with one built by walking the blocks from the first.
  bool RebuildBlockMapFromScratch();
  // The start of a reusable free block or of a block appended to the stream
  // (its header says free), with its size; -1 and size 0 on failure.
  double FindOrAllocateBlock(double* size);
  // A file's first block: its header and start.
  bool FindFileFirstBlock(uint32_t fileID, VFSBlockHeader* header, double* start);
  // The 28-byte header at the stream's position.
  bool ReadHeader(VFSBlockHeader* header);
  bool WriteHeader(const VFSBlockHeader& header);
  // The header of the open file's current block; fails when it is not the file's.
  bool ReadHeader(int16_t handle, VFSBlockHeader* header);

 private:
  enum class ChainStep { kExtended, kEnd, kFailed };
  struct CreateTag {};

  VFSVolume(RandomAccessMechanism* stream, bool ownsStream, CreateTag);
  bool InitializeNewVolume();
  bool Open();
  void ApplyByteOrder();
  bool LoadBlockMapImage();
  bool BlocksReachTheEnd();

  // Every change of the map goes through here, so saving knows it is due and
  // lookups remembered from the map as it was are dropped.
  BlockMap& MutableMap() {
    mMapChanged = true;
    ++mMapGeneration;
    return mBlockMap;
  }
  bool IsFirstBlockOf(uint32_t fileID, int64_t start, const VFSBlockHeader& header);
  // Reads a header; on failure notes why (a header past the end of the
  // stream is damage, a refused read an error of the stream).
  bool ReadHeaderAt(int64_t start, VFSBlockHeader* header);
  // Notes a failure of the stream (its error code, EIO when it gave none).
  void NoteStreamFailure();
  bool WriteHeaderAt(int64_t start, const VFSBlockHeader& header);
  // A block at `start` with this size lies inside the stream and has room
  // for its header and end mark.
  bool IsUsableBlock(int64_t start, double size);
  bool FindMapFileFirstBlock(VFSBlockHeader* header, int64_t* start);
  bool OpenRecord(uint32_t fileID, VFSOpenFile* record);
  VFSOpenFile* Record(int16_t handle) const;

  // Follows the chain's last known block to the next one.
  ChainStep ExtendChain(VFSOpenFile& file);
  // A link that leads nowhere valid: notes the damage.
  ChainStep Broken() {
    mLastFailure = kStreamDamagedError;
    return ChainStep::kFailed;
  }
  // Adds a block after the chain's last one (allocating it).
  bool AppendBlock(VFSOpenFile& file);
  // Makes the block after the current one current, following the link (and,
  // when `grow` is set, adding a block at the end of the chain).
  ChainStep StepToNextBlock(VFSOpenFile& file, bool grow);
  bool Seek(VFSOpenFile& file, int64_t position);
  bool Read(VFSOpenFile& file, uint8_t* buffer, int64_t count, int64_t* got);
  bool Write(VFSOpenFile& file, const uint8_t* buffer, int64_t count);
  bool DataIsBigEndian() const;
  template <typename T>
  bool WriteFileNumber(int16_t handle, T value);
  template <typename T>
  bool ReadFileNumber(int16_t handle, T* value);

  bool mValid = false;
  bool mEndsCleanly = true;
  int32_t mLastFailure = 0;
  RandomAccessMechanism* mStream = nullptr;
  std::unique_ptr<RandomAccessMechanism> mOwnedStream;
  uint32_t mVersion = 3;
  int32_t mCounterPlace = 0;
  double mMinReusableSize;
  double mNewBlockSize;
  double mMaxReusableSize;
  bool mZeroFill = true;
  BlockMap mBlockMap;
  bool mMapChanged = false;  // since the image in file 1 was loaded or written
  // Sizes of free blocks already read, so the search for a reusable block
  // reads each header once.
  std::unordered_map<uint32_t, double> mFreeBlockSizes;
  int64_t mMapFileFirstBlock = -1;  // found once, never moves
  // Lookups that hold until the map changes, so that a damaged map listing
  // many false entries is searched through once, not at every call: the
  // first block found for a file ID (-1: none), and the map index below
  // which no free entry can be reused under the current size preferences.
  struct FirstBlockHint {
    uint64_t generation = 0;
    int64_t start = -1;
  };
  uint64_t mMapGeneration = 1;  // hints of generation 0 are never current
  std::unordered_map<uint32_t, FirstBlockHint> mFirstBlockHints;
  uint32_t mFreeSearchFrom = 0;

  std::vector<std::unique_ptr<VFSOpenFile>> mOpenFiles;  // indexed by handle; null = free slot
  std::set<int16_t> mFreeSlots;
  std::unordered_map<uint32_t, int32_t> mOpenCounts;  // file ID -> open handles
};

}  // namespace parvex
