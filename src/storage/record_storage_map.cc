// ParvexStorage: reading the row-position map from its file, rebuilding it
// by scanning the data file, and proving a loaded map against the records.
// (Saving the map and marking it dirty are in record_storage.cc.)
#include <algorithm>
#include <cstdint>
#include <vector>

#include "storage/record_storage.h"

namespace parvex {

bool ParvexStorage::BuildRowPosMap() {
  mRowPos.RemoveAll();
  mMapFromFile = false;
  mMapProven = true;
  for (bool more = GoToFirstRecord(); more; more = NextRecord()) {
    // Two live copies of a table row: a move was cut short after the new
    // copy was appended. The later one is the new one; finish the move.
    // (Files without a map, such as indexes, never move rows.)
    const uint32_t earlier = mRowPos.Find(mCurrentRowID);
    if (earlier != kNoRecordPosition && mMapFile && Writable()) WriteTagAt(earlier, kRecordTagDeleted);
    mRowPos.AddItem(mCurrentRowID, mCurrentPos);
  }
  return !HasFault();
}

bool ParvexStorage::LoadRowPosMap() {
  if (!mMapFile) return false;
  mRowPos.RemoveAll();
  mMapFromFile = false;
  mMapProven = true;
  const int32_t length = mMapFile->GetLength();
  if (length <= 0) return false;  // no map yet
  // Bytes the file's length promises but the stream can't deliver are a
  // fault; a map whose own words are wrong is rebuilt by scanning.
  const auto readFault = [this]() {
    NoteReadFault(static_cast<uint32_t>(std::max(mMapFile->GetPosition(), 0)), true);
    mRowPos.RemoveAll();
    return false;
  };
  uint32_t state = 0;
  uint32_t count = 0;
  if (length < static_cast<int32_t>(sizeof state)) {
    HandleError(kStorageErrorBadMap);  // too short to be a map
    return false;
  }
  if (!mMapFile->SeekFromStart(0) || !mMapFile->ReadLong(&state)) return readFault();
  if (state == kMapStateDirty) return false;  // a change was never saved: rebuild silently
  if (state != kMapStateReady || length < static_cast<int32_t>(kMapFixedSize)) {
    HandleError(kStorageErrorBadMap);
    return false;
  }
  if (!mMapFile->ReadLong(&count)) return readFault();
  if (count > (static_cast<uint32_t>(length) - kMapFixedSize) / kMapPairSize) {
    HandleError(kStorageErrorBadMap);
    return false;
  }
  mRowPos.Presize(count);
  for (uint32_t i = 0; i < count; ++i) {
    RowID rowID = 0;
    uint32_t position = 0;
    if (!mMapFile->ReadLong(&rowID) || !mMapFile->ReadLong(&position)) return readFault();
    if (position < kFirstRecordOffset || uint64_t{position} + kRecordHeaderSize > mDataLength) {
      StorageFault fault;
      fault.error = kStorageErrorBadMap;
      fault.rowID = rowID;
      fault.position = position;
      NoteFault(fault);
      mRowPos.RemoveAll();
      return false;
    }
    mRowPos.AddItem(rowID, position);
  }
  uint32_t endMark = 0;
  if (!mMapFile->ReadLong(&endMark)) return readFault();
  if (endMark != kMapEndMark) {
    HandleError(kStorageErrorBadMap);
    mRowPos.RemoveAll();
    return false;
  }
  mMapChanged = false;
  mMapFromFile = true;
  mMapProven = mRowPos.empty();
  return true;
}

bool ParvexStorage::ProveRowPosMap() {
  if (mMapProven) return !HasFault();
  mMapProven = true;
  std::vector<RowID> deleted;
  for (size_t place = 0; place < mRowPos.QtyItems(); ++place) {
    const RowID rowID = mRowPos.IDAt(place);
    if (!GoToRowID(rowID, false)) return false;
    if (!mCurrentLive) deleted.push_back(rowID);
  }
  // Entries at deleted records of their own rows: those rows are deleted.
  for (RowID rowID : deleted) mRowPos.RemoveItem(rowID);
  ForgetCurrent();
  return true;
}

}  // namespace parvex
