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
//
// Storage. An entry is a slot: its row, where its encoded values start, and
// its place in the circular list of slots filed under the same key, kept in
// slot order so that the list's head is the key's earliest entry. Values are
// encoded one after another (core/value_codec.h). The key table holds each list's head slot and the key's hash; two
// keys are compared by computing the head's key from its encoded values.
#include "storage/index.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "core/value_codec.h"
#include "platform/hash_mix.h"
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


template <typename T>
T ReadRaw(const char* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

uint32_t HashKey(std::string_view key) {
  uint64_t h = key.size();
  size_t i = 0;
  for (; i + 8 <= key.size(); i += 8) h = MixHash(h ^ ReadRaw<uint64_t>(key.data() + i));
  uint64_t tail = 0;
  if (i < key.size()) std::memcpy(&tail, key.data() + i, key.size() - i);
  return static_cast<uint32_t>(MixHash(h ^ tail ^ (uint64_t{1} << 63)));
}

uint32_t RowHash(RowID row) { return static_cast<uint32_t>(MixHash(row)); }

}  // namespace

// --- the cell tables ------------------------------------------------------------

uint32_t ParvexIndex::RowHome(uint32_t row, uint32_t) { return RowHash(row); }
uint32_t ParvexIndex::KeyHome(uint32_t, uint32_t hash) { return hash; }

template <uint32_t (*Home)(uint32_t, uint32_t)>
void ParvexIndex::CellTable<Home>::Rebuild(size_t cells) {
  std::vector<Cell> old = std::move(mCells);
  mCells.assign(cells, Cell());
  const size_t mask = cells - 1;
  for (const Cell& cell : old) {
    if (cell.key == kNoSlot) continue;
    size_t i = Home(cell.key, cell.value) & mask;
    while (mCells[i].key != kNoSlot) i = (i + 1) & mask;
    mCells[i] = cell;
  }
}

template <uint32_t (*Home)(uint32_t, uint32_t)>
void ParvexIndex::CellTable<Home>::Reserve(size_t count) {
  size_t cells = mCells.empty() ? 16 : mCells.size();
  while (count * 10 > cells * 7) cells *= 2;
  if (cells != mCells.size()) Rebuild(cells);
}

template <uint32_t (*Home)(uint32_t, uint32_t)>
void ParvexIndex::CellTable<Home>::Insert(uint32_t key, uint32_t value) {
  Reserve(mCount + 1);
  const size_t mask = mCells.size() - 1;
  size_t i = Home(key, value) & mask;
  while (mCells[i].key != kNoSlot) i = (i + 1) & mask;
  mCells[i] = {key, value};
  ++mCount;
}

template <uint32_t (*Home)(uint32_t, uint32_t)>
void ParvexIndex::CellTable<Home>::EraseAt(size_t cell) {
  // Backward-shift deletion: later cells of the run move up into the gap
  // when their home allows it, so no tombstones are left.
  const size_t mask = mCells.size() - 1;
  size_t gap = cell;
  for (size_t i = (gap + 1) & mask; mCells[i].key != kNoSlot; i = (i + 1) & mask) {
    const size_t home = Home(mCells[i].key, mCells[i].value) & mask;
    const bool movable = gap <= i ? (home <= gap || home > i) : (home <= gap && home > i);
    if (!movable) continue;
    mCells[gap] = mCells[i];
    gap = i;
  }
  mCells[gap] = Cell();
  --mCount;
}

// --- entries -------------------------------------------------------------------

bool ParvexIndexEntry::Matches(ParvexIndexKey given) const {
  if (given.size() < values.size()) return false;
  static const ParvexValue kNull{};
  for (size_t i = 0; i < values.size(); ++i) {
    if (!values[i].Equals(given[i] ? *given[i] : kNull)) return false;
  }
  return true;
}

ParvexIndex::ParvexIndex(const SimpleVector<uint32_t>& columnIDs, const string& name)
    : mName(name), mColumnIDs(columnIDs) {}

