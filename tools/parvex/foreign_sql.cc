// Names, types and literals for PostgreSQL and sqlite3 (see foreign_sql.h).
#include "foreign_sql.h"

#include <algorithm>
#include <cmath>

#include "platform/number_format.h"
#include "platform/text_encoding.h"
#include "query/sql_literal.h"

namespace parvex::shell {
namespace {

// PostgreSQL's words that are not free as names (reserved, and those kept for
// column or type names): PostgreSQL itself quotes these.
constexpr std::string_view kPostgresReserved[] = {
    "all", "analyse", "analyze", "and", "any", "array", "as", "asc", "asymmetric", "authorization", "between",
    "bigint", "binary", "bit", "boolean", "both", "case", "cast", "char", "character", "check", "coalesce",
    "collate", "collation", "column", "concurrently", "constraint", "create", "cross", "current_catalog",
    "current_date", "current_role", "current_schema", "current_time", "current_timestamp", "current_user", "dec",
    "decimal", "default", "deferrable", "desc", "distinct", "do", "else", "end", "except", "exists", "extract",
    "false", "fetch", "float", "for", "foreign", "freeze", "from", "full", "grant", "greatest", "group",
    "grouping", "having", "ilike", "in", "initially", "inner", "inout", "int", "integer", "intersect", "interval",
    "into", "is", "isnull", "join", "lateral", "leading", "least", "left", "like", "limit", "localtime",
    "localtimestamp", "national", "natural", "nchar", "none", "normalize", "not", "notnull", "null", "nullif",
    "numeric", "offset", "on", "only", "or", "order", "out", "outer", "overlaps", "overlay", "placing",
    "position", "precision", "primary", "real", "references", "returning", "right", "row", "select",
    "session_user", "setof", "similar", "smallint", "some", "substring", "symmetric", "table", "tablesample",
    "then", "time", "timestamp", "to", "trailing", "treat", "trim", "true", "union", "unique", "user", "using",
    "values", "varchar", "variadic", "verbose", "when", "where", "window", "with", "xmlattributes", "xmlconcat",
    "xmlelement", "xmlexists", "xmlforest", "xmlnamespaces", "xmlparse", "xmlpi", "xmlroot", "xmlserialize",
    "xmltable",
};

// sqlite3's keywords; some would pass as names, but quoted they all do.
constexpr std::string_view kSqliteKeywords[] = {
    "abort", "action", "add", "after", "all", "alter", "always", "analyze", "and", "as", "asc", "attach",
    "autoincrement", "before", "begin", "between", "by", "cascade", "case", "cast", "check", "collate", "column",
    "commit", "conflict", "constraint", "create", "cross", "current", "current_date", "current_time",
    "current_timestamp", "database", "default", "deferrable", "deferred", "delete", "desc", "detach", "distinct",
    "do", "drop", "each", "else", "end", "escape", "except", "exclude", "exclusive", "exists", "explain", "fail",
    "filter", "first", "following", "for", "foreign", "from", "full", "generated", "glob", "group", "groups",
    "having", "if", "ignore", "immediate", "in", "index", "indexed", "initially", "inner", "insert", "instead",
    "intersect", "into", "is", "isnull", "join", "key", "last", "left", "like", "limit", "match", "materialized",
    "natural", "no", "not", "nothing", "notnull", "null", "nulls", "of", "offset", "on", "or", "order", "others",
    "outer", "over", "partition", "plan", "pragma", "preceding", "primary", "query", "raise", "range",
    "recursive", "references", "regexp", "reindex", "release", "rename", "replace", "restrict", "returning",
    "right", "rollback", "row", "rows", "savepoint", "select", "set", "table", "temp", "temporary", "then",
    "ties", "to", "transaction", "trigger", "unbounded", "union", "unique", "update", "using", "vacuum", "values",
    "view", "virtual", "when", "where", "window", "with", "without",
};

bool IsAsciiDigit(char c) { return c >= '0' && c <= '9'; }

// `count` digits at text[at]; their number in `value`.
bool ReadDigits(std::string_view text, size_t at, size_t count, int* value) {
  if (at + count > text.size()) return false;
  *value = 0;
  for (size_t i = at; i < at + count; ++i) {
    if (!IsAsciiDigit(text[i])) return false;
    *value = *value * 10 + (text[i] - '0');
  }
  return true;
}

// YYYY-MM-DD, a day that exists, year 1 to 9999.
bool IsIsoDate(std::string_view text) {
  int year = 0, month = 0, day = 0;
  if (text.size() != 10 || text[4] != '-' || text[7] != '-' || !ReadDigits(text, 0, 4, &year) ||
      !ReadDigits(text, 5, 2, &month) || !ReadDigits(text, 8, 2, &day)) {
    return false;
  }
  if (year < 1 || month < 1 || month > 12 || day < 1) return false;
  static constexpr int kDaysInMonth[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return day <= kDaysInMonth[month - 1] + (month == 2 && leap ? 1 : 0);
}

// HH:MM:SS with up to six decimals of a second (what PostgreSQL keeps).
bool IsIsoTime(std::string_view text) {
  int hour = 0, minute = 0, second = 0;
  if (text.size() < 8 || text[2] != ':' || text[5] != ':' || !ReadDigits(text, 0, 2, &hour) ||
      !ReadDigits(text, 3, 2, &minute) || !ReadDigits(text, 6, 2, &second)) {
    return false;
  }
  if (hour > 23 || minute > 59 || second > 59) return false;
  if (text.size() == 8) return true;
  const std::string_view fraction = text.substr(9);
  return text[8] == '.' && !fraction.empty() && fraction.size() <= 6 &&
         std::all_of(fraction.begin(), fraction.end(), IsAsciiDigit);
}

bool IsReservedWord(SqlTarget target, const std::string& lowerName) {
  if (target == SqlTarget::kPostgres) {
    return std::binary_search(std::begin(kPostgresReserved), std::end(kPostgresReserved), lowerName);
  }
  return std::binary_search(std::begin(kSqliteKeywords), std::end(kSqliteKeywords), lowerName);
}

// The text as valid UTF-8 for PostgreSQL: a byte outside a valid sequence
// becomes the character of its number, a NUL byte is left out. False when
// anything changed.
bool AppendPostgresText(std::string_view text, std::string* out) {
  bool exact = true;
  for (size_t i = 0; i < text.size();) {
    char32_t codePoint = 0;
    const size_t length = DecodeUTF8(text, i, &codePoint);
    if (length > 0 && codePoint != 0) {
      out->append(text.substr(i, length));
      i += length;
      continue;
    }
    exact = false;
    if (text[i] != '\0') AppendUTF8(*out, static_cast<unsigned char>(text[i]));
    ++i;
  }
  return exact;
}

// A text value as a quoted literal for the target.
bool AppendForeignText(SqlTarget target, const string& value, std::string* out, std::string* why) {
  const string utf8 = value.Encoding() == kEncodingUTF8 ? value : ConvertEncoding(value, kEncodingUTF8);
  std::string text;
  bool exact = true;
  if (target == SqlTarget::kPostgres) {
    exact = AppendPostgresText(utf8.view(), &text);
  } else {
    text = utf8.view();
    exact = text.find('\0') == std::string::npos;
    std::erase(text, '\0');
  }
  if (!exact) *why = "a text with a NUL byte or bytes that are not UTF-8 loses them";
  QuoteSqlString(text, 0, out);
  return exact;
}

void AppendHex(std::string_view bytes, const char* digits, std::string* out) {
  for (unsigned char byte : bytes) {
    out->push_back(digits[byte >> 4]);
    out->push_back(digits[byte & 15]);
  }
}

bool AppendForeignDouble(SqlTarget target, double number, std::string* out, std::string* why) {
  const bool postgres = target == SqlTarget::kPostgres;
  if (std::isnan(number)) {
    if (postgres) {
      out->append("'NaN'");
      return true;
    }
    out->append("NULL");
    *why = "sqlite3 has no NaN: written as NULL";
    return false;
  }
  if (std::isinf(number)) {
    if (postgres) {
      out->append(number > 0 ? "'Infinity'" : "'-Infinity'");
    } else {
      out->append(number > 0 ? "1e999" : "-1e999");
    }
    return true;
  }
  if (number == 0 && std::signbit(number)) {
    out->append(postgres ? "'-0'" : "-0.0");
    if (postgres) return true;
    *why = "sqlite3 stores -0.0 in a real column as 0.0";
    return false;
  }
  // The dialect's literal of the magnitude: the shortest exact decimal form.
  if (std::signbit(number)) out->push_back('-');
  AppendSqlLiteral(ParvexValue::Double(std::fabs(number)), 0, out);
  return true;
}

}  // namespace

const char* ForeignTypeName(SqlTarget target, ParvexDataType type, bool temporalAsText) {
  const bool postgres = target == SqlTarget::kPostgres;
  switch (type) {
    case kTypeInteger:
      return "integer";
    case kTypeDouble:
      return postgres ? "double precision" : "real";
    case kTypeBoolean:
      return "boolean";
    case kTypeDate:
      return temporalAsText ? "text" : "date";
    case kTypeTime:
      return temporalAsText ? "text" : "time";
    case kTypeTimestamp:
      return temporalAsText ? "text" : "timestamp";
    case kTypeBinary:
      return postgres ? "bytea" : "blob";
    default:
      return "text";
  }
}

bool IsIsoTemporalText(ParvexDataType type, std::string_view text) {
  if (type == kTypeDate) return IsIsoDate(text);
  if (type == kTypeTime) return IsIsoTime(text);
  return text.size() > 11 && text[10] == ' ' && IsIsoDate(text.substr(0, 10)) && IsIsoTime(text.substr(11));
}

std::string ForeignIdentifier(SqlTarget target, std::string_view name) {
  bool plain = !name.empty() && !IsAsciiDigit(name.front());
  std::string lower;
  for (char c : name) {
    const bool upper = c >= 'A' && c <= 'Z';
    if (!(upper || (c >= 'a' && c <= 'z') || IsAsciiDigit(c) || c == '_')) plain = false;
    if (upper && target == SqlTarget::kPostgres) plain = false;
    lower.push_back(AsciiToLower(c));
  }
  if (plain && !IsReservedWord(target, lower)) return std::string(name);
  std::string quoted = "\"";
  for (char c : name) {
    if (c == '"') quoted.push_back('"');
    quoted.push_back(c);
  }
  return quoted + '"';
}

bool AppendForeignLiteral(SqlTarget target, const ParvexValue& value, std::string* out, std::string* why) {
  if (value.IsNull()) {
    out->append("NULL");
    return true;
  }
  switch (value.Type()) {
    case kTypeInteger:
      out->append(FormatInteger(value.RawInteger()));  // -2147483648 too: both read it as a wider number
      return true;
    case kTypeBoolean:
      out->append(value.RawInteger() ? "TRUE" : "FALSE");
      return true;
    case kTypeDouble:
      return AppendForeignDouble(target, value.RawDouble(), out, why);
    case kTypeBinary:
      if (target == SqlTarget::kPostgres) {
        out->append("'\\x");
        AppendHex(value.RawText().view(), "0123456789abcdef", out);
      } else {
        out->append("X'");
        AppendHex(value.RawText().view(), "0123456789ABCDEF", out);
      }
      out->push_back('\'');
      return true;
    case kTypeString:
    case kTypeDate:
    case kTypeTime:
    case kTypeTimestamp:
      return AppendForeignText(target, value.RawText(), out, why);
    default:
      out->append("NULL");  // a value of no type carries nothing
      return true;
  }
}

const char* ForeignDumpPreamble(SqlTarget target) {
  if (target == SqlTarget::kPostgres) {
    return "SET client_encoding = 'UTF8';\nSET standard_conforming_strings = on;\n";
  }
  return "";
}

}  // namespace parvex::shell
