// Display width of UTF-8 text and escaping of control bytes.
#include "text_width.h"

#include <cstdint>

namespace parvex::shell {
namespace {

struct Range {
  uint32_t first;
  uint32_t last;
};

// Characters that take no column: combining marks, zero-width spaces and joiners, variation selectors.
constexpr Range kZeroWidth[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x0610, 0x061A}, {0x064B, 0x065F},
    {0x0E31, 0x0E31}, {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E}, {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF},
    {0x200B, 0x200F}, {0x202A, 0x202E}, {0x2060, 0x2064}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F},
    {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}, {0xE0100, 0xE01EF},
};

// East Asian wide and full-width blocks, and the emoji planes.
constexpr Range kWide[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x23E9, 0x23EC},
    {0x25FD, 0x25FE},   {0x2614, 0x2615},   {0x2648, 0x2653},   {0x26AA, 0x26AB},
    {0x26BD, 0x26BE},   {0x26C4, 0x26C5},   {0x26F2, 0x26F5},   {0x2705, 0x2705},
    {0x270A, 0x270B},   {0x2728, 0x2728},   {0x274C, 0x274C},   {0x2753, 0x2755},
    {0x2795, 0x2797},   {0x2B1B, 0x2B1C},   {0x2E80, 0x303E},   {0x3041, 0x33FF},
    {0x3400, 0x4DBF},   {0x4E00, 0x9FFF},   {0xA000, 0xA4CF},   {0xA960, 0xA97F},
    {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE10, 0xFE19},   {0xFE30, 0xFE6F},
    {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},   {0x1F300, 0x1F64F}, {0x1F900, 0x1F9FF},
    {0x1FA70, 0x1FAFF}, {0x20000, 0x2FFFD}, {0x30000, 0x3FFFD},
};

template <size_t N>
bool InRanges(uint32_t c, const Range (&ranges)[N]) {
  for (const Range& r : ranges) {
    if (c < r.first) return false;  // the tables are sorted
    if (c <= r.last) return true;
  }
  return false;
}

// Decodes one UTF-8 sequence at text[i]; returns its length, 0 when invalid.
size_t DecodeUtf8(std::string_view text, size_t i, uint32_t* codePoint) {
  const auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
  const unsigned char lead = byte(i);
  size_t length;
  uint32_t c;
  if (lead < 0x80) {
    *codePoint = lead;
    return 1;
  } else if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    c = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    c = lead & 0x0F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    c = lead & 0x07;
  } else {
    return 0;
  }
  if (i + length > text.size()) return 0;
  for (size_t k = 1; k < length; ++k) {
    if ((byte(i + k) & 0xC0) != 0x80) return 0;
    c = (c << 6) | (byte(i + k) & 0x3F);
  }
  // Overlong forms, surrogates and values past U+10FFFF are not valid.
  if ((length == 3 && c < 0x800) || (length == 4 && (c < 0x10000 || c > 0x10FFFF)) ||
      (c >= 0xD800 && c <= 0xDFFF)) {
    return 0;
  }
  *codePoint = c;
  return length;
}

}  // namespace

size_t Utf8SequenceLength(std::string_view text, size_t i) {
  uint32_t c = 0;
  return i < text.size() ? DecodeUtf8(text, i, &c) : 0;
}

size_t DisplayWidth(std::string_view text) {
  size_t width = 0;
  for (size_t i = 0; i < text.size();) {
    uint32_t c = 0;
    const size_t length = DecodeUtf8(text, i, &c);
    if (length == 0) {
      ++width;
      ++i;
      continue;
    }
    i += length;
    if (c < 0x80) {
      width += c >= 0x20 && c != 0x7F ? 1 : 0;
    } else if (InRanges(c, kZeroWidth)) {
      // no column
    } else {
      width += InRanges(c, kWide) ? 2 : 1;
    }
  }
  return width;
}

std::string EscapeControlBytes(std::string_view text) {
  static const char kHex[] = "0123456789abcdef";
  std::string out;
  out.reserve(text.size());
  for (char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    if (c >= 0x20 && c != 0x7F) {
      out.push_back(ch);
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else if (c == '\t') {
      out += "\\t";
    } else {
      out += "\\x";
      out.push_back(kHex[c >> 4]);
      out.push_back(kHex[c & 0xF]);
    }
  }
  return out;
}

}  // namespace parvex::shell
