// UTF-8 decoding and encoding, and conversion of a string between the
// encodings the engine distinguishes.
//
// Three families of encoding codes exist: UTF-8 (kEncodingUTF8), UTF-16
// (kEncodingUTF16, code units in the machine's byte order, no byte-order
// mark) and every other code, which is a single-byte encoding read as
// ISO-8859-1 (each byte is the code point of the same value). Conversion
// never fails: bytes that are not valid UTF-8 are taken as single-byte
// characters, a dangling UTF-16 byte or unpaired surrogate becomes U+FFFD, and
// a character a single-byte encoding cannot hold becomes '?'.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/parvex_string.h"

namespace parvex {

// ASCII letters changed to the other case, every other byte unchanged (the
// folding behind string::Compare, LIKE and the single-byte LOWER / UPPER).
inline char AsciiToLower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + ('a' - 'A')) : c; }
inline char AsciiToUpper(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - ('a' - 'A')) : c; }

// True for bytes of the form 10xxxxxx.
inline bool IsUTF8Continuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// Decodes the UTF-8 sequence at `pos` (pos < text.size()). Returns its length
// (1 to 4) and stores the code point, or returns 0 when the bytes there are
// not a valid shortest-form sequence of a scalar value (overlong forms,
// surrogates, values above U+10FFFF and truncated sequences are invalid).
size_t DecodeUTF8(std::string_view text, size_t pos, char32_t* codePoint);

// Appends the UTF-8 form of a scalar value (at most U+10FFFF, no surrogate).
void AppendUTF8(std::string& out, char32_t codePoint);

// True when `encoding` is neither UTF-8 nor UTF-16.
inline bool IsSingleByteEncoding(uint32_t encoding) {
  return encoding != kEncodingUTF8 && encoding != kEncodingUTF16;
}

// The text re-encoded in `encoding` and labelled with it. Between two
// single-byte codes the bytes are kept and only the label changes.
string ConvertEncoding(const string& text, uint32_t encoding);

}  // namespace parvex
