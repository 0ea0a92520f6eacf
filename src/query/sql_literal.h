// Values written as SQL literals of the dialect: the text the parser reads
// back as the same value. Every place that makes SQL text from data uses it:
// expression descriptions, the host's cursor edits, the shell's .dump.
//
//   NULL                    NULL (a NULL of any type)
//   Integer                 42, -42 (a negation), (-2147483647-1)
//   Boolean                 TRUE, FALSE
//   Double                  1.5, 2.0, 1.0e+20: always with a decimal point (a
//                           number without one reads as an Integer)
//   String, Binary          'it''s' (inner quotes doubled)
//   Date, Time, Timestamp   DATE '2001-02-03', TIME '...', TIMESTAMP '...'
//
// The dialect has no literal for a negative double (-1.5 reads as 0 minus 1.5
// in integer arithmetic, which gives -1), for -0.0, an infinity or NaN. They
// are written as quoted text ('-1.5', '-0.0', '-inf', 'nan'), which a column
// stores as the same value the double would give it (a Double column reads
// the number back exactly), so these literals count as exact.
//
// A text holding a NUL byte has no literal (a statement ends at its first
// NUL). While an escape byte is set (SET ESCAPE), the parser takes it together
// with the byte behind it inside a literal and keeps both, except that an
// escaped quote is a quote; so a text with the escape byte before a quote or
// at its end has no literal, nor has any text while the escape byte is the
// quote itself.
#pragma once

#include <string>
#include <string_view>

#include "core/value.h"
#include "platform/parvex_string.h"

namespace parvex {

// Appends the literal of `value` to `out`, for a statement parsed with the
// escape byte `escape` (0 for none). Returns false when the value has no
// exact literal: `out` then ends with the closest text (a text without its
// NUL bytes, or quoted as if no escape byte were set) and `why`, when given,
// says why.
bool AppendSqlLiteral(const ParvexValue& value, char escape, std::string* out, std::string* why = nullptr);

// The literal of `value` with no escape byte, in the encoding of its text.
string SqlLiteral(const ParvexValue& value);

// Appends `text` as a string literal for a statement parsed with `escape`;
// false (nothing appended) when the escape byte leaves it no literal. NUL
// bytes are not looked at.
bool QuoteSqlString(std::string_view text, char escape, std::string* out);

}  // namespace parvex
