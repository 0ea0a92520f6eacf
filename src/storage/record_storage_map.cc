// ParvexStorage: reading the row-position map from its file, rebuilding it
// by scanning the data file, and proving a loaded map against the records.
// (Saving the map and marking it dirty are in record_storage.cc.)
#include <algorithm>
#include <cstdint>
#include <unordered_set>
#include <vector>

#include "storage/record_storage.h"

namespace parvex {

namespace {

// Bytes of the data file read at a time while proving a map.
constexpr uint32_t kProofWindow = 64 * 1024;

}  // namespace

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
    // A map saved whole lists each row once, inside the data file: anything
    // else means rows the data file may have lost, or rows the map lost.
    const bool repeated = mRowPos.Contains(rowID);
    if (repeated || position < kFirstRecordOffset || uint64_t{position} + kRecordHeaderSize > mDataLength) {
      StorageFault fault;
      fault.error = repeated ? kStorageErrorMapRepeats : kStorageErrorBadMap;
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
  // Headers are read through a window over the data file: the map lists
  // rows mostly in the order of their records, so the window moves forward
  // and the data file is read about once, in large pieces.
  std::vector<uint8_t> window;
  uint32_t windowStart = 0;
  const bool bigEndian = mFile->IsBigEndian();
  const auto number = [&](uint32_t at) {
    const uint8_t* b = window.data() + (at - windowStart);
    return bigEndian ? (uint32_t{b[0]} << 24) | (uint32_t{b[1]} << 16) | (uint32_t{b[2]} << 8) | b[3]
                     : (uint32_t{b[3]} << 24) | (uint32_t{b[2]} << 16) | (uint32_t{b[1]} << 8) | b[0];
  };
  std::vector<RowID> deleted;
  bool proven = true;
  mRowPos.ForEach([&](RowID rowID, uint32_t position) {
    if (!proven) return;
    StorageFault fault;
    fault.rowID = rowID;
    fault.position = position;
    if (position < windowStart || uint64_t{position} + kRecordHeaderSize > windowStart + window.size()) {
      // Positions were checked against the data file's length on loading.
      windowStart = position;
      window.resize(std::min<uint32_t>(kProofWindow, mDataLength - position));
      int32_t got = 0;
      if (!SeekData(position) || !mFile->ReadData(window.data(), static_cast<int32_t>(window.size()), &got) ||
          got != static_cast<int32_t>(window.size())) {
        NoteReadFault(position, false);
        proven = false;
        return;
      }
    }
    const uint32_t tag = number(position + kRecordTagOffset);
    const uint32_t length = number(position + kRecordLengthOffset);
    fault.foundRowID = number(position + kRecordRowIDOffset);
    if ((tag != kRecordTagLive && tag != kRecordTagDeleted) || length < kMinBodyLength) {
      fault.error = kStorageErrorBadHeader;
    } else if (uint64_t{position} + kRecordHeaderSize + length > mDataLength) {
      fault.error = kStorageErrorPastEnd;
    } else if (fault.foundRowID != rowID) {
      fault.error = kStorageErrorMapMismatch;
    } else if (tag == kRecordTagDeleted) {
      deleted.push_back(rowID);
    }
    if (fault.IsSet()) {
      NoteFault(fault);
      proven = false;
    }
  });
  if (!proven) return false;
  // Entries at deleted records of their own rows: those rows are deleted,
  // unless a live record of the row is elsewhere (the entry was damaged into
  // pointing at an old copy). This engine never saves such entries, so the
  // scan that makes sure costs only files written by other programs.
  if (!deleted.empty()) {
    const std::unordered_set<RowID> gone(deleted.begin(), deleted.end());
    for (bool more = GoToFirstRecord(); more; more = NextRecord()) {
      if (!gone.count(mCurrentRowID)) continue;
      StorageFault fault;
      fault.error = kStorageErrorMapMismatch;
      fault.rowID = mCurrentRowID;
      fault.position = mRowPos.Find(mCurrentRowID);
      fault.foundRowID = mCurrentRowID;
      NoteFault(fault);
      ForgetCurrent();
      return false;
    }
    ForgetCurrent();
    if (HasFault()) return false;
  }
  for (RowID rowID : deleted) mRowPos.RemoveItem(rowID);
  return true;
}

}  // namespace parvex
