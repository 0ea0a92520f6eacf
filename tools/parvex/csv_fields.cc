// Typed values and column names from CSV text.
#include "csv_fields.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <unordered_set>

#include "text_width.h"

namespace parvex::shell {
namespace {

std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

// A field's text in a message: quoted, with line ends and control bytes made visible.
std::string Quote(std::string_view text) {
  std::string quoted(1, '\'');
  quoted += EscapeControlBytes(text);
  quoted += '\'';
  return quoted;
}

bool ParseInteger(std::string_view text, int32_t* value) {
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  int64_t wide = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), wide);
  if (text.empty() || result.ec != std::errc() || result.ptr != text.data() + text.size()) return false;
  if (wide < std::numeric_limits<int32_t>::min() || wide > std::numeric_limits<int32_t>::max()) return false;
  *value = static_cast<int32_t>(wide);
  return true;
}

bool SameText(std::string_view a, const char* b) { return CompareNoCase(a, b) == 0; }

}  // namespace

std::vector<std::string> ColumnNamesFromHeader(const std::vector<std::string>& header) {
  std::vector<std::string> names;
  std::unordered_set<std::string> taken;  // lower-cased: names match case-insensitively
  const auto lower = [](std::string text) {
    for (char& c : text) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
    return text;
  };
  for (size_t i = 0; i < header.size(); ++i) {
    std::string name;
    for (char c : header[i]) {
      const bool keep = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                        c == '_' || c == '#';
      name.push_back(keep ? c : '_');
    }
    if (name.empty()) name = "column" + std::to_string(i + 1);
    if (name.front() >= '0' && name.front() <= '9') name.insert(name.begin(), '_');
    std::string unique = name;
    for (int suffix = 2; !taken.insert(lower(unique)).second; ++suffix) {
      unique = name + "_" + std::to_string(suffix);
    }
    names.push_back(unique);
  }
  return names;
}

bool ConvertCsvField(const CsvField& field, ParvexDataType type, ParvexValue* value, std::string* problem) {
  if (field.text.empty() && !field.quoted) {
    value->SetNull(type);
    return true;
  }
  const std::string_view text = TrimBlanks(field.text);
  switch (type) {
    case kTypeInteger: {
      int32_t n = 0;
      if (!ParseInteger(text, &n)) {
        *problem = Quote(field.text) + " is not an integer (-2147483648 to 2147483647)";
        return false;
      }
      value->SetInteger(n);
      return true;
    }
    case kTypeDouble: {
      std::string_view digits = text;
      if (!digits.empty() && digits.front() == '+') digits.remove_prefix(1);
      double d = 0;
      const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), d);
      if (digits.empty() || result.ec != std::errc() || result.ptr != digits.data() + digits.size()) {
        *problem = Quote(field.text) + " is not a number";
        return false;
      }
      value->SetDouble(d);
      return true;
    }
    case kTypeBoolean: {
      for (const char* yes : {"true", "t", "yes", "y", "1"}) {
        if (SameText(text, yes)) {
          value->SetBoolean(true);
          return true;
        }
      }
      for (const char* no : {"false", "f", "no", "n", "0"}) {
        if (SameText(text, no)) {
          value->SetBoolean(false);
          return true;
        }
      }
      *problem = Quote(field.text) + " is not a boolean (true or false)";
      return false;
    }
    case kTypeString:
    case kTypeDate:
    case kTypeTime:
    case kTypeTimestamp:
    case kTypeBinary:
      value->SetText(type, string(field.text, kEncodingUTF8));
      return true;
    default:
      value->SetText(kTypeString, string(field.text, kEncodingUTF8));
      return true;
  }
}

}  // namespace parvex::shell