ParvexIndex::~ParvexIndex() = default;

void ParvexIndex::Clear() {
  mSlotRow.clear();
  mSlotValues.clear();
  mSlotNext.clear();
  mSlotPrev.clear();
  mValueBytes.clear();
  mHoles = 0;
  mDeadBytes = 0;
  mRowSlots.Clear();
  mRowSlotsFrom = 0;
  mMaxRow = -1;
  mKeyHeads.Clear();
  mKinds.clear();
  mTypeCounts.clear();
  mNonNullCounts.clear();
}

uint32_t ParvexIndex::EncodeValues(ParvexIndexKey values) {
  const auto start = static_cast<uint32_t>(mValueBytes.size());
  for (size_t i = 0; i < mColumnIDs.size(); ++i) EncodeValue(&mValueBytes, i < values.size() ? values[i] : nullptr);
  return start;
}

void ParvexIndex::DecodeValues(uint32_t slot, SimpleVector<ParvexValue>* values) const {
  values->clear();
  size_t at = mSlotValues[slot];
  for (size_t i = 0; i < mColumnIDs.size(); ++i) values->push_back(DecodeValue(ReadEncodedValue(mValueBytes, &at)));
}

bool ParvexIndex::SlotKey(uint32_t slot, std::string* kinds, std::string* key) const {
  kinds->clear();
  size_t at = mSlotValues[slot];
  const size_t start = at;
  for (size_t i = 0; i < mColumnIDs.size(); ++i) {
    const EncodedValue v = ReadEncodedValue(mValueBytes, &at);
    char kind;
    if (v.null) {
      kind = kKindNull;
    } else if (v.type == kTypeInteger || v.type == kTypeBoolean) {
      kind = kKindInteger;
    } else if (v.type == kTypeString || v.type == kTypeBinary) {
      kind = kKindText;
    } else if (v.type == kTypeDate || v.type == kTypeTime || v.type == kTypeTimestamp) {
      kind = v.type == kTypeDate ? kKindDate : (v.type == kTypeTime ? kKindTime : kKindTimestamp);
    } else if (v.type == kTypeDouble && !std::isnan(v.number)) {
      kind = kKindDouble;
    } else {
      return false;  // a NaN or a value of no comparable type equals nothing
    }
    kinds->push_back(kind);
  }
  *key = *kinds;
  at = start;
  for (size_t i = 0; i < mColumnIDs.size(); ++i) {
    const EncodedValue v = ReadEncodedValue(mValueBytes, &at);
    const char kind = (*kinds)[i];
    if (kind == kKindInteger) {
      AppendBytes(key, &v.integer, sizeof v.integer);
    } else if (kind == kKindDouble) {
      AppendDouble(key, v.number);
    } else if (kind != kKindNull) {
      AppendFolded(key, v.text);
    }
  }
  return true;
}

size_t ParvexIndex::FindRowCell(RowID row) const {
  // Slots appended since the last call (or all, after a load or a
  // compaction) are entered now, each once.
  if (mRowSlotsFrom < mSlotRow.size()) {
    mRowSlots.Reserve(QtyEntries());
    for (auto slot = static_cast<uint32_t>(mRowSlotsFrom); slot < mSlotRow.size(); ++slot) {
      if (mSlotRow[slot] != kInvalidRowID) mRowSlots.Insert(mSlotRow[slot], slot);
    }
    mRowSlotsFrom = mSlotRow.size();
  }
  return mRowSlots.Find(RowHash(row), [row](const auto& cell) { return cell.key == row; });
}

uint32_t ParvexIndex::SlotOf(RowID row) const {
  const size_t cell = FindRowCell(row);
  return cell == mRowSlots.npos ? kNoSlot : mRowSlots.mCells[cell].value;
}

size_t ParvexIndex::FindKeyCell(const std::string& key, uint32_t hash) const {
  std::string kinds, other;
  return mKeyHeads.Find(hash, [&](const auto& cell) {
    return cell.value == hash && SlotKey(cell.key, &kinds, &other) && other == key;
  });
}

