// Statement warnings: where a statement, read the way the dialect reads it,
// probably does not do what its writer meant.
//
// The dialect keeps rules that give answers instead of errors: the parser
// stops quietly at text it can't use, a leading NOT is dropped, arithmetic
// happens only with an Integer or a String on the left, Doubles compare by
// their whole parts, and ORDER BY sorts a Double by its text (and skips a
// name that is no result column). FindStatementWarnings parses a statement
// as ParvexSQLExecute and ParvexSQLQuery would, types its expressions from
// the database's tables, and names each place where one of these rules
// changes the meaning, with a line on how to write what was probably meant.
//
// Contract: it reads the database (table and column types, the escape
// character of SET ESCAPE) and never changes it. Warnings are decided from
// the parsed tree and the column types, never from the text's spelling
// alone, and a statement that reads as written gets none. A statement that
// does not parse gets none (its error says enough); one whose names do not
// bind gets only the warnings that need no types.
#pragma once

#include <string>
#include <vector>

#include "platform/parvex_string.h"

namespace parvex {

class ParvexDatabase;

// Numbered as the C interface's PARVEX_WARNING_* constants.
enum class StatementWarningKind {
  kUnreadText = 1,        // the parser stopped before the end of the text
  kDroppedNot = 2,        // a leading NOT was discarded
  kArithmetic = 3,        // arithmetic that leaves its left operand unchanged or cuts a Double
  kDoubleComparison = 4,  // a comparison done on the whole parts of Doubles
  kDoubleOrder = 5,       // ORDER BY a Double column, which sorts by text
  kOrderSkipped = 6,      // ORDER BY a name that is no result column
};

struct StatementWarning {
  StatementWarningKind kind;
  std::string message;  // what the statement does instead, naming the part concerned
  std::string hint;     // how to write what was probably meant
};

struct StatementWarnings {
  std::string ran;  // the statement as it was read, as canonical SQL (empty when it did not parse)
  std::vector<StatementWarning> list;
};

// The warnings for one statement's text (UTF-8 or in the string's encoding)
// against `db`.
StatementWarnings FindStatementWarnings(const string& sql, const ParvexDatabase& db);

}  // namespace parvex
