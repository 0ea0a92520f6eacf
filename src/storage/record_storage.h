// ParvexStorage: the rows of one table as variable-length records in a data
// file, plus a row-position map file from row ID to record position.
//
// Contract:
// - Both files are RandomAccessMechanism streams owned by the storage; the map
//   stream may be null (index files), in which case the map lives in memory
//   only. The layout below is kept byte for byte; numbers go through the
//   stream's typed helpers, which the file access layer sets to big-endian
//   with doubles swapped.
// - A record holds only the columns that have a value: NULL values are left
//   out when a record is written, and a NULL handed to UpdateRecord removes
//   that column from the record.
// - The in-memory map lists every live row exactly once, in the order rows
//   were first added. A row that an update moves keeps its place; RemoveRow
//   takes a deleted row out for good, so neither a saved nor a rebuilt map
//   lists it again. Because the map is complete (loaded and checked, or
//   rebuilt by a scan), a row missing from it does not exist.
// - Nothing read from a file is trusted: lengths and counts are checked
//   against the bytes that are really there before anything is allocated or
//   read. Damage makes the operation return false, is reported through
//   HandleError (see StorageError) and, the first time, is kept as the
//   storage's Fault(): a bad or unreadable record, a scan that stops before
//   the end of the data file, a map entry outside the data file or at
//   another row's record, a map listing a row twice, a read the stream
//   refused. Reaching the end of the
//   records is not a fault. A storage with a fault never saves its map (it
//   may be incomplete).
// - A map that is "Drty", missing, or fails to parse (state word, count, end
//   mark) is rebuilt by scanning the data file; a row found live twice there
//   (a move cut short) keeps its later copy and the earlier one is retired. A
//   map loaded from its file is proven once (ProveRowPosMap) before its rows
//   are relied on: every entry must lead to a record of its row; an entry at
//   a deleted ("Trsh") record of its row means that the row is deleted
//   (other programs of this format leave such entries) and is dropped,
//   once a scan has made sure the row has no live record elsewhere.
// - A read-only storage (StorageAccess::kReadOnly, kInspect) never writes
//   to either file, and without a map file it builds no map: its records are
//   walked (GoToFirstRecord/NextRecord, GoToPosition), and QtyRows is 0. An
//   inspecting one also prints no diagnostics: integrity checks and recovery
//   read damaged files through it.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "core/table.h"
#include "platform/memory_stream.h"
#include "platform/parvex_string.h"
#include "platform/random_access.h"
#include "platform/simple_vector.h"
#include "storage/read_window.h"
#include "storage/record_fields.h"
#include "storage/row_map.h"
#include "storage/storage_fault.h"

namespace parvex {

// Data file layout.
constexpr uint32_t kMetadataSize = 256;          // free text at offset 0
constexpr uint32_t kFirstRecordOffset = kMetadataSize;
constexpr uint32_t kRecordTagLive = 0x52635374;     // "RcSt"
constexpr uint32_t kRecordTagDeleted = 0x54727368;  // "Trsh"
constexpr uint32_t kRecordTagOffset = 0;
constexpr uint32_t kRecordRowIDOffset = 4;
constexpr uint32_t kRecordLengthOffset = 8;
constexpr uint32_t kRecordHeaderSize = 12;  // the body follows
constexpr uint32_t kMinBodyLength = 1;

// Counted integers: 0xFF adds kCountedStep, a byte below 0xFF ends the number.
constexpr uint8_t kCountedRunByte = 0xFF;
constexpr uint32_t kCountedStep = 254;

// Value encodings (sizes without the room that follows text).
constexpr uint32_t kTypeByteSize = 1;
constexpr uint32_t kIntegerSize = 4;
constexpr uint32_t kBooleanSize = 1;
constexpr uint32_t kDoubleSize = 8;
constexpr uint32_t kStringFixedSize = 12;  // room, length, encoding
constexpr uint32_t kTextFixedSize = 8;     // room, length (Date, Time, Timestamp, Binary)

// Row-position map file layout.
constexpr uint32_t kMapStateReady = 0x524D6170;  // "RMap"
constexpr uint32_t kMapStateDirty = 0x44727479;  // "Drty"
constexpr uint32_t kMapEndMark = 0x4D456E64;     // "MEnd"
constexpr uint32_t kMapStateOffset = 0;
constexpr uint32_t kMapCountOffset = 4;
constexpr uint32_t kMapPairsOffset = 8;
constexpr uint32_t kMapPairSize = 8;  // row ID, position
constexpr uint32_t kMapFixedSize = 12;  // state, count, end mark

// The position the map yields for a row it does not hold.
constexpr uint32_t kNoRecordPosition = 0xFFFFFFFFu;

// How a storage may use its files.
enum class StorageAccess {
  kReadWrite,  // the normal case
  kReadOnly,   // never writes (a short data file is not extended, a rebuilt map stays in memory)
  kInspect,    // read only and without diagnostics (checks and recovery report for themselves)
};

// Owns the values of a list for the length of a scope.
struct OwnedValueList {
  OwnedValueList() = default;
  OwnedValueList(const OwnedValueList&) = delete;
  OwnedValueList& operator=(const OwnedValueList&) = delete;
  ~OwnedValueList() { DeleteValues(list); }
  ParvexValueList list;
};

class ParvexStorage {
 public:
  // Takes both streams (the map stream may be null). Extends a short data
  // file to the metadata size, loads the map or rebuilds it, and goes to the
  // first record.
  ParvexStorage(std::unique_ptr<RandomAccessMechanism> dataFile,
                std::unique_ptr<RandomAccessMechanism> mapFile,
                StorageAccess access = StorageAccess::kReadWrite);
  ParvexStorage(const ParvexStorage&) = delete;
  ParvexStorage& operator=(const ParvexStorage&) = delete;
  // FlushToDisk, then closes both streams.
  ~ParvexStorage();

