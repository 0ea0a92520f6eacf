// Bytes written by hand as hex, for golden images of the file formats.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace parvex::testing {

// Bytes from hex digits. Blanks, newlines and '|' separators are ignored;
// 'Z' followed by a decimal count and a blank stands for that many zero bytes
// ("Z256 "). An odd number of digits is a failure of the calling test.
std::vector<uint8_t> Hex(std::string_view text);

// The hex digits of a text (for ASCII parts of golden bytes).
std::string AsciiHex(std::string_view text);

}  // namespace parvex::testing
