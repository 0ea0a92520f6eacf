// parvex::string: the engine's shared, immutable byte string.
//
// A string is a run of bytes plus a text-encoding code. Copies share one
// reference-counted buffer, so passing strings around is cheap; nothing ever
// changes a buffer in place (operations that "change" a string build a new
// one). The buffer is always followed by a NUL byte, so `c_str()` is safe to
// scan up to the terminator. Names of tables, columns and indexes are matched
// with `Compare` (ASCII case folding, like strcasecmp); `CompareWithCase`
// compares bytes exactly.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace parvex {

// Text-encoding codes carried by strings.
constexpr uint32_t kEncodingDefault = 1536;
constexpr uint32_t kEncodingUTF8 = 134217984;  // 0x8000100
constexpr uint32_t kEncodingUTF16 = 256;

class string {
 public:
  string() = default;
  string(const char* text, uint32_t encoding = kEncodingDefault);  // NOLINT: implicit by design
  string(std::string_view text, uint32_t encoding = kEncodingDefault);
  string(const char* bytes, size_t length, uint32_t encoding);

  // The bytes (not NUL-terminated in general; see c_str) and their count.
  const char* data() const { return mBytes ? mBytes->data() : ""; }
  const char* c_str() const { return data(); }
  size_t length() const { return mBytes ? mBytes->size() : 0; }
  size_t size() const { return length(); }
  bool empty() const { return length() == 0; }
  std::string_view view() const { return {data(), length()}; }
  std::string str() const { return std::string(view()); }
  unsigned char operator[](size_t i) const { return static_cast<unsigned char>(data()[i]); }

  uint32_t Encoding() const { return mEncoding; }
  // Replaces the bytes and the encoding. Bytes no other string shares are
  // overwritten in place, so a string refilled over and over (a value read
  // row after row) does not allocate each time.
  void Assign(std::string_view bytes, uint32_t encoding);
  // The same bytes under another encoding code (no conversion of the bytes).
  string WithEncoding(uint32_t encoding) const;

  // Case-insensitive comparison: ASCII letters folded to lower case, then
  // unsigned bytes; a prefix sorts first. Returns <0, 0 or >0.
  int Compare(const string& other) const;
  int Compare(std::string_view other) const;
  int Compare(const char* other) const { return Compare(std::string_view(other)); }
  // Exact byte comparison; a prefix sorts first.
  int CompareWithCase(const string& other) const;
  int CompareWithCase(std::string_view other) const;
  int CompareWithCase(const char* other) const { return CompareWithCase(std::string_view(other)); }

  // Bytes [start, start + count), clamped to the string. Keeps the encoding.
  string Substring(size_t start, size_t count = std::string_view::npos) const;
  // Concatenation; the result takes this string's encoding.
  string operator+(const string& other) const;
  string operator+(std::string_view other) const;
  string operator+(const char* other) const { return *this + std::string_view(other); }

 private:
  std::shared_ptr<const std::string> mBytes;  // null for the empty string
  uint32_t mEncoding = kEncodingDefault;
};

// Case-insensitive ASCII comparison of two byte runs (strcasecmp semantics
// extended to embedded NULs and lengths).
int CompareNoCase(std::string_view a, std::string_view b);

}  // namespace parvex
