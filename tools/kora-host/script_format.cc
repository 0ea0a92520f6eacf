// Value forms of kora-host scripts.
#include "script_format.h"

#include <charconv>

#include "kora/kora_plugin.h"

namespace kora_host {

bool ParseInteger(const std::string& text, int32_t* out) {
  const char* end = text.data() + text.size();
  auto [ptr, ec] = std::from_chars(text.data(), end, *out);
  return ec == std::errc() && ptr == end;
}

bool ParseDouble(const std::string& text, double* out) {
  if (text.find_first_of(".eE") == std::string::npos) return false;
  const char* end = text.data() + text.size();
  auto [ptr, ec] = std::from_chars(text.data(), end, *out);
  return ec == std::errc() && ptr == end;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string FormatNumber(double value) {
  char buffer[64];
  auto [ptr, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  if (ec != std::errc()) return "?";
  std::string text(buffer, ptr);
  // A double always shows as one: 2.0, not 2.
  if (text.find_first_of(".ein") == std::string::npos) text += ".0";
  return text;
}

const char* TextTypePrefix(int32_t type) {
  switch (type) {
    case KORA_FIELD_DATE: return "date:";
    case KORA_FIELD_TIME: return "time:";
    case KORA_FIELD_TIMESTAMP: return "timestamp:";
    case KORA_FIELD_BINARY: return "binary:";
    default: return "";
  }
}

}  // namespace kora_host
