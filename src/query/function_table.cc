// The table of built-in function names and their static result types.
#include "query/functions.h"

namespace parvex {

namespace {

constexpr const char* kFuncNames[kFuncCodeCount] = {
    "BIT_LENGTH", "OCTET_LENGTH", "CHAR_LENGTH", "CURRENT_DATE", "CURRENT_TIME", "CURRENT_TIMESTAMP",
    "LOWER",      "UPPER",        "POSITION",    "SUBSTRING",    "TRIM",         "LAST_ROWID",
    "AVG",        "COUNT",        "MAX",         "MIN",          "SUM",
};

}  // namespace

bool GetParvexFuncCode(string& name, ParvexFuncCode* code) {
  if (name.Compare("CHARACTER_LENGTH") == 0) name = string("CHAR_LENGTH", name.Encoding());
  for (ParvexFuncCode i = 0; i < kFuncCodeCount; ++i) {
    if (name.Compare(kFuncNames[i]) == 0) {
      if (code) *code = i;
      return true;
    }
  }
  return false;
}

string ParvexFuncName(ParvexFuncCode code) {
  if (code < 0 || code >= kFuncCodeCount) return string();
  return string(kFuncNames[code]);
}

ParvexDataType ParvexFuncResultType(ParvexFuncCode code) {
  switch (code) {
    case kFuncBitLength:
    case kFuncOctetLength:
    case kFuncCharLength:
    case kFuncPosition:
    case kFuncLastRowID:
      return kTypeInteger;
    default:
      return IsAggregateFunc(code) ? kTypeInteger : kTypeString;
  }
}

}  // namespace parvex