void ParvexIndex::FileSlot(uint32_t slot) {
  mSlotNext[slot] = mSlotPrev[slot] = kNoSlot;
  if (!SlotKey(slot, &mScratchKinds, &mScratchKey)) return;
  FileSlotUnder(slot, mScratchKinds, mScratchKey, HashKey(mScratchKey));
}

void ParvexIndex::FileSlotUnder(uint32_t slot, const std::string& kinds, const std::string& key, uint32_t hash) {
  ++mKinds[kinds];
  const size_t cell = FindKeyCell(key, hash);
  if (cell == mKeyHeads.npos) {
    mKeyHeads.Insert(slot, hash);
    mSlotNext[slot] = mSlotPrev[slot] = slot;
    return;
  }
  // Insert in slot order: usually after the tail (the newest slot).
  const uint32_t head = mKeyHeads.mCells[cell].key;
  uint32_t before = head;  // the slot to insert in front of
  if (slot < head) {
    mKeyHeads.mCells[cell].key = slot;
  } else if (slot < mSlotPrev[head]) {
    while (before < slot) before = mSlotNext[before];
  }
  const uint32_t after = mSlotPrev[before];
  mSlotNext[after] = slot;
  mSlotPrev[slot] = after;
  mSlotNext[slot] = before;
  mSlotPrev[before] = slot;
}

void ParvexIndex::UnfileSlot(uint32_t slot) {
  if (mSlotNext[slot] == kNoSlot) return;
  SlotKey(slot, &mScratchKinds, &mScratchKey);
  const auto kinds = mKinds.find(mScratchKinds);
  if (kinds != mKinds.end() && --kinds->second == 0) mKinds.erase(kinds);
  const size_t cell = FindKeyCell(mScratchKey, HashKey(mScratchKey));
  if (mSlotNext[slot] == slot) {
    if (cell != mKeyHeads.npos) mKeyHeads.EraseAt(cell);
  } else {
    mSlotNext[mSlotPrev[slot]] = mSlotNext[slot];
    mSlotPrev[mSlotNext[slot]] = mSlotPrev[slot];
    if (cell != mKeyHeads.npos && mKeyHeads.mCells[cell].key == slot) mKeyHeads.mCells[cell].key = mSlotNext[slot];
  }
  mSlotNext[slot] = mSlotPrev[slot] = kNoSlot;
}

void ParvexIndex::CountValues(uint32_t slot, int delta) {
  if (mTypeCounts.size() < mColumnIDs.size()) {
    mTypeCounts.resize(mColumnIDs.size(), std::array<size_t, kTypeSlots>{});
    mNonNullCounts.resize(mColumnIDs.size(), 0);
  }
  size_t at = mSlotValues[slot];
  for (size_t place = 0; place < mColumnIDs.size(); ++place) {
    const EncodedValue v = ReadEncodedValue(mValueBytes, &at);
    if (v.null) continue;
    mTypeCounts[place][std::min<size_t>(v.type, kTypeSlots - 1)] += static_cast<size_t>(delta);
    mNonNullCounts[place] += static_cast<size_t>(delta);
  }
}

bool ParvexIndex::AllValuesOfType(size_t place, ParvexDataType type) const {
  if (place >= mNonNullCounts.size()) return true;
  if (type >= kTypeSlots - 1) return mNonNullCounts[place] == 0;
  return mTypeCounts[place][type] == mNonNullCounts[place];
}

uint32_t ParvexIndex::AppendSlot(ParvexIndexKey values, RowID rowID, bool file) {
  const auto slot = static_cast<uint32_t>(mSlotRow.size());
  mMaxRow = std::max<int64_t>(mMaxRow, rowID);
  mSlotRow.push_back(rowID);
  mSlotValues.push_back(EncodeValues(values));
  mSlotNext.push_back(kNoSlot);
  mSlotPrev.push_back(kNoSlot);
  if (file) FileSlot(slot);
  CountValues(slot, 1);
  return slot;
}

