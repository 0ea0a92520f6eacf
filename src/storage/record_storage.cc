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
                             std::unique_ptr<RandomAccessMechanism> mapFile)
    : mFile(std::move(dataFile)), mMapFile(std::move(mapFile)) {
  assert(mFile);
  mDataLength = static_cast<uint32_t>(std::max<int32_t>(mFile->GetLength(), 0));
  if (mDataLength < kMetadataSize) {
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
  if (!LoadRowPosMap()) {
    BuildRowPosMap();
    // A stale or damaged map file, or records that no map file lists, must
    // be replaced at the next flush; an empty table with no map stays as is.
    if (mMapFile && (mMapFile->GetLength() > 0 || QtyRows() > 0)) MarkRowPosMapDirty();
  }
  GoToFirstRecord();
}

ParvexStorage::~ParvexStorage() { FlushToDisk(); }

bool ParvexStorage::FlushToDisk() {
  if (mMapChanged && mMapFile) SaveRowPosMap();
  mFile->FlushToDisk();
  if (mMapFile) mMapFile->FlushToDisk();
  return true;
}

void ParvexStorage::HandleError(int errorType) {
  std::fprintf(stderr, "ParvexStorage error %d\n", errorType);
  mLastError = errorType;
  ++mErrorCount;
}

bool ParvexStorage::SeekData(uint32_t position) {
  return mFile->SeekFromStart(static_cast<int32_t>(position)) &&
         mFile->GetPosition() == static_cast<int32_t>(position);
}

void ParvexStorage::NoteDataEnd() {
  const int32_t at = mFile->GetPosition();
  if (at > 0 && static_cast<uint32_t>(at) > mDataLength) mDataLength = static_cast<uint32_t>(at);
}

// Reads and checks the header of the record at `position` (the stream is
// there already) and makes it the current record.
bool ParvexStorage::ReadHeaderAt(uint32_t position, uint32_t* tag) {
  ForgetCurrent();
  RowID rowID = 0;
  uint32_t length = 0;
  if (!mFile->ReadLong(tag) || !mFile->ReadLong(&rowID) || !mFile->ReadLong(&length)) {
    HandleError(kStorageErrorReadFailed);
    return false;
  }
  if ((*tag != kRecordTagLive && *tag != kRecordTagDeleted) || length < kMinBodyLength) {
    HandleError(kStorageErrorBadHeader);
    return false;
  }
  const uint64_t next = uint64_t{position} + kRecordHeaderSize + length;
  if (next > mDataLength) {
    HandleError(kStorageErrorPastEnd);
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
  for (;;) {
    const int32_t at = mFile->GetPosition();
    if (at < 0 || static_cast<uint32_t>(at) >= mDataLength) {
      ForgetCurrent();
      return false;
    }
    uint32_t tag = 0;
    if (!ReadHeaderAt(static_cast<uint32_t>(at), &tag)) return false;
    if (!skipDeleted || tag == kRecordTagLive) return true;
    // Each step advances by at least a header and one body byte, so the
    // loop ends at the end of the file.
    if (mNextPos >= mDataLength || !SeekData(mNextPos)) {
      ForgetCurrent();
      return false;
    }
  }
}

bool ParvexStorage::GoToFirstRecord() {
  if (mDataLength <= kFirstRecordOffset || !SeekData(kFirstRecordOffset)) {
    ForgetCurrent();
    return false;
  }
  return ReadRecHeader(true);
}

bool ParvexStorage::NextRecord() {
  if (!mHaveCurrent || mNextPos >= mDataLength || !SeekData(mNextPos)) {
    ForgetCurrent();
    return false;
  }
  return ReadRecHeader(true);
}

bool ParvexStorage::GoToRowID(RowID rowID, bool skipDeleted) {
  const uint32_t position = mRowPos.Find(rowID);
  if (position == kNoRecordPosition) return false;
  if (mHaveCurrent && mCurrentLive && mCurrentRowID == rowID && mCurrentPos == position) return true;
  uint32_t tag = 0;
  bool found = position < mDataLength && SeekData(position) && ReadHeaderAt(position, &tag);
  if (found && mCurrentRowID != rowID) {
    HandleError(kStorageErrorMapMismatch);
    found = false;
  }
  if (!found) {
    ForgetCurrent();
    // A map loaded from the file is not trusted once it pointed at damage or
    // at another row: rebuild it once and try again.
    if (!mMapFromFile) return false;
    RebuildAfterMapDamage();
    return GoToRowID(rowID, skipDeleted);
  }
  if (tag == kRecordTagDeleted && skipDeleted) {
    if (mNextPos >= mDataLength || !SeekData(mNextPos)) {
      ForgetCurrent();
      return false;
    }
    return ReadRecHeader(true);
  }
  return true;
}

void ParvexStorage::RebuildAfterMapDamage() {
  BuildRowPosMap();
  mMapFromFile = false;
  MarkRowPosMapDirty();
}

bool ParvexStorage::ReadRecordValues(ParvexValueList& values) {
  bool ok = false;
  if (mHaveCurrent && SeekData(mCurrentPos + kRecordHeaderSize)) {
    const uint32_t length = mNextPos - mCurrentPos - kRecordHeaderSize;  // checked against the file
    mBody.resize(length);
    int32_t got = 0;
    if (!mFile->ReadData(mBody.data(), static_cast<int32_t>(length), &got) ||
        got != static_cast<int32_t>(length)) {
      HandleError(kStorageErrorReadFailed);
    } else if (!DecodeBody(mBody, *mFile, values)) {
      HandleError(kStorageErrorBadBody);
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
  if (position < mDataLength && SeekData(position) && ReadHeaderAt(position, &tag) &&
      mCurrentRowID == rowID && tag == kRecordTagLive && WriteTagAt(position, kRecordTagDeleted)) {
    mCurrentLive = false;
  }
  mRowPos.RemoveItem(rowID);
  return true;
}

bool ParvexStorage::ReadMetadata(string* text) {
  char bytes[kMetadataSize];
  int32_t got = 0;
  if (!mFile->SeekFromStart(0) || !mFile->ReadData(bytes, kMetadataSize, &got)) got = 0;
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

bool ParvexStorage::BuildRowPosMap() {
  mRowPos.RemoveAll();
  const uint64_t errorsBefore = mErrorCount;
  for (bool more = GoToFirstRecord(); more; more = NextRecord()) {
    // Two live copies of a table row: a move was cut short after the new
    // copy was appended. The later one is the new one; finish the move.
    // (Files without a map, such as indexes, never move rows.)
    const uint32_t earlier = mRowPos.Find(mCurrentRowID);
    if (earlier != kNoRecordPosition && mMapFile) WriteTagAt(earlier, kRecordTagDeleted);
    mRowPos.AddItem(mCurrentRowID, mCurrentPos);
  }
  return mErrorCount == errorsBefore;
}

bool ParvexStorage::LoadRowPosMap() {
  if (!mMapFile) return false;
  mRowPos.RemoveAll();
  mMapFromFile = false;
  const int32_t length = mMapFile->GetLength();
  if (length <= 0) return false;  // no map yet
  uint32_t state = 0;
  uint32_t count = 0;
  if (!mMapFile->SeekFromStart(0) || !mMapFile->ReadLong(&state)) {
    HandleError(kStorageErrorBadMap);
    return false;
  }
  if (state == kMapStateDirty) return false;  // a change was never saved: rebuild silently
  if (state != kMapStateReady || !mMapFile->ReadLong(&count) ||
      count > (static_cast<uint32_t>(length) - std::min<uint32_t>(length, kMapFixedSize)) / kMapPairSize) {
    HandleError(kStorageErrorBadMap);
    return false;
  }
  mRowPos.Presize(count);
  for (uint32_t i = 0; i < count; ++i) {
    RowID rowID = 0;
    uint32_t position = 0;
    if (!mMapFile->ReadLong(&rowID) || !mMapFile->ReadLong(&position) || position < kFirstRecordOffset ||
        uint64_t{position} + kRecordHeaderSize > mDataLength) {
      HandleError(kStorageErrorBadMap);
      mRowPos.RemoveAll();
      return false;
    }
    mRowPos.AddItem(rowID, position);
  }
  uint32_t endMark = 0;
  if (!mMapFile->ReadLong(&endMark) || endMark != kMapEndMark) {
    HandleError(kStorageErrorBadMap);
    mRowPos.RemoveAll();
    return false;
  }
  mMapChanged = false;
  mMapFromFile = true;
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
  if (!mMapFile) return;
  if (!mMapFile->SeekFromStart(0) || !mMapFile->WriteLong(kMapStateDirty) || !mMapFile->FlushToDisk()) {
    HandleError(kStorageErrorWriteFailed);
  }
}

}  // namespace parvex
