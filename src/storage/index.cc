// ParvexIndex: entries, equality keys, and the index file.
//
// Equality keys. ParvexValue::Equals decides by the entry value's type, so
// each entry value gets a kind from its type and a canonical payload:
//   NULL                 kind 'n', no payload        equal only to NULL
//   Integer, Boolean     kind 'i', the integer       other.GetInteger()
//   String, Binary       kind 's', folded text       folded other.GetString()
//   Date, Time, Stamp    kind 'd'/'t'/'p', folded    the other's bare text when
//                        text                        it has the same type, else
//                                                    folded other.GetString()
//   Double (not NaN)     kind 'f', the double        the other's payload read
//                        (-0 as +0)                  as a double
// Text compares with ASCII case folding and no other change, so folding both
// sides and comparing bytes gives the same answer. A NaN never equals
// anything, so an entry holding one is never filed. A lookup builds, for each
// combination of kinds that filed entries have, the payload the given values
// would need under it, and takes the earliest entry found.
#include "storage/index.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "platform/text_encoding.h"
#include "storage/record_storage.h"

namespace parvex {

namespace {

constexpr char kKindNull = 'n';
constexpr char kKindInteger = 'i';
constexpr char kKindText = 's';
constexpr char kKindDate = 'd';
constexpr char kKindTime = 't';
constexpr char kKindTimestamp = 'p';
constexpr char kKindDouble = 'f';

// The kind of an entry value; false when the value can equal nothing.
bool KindOf(const ParvexValue& v, char* kind) {
  if (v.IsNull()) {
    *kind = kKindNull;
    return true;
  }
  switch (v.Type()) {
    case kTypeInteger:
    case kTypeBoolean:
      *kind = kKindInteger;
      return true;
    case kTypeString:
    case kTypeBinary:
      *kind = kKindText;
      return true;
    case kTypeDate:
      *kind = kKindDate;
      return true;
    case kTypeTime:
      *kind = kKindTime;
      return true;
    case kTypeTimestamp:
      *kind = kKindTimestamp;
      return true;
    case kTypeDouble:
      *kind = kKindDouble;
      return !std::isnan(v.RawDouble());
    default:
      return false;
  }
}

ParvexDataType TypeOfDateKind(char kind) {
  return kind == kKindDate ? kTypeDate : (kind == kKindTime ? kTypeTime : kTypeTimestamp);
}

void AppendBytes(std::string* out, const void* bytes, size_t n) {
  out->append(static_cast<const char*>(bytes), n);
}

void AppendFolded(std::string* out, std::string_view text) {
  const auto length = static_cast<uint32_t>(text.size());
  AppendBytes(out, &length, sizeof length);
  for (char c : text) out->push_back(AsciiToLower(c));
}

void AppendDouble(std::string* out, double d) {
  if (d == 0.0) d = 0.0;  // -0.0 equals 0.0
  AppendBytes(out, &d, sizeof d);
}

// The payload of an entry value of the given kind.
void AppendEntryPayload(std::string* out, char kind, const ParvexValue& v) {
  switch (kind) {
    case kKindInteger: {
      const int32_t i = v.RawInteger();
      AppendBytes(out, &i, sizeof i);
      return;
    }
    case kKindDouble:
      AppendDouble(out, v.RawDouble());
      return;
    case kKindNull:
      return;
    default:  // text kinds
      AppendFolded(out, v.RawText().view());
      return;
  }
}

// The payload a given value needs to equal an entry value of the kind; false
// when it can equal none.
bool AppendProbePayload(std::string* out, char kind, const ParvexValue* v) {
  if (v == nullptr || v->IsNull()) return kind == kKindNull;
  switch (kind) {
    case kKindNull:
      return false;
    case kKindInteger: {
      const int32_t i = v->GetInteger();
      AppendBytes(out, &i, sizeof i);
      return true;
    }
    case kKindDouble:
      if (std::isnan(v->RawDouble())) return false;
      AppendDouble(out, v->RawDouble());
      return true;
    case kKindText:
      AppendFolded(out, v->GetString().view());
      return true;
    default:
      if (v->Type() == TypeOfDateKind(kind)) {
        AppendFolded(out, v->RawText().view());
      } else {
        AppendFolded(out, v->GetString().view());
      }
      return true;
  }
}

// The kinds of an entry's values and its key (the kinds, then the payloads);
// false when the entry can equal nothing.
bool EntryKey(const SimpleVector<ParvexValue>& values, std::string* kinds, std::string* key) {
  kinds->assign(values.size(), kKindNull);
  for (size_t i = 0; i < values.size(); ++i) {
    if (!KindOf(values[i], &(*kinds)[i])) return false;
  }
  *key = *kinds;
  for (size_t i = 0; i < values.size(); ++i) AppendEntryPayload(key, (*kinds)[i], values[i]);
  return true;
}

}  // namespace

bool ParvexIndexEntry::Matches(ParvexIndexKey given) const {
  if (given.size() < values.size()) return false;
  static const ParvexValue kNull{};
  for (size_t i = 0; i < values.size(); ++i) {
    if (!values[i].Equals(given[i] ? *given[i] : kNull)) return false;
  }
  return true;
}

ParvexIndex::ParvexIndex(const SimpleVector<uint32_t>& columnIDs, const string& name)
    : mName(name), mColumnIDs(columnIDs), mRows(RowMap<ParvexIndexEntry*>::kDefaultSize, nullptr) {}

ParvexIndex::~ParvexIndex() { Clear(); }

void ParvexIndex::Clear() {
  mRows.ForEach([](RowID, ParvexIndexEntry* entry) { delete entry; });
  mRows.RemoveAll();
  mKeys.clear();
  mKinds.clear();
  mTypeCounts.clear();
  mNonNullCounts.clear();
}

void ParvexIndex::CountValues(const ParvexIndexEntry& entry, int delta) {
  if (mTypeCounts.size() < entry.values.size()) {
    mTypeCounts.resize(entry.values.size(), std::array<size_t, kTypeSlots>{});
    mNonNullCounts.resize(entry.values.size(), 0);
  }
  for (size_t place = 0; place < entry.values.size(); ++place) {
    const ParvexValue& v = entry.values[place];
    if (v.IsNull()) continue;
    const size_t slot = std::min<size_t>(v.Type(), kTypeSlots - 1);
    mTypeCounts[place][slot] += static_cast<size_t>(delta);
    mNonNullCounts[place] += static_cast<size_t>(delta);
  }
}

bool ParvexIndex::AllValuesOfType(size_t place, ParvexDataType type) const {
  if (place >= mNonNullCounts.size()) return true;
  if (type >= kTypeSlots - 1) return mNonNullCounts[place] == 0;
  return mTypeCounts[place][type] == mNonNullCounts[place];
}

ParvexIndexEntry* ParvexIndex::AppendEntry(RowID rowID) {
  auto entry = std::make_unique<ParvexIndexEntry>(rowID);
  entry->mSequence = mNextSequence++;
  entry->values.resize(mColumnIDs.size());
  return mRows.AddItem(rowID, entry.release())->value;
}

// Files an entry under its key (entries that can equal nothing are not filed).
void ParvexIndex::FileEntry(ParvexIndexEntry* entry) {
  std::string kinds, key;
  if (!EntryKey(entry->values, &kinds, &key)) return;
  mKeys[key].emplace(entry->mSequence, entry->rowID);
  ++mKinds[kinds];
}

void ParvexIndex::UnfileEntry(const ParvexIndexEntry* entry) {
  std::string kinds, key;
  if (!EntryKey(entry->values, &kinds, &key)) return;
  auto found = mKeys.find(key);
  if (found != mKeys.end()) {
    found->second.erase(entry->mSequence);
    if (found->second.empty()) mKeys.erase(found);
  }
  auto counted = mKinds.find(kinds);
  if (counted != mKinds.end() && --counted->second == 0) mKinds.erase(counted);
}

void ParvexIndex::Add(ParvexIndexKey values, RowID rowID) {
  if (rowID == kInvalidRowID) return;
  ParvexIndexEntry* entry = mRows.Find(rowID);
  if (entry) {
    UnfileEntry(entry);
    CountValues(*entry, -1);
  } else {
    entry = AppendEntry(rowID);
  }
  for (size_t i = 0; i < entry->values.size(); ++i) {
    const ParvexValue* v = i < values.size() ? values[i] : nullptr;
    entry->values[i] = v ? *v : ParvexValue();
  }
  FileEntry(entry);
  CountValues(*entry, 1);
  mChanged = true;
}

void ParvexIndex::Delete(ParvexIndexKey, RowID rowID) {
  ParvexIndexEntry* entry = mRows.Find(rowID);
  if (!entry) return;
  UnfileEntry(entry);
  CountValues(*entry, -1);
  mRows.RemoveItem(rowID);
  delete entry;
  mChanged = true;
}

template <typename F>
void ParvexIndex::ForEachMatchingKey(ParvexIndexKey values, F&& f) const {
  std::string probe;
  for (const auto& [kinds, count] : mKinds) {
    if (values.size() < kinds.size()) continue;
    probe = kinds;
    bool possible = true;
    for (size_t i = 0; possible && i < kinds.size(); ++i) {
      possible = AppendProbePayload(&probe, kinds[i], values[i]);
    }
    if (!possible) continue;
    const auto found = mKeys.find(probe);
    if (found != mKeys.end()) f(found->second);
  }
}

RowID ParvexIndex::Lookup(ParvexIndexKey values) const {
  RowID best = kInvalidRowID;
  uint64_t bestSequence = std::numeric_limits<uint64_t>::max();
  ForEachMatchingKey(values, [&](const std::map<uint64_t, RowID>& filed) {
    const auto& [sequence, rowID] = *filed.begin();
    if (sequence < bestSequence) {
      bestSequence = sequence;
      best = rowID;
    }
  });
  return best;
}

std::vector<RowID> ParvexIndex::LookupAll(ParvexIndexKey values) const {
  std::vector<std::pair<uint64_t, RowID>> found;
  ForEachMatchingKey(values, [&found](const std::map<uint64_t, RowID>& filed) {
    found.insert(found.end(), filed.begin(), filed.end());
  });
  std::sort(found.begin(), found.end());
  std::vector<RowID> rows;
  rows.reserve(found.size());
  for (const auto& [sequence, rowID] : found) rows.push_back(rowID);
  return rows;
}

bool ParvexIndex::GetColumnValue(RowID rowID, size_t i, ParvexValue* out) const {
  const ParvexIndexEntry* entry = mRows.Find(rowID);
  if (!entry || i >= entry->values.size()) return false;
  if (out) *out = entry->values[i];
  return true;
}

bool ParvexIndex::SaveToFile(std::unique_ptr<RandomAccessMechanism> stream) {
  if (!stream) return false;
  ParvexStorage storage(std::move(stream), nullptr);
  OwnedValueList record;
  for (uint32_t columnID : mColumnIDs) {
    record.list.push_back(new ParvexValueWithID(ParvexValue::Integer(0), static_cast<long>(columnID)));
  }
  bool placeholder = mRows.empty();
  if (!placeholder) {
    for (const ParvexValue& v : mRows.Find(mRows.IDAt(0))->values) placeholder = placeholder || v.IsNull();
  }
  bool ok = !placeholder || storage.AddNewRecord(kInvalidRowID, record.list);
  mRows.ForEach([&](RowID, const ParvexIndexEntry* entry) {
    for (size_t i = 0; i < record.list.size(); ++i) {
      static_cast<ParvexValue&>(*record.list[i]) = entry->values[i];
    }
    ok = ok && storage.AddNewRecord(entry->rowID, record.list);
  });
  if (ok) mChanged = false;
  return ok;
}

bool ParvexIndex::LoadFromFile(std::unique_ptr<RandomAccessMechanism> stream) {
  Clear();
  mChanged = false;
  if (!stream) return false;
  ParvexStorage storage(std::move(stream), nullptr);
  if (storage.QtyRows() == 0) return storage.LastError() == kStorageErrorNone;
  OwnedValueList record;
  if (!storage.GoToFirstRecord() || !storage.ReadRecordValues(record.list)) return false;
  if (record.list.empty()) return true;
  if (record.list.size() > kMaxColumns) return false;
  mColumnIDs.clear();
  std::unordered_map<long, size_t> placeOf;
  for (const ParvexValueWithID* v : record.list) {
    placeOf.emplace(v->id, mColumnIDs.size());
    mColumnIDs.push_back(static_cast<uint32_t>(v->id));
  }
  mRows.Presize(static_cast<size_t>(storage.QtyRows()));
  bool ok = true;
  for (bool more = true; more; more = storage.NextRecord()) {
    const RowID rowID = storage.CurrentRowID();
    if (rowID == kInvalidRowID || mRows.Contains(rowID)) continue;
    if (!storage.ReadRecordValues(record.list)) {
      ok = false;
      continue;
    }
    // Values go to their column's place; columns the record lacks are NULL.
    ParvexIndexEntry* entry = AppendEntry(rowID);
    for (const ParvexValueWithID* v : record.list) {
      const auto place = placeOf.find(v->id);
      if (place != placeOf.end() && entry->values[place->second].IsNull()) {
        entry->values[place->second] = *v;
      }
    }
    FileEntry(entry);
    CountValues(*entry, 1);
  }
  return ok && storage.LastError() == kStorageErrorNone;
}

}  // namespace parvex
