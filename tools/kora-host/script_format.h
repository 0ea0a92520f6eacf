// Reading and writing the value forms of kora-host scripts.
#pragma once

#include <cstdint>
#include <string>

namespace kora_host {

// A whole word as a decimal integer.
bool ParseInteger(const std::string& text, int32_t* out);
// A whole word as a double; it must contain '.', 'e' or 'E'.
bool ParseDouble(const std::string& text, double* out);
// The value of a hex digit, or -1.
int HexValue(char c);
// The shortest text that reads back as the same double, with ".0" added
// where it would look like an integer.
std::string FormatNumber(double value);
// "date:", "time:", "timestamp:", "binary:" for those field types, else "".
const char* TextTypePrefix(int32_t type);

}  // namespace kora_host
