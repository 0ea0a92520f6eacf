// Helpers for the volume tests: hand-written hex, volumes in memory.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "harness/hex.h"
#include "platform/memory_stream.h"

namespace parvex::testing {

// Copies hex bytes into `image` at `offset`, growing it with zero bytes.
inline void Place(std::vector<uint8_t>* image, size_t offset, const std::string& hex) {
  const std::vector<uint8_t> bytes = Hex(hex);
  if (image->size() < offset + bytes.size()) image->resize(offset + bytes.size(), 0);
  std::memcpy(image->data() + offset, bytes.data(), bytes.size());
}

// The bytes a memory stream holds.
inline std::vector<uint8_t> BytesOf(FileHandle& stream) {
  const uint8_t* bytes = stream.Bytes();
  return bytes ? std::vector<uint8_t>(bytes, bytes + stream.GetLength()) : std::vector<uint8_t>();
}

// A memory stream holding `bytes`, ready to be opened as a volume.
inline FileHandle* StreamWith(const std::vector<uint8_t>& bytes) {
  auto* stream = new FileHandle();
  stream->Reset();
  if (!bytes.empty()) stream->WriteData(bytes.data(), static_cast<int32_t>(bytes.size()));
  stream->SeekFromStart(0);
  return stream;
}

// A memory stream that reports its destruction.
class TrackedStream : public FileHandle {
 public:
  explicit TrackedStream(bool* destroyed) : mDestroyed(destroyed) { Reset(); }
  ~TrackedStream() override { *mDestroyed = true; }

 private:
  bool* mDestroyed;
};

// A memory stream that counts the reads and writes made to it.
class CountingStream : public FileHandle {
 public:
  CountingStream() { Reset(); }
  bool ReadData(void* buffer, int32_t count, int32_t* bytesRead) override {
    ++reads;
    return FileHandle::ReadData(buffer, count, bytesRead);
  }
  bool WriteData(const void* buffer, int32_t count) override {
    ++writes;
    return FileHandle::WriteData(buffer, count);
  }
  int64_t reads = 0;
  int64_t writes = 0;
};

// Compares two images and names the first differing offset.
inline ::testing::AssertionResult SameBytes(const std::vector<uint8_t>& expected, const std::vector<uint8_t>& actual) {
  if (expected.size() != actual.size()) {
    return ::testing::AssertionFailure() << "length " << actual.size() << ", expected " << expected.size();
  }
  for (size_t i = 0; i < expected.size(); ++i) {
    if (expected[i] != actual[i]) {
      return ::testing::AssertionFailure() << "offset " << i << ": 0x" << std::hex << int(actual[i]) << ", expected 0x"
                                           << int(expected[i]);
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace parvex::testing
