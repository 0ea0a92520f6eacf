// DistinctRows: class-aware row hashing with exact comparison in the bucket.
#include "query/distinct_rows.h"

#include <cstring>

#include "db/temp_table.h"
#include "platform/hash_mix.h"
#include "platform/text_encoding.h"

namespace parvex {

namespace {

constexpr size_t kInitialBuckets = 64;
constexpr uint64_t kNullHash = 0x6e756c6c6e756c6cULL;
constexpr uint64_t kOtherHash = 0x6f746865726f7468ULL;
constexpr uint64_t kFnvOffset = 0xcbf29ce484222325ULL;
constexpr uint64_t kFnvPrime = 0x100000001b3ULL;

// Hash of the text as Compare sees it: ASCII letters folded to lower case.
uint64_t HashFoldedText(const string& text) {
  uint64_t h = kFnvOffset;
  for (size_t i = 0; i < text.length(); ++i) {
    const auto c = static_cast<unsigned char>(AsciiToLower(static_cast<char>(text[i])));
    h = (h ^ c) * kFnvPrime;
  }
  return h ^ text.length();
}

const ParvexValue kNullValue{};

const ParvexValue& ValueOrNull(const ParvexValueWithID* value) {
  return value ? *value : kNullValue;
}

}  // namespace

DistinctRows::DistinctRows(const ParvexTempTable& table) : mTable(table) {
  mHeads.assign(kInitialBuckets, 0);
}

DistinctRows::KeyClass DistinctRows::ClassOf(const ParvexValue& value) {
  switch (value.Type()) {
    case kTypeInteger:
    case kTypeBoolean:
      return kClassInteger;
    case kTypeString:
    case kTypeBinary:
      return kClassText;
    case kTypeDate:
      return kClassDate;
    case kTypeTime:
      return kClassTime;
    case kTypeTimestamp:
      return kClassTimestamp;
    case kTypeDouble:
      return kClassDouble;
    default:
      return kClassOther;
  }
}

uint64_t DistinctRows::HashValue(const ParvexValue& value) {
  if (value.IsNull()) return kNullHash;
  switch (ClassOf(value)) {
    case kClassInteger:
      return MixHash(static_cast<uint64_t>(static_cast<uint32_t>(value.GetInteger())));
    case kClassText:
    case kClassDate:
    case kClassTime:
    case kClassTimestamp:
      return HashFoldedText(value.RawText());
    case kClassDouble: {
      double d = value.RawDouble();
      if (d == 0.0) d = 0.0;  // -0.0 equals 0.0
      uint64_t bits;
      std::memcpy(&bits, &d, sizeof bits);
      return MixHash(bits);
    }
    default:
      return kOtherHash;
  }
}

bool DistinctRows::NoteClasses(const ParvexValueList& values) {
  if (mColumnClass.size() < values.size()) mColumnClass.resize(values.size(), kClassUnset);
  bool becameMixed = false;
  for (size_t c = 0; c < values.size(); ++c) {
    const ParvexValue& value = ValueOrNull(values[c]);
    if (value.IsNull()) continue;  // NULL equals only NULL: it fits every class
    const KeyClass cls = ClassOf(value);
    KeyClass& column = mColumnClass[c];
    if (column == kClassUnset) {
      column = cls;
    } else if (column != cls && column != kClassMixed) {
      column = kClassMixed;
      becameMixed = true;
    }
  }
  return becameMixed;
}

uint64_t DistinctRows::HashOf(const ParvexValueList& values) const {
  uint64_t h = values.size();
  for (size_t c = 0; c < values.size(); ++c) {
    if (mColumnClass[c] == kClassMixed) continue;
    h = MixHash(h ^ HashValue(ValueOrNull(values[c])));
  }
  return h;
}

uint64_t DistinctRows::HashOfRow(RowID row) const {
  // Hashes exactly like HashOf over the row's stored values.
  const long width = static_cast<long>(mColumnClass.size());
  long count = 0;
  while (count < width && mTable.ValueAt(row, count)) ++count;
  uint64_t h = static_cast<uint64_t>(count);
  for (long c = 0; c < count; ++c) {
    if (mColumnClass[static_cast<size_t>(c)] == kClassMixed) continue;
    h = MixHash(h ^ HashValue(*mTable.ValueAt(row, c)));
  }
  return h;
}

bool DistinctRows::RowEquals(const ParvexValueList& values, RowID row) const {
  const long width = static_cast<long>(values.size());
  if (mTable.ValueAt(row, width) != nullptr) return false;  // the stored row is wider
  for (long c = 0; c < width; ++c) {
    const ParvexValue* stored = mTable.ValueAt(row, c);
    if (!stored || !ValueOrNull(values[static_cast<size_t>(c)]).Equals(*stored)) return false;
  }
  return true;
}

bool DistinctRows::Contains(const ParvexValueList& values) {
  if (NoteClasses(values)) RehashRows();
  mPendingHash = HashOf(values);
  const size_t mask = mHeads.size() - 1;
  for (uint32_t link = mHeads[mPendingHash & mask]; link != 0; link = mNext[link - 1]) {
    const size_t entry = link - 1;
    if (mHashes[entry] == mPendingHash && RowEquals(values, mRows[entry])) return true;
  }
  return false;
}

void DistinctRows::Remember(RowID row) {
  mRows.push_back(row);
  mHashes.push_back(mPendingHash);
  mNext.push_back(0);
  if (mRows.size() > mHeads.size()) {
    Rebucket(mHeads.size() * 2);
    return;
  }
  const size_t entry = mRows.size() - 1;
  uint32_t& head = mHeads[mPendingHash & (mHeads.size() - 1)];
  mNext[entry] = head;
  head = static_cast<uint32_t>(entry + 1);
}

void DistinctRows::RehashRows() {
  for (size_t entry = 0; entry < mRows.size(); ++entry) mHashes[entry] = HashOfRow(mRows[entry]);
  Rebucket(mHeads.size());
}

void DistinctRows::Rebucket(size_t bucketCount) {
  mHeads.assign(bucketCount, 0);
  const size_t mask = bucketCount - 1;
  for (size_t entry = 0; entry < mRows.size(); ++entry) {
    uint32_t& head = mHeads[mHashes[entry] & mask];
    mNext[entry] = head;
    head = static_cast<uint32_t>(entry + 1);
  }
}

}  // namespace parvex
