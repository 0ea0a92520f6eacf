// FileHandle: a RandomAccessMechanism over a growable memory buffer.
//
// The buffer (a MemoryHandle) is either owned by the stream or adopted from a
// caller who keeps it (Open). Writes grow the buffer to the new end plus 2048
// bytes; once an allocation has failed every later write fails. Seeks clamp to
// [0, length]. Scrambling, when switched on, applies to bytes written and read.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/random_access.h"

namespace parvex {

using MemoryHandle = std::vector<uint8_t>;

class FileHandle : public RandomAccessMechanism {
 public:
  FileHandle() = default;
  ~FileHandle() override = default;

  // Drops the current buffer (freeing it when owned) and starts an empty owned one.
  void Reset();
  // Adopts `handle` without owning it; length = its size; position 0.
  void Open(MemoryHandle* handle);
  // Shrinks the buffer to the length and hands it over; the stream becomes
  // empty. Null after an allocation failure or for an adopted buffer.
  std::unique_ptr<MemoryHandle> ExtractHandle();

  bool ReadData(void* buffer, int32_t count, int32_t* bytesRead) override;
  bool WriteData(const void* buffer, int32_t count) override;
  bool Close() override { return !mFailed; }
  bool IsEOF() override { return mPosition >= mLength; }
  bool SeekFromStart(int32_t offset) override;
  int32_t GetLength() override { return mLength; }
  bool SetLength(int32_t length) override;
  int32_t GetPosition() override { return mPosition; }

  // The bytes written so far (length bytes).
  const uint8_t* Bytes() const { return mHandle ? mHandle->data() : nullptr; }

 private:
  bool EnsureSize(int64_t size);

  std::unique_ptr<MemoryHandle> mOwned;
  MemoryHandle* mHandle = nullptr;
  int32_t mPosition = 0;
  int32_t mLength = 0;
  bool mFailed = false;
};

}  // namespace parvex
