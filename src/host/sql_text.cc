// Writing values as SQL literals (see sql_text.h for the forms), and telling
// queries from other statements.
#include "host/sql_text.h"

#include <cmath>
#include <cstdint>
#include <limits>

#include "platform/number_format.h"

namespace parvex::kora {

namespace {

// The smallest Integer has no positive counterpart to negate.
constexpr const char* kMinIntegerLiteral = "(-2147483647-1)";

void AppendInteger(int32_t value, std::string* out) {
  if (value == std::numeric_limits<int32_t>::min()) {
    out->append(kMinIntegerLiteral);
  } else {
    out->append(FormatInteger(value));
  }
}

// The shortest round-trip text of a finite, non-negative double, with a
// decimal point in its mantissa so that the parser makes a Double of it.
std::string DoubleLiteral(double value) {
  std::string text = FormatDouble(value == 0.0 ? 0.0 : value);  // drops the sign of -0.0
  const size_t exponent = text.find('e');
  const size_t mantissaEnd = exponent == std::string::npos ? text.size() : exponent;
  if (text.find('.') >= mantissaEnd) text.insert(mantissaEnd, ".0");
  return text;
}

// The SQL tokenizer skips bytes 1 to 32 before a token, and a word ends at
// one of its delimiter bytes (a line feed is not one).
bool IsParserBlank(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 1 && byte <= 32;
}

bool IsParserDelimiter(char c) {
  static constexpr char kDelimiters[] = "\0\t\r %()*+,-/;<=>\\^";
  return std::string_view(kDelimiters, sizeof kDelimiters - 1).find(c) != std::string_view::npos;
}

}  // namespace

// The parser's escape byte, when set, takes the byte behind it along inside a
// string literal, and the literal's value keeps both bytes unless the second
// is a quote (an escaped quote is a quote). So an escape byte of the text is
// written as it stands together with its following byte, which must exist
// and must not be a quote; all other quotes are doubled.
bool QuoteSQLString(std::string_view text, char escape, std::string* out) {
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

bool AppendSQLLiteral(const ParvexValue& value, char escape, std::string* out, std::string* why) {
  auto refuse = [why](const char* reason) {
    if (why) *why = reason;
    return false;
  };
  if (value.IsNull()) {
    out->append("NULL");
    return true;
  }
  const char* keyword = nullptr;
  switch (value.Type()) {
    case kTypeInteger:
      AppendInteger(value.RawInteger(), out);
      return true;
    case kTypeBoolean:
      out->append(value.RawInteger() ? "TRUE" : "FALSE");
      return true;
    case kTypeDouble: {
      const double number = value.RawDouble();
      if (!std::isfinite(number)) return refuse("a double that is not finite has no SQL literal");
      if (number < 0) return refuse("a negative double has no SQL literal");
      out->append(DoubleLiteral(number));
      return true;
    }
    case kTypeDate:
      keyword = "DATE ";
      break;
    case kTypeTime:
      keyword = "TIME ";
      break;
    case kTypeTimestamp:
      keyword = "TIMESTAMP ";
      break;
    case kTypeString:
    case kTypeBinary:
      break;
    default:
      out->append("NULL");  // a value of no type carries nothing
      return true;
  }
  const std::string_view text = value.RawText().view();
  if (text.find('\0') != std::string_view::npos) {
    return refuse("a text with a NUL byte has no SQL literal");
  }
  std::string literal = keyword ? keyword : "";
  if (!QuoteSQLString(text, escape, &literal)) {
    return refuse("a text with the escape character before a quote or at its end has no SQL literal");
  }
  out->append(literal);
  return true;
}

bool IsSelectStatement(const string& sql) {
  const std::string_view text = sql.view();
  size_t i = 0;
  while (i < text.size() && IsParserBlank(text[i])) ++i;
  constexpr std::string_view kSelect = "select";
  if (text.size() - i < kSelect.size()) return false;
  if (CompareNoCase(text.substr(i, kSelect.size()), kSelect) != 0) return false;
  i += kSelect.size();
  return i == text.size() || IsParserDelimiter(text[i]);
}

}  // namespace parvex::kora
