// Typed values and column names from CSV text.
#include "csv_fields.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <unordered_set>
#include <utility>

#include "sql_words.h"
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


bool ParseDouble(std::string_view text, double* value) {
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  const auto result = std::from_chars(text.data(), text.data() + text.size(), *value);
  return !text.empty() && result.ec == std::errc() && result.ptr == text.data() + text.size();
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// `text` matches `pattern`, where '9' stands for a digit and every other byte for itself.
bool Matches(std::string_view text, std::string_view pattern) {
  if (text.size() != pattern.size()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    if (pattern[i] == '9' ? !IsDigit(text[i]) : text[i] != pattern[i]) return false;
  }
  return true;
}

int TwoDigits(std::string_view text, size_t at) { return (text[at] - '0') * 10 + (text[at + 1] - '0'); }

bool IsDateText(std::string_view text) {
  if (!Matches(text, "9999-99-99")) return false;
  const int month = TwoDigits(text, 5), day = TwoDigits(text, 8);
  return month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

// HH:MM:SS with an optional fraction.
bool IsTimeText(std::string_view text) {
  const size_t dot = text.find('.');
  if (dot != std::string_view::npos) {
    const std::string_view fraction = text.substr(dot + 1);
    if (fraction.empty() || fraction.find_first_not_of("0123456789") != std::string_view::npos) return false;
    text = text.substr(0, dot);
  }
  return Matches(text, "99:99:99") && TwoDigits(text, 0) < 24 && TwoDigits(text, 3) < 60 && TwoDigits(text, 6) < 60;
}

bool IsTimestampText(std::string_view text) {
  return text.size() > 11 && text[10] == ' ' && IsDateText(text.substr(0, 10)) && IsTimeText(text.substr(11));
}

// A number that reads as one and keeps its text: digits, no leading zero
// before another digit.
bool IsPlainNumber(std::string_view text) {
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
  if (text.empty() || !IsDigit(text.front())) return false;
  return !(text.size() > 1 && text[0] == '0' && IsDigit(text[1]));
}

enum Candidate : unsigned {
  kMaybeInteger = 1,
  kMaybeDouble = 2,
  kMaybeBoolean = 4,
  kMaybeDate = 8,
  kMaybeTime = 16,
  kMaybeTimestamp = 32,
};

}  // namespace

void ColumnTypeGuess::Add(const CsvField& field, std::string_view nullText) {
  if (IsNullField(field, nullText)) return;
  mSeen = true;
  const std::string_view text = TrimBlanks(field.text);
  int32_t n = 0;
  double d = 0;
  const bool number = IsPlainNumber(text);
  if (!number || !ParseInteger(text, &n)) mCandidates &= ~kMaybeInteger;
  if (!number || !ParseDouble(text, &d)) mCandidates &= ~kMaybeDouble;
  if (!SameNoCase(text, "true") && !SameNoCase(text, "false")) mCandidates &= ~kMaybeBoolean;
  if (!IsDateText(text)) mCandidates &= ~kMaybeDate;
  if (!IsTimeText(text)) mCandidates &= ~kMaybeTime;
  if (!IsTimestampText(text)) mCandidates &= ~kMaybeTimestamp;
}

int ColumnTypeGuess::Type() const {
  if (!mSeen) return PARVEX_TYPE_STRING;
  constexpr std::pair<Candidate, int> kOrder[] = {
      {kMaybeInteger, PARVEX_TYPE_INTEGER}, {kMaybeDouble, PARVEX_TYPE_DOUBLE}, {kMaybeBoolean, PARVEX_TYPE_BOOLEAN},
      {kMaybeDate, PARVEX_TYPE_DATE},       {kMaybeTime, PARVEX_TYPE_TIME},     {kMaybeTimestamp, PARVEX_TYPE_TIMESTAMP}};
  for (const auto& [candidate, type] : kOrder) {
    if (mCandidates & candidate) return type;
  }
  return PARVEX_TYPE_STRING;
}

bool IsNullField(const CsvField& field, std::string_view nullText) {
  return !field.quoted && (field.text.empty() || field.text == nullText);
}

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

bool ConvertCsvField(const CsvField& field, int type, std::string_view nullText, CsvValue* value,
                     std::string* problem) {
  *value = CsvValue();
  if (IsNullField(field, nullText)) return true;
  const std::string_view text = TrimBlanks(field.text);
  value->type = type;
  switch (type) {
    case PARVEX_TYPE_INTEGER: {
      int32_t n = 0;
      if (!ParseInteger(text, &n)) {
        *problem = Quote(field.text) + " is not an integer (-2147483648 to 2147483647)";
        return false;
      }
      value->integer = n;
      return true;
    }
    case PARVEX_TYPE_DOUBLE:
      if (!ParseDouble(text, &value->number)) {
        *problem = Quote(field.text) + " is not a number";
        return false;
      }
      return true;
    case PARVEX_TYPE_BOOLEAN: {
      for (const char* yes : {"true", "t", "yes", "y", "1"}) {
        if (SameNoCase(text, yes)) {
          value->integer = 1;
          return true;
        }
      }
      for (const char* no : {"false", "f", "no", "n", "0"}) {
        if (SameNoCase(text, no)) return true;
      }
      *problem = Quote(field.text) + " is not a boolean (true or false)";
      return false;
    }
    case PARVEX_TYPE_DATE:
    case PARVEX_TYPE_TIME:
    case PARVEX_TYPE_TIMESTAMP:
    case PARVEX_TYPE_BINARY:
      value->text = field.text;
      return true;
    default:
      value->type = PARVEX_TYPE_STRING;
      value->text = field.text;
      return true;
  }
}

}  // namespace parvex::shell
