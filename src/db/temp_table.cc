// ParvexTempTable: encoded value chunks, row handles, ORDER BY sorting.
#include "db/temp_table.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>
#include <utility>

#include "core/value_codec.h"
#include "platform/text_encoding.h"

namespace parvex {

namespace {

// What a missing value (a key column past a row's values) reads as.
const ParvexValue kMissingValue{};

// The first eight bytes of a text folded to lower case, as a big-endian
// number (zero bytes after a shorter text): comparing two such numbers
// agrees with CompareNoCase whenever they differ.
uint64_t FoldedPrefix(std::string_view text) {
  uint64_t prefix = 0;
  for (size_t i = 0; i < 8; ++i) {
    const auto c = static_cast<unsigned char>(i < text.size() ? AsciiToLower(text[i]) : 0);
    prefix = (prefix << 8) | c;
  }
  return prefix;
}

// Sorts entries by their leads' bytes from `shift` down (most significant
// first, in place), each part that shares every higher byte on its own;
// parts small enough, or whose leads are all equal, go to std::sort with
// `less`, which orders by lead first and so agrees with the partition.
template <typename Entry, typename Less>
void RadixSortByLead(Entry* first, Entry* last, int shift, const Less& less) {
  constexpr ptrdiff_t kSmall = 64;
  while (last - first > kSmall && shift >= 0) {
    size_t counts[256] = {};
    for (const Entry* e = first; e != last; ++e) ++counts[(e->lead >> shift) & 0xFF];
    if (counts[(first->lead >> shift) & 0xFF] == static_cast<size_t>(last - first)) {
      shift -= 8;  // one byte value throughout: nothing to part here
      continue;
    }
    // Part the entries by this byte, one cycle of moves at a time.
    size_t next[256];
    size_t end[256];
    size_t at = 0;
    for (int b = 0; b < 256; ++b) {
      next[b] = at;
      at += counts[b];
      end[b] = at;
    }
    for (int b = 0; b < 256; ++b) {
      while (next[b] < end[b]) {
        Entry moving = first[next[b]];
        size_t digit = (moving.lead >> shift) & 0xFF;
        while (digit != static_cast<size_t>(b)) {
          std::swap(moving, first[next[digit]++]);
          digit = (moving.lead >> shift) & 0xFF;
        }
        first[next[b]++] = moving;
      }
    }
    size_t start = 0;
    for (int b = 0; b < 256; ++b) {
      if (counts[b] > 1) RadixSortByLead(first + start, first + start + counts[b], shift - 8, less);
      start += counts[b];
    }
    return;
  }
  std::sort(first, last, less);
}

}  // namespace

// ---------------------------------------------------------------------------
// TempRowSorter

namespace {

// The text reading of a value read in place: its stored bytes for String
// and Binary, else nothing (the reading has to be formatted).
bool StoredText(const EncodedValue& e) { return !e.null && (e.type == kTypeString || e.type == kTypeBinary); }

}  // namespace

TempRowSorter::TempRowSorter(const ParvexTempTable& table, const SimpleVector<long>& keyColumns,
                             const SimpleVector<long>& keyDirections)
    : mTable(table) {
  const size_t keys = std::min(keyColumns.size(), keyDirections.size());
  mKeys.resize(keys);
  for (size_t k = 0; k < keys; ++k) {
    columns.push_back(keyColumns[k]);
    directions.push_back(keyDirections[k]);
  }
  // The first key is read last: by then the others tell whether it goes
  // into the leads.
  mUniform = keys > 0;
  for (size_t k = keys; k-- > 0;) {
    if (!ReadKeyAtOnce(k)) ReadKeyTwice(k);
  }
}

bool TempRowSorter::ReadKey(size_t key, size_t row, EncodedValue* e) const {
  const ParvexTempTable::RowHandle& handle = mTable.mRows[row];
  size_t at = 0;
  if (!mTable.SeekValue(handle, columns[key], &at)) return false;
  *e = ReadEncodedValue(mTable.RowBytes(handle), &at);
  return true;
}

void TempRowSorter::SetLead(size_t row, uint64_t lead) {
  if (directions[0] < 0) lead = ~lead;
  if (directions[0] == 0) lead = 0;  // a key that orders nothing
  mEntries[row] = Entry{lead, static_cast<uint32_t>(row)};
}

bool TempRowSorter::ReadKeyAtOnce(size_t key) {
  // The common case: every row holds an Integer there, or every row a
  // stored text; the first row says which, and a row that is otherwise
  // sends the key to ReadKeyTwice.
  const size_t rows = mTable.mRows.size();
  KeyReadings& readings = mKeys[key];
  const bool leads = mUniform && key == 0;
  EncodedValue e;
  const bool integer = rows > 0 && ReadKey(key, 0, &e) && e.type == kTypeInteger;
  if (leads) {
    mEntries.resize(rows);
  } else if (integer) {
    readings.integers.resize(rows);
  } else {
    readings.prefixes.resize(rows);
  }
  for (size_t r = 0; r < rows; ++r) {
    const bool present = ReadKey(key, r, &e);
    if (integer ? !present || e.type != kTypeInteger : !present || !StoredText(e)) {
      readings = KeyReadings();
      std::vector<Entry>().swap(mEntries);
      return false;
    }
    if (integer) {
      // With the sign bit flipped integers order as unsigned numbers.
      if (leads) {
        SetLead(r, static_cast<uint32_t>(e.integer) ^ 0x80000000u);
      } else {
        readings.integers[r] = e.integer;
      }
    } else {
      const uint64_t prefix = FoldedPrefix(e.text);  // GetString is the stored text
      if (leads) {
        SetLead(r, prefix);
      } else {
        readings.prefixes[r] = prefix;
      }
    }
  }
  readings.anyInteger = integer;
  readings.anyText = !integer;
  return true;
}

void TempRowSorter::ReadKeyTwice(size_t key) {
  const size_t rows = mTable.mRows.size();
  KeyReadings& readings = mKeys[key];
  // Which readings the key needs.
  EncodedValue e;
  bool allStored = true;  // every text reading is the stored bytes
  for (size_t r = 0; r < rows; ++r) {
    const bool present = ReadKey(key, r, &e);
    // (DecodeValue keeps a NULL's type: a NULL Integer compares as one.)
    const bool integer = present && e.type == kTypeInteger;
    readings.anyInteger = readings.anyInteger || integer;
    readings.anyText = readings.anyText || !integer;
    allStored = allStored && present && StoredText(e);
  }
  mUniform = mUniform && !(readings.anyInteger && readings.anyText);
  const bool leads = mUniform && key == 0;
  if (leads) mEntries.resize(rows);
  if (readings.anyInteger && readings.anyText) readings.isInteger.resize(rows);
  if (readings.anyInteger && !leads) readings.integers.resize(rows);
  if (readings.anyText && !leads) readings.prefixes.resize(rows);
  if (readings.anyText && !allStored) readings.texts.resize(rows);
  for (size_t r = 0; r < rows; ++r) {
    const bool present = ReadKey(key, r, &e);
    // Stored texts are decoded only where their integer reading is needed.
    const bool decode = !present || !StoredText(e) || readings.anyInteger;
    const ParvexValue value = !present ? kMissingValue : (decode ? DecodeValue(e) : ParvexValue());
    if (!readings.isInteger.empty()) readings.isInteger[r] = present && e.type == kTypeInteger ? 1 : 0;
    uint64_t lead = 0;
    if (readings.anyInteger) {
      const int32_t integer = value.GetInteger();
      if (leads) {
        lead = static_cast<uint32_t>(integer) ^ 0x80000000u;
      } else {
        readings.integers[r] = integer;
      }
    }
    if (readings.anyText) {
      std::string_view text;
      if (present && StoredText(e)) {
        text = e.text;
      } else {
        readings.owned.push_back(value.GetString().str());
        text = readings.owned.back();
      }
      if (!readings.texts.empty()) readings.texts[r] = text;
      (leads ? lead : readings.prefixes[r]) = FoldedPrefix(text);
    }
    if (leads) SetLead(r, lead);
  }
}

std::string_view TempRowSorter::TextOf(size_t key, size_t row) const {
  const KeyReadings& readings = mKeys[key];
  if (!readings.texts.empty()) return readings.texts[row];
  // Every reading is a stored text here.
  const ParvexTempTable::RowHandle& handle = mTable.mRows[row];
  size_t at = 0;
  if (!mTable.SeekValue(handle, columns[key], &at)) return {};
  return ReadEncodedValue(mTable.RowBytes(handle), &at).text;
}

long TempRowSorter::CompareKeys(size_t a, size_t b, size_t first) const {
  for (size_t k = first; k < mKeys.size(); ++k) {
    const KeyReadings& readings = mKeys[k];
    int order;
    if (IsInteger(readings, a)) {
      const int32_t x = readings.integers[a];
      const int32_t y = readings.integers[b];
      order = x < y ? -1 : (x > y ? 1 : 0);
    } else if (readings.prefixes[a] != readings.prefixes[b]) {
      order = readings.prefixes[a] < readings.prefixes[b] ? -1 : 1;
    } else {
      order = CompareNoCase(TextOf(k, a), TextOf(k, b));
    }
    if (order < 0) return -directions[k];
    if (order > 0) return directions[k];
  }
  return 0;
}

long TempRowSorter::CompareTie(size_t a, size_t b) const {
  // Equal integer leads are equal integers; equal text leads are texts
  // with the same first eight folded bytes.
  if (!mKeys[0].anyInteger) {
    const int order = CompareNoCase(TextOf(0, a), TextOf(0, b));
    if (order < 0) return -directions[0];
    if (order > 0) return directions[0];
  }
  return CompareKeys(a, b, 1);
}

std::vector<uint32_t> TempRowSorter::SortedOrder() {
  const size_t rows = mTable.mRows.size();
  std::vector<uint32_t> order(rows);
  if (!mUniform) {
    std::iota(order.begin(), order.end(), 0u);
    // With Integer and other values in one key column the comparison is not
    // a strict weak order (the first row's type picks the domain). A merge
    // sort stays within bounds and terminates whatever the comparison
    // answers; an introsort is not guaranteed to.
    std::stable_sort(order.begin(), order.end(),
                     [this](uint32_t a, uint32_t b) { return CompareKeys(a, b, 0) < 0; });
    return order;
  }
  const auto less = [this](const Entry& a, const Entry& b) {
    if (a.lead != b.lead) return a.lead < b.lead;
    const long order = CompareTie(a.row, b.row);
    return order != 0 ? order < 0 : a.row < b.row;  // ties keep their order
  };
  RadixSortByLead(mEntries.data(), mEntries.data() + mEntries.size(), 56, less);
  for (size_t r = 0; r < rows; ++r) order[r] = mEntries[r].row;
  std::vector<Entry>().swap(mEntries);
  return order;
}

// ---------------------------------------------------------------------------
// ParvexTempTable

ParvexTempTable::~ParvexTempTable() = default;

void ParvexTempTable::AddColumn(const string& columnName, ParvexDataType type) {
  const long position = static_cast<long>(mColumns.size());
  mColumns.push_back(std::make_unique<ParvexColumnInfo>(columnName, type, position, position));
}

RowID ParvexTempTable::AddRow(ParvexValueList& values, bool takeOwnership, const ParvexRecSet* source) {
  // Row IDs are positions; the last representable position is the invalid ID.
  if (mRows.size() >= kInvalidRowID || values.size() >= kNoSource) {
    if (takeOwnership) DeleteValues(values);
    return kInvalidRowID;
  }
  const auto qtyValues = static_cast<uint32_t>(values.size());
  const size_t bytes = EncodedSize(values);
  if (mChunks.empty() || mChunkSizes.back() - mLastChunkUsed < bytes) {
    // Chunks grow from small (most results are small) to kChunkBytes.
    const size_t grown = std::min(kChunkBytes, kFirstChunkBytes << std::min<size_t>(mChunks.size(), 16));
    const size_t size = std::max(grown, bytes);
    mChunks.push_back(std::unique_ptr<char[]>(new char[size]));  // not zeroed: every byte used is written
    mChunkSizes.push_back(size);
    mLastChunkUsed = 0;
  }
  RowHandle row{static_cast<uint32_t>(mChunks.size() - 1), static_cast<uint32_t>(mLastChunkUsed), qtyValues,
                kNoSource};
  char* out = mChunks.back().get() + mLastChunkUsed;
  EncodeValuesTo(out, values);
  mLastChunkUsed += bytes;
  if (takeOwnership) DeleteValues(values);
  if (source) {
    if (!mSourceWidthSet) {
      mSourceWidthSet = true;
      mSourceWidth = source->size();
    }
    if (source->size() == mSourceWidth && mQtySources < kOddSource) {
      for (size_t t = 0; t < mSourceWidth; ++t) mSources.push_back((*source)[t]);
      row.source = static_cast<uint32_t>(mQtySources++);
    } else {
      row.source = kOddSource | static_cast<uint32_t>(mOddSources.size());
      mOddSources.push_back(*source);
    }
  }
  mRows.push_back(row);
  lastRowID = static_cast<RowID>(mRows.size() - 1);
  return lastRowID;
}

RowID ParvexTempTable::AddRow(ParvexValueList& values, bool takeOwnership) {
  return AddRow(values, takeOwnership, nullptr);
}

const ParvexColumnInfo* ParvexTempTable::Column(long index) const {
  if (index < 0 || static_cast<size_t>(index) >= mColumns.size()) return nullptr;
  return mColumns[static_cast<size_t>(index)].get();
}

long ParvexTempTable::QtyRows() const { return static_cast<long>(mRows.size()); }

void ParvexTempTable::GetRowIDs(SimpleVector<RowID>* ids) const {
  if (!ids) return;
  ids->clear();
  ids->reserve(mRows.size());
  for (size_t r = 0; r < mRows.size(); ++r) ids->push_back(static_cast<RowID>(r));
}

std::string_view ParvexTempTable::RowBytes(const RowHandle& row) const {
  return std::string_view(mChunks[row.chunk].get(), mChunkSizes[row.chunk]).substr(row.offset);
}

bool ParvexTempTable::SeekValue(const RowHandle& row, long column, size_t* at) const {
  if (column < 0 || static_cast<unsigned long>(column) >= row.qtyValues) return false;
  const std::string_view bytes = RowBytes(row);
  *at = 0;
  for (long c = 0; c < column; ++c) SkipEncodedValue(bytes, at);
  return true;
}

const ParvexValue* ParvexTempTable::ValueAt(RowID row, long column) const {
  if (row >= mRows.size()) return nullptr;
  size_t at = 0;
  if (!SeekValue(mRows[row], column, &at)) return nullptr;
  mValueView = DecodeValue(ReadEncodedValue(RowBytes(mRows[row]), &at));
  return &mValueView;
}

bool ParvexTempTable::GetValue(RowID row, long column, ParvexValue* out) const {
  if (row >= mRows.size() || !out) return false;
  size_t at = 0;
  if (!SeekValue(mRows[row], column, &at)) return false;
  *out = DecodeValue(ReadEncodedValue(RowBytes(mRows[row]), &at));
  return true;
}

bool ParvexTempTable::ReadRow(RowID row, std::vector<EncodedValue>* out) const {
  if (row >= mRows.size() || !out) return false;
  // Rows are mostly read in order after a sort has scattered them over the
  // chunks: ask for a row a few places ahead so that it is in cache when read.
  constexpr size_t kPrefetchAhead = 24;
  if (row + kPrefetchAhead < mRows.size()) {
    const RowHandle& ahead = mRows[row + kPrefetchAhead];
    const char* start = mChunks[ahead.chunk].get() + ahead.offset;
    __builtin_prefetch(start);
    __builtin_prefetch(start + 32);
  }
  const RowHandle& handle = mRows[row];
  const std::string_view bytes = RowBytes(handle);
  out->resize(mColumns.size());
  const size_t stored = std::min<size_t>(handle.qtyValues, mColumns.size());
  size_t at = 0;
  for (size_t c = 0; c < stored; ++c) (*out)[c] = ReadEncodedValue(bytes, &at);
  for (size_t c = stored; c < mColumns.size(); ++c) (*out)[c] = EncodedValue();
  return true;
}

void ParvexTempTable::UpdateRow(RowID, ParvexValueList& values, bool takeOwnership) {
  if (takeOwnership) DeleteValues(values);
}

void ParvexTempTable::DeleteRow(RowID) {}

const ParvexRecSet* ParvexTempTable::GetSourceRecSet(long row) const {
  if (row < 0 || static_cast<size_t>(row) >= mRows.size()) return nullptr;
  const uint32_t source = mRows[static_cast<size_t>(row)].source;
  if (source == kNoSource) return nullptr;
  if (source & kOddSource) return &mOddSources[source & ~kOddSource];
  mSourceView = ParvexRecSet(mSourceWidth);
  for (size_t t = 0; t < mSourceWidth; ++t) mSourceView[t] = mSources[source * mSourceWidth + t];
  return &mSourceView;
}

void ParvexTempTable::Sort(const SimpleVector<long>& keyColumns,
                           const SimpleVector<long>& keyDirections) {
  if (mRows.size() < 2 || keyColumns.empty() || keyDirections.empty()) return;
  // (The sorter's readings are gone before the handles are copied.)
  const std::vector<uint32_t> order = TempRowSorter(*this, keyColumns, keyDirections).SortedOrder();
  // The handles in that order, fetched a few places ahead of their copy.
  constexpr size_t kPrefetchAhead = 16;
  std::vector<RowHandle> sorted;
  sorted.reserve(order.size());
  for (size_t i = 0; i < order.size(); ++i) {
    if (i + kPrefetchAhead < order.size()) __builtin_prefetch(&mRows[order[i + kPrefetchAhead]]);
    sorted.push_back(mRows[order[i]]);
  }
  mRows.swap(sorted);
}

}  // namespace parvex
