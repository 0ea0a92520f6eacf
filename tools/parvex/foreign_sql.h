// SQL for other engines: what .dump --postgres and .dump --sqlite write in
// place of the dialect's own names, types and literals, so that PostgreSQL
// (psql) and sqlite3 load a dump as it stands.
//
// Types:      Integer    integer (32 bits hold every value)
//             String     text
//             Double     double precision (PostgreSQL), real (sqlite3)
//             Boolean    boolean
//             Date, Time, Timestamp   date, time, timestamp, when every value
//                        of the column is in ISO form (2001-02-03, 23:59:59,
//                        2001-02-03 23:59:59, seconds with up to six decimals);
//                        otherwise text, so that no value is refused or changed
//             Binary     bytea (PostgreSQL), blob (sqlite3)
// Names:      quoted with "..." when they are a reserved word of the target,
//             hold anything but ASCII letters, digits and '_', start with a
//             digit, or (PostgreSQL, which folds unquoted names to lower case)
//             hold an upper-case letter.
// Literals:   text as '...' with quotes doubled; binary as '\x0aff' (bytea) or
//             X'0AFF'; doubles in their shortest exact decimal form, and
//             PostgreSQL: 'NaN', 'Infinity', '-Infinity', '-0'
//             sqlite3:    1e999 and -1e999 for the infinities; sqlite3 has no
//                         NaN (it stores NULL for one) and keeps -0.0 in a real
//                         column as 0.0, so NaN is written as NULL and -0.0 as
//                         -0.0, both counted as not exact.
// A text with a NUL byte loses the byte (neither engine holds one in text); for
// PostgreSQL, which takes only valid UTF-8, a byte that is not part of a valid
// UTF-8 sequence is written as the character of the same number, as the engine
// reads such bytes. Both count as not exact.
#pragma once

#include <string>
#include <string_view>

#include "core/value.h"
#include "schema_dump.h"  // SqlTarget

namespace parvex::shell {


// The target's column type for a column of `type`; `temporalAsText` for a
// Date, Time or Timestamp column holding a value not in ISO form.
const char* ForeignTypeName(SqlTarget target, ParvexDataType type, bool temporalAsText);

// True when `text` is the ISO form the target's date, time or timestamp type
// reads back unchanged (`type` is Date, Time or Timestamp).
bool IsIsoTemporalText(ParvexDataType type, std::string_view text);

// `name` as an identifier of the target, quoted when it must be.
std::string ForeignIdentifier(SqlTarget target, std::string_view name);

// Appends the target's literal of `value`; false when the target cannot hold
// the value exactly (`why` then says what it stores instead).
bool AppendForeignLiteral(SqlTarget target, const ParvexValue& value, std::string* out, std::string* why);

// The statements a dump for the target starts with (before its BEGIN).
const char* ForeignDumpPreamble(SqlTarget target);

}  // namespace parvex::shell
