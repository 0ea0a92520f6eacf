// Helpers shared by the SQL parser tests.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "sql/parser.h"

namespace parvex::test {

struct ParseResult {
  std::unique_ptr<SQLSyntaxNode> root;
  ParvexSQLParser::ErrorType error = ParvexSQLParser::kNoError;
};

inline ParseResult Parse(std::string_view sql, char escape = 0) {
  ParvexSQLParser parser;
  parser.SetEscape(escape);
  ParseResult result;
  result.root = parser.Evaluate(string(sql));
  result.error = parser.LastError();
  return result;
}

// The last error code raised for a statement.
inline long ErrorOf(std::string_view sql) { return Parse(sql).error; }

}  // namespace parvex::test
