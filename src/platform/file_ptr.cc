// FilePtr: stream over a caller's memory block.
#include "platform/file_ptr.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstring>

namespace parvex {

FilePtr::FilePtr(void* data, int32_t size)
    : mData(static_cast<uint8_t*>(data)), mSize(size), mLength(size), mWritable(true) {
  assert(size >= 0 && (data || size == 0));
}

// The const view never writes through the pointer: mWritable stays false.
FilePtr::FilePtr(const void* data, int32_t size)
    : mData(static_cast<uint8_t*>(const_cast<void*>(data))), mSize(size), mLength(size), mWritable(false) {
  assert(size >= 0 && (data || size == 0));
}

bool FilePtr::Fail(int code) {
  SetLastError(code);
  return false;
}

bool FilePtr::ReadData(void* buffer, int32_t count, int32_t* bytesRead) {
  if (bytesRead) *bytesRead = 0;
  if (!mOpen) return Fail(EBADF);
  if (count < 0) return Fail(EINVAL);
  if (count == 0) return true;
  if (mPosition >= mLength) return false;
  const int32_t n = std::min(count, mLength - mPosition);
  std::memcpy(buffer, mData + mPosition, static_cast<size_t>(n));
  mPosition += n;
  if (bytesRead) *bytesRead = n;
  return true;
}

bool FilePtr::WriteData(const void* buffer, int32_t count) {
  if (!mOpen || !mWritable) return Fail(EBADF);
  if (count < 0) return Fail(EINVAL);
  if (count > mSize - mPosition) return Fail(ENOSPC);
  if (count == 0) return true;
  std::memcpy(mData + mPosition, buffer, static_cast<size_t>(count));
  mPosition += count;
  mLength = std::max(mLength, mPosition);
  return true;
}

bool FilePtr::Close() {
  mData = nullptr;
  mSize = mLength = mPosition = 0;
  mWritable = false;
  mOpen = false;
  return true;
}

bool FilePtr::SeekFromStart(int32_t offset) {
  if (!mOpen) return Fail(EBADF);
  if (offset < 0 || offset > mLength) return Fail(EINVAL);
  mPosition = offset;
  return true;
}

bool FilePtr::SetLength(int32_t length) {
  if (!mOpen || !mWritable) return Fail(EBADF);
  if (length < 0 || length > mSize) return Fail(EINVAL);
  mLength = length;
  mPosition = std::min(mPosition, mLength);
  return true;
}

}  // namespace parvex
