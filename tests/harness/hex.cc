// Hand-written hex to bytes and back.
#include "harness/hex.h"

#include <gtest/gtest.h>

#include <cctype>

namespace parvex::testing {

std::vector<uint8_t> Hex(std::string_view text) {
  std::vector<uint8_t> out;
  int high = -1;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == 'Z') {
      size_t n = 0;
      while (i + 1 < text.size() && std::isdigit(static_cast<unsigned char>(text[i + 1]))) {
        n = n * 10 + static_cast<size_t>(text[++i] - '0');
      }
      out.insert(out.end(), n, 0);
      continue;
    }
    if (!std::isxdigit(static_cast<unsigned char>(c))) continue;
    const int digit = std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : std::tolower(c) - 'a' + 10;
    if (high < 0) {
      high = digit;
    } else {
      out.push_back(static_cast<uint8_t>(high * 16 + digit));
      high = -1;
    }
  }
  EXPECT_EQ(high, -1) << "odd number of hex digits";
  return out;
}

std::string AsciiHex(std::string_view text) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : text) {
    out.push_back(kDigits[c >> 4]);
    out.push_back(kDigits[c & 15]);
  }
  return out;
}

}  // namespace parvex::testing
