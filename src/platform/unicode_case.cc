// Unicode case mapping by binary search over generated range tables.
#include "platform/unicode_case.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>

#include "platform/text_encoding.h"

namespace parvex {

namespace {

// Code points first, first + stride, ... up to last map to themselves + delta.
struct CaseRange {
  char32_t first;
  char32_t last;
  int32_t delta;
  uint8_t stride;
};

#include "platform/unicode_case_table.inc"

template <size_t N>
char32_t MapCodePoint(const CaseRange (&ranges)[N], char32_t c) {
  // The last range whose first code point is not above c.
  const CaseRange* it = std::upper_bound(std::begin(ranges), std::end(ranges), c,
                                         [](char32_t value, const CaseRange& r) { return value < r.first; });
  if (it == std::begin(ranges)) return c;
  --it;
  if (c > it->last || (c - it->first) % it->stride != 0) return c;
  return static_cast<char32_t>(static_cast<int64_t>(c) + it->delta);
}

template <char32_t (*Map)(char32_t)>
string MapText(const string& text) {
  const std::string_view in = text.view();
  std::string out;
  out.reserve(in.size());
  for (size_t i = 0; i < in.size();) {
    const unsigned char b = static_cast<unsigned char>(in[i]);
    if (b < 0x80) {
      out.push_back(static_cast<char>(Map(b)));
      ++i;
      continue;
    }
    char32_t c;
    const size_t n = DecodeUTF8(in, i, &c);
    if (n == 0) {
      out.push_back(static_cast<char>(b));  // not UTF-8: copied as it is
      ++i;
    } else {
      AppendUTF8(out, Map(c));
      i += n;
    }
  }
  return string(out.data(), out.size(), text.Encoding());
}

}  // namespace

char32_t UnicodeToLower(char32_t codePoint) { return MapCodePoint(kToLowerRanges, codePoint); }
char32_t UnicodeToUpper(char32_t codePoint) { return MapCodePoint(kToUpperRanges, codePoint); }

string UTF8ToLower(const string& text) { return MapText<UnicodeToLower>(text); }
string UTF8ToUpper(const string& text) { return MapText<UnicodeToUpper>(text); }

}  // namespace parvex
