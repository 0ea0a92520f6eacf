// Number-to-text helpers shared by values, printing and the tools.
//
// Integers print in decimal with a leading '-' when negative. Doubles print as
// the shortest text that reads back to the same double (std::to_chars), so no
// precision is lost; infinities print as "inf"/"-inf" and NaN as "nan".
#pragma once

#include <cstdint>
#include <string>

namespace parvex {

std::string FormatInteger(int64_t value);
std::string FormatDouble(double value);

// Reads the decimal integer at the start of `text` the way the engine reads a
// string as an integer: optional blanks, an optional sign, then digits; stops
// at the first other byte; 0 when there are no digits. Wraps to 32 bits.
int32_t ParseLeadingInteger(const char* text, size_t length);

}  // namespace parvex
