// RandomAccessMechanism: the positioned byte stream under every file.
//
// Implementations: a host file (UnixDataFile), a growable memory buffer
// (FileHandle), a view of a fixed memory block (FilePtr) and a file inside a
// virtual volume (VFile). Offsets, lengths and counts are signed 32-bit. The
// typed helpers transfer 1, 2, 4 or 8 bytes and return true only when the full
// width moved. Shorts and longs follow the big-endian flag; doubles are
// big-endian only when both the big-endian and the double-swap flags are set,
// which is how old volume versions keep little-endian doubles. No operation
// throws; failures return false (or -1) and leave an errno-style code in
// LastError() (kStreamDamagedError when the stream's own structure failed).
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>

namespace parvex {

// The error code a stream reports when the bytes under it are damaged (for
// a file inside a volume: a block chain that breaks off, or an item shorter
// than its length says), as opposed to an error of the operating system.
inline constexpr int32_t kStreamDamagedError = EBADMSG;

class RandomAccessMechanism {
 public:
  RandomAccessMechanism() = default;
  RandomAccessMechanism(const RandomAccessMechanism&) = delete;
  RandomAccessMechanism& operator=(const RandomAccessMechanism&) = delete;
  virtual ~RandomAccessMechanism() = default;

  // Reads up to `count` bytes; `bytesRead` receives how many arrived.
  virtual bool ReadData(void* buffer, int32_t count, int32_t* bytesRead) = 0;
  virtual bool WriteData(const void* buffer, int32_t count) = 0;
  virtual bool Close() = 0;
  virtual bool IsEOF() = 0;
  virtual bool SeekFromStart(int32_t offset) = 0;
  virtual int32_t GetLength() = 0;
  virtual bool SetLength(int32_t length) = 0;
  virtual int32_t GetPosition() = 0;
  virtual bool FlushToDisk() { return true; }
  virtual void SetBigEndian() { mBigEndian = true; }
  virtual void SetLittleEndian() { mBigEndian = false; }

  void SetDoubleSwap(bool on) { mDoubleSwap = on; }
  bool IsBigEndian() const { return mBigEndian; }
  bool IsDoubleSwap() const { return mDoubleSwap; }
  int32_t LastError() const { return mLastError; }

  bool WriteByte(uint8_t value);
  bool ReadByte(uint8_t* value);
  bool WriteShort(uint16_t value);
  bool ReadShort(uint16_t* value);
  bool WriteLong(uint32_t value);
  bool ReadLong(uint32_t* value);
  bool ReadLong(int32_t* value);
  bool WriteDouble(double value);
  bool ReadDouble(double* value);
  // Variable-length signed integer: first byte = low 6 bits of the magnitude,
  // bit 6 = negative, bit 7 = more bytes follow; then 7 bits per byte.
  bool WriteEncodedInt(int32_t value);
  bool ReadEncodedInt(int32_t* value);

  // Scrambling of stored bytes (applied by streams that support it).
  void SetEncryption(bool on);
  bool IsScrambling() const { return mScrambling; }

 protected:
  // Reads or writes exactly `count` bytes; false on a short transfer.
  bool ReadExact(void* buffer, int32_t count);
  // Scrambles bytes about to be stored / unscrambles bytes just read, in place.
  void ScrambleForWrite(uint8_t* bytes, int32_t count);
  void UnscrambleAfterRead(uint8_t* bytes, int32_t count);
  void SetLastError(int32_t code) { mLastError = code; }

 private:
  int32_t mLastError = 0;
  bool mScrambling = false;
  bool mScramblingEverOn = false;
  uint8_t mScrambleKey = 0;
  bool mBigEndian = false;
  bool mDoubleSwap = false;
};

}  // namespace parvex