  // The number of rows the map lists.
  long QtyRows() const { return static_cast<long>(mRowPos.QtyItems()); }
  // Saves the map when it changed, then flushes both streams. Always true.
  bool FlushToDisk();

  // Navigation. Each positions the current record and returns false at the
  // end of the file or on a damaged header (a fault).
  bool GoToFirstRecord();
  bool NextRecord();
  // Goes to the row's record through the map. With `skipDeleted`, a deleted
  // record at the row's position moves the storage on to the next live
  // record and the call still succeeds: compare CurrentRowID().
  bool GoToRowID(RowID rowID, bool skipDeleted);
  // Reads the header at the stream's position (see GoToRowID for the flag).
  bool ReadRecHeader(bool skipDeleted);
  // Makes the record at `position` current, live or deleted, whatever the
  // map says (for walks that check or salvage a file). False at or past the
  // end of the records, or on a damaged header (a fault).
  bool GoToPosition(uint32_t position);

  RowID CurrentRowID() const { return mCurrentRowID; }
  uint32_t CurrentPosition() const { return mCurrentPos; }
  uint32_t NextRecordPosition() const { return mNextPos; }
  bool HasCurrentRecord() const { return mHaveCurrent; }
  bool IsCurrentDeleted() const { return mHaveCurrent && !mCurrentLive; }

  // Replaces the list's contents (owned values) with the current record's
  // values. False, with an empty list, when the body is damaged; room left
  // after the values by an in-place rewrite is not damage.
  bool ReadRecordValues(ParvexValueList& values);
  // Decodes the current record's body into `fields` (the same checks as
  // ReadRecordValues, without a heap object per value).
  bool ReadRecordFields(RecordFields* fields);
  // Reads the live record of `rowID` into `values`: GoToRowID +
  // ReadRecordValues. False when the row does not exist or is damaged.
  bool ReadRowValues(RowID rowID, ParvexValueList& values);
  bool ReadRowFields(RowID rowID, RecordFields* fields);

  // Appends a record at the end of the data file and enters it in the map
  // (an ID already listed keeps its place). The values stay the caller's.
  bool AddNewRecord(RowID rowID, const ParvexValueList& values);
  // Writes a record at `position` whose body ends at `end`. Values that do
  // not fit are refused (nothing written); true only when they fill the room
  // exactly (a shorter write leaves the rest untouched and returns false).
  bool WriteRecordAt(uint32_t position, RowID rowID, const ParvexValueList& values, uint32_t end);
  // Appends a record for a body already encoded in the record format (in
  // the data file's byte order), kept in a buffer that is written in large
  // pieces: FinishAppends (or, when the buffer is full, a later
  // AppendRecordBody) writes it, and only then are the rows in the map. No
  // other operation may be used while appended records wait.
  bool AppendRecordBody(RowID rowID, const uint8_t* body, uint32_t length);
  // The same for values (which stay the caller's).
  bool AppendRecord(RowID rowID, const ParvexValueList& values);
  bool FinishAppends();
  // Merges a pending change (a body decoded with its removal marks) into the
  // live record of `rowID`, as UpdateRecord does with values. False when
  // the row has no live record or a read or write failed.
  bool MergeIntoRow(RowID rowID, const RecordFields& changes);
  // Merges the values into the current live record: same column ID replaces,
  // new columns are appended, NULL removes. A record that outgrows its room
  // moves to the end of the file (the old one becomes "Trsh").
  bool UpdateRecord(const ParvexValueList& values);
  // Marks the current record "Trsh". Its map entry stays (see RemoveRow).
  bool DeleteRecord();
  // Takes a row out of the map and its list for good (marking its record
  // "Trsh" when it is still live) and marks the map dirty. False when the
  // map does not list it.
  bool RemoveRow(RowID rowID);

  // The map's view of the rows.
  bool ContainsRow(RowID rowID) const { return mRowPos.Contains(rowID); }
  uint32_t RowPosition(RowID rowID) const { return mRowPos.Find(rowID); }
  void GetRowIDs(SimpleVector<RowID>* ids) const { mRowPos.GetIDs(ids); }

  // The body size the values need (N, column entries, values, no extra room).
  uint32_t CalcSchemaAndDataSize(const ParvexValueList& values) const;

