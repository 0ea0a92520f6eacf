// Literals and schema statements in the dialect's SQL.
#include "sql_text.h"

#include <cmath>
#include <cstdint>
#include <limits>

#include "platform/number_format.h"

namespace parvex::shell {
namespace {

struct TypeName {
  ParvexDataType type;
  const char* name;
};
constexpr TypeName kTypeNames[] = {
    {kTypeInteger, "Integer"}, {kTypeString, "String"},       {kTypeBoolean, "Boolean"},
    {kTypeDate, "Date"},       {kTypeTime, "Time"},           {kTypeTimestamp, "Timestamp"},
    {kTypeDouble, "Double"},   {kTypeBinary, "Binary"},
};

// A double as a numeric literal: the shortest exact digits, with a decimal
// point before any exponent (1e+20 becomes 1.0e+20, 3 becomes 3.0).
std::string DoubleLiteral(double value) {
  std::string text = FormatDouble(value);
  const size_t exponent = text.find('e');
  const std::string_view mantissa = std::string_view(text).substr(0, exponent);
  if (mantissa.find('.') == std::string_view::npos) {
    text.insert(exponent == std::string::npos ? text.size() : exponent, ".0");
  }
  return text;
}

}  // namespace

void AppendQuotedText(std::string_view text, std::string* out) {
  out->push_back('\'');
  for (char c : text) {
    if (c == '\0') continue;
    if (c == '\'') out->push_back('\'');
    out->push_back(c);
  }
  out->push_back('\'');
}

bool AppendSqlLiteral(const ParvexValue& value, std::string* out) {
  if (value.IsNull()) {
    *out += "NULL";
    return true;
  }
  switch (value.Type()) {
    case kTypeInteger: {
      const int32_t n = value.GetInteger();
      // -2147483648 would read as 0 minus 2147483648, which is out of range.
      *out += n == std::numeric_limits<int32_t>::min() ? "(-2147483647-1)" : FormatInteger(n);
      return true;
    }
    case kTypeBoolean:
      *out += value.GetInteger() ? "TRUE" : "FALSE";
      return true;
    case kTypeDouble: {
      const double d = value.GetDouble();
      if (std::isfinite(d) && !std::signbit(d)) {
        *out += DoubleLiteral(d);
      } else {
        // No numeric literal: quoted text, which a Double column reads back exactly.
        AppendQuotedText(std::isfinite(d) ? DoubleLiteral(d) : FormatDouble(d), out);
      }
      return true;
    }
    case kTypeDate:
    case kTypeTime:
    case kTypeTimestamp: {
      *out += value.Type() == kTypeDate ? "DATE " : value.Type() == kTypeTime ? "TIME " : "TIMESTAMP ";
      const string text = value.GetSaveString();
      AppendQuotedText(text.view(), out);
      return text.view().find('\0') == std::string_view::npos;
    }
    default: {
      const string text = value.GetSaveString();
      AppendQuotedText(text.view(), out);
      return text.view().find('\0') == std::string_view::npos;
    }
  }
}

const char* SqlTypeName(ParvexDataType type) {
  for (const TypeName& t : kTypeNames) {
    if (t.type == type) return t.name;
  }
  return nullptr;
}

std::string CreateTableSql(const ParvexTable& table, bool* inexact) {
  std::string sql = "CREATE TABLE ";
  sql += table.name.view();
  sql += " (";
  for (long c = 1; c < table.QtyColumns(); ++c) {
    const ParvexColumnInfo* column = table.Column(c);
    if (column == nullptr) continue;
    if (c > 1) sql += ", ";
    sql += column->name.view();
    sql += ' ';
    const char* type = SqlTypeName(column->Type());
    if (type == nullptr) {
      type = "String";
      *inexact = true;
    }
    sql += type;
  }
  sql += ");";
  return sql;
}

bool IsPlainName(std::string_view name) {
  if (name.empty()) return false;
  const auto letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '#'; };
  if (!letter(name.front())) return false;
  for (char c : name) {
    if (!letter(c) && !(c >= '0' && c <= '9')) return false;
  }
  return true;
}

}  // namespace parvex::shell
