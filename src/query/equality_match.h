// Which column values a comparison `column = value` (or `value = column`)
// finds equal, as keys that a hash of the column can look up.
//
// The comparison's rules (PExprCompare): when either side is Boolean both are
// coerced to Boolean; the left operand's type before that picks the domain,
// String, Date, Time and Timestamp comparing texts byte for byte (GetString,
// so a Date reads "DATE ..." and NULL reads "NULL") and every other type
// comparing integer readings (GetInteger: doubles truncated, NULL as 0). A
// column's values therefore fall into classes by type, and within a class the
// comparison with one given value is equality of one reading of the column
// value with one key:
//
//   class        reading of the column value
//   Boolean      its integer (0 or 1); a NULL Boolean is a class of its own
//   text-like    its text, its integer, or its truth (Boolean coercion)
//   other        its integer, its text, or its truth
//
// EqualityKeys lists, for a given value, the (class, reading, key) triples
// whose rows compare equal; a class not listed has no equal row. A column
// value that cannot be read makes the comparison unknown: such rows must
// always be visited (the caller keeps them apart).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/value.h"

namespace parvex {

enum class RowClass : uint8_t { kBoolean, kNullBoolean, kText, kOther };
constexpr size_t kRowClassCount = 4;

enum class KeyReading : uint8_t { kInteger, kText, kTruth };
constexpr size_t kKeyReadingCount = 3;

RowClass ClassOf(const ParvexValue& value);

// Replaces `key` with the reading of `value` as key bytes (an integer as its
// four bytes in machine order, a text as its bytes).
void ReadKey(const ParvexValue& value, KeyReading reading, std::string* key);

struct EqualityKey {
  RowClass rowClass;
  KeyReading reading;
  std::string key;
};

// The keys under which the rows that compare equal to `value` are found.
// `columnOnLeft` tells the comparison's operand order; `classes` (bit
// 1 << class) limits the list to the row classes a column holds.
constexpr unsigned kAllRowClasses = (1u << kRowClassCount) - 1;
void EqualityKeys(const ParvexValue& value, bool columnOnLeft, std::vector<EqualityKey>* keys,
                  unsigned classes = kAllRowClasses);

}  // namespace parvex
