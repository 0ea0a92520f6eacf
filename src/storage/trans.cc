// ParvexTrans: pending changes over the record storage, commit and rollback.
#include "storage/trans.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <utility>

#include "storage/file_access.h"
#include "storage/index.h"
#include "storage/record_storage.h"

namespace parvex {

namespace {

// Takes the values of a caller's list: moved when the table takes ownership
// (the caller's vector is emptied), copied otherwise.
ParvexValueList TakeValues(ParvexValueList& values, bool takeOwnership) {
  ParvexValueList owned;
  if (takeOwnership) {
    owned.reserve(values.size());
    for (ParvexValueWithID* v : values) owned.push_back(v);
    values.clear();
  } else {
    owned.reserve(values.size());
    for (const ParvexValueWithID* v : values) {
      if (v) owned.push_back(new ParvexValueWithID(*v));
    }
  }
  return owned;
}

// Removes and deletes the entries for which `drop` is true, keeping the order.
template <typename Pred>
void DropValues(ParvexValueList& values, Pred drop) {
  size_t out = 0;
  for (size_t i = 0; i < values.size(); ++i) {
    if (!values[i] || drop(*values[i])) {
      delete values[i];
    } else {
      values[out++] = values[i];
    }
  }
  values.resize(out);
}

void PutU32LE(char* bytes, uint32_t value) {
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
}

uint32_t GetU32LE(const char* bytes) {
  uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value |= static_cast<uint32_t>(static_cast<uint8_t>(bytes[i])) << (8 * i);
  return value;
}

// The number at the start of a text (blanks, sign, digits, fraction,
// exponent); 0.0 when there is none.
double LeadingDouble(const string& text) {
  std::string_view s = text.view();
  size_t i = 0;
  while (i < s.size() && (s[i] == ' ' || s[i] == '\t' || s[i] == '\r' || s[i] == '\n')) ++i;
  if (i < s.size() && s[i] == '+') ++i;
  double value = 0.0;
  const auto result = std::from_chars(s.data() + i, s.data() + s.size(), value);
  return result.ec == std::errc() ? value : 0.0;
}

}  // namespace

// --- PTChangedRow ----------------------------------------------------------------

void PTChangedRow::AddValues(ParvexValueList& newValues, bool takeOwnership) {
  UpdateValues(newValues, takeOwnership);
}

void PTChangedRow::UpdateValues(ParvexValueList& newValues, bool takeOwnership) {
  ParvexValueList incoming = TakeValues(newValues, takeOwnership);
  for (ParvexValueWithID* v : incoming) {
    auto same = std::find_if(values.begin(), values.end(),
                             [v](const ParvexValueWithID* old) { return old->id == v->id; });
    if (!exists && v->IsNull()) {
      // A new row simply lacks the column.
      if (same != values.end()) {
        delete *same;
        values.RemoveAt(static_cast<size_t>(same - values.begin()));
      }
      delete v;
    } else if (same != values.end()) {
      delete *same;
      *same = v;
    } else {
      values.push_back(v);
    }
  }
}

const ParvexValueWithID* PTChangedRow::Find(long columnID) const {
  for (const ParvexValueWithID* v : values) {
    if (v->id == columnID) return v;
  }
  return nullptr;
}

void ParvexTrans::AddColumn(const ParvexColumnInfo& column) {
  auto info = std::make_unique<ParvexColumnInfo>(column);
  info->index = static_cast<long>(mColumns.size());
  if (column.columnID > 0 && static_cast<uint32_t>(column.columnID) > mLastColumnID) {
    mLastColumnID = static_cast<uint32_t>(column.columnID);
  }
  mColumns.push_back(std::move(info));
}

const ParvexColumnInfo* ParvexTrans::Column(long index) const {
  if (index < 0 || index >= QtyColumns()) return nullptr;
  return mColumns[static_cast<size_t>(index)].get();
}

long ParvexTrans::ColumnIndexOfID(long columnID) const {
  for (size_t i = 0; i < mColumns.size(); ++i) {
    if (mColumns[i]->columnID == columnID) return static_cast<long>(i);
  }
  return -1;
}

void ParvexTrans::RaiseCounters(RowID lastRowID, uint32_t lastColumnID) {
  mLastRowID = std::max(mLastRowID, lastRowID);
  mLastColumnID = std::max(mLastColumnID, lastColumnID);
}

// --- reading -----------------------------------------------------------------------

bool ParvexTrans::ContainsRow(RowID row) const {
  if (!Usable()) return false;
  if (mChanges.Contains(row)) return true;
  if (mDeletions.Contains(row)) return false;
  return mStorage->ContainsRow(row);
}

// The committed rows plus one per pending change record: an existing row
// with an uncommitted update counts twice, and a row pending deletion still
// counts, until Commit. GetRowIDs is the exact list of visible rows.
long ParvexTrans::QtyRows() const {
  if (!Usable()) return 0;
  return mStorage->QtyRows() + static_cast<long>(mChanges.size());
}

void ParvexTrans::GetRowIDs(SimpleVector<RowID>* ids) const {
  ids->clear();
  if (!Usable()) return;
  mStorage->GetRowIDs(ids);
  if (!mDeletions.empty()) {
    size_t out = 0;
    for (size_t i = 0; i < ids->size(); ++i) {
      if (!mDeletions.Contains((*ids)[i])) (*ids)[out++] = (*ids)[i];
    }
    ids->resize(out);
  }
  mChanges.ForEach([ids](RowID id, bool stored, const uint8_t*, uint32_t) {
    if (!stored) ids->push_back(id);
  });
}

void ParvexTrans::ForgetFetchedRow() const {
  mFetchedRowID = kInvalidRowID;
  mFetchedFields.Clear();
}

bool ParvexTrans::FetchStoredRow(RowID row) const {
  if (mFetchedRowID == row) return true;
  ForgetFetchedRow();
  ++recordDecodes;
  if (!mStorage->ReadRowFields(row, &mFetchedFields)) {
    mFetchedFields.Clear();
    TakeStorageFault();  // a row that is simply gone is no fault
    return false;
  }
  // Column IDs come from the counter and are stored once each: anything
  // else is a damaged record whose values would land in the wrong columns.
  const size_t count = mFetchedFields.size();
  uint64_t seen = 0;  // the IDs below 64 met so far (the usual case, without a second loop)
  for (size_t i = 0; i < count; ++i) {
    const uint32_t id = mFetchedFields[i].columnID;
    bool repeated = false;
    if (id < 64) {
      repeated = (seen >> id) & 1;
      seen |= uint64_t{1} << id;
    } else {
      for (size_t j = 0; j < i && !repeated; ++j) repeated = mFetchedFields[j].columnID == id;
    }
    if (id == kRowIDColumnID || (mColumnCounterFromFile && id > mSavedLastColumnID) || repeated) {
      mFetchedFields.Clear();
      ReportDamage(string("the record of row ") + std::to_string(row).c_str() + " in " +
                   FileName(kDataFileSuffix) + " holds a column ID (" + std::to_string(id).c_str() +
                   ") that is not a column of the table");
      return false;
    }
  }
  if (mFetchedColumns.size() < count) mFetchedColumns.resize(count);
  mFetchedColumnRead.assign(count, 0);
  mFetchedRowID = row;
  return true;
}

bool ParvexTrans::FetchPendingRow(RowID row) const {
  if (mPendingRowID == row) return true;
  mPendingRowID = kInvalidRowID;
  if (!mChanges.Contains(row)) return false;
  mChanges.Read(row, &mPendingFields);  // encoded here: it decodes
  mPendingRowID = row;
  return true;
}

bool ParvexTrans::ReadColumn(RowID row, long columnID, ParvexValue* out) const {
  if (FetchPendingRow(row)) {
    // A changed value (a removal mark reads as NULL), else for a new row NULL.
    const long i = columnID < 0 ? -1 : mPendingFields.Find(static_cast<uint32_t>(columnID));
    if (i >= 0) {
      mPendingFields.ReadValue(static_cast<size_t>(i), out);
      return true;
    }
    if (!mChanges.IsStored(row)) {
      out->SetNull();
      return true;
    }
  } else if (mDeletions.Contains(row)) {
    return false;
  }
  if (!FetchStoredRow(row)) return false;
  const long i = columnID < 0 ? -1 : mFetchedFields.Find(static_cast<uint32_t>(columnID));
  if (i < 0) {
    out->SetNull();
    return true;
  }
  const auto place = static_cast<size_t>(i);
  if (!IsTextType(mFetchedFields[place].type)) {  // a number is read as it is: no text to share
    mFetchedFields.ReadValue(place, out);
    return true;
  }
  if (!mFetchedColumnRead[place]) {
    mFetchedFields.ReadValue(place, &mFetchedColumns[place]);
    mFetchedColumnRead[place] = 1;
  }
  *out = mFetchedColumns[place];
  return true;
}

bool ParvexTrans::GetValue(RowID row, long column, ParvexValue* out) const {
  if (!Usable() || column < 0 || column >= QtyColumns()) return false;
  if (column == 0) {
    if (!ContainsRow(row)) return false;
    out->SetInteger(static_cast<int32_t>(row));
    return true;
  }
  const ParvexColumnInfo& info = *mColumns[static_cast<size_t>(column)];
  if (!ReadColumn(row, info.columnID, out)) return false;
  // An absent column, or a removal marker, reads as the column type's NULL.
  if (out->IsNull()) out->SetNull(info.Type());
  return true;
}

bool ParvexTrans::PeekString(RowID row, long column, std::string_view* text) const {
  if (!mUsable || column <= 0 || column >= QtyColumns() || !mChanges.empty() || !mDeletions.empty()) return false;
  const long columnID = mColumns[static_cast<size_t>(column)]->columnID;
  if (columnID < 0 || !FetchStoredRow(row)) return false;
  const long i = mFetchedFields.Find(static_cast<uint32_t>(columnID));
  if (i < 0 || mFetchedFields[static_cast<size_t>(i)].type != kTypeString) return false;
  *text = mFetchedFields.Text(mFetchedFields[static_cast<size_t>(i)]);
  return true;
}

// --- changing ----------------------------------------------------------------------

void CoerceToColumnType(ParvexValue* value, ParvexDataType type) {
  if (value->IsNull()) {
    value->SetNull(type);
    return;
  }
  if (value->Type() == type) return;
  if (IsTextType(type)) {
    // A value of another type takes the text GetString gives it, keyword
    // included: DATE '2001-02-03' stored into a String column is the text
    // "DATE 2001-02-03", which still equals the literal it came from.
    value->CoerceToType(type);
  } else if (type == kTypeDouble) {
    if (value->Type() == kTypeInteger || value->Type() == kTypeBoolean) {
      value->SetDouble(static_cast<double>(value->GetInteger()));
    } else {
      value->SetDouble(IsTextType(value->Type()) ? LeadingDouble(value->RawText()) : value->GetDouble());
    }
  } else if (type == kTypeInteger || type == kTypeBoolean) {
    value->CoerceToType(type);
  } else {
    // A column whose schema row names no storable type holds nothing.
    value->SetNull(type);
  }
}

void ParvexTrans::CoerceToCorrectType(ParvexValueWithID* value) const {
  const long index = ColumnIndexOfID(value->id);
  if (index >= 0) CoerceToColumnType(value, mColumns[static_cast<size_t>(index)]->Type());
}

RowID ParvexTrans::AddRow(ParvexValueList& values, bool takeOwnership) {
  if (!IndexesReady()) {
    if (takeOwnership) DeleteValues(values);
    return kInvalidRowID;
  }
  ParvexValueList owned = TakeValues(values, takeOwnership);
  bool explicitID = false;
  RowID row = NextUnusedRowID();
  for (const ParvexValueWithID* v : owned) {
    if (v->id == kRowIDColumnID && !v->IsNull()) {
      row = static_cast<RowID>(v->GetInteger());
      explicitID = true;
    }
  }
  // The row ID is not a stored column; neither are unknown columns or NULLs.
  DropValues(owned, [this](ParvexValueWithID& v) {
    if (v.id == kRowIDColumnID || ColumnIndexOfID(v.id) < 0) return true;
    CoerceToCorrectType(&v);
    return v.IsNull();
  });
  // No row ID is left once the counter reaches the invalid ID. (Opening
  // checked that the counter covers every stored row.)
  const bool exhausted = !explicitID && mLastRowID >= kInvalidRowID - 1;
  if (row == kInvalidRowID || exhausted || ContainsRow(row)) {
    DeleteAll(owned);
    return kInvalidRowID;
  }
  ForgetPendingRow();
  mChanges.Put(row, false, owned);
  DeleteAll(owned);
  AddRowToIndices(row);
  if (row > mLastRowID) mLastRowID = row;
  lastRowID = row;
  return row;
}

void ParvexTrans::UpdateRow(RowID row, ParvexValueList& values, bool takeOwnership) {
  if (!ContainsRow(row)) {
    if (takeOwnership) DeleteValues(values);
    return;
  }
  ParvexValueList owned = TakeValues(values, takeOwnership);
  // A row keeps its ID; values of unknown columns are ignored.
  DropValues(owned, [this](ParvexValueWithID& v) {
    if (v.id == kRowIDColumnID || ColumnIndexOfID(v.id) < 0) return true;
    CoerceToCorrectType(&v);
    return false;
  });
  if (owned.empty()) return;
  // Only an index over a changed column needs loading and upkeep.
  if (MayIndexColumns(owned) && !IndexesReady()) {
    DeleteAll(owned);
    return;
  }
  std::vector<size_t> touched;
  for (size_t i = 0; i < mIndexes.size(); ++i) {
    if (IndexUsesColumns(*mIndexes[i], owned)) {
      RemoveRowFromIndex(row, i);
      touched.push_back(i);
    }
  }
  ForgetPendingRow();
  if (!mChanges.Contains(row)) {
    mChanges.Put(row, true, owned);
  } else {
    PTChangedRow change(row, mChanges.IsStored(row));
    RecordFields fields;
    mChanges.Read(row, &fields);
    fields.ReadValues(change.values);
    change.UpdateValues(owned, true);
    mChanges.Put(row, change.exists, change.values);
  }
  DeleteAll(owned);
  for (size_t i : touched) AddRowToIndex(row, i);
}

void ParvexTrans::DeleteChange(RowID row) {
  ForgetPendingRow();
  mChanges.Remove(row);
}

void ParvexTrans::DeleteRow(RowID row) {
  if (!ContainsRow(row) || !IndexesReady()) return;
  for (size_t i = 0; i < mIndexes.size(); ++i) RemoveRowFromIndex(row, i);
  DeleteChange(row);
  // Only a stored row has something to delete at Commit.
  if (mStorage->ContainsRow(row)) mDeletions.AddItem(row, 1);
}

// --- indexes -----------------------------------------------------------------------

bool ParvexTrans::IndexUsesColumns(const ParvexIndex& index, const ParvexValueList& values) const {
  const SimpleVector<uint32_t>& ids = index.GetColumnIDs();
  for (const ParvexValueWithID* v : values) {
    if (std::find(ids.begin(), ids.end(), static_cast<uint32_t>(v->id)) != ids.end()) return true;
  }
  return false;
}

void ParvexTrans::AddRowToIndex(RowID row, size_t indexNumber) {
  ParvexIndex& index = *mIndexes[indexNumber];
  const SimpleVector<uint32_t>& ids = index.GetColumnIDs();
  std::vector<ParvexValue> key(ids.size());
  std::vector<const ParvexValue*> keyValues(ids.size());
  for (size_t k = 0; k < ids.size(); ++k) {
    if (!ReadColumn(row, static_cast<long>(ids[k]), &key[k])) return;
    const long column = ColumnIndexOfID(static_cast<long>(ids[k]));
    if (key[k].IsNull() && column >= 0) key[k].SetNull(mColumns[static_cast<size_t>(column)]->Type());
    keyValues[k] = &key[k];
  }
  index.Add(ParvexIndexKey(keyValues.data(), keyValues.size()), row);
}

void ParvexTrans::AddRowToIndices(RowID row) {
  for (size_t i = 0; i < mIndexes.size(); ++i) AddRowToIndex(row, i);
}

void ParvexTrans::RemoveRowFromIndex(RowID row, size_t indexNumber) {
  mIndexes[indexNumber]->Delete(ParvexIndexKey(), row);
}

const ParvexIndex* ParvexTrans::FindIndex(const string& indexName) const {
  if (!IndexesReady()) return nullptr;
  for (const auto& index : mIndexes) {
    if (index->Name().Compare(indexName) == 0) return index.get();
  }
  return nullptr;
}

bool ParvexTrans::AddIndex(const string& indexName, const SimpleVector<uint32_t>& columnIDs) {
  if (!IndexesReady() || indexName.empty() || columnIDs.empty() || columnIDs.size() > ParvexIndex::kMaxColumns ||
      FindIndex(indexName)) {
    return false;
  }
  for (uint32_t id : columnIDs) {
    if (ColumnIndexOfID(static_cast<long>(id)) < 0) return false;
  }
  auto index = std::make_unique<ParvexIndex>(columnIDs, indexName);
  mIndexes.push_back(std::move(index));
  mAddedIndexNames.push_back(indexName);
  SimpleVector<RowID> rows;
  GetRowIDs(&rows);
  for (RowID row : rows) AddRowToIndex(row, mIndexes.size() - 1);
  return true;
}

void ParvexTrans::GetIndexNames(SimpleVector<string>* names) const {
  if (!IndexesReady()) return;
  for (const auto& index : mIndexes) names->push_back(index->Name());
}

bool ParvexTrans::DropIndex(const string& indexName) {
  if (!IndexesReady()) return false;
  for (size_t i = 0; i < mIndexes.size(); ++i) {
    if (mIndexes[i]->Name().Compare(indexName) != 0) continue;
    mDroppedIndexes.push_back(std::move(mIndexes[i]));
    mIndexes.erase(mIndexes.begin() + static_cast<std::ptrdiff_t>(i));
    return true;
  }
  return false;
}

bool ParvexTrans::CommitIndices() {
  bool ok = true;
  for (const auto& index : mIndexes) {
    if (!index->IsChanged()) continue;
    const string file = IndexFileName(*index);
    mFileAccess->DeleteFile(file);
    auto stream = mFileAccess->OpenFile(file, true, false);
    if (!stream) {
      ok = false;
      continue;
    }
    ok = index->SaveToFile(std::move(stream)) && ok;
  }
  return ok;
}

// --- the transaction ---------------------------------------------------------------

void ParvexTrans::LoadMetadata() {
  mLastRowID = 0;
  mLastColumnID = 0;
  string meta;
  if (mStorage->ReadMetadata(&meta) && meta.length() >= kMetaCountersSize) {
    mLastRowID = GetU32LE(meta.data() + kMetaLastRowIDOffset);
    mLastColumnID = GetU32LE(meta.data() + kMetaLastColumnIDOffset);
  }
  mColumnCounterFromFile = mLastColumnID != 0;
  if (mLastRowID == 0) {
    SimpleVector<RowID> ids;
    mStorage->GetRowIDs(&ids);
    for (RowID id : ids) mLastRowID = std::max(mLastRowID, id);
  }
  if (mLastColumnID == 0) {
    for (const auto& column : mColumns) {
      if (column->columnID > 0) mLastColumnID = std::max(mLastColumnID, static_cast<uint32_t>(column->columnID));
    }
  }
  mSavedLastRowID = mLastRowID;
  mSavedLastColumnID = mLastColumnID;
}

bool ParvexTrans::SaveMetadata() {
  char counters[kMetaCountersSize] = {};
  PutU32LE(counters + kMetaLastRowIDOffset, mLastRowID);
  PutU32LE(counters + kMetaLastColumnIDOffset, mLastColumnID);
  if (!mStorage->WriteMetadata(string(counters, sizeof counters, kEncodingDefault))) return false;
  mSavedLastRowID = mLastRowID;
  mSavedLastColumnID = mLastColumnID;
  return true;
}

bool ParvexTrans::NeedsCommit() const {
  if (HasChangesToCommit() || !mDroppedIndexes.empty()) return true;
  if (mLastRowID != mSavedLastRowID || mLastColumnID != mSavedLastColumnID) return true;
  for (const auto& index : mIndexes) {
    if (index->IsChanged()) return true;
  }
  return false;
}

bool ParvexTrans::Commit() {
  if (!mStorage && !IsDamaged()) return false;
  // A table without changes is not written at all: committing one table
  // costs nothing for the others. A damaged one writes nothing.
  if (IsDamaged()) return !NeedsCommit();
  if (!NeedsCommit()) return true;
  if (!Usable()) return false;
  bool ok = true;
  ForgetFetchedRow();
  ForgetPendingRow();
  RecordFields fields;
  // Rows leave the pending set as they are written, so that the set and the
  // rows' place in the storage's map are not held whole at the same time.
  // New rows go out in large appends; anything else writes them first.
  mChanges.Drain([&](RowID id, bool stored, const uint8_t* body, uint32_t length) {
    if (!stored) {
      // A stored row deleted and added again under its ID: the old record
      // goes first so that the new one is the row's only record.
      if (mDeletions.Contains(id)) {
        ok = mStorage->FinishAppends() && ok;
        mStorage->RemoveRow(id);
        mDeletions.RemoveItem(id);
      }
      // The pending body is already in the record format.
      ok = mStorage->AppendRecordBody(id, body, length) && ok;
      return;
    }
    ok = mStorage->FinishAppends() && ok;
    if (mStorage->GoToRowID(id, false) && mStorage->CurrentRowID() == id && !mStorage->IsCurrentDeleted()) {
      ok = mChanges.Decode(body, length, &fields) && mStorage->MergeIntoRow(id, fields) && ok;
    }
  });
  ok = mStorage->FinishAppends() && ok;
  mDeletions.ForEach([this](RowID id, uint8_t) { mStorage->RemoveRow(id); });
  mDeletions.RemoveAll();
  for (const auto& index : mDroppedIndexes) mFileAccess->DeleteFile(IndexFileName(*index));
  mDroppedIndexes.clear();
  mAddedIndexNames.clear();
  ok = SaveMetadata() && ok;
  ok = mStorage->FlushToDisk() && ok;
  ok = CommitIndices() && ok;
  ForgetFetchedRow();
  if (TakeStorageFault()) ok = false;  // a record read on the way was damaged
  return ok;
}

void ParvexTrans::Rollback() {
  if (!mStorage) return;
  // Nothing pending can be read back through a damaged table.
  if (IsDamaged()) {
    mChanges.Clear();
    ForgetPendingRow();
    mDeletions.RemoveAll();
    mDroppedIndexes.clear();
    mAddedIndexNames.clear();
    ForgetFetchedRow();
    return;
  }
  for (auto& index : mDroppedIndexes) mIndexes.push_back(std::move(index));
  mDroppedIndexes.clear();
  // Indexes created in this transaction have no file: they go.
  for (const string& added : mAddedIndexNames) {
    for (size_t i = 0; i < mIndexes.size(); ++i) {
      if (mIndexes[i]->Name().Compare(added) == 0) {
        mIndexes.erase(mIndexes.begin() + static_cast<std::ptrdiff_t>(i));
        break;
      }
    }
  }
  mAddedIndexNames.clear();
  SimpleVector<RowID> restore;
  mChanges.ForEach([this, &restore](RowID id, bool stored, const uint8_t*, uint32_t) {
    if (stored) {
      restore.push_back(id);
    } else {
      for (size_t i = 0; i < mIndexes.size(); ++i) RemoveRowFromIndex(id, i);
    }
  });
  mChanges.Clear();
  ForgetPendingRow();
  mDeletions.ForEach([&restore](RowID id, uint8_t) { restore.push_back(id); });
  mDeletions.RemoveAll();
  ForgetFetchedRow();
  LoadMetadata();
  for (RowID id : restore) AddRowToIndices(id);
}

void ParvexTrans::DeleteStorage() {
  ForgetFetchedRow();
  mStorage.reset();
  if (!mFileAccess) return;
  mFileAccess->DeleteFile(FileName(kDataFileSuffix));
  mFileAccess->DeleteFile(FileName(kMapFileSuffix));
  // Every index file, loaded or not (a damaged one too).
  for (const string& file : IndexFiles()) mFileAccess->DeleteFile(file);
  for (const auto& index : mDroppedIndexes) mFileAccess->DeleteFile(IndexFileName(*index));
}

}  // namespace parvex
