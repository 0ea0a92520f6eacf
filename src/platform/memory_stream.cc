// FileHandle: memory-backed stream.
#include "platform/memory_stream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

namespace parvex {

namespace {
constexpr int64_t kGrowthSlack = 2048;
constexpr int64_t kMaxLength = INT32_MAX;
}  // namespace

void FileHandle::Reset() {
  mOwned = std::make_unique<MemoryHandle>();
  mHandle = mOwned.get();
  mPosition = 0;
  mLength = 0;
  mFailed = false;
}

void FileHandle::Open(MemoryHandle* handle) {
  mOwned.reset();
  mHandle = handle;
  mLength = handle ? static_cast<int32_t>(std::min<size_t>(handle->size(), kMaxLength)) : 0;
  mPosition = 0;
  mFailed = false;
}

std::unique_ptr<MemoryHandle> FileHandle::ExtractHandle() {
  if (mFailed || !mOwned) return nullptr;
  mOwned->resize(static_cast<size_t>(mLength));
  mOwned->shrink_to_fit();
  std::unique_ptr<MemoryHandle> out = std::move(mOwned);
  mHandle = nullptr;
  mPosition = 0;
  mLength = 0;
  return out;
}

bool FileHandle::EnsureSize(int64_t size) {
  if (size > kMaxLength) {
    mFailed = true;
    SetLastError(EFBIG);
    return false;
  }
  if (!mHandle) Reset();
  if (static_cast<int64_t>(mHandle->size()) >= size) return true;
  try {
    mHandle->resize(static_cast<size_t>(std::min(size + kGrowthSlack, kMaxLength)));
  } catch (const std::bad_alloc&) {
    mFailed = true;
    SetLastError(ENOMEM);
    return false;
  }
  return true;
}

bool FileHandle::ReadData(void* buffer, int32_t count, int32_t* bytesRead) {
  if (bytesRead) *bytesRead = 0;
  if (count == 0) return true;
  if (count < 0 || !mHandle || mPosition >= mLength) return false;
  const int32_t n = std::min(count, mLength - mPosition);
  std::memcpy(buffer, mHandle->data() + mPosition, static_cast<size_t>(n));
  UnscrambleAfterRead(static_cast<uint8_t*>(buffer), n);
  mPosition += n;
  if (bytesRead) *bytesRead = n;
  return true;
}

bool FileHandle::WriteData(const void* buffer, int32_t count) {
  if (mFailed || count < 0) return false;
  if (count == 0) return true;
  const int64_t end = static_cast<int64_t>(mPosition) + count;
  if (!EnsureSize(end)) return false;
  uint8_t* target = mHandle->data() + mPosition;
  std::memcpy(target, buffer, static_cast<size_t>(count));
  ScrambleForWrite(target, count);
  mPosition = static_cast<int32_t>(end);
  mLength = std::max(mLength, mPosition);
  return true;
}

bool FileHandle::SeekFromStart(int32_t offset) {
  mPosition = std::clamp(offset, 0, mLength);
  return true;
}

bool FileHandle::SetLength(int32_t length) {
  if (length < 0) length = 0;
  if (!EnsureSize(length)) return false;
  if (length > mLength) std::memset(mHandle->data() + mLength, 0, static_cast<size_t>(length - mLength));
  mLength = length;
  mPosition = std::min(mPosition, mLength);
  return true;
}

}  // namespace parvex