void ParvexIndex::FileSlotsAhead(uint32_t from) {
  // The keys of the next kAhead slots are made (and their cells fetched)
  // while the current one is filed; each key is made once.
  constexpr uint32_t kAhead = 16;
  struct Pending {
    std::string kinds, key;
    uint32_t hash = 0;
    bool filed = false;
  };
  std::array<Pending, kAhead> ring;
  const auto end = static_cast<uint32_t>(mSlotRow.size());
  const auto prepare = [&](uint32_t slot) {
    if (slot >= end) return;
    Pending& p = ring[slot % kAhead];
    p.filed = mSlotRow[slot] != kInvalidRowID && SlotKey(slot, &p.kinds, &p.key);
    if (!p.filed) return;
    p.hash = HashKey(p.key);
    mKeyHeads.Prefetch(p.hash);
  };
  for (uint32_t slot = from; slot < from + kAhead; ++slot) prepare(slot);
  for (uint32_t slot = from; slot < end; ++slot) {
    const Pending& p = ring[slot % kAhead];
    mSlotNext[slot] = mSlotPrev[slot] = kNoSlot;
    if (p.filed) FileSlotUnder(slot, p.kinds, p.key, p.hash);
    prepare(slot + kAhead);
  }
}

void ParvexIndex::ClearSlot(uint32_t slot) {
  UnfileSlot(slot);
  CountValues(slot, -1);
  size_t end = mSlotValues[slot];
  for (size_t i = 0; i < mColumnIDs.size(); ++i) ReadEncodedValue(mValueBytes, &end);
  mDeadBytes += end - mSlotValues[slot];
  mSlotRow[slot] = kInvalidRowID;
  ++mHoles;
}

void ParvexIndex::Add(ParvexIndexKey values, RowID rowID) {
  if (rowID == kInvalidRowID) return;
  // A row above every row entered so far is new without a look at the row
  // table (rows are mostly added in ascending order); a new entry joins the
  // row table when it is next needed.
  const uint32_t slot = static_cast<int64_t>(rowID) > mMaxRow ? kNoSlot : SlotOf(rowID);
  if (slot == kNoSlot) {
    AppendSlot(values, rowID);
  } else {
    // The entry keeps its place with new values.
    UnfileSlot(slot);
    CountValues(slot, -1);
    size_t end = mSlotValues[slot];
    for (size_t i = 0; i < mColumnIDs.size(); ++i) ReadEncodedValue(mValueBytes, &end);
    mDeadBytes += end - mSlotValues[slot];
    mSlotValues[slot] = EncodeValues(values);
    FileSlot(slot);
    CountValues(slot, 1);
  }
  mChanged = true;
  CompactIfSparse();
}

void ParvexIndex::Delete(ParvexIndexKey, RowID rowID) {
  const size_t cell = FindRowCell(rowID);
  if (cell == mRowSlots.npos) return;
  ClearSlot(mRowSlots.mCells[cell].value);
  mRowSlots.EraseAt(cell);
  mChanged = true;
  CompactIfSparse();
}

void ParvexIndex::CompactIfSparse() {
  constexpr size_t kMinimum = 64;
  const bool manyHoles = mHoles > kMinimum && mHoles * 2 > mSlotRow.size();
  const bool manyDead = mDeadBytes > kMinimum * 16 && mDeadBytes * 2 > mValueBytes.size();
  if (!manyHoles && !manyDead) return;
  std::vector<RowID> rows;
  std::string bytes;
  std::vector<uint32_t> starts;
  rows.reserve(mSlotRow.size() - mHoles);
  for (uint32_t slot = 0; slot < mSlotRow.size(); ++slot) {
    if (mSlotRow[slot] == kInvalidRowID) continue;
    size_t end = mSlotValues[slot];
    for (size_t i = 0; i < mColumnIDs.size(); ++i) ReadEncodedValue(mValueBytes, &end);
    rows.push_back(mSlotRow[slot]);
    starts.push_back(static_cast<uint32_t>(bytes.size()));
    bytes.append(mValueBytes, mSlotValues[slot], end - mSlotValues[slot]);
  }
  mSlotRow.swap(rows);
  mSlotValues.swap(starts);
  mValueBytes.swap(bytes);
  mHoles = 0;
  mDeadBytes = 0;
  mSlotNext.assign(mSlotRow.size(), kNoSlot);
  mSlotPrev.assign(mSlotRow.size(), kNoSlot);
  mRowSlots.Clear();
  mRowSlotsFrom = 0;  // rebuilt on first need
  mKeyHeads.Clear();
  mKeyHeads.Reserve(mSlotRow.size());
  mKinds.clear();
  FileSlotsAhead(0);
}