  // The 256-byte metadata area. ReadMetadata gives all 256 bytes, padding
  // included; WriteMetadata stores the first 256 bytes of `text`, zero-padded.
  bool ReadMetadata(string* text);
  bool WriteMetadata(const string& text);

  bool BuildRowPosMap();
  bool LoadRowPosMap();
  bool SaveRowPosMap();
  void MarkRowPosMapDirty();
  bool IsRowPosMapChanged() const { return mMapChanged; }
  // Where the map came from: its file, or a scan of the data file.
  bool IsRowPosMapFromFile() const { return mMapFromFile; }
  // Checks a map loaded from its file against the records, once (later calls
  // return at once): see the file comment. False on a fault.
  bool ProveRowPosMap();
  bool IsRowPosMapProven() const { return mMapProven; }

  // Writes "ParvexStorage error <n>" to stderr (unless inspecting) and
  // remembers n.
  void HandleError(int errorType);
  int LastError() const { return mLastError; }
  // The first read-path failure (see the file comment).
  bool HasFault() const { return mFault.IsSet(); }
  const StorageFault& Fault() const { return mFault; }
  // The most recent one (for walks that go on after damage).
  const StorageFault& LastFault() const { return mLastFault; }
  // The length of the data file as the storage knows it.
  uint32_t DataLength() const { return mDataLength; }

  RandomAccessMechanism* DataFile() const { return mFile.get(); }
  RandomAccessMechanism* MapFile() const { return mMapFile.get(); }

 private:
  // Reads and checks the header of the record at `position` and makes it
  // the current record; false (with a fault) when it can't be read or is bad.
  bool ReadHeaderAt(uint32_t position, uint32_t* tag);
  bool SeekData(uint32_t position);
  // Reads headers from `position` on, skipping deleted records when asked,
  // until one is current; false at the end of the records or on a fault.
  bool ReadHeadersFrom(uint32_t position, bool skipDeleted);
  // Keeps the first fault (and reports its error number).
  void NoteFault(const StorageFault& fault);
  void NoteReadFault(uint32_t position, bool inMapFile);
  bool WriteTagAt(uint32_t position, uint32_t tag);
  // Writes bytes to the data file and into the read window.
  bool WriteDataAt(uint32_t position, const void* bytes, uint32_t length);
  // A u32 of the data file's byte order.
  uint32_t Number(const uint8_t* bytes) const;
  // Encodes a record's body after room for its header into mEncoded.
  // Writes a live record's 12-byte header (tag, row ID, body length) in the
  // file's byte order at `out`.
  void PutLiveRecordHeader(uint8_t* out, RowID rowID, uint32_t bodyLength) const;
  void EncodeRecord(const ParvexValueList& values);
  // Writes the record in mEncoded (header filled in here) at `position`, its
  // body ending at `end`; `written` receives the end of the bytes written.
  bool WriteEncodedRecord(uint32_t position, RowID rowID, uint32_t end, uint32_t* written);
  // Appends the record in mEncoded and enters it in the map.
  bool AppendEncodedRecord(RowID rowID);
  // Writes the record in mEncoded over the current record, or, when it
  // outgrows the record's room, appends it and retires the old one.
  bool ReplaceCurrentRecord();
  // Writes a whole record; `written` receives the end of the bytes written.
  bool WriteRecordBytes(uint32_t position, RowID rowID, const ParvexValueList& values, uint32_t end,
                        uint32_t* written);
  void NoteDataEnd();
  void ForgetCurrent() { mHaveCurrent = false; }
  bool Writable() const { return mAccess == StorageAccess::kReadWrite; }

  std::unique_ptr<RandomAccessMechanism> mFile;
  std::unique_ptr<RandomAccessMechanism> mMapFile;
  uint32_t mCurrentPos = kFirstRecordOffset;
  RowID mCurrentRowID = kInvalidRowID;
  uint32_t mNextPos = kFirstRecordOffset;
  bool mHaveCurrent = false;
  bool mCurrentLive = false;
  uint32_t mDataLength = 0;  // the data file's length, kept as the storage writes
  RowMap<uint32_t> mRowPos{RowMap<uint32_t>::kDefaultSize, kNoRecordPosition};
  size_t mMapHint = 0;  // the map slot GoToRowID found last (scans go row by row)
  bool mMapChanged = false;
  bool mMapFromFile = false;  // the map was loaded from its file, not rebuilt
  bool mMapProven = true;     // every entry leads to its row's record
  StorageAccess mAccess;
  StorageFault mFault;
  StorageFault mLastFault;
  int mLastError = kStorageErrorNone;
  uint64_t mErrorCount = 0;
  ReadWindow mWindow;   // data file bytes read ahead for record reads
  MemoryHandle mBody;   // a body read past the window
  RecordFields mFields; // the body being decoded into a value list
  FileHandle mScratch;  // a batch of map pairs being encoded
  std::vector<uint8_t> mEncoded;  // a record being encoded
  std::vector<uint8_t> mAppends;  // records appended after the data file's end, not yet written
  std::vector<std::pair<RowID, uint32_t>> mAppendedRows;  // their rows and positions
};

}  // namespace parvex
