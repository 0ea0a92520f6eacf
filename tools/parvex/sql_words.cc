// First words, letter case and bare names of SQL text.
#include "sql_words.h"

#include <algorithm>

namespace parvex::shell {
namespace {

char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool IsBlank(char c) { return c >= 1 && c <= 32; }

bool IsWordStart(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '#'; }

bool EndsWord(char c) {
  return c == '\0' || c == '\t' || c == '\r' || c == ' ' || std::string_view("%()*+,-/;<=>\\^").find(c) != std::string_view::npos;
}

}  // namespace

bool SameNoCase(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, [](char x, char y) { return LowerAscii(x) == LowerAscii(y); });
}

std::string_view FirstWord(std::string_view sql, std::string_view* rest) {
  size_t start = 0;
  while (start < sql.size() && IsBlank(sql[start])) ++start;
  size_t end = start;
  if (end < sql.size() && IsWordStart(sql[end])) {
    while (end < sql.size() && !EndsWord(sql[end])) ++end;
  }
  if (rest) *rest = sql.substr(end);
  return sql.substr(start, end - start);
}

bool IsPlainName(std::string_view name) {
  return !name.empty() && IsWordStart(name.front()) &&
         std::ranges::all_of(name, [](char c) { return IsWordStart(c) || (c >= '0' && c <= '9'); });
}

}  // namespace parvex::shell