template <typename F>
void ParvexIndex::ForEachMatchingChain(ParvexIndexKey values, F&& f) const {
  std::string probe;
  for (const auto& [kinds, count] : mKinds) {
    if (values.size() < kinds.size()) continue;
    probe = kinds;
    bool possible = true;
    for (size_t i = 0; possible && i < kinds.size(); ++i) {
      possible = AppendProbePayload(&probe, kinds[i], values[i]);
    }
    if (!possible) continue;
    const size_t cell = FindKeyCell(probe, HashKey(probe));
    if (cell != mKeyHeads.npos) f(mKeyHeads.mCells[cell].key);
  }
}

RowID ParvexIndex::Lookup(ParvexIndexKey values) const {
  uint32_t best = kNoSlot;
  ForEachMatchingChain(values, [&best](uint32_t head) { best = std::min(best, head); });
  return best == kNoSlot ? kInvalidRowID : mSlotRow[best];
}

std::vector<RowID> ParvexIndex::LookupAll(ParvexIndexKey values) const {
  std::vector<uint32_t> slots;
  ForEachMatchingChain(values, [&](uint32_t head) {
    uint32_t slot = head;
    do {
      slots.push_back(slot);
      slot = mSlotNext[slot];
    } while (slot != head);
  });
  std::sort(slots.begin(), slots.end());
  std::vector<RowID> rows;
  rows.reserve(slots.size());
  for (uint32_t slot : slots) rows.push_back(mSlotRow[slot]);
  return rows;
}

bool ParvexIndex::GetColumnValue(RowID rowID, size_t i, ParvexValue* out) const {
  const uint32_t slot = SlotOf(rowID);
  if (slot == kNoSlot || i >= mColumnIDs.size()) return false;
  size_t at = mSlotValues[slot];
  for (size_t place = 0; place < i; ++place) ReadEncodedValue(mValueBytes, &at);
  if (out) *out = DecodeValue(ReadEncodedValue(mValueBytes, &at));
  return true;
}

bool ParvexIndex::SaveToFile(std::unique_ptr<RandomAccessMechanism> stream) {
  if (!stream) return false;
  ParvexStorage storage(std::move(stream), nullptr);
  OwnedValueList record;
  for (uint32_t columnID : mColumnIDs) {
    record.list.push_back(new ParvexValueWithID(ParvexValue::Integer(0), static_cast<long>(columnID)));
  }
  // An empty index, or one whose first entry has a NULL (which the record
  // leaves out), starts with a placeholder that tells the columns.
  bool placeholder = QtyEntries() == 0;
  SimpleVector<ParvexValue> values;
  for (uint32_t slot = 0; !placeholder && slot < mSlotRow.size(); ++slot) {
    if (mSlotRow[slot] == kInvalidRowID) continue;
    DecodeValues(slot, &values);
    for (const ParvexValue& v : values) placeholder = placeholder || v.IsNull();
    break;
  }
  // The records go out in large appends.
  bool ok = !placeholder || storage.AppendRecord(kInvalidRowID, record.list);
  ForEachEntry([&](const ParvexIndexEntry& entry) {
    for (size_t i = 0; i < record.list.size(); ++i) static_cast<ParvexValue&>(*record.list[i]) = entry.values[i];
    ok = ok && storage.AppendRecord(entry.rowID, record.list);
  });
  ok = storage.FinishAppends() && ok;
  if (ok) mChanged = false;
  return ok;
}

