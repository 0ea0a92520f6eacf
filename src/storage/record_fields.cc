// RecordFields: decoding a record body without a stream and without a heap
// object per value.
#include "storage/record_fields.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace parvex {

namespace {

constexpr uint8_t kCountedRunByte = 0xFF;
constexpr uint32_t kCountedStep = 254;
// A value needs at least a one-byte column ID, its type byte and a one-byte
// encoding (Boolean); a count above body / kMinValueSize cannot be right.
constexpr uint32_t kMinValueSize = 3;

// Reads a body front to back; every read checks the bytes that are left.
// (Inline and branch-light: a table scan decodes one body per row.)
class BodyReader {
 public:
  BodyReader(const uint8_t* bytes, uint32_t size) : mAt(bytes), mEnd(bytes + size), mBegin(bytes) {}

  uint32_t Position() const { return static_cast<uint32_t>(mAt - mBegin); }
  uint32_t Left() const { return static_cast<uint32_t>(mEnd - mAt); }
  bool Byte(uint8_t* b) {
    if (mAt == mEnd) return false;
    *b = *mAt++;
    return true;
  }
  // n (4 or 8) bytes as a number in the given byte order.
  template <uint32_t n>
  bool Raw(bool bigEndian, uint64_t* v) {
    if (Left() < n) return false;
    uint64_t value = 0;
    for (uint32_t i = 0; i < n; ++i) value = (value << 8) | mAt[bigEndian ? i : n - 1 - i];
    mAt += n;
    *v = value;
    return true;
  }
  bool U32(bool bigEndian, uint32_t* v) {
    uint64_t raw = 0;
    if (!Raw<4>(bigEndian, &raw)) return false;
    *v = static_cast<uint32_t>(raw);
    return true;
  }
  // A counted integer; false at the end or when it passes 32 bits.
  bool Counted(uint32_t* v) {
    if (mAt != mEnd && *mAt != kCountedRunByte) {  // the usual one-byte number
      *v = *mAt++;
      return true;
    }
    uint64_t sum = 0;
    uint8_t b = 0;
    for (;;) {
      if (!Byte(&b)) return false;
      if (b != kCountedRunByte) break;
      sum += kCountedStep;
      if (sum > std::numeric_limits<uint32_t>::max()) return false;
    }
    sum += b;
    if (sum > std::numeric_limits<uint32_t>::max()) return false;
    *v = static_cast<uint32_t>(sum);
    return true;
  }
  bool Skip(uint32_t n) {
    if (Left() < n) return false;
    mAt += n;
    return true;
  }

 private:
  const uint8_t* mAt;
  const uint8_t* mEnd;
  const uint8_t* mBegin;
};

constexpr uint32_t kStoredTypes = (1u << kTypeInteger) | (1u << kTypeString) | (1u << kTypeBoolean) |
                                   (1u << kTypeDouble) | (1u << kTypeDate) | (1u << kTypeTime) |
                                   (1u << kTypeTimestamp) | (1u << kTypeBinary);

bool StoredType(ParvexDataType type) { return type < 32 && ((kStoredTypes >> type) & 1) != 0; }

}  // namespace

bool IsStoredType(ParvexDataType type) { return StoredType(type); }

bool RecordFields::Decode(const uint8_t* body, uint32_t size, bool bigEndian, bool doubleSwap, bool removals) {
  mCount = 0;
  mBody.assign(body, body + size);
  BodyReader in(mBody.data(), size);
  uint32_t count = 0;
  // (A removal mark has no payload: a column ID and a type byte.)
  const uint32_t smallest = removals ? kMinValueSize - 1 : kMinValueSize;
  if (!in.Counted(&count) || count > in.Left() / smallest) return false;
  // The entries are kept from body to body (a scan decodes one per row);
  // every member a field's type reads is written below.
  if (mFields.size() < count) mFields.resize(count);
  StoredField* const fields = mFields.data();
  for (uint32_t i = 0; i < count; ++i) {
    StoredField& field = fields[i];
    uint8_t type = 0;
    if (!in.Counted(&field.columnID) || !in.Byte(&type) || !(StoredType(type) || (removals && type == kTypeNone))) {
      return false;
    }
    field.type = type;
  }
  for (uint32_t i = 0; i < count; ++i) {
    StoredField& field = fields[i];
    uint64_t raw = 0;
    bool ok = true;
    switch (field.type) {
      case kTypeNone:
        break;
      case kTypeInteger:
        ok = in.Raw<4>(bigEndian, &raw);
        field.integer = static_cast<int32_t>(static_cast<uint32_t>(raw));
        break;
      case kTypeBoolean: {
        uint8_t b = 0;
        ok = in.Byte(&b);
        field.integer = b != 0 ? 1 : 0;
        break;
      }
      case kTypeDouble:
        ok = in.Raw<8>(bigEndian && doubleSwap, &raw);
        std::memcpy(&field.number, &raw, sizeof raw);
        break;
      default: {  // String (which also stores its encoding) and the text forms
        uint32_t room = 0;
        field.encoding = kEncodingDefault;
        ok = in.U32(bigEndian, &room) && in.U32(bigEndian, &field.textLength) &&
             (field.type != kTypeString || in.U32(bigEndian, &field.encoding)) && field.textLength <= room;
        field.textOffset = in.Position();
        ok = ok && in.Skip(room);
        break;
      }
    }
    if (!ok) return false;
  }
  mCount = count;
  return true;
}

long RecordFields::Find(uint32_t columnID) const {
  for (size_t i = 0; i < mCount; ++i) {
    if (mFields[i].columnID == columnID) return static_cast<long>(i);
  }
  return -1;
}

