// The GROUP BY key of a record set: for each GROUP BY column in order, an
// Integer value's four bytes in machine order, any other value's text
// (GetString; NULL gives "NULL"), concatenated without separators (distinct
// column tuples may share a key; the dialect accepts that). Groups are
// ordered by the keys' exact bytes (CompareWithCase) and a group ends where
// the next key differs ignoring ASCII case (Compare).
#pragma once

#include <string>

#include "core/table.h"

namespace parvex {

class ParvexQuery;

// Replaces `key` with the key of `recSet` under the query's GROUP BY columns.
void BuildGroupKey(const ParvexQuery& query, const ParvexRecSet& recSet, std::string* key);

// The order of two keys (exact bytes; a prefix sorts first), and whether two
// neighbouring keys belong to one group.
inline bool GroupKeyLess(std::string_view a, std::string_view b) { return a < b; }
bool SameGroup(std::string_view a, std::string_view b);

}  // namespace parvex
