// A compact byte encoding of ParvexValues, for structures that hold many
// values in memory (result tables, indexes) without a heap object each.
//
// A value is a header byte (type, NULL flag, how the text's encoding is
// given), then, when not NULL: an Integer's or Boolean's number in 1 to 5
// bytes (small numbers short), a Double's 8 bytes, or for any other type its
// text's length, its bytes and a zero byte (plus the encoding code when it
// is neither UTF-8 nor the default). Numbers are in the machine's order (the
// encoding never leaves memory). Decoding gives back the same type, NULL
// flag and payload (a NULL decodes as the NULL of its type).
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "core/table.h"
#include "core/value.h"

namespace parvex {

// One encoded value, read in place (the text views the encoded bytes).
struct EncodedValue {
  ParvexDataType type = kTypeNone;
  bool null = true;
  int32_t integer = 0;
  double number = 0.0;
  uint32_t encoding = kEncodingDefault;
  std::string_view text;  // followed by a zero byte in the encoded bytes
};

// Appends the encoding of `value` (null: a NULL of type None).
void EncodeValue(std::string* out, const ParvexValue* value);
// The number of bytes EncodeValue appends for `value`.
size_t EncodedSize(const ParvexValue* value);
// Writes the encoding of `value` at `out`, which has room for EncodedSize
// bytes; returns the end of what it wrote.
char* EncodeValueTo(char* out, const ParvexValue* value);
// The same for a row of values (absent ones encode as NULL), in one call.
size_t EncodedSize(const ParvexValueList& values);
char* EncodeValuesTo(char* out, const ParvexValueList& values);
// Reads the value encoded at `*at` and moves `*at` past it (inline: rows
// are read value after value, straight into where the caller keeps them).
inline EncodedValue ReadEncodedValue(std::string_view bytes, size_t* at);
// Only moves `*at` past the value encoded there.
void SkipEncodedValue(std::string_view bytes, size_t* at);
ParvexValue DecodeValue(const EncodedValue& encoded);
// DecodeValue into an existing value, reusing its text buffer when no other
// value shares it (a row decoded over and over does not allocate each time).
void DecodeValueInto(const EncodedValue& encoded, ParvexValue* out);

// The layout's constants and number readers, shared with value_codec.cc.
namespace codec_detail {

constexpr uint8_t kNullFlag = 0x80;
constexpr uint8_t kOtherEncodingFlag = 0x40;
constexpr uint8_t kDefaultEncodingFlag = 0x20;
constexpr uint8_t kTypeMask = 0x1F;
constexpr uint8_t kTypeFollows = 0x1F;

inline bool IsNumberType(ParvexDataType type) { return type == kTypeInteger || type == kTypeBoolean; }

inline uint32_t ReadVarint(const char* bytes, size_t* at) {
  uint32_t n = 0;
  for (int shift = 0;; shift += 7) {
    const auto b = static_cast<uint8_t>(bytes[(*at)++]);
    n |= static_cast<uint32_t>(b & 0x7F) << shift;
    if (b < 0x80) return n;
  }
}

inline int32_t UnZigZag(uint32_t n) { return static_cast<int32_t>((n >> 1) ^ (0u - (n & 1))); }

template <typename T>
T ReadRaw(const char* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

}  // namespace codec_detail

inline EncodedValue ReadEncodedValue(std::string_view bytes, size_t* at) {
  using namespace codec_detail;
  EncodedValue v;
  const char* data = bytes.data();
  const auto header = static_cast<uint8_t>(data[(*at)++]);
  v.type = static_cast<ParvexDataType>(header & kTypeMask);
  if (v.type == kTypeFollows) v.type = static_cast<ParvexDataType>(data[(*at)++]);
  v.null = (header & kNullFlag) != 0;
  if (v.null) return v;
  if (IsNumberType(v.type)) {
    v.integer = UnZigZag(ReadVarint(data, at));
  } else if (v.type == kTypeDouble) {
    v.number = ReadRaw<double>(data + *at);
    *at += sizeof(double);
  } else {
    if (header & kOtherEncodingFlag) {
      v.encoding = ReadRaw<uint32_t>(data + *at);
      *at += sizeof(uint32_t);
    } else {
      v.encoding = header & kDefaultEncodingFlag ? kEncodingDefault : kEncodingUTF8;
    }
    const uint32_t length = ReadVarint(data, at);
    v.text = std::string_view(data + *at, length);
    *at += length + 1;
  }
  return v;
}

}  // namespace parvex
