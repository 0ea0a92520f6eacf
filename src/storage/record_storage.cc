// ParvexStorage: record files and row-position maps.
//
// Records are encoded into a scratch memory stream that carries the data
// stream's byte order and written with one call; bodies are read whole into a
// buffer (their length was checked against the file first) and decoded from a
// memory stream over it, so a damaged body can never make a read leave its
// buffer.
#include "storage/record_storage.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

namespace parvex {

namespace {

constexpr int64_t kMaxFileLength = std::numeric_limits<int32_t>::max();
// Map pairs are written in batches of this many.
constexpr size_t kMapWriteBatch = 8192;
// Body buffers larger than this are given back after use.
constexpr size_t kKeptBodyCapacity = 1 << 20;
// Appended records are written in pieces of about this size.
constexpr size_t kAppendBuffer = 1 << 20;

void CopyByteOrder(const RandomAccessMechanism& from, RandomAccessMechanism* to) {
  if (from.IsBigEndian()) {
    to->SetBigEndian();
  } else {
    to->SetLittleEndian();
  }
  to->SetDoubleSwap(from.IsDoubleSwap());
}

// Starts an empty scratch stream with the byte order of `like`.
void StartScratch(FileHandle* scratch, const RandomAccessMechanism& like) {
  scratch->SeekFromStart(0);
  scratch->SetLength(0);
  CopyByteOrder(like, scratch);
}

uint32_t CountedSize(uint32_t v) { return v <= kCountedStep ? 1 : 1 + (v - 1) / kCountedStep; }

// Whether a value handed in by code goes into a record: NULLs are left out;
// a non-NULL value of a type that has no encoding is a programming error.
bool IsWritten(const ParvexValueWithID& v) {
  if (v.IsNull()) return false;
  if (IsStoredType(v.Type())) return true;
  assert(false && "unknown type in CalcSchemaAndDataSize");
  return false;
}

uint32_t ColumnIDOf(const ParvexValueWithID& v) {
  assert(v.id >= 0 && static_cast<uint64_t>(v.id) <= std::numeric_limits<uint32_t>::max());
  return static_cast<uint32_t>(v.id);
}

uint64_t ValueSize(const ParvexValueWithID& v) {
  switch (v.Type()) {
    case kTypeInteger:
      return kIntegerSize;
    case kTypeBoolean:
      return kBooleanSize;
    case kTypeDouble:
      return kDoubleSize;
    case kTypeString:
      return kStringFixedSize + v.RawText().length();
    default:  // Date, Time, Timestamp, Binary: their saved text form
      return kTextFixedSize + v.GetSaveString().length();
  }
}

}  // namespace

ParvexStorage::ParvexStorage(std::unique_ptr<RandomAccessMechanism> dataFile,
                             std::unique_ptr<RandomAccessMechanism> mapFile, StorageAccess access)
    : mFile(std::move(dataFile)), mMapFile(std::move(mapFile)), mAccess(access) {
  assert(mFile);
  mDataLength = static_cast<uint32_t>(std::max<int32_t>(mFile->GetLength(), 0));
  if (mDataLength < kMetadataSize && Writable()) {
    // Write the missing bytes as zeros rather than only setting the length:
    // a stream may hand back stale bytes for length it never wrote (a volume
    // file placed in a reused block), and the metadata area must read as zero.
    const char zeros[kMetadataSize] = {};
    const int32_t missing = static_cast<int32_t>(kMetadataSize - mDataLength);
    if (mFile->SeekFromStart(static_cast<int32_t>(mDataLength)) &&
        mFile->WriteData(zeros, missing)) {
      mDataLength = kMetadataSize;
    }
  }
  // A map that points outside the records is a fault, not something a scan
  // may quietly replace: the data file may have lost the rows it lists.
  // A read-only file without a map (an index file, a file being checked) is
  // walked record by record by its reader: a map would be built for nothing.
  if (!Writable() && !mMapFile) return;
  if (!LoadRowPosMap() && !HasFault()) {
    // A stale or damaged map file, or records that no map file lists, must
    // be replaced at the next flush; an empty table with no map stays as is.
    // A scan that meets damage leaves the files alone.
    if (BuildRowPosMap() && mMapFile && (mMapFile->GetLength() > 0 || QtyRows() > 0)) MarkRowPosMapDirty();
  }
  if (!HasFault()) GoToFirstRecord();
}

ParvexStorage::~ParvexStorage() { FlushToDisk(); }

bool ParvexStorage::FlushToDisk() {
  if (!Writable()) return true;
  FinishAppends();
  std::vector<uint8_t>().swap(mAppends);
  std::vector<std::pair<RowID, uint32_t>>().swap(mAppendedRows);
  // A storage with a fault may hold an incomplete map: the file keeps its own.
  if (mMapChanged && mMapFile && !HasFault()) SaveRowPosMap();
  mFile->FlushToDisk();
  if (mMapFile) mMapFile->FlushToDisk();
  return true;
}

void ParvexStorage::HandleError(int errorType) {
  if (mAccess != StorageAccess::kInspect) std::fprintf(stderr, "ParvexStorage error %d\n", errorType);
  mLastError = errorType;
}

void ParvexStorage::NoteFault(const StorageFault& fault) {
  HandleError(fault.error);
  if (!mFault.IsSet()) mFault = fault;
  mLastFault = fault;
}

void ParvexStorage::NoteReadFault(uint32_t position, bool inMapFile) {
  StorageFault fault;
  fault.error = kStorageErrorReadFailed;
  fault.inMapFile = inMapFile;
  fault.position = position;
  fault.streamError = (inMapFile ? mMapFile : mFile)->LastError();
  NoteFault(fault);
}

bool ParvexStorage::SeekData(uint32_t position) {
  return mFile->SeekFromStart(static_cast<int32_t>(position)) &&
         mFile->GetPosition() == static_cast<int32_t>(position);
}

void ParvexStorage::NoteDataEnd() {
  const int32_t at = mFile->GetPosition();
  if (at > 0 && static_cast<uint32_t>(at) > mDataLength) mDataLength = static_cast<uint32_t>(at);
}

uint32_t ParvexStorage::Number(const uint8_t* bytes) const {
  return mFile->IsBigEndian()
             ? (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) | bytes[3]
             : (uint32_t{bytes[3]} << 24) | (uint32_t{bytes[2]} << 16) | (uint32_t{bytes[1]} << 8) | bytes[0];
}

bool ParvexStorage::ReadHeaderAt(uint32_t position, uint32_t* tag) {
  ForgetCurrent();
  RowID rowID = 0;
  uint32_t length = 0;
  StorageFault fault;
  fault.position = position;
  if (uint64_t{position} + kRecordHeaderSize > mDataLength) {
    fault.error = kStorageErrorReadFailed;  // the file ends inside the header
    NoteFault(fault);
    return false;
  }
  if (const uint8_t* header = mWindow.Get(mFile.get(), position, kRecordHeaderSize, mDataLength)) {
    *tag = Number(header + kRecordTagOffset);
    rowID = Number(header + kRecordRowIDOffset);
    length = Number(header + kRecordLengthOffset);
  } else if (!SeekData(position) || !mFile->ReadLong(tag) || !mFile->ReadLong(&rowID) ||
             !mFile->ReadLong(&length)) {
    NoteReadFault(position, false);
    return false;
  }
  fault.rowID = rowID;
  if ((*tag != kRecordTagLive && *tag != kRecordTagDeleted) || length < kMinBodyLength) {
    fault.error = kStorageErrorBadHeader;
    NoteFault(fault);
    return false;
  }
  const uint64_t next = uint64_t{position} + kRecordHeaderSize + length;
  if (next > mDataLength) {
    fault.error = kStorageErrorPastEnd;
    NoteFault(fault);
    return false;
  }
  mCurrentPos = position;
  mCurrentRowID = rowID;
  mNextPos = static_cast<uint32_t>(next);
  mHaveCurrent = true;
  mCurrentLive = *tag == kRecordTagLive;
  return true;
}

bool ParvexStorage::ReadRecHeader(bool skipDeleted) {
  const int32_t at = mFile->GetPosition();
  return ReadHeadersFrom(at < 0 ? mDataLength : static_cast<uint32_t>(at), skipDeleted);
}

bool ParvexStorage::ReadHeadersFrom(uint32_t position, bool skipDeleted) {
  for (;;) {
    if (position >= mDataLength) {
      ForgetCurrent();
      return false;
    }
    uint32_t tag = 0;
    if (!ReadHeaderAt(position, &tag)) return false;
    if (!skipDeleted || tag == kRecordTagLive) return true;
    // Each step advances by at least a header and one body byte, so the
    // loop ends at the end of the file.
    position = mNextPos;
  }
}

bool ParvexStorage::GoToPosition(uint32_t position) {
  if (position < kFirstRecordOffset || position >= mDataLength) {
    ForgetCurrent();
    return false;
  }
  uint32_t tag = 0;
  return ReadHeaderAt(position, &tag);
}

bool ParvexStorage::GoToFirstRecord() { return ReadHeadersFrom(kFirstRecordOffset, true); }

bool ParvexStorage::NextRecord() {
  if (!mHaveCurrent) return false;
  return ReadHeadersFrom(mNextPos, true);
}

bool ParvexStorage::GoToRowID(RowID rowID, bool skipDeleted) {
  const uint32_t position = mRowPos.FindNear(rowID, &mMapHint);
  if (position == kNoRecordPosition) return false;
  if (mHaveCurrent && mCurrentLive && mCurrentRowID == rowID && mCurrentPos == position) return true;
  uint32_t tag = 0;
  if (position >= mDataLength) {
    NoteFault({.error = kStorageErrorBadMap, .position = position, .rowID = rowID});
    return false;
  }
  if (!ReadHeaderAt(position, &tag)) return false;
  if (mCurrentRowID != rowID) {
    NoteFault({.error = kStorageErrorMapMismatch, .position = position, .rowID = rowID, .foundRowID = mCurrentRowID});
    ForgetCurrent();
    return false;
  }
  if (tag == kRecordTagDeleted && skipDeleted) return ReadHeadersFrom(mNextPos, true);
  return true;
}

bool ParvexStorage::ReadRecordFields(RecordFields* fields) {
  fields->Clear();
  if (!mHaveCurrent) return false;
  const uint32_t bodyStart = mCurrentPos + kRecordHeaderSize;
  const uint32_t length = mNextPos - bodyStart;  // checked against the file
  const uint8_t* body = mWindow.Get(mFile.get(), bodyStart, length, mDataLength);
  if (!body) {
    // Read it directly, so that a failure is reported where it happens.
    mBody.resize(length);
    int32_t got = 0;
    if (!SeekData(bodyStart) || !mFile->ReadData(mBody.data(), static_cast<int32_t>(length), &got) ||
        got != static_cast<int32_t>(length)) {
      NoteReadFault(bodyStart + static_cast<uint32_t>(std::max(got, 0)), false);
      MemoryHandle().swap(mBody);
      return false;
    }
    body = mBody.data();
  }
  const bool ok = fields->Decode(body, length, mFile->IsBigEndian(), mFile->IsDoubleSwap());
  MemoryHandle().swap(mBody);
  if (!ok) {
    NoteFault({.error = kStorageErrorBadBody, .position = mCurrentPos, .rowID = mCurrentRowID});
  }
  return ok;
}

bool ParvexStorage::ReadRecordValues(ParvexValueList& values) {
  if (!ReadRecordFields(&mFields)) {
    DeleteValues(values);
    return false;
  }
  mFields.ReadValues(values);
  return true;
}

bool ParvexStorage::ReadRowFields(RowID rowID, RecordFields* fields) {
  if (!GoToRowID(rowID, false) || !mCurrentLive || mCurrentRowID != rowID) {
    fields->Clear();
    return false;
  }
  return ReadRecordFields(fields);
}

bool ParvexStorage::ReadRowValues(RowID rowID, ParvexValueList& values) {
  if (!GoToRowID(rowID, false) || !mCurrentLive || mCurrentRowID != rowID) {
    DeleteValues(values);
    return false;
  }
  return ReadRecordValues(values);
}

uint32_t ParvexStorage::CalcSchemaAndDataSize(const ParvexValueList& values) const {
  uint64_t size = 0;
  uint32_t count = 0;
  for (const ParvexValueWithID* v : values) {
    if (!IsWritten(*v)) continue;
    ++count;
    size += CountedSize(ColumnIDOf(*v)) + kTypeByteSize + ValueSize(*v);
  }
  size += CountedSize(count);
  return static_cast<uint32_t>(std::min<uint64_t>(size, std::numeric_limits<uint32_t>::max()));
}

void ParvexStorage::PutLiveRecordHeader(uint8_t* out, RowID rowID, uint32_t bodyLength) const {
  const uint32_t header[3] = {kRecordTagLive, rowID, bodyLength};
  for (int field = 0; field < 3; ++field) {
    for (int i = 0; i < 4; ++i) {
      out[4 * field + (mFile->IsBigEndian() ? 3 - i : i)] = static_cast<uint8_t>(header[field] >> (8 * i));
    }
  }
}

void ParvexStorage::EncodeRecord(const ParvexValueList& values) {
  for (const ParvexValueWithID* v : values) IsWritten(*v);  // stops on a type without an encoding
  mEncoded.assign(kRecordHeaderSize, 0);
  EncodeBody(values, mFile->IsBigEndian(), mFile->IsDoubleSwap(), false, &mEncoded);
}

bool ParvexStorage::WriteEncodedRecord(uint32_t position, RowID rowID, uint32_t end, uint32_t* written) {
  const uint64_t needed = uint64_t{position} + mEncoded.size();
  if (position < kFirstRecordOffset || position > mDataLength || needed > end || end > kMaxFileLength) {
    return false;
  }
  PutLiveRecordHeader(mEncoded.data(), rowID, end - position - kRecordHeaderSize);
  if (!WriteDataAt(position, mEncoded.data(), static_cast<uint32_t>(mEncoded.size()))) {
    HandleError(kStorageErrorWriteFailed);
    ForgetCurrent();
    return false;
  }
  NoteDataEnd();
  mCurrentPos = position;
  mCurrentRowID = rowID;
  mNextPos = end;
  mHaveCurrent = true;
  mCurrentLive = true;
  *written = static_cast<uint32_t>(needed);
  if (mEncoded.capacity() > kKeptBodyCapacity) std::vector<uint8_t>().swap(mEncoded);
  return true;
}

bool ParvexStorage::WriteRecordBytes(uint32_t position, RowID rowID, const ParvexValueList& values,
                                     uint32_t end, uint32_t* written) {
  EncodeRecord(values);
  return WriteEncodedRecord(position, rowID, end, written);
}

bool ParvexStorage::WriteRecordAt(uint32_t position, RowID rowID, const ParvexValueList& values,
                                  uint32_t end) {
  uint32_t written = 0;
  return WriteRecordBytes(position, rowID, values, end, &written) && written == end;
}

bool ParvexStorage::AppendEncodedRecord(RowID rowID) {
  const uint32_t position = mDataLength;
  const uint64_t end = uint64_t{position} + mEncoded.size();
  if (position < kFirstRecordOffset || end > kMaxFileLength) {
    HandleError(kStorageErrorWriteFailed);
    return false;
  }
  // The map file says "Drty" before the data file changes, so a crash in
  // between never leaves a map that looks complete but is not.
  MarkRowPosMapDirty();
  uint32_t written = 0;
  if (!WriteEncodedRecord(position, rowID, static_cast<uint32_t>(end), &written) || written != end) return false;
  mRowPos.AddItem(rowID, position);
  return true;
}

bool ParvexStorage::AddNewRecord(RowID rowID, const ParvexValueList& values) {
  EncodeRecord(values);
  return AppendEncodedRecord(rowID);
}

bool ParvexStorage::WriteDataAt(uint32_t position, const void* bytes, uint32_t length) {
  if (!SeekData(position) || !mFile->WriteData(bytes, static_cast<int32_t>(length))) return false;
  mWindow.Patch(position, bytes, length);
  return true;
}

bool ParvexStorage::WriteTagAt(uint32_t position, uint32_t tag) {
  uint8_t bytes[4];
  for (int i = 0; i < 4; ++i) bytes[mFile->IsBigEndian() ? 3 - i : i] = static_cast<uint8_t>(tag >> (8 * i));
  if (!WriteDataAt(position, bytes, sizeof bytes)) {
    HandleError(kStorageErrorWriteFailed);
    return false;
  }
  return true;
}

bool ParvexStorage::UpdateRecord(const ParvexValueList& values) {
  if (!mHaveCurrent || !mCurrentLive) return false;
  OwnedValueList merged;
  if (!ReadRecordValues(merged.list)) return false;
  for (const ParvexValueWithID* v : values) {
    size_t i = 0;
    while (i < merged.list.size() && merged.list[i]->id != v->id) ++i;
    if (v->IsNull()) {
      if (i < merged.list.size()) {
        delete merged.list[i];
        merged.list.RemoveAt(i);
      }
    } else if (i < merged.list.size()) {
      static_cast<ParvexValue&>(*merged.list[i]) = *v;
    } else {
      merged.list.push_back(new ParvexValueWithID(*v));
    }
  }
  EncodeRecord(merged.list);
  return ReplaceCurrentRecord();
}

bool ParvexStorage::MergeIntoRow(RowID rowID, const RecordFields& changes) {
  if (!GoToRowID(rowID, false) || mCurrentRowID != rowID || !mCurrentLive) return false;
  if (!ReadRecordFields(&mFields)) return false;
  mEncoded.assign(kRecordHeaderSize, 0);
  EncodeMerged(mFields, changes, mFile->IsBigEndian(), mFile->IsDoubleSwap(), &mEncoded);
  return ReplaceCurrentRecord();
}

bool ParvexStorage::ReplaceCurrentRecord() {
  const uint32_t position = mCurrentPos;
  const uint32_t end = mNextPos;
  const RowID rowID = mCurrentRowID;
  if (uint64_t{position} + mEncoded.size() > end) {
    // Too big for its room: append the new record first and only then retire
    // the old one, so a crash in between leaves a copy of the row.
    if (!AppendEncodedRecord(rowID)) return false;
    return WriteTagAt(position, kRecordTagDeleted);
  }
  uint32_t written = 0;
  return WriteEncodedRecord(position, rowID, end, &written);
}

bool ParvexStorage::AppendRecordBody(RowID rowID, const uint8_t* body, uint32_t length) {
  if (mAppends.size() + kRecordHeaderSize + length > kAppendBuffer && !FinishAppends()) return false;
  if (mAppends.capacity() < kAppendBuffer) mAppends.reserve(kAppendBuffer);
  const uint64_t position = uint64_t{mDataLength} + mAppends.size();
  if (position < kFirstRecordOffset || position + kRecordHeaderSize + length > kMaxFileLength) {
    HandleError(kStorageErrorWriteFailed);
    return false;
  }
  // As for every append, the map file says "Drty" before the data file changes.
  MarkRowPosMapDirty();
  const size_t at = mAppends.size();
  mAppends.resize(at + kRecordHeaderSize);
  PutLiveRecordHeader(mAppends.data() + at, rowID, length);
  mAppends.insert(mAppends.end(), body, body + length);
  mAppendedRows.emplace_back(rowID, static_cast<uint32_t>(position));
  return true;
}

bool ParvexStorage::AppendRecord(RowID rowID, const ParvexValueList& values) {
  EncodeRecord(values);
  return AppendRecordBody(rowID, mEncoded.data() + kRecordHeaderSize,
                          static_cast<uint32_t>(mEncoded.size() - kRecordHeaderSize));
}

bool ParvexStorage::FinishAppends() {
  if (mAppends.empty()) return true;
  const bool ok = WriteDataAt(mDataLength, mAppends.data(), static_cast<uint32_t>(mAppends.size()));
  ForgetCurrent();
  if (ok) {
    NoteDataEnd();
    // The rows enter the map once their records are in the file.
    for (const auto& [rowID, position] : mAppendedRows) mRowPos.AddItem(rowID, position);
  } else {
    HandleError(kStorageErrorWriteFailed);
  }
  mAppends.clear();
  mAppendedRows.clear();
  return ok;
}

bool ParvexStorage::DeleteRecord() {
  if (!mHaveCurrent) return false;
  // The row leaves the map when the deletion is committed; say so first.
  MarkRowPosMapDirty();
  if (!WriteTagAt(mCurrentPos, kRecordTagDeleted)) return false;
  mCurrentLive = false;
  return true;
}

bool ParvexStorage::RemoveRow(RowID rowID) {
  const uint32_t position = mRowPos.Find(rowID);
  if (position == kNoRecordPosition) return false;
  MarkRowPosMapDirty();
  uint32_t tag = 0;
  if (position < mDataLength && ReadHeaderAt(position, &tag) && mCurrentRowID == rowID && tag == kRecordTagLive && WriteTagAt(position, kRecordTagDeleted)) {
    mCurrentLive = false;
  }
  mRowPos.RemoveItem(rowID);
  return true;
}

bool ParvexStorage::ReadMetadata(string* text) {
  char bytes[kMetadataSize];
  int32_t got = 0;
  if (!mFile->SeekFromStart(0) || !mFile->ReadData(bytes, kMetadataSize, &got)) {
    // A file long enough to hold the area whose bytes can't be read is damaged.
    if (mDataLength >= kMetadataSize) NoteReadFault(static_cast<uint32_t>(std::max(got, 0)), false);
    got = 0;
  }
  if (got > 0 && text) *text = string(bytes, static_cast<size_t>(got), kEncodingDefault);
  return got == static_cast<int32_t>(kMetadataSize);
}

bool ParvexStorage::WriteMetadata(const string& text) {
  char bytes[kMetadataSize] = {};
  std::memcpy(bytes, text.data(), std::min<size_t>(text.length(), kMetadataSize));
  if (!WriteDataAt(0, bytes, kMetadataSize)) {
    HandleError(kStorageErrorWriteFailed);
    return false;
  }
  NoteDataEnd();
  return true;
}

bool ParvexStorage::SaveRowPosMap() {
  if (!mMapFile) return false;
  bool ok = mMapFile->SeekFromStart(0);
  StartScratch(&mScratch, *mMapFile);
  ok = ok && mScratch.WriteLong(kMapStateDirty) &&
       mScratch.WriteLong(static_cast<uint32_t>(mRowPos.QtyItems()));
  size_t batched = 0;
  mRowPos.ForEach([&](RowID rowID, uint32_t position) {
    ok = ok && mScratch.WriteLong(rowID) && mScratch.WriteLong(position);
    if (ok && ++batched == kMapWriteBatch) {
      ok = mMapFile->WriteData(mScratch.Bytes(), mScratch.GetLength());
      StartScratch(&mScratch, *mMapFile);
      batched = 0;
    }
  });
  ok = ok && mScratch.WriteLong(kMapEndMark) && mMapFile->WriteData(mScratch.Bytes(), mScratch.GetLength());
  // The pairs reach the file before the state word says they are complete.
  ok = ok && mMapFile->FlushToDisk() && mMapFile->SeekFromStart(0) && mMapFile->WriteLong(kMapStateReady);
  if (!ok) {
    HandleError(kStorageErrorWriteFailed);
    return false;
  }
  mMapChanged = false;
  return true;
}

void ParvexStorage::MarkRowPosMapDirty() {
  if (mMapChanged) return;
  mMapChanged = true;
  if (!mMapFile || !Writable()) return;
  if (!mMapFile->SeekFromStart(0) || !mMapFile->WriteLong(kMapStateDirty) || !mMapFile->FlushToDisk()) {
    HandleError(kStorageErrorWriteFailed);
  }
}

}  // namespace parvex
