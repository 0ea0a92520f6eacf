// The value encoding: writing, reading in place, decoding.
#include "core/value_codec.h"

#include <cstring>

namespace parvex {

namespace {

void AppendRaw(std::string* out, const void* bytes, size_t n) { out->append(static_cast<const char*>(bytes), n); }

template <typename T>
T ReadRaw(const char* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

}  // namespace

void EncodeValue(std::string* out, const ParvexValue* v) {
  const bool null = v == nullptr || v->IsNull();
  out->push_back(static_cast<char>(v ? v->Type() : kTypeNone));
  out->push_back(null ? 1 : 0);
  if (null) return;
  if (v->Type() == kTypeInteger || v->Type() == kTypeBoolean) {
    const int32_t i = v->RawInteger();
    AppendRaw(out, &i, sizeof i);
  } else if (v->Type() == kTypeDouble) {
    const double d = v->RawDouble();
    AppendRaw(out, &d, sizeof d);
  } else {
    const uint32_t encoding = v->RawText().Encoding();
    const auto length = static_cast<uint32_t>(v->RawText().length());
    AppendRaw(out, &encoding, sizeof encoding);
    AppendRaw(out, &length, sizeof length);
    out->append(v->RawText().view());
  }
}

size_t EncodedSize(const ParvexValue* v) {
  if (v == nullptr || v->IsNull()) return 2;
  if (v->Type() == kTypeInteger || v->Type() == kTypeBoolean) return 2 + sizeof(int32_t);
  if (v->Type() == kTypeDouble) return 2 + sizeof(double);
  return 2 + 8 + v->RawText().length();
}

EncodedValue ReadEncodedValue(std::string_view bytes, size_t* at) {
  EncodedValue v;
  v.type = static_cast<ParvexDataType>(bytes[*at]);
  v.null = bytes[*at + 1] != 0;
  *at += 2;
  if (v.null) return v;
  if (v.type == kTypeInteger || v.type == kTypeBoolean) {
    v.integer = ReadRaw<int32_t>(bytes.data() + *at);
    *at += sizeof(int32_t);
  } else if (v.type == kTypeDouble) {
    v.number = ReadRaw<double>(bytes.data() + *at);
    *at += sizeof(double);
  } else {
    v.encoding = ReadRaw<uint32_t>(bytes.data() + *at);
    const auto length = ReadRaw<uint32_t>(bytes.data() + *at + 4);
    v.text = bytes.substr(*at + 8, length);
    *at += 8 + length;
  }
  return v;
}

ParvexValue DecodeValue(const EncodedValue& e) {
  if (e.null) return ParvexValue::Null(e.type);
  if (e.type == kTypeInteger) return ParvexValue::Integer(e.integer);
  if (e.type == kTypeBoolean) return ParvexValue::Boolean(e.integer != 0);
  if (e.type == kTypeDouble) return ParvexValue::Double(e.number);
  return ParvexValue::Text(e.type, string(e.text.data(), e.text.size(), e.encoding));
}

}  // namespace parvex
