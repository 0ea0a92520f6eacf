// The value encoding: writing, skipping, decoding (reading in place is
// inline in the header).
//
// A value starts with a header byte: the type in the low five bits (31
// means the type follows in a byte of its own) and flags in the top three:
// 0x80 NULL; for texts 0x20 for the default encoding, 0x40 for an encoding
// code that follows in 4 bytes, neither for UTF-8. Integers and Booleans
// follow as zigzag base-128 numbers (1 to 5 bytes, small ones short),
// Doubles as 8 bytes, texts as a base-128 length, the bytes and a zero byte
// (so that a text read in place can be handed out as a C string).
#include "core/value_codec.h"

#include <cstring>

namespace parvex {

using namespace codec_detail;

namespace {

template <typename T>
char* WriteRaw(char* out, const T& value) {
  std::memcpy(out, &value, sizeof value);
  return out + sizeof value;
}

char* WriteVarint(char* out, uint32_t n) {
  while (n >= 0x80) {
    *out++ = static_cast<char>(n | 0x80);
    n >>= 7;
  }
  *out++ = static_cast<char>(n);
  return out;
}

size_t VarintSize(uint32_t n) {
  size_t size = 1;
  for (; n >= 0x80; n >>= 7) ++size;
  return size;
}

uint32_t ZigZag(int32_t i) { return (static_cast<uint32_t>(i) << 1) ^ static_cast<uint32_t>(i >> 31); }

uint8_t EncodingFlag(uint32_t encoding) {
  if (encoding == kEncodingUTF8) return 0;
  return encoding == kEncodingDefault ? kDefaultEncodingFlag : kOtherEncodingFlag;
}

}  // namespace

char* EncodeValueTo(char* out, const ParvexValue* v) {
  const bool null = v == nullptr || v->IsNull();
  const ParvexDataType type = v ? v->Type() : kTypeNone;
  uint8_t flags = null ? kNullFlag : 0;
  const bool text = !null && !IsNumberType(type) && type != kTypeDouble;
  if (text) flags |= EncodingFlag(v->RawText().Encoding());
  if (type < kTypeFollows) {
    *out++ = static_cast<char>(type | flags);
  } else {
    *out++ = static_cast<char>(kTypeFollows | flags);
    *out++ = static_cast<char>(type);
  }
  if (null) return out;
  if (IsNumberType(type)) return WriteVarint(out, ZigZag(v->RawInteger()));
  if (type == kTypeDouble) return WriteRaw(out, v->RawDouble());
  if (flags & kOtherEncodingFlag) out = WriteRaw(out, v->RawText().Encoding());
  const size_t length = v->RawText().length();
  out = WriteVarint(out, static_cast<uint32_t>(length));
  if (length > 0) std::memcpy(out, v->RawText().data(), length);
  out[length] = '\0';
  return out + length + 1;
}

size_t EncodedSize(const ParvexValueList& values) {
  size_t bytes = 0;
  for (const ParvexValueWithID* value : values) bytes += EncodedSize(value);
  return bytes;
}

char* EncodeValuesTo(char* out, const ParvexValueList& values) {
  for (const ParvexValueWithID* value : values) out = EncodeValueTo(out, value);
  return out;
}

void EncodeValue(std::string* out, const ParvexValue* v) {
  const size_t at = out->size();
  out->resize(at + EncodedSize(v));
  EncodeValueTo(out->data() + at, v);
}

size_t EncodedSize(const ParvexValue* v) {
  const size_t header = v && v->Type() >= kTypeFollows ? 2 : 1;
  if (v == nullptr || v->IsNull()) return header;
  if (IsNumberType(v->Type())) return header + VarintSize(ZigZag(v->RawInteger()));
  if (v->Type() == kTypeDouble) return header + sizeof(double);
  const size_t length = v->RawText().length();
  const size_t encoding = EncodingFlag(v->RawText().Encoding()) & kOtherEncodingFlag ? sizeof(uint32_t) : 0;
  return header + encoding + VarintSize(static_cast<uint32_t>(length)) + length + 1;
}

void SkipEncodedValue(std::string_view bytes, size_t* at) {
  const char* data = bytes.data();
  const auto header = static_cast<uint8_t>(data[(*at)++]);
  auto type = static_cast<ParvexDataType>(header & kTypeMask);
  if (type == kTypeFollows) type = static_cast<ParvexDataType>(data[(*at)++]);
  if (header & kNullFlag) return;
  if (IsNumberType(type)) {
    while (static_cast<uint8_t>(data[(*at)++]) >= 0x80) {
    }
  } else if (type == kTypeDouble) {
    *at += sizeof(double);
  } else {
    if (header & kOtherEncodingFlag) *at += sizeof(uint32_t);
    const uint32_t length = ReadVarint(data, at);
    *at += length + 1;
  }
}

ParvexValue DecodeValue(const EncodedValue& e) {
  if (e.null) return ParvexValue::Null(e.type);
  if (e.type == kTypeInteger) return ParvexValue::Integer(e.integer);
  if (e.type == kTypeBoolean) return ParvexValue::Boolean(e.integer != 0);
  if (e.type == kTypeDouble) return ParvexValue::Double(e.number);
  return ParvexValue::Text(e.type, string(e.text.data(), e.text.size(), e.encoding));
}

void DecodeValueInto(const EncodedValue& e, ParvexValue* out) {
  if (e.null) {
    out->SetNull(e.type);
  } else if (e.type == kTypeInteger) {
    out->SetInteger(e.integer);
  } else if (e.type == kTypeBoolean) {
    out->SetBoolean(e.integer != 0);
  } else if (e.type == kTypeDouble) {
    out->SetDouble(e.number);
  } else {
    out->AssignText(e.type, e.text, e.encoding);
  }
}

}  // namespace parvex
