// FilePtr: a RandomAccessMechanism over a fixed block of memory.
//
// The stream neither owns nor resizes the block. Its length starts as the
// block's size; SetLength may shorten it and lengthen it again up to the
// block's size, and writes never pass the block: a write that does not fit
// stores nothing and fails with ENOSPC. A view made from a const block is
// read-only (writes and SetLength fail with EBADF). Seeks must stay within
// [0, length]. Reads follow the memory stream: a count of 0 succeeds, a read
// at the end fails, a longer read copies up to the end. Close detaches the
// block; every later operation fails with EBADF.
#pragma once

#include <cstdint>

#include "platform/random_access.h"

namespace parvex {

class FilePtr : public RandomAccessMechanism {
 public:
  FilePtr(void* data, int32_t size);
  FilePtr(const void* data, int32_t size);

  bool ReadData(void* buffer, int32_t count, int32_t* bytesRead) override;
  bool WriteData(const void* buffer, int32_t count) override;
  bool Close() override;
  bool IsEOF() override { return mPosition >= mLength; }
  bool SeekFromStart(int32_t offset) override;
  int32_t GetLength() override { return mOpen ? mLength : -1; }
  bool SetLength(int32_t length) override;
  int32_t GetPosition() override { return mOpen ? mPosition : -1; }

 private:
  bool Fail(int code);

  uint8_t* mData;
  int32_t mSize;
  int32_t mLength;
  int32_t mPosition = 0;
  bool mWritable;
  bool mOpen = true;
};

}  // namespace parvex
