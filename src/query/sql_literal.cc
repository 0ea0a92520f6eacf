// Literals for values (see sql_literal.h for the forms).
#include "query/sql_literal.h"

#include <cmath>
#include <cstdint>
#include <limits>

#include "platform/number_format.h"

namespace parvex {
namespace {

// The smallest Integer has no positive counterpart to negate.
constexpr const char* kMinIntegerLiteral = "(-2147483647-1)";

// The shortest text that reads back as the same double, with a decimal point
// before any exponent (1e+20 becomes 1.0e+20, 3 becomes 3.0).
std::string DoubleText(double value) {
  std::string text = FormatDouble(value);
  if (!std::isfinite(value)) return text;
  const size_t exponent = text.find('e');
  const size_t mantissaEnd = exponent == std::string::npos ? text.size() : exponent;
  if (text.find('.') >= mantissaEnd) text.insert(mantissaEnd, ".0");
  return text;
}

// Quotes `text` with inner quotes doubled and NUL bytes left out.
void AppendClosestQuoted(std::string_view text, std::string* out) {
  out->push_back('\'');
  for (char c : text) {
    if (c == '\0') continue;
    if (c == '\'') out->push_back('\'');
    out->push_back(c);
  }
  out->push_back('\'');
}

const char* KeywordOf(ParvexDataType type) {
  if (type == kTypeDate) return "DATE ";
  if (type == kTypeTime) return "TIME ";
  if (type == kTypeTimestamp) return "TIMESTAMP ";
  return "";
}

}  // namespace

// The parser's escape byte takes the byte behind it along inside a literal,
// and the value keeps both bytes unless the second is a quote. So an escape
// byte of the text is written as it stands with its following byte, which
// must exist and must not be a quote; all other quotes are doubled.
bool QuoteSqlString(std::string_view text, char escape, std::string* out) {
  if (escape == '\'') return false;  // every quote would be an escape
  std::string literal;
  literal.reserve(text.size() + 2);
  literal.push_back('\'');
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (escape != 0 && c == escape) {
      if (i + 1 >= text.size() || text[i + 1] == '\'') return false;
      literal.push_back(c);
      literal.push_back(text[++i]);
    } else if (c == '\'') {
      literal.append("''");
    } else {
      literal.push_back(c);
    }
  }
  literal.push_back('\'');
  out->append(literal);
  return true;
}

bool AppendSqlLiteral(const ParvexValue& value, char escape, std::string* out, std::string* why) {
  if (value.IsNull()) {
    out->append("NULL");
    return true;
  }
  switch (value.Type()) {
    case kTypeInteger:
      out->append(value.RawInteger() == std::numeric_limits<int32_t>::min() ? kMinIntegerLiteral
                                                                           : FormatInteger(value.RawInteger()));
      return true;
    case kTypeBoolean:
      out->append(value.RawInteger() ? "TRUE" : "FALSE");
      return true;
    case kTypeDouble: {
      const double number = value.RawDouble();
      if (std::isfinite(number) && !std::signbit(number)) {
        out->append(DoubleText(number));
        return true;
      }
      // No numeric literal: the text, which a column stores as the same value.
      out->push_back('\'');
      out->append(DoubleText(number));
      out->push_back('\'');
      return true;
    }
    case kTypeString:
    case kTypeBinary:
    case kTypeDate:
    case kTypeTime:
    case kTypeTimestamp:
      break;
    default:
      out->append("NULL");  // a value of no type carries nothing
      return true;
  }
  const std::string_view text = value.RawText().view();
  out->append(KeywordOf(value.Type()));
  if (text.find('\0') != std::string_view::npos) {
    if (why) *why = "a text with a NUL byte has no SQL literal";
  } else if (!QuoteSqlString(text, escape, out)) {
    if (why) *why = "a text with the escape character before a quote or at its end has no SQL literal";
  } else {
    return true;
  }
  AppendClosestQuoted(text, out);
  return false;
}

string SqlLiteral(const ParvexValue& value) {
  std::string text;
  AppendSqlLiteral(value, 0, &text);
  return string(text, IsTextType(value.Type()) ? value.RawText().Encoding() : kEncodingDefault);
}

}  // namespace parvex
