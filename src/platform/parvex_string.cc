// parvex::string: shared immutable bytes with an encoding code.
#include "platform/parvex_string.h"

#include <algorithm>
#include <cstring>

namespace parvex {

namespace {

inline unsigned char FoldAscii(unsigned char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

std::shared_ptr<const std::string> MakeBytes(std::string_view text) {
  if (text.empty()) return nullptr;
  return std::make_shared<std::string>(text);  // not const: Assign may reuse it
}

}  // namespace

int CompareNoCase(std::string_view a, std::string_view b) {
  const size_t n = std::min(a.size(), b.size());
  for (size_t i = 0; i < n; ++i) {
    const unsigned char x = FoldAscii(static_cast<unsigned char>(a[i]));
    const unsigned char y = FoldAscii(static_cast<unsigned char>(b[i]));
    if (x != y) return x < y ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

void string::Assign(std::string_view bytes, uint32_t encoding) {
  mEncoding = encoding;
  if (mBytes && !bytes.empty() && mBytes.use_count() == 1) {
    // Sole owner of bytes made by MakeBytes (a non-const object): no other
    // string can see the change.
    const_cast<std::string&>(*mBytes).assign(bytes);
    return;
  }
  mBytes = MakeBytes(bytes);
}

string::string(const char* text, uint32_t encoding)
    : mBytes(MakeBytes(text ? std::string_view(text) : std::string_view())), mEncoding(encoding) {}

string::string(std::string_view text, uint32_t encoding)
    : mBytes(MakeBytes(text)), mEncoding(encoding) {}

string::string(const char* bytes, size_t length, uint32_t encoding)
    : mBytes(MakeBytes(std::string_view(bytes, length))), mEncoding(encoding) {}

string string::WithEncoding(uint32_t encoding) const {
  string copy = *this;
  copy.mEncoding = encoding;
  return copy;
}

int string::Compare(const string& other) const { return CompareNoCase(view(), other.view()); }
int string::Compare(std::string_view other) const { return CompareNoCase(view(), other); }

int string::CompareWithCase(const string& other) const { return CompareWithCase(other.view()); }
int string::CompareWithCase(std::string_view other) const {
  const int c = view().compare(other);
  return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

string string::Substring(size_t start, size_t count) const {
  if (start >= length()) return string(std::string_view(), mEncoding);
  return string(view().substr(start, count), mEncoding);
}

string string::operator+(const string& other) const { return *this + other.view(); }

string string::operator+(std::string_view other) const {
  if (other.empty()) return *this;
  std::string joined;
  joined.reserve(length() + other.size());
  joined.append(view()).append(other);
  return string(joined, mEncoding);
}

}  // namespace parvex
