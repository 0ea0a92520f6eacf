// Number formatting: shortest round-trip doubles, signed decimal integers.
#include "platform/number_format.h"

#include <charconv>
#include <cmath>

namespace parvex {

std::string FormatInteger(int64_t value) {
  char buffer[32];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

std::string FormatDouble(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
  char buffer[64];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

int32_t ParseLeadingInteger(const char* text, size_t length) {
  size_t i = 0;
  while (i < length && (text[i] == ' ' || text[i] == '\t' || text[i] == '\n' || text[i] == '\r')) ++i;
  bool negative = false;
  if (i < length && (text[i] == '-' || text[i] == '+')) {
    negative = text[i] == '-';
    ++i;
  }
  uint32_t magnitude = 0;
  for (; i < length && text[i] >= '0' && text[i] <= '9'; ++i) {
    magnitude = magnitude * 10u + static_cast<uint32_t>(text[i] - '0');
  }
  if (negative) magnitude = 0u - magnitude;
  return static_cast<int32_t>(magnitude);
}

}  // namespace parvex
