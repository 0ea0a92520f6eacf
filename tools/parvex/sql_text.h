// SQL text of the dialect built from data: literals for values and the
// CREATE TABLE statement of a table, as .schema and .dump write them.
//
// Literals: NULL; integers in decimal (the most negative one as an expression,
// since a leading minus is subtraction from 0); TRUE/FALSE; doubles always with
// a decimal point (a number without one reads as an integer, and an integer
// stored into a Double column becomes 0.0); strings and binary data quoted with
// inner quotes doubled; DATE '...', TIME '...', TIMESTAMP '...'.
// Three kinds of value have no exact literal in the dialect: negative doubles
// (a minus sign makes integer arithmetic), infinities and NaN, and text holding
// NUL bytes (the engine reads a statement up to its first NUL). They are
// written as the closest text (the quoted number, the text without its NUL
// bytes) and reported as inexact.
#pragma once

#include <string>
#include <string_view>

#include "core/table.h"

namespace parvex::shell {

// Appends the literal of `value`; false when the literal is not exact.
bool AppendSqlLiteral(const ParvexValue& value, std::string* out);

// Appends 'text' with inner quotes doubled and NUL bytes left out.
void AppendQuotedText(std::string_view text, std::string* out);

// The dialect's type name for a value type ("Integer", "String", ...), or null
// for a type that has none.
const char* SqlTypeName(ParvexDataType type);

// "CREATE TABLE name (col Type, ...);" for the user columns of `table`;
// `inexact` is set when a column's type has no name (written as String).
std::string CreateTableSql(const ParvexTable& table, bool* inexact);

// True when `name` can be written as a bare name in a statement: a letter,
// '_' or '#', then letters, digits, '_' or '#'.
bool IsPlainName(std::string_view name);

}  // namespace parvex::shell
