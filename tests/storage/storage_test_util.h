// Test helpers for the storage layer: a memory file that outlives the stream
// the storage owns, and value list builders.
#pragma once

#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/table.h"
#include "harness/hex.h"
#include "platform/memory_stream.h"
#include "storage/record_storage.h"

namespace parvex::testing {

// The bytes of a file plus switches that make writes fail, and reads fail
// with EIO from an offset on; shared by the test and the stream handed to the
// storage.
struct MemFile {
  FileHandle bytes;
  bool failWrites = false;
  int32_t failReadsFrom = -1;

  std::vector<uint8_t> Contents() {
    const uint8_t* b = bytes.Bytes();
    return b ? std::vector<uint8_t>(b, b + bytes.GetLength()) : std::vector<uint8_t>();
  }
  void SetContents(const std::vector<uint8_t>& data) {
    bytes.Reset();
    bytes.WriteData(data.data(), static_cast<int32_t>(data.size()));
    bytes.SeekFromStart(0);
  }
};

// A big-endian stream (doubles swapped, as the file access layer hands them
// out) over a shared MemFile.
class SharedStream : public RandomAccessMechanism {
 public:
  explicit SharedStream(std::shared_ptr<MemFile> file) : mFile(std::move(file)) {
    SetBigEndian();
    SetDoubleSwap(true);
  }
  bool ReadData(void* buffer, int32_t count, int32_t* bytesRead) override {
    if (mFile->failReadsFrom >= 0 && GetPosition() + count > mFile->failReadsFrom) {
      if (bytesRead) *bytesRead = 0;
      SetLastError(EIO);
      return false;
    }
    return mFile->bytes.ReadData(buffer, count, bytesRead);
  }
  bool WriteData(const void* buffer, int32_t count) override {
    return !mFile->failWrites && mFile->bytes.WriteData(buffer, count);
  }
  bool Close() override { return true; }
  bool IsEOF() override { return mFile->bytes.IsEOF(); }
  bool SeekFromStart(int32_t offset) override { return mFile->bytes.SeekFromStart(offset); }
  int32_t GetLength() override { return mFile->bytes.GetLength(); }
  bool SetLength(int32_t length) override { return !mFile->failWrites && mFile->bytes.SetLength(length); }
  int32_t GetPosition() override { return mFile->bytes.GetPosition(); }

 private:
  std::shared_ptr<MemFile> mFile;
};

inline std::unique_ptr<RandomAccessMechanism> Open(const std::shared_ptr<MemFile>& file) {
  if (!file) return nullptr;
  file->bytes.SeekFromStart(0);
  return std::make_unique<SharedStream>(file);
}

// A value list under construction: List().Int(1, 5).Str(2, "x").
class List {
 public:
  List() = default;
  List& Add(long id, const ParvexValue& v) {
    mValues.list.push_back(new ParvexValueWithID(v, id));
    return *this;
  }
  List& Int(long id, int32_t v) { return Add(id, ParvexValue::Integer(v)); }
  List& Str(long id, const string& v) { return Add(id, ParvexValue::String(v)); }
  List& Bool(long id, bool v) { return Add(id, ParvexValue::Boolean(v)); }
  List& Dbl(long id, double v) { return Add(id, ParvexValue::Double(v)); }
  List& Null(long id, ParvexDataType type = kTypeNone) { return Add(id, ParvexValue::Null(type)); }
  const ParvexValueList& values() const { return mValues.list; }
  operator const ParvexValueList&() const { return mValues.list; }  // NOLINT: builder

 private:
  OwnedValueList mValues;
};

}  // namespace parvex::testing
