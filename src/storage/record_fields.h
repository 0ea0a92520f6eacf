// RecordFields: one record body decoded in place. The column entries are
// read once, numbers decoded and texts located in a copy of the body, so a
// row's values can be read one at a time without a heap object per value.
//
// Contract:
// - Decode accepts exactly the bodies a reader of the record format accepts:
//   the count, the column entries (counted column ID, a known type byte) and
//   the values in their encodings, none of them running past the body; room
//   after a text, and unused bytes after the last value, are skipped. On any
//   other body it returns false and holds no fields.
// - Numbers follow the byte order the body was written with (the stream's
//   big-endian and double-swap flags).
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "core/table.h"
#include "core/value.h"

namespace parvex {

struct StoredField {
  uint32_t columnID = 0;
  ParvexDataType type = kTypeNone;
  int32_t integer = 0;      // Integer, Boolean (0 or 1)
  double number = 0;        // Double
  uint32_t textOffset = 0;  // text forms: where the text starts in the body
  uint32_t textLength = 0;
  uint32_t encoding = kEncodingDefault;  // String
};

class RecordFields {
 public:
  // With `removals`, a type byte kTypeNone (no payload) is accepted too: a
  // pending change's mark that removes its column from the stored record.
  bool Decode(const uint8_t* body, uint32_t size, bool bigEndian, bool doubleSwap, bool removals = false);
  void Clear() { mCount = 0; }

  size_t size() const { return mCount; }
  const StoredField& operator[](size_t i) const { return mFields[i]; }
  // The place of the field of a column ID, or -1.
  long Find(uint32_t columnID) const;
  std::string_view Text(const StoredField& field) const {
    return {reinterpret_cast<const char*>(mBody.data()) + field.textOffset, field.textLength};
  }
  // Sets `out` to the field's value (reusing its text buffer when it can); a
  // removal mark reads as NULL.
  void ReadValue(size_t i, ParvexValue* out) const;
  // Replaces the list's contents (owned values) with the fields' values.
  void ReadValues(ParvexValueList& values) const;

 private:
  std::vector<uint8_t> mBody;
  std::vector<StoredField> mFields;  // the first mCount are this body's (the rest are kept for reuse)
  size_t mCount = 0;
};

// Whether a type byte names a type that records store.
bool IsStoredType(ParvexDataType type);

// Appends the record body of `values` to `out` in the given byte order: the
// count, the column entries and the values, NULLs left out, or with
// `removals` written as kTypeNone entries without a payload.
void EncodeBody(const ParvexValueList& values, bool bigEndian, bool doubleSwap, bool removals,
                std::vector<uint8_t>* out);

// Appends to `out` the body of the record `stored` with a pending change
// (decoded with its removal marks) merged in, the changes taken in order: a
// value replaces the field of its column where it stands or, for a column
// the record lacks, is appended; a removal mark drops the column's field.
void EncodeMerged(const RecordFields& stored, const RecordFields& changes, bool bigEndian, bool doubleSwap,
                  std::vector<uint8_t>* out);

}  // namespace parvex