bool ParvexIndex::LoadFromFile(std::unique_ptr<RandomAccessMechanism> stream, StorageFault* fault) {
  Clear();
  mChanged = false;
  if (!stream) return false;
  // The file is only read: a short one is not extended.
  ParvexStorage storage(std::move(stream), nullptr, StorageAccess::kReadOnly);
  const bool ok = LoadEntries(storage);
  if (fault) *fault = storage.Fault();
  mChanged = false;
  return ok && !storage.HasFault();
}

bool ParvexIndex::LoadEntries(ParvexStorage& storage) {
  // The storage keeps no map: its records are walked once, in file order.
  // The first live record tells the columns; a file without one is damaged.
  OwnedValueList record;
  if (!storage.GoToFirstRecord() || !storage.ReadRecordValues(record.list)) return false;
  if (record.list.empty() || record.list.size() > kMaxColumns) return false;
  mColumnIDs.clear();
  for (const ParvexValueWithID* v : record.list) mColumnIDs.push_back(static_cast<uint32_t>(v->id));
  const size_t width = mColumnIDs.size();
  // Room for as many entries as the file could hold if each had all its
  // values as integers (the common case; room a file does not use is never
  // touched, and more entries simply grow the arrays).
  const size_t guess = storage.DataLength() / (kRecordHeaderSize + 1 + 6 * width);
  mSlotRow.reserve(guess);
  mSlotValues.reserve(guess);
  mSlotNext.reserve(guess);
  mSlotPrev.reserve(guess);
  mValueBytes.reserve(guess * width * 6);
  bool ok = true;
  std::vector<const ParvexValue*> placed(width);
  // Records are decoded in place and their values read into the same value
  // objects every time (no heap object per value).
  std::vector<ParvexValue> values(width);
  RecordFields fields;
  for (bool more = true; more; more = storage.NextRecord()) {
    const RowID rowID = storage.CurrentRowID();
    if (rowID == kInvalidRowID) continue;
    if (!storage.ReadRecordFields(&fields)) {
      ok = false;
      continue;
    }
    // Values go to their column's place (the first one wins; a column listed
    // twice in the first record takes the first place); columns the record
    // lacks are NULL.
    std::fill(placed.begin(), placed.end(), nullptr);
    for (size_t i = 0; i < fields.size(); ++i) {
      const auto place = static_cast<size_t>(
          std::find(mColumnIDs.begin(), mColumnIDs.end(), fields[i].columnID) - mColumnIDs.begin());
      if (place == width || placed[place]) continue;
      fields.ReadValue(i, &values[place]);
      placed[place] = &values[place];
    }
    AppendSlot(ParvexIndexKey(placed.data(), placed.size()), rowID, false);
  }
  // A row listed twice keeps its first entry. Rows are usually listed in
  // ascending order, which shows at once that none repeats.
  bool ascending = true;
  for (size_t slot = 1; ascending && slot < mSlotRow.size(); ++slot) ascending = mSlotRow[slot - 1] < mSlotRow[slot];
  if (!ascending) {
    std::vector<std::pair<RowID, uint32_t>> byRow;
    byRow.reserve(mSlotRow.size());
    for (uint32_t slot = 0; slot < mSlotRow.size(); ++slot) byRow.emplace_back(mSlotRow[slot], slot);
    std::sort(byRow.begin(), byRow.end());
    for (size_t i = 1; i < byRow.size(); ++i) {
      if (byRow[i].first == byRow[i - 1].first) ClearSlot(byRow[i].second);
    }
  }
  mKeyHeads.Reserve(QtyEntries());
  FileSlotsAhead(0);
  mRowSlots.Clear();
  mRowSlotsFrom = 0;  // built on first need (lookups never need it)
  CompactIfSparse();
  return ok;
}

}  // namespace parvex
