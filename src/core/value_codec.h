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
  std::string_view text;  // followed by a zero byte in the encoded bytes
};

// Appends the encoding of `value` (null: a NULL of type None).
void EncodeValue(std::string* out, const ParvexValue* value);
// The number of bytes EncodeValue appends for `value`.
size_t EncodedSize(const ParvexValue* value);
// Writes the encoding of `value` at `out`, which has room for EncodedSize
// bytes; returns the end of what it wrote.
char* EncodeValueTo(char* out, const ParvexValue* value);
// Reads the value encoded at `*at` and moves `*at` past it.
EncodedValue ReadEncodedValue(std::string_view bytes, size_t* at);
// Only moves `*at` past the value encoded there.
void SkipEncodedValue(std::string_view bytes, size_t* at);
ParvexValue DecodeValue(const EncodedValue& encoded);
// DecodeValue into an existing value, reusing its text buffer when no other
// value shares it (a row decoded over and over does not allocate each time).
void DecodeValueInto(const EncodedValue& encoded, ParvexValue* out);

}  // namespace parvex
