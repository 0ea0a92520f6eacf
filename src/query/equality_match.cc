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

void EqualityKeys(const ParvexValue& value, bool columnOnLeft, std::vector<EqualityKey>* keys, unsigned classes) {
  keys->clear();
  // Keys are made only for the classes asked for (a key's bytes may cost a
  // conversion of the value).
  auto add = [keys, classes](RowClass rowClass, KeyReading reading, auto makeKey) {
    if ((classes >> static_cast<unsigned>(rowClass)) & 1) keys->push_back({rowClass, reading, makeKey()});
  };
  auto truth = [&value]() { return IntegerKey(Truth(value)); };
  auto number = [&value]() { return IntegerKey(value.GetInteger()); };
  auto text = [&value]() {
    std::string key;
    ReadKey(value, KeyReading::kText, &key);
    return key;
  };
  const bool valueIsBoolean = value.Type() == kTypeBoolean;

  if (columnOnLeft) {
    // A Boolean column value: integer domain, the value coerced.
    add(RowClass::kBoolean, KeyReading::kInteger, truth);
    add(RowClass::kNullBoolean, KeyReading::kInteger, truth);
    if (valueIsBoolean) {
      // Text column values compare as texts after both become Booleans:
      // "TRUE"/"FALSE" against the value's text, which is "NULL" for a NULL.
      if (!value.IsNull()) add(RowClass::kText, KeyReading::kTruth, number);
      // Other column values: integer domain, both Booleans.
      add(RowClass::kOther, KeyReading::kTruth, number);
      return;
    }
    add(RowClass::kText, KeyReading::kText, text);
    add(RowClass::kOther, KeyReading::kInteger, number);
    return;
  }

  // The value is the left operand: its type picks the domain.
  if (valueIsBoolean) {
    add(RowClass::kBoolean, KeyReading::kInteger, number);
    add(RowClass::kNullBoolean, KeyReading::kInteger, number);
    add(RowClass::kText, KeyReading::kTruth, number);
    add(RowClass::kOther, KeyReading::kTruth, number);
    return;
  }
  if (ComparesAsText(value.Type())) {
    // A Boolean column value reads "TRUE"/"FALSE" (never equal to the coerced
    // value's text when it is a NULL Boolean, which reads "NULL").
    add(RowClass::kBoolean, KeyReading::kInteger, truth);
    add(RowClass::kText, KeyReading::kText, text);
    add(RowClass::kOther, KeyReading::kText, text);
    return;
  }
  add(RowClass::kBoolean, KeyReading::kInteger, truth);
  add(RowClass::kNullBoolean, KeyReading::kInteger, truth);
  add(RowClass::kText, KeyReading::kInteger, number);
  add(RowClass::kOther, KeyReading::kInteger, number);
}

}  // namespace parvex
