// SQL text for the engine: literals written from values, and the test that
// tells a query from other statements.
//
// A cursor edit turns the host's new column values into an UPDATE statement,
// so every value must come out as text that the engine's parser reads back
// as the same value of the same type:
//   NULL                      NULL
//   Integer                   42, -42 (a negation), (-2147483647-1)
//   Boolean                   TRUE, FALSE
//   Double                    1.5, 2.0, 1.0e+20 (always with a decimal point:
//                             a number without one reads as an Integer)
//   String, Binary            'it''s' (quote doubled)
//   Date, Time, Timestamp     DATE '2001-02-03', TIME '...', TIMESTAMP '...'
// Some values have no literal in the dialect and are refused rather than
// written as something else: a negative or non-finite Double (a leading minus
// is integer subtraction from 0, which would truncate it), and texts with a
// NUL byte (the parser stops at NUL). When the database has a LIKE escape
// character, the parser pairs it with the byte behind it inside string
// literals and keeps both, except that an escaped quote is a quote: a text
// whose escape character stands before a quote or at its end has no literal
// (nor has any text while the escape character is the quote itself).
#pragma once

#include <string>
#include <string_view>

#include "core/value.h"
#include "platform/parvex_string.h"

namespace parvex::kora {

// Appends the literal for `value` to `out`. Returns false, leaving `out`
// unchanged and `why` (when given) set to the reason, for a value that has
// no literal. `escape` is the database's escape byte, 0 when none.
bool AppendSQLLiteral(const ParvexValue& value, char escape, std::string* out, std::string* why);

// Appends the quoted string literal of `text` to `out`; false (nothing
// appended) when the escape byte makes it impossible. No NUL check.
bool QuoteSQLString(std::string_view text, char escape, std::string* out);

// True when `sql` is a query: the first word, as the SQL tokenizer reads it,
// is "select" in any case.
bool IsSelectStatement(const string& sql);

}  // namespace parvex::kora
