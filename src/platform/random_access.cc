// Typed reads and writes of RandomAccessMechanism, and byte scrambling.
#include "platform/random_access.h"

#include <cerrno>
#include <cstring>

namespace parvex {

namespace {

constexpr uint8_t kScrambleStartKey = 0x5A;

template <size_t N>
void Reverse(uint8_t (&bytes)[N]) {
  for (size_t i = 0; i < N / 2; ++i) {
    uint8_t t = bytes[i];
    bytes[i] = bytes[N - 1 - i];
    bytes[N - 1 - i] = t;
  }
}

// Writes `value` as N bytes in big- or little-endian order.
template <size_t N, typename U>
void Store(U value, bool bigEndian, uint8_t (&bytes)[N]) {
  for (size_t i = 0; i < N; ++i) bytes[i] = static_cast<uint8_t>(value >> (8 * i));
  if (bigEndian) Reverse(bytes);
}

template <size_t N, typename U>
U Load(uint8_t (&bytes)[N], bool bigEndian) {
  if (bigEndian) Reverse(bytes);
  U value = 0;
  for (size_t i = 0; i < N; ++i) value |= static_cast<U>(static_cast<U>(bytes[i]) << (8 * i));
  return value;
}

}  // namespace

bool RandomAccessMechanism::ReadExact(void* buffer, int32_t count) {
  int32_t got = 0;
  if (!ReadData(buffer, count, &got)) return false;
  return got == count;
}

bool RandomAccessMechanism::WriteByte(uint8_t value) { return WriteData(&value, 1); }

bool RandomAccessMechanism::ReadByte(uint8_t* value) { return ReadExact(value, 1); }

bool RandomAccessMechanism::WriteShort(uint16_t value) {
  uint8_t bytes[2];
  Store(value, mBigEndian, bytes);
  return WriteData(bytes, 2);
}

bool RandomAccessMechanism::ReadShort(uint16_t* value) {
  uint8_t bytes[2];
  if (!ReadExact(bytes, 2)) return false;
  *value = Load<2, uint16_t>(bytes, mBigEndian);
  return true;
}

bool RandomAccessMechanism::WriteLong(uint32_t value) {
  uint8_t bytes[4];
  Store(value, mBigEndian, bytes);
  return WriteData(bytes, 4);
}

bool RandomAccessMechanism::ReadLong(uint32_t* value) {
  uint8_t bytes[4];
  if (!ReadExact(bytes, 4)) return false;
  *value = Load<4, uint32_t>(bytes, mBigEndian);
  return true;
}

bool RandomAccessMechanism::ReadLong(int32_t* value) {
  uint32_t raw = 0;
  if (!ReadLong(&raw)) return false;
  *value = static_cast<int32_t>(raw);
  return true;
}

bool RandomAccessMechanism::WriteDouble(double value) {
  uint64_t raw;
  std::memcpy(&raw, &value, sizeof raw);
  uint8_t bytes[8];
  Store(raw, mBigEndian && mDoubleSwap, bytes);
  return WriteData(bytes, 8);
}

bool RandomAccessMechanism::ReadDouble(double* value) {
  uint8_t bytes[8];
  if (!ReadExact(bytes, 8)) return false;
  uint64_t raw = Load<8, uint64_t>(bytes, mBigEndian && mDoubleSwap);
  std::memcpy(value, &raw, sizeof raw);
  return true;
}

bool RandomAccessMechanism::WriteEncodedInt(int32_t value) {
  // The most negative value has no positive magnitude: its bit pattern is the
  // magnitude and no sign is recorded.
  const bool negative = value < 0 && value != INT32_MIN;
  uint32_t magnitude = negative ? 0u - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
  uint8_t bytes[6];
  int n = 0;
  uint8_t first = static_cast<uint8_t>(magnitude & 0x3F);
  if (negative) first |= 0x40;
  magnitude >>= 6;
  if (magnitude) first |= 0x80;
  bytes[n++] = first;
  while (magnitude) {
    uint8_t next = static_cast<uint8_t>(magnitude & 0x7F);
    magnitude >>= 7;
    if (magnitude) next |= 0x80;
    bytes[n++] = next;
  }
  return WriteData(bytes, n);
}

bool RandomAccessMechanism::ReadEncodedInt(int32_t* value) {
  uint8_t byte = 0;
  if (!ReadByte(&byte)) return false;
  const bool negative = byte & 0x40;
  uint32_t magnitude = byte & 0x3F;
  int shift = 6;
  while (byte & 0x80) {
    if (!ReadByte(&byte)) return false;
    if (shift < 32) magnitude |= static_cast<uint32_t>(byte & 0x7F) << shift;
    shift += 7;
    if (shift > 48) {  // more continuation bytes than any 32-bit value needs
      SetLastError(EINVAL);
      return false;
    }
  }
  if (magnitude == 0x80000000u) {
    *value = INT32_MIN;
  } else {
    *value = negative ? -static_cast<int32_t>(magnitude) : static_cast<int32_t>(magnitude);
  }
  return true;
}

void RandomAccessMechanism::SetEncryption(bool on) {
  if (on && !mScramblingEverOn) {
    mScramblingEverOn = true;
    mScrambleKey = kScrambleStartKey;
  }
  mScrambling = on;
}

void RandomAccessMechanism::ScrambleForWrite(uint8_t* bytes, int32_t count) {
  if (!mScrambling) return;
  for (int32_t i = 0; i < count; ++i) {
    const uint8_t plain = bytes[i];
    bytes[i] = plain ^ mScrambleKey;
    mScrambleKey ^= plain;
  }
}

void RandomAccessMechanism::UnscrambleAfterRead(uint8_t* bytes, int32_t count) {
  if (!mScrambling) return;
  for (int32_t i = 0; i < count; ++i) {
    const uint8_t plain = bytes[i] ^ mScrambleKey;
    bytes[i] = plain;
    mScrambleKey ^= plain;
  }
}

}  // namespace parvex
