// VFile: an item's content as a stream.
#include "volume/vfile.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include "volume/vfs_volume.h"
#include "volume/vhfs_volume.h"
#include "volume/volume_format.h"

namespace parvex {

namespace {
// The last content position whose flat position still fits in 32 bits.
constexpr int64_t kMaxContentEnd = INT32_MAX - kItemHeaderSize;
}  // namespace

VFile::VFile(VFSVolume* volume, int16_t handle, int32_t length)
    : mVolume(volume), mHandle(handle), mLength(length) {}

VFile::~VFile() {
  if (IsOpen()) Close();
}

bool VFile::Fail(int code) {
  SetLastError(code);
  return false;
}

bool VFile::SeekIfNeeded() {
  if (!mNeedsSeek) return true;
  if (!mVolume->SetFilePosition(mHandle, static_cast<double>(mPosition) + kItemHeaderSize)) {
    return Fail(mVolume->LastFailure() != 0 ? mVolume->LastFailure() : kStreamDamagedError);
  }
  mNeedsSeek = false;
  return true;
}

bool VFile::ReadData(void* buffer, int32_t count, int32_t* bytesRead) {
  if (bytesRead) *bytesRead = 0;
  if (!IsOpen()) return Fail(EBADF);
  if (count < 0) return true;
  const int32_t wanted = static_cast<int32_t>(std::clamp<int64_t>(static_cast<int64_t>(mLength) - mPosition, 0, count));
  if (!SeekIfNeeded()) return false;
  double got = wanted;
  const bool ok = mVolume->ReadFileData(mHandle, &got, buffer);
  mPosition += static_cast<int32_t>(got);
  if (bytesRead) *bytesRead = static_cast<int32_t>(got);
  if (!ok) return Fail(mVolume->LastFailure() != 0 ? mVolume->LastFailure() : EIO);
  // The chain ended before the length the item header gives: the item lost blocks.
  if (got < wanted) return Fail(kStreamDamagedError);
  return true;
}

bool VFile::WriteData(const void* buffer, int32_t count) {
  if (!IsOpen() || mReadOnly) return Fail(EBADF);
  if (count < 0) return Fail(EINVAL);
  if (static_cast<int64_t>(mPosition) + count > kMaxContentEnd) return Fail(EFBIG);
  if (!SeekIfNeeded()) return false;
  if (!mVolume->WriteFileData(mHandle, buffer, count)) {
    // Part of the bytes may have gone out and moved the handle: seek again
    // before the next transfer.
    mNeedsSeek = true;
    return Fail(EIO);
  }
  mPosition += count;
  mLength = std::max(mLength, mPosition);
  return true;
}

bool VFile::SeekFromStart(int32_t offset) {
  if (!IsOpen()) return Fail(EBADF);
  if (offset < 0) return Fail(EINVAL);
  if (!mVolume->SetFilePosition(mHandle, static_cast<double>(offset) + kItemHeaderSize)) {
    // Within the length the blocks should be there: a chain that can't be
    // followed that far is damage (or the stream's own error).
    const int32_t failure = mVolume->LastFailure();
    if (offset > mLength) return Fail(EINVAL);
    return Fail(failure != 0 ? failure : kStreamDamagedError);
  }
  mPosition = offset;
  mNeedsSeek = false;
  return true;
}

bool VFile::SetLength(int32_t length) {
  if (!IsOpen() || mReadOnly) return Fail(EBADF);
  if (length < 0 || length > kMaxContentEnd) return Fail(EINVAL);
  mLength = length;
  return true;
}

bool VFile::UpdateFileHeader() {
  if (!IsOpen()) return Fail(EBADF);
  if (mReadOnly) return true;
  // The header read moves the volume handle away from the position.
  mNeedsSeek = true;
  double stored = 0;
  if (!mVolume->SetFilePosition(mHandle, kItemLengthOffset) || !mVolume->ReadFileDouble(mHandle, &stored)) {
    return Fail(EIO);
  }
  if (stored == static_cast<double>(mLength)) return true;
  if (!mVolume->SetFilePosition(mHandle, kItemLengthOffset) ||
      !mVolume->WriteFileDouble(mHandle, static_cast<double>(mLength))) {
    return Fail(EIO);
  }
  return true;
}

bool VFile::FlushToDisk() {
  if (!IsOpen()) return Fail(EBADF);
  const bool header = UpdateFileHeader();
  const bool flushed = mVolume->FlushToDisk();
  return header && flushed;
}

bool VFile::Close() {
  if (!IsOpen()) return Fail(EBADF);
  const bool header = UpdateFileHeader();
  const bool closed = mVolume->CloseFile(mHandle);
  mHandle = -1;
  mVolume = nullptr;
  if (mVirtVol) {
    VHFSVolume* owner = mVirtVol;
    mVirtVol = nullptr;
    owner->ForgetFile(this);
  }
  return header && closed;
}

}  // namespace parvex
