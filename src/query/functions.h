// Built-in SQL functions: the function table, the scalar evaluator and LIKE.
//
// The table is a fixed array of 17 names indexed by ParvexFuncCode; codes 12
// to 16 are the aggregates, which the expression tree evaluates itself.
// ParvexFuncEval never sets a status: it returns false for aggregate or
// unknown codes and for missing required arguments (or a missing database for
// the clock functions and LAST_ROWID), and true with a possibly NULL result
// otherwise. WildcardMatch is LIKE: '_' one character, '%' any run, the escape
// character makes the next pattern character literal; letters match without
// regard to case.
#pragma once

#include "core/value.h"
#include "platform/parvex_string.h"

namespace parvex {

class ParvexDatabase;

using ParvexFuncCode = long;

constexpr ParvexFuncCode kFuncBitLength = 0;
constexpr ParvexFuncCode kFuncOctetLength = 1;
constexpr ParvexFuncCode kFuncCharLength = 2;
constexpr ParvexFuncCode kFuncCurrentDate = 3;
constexpr ParvexFuncCode kFuncCurrentTime = 4;
constexpr ParvexFuncCode kFuncCurrentTimestamp = 5;
constexpr ParvexFuncCode kFuncLower = 6;
constexpr ParvexFuncCode kFuncUpper = 7;
constexpr ParvexFuncCode kFuncPosition = 8;
constexpr ParvexFuncCode kFuncSubstring = 9;
constexpr ParvexFuncCode kFuncTrim = 10;
constexpr ParvexFuncCode kFuncLastRowID = 11;
constexpr ParvexFuncCode kFuncAvg = 12;
constexpr ParvexFuncCode kFuncCount = 13;
constexpr ParvexFuncCode kFuncMax = 14;
constexpr ParvexFuncCode kFuncMin = 15;
constexpr ParvexFuncCode kFuncSum = 16;
constexpr ParvexFuncCode kFuncCodeCount = 17;

// True for the aggregate codes (AVG, COUNT, MAX, MIN, SUM).
inline bool IsAggregateFunc(ParvexFuncCode code) { return code >= kFuncAvg && code <= kFuncSum; }

// Looks a name up (case-insensitively) in the table. "CHARACTER_LENGTH" is
// first rewritten in the caller's string to "CHAR_LENGTH". Stores the code
// when `code` is not null.
bool GetParvexFuncCode(string& name, ParvexFuncCode* code);
// The table's name for a code; empty for an unknown code.
string ParvexFuncName(ParvexFuncCode code);
// kTypeInteger for codes 0, 1, 2, 8, 11 and the aggregates; kTypeString otherwise.
ParvexDataType ParvexFuncResultType(ParvexFuncCode code);

bool ParvexFuncEval(ParvexFuncCode code, ParvexDatabase* db, const ParvexValue* arg1,
                    const ParvexValue* arg2, const ParvexValue* arg3, ParvexValue* result);

bool WildcardMatch(const string& text, const string& pattern, char escape);

}  // namespace parvex
