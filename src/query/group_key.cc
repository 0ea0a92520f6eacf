// GROUP BY keys: building them and telling group boundaries.
#include "query/group_key.h"

#include <cstring>

#include "platform/parvex_string.h"
#include "query/query.h"

namespace parvex {

void BuildGroupKey(const ParvexQuery& query, const ParvexRecSet& recSet, std::string* key) {
  key->clear();
  ParvexValue value;
  for (const auto& field : query.groupBy) {
    value.SetNull();
    query.Evaluate(*field, recSet, &value);
    if (value.Type() == kTypeInteger && !value.IsNull()) {
      const int32_t number = value.GetInteger();
      char bytes[sizeof number];
      std::memcpy(bytes, &number, sizeof number);
      key->append(bytes, sizeof bytes);
    } else if (IsTextType(value.Type()) && value.Type() != kTypeDate && value.Type() != kTypeTime &&
               value.Type() != kTypeTimestamp && !value.IsNull()) {
      key->append(value.RawText().view());  // String and Binary read as their text
    } else {
      key->append(value.GetString().view());
    }
  }
}

bool SameGroup(std::string_view a, std::string_view b) { return CompareNoCase(a, b) == 0; }

}  // namespace parvex
