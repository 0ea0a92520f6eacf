// ParvexValue: the typed, nullable SQL value passed between every layer.
//
// The payload is a 32-bit integer (Integer, Boolean 0/1), a 64-bit double
// (Double) or a shared string (String, Date, Time, Timestamp, Binary: dates
// and times are held as their text). The readings keep the engine's quirks:
// GetDouble is 0.0 for everything but a non-NULL Double (no widening),
// GetInteger reads a string's leading decimal number, NULL reads as 0 and as
// the text "NULL", Equals decides by the left operand's type, CoerceToType
// turns an Integer into 0.0 when asked for a Double.
#pragma once

#include <cstdint>

#include "platform/parvex_string.h"

namespace parvex {

using ParvexDataType = uint8_t;

constexpr ParvexDataType kTypeNone = 0;
constexpr ParvexDataType kTypeInteger = 3;
constexpr ParvexDataType kTypeString = 5;
constexpr ParvexDataType kTypeDouble = 7;
constexpr ParvexDataType kTypeDate = 8;
constexpr ParvexDataType kTypeTime = 9;
constexpr ParvexDataType kTypeTimestamp = 10;
constexpr ParvexDataType kTypeBoolean = 12;
constexpr ParvexDataType kTypeBinary = 14;

// True for the types whose payload is a string (String, Date, Time, Timestamp, Binary).
bool IsTextType(ParvexDataType type);

class ParvexValue {
 public:
  // The NULL value of type None.
  ParvexValue() noexcept {}  // user-provided, so `const ParvexValue v;` is valid

  static ParvexValue Integer(int32_t value);
  static ParvexValue Boolean(bool value);
  static ParvexValue Double(double value);
  static ParvexValue String(const string& text);
  // A text-held value of a text type (String, Date, Time, Timestamp, Binary).
  static ParvexValue Text(ParvexDataType type, const string& text);
  // The NULL value of a given type (a column's prototype).
  static ParvexValue Null(ParvexDataType type = kTypeNone);

  ParvexDataType Type() const { return mType; }
  bool IsNull() const { return mNull; }

  void SetInteger(int32_t value);
  void SetBoolean(bool value);
  void SetDouble(double value);
  void SetText(ParvexDataType type, const string& text);
  // SetText from bytes, reusing this value's text buffer when it is not shared.
  void AssignText(ParvexDataType type, std::string_view bytes, uint32_t encoding);
  void SetNull(ParvexDataType type = kTypeNone);

  // The raw payloads, whatever the type says.
  int32_t RawInteger() const { return mInt; }
  double RawDouble() const { return mDouble; }
  const string& RawText() const { return mText; }

  int32_t GetInteger() const;
  double GetDouble() const;
  string GetString() const;
  string GetSaveString() const;
  bool Equals(const ParvexValue& other) const;
  void CoerceToType(ParvexDataType type);

 private:
  void ClearPayload();

  // Integer and Boolean live in mInt, Double in mDouble; both are kept zero
  // when unused so that reading "the payload as a double" is well defined.
  union {
    int32_t mInt;
    double mDouble = 0.0;
  };
  string mText;
  ParvexDataType mType = kTypeNone;
  bool mNull = true;
};

// A value together with the column it belongs to: a column ID for stored
// tables, a column position for result tables.
class ParvexValueWithID : public ParvexValue {
 public:
  ParvexValueWithID() = default;
  ParvexValueWithID(const ParvexValue& value, long columnID) : ParvexValue(value), id(columnID) {}

  long id = 0;
};

}  // namespace parvex