void RecordFields::ReadValue(size_t i, ParvexValue* out) const {
  const StoredField& field = mFields[i];
  switch (field.type) {
    case kTypeNone:
      out->SetNull();
      break;
    case kTypeInteger:
      out->SetInteger(field.integer);
      break;
    case kTypeBoolean:
      out->SetBoolean(field.integer != 0);
      break;
    case kTypeDouble:
      out->SetDouble(field.number);
      break;
    default:
      out->AssignText(field.type, Text(field), field.encoding);
      break;
  }
}

void RecordFields::ReadValues(ParvexValueList& values) const {
  while (values.size() > mCount) {
    delete values.back();
    values.RemoveAt(values.size() - 1);
  }
  values.reserve(mCount);
  while (values.size() < mCount) values.push_back(new ParvexValueWithID());
  for (size_t i = 0; i < mCount; ++i) {
    ReadValue(i, values[i]);
    values[i]->id = static_cast<long>(mFields[i].columnID);
  }
}

namespace {

void PutNumber(uint64_t value, uint32_t n, bool bigEndian, std::vector<uint8_t>* out) {
  for (uint32_t i = 0; i < n; ++i) {
    const uint32_t shift = 8 * (bigEndian ? n - 1 - i : i);
    out->push_back(static_cast<uint8_t>(value >> shift));
  }
}

void PutCounted(uint32_t v, std::vector<uint8_t>* out) {
  while (v > kCountedStep) {
    out->push_back(kCountedRunByte);
    v -= kCountedStep;
  }
  out->push_back(static_cast<uint8_t>(v));
}

void PutText(ParvexDataType type, std::string_view text, uint32_t encoding, bool bigEndian,
             std::vector<uint8_t>* out) {
  const auto length = static_cast<uint32_t>(text.length());
  PutNumber(length, 4, bigEndian, out);  // room: no more than the text
  PutNumber(length, 4, bigEndian, out);
  if (type == kTypeString) PutNumber(encoding, 4, bigEndian, out);
  out->insert(out->end(), text.data(), text.data() + length);
}

void PutText(ParvexDataType type, const string& text, bool bigEndian, std::vector<uint8_t>* out) {
  PutText(type, std::string_view(text.data(), text.length()), text.Encoding(), bigEndian, out);
}

void PutDouble(double d, bool bigEndian, bool doubleSwap, std::vector<uint8_t>* out) {
  uint64_t raw = 0;
  std::memcpy(&raw, &d, sizeof raw);
  PutNumber(raw, 8, bigEndian && doubleSwap, out);
}

}  // namespace

void EncodeBody(const ParvexValueList& values, bool bigEndian, bool doubleSwap, bool removals,
                std::vector<uint8_t>* out) {
  const auto kept = [removals](const ParvexValueWithID& v) { return removals || !v.IsNull(); };
  uint32_t count = 0;
  for (const ParvexValueWithID* v : values) count += kept(*v) ? 1 : 0;
  PutCounted(count, out);
  for (const ParvexValueWithID* v : values) {
    if (!kept(*v)) continue;
    PutCounted(static_cast<uint32_t>(v->id), out);
    out->push_back(v->IsNull() ? kTypeNone : v->Type());
  }
  for (const ParvexValueWithID* v : values) {
    if (v->IsNull()) continue;
    switch (v->Type()) {
      case kTypeInteger:
        PutNumber(static_cast<uint32_t>(v->RawInteger()), 4, bigEndian, out);
        break;
      case kTypeBoolean:
        out->push_back(v->RawInteger() != 0 ? 1 : 0);
        break;
      case kTypeDouble:
        PutDouble(v->RawDouble(), bigEndian, doubleSwap, out);
        break;
      case kTypeString:
        PutText(kTypeString, v->RawText(), bigEndian, out);
        break;
      default:  // Date, Time, Timestamp, Binary: their saved text form
        PutText(v->Type(), v->GetSaveString(), bigEndian, out);
        break;
    }
  }
}

void EncodeMerged(const RecordFields& stored, const RecordFields& changes, bool bigEndian, bool doubleSwap,
                  std::vector<uint8_t>* out) {
  // The merged fields, each taken from the record it comes from.
  struct Pick {
    const RecordFields* from;
    size_t at;
  };
  std::vector<Pick> picks;
  picks.reserve(stored.size() + changes.size());
  for (size_t i = 0; i < stored.size(); ++i) picks.push_back({&stored, i});
  for (size_t c = 0; c < changes.size(); ++c) {
    const uint32_t id = changes[c].columnID;
    auto same = std::find_if(picks.begin(), picks.end(), [id](const Pick& p) { return (*p.from)[p.at].columnID == id; });
    if (changes[c].type == kTypeNone) {
      if (same != picks.end()) picks.erase(same);
    } else if (same != picks.end()) {
      *same = {&changes, c};
    } else {
      picks.push_back({&changes, c});
    }
  }
  PutCounted(static_cast<uint32_t>(picks.size()), out);
  for (const Pick& p : picks) {
    PutCounted((*p.from)[p.at].columnID, out);
    out->push_back((*p.from)[p.at].type);
  }
  for (const Pick& p : picks) {
    const StoredField& field = (*p.from)[p.at];
    switch (field.type) {
      case kTypeInteger:
        PutNumber(static_cast<uint32_t>(field.integer), 4, bigEndian, out);
        break;
      case kTypeBoolean:
        out->push_back(field.integer != 0 ? 1 : 0);
        break;
      case kTypeDouble:
        PutDouble(field.number, bigEndian, doubleSwap, out);
        break;
      default:
        PutText(field.type, p.from->Text(field), field.encoding, bigEndian, out);
        break;
    }
  }
}

}  // namespace parvex
