// A compact byte encoding of ParvexValues, for structures that hold many
// values in memory (result tables, indexes) without a heap object each.
//
// A value is a type byte and a NULL byte, then, when not NULL: an Integer's or
// Boolean's 4 bytes, a Double's 8, or for any other type its text's encoding
// code (4 bytes), length (4 bytes) and bytes. Numbers are in the
// machine's order (the encoding never leaves memory). Decoding gives back the
// same type, NULL flag and payload (a NULL decodes as the NULL of its type).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/value.h"

namespace parvex {

// One encoded value, read in place (the text views the encoded bytes).
struct EncodedValue {
  ParvexDataType type = kTypeNone;
  bool null = true;
  int32_t integer = 0;
  double number = 0.0;
  uint32_t encoding = kEncodingDefault;
  std::string_view text;
};

// Appends the encoding of `value` (null: a NULL of type None).
void EncodeValue(std::string* out, const ParvexValue* value);
// The number of bytes EncodeValue appends for `value`.
size_t EncodedSize(const ParvexValue* value);
// Reads the value encoded at `*at` and moves `*at` past it.
EncodedValue ReadEncodedValue(std::string_view bytes, size_t* at);
ParvexValue DecodeValue(const EncodedValue& encoded);

}  // namespace parvex
