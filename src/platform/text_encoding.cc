// UTF-8 / UTF-16 / single-byte conversion.
#include "platform/text_encoding.h"

#include <cstring>
#include <vector>

namespace parvex {

namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kMaxCodePoint = 0x10FFFF;
constexpr char32_t kSurrogateFirst = 0xD800;
constexpr char32_t kSurrogateLast = 0xDFFF;
constexpr char32_t kLowSurrogateFirst = 0xDC00;
constexpr char32_t kSupplementaryFirst = 0x10000;
constexpr char kUnmappable = '?';

bool IsSurrogate(char32_t c) { return c >= kSurrogateFirst && c <= kSurrogateLast; }

// Decodes the whole text into code points.
std::vector<char32_t> Decode(const string& text) {
  std::vector<char32_t> out;
  const std::string_view bytes = text.view();
  if (text.Encoding() == kEncodingUTF8) {
    out.reserve(bytes.size());
    for (size_t i = 0; i < bytes.size();) {
      char32_t c;
      const size_t n = DecodeUTF8(bytes, i, &c);
      if (n == 0) {
        out.push_back(static_cast<unsigned char>(bytes[i]));  // a stray byte as itself
        ++i;
      } else {
        out.push_back(c);
        i += n;
      }
    }
  } else if (text.Encoding() == kEncodingUTF16) {
    out.reserve(bytes.size() / 2 + 1);
    size_t i = 0;
    auto unit = [&](size_t at) {
      uint16_t u;
      std::memcpy(&u, bytes.data() + at, sizeof u);
      return static_cast<char32_t>(u);
    };
    for (; i + 1 < bytes.size(); i += 2) {
      const char32_t u = unit(i);
      if (u >= kSurrogateFirst && u < kLowSurrogateFirst && i + 3 < bytes.size()) {
        const char32_t low = unit(i + 2);
        if (low >= kLowSurrogateFirst && low <= kSurrogateLast) {
          out.push_back(kSupplementaryFirst + ((u - kSurrogateFirst) << 10) + (low - kLowSurrogateFirst));
          i += 2;
          continue;
        }
      }
      out.push_back(IsSurrogate(u) ? kReplacement : u);
    }
    if (i < bytes.size()) out.push_back(kReplacement);  // odd trailing byte
  } else {
    out.reserve(bytes.size());
    for (unsigned char b : bytes) out.push_back(b);
  }
  return out;
}

void AppendUTF16(std::string& out, char32_t c) {
  auto unit = [&](char32_t u) {
    const uint16_t v = static_cast<uint16_t>(u);
    char b[sizeof v];
    std::memcpy(b, &v, sizeof v);
    out.append(b, sizeof v);
  };
  if (c >= kSupplementaryFirst) {
    c -= kSupplementaryFirst;
    unit(kSurrogateFirst + (c >> 10));
    unit(kLowSurrogateFirst + (c & 0x3FF));
  } else {
    unit(c);
  }
}

}  // namespace

size_t DecodeUTF8(std::string_view text, size_t pos, char32_t* codePoint) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(pos);
  if (lead < 0x80) {
    *codePoint = lead;
    return 1;
  }
  size_t length;
  char32_t c;
  char32_t minimum;
  if ((lead & 0xE0) == 0xC0) {
    length = 2, c = lead & 0x1F, minimum = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3, c = lead & 0x0F, minimum = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4, c = lead & 0x07, minimum = 0x10000;
  } else {
    return 0;
  }
  if (text.size() - pos < length) return 0;
  for (size_t k = 1; k < length; ++k) {
    if (!IsUTF8Continuation(byte(pos + k))) return 0;
    c = (c << 6) | (byte(pos + k) & 0x3F);
  }
  if (c < minimum || c > kMaxCodePoint || IsSurrogate(c)) return 0;
  *codePoint = c;
  return length;
}

void AppendUTF8(std::string& out, char32_t c) {
  if (c < 0x80) {
    out.push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (c >> 6)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (c >> 12)));
    out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (c >> 18)));
    out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

string ConvertEncoding(const string& text, uint32_t encoding) {
  if (text.Encoding() == encoding ||
      (IsSingleByteEncoding(text.Encoding()) && IsSingleByteEncoding(encoding))) {
    return text.WithEncoding(encoding);
  }
  const std::vector<char32_t> codePoints = Decode(text);
  std::string out;
  out.reserve(codePoints.size() * (encoding == kEncodingUTF16 ? 2 : 1));
  for (char32_t c : codePoints) {
    if (encoding == kEncodingUTF8) {
      AppendUTF8(out, c);
    } else if (encoding == kEncodingUTF16) {
      AppendUTF16(out, c);
    } else {
      out.push_back(c <= 0xFF ? static_cast<char>(c) : kUnmappable);
    }
  }
  return string(out.data(), out.size(), encoding);
}

}  // namespace parvex
