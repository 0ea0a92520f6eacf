// The dialect's byte classes, statement kinds and type names.
#include "sql/sql_dialect.h"

namespace parvex {
namespace {

struct NamedType {
  const char* name;
  ParvexDataType type;
};

// Accepted type names, in the order they are tried.
constexpr NamedType kTypeNames[] = {
    {"integer", kTypeInteger}, {"string", kTypeString},       {"text", kTypeString},
    {"varchar", kTypeString},  {"boolean", kTypeBoolean},     {"date", kTypeDate},
    {"time", kTypeTime},       {"timestamp", kTypeTimestamp}, {"double", kTypeDouble},
    {"float", kTypeDouble},    {"binary", kTypeBinary},       {"blob", kTypeBinary},
};

// The name each type is written with.
constexpr NamedType kWrittenNames[] = {
    {"Integer", kTypeInteger}, {"String", kTypeString},       {"Boolean", kTypeBoolean},
    {"Date", kTypeDate},       {"Time", kTypeTime},           {"Timestamp", kTypeTimestamp},
    {"Double", kTypeDouble},   {"Binary", kTypeBinary},
};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

bool IsSqlBlank(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 1 && byte <= 32;
}

bool IsSqlDelimiter(char c) {
  switch (c) {
    case '\0':
    case '\t':
    case '\r':
    case ' ':
    case '%':
    case '(':
    case ')':
    case '*':
    case '+':
    case ',':
    case '-':
    case '/':
    case ';':
    case '<':
    case '=':
    case '>':
    case '\\':
    case '^':
      return true;
    default:
      return false;
  }
}

bool IsSqlWordStart(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '#'; }

std::string_view FirstWord(std::string_view sql, std::string_view* rest) {
  size_t start = 0;
  while (start < sql.size() && IsSqlBlank(sql[start])) ++start;
  size_t end = start;
  if (end < sql.size() && IsSqlWordStart(sql[end])) {
    while (end < sql.size() && !IsSqlDelimiter(sql[end])) ++end;
  }
  if (rest) *rest = sql.substr(end);
  return sql.substr(start, end - start);
}

StatementKind StatementKindOf(std::string_view sql) {
  const std::string_view word = FirstWord(sql);
  if (CompareNoCase(word, "SELECT") == 0) return StatementKind::kQuery;
  if (CompareNoCase(word, "COMMIT") == 0) return StatementKind::kCommit;
  if (CompareNoCase(word, "ROLLBACK") == 0) return StatementKind::kRollback;
  return StatementKind::kOther;
}

bool TypeFromName(const string& name, ParvexDataType* type, ParvexStatus* status) {
  for (const NamedType& entry : kTypeNames) {
    if (name.Compare(entry.name) == 0) {
      *type = entry.type;
      return true;
    }
  }
  SetStatus(status, kPXInvalidParameter, string("Error: Invalid type \"") + name.view() + "\".");
  return false;
}

const char* TypeName(ParvexDataType type) {
  for (const NamedType& entry : kWrittenNames) {
    if (entry.type == type) return entry.name;
  }
  return nullptr;
}

bool IsPlainName(std::string_view name) {
  if (name.empty() || !IsSqlWordStart(name.front())) return false;
  for (char c : name) {
    if (!IsSqlWordStart(c) && !IsDigit(c)) return false;
  }
  return true;
}

}  // namespace parvex
