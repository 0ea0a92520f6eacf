// Words of the dialect that are needed outside the parser: how the tokenizer
// classes bytes, the column type names, the kind of statement a text holds,
// and which names can stand bare in a statement. The parser, the statement
// executors, the host binding, the shell and the test runners all take them
// from here.
#pragma once

#include <string_view>

#include "core/status.h"
#include "core/value.h"
#include "platform/parvex_string.h"

namespace parvex {

// Bytes the tokenizer skips before a token: 1 to 32.
bool IsSqlBlank(char c);
// Bytes that end a word or a number: NUL, TAB, CR, space and % ( ) * + , - /
// ; < = > \ ^. A line feed is not one: directly behind a word it belongs to
// the word.
bool IsSqlDelimiter(char c);
// Bytes that start a word: a letter, '_' or '#'.
bool IsSqlWordStart(char c);

// The first word of `sql` as the tokenizer reads it (blanks before it
// skipped); empty when the text does not start with a word. `rest`, when
// given, receives the text behind the word.
std::string_view FirstWord(std::string_view sql, std::string_view* rest = nullptr);

// What a statement's text holds, by its first word in any letter case: a
// query (SELECT) goes to ParvexSQLQuery, everything else to
// ParvexSQLExecute, which ends the transaction for COMMIT and ROLLBACK.
enum class StatementKind { kQuery, kCommit, kRollback, kOther };
StatementKind StatementKindOf(std::string_view sql);

// Column type names, as CREATE TABLE and ALTER TABLE ... ADD take them in any
// letter case: integer; string, text, varchar; boolean; date; time;
// timestamp; double, float; binary, blob. False for any other name, with the
// status (when given) set to 22023 "Error: Invalid type "NAME".".
bool TypeFromName(const string& name, ParvexDataType* type, ParvexStatus* status = nullptr);
// The name a statement uses for a type: Integer, String, Boolean, Date, Time,
// Timestamp, Double, Binary; null for a type that has none.
const char* TypeName(ParvexDataType type);

// True when `name` can stand bare in a statement as the name of a table or a
// column: a letter, '_' or '#', then letters, digits, '_' or '#'.
bool IsPlainName(std::string_view name);

}  // namespace parvex
