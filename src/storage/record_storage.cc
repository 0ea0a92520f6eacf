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
// A value needs at least a one-byte column ID, its type byte and a one-byte
// encoding (Boolean); a count above body / kMinValueSize cannot be right.
constexpr uint32_t kMinValueSize = 3;
// Map pairs are written in batches of this many.
constexpr size_t kMapWriteBatch = 8192;
// Body buffers larger than this are given back after use.
constexpr size_t kKeptBodyCapacity = 1 << 20;

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

bool WriteCounted(RandomAccessMechanism* out, uint32_t v) {
  while (v > kCountedStep) {
    if (!out->WriteByte(kCountedRunByte)) return false;
    v -= kCountedStep;
  }
  return out->WriteByte(static_cast<uint8_t>(v));
}

// Reads a counted integer; false at the end of the input or when the value
// does not fit in 32 bits.
bool ReadCounted(RandomAccessMechanism* in, uint32_t* v) {
  uint64_t sum = 0;
  uint8_t byte = 0;
  for (;;) {
    if (!in->ReadByte(&byte)) return false;
    if (byte != kCountedRunByte) break;
    sum += kCountedStep;
    if (sum > std::numeric_limits<uint32_t>::max()) return false;
  }
  sum += byte;
  if (sum > std::numeric_limits<uint32_t>::max()) return false;
  *v = static_cast<uint32_t>(sum);
  return true;
}

bool IsStoredType(ParvexDataType type) {
  return type == kTypeInteger || type == kTypeString || type == kTypeBoolean || type == kTypeDouble ||
         type == kTypeDate || type == kTypeTime || type == kTypeTimestamp || type == kTypeBinary;
}

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

bool WriteText(RandomAccessMechanism* out, const string& text) {
  return out->WriteData(text.data(), static_cast<int32_t>(text.length()));
}

bool WriteValue(RandomAccessMechanism* out, const ParvexValueWithID& v) {
  switch (v.Type()) {
    case kTypeInteger:
      return out->WriteLong(static_cast<uint32_t>(v.RawInteger()));
    case kTypeBoolean:
      return out->WriteByte(v.RawInteger() != 0 ? 1 : 0);
    case kTypeDouble:
      return out->WriteDouble(v.RawDouble());
    default: {  // String, then Date, Time, Timestamp and Binary as their saved text
      const bool isString = v.Type() == kTypeString;
      const string text = isString ? v.RawText() : v.GetSaveString();
      const auto length = static_cast<uint32_t>(text.length());
      return out->WriteLong(length) && out->WriteLong(length) && (!isString || out->WriteLong(text.Encoding())) &&
             WriteText(out, text);
    }
  }
}

// Reads a text payload: room R and length L (and for String the encoding)
// are already read; takes L bytes and skips the R - L bytes of room.
bool ReadTextPayload(FileHandle* in, const MemoryHandle& body, uint32_t room, uint32_t length,
                     uint32_t encoding, string* text) {
  const auto at = static_cast<uint32_t>(in->GetPosition());
  const auto remaining = static_cast<uint32_t>(body.size()) - at;
  if (length > room || room > remaining) return false;
  *text = string(reinterpret_cast<const char*>(body.data()) + at, length, encoding);
  return in->SeekFromStart(static_cast<int32_t>(at + room));
}

bool ReadValue(FileHandle* in, const MemoryHandle& body, ParvexDataType type, ParvexValueWithID* v) {
  switch (type) {
    case kTypeInteger: {
      int32_t i = 0;
      if (!in->ReadLong(&i)) return false;
      v->SetInteger(i);
      return true;
    }
    case kTypeBoolean: {
      uint8_t b = 0;
      if (!in->ReadByte(&b)) return false;
      v->SetBoolean(b != 0);
      return true;
    }
    case kTypeDouble: {
      double d = 0;
      if (!in->ReadDouble(&d)) return false;
      v->SetDouble(d);
      return true;
    }
    default: {  // String (which also stores its encoding) and the text forms
      uint32_t room = 0, length = 0, encoding = kEncodingDefault;
      string text;
      if (!in->ReadLong(&room) || !in->ReadLong(&length) || (type == kTypeString && !in->ReadLong(&encoding)) ||
          !ReadTextPayload(in, body, room, length, encoding, &text)) {
        return false;
      }
      v->SetText(type, text);
      return true;
    }
  }
}

// Decodes a record body into `values` (resized to the body's count).
bool DecodeBody(MemoryHandle& body, const RandomAccessMechanism& byteOrder, ParvexValueList& values) {
  FileHandle in;
  in.Open(&body);  // only read
  CopyByteOrder(byteOrder, &in);
  uint32_t count = 0;
  if (!ReadCounted(&in, &count)) return false;
  const auto remaining = static_cast<uint32_t>(body.size()) - static_cast<uint32_t>(in.GetPosition());
  if (count > remaining / kMinValueSize) return false;
  while (values.size() > count) {
    delete values.back();
    values.RemoveAt(values.size() - 1);
  }
  values.reserve(count);
  while (values.size() < count) values.push_back(new ParvexValueWithID());
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t columnID = 0;
    uint8_t type = 0;
    if (!ReadCounted(&in, &columnID) || !in.ReadByte(&type) || !IsStoredType(type)) return false;
    values[i]->SetNull(type);  // the type waits here until the value is read
    values[i]->id = static_cast<long>(columnID);
  }
  for (uint32_t i = 0; i < count; ++i) {
    if (!ReadValue(&in, body, values[i]->Type(), values[i])) return false;
  }
  return true;
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
  if (mAccess == StorageAccess::kInspect && !mMapFile) return;
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
  if (!SeekData(position) || !mFile->ReadLong(tag) || !mFile->ReadLong(&rowID) || !mFile->ReadLong(&length)) {
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
  const uint32_t position = mRowPos.Find(rowID);
  if (position == kNoRecordPosition) return false;
  if (mHaveCurrent && mCurrentLive && mCurrentRowID == rowID && mCurrentPos == position) return true;
  uint32_t tag = 0;
  if (position >= mDataLength) {
    StorageFault fault;
    fault.error = kStorageErrorBadMap;
    fault.rowID = rowID;
    fault.position = position;
    NoteFault(fault);
    return false;
  }
  if (!ReadHeaderAt(position, &tag)) return false;
  if (mCurrentRowID != rowID) {
    StorageFault fault;
    fault.error = kStorageErrorMapMismatch;
    fault.rowID = rowID;
    fault.position = position;
    fault.foundRowID = mCurrentRowID;
    NoteFault(fault);
    ForgetCurrent();
    return false;
  }
  if (tag == kRecordTagDeleted && skipDeleted) return ReadHeadersFrom(mNextPos, true);
  return true;
}

