// VFile: a RandomAccessMechanism over the content of one item of a volume.
//
// The content starts after the item's 256-byte header, so content position p
// is flat-file position p + 256. The length lives in memory while the file is
// open and reaches the item header (as an f64) through UpdateFileHeader,
// which Close and FlushToDisk call. SetLength changes only that in-memory
// length: blocks are neither freed nor added, and nothing is written, so
// bytes between the old and the new length are whatever the blocks hold:
// zeros in blocks added to the volume, a deleted file's bytes in a reused
// block. A caller that needs zeros there writes them. Seeking works within the
// blocks the item already has (a seek past them fails); writing adds blocks.
// A read never passes the length: at or past it a read succeeds with 0 bytes.
// A read or seek within the length that the blocks can't serve fails with
// kStreamDamagedError (a broken chain, an item shorter than its length) or
// the host stream's error code.
// A read-only VFile refuses writes and SetLength and never touches the header.
#pragma once

#include <cstdint>

#include "platform/random_access.h"

namespace parvex {

class VFSVolume;
class VHFSVolume;

class VFile : public RandomAccessMechanism {
 public:
  // Takes an open handle of `volume`; the position is 0 and the first
  // transfer seeks to it.
  VFile(VFSVolume* volume, int16_t handle, int32_t length);
  ~VFile() override;

  bool ReadData(void* buffer, int32_t count, int32_t* bytesRead) override;
  bool WriteData(const void* buffer, int32_t count) override;
  // UpdateFileHeader, closes the handle and forgets the volume.
  bool Close() override;
  bool IsEOF() override { return mPosition >= mLength; }
  bool SeekFromStart(int32_t offset) override;
  int32_t GetLength() override { return mLength; }
  bool SetLength(int32_t length) override;
  int32_t GetPosition() override { return mPosition; }
  // UpdateFileHeader, then the volume's FlushToDisk.
  bool FlushToDisk() override;

  // Writes the in-memory length into the item header when it differs.
  bool UpdateFileHeader();
  // The hierarchical volume that opened this file; it is told when the file
  // closes, and closes the file itself if it goes away first.
  void SetVirtVolObject(VHFSVolume* owner) { mVirtVol = owner; }
  void SetReadOnly(bool readOnly) { mReadOnly = readOnly; }
  bool IsOpen() const { return mVolume != nullptr && mHandle >= 0; }

 private:
  bool Fail(int code);
  // Brings the volume handle to the position when a seek is pending.
  bool SeekIfNeeded();

  VFSVolume* mVolume;
  VHFSVolume* mVirtVol = nullptr;
  int16_t mHandle;
  int32_t mPosition = 0;
  bool mNeedsSeek = true;
  int32_t mLength;
  bool mReadOnly = false;
};

}  // namespace parvex
