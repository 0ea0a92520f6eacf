// ParvexValue readings, equality and coercion.
#include "core/value.h"

#include <cmath>
#include <cstring>
#include <limits>

#include "platform/number_format.h"

namespace parvex {

bool IsTextType(ParvexDataType type) {
  return type == kTypeString || type == kTypeDate || type == kTypeTime || type == kTypeTimestamp ||
         type == kTypeBinary;
}

ParvexValue ParvexValue::Integer(int32_t value) {
  ParvexValue v;
  v.SetInteger(value);
  return v;
}

ParvexValue ParvexValue::Boolean(bool value) {
  ParvexValue v;
  v.SetBoolean(value);
  return v;
}

ParvexValue ParvexValue::Double(double value) {
  ParvexValue v;
  v.SetDouble(value);
  return v;
}

ParvexValue ParvexValue::String(const string& text) { return Text(kTypeString, text); }

ParvexValue ParvexValue::Text(ParvexDataType type, const string& text) {
  ParvexValue v;
  v.SetText(type, text);
  return v;
}

ParvexValue ParvexValue::Null(ParvexDataType type) {
  ParvexValue v;
  v.mType = type;
  return v;
}

void ParvexValue::ClearPayload() {
  mDouble = 0.0;
  mText = string();
}

void ParvexValue::SetInteger(int32_t value) {
  ClearPayload();
  mInt = value;
  mType = kTypeInteger;
  mNull = false;
}

void ParvexValue::SetBoolean(bool value) {
  ClearPayload();
  mInt = value ? 1 : 0;
  mType = kTypeBoolean;
  mNull = false;
}

void ParvexValue::SetDouble(double value) {
  ClearPayload();
  mDouble = value;
  mType = kTypeDouble;
  mNull = false;
}

void ParvexValue::SetText(ParvexDataType type, const string& text) {
  ClearPayload();
  mText = text;
  mType = type;
  mNull = false;
}

void ParvexValue::AssignText(ParvexDataType type, std::string_view bytes, uint32_t encoding) {
  mDouble = 0.0;
  mText.Assign(bytes, encoding);
  mType = type;
  mNull = false;
}

void ParvexValue::SetNull(ParvexDataType type) {
  ClearPayload();
  mType = type;
  mNull = true;
}

int32_t ParvexValue::GetInteger() const {
  switch (mType) {
    case kTypeInteger:
    case kTypeBoolean:
      return mInt;
    case kTypeString:
      return ParseLeadingInteger(mText.data(), mText.length());
    case kTypeDouble: {
      // Truncation toward zero, saturating where the double leaves the range.
      if (std::isnan(mDouble)) return 0;
      const double t = std::trunc(mDouble);
      if (t >= 2147483647.0) return std::numeric_limits<int32_t>::max();
      if (t <= -2147483648.0) return std::numeric_limits<int32_t>::min();
      return static_cast<int32_t>(t);
    }
    default:
      return 0;
  }
}

double ParvexValue::GetDouble() const { return (!mNull && mType == kTypeDouble) ? mDouble : 0.0; }

string ParvexValue::GetString() const {
  if (mNull) return string("NULL");
  switch (mType) {
    case kTypeInteger:
      return string(FormatInteger(mInt));
    case kTypeString:
    case kTypeBinary:
      return mText;
    case kTypeDate:
      return string("DATE ") + mText.view();
    case kTypeTime:
      return string("TIME ") + mText.view();
    case kTypeTimestamp:
      return string("TIMESTAMP ") + mText.view();
    case kTypeBoolean:
      return string(mInt ? "TRUE" : "FALSE");
    case kTypeDouble:
      return string(FormatDouble(mDouble));
    default:
      return string();
  }
}

string ParvexValue::GetSaveString() const {
  if (mNull) return string("NULL");
  if (IsTextType(mType)) return mText;
  return GetString();
}

bool ParvexValue::Equals(const ParvexValue& other) const {
  if (mNull && other.mNull) return true;
  if (mNull || other.mNull) return false;
  switch (mType) {
    case kTypeInteger:
    case kTypeBoolean:
      return mInt == other.GetInteger();
    case kTypeString:
    case kTypeBinary:
      return mText.Compare(other.GetString()) == 0;
    case kTypeDate:
    case kTypeTime:
    case kTypeTimestamp:
      // Same-typed dates and times compare their texts (no keyword prefix).
      if (other.mType == mType) return mText.Compare(other.mText) == 0;
      return mText.Compare(other.GetString()) == 0;
    case kTypeDouble: {
      double theirs;
      std::memcpy(&theirs, &other.mDouble, sizeof theirs);
      return mDouble == theirs;
    }
    default:
      return false;
  }
}

void ParvexValue::CoerceToType(ParvexDataType type) {
  if (type == mType) return;
  switch (type) {
    case kTypeInteger:
      SetInteger(GetInteger());
      return;
    case kTypeBoolean: {
      bool truth;
      if (mType == kTypeInteger) {
        truth = mInt != 0;
      } else if (mType == kTypeDouble) {
        truth = !(mDouble == 0.0);  // NaN counts as true
      } else {
        const string text = GetString();
        truth = !(text.Compare("false") == 0 || text.Compare("0") == 0 || text.Compare("f") == 0);
      }
      SetBoolean(truth);
      return;
    }
    case kTypeDouble:
      SetDouble(GetDouble());
      return;
    case kTypeString:
    case kTypeDate:
    case kTypeTime:
    case kTypeTimestamp:
    case kTypeBinary:
      SetText(type, GetString());
      return;
    default:
      SetNull(type);
      return;
  }
}

}  // namespace parvex
