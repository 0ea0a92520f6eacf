// Equality keys: the comparison's coercion and domain rules, per class of
// column value. Each case below follows PExprCompare::Evaluate for a column
// value of the class on one side and the given value on the other.
#include "query/equality_match.h"

#include <cstring>

namespace parvex {

namespace {

bool ComparesAsText(ParvexDataType type) {
  return type == kTypeString || type == kTypeDate || type == kTypeTime || type == kTypeTimestamp;
}

// The integer reading of a value after coercion to Boolean (a Boolean keeps
// its integer, a NULL Boolean included).
int32_t Truth(const ParvexValue& value) {
  ParvexValue coerced = value;
  coerced.CoerceToType(kTypeBoolean);
  return coerced.GetInteger();
}

std::string IntegerKey(int32_t number) {
  std::string key(sizeof number, '\0');
  std::memcpy(key.data(), &number, sizeof number);
  return key;
}

}  // namespace

RowClass ClassOf(const ParvexValue& value) {
  if (value.Type() == kTypeBoolean) return value.IsNull() ? RowClass::kNullBoolean : RowClass::kBoolean;
  return ComparesAsText(value.Type()) ? RowClass::kText : RowClass::kOther;
}

void ReadKey(const ParvexValue& value, KeyReading reading, std::string* key) {
  switch (reading) {
    case KeyReading::kInteger:
      *key = IntegerKey(value.GetInteger());
      return;
    case KeyReading::kTruth:
      *key = IntegerKey(Truth(value));
      return;
    case KeyReading::kText:
      if (value.Type() == kTypeString && !value.IsNull()) {
        key->assign(value.RawText().view());
      } else {
        key->assign(value.GetString().view());
      }
      return;
  }
}

void EqualityKeys(const ParvexValue& value, bool columnOnLeft, std::vector<EqualityKey>* keys) {
  keys->clear();
  auto add = [keys](RowClass rowClass, KeyReading reading, std::string key) {
    keys->push_back({rowClass, reading, std::move(key)});
  };
  std::string text;
  const bool valueIsBoolean = value.Type() == kTypeBoolean;

  if (columnOnLeft) {
    // A Boolean column value: integer domain, the value coerced.
    const std::string truth = IntegerKey(Truth(value));
    add(RowClass::kBoolean, KeyReading::kInteger, truth);
    add(RowClass::kNullBoolean, KeyReading::kInteger, truth);
    if (valueIsBoolean) {
      // Text column values compare as texts after both become Booleans:
      // "TRUE"/"FALSE" against the value's text, which is "NULL" for a NULL.
      if (!value.IsNull()) add(RowClass::kText, KeyReading::kTruth, IntegerKey(value.GetInteger()));
      // Other column values: integer domain, both Booleans.
      add(RowClass::kOther, KeyReading::kTruth, IntegerKey(value.GetInteger()));
      return;
    }
    ReadKey(value, KeyReading::kText, &text);
    add(RowClass::kText, KeyReading::kText, text);
    add(RowClass::kOther, KeyReading::kInteger, IntegerKey(value.GetInteger()));
    return;
  }

  // The value is the left operand: its type picks the domain.
  if (valueIsBoolean) {
    const std::string number = IntegerKey(value.GetInteger());
    add(RowClass::kBoolean, KeyReading::kInteger, number);
    add(RowClass::kNullBoolean, KeyReading::kInteger, number);
    add(RowClass::kText, KeyReading::kTruth, number);
    add(RowClass::kOther, KeyReading::kTruth, number);
    return;
  }
  if (ComparesAsText(value.Type())) {
    // A Boolean column value reads "TRUE"/"FALSE" (never equal to the coerced
    // value's text when it is a NULL Boolean, which reads "NULL").
    add(RowClass::kBoolean, KeyReading::kInteger, IntegerKey(Truth(value)));
    ReadKey(value, KeyReading::kText, &text);
    add(RowClass::kText, KeyReading::kText, text);
    add(RowClass::kOther, KeyReading::kText, text);
    return;
  }
  const std::string truth = IntegerKey(Truth(value));
  add(RowClass::kBoolean, KeyReading::kInteger, truth);
  add(RowClass::kNullBoolean, KeyReading::kInteger, truth);
  const std::string number = IntegerKey(value.GetInteger());
  add(RowClass::kText, KeyReading::kInteger, number);
  add(RowClass::kOther, KeyReading::kInteger, number);
}

}  // namespace parvex
