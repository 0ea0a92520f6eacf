// SQL text of the dialect built from data: literals for values and the
// CREATE TABLE statement of a table, as .schema and .dump write them.
//
// Literals: NULL; integers in decimal (the most negative one as an expression,
// since a leading minus is subtraction from 0); TRUE/FALSE; doubles always with
// a decimal point (a number without one reads as an integer); strings and
// binary data quoted with inner quotes doubled; DATE '...', TIME '...',
// TIMESTAMP '...'.
// The dialect has no literal for a negative double (-1.5 is 0 minus 1.5 in
// integer arithmetic, which gives -1), an infinity or NaN: they are written as
// quoted text ('-1.5', '-inf', 'nan'), which a Double column converts back to
// the same double when the row is stored. Text holding NUL bytes has no exact
// literal (the engine reads a statement up to its first NUL): it is written
// without them and reported as inexact.
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