bool ParvexStorage::ReadRecordValues(ParvexValueList& values) {
  bool ok = false;
  if (mHaveCurrent) {
    const uint32_t bodyStart = mCurrentPos + kRecordHeaderSize;
    const uint32_t length = mNextPos - bodyStart;  // checked against the file
    mBody.resize(length);
    int32_t got = 0;
    if (!SeekData(bodyStart) || !mFile->ReadData(mBody.data(), static_cast<int32_t>(length), &got) ||
        got != static_cast<int32_t>(length)) {
      NoteReadFault(bodyStart + static_cast<uint32_t>(std::max(got, 0)), false);
    } else if (!DecodeBody(mBody, *mFile, values)) {
      StorageFault fault;
      fault.error = kStorageErrorBadBody;
      fault.position = mCurrentPos;
      fault.rowID = mCurrentRowID;
      NoteFault(fault);
    } else {
      ok = true;
    }
  }
  if (mBody.capacity() > kKeptBodyCapacity) MemoryHandle().swap(mBody);
  if (!ok) DeleteValues(values);
  return ok;
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

bool ParvexStorage::WriteRecordBytes(uint32_t position, RowID rowID, const ParvexValueList& values,
                                     uint32_t end, uint32_t* written) {
  const uint64_t needed = uint64_t{position} + kRecordHeaderSize + CalcSchemaAndDataSize(values);
  if (position < kFirstRecordOffset || position > mDataLength || needed > end || end > kMaxFileLength) {
    return false;
  }
  StartScratch(&mScratch, *mFile);
  uint32_t count = 0;
  for (const ParvexValueWithID* v : values) count += IsWritten(*v) ? 1 : 0;
  bool ok = mScratch.WriteLong(kRecordTagLive) && mScratch.WriteLong(rowID) &&
            mScratch.WriteLong(end - position - kRecordHeaderSize) && WriteCounted(&mScratch, count);
  for (const ParvexValueWithID* v : values) {
    if (ok && IsWritten(*v)) {
      ok = WriteCounted(&mScratch, ColumnIDOf(*v)) && mScratch.WriteByte(v->Type());
    }
  }
  for (const ParvexValueWithID* v : values) {
    if (ok && IsWritten(*v)) ok = WriteValue(&mScratch, *v);
  }
  if (!ok || !SeekData(position) || !mFile->WriteData(mScratch.Bytes(), mScratch.GetLength())) {
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
  *written = position + static_cast<uint32_t>(mScratch.GetLength());
  if (mScratch.GetLength() > static_cast<int32_t>(kKeptBodyCapacity)) mScratch.Reset();
  return true;
}

bool ParvexStorage::WriteRecordAt(uint32_t position, RowID rowID, const ParvexValueList& values,
                                  uint32_t end) {
  uint32_t written = 0;
  return WriteRecordBytes(position, rowID, values, end, &written) && written == end;
}

bool ParvexStorage::AddNewRecord(RowID rowID, const ParvexValueList& values) {
  const uint32_t position = mDataLength;
  const uint64_t end = uint64_t{position} + kRecordHeaderSize + CalcSchemaAndDataSize(values);
  if (position < kFirstRecordOffset || end > kMaxFileLength) {
    HandleError(kStorageErrorWriteFailed);
    return false;
  }
  // The map file says "Drty" before the data file changes, so a crash in
  // between never leaves a map that looks complete but is not.
  MarkRowPosMapDirty();
  if (!WriteRecordAt(position, rowID, values, static_cast<uint32_t>(end))) return false;
  mRowPos.AddItem(rowID, position);
  return true;
}

bool ParvexStorage::WriteTagAt(uint32_t position, uint32_t tag) {
  if (!SeekData(position) || !mFile->WriteLong(tag)) {
    HandleError(kStorageErrorWriteFailed);
    return false;
  }
  return true;
}

bool ParvexStorage::UpdateRecord(const ParvexValueList& values) {
  if (!mHaveCurrent || !mCurrentLive) return false;
  const uint32_t position = mCurrentPos;
  const uint32_t end = mNextPos;
  const RowID rowID = mCurrentRowID;
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
  const uint64_t needed = uint64_t{position} + kRecordHeaderSize + CalcSchemaAndDataSize(merged.list);
  if (needed > end) {
    // Too big for its room: append the new record first and only then retire
    // the old one, so a crash in between leaves a copy of the row.
    if (!AddNewRecord(rowID, merged.list)) return false;
    return WriteTagAt(position, kRecordTagDeleted);
  }
  uint32_t written = 0;
  return WriteRecordBytes(position, rowID, merged.list, end, &written);
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
  if (!mFile->SeekFromStart(0) || !mFile->WriteData(bytes, kMetadataSize)) {
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
