// ParvexTrans: opening the table's files and indexes, closing them, and
// damage: how faults of the storage and damaged files become the table's
// damage status, and the checks made on opening (files present, indexes that
// parse, counters that cover the row IDs).
#include <algorithm>
#include <string>

#include "storage/file_access.h"
#include "storage/index.h"
#include "storage/record_storage.h"
#include "storage/trans.h"

namespace parvex {

ParvexTrans::ParvexTrans(ParvexFileAccess* fileAccess, const string& tableName)
    : mFileAccess(fileAccess) {
  name = tableName;
  mColumns.push_back(std::make_unique<ParvexColumnInfo>(string(kRowIDColumnName), kTypeInteger, 0,
                                                        kRowIDColumnID));
  OpenStorage();
}

bool ParvexTrans::OpenStorage() {
  if (!mFileAccess) return false;
  std::unique_ptr<RandomAccessMechanism> data, map;
  if (!OpenFiles(&data, &map)) return false;
  mChanges.SetByteOrder(data->IsBigEndian(), data->IsDoubleSwap());
  mStorage = std::make_unique<ParvexStorage>(std::move(data), std::move(map));
  if (TakeStorageFault()) return false;
  LoadMetadata();
  if (!TakeStorageFault() && !IsDamaged()) CheckCounters();
  return !IsDamaged();
}

bool ParvexTrans::OpenFiles(std::unique_ptr<RandomAccessMechanism>* data,
                            std::unique_ptr<RandomAccessMechanism>* map) {
  // A file the folder does not list is missing only when the folder could be
  // read whole; otherwise it may be one of the items that can't be read.
  const auto open = [&](const char* suffix, std::unique_ptr<RandomAccessMechanism>* stream) {
    const string file = FileName(suffix);
    if (mFileAccess->ContainsFile(file)) {
      *stream = mFileAccess->OpenFile(file, false, false);
      if (!*stream) ReportDamage(file + " can't be opened");
    } else if (!mFileAccess->IsFolderComplete()) {
      ReportDamage(file + " can't be found: the database's folder of files is damaged");
    } else {
      *stream = mFileAccess->OpenFile(file, true, false);
    }
    return *stream != nullptr;
  };
  return open(kDataFileSuffix, data) && open(kMapFileSuffix, map);
}

void ParvexTrans::ReportDamage(const string& detail, bool ioError) const {
  if (ioError) {
    RecordDamage(ParvexStatus(kPXIOError, string("Error: Cannot read table ") + name + ": " + detail + "."));
  } else {
    RecordDamage(ParvexStatus(kPXDataCorrupted, string("Error: Table ") + name + " is damaged: " + detail + "."));
  }
  mUsable = false;
}

bool ParvexTrans::TakeStorageFault() const {
  if (!mStorage || !mStorage->HasFault()) return false;
  const StorageFault& fault = mStorage->Fault();
  ReportDamage(DescribeStorageFault(fault, FileName(kDataFileSuffix), FileName(kMapFileSuffix)), fault.IsIOError());
  return true;
}

bool ParvexTrans::BecomeUsable() const {
  if (IsDamaged()) {
    NoteDamageRefusal();
    return false;
  }
  if (!mStorage) return false;
  if (!mStorage->ProveRowPosMap()) {
    TakeStorageFault();
    return false;
  }
  mUsable = true;
  return true;
}

void ParvexTrans::CheckCounters() {
  SimpleVector<RowID> ids;
  mStorage->GetRowIDs(&ids);
  RowID largest = 0;
  for (RowID id : ids) largest = std::max(largest, id);
  if (mSavedLastRowID < largest) {
    ReportDamage(string("its row-ID counter (") + std::to_string(mSavedLastRowID).c_str() +
                 ") is below its largest row ID (" + std::to_string(largest).c_str() + ")");
  }
}

void ParvexTrans::CloseStorage() {
  Rollback();
  mChanges.Clear();
  mDeletions.RemoveAll();
  ForgetFetchedRow();
  mIndexes.clear();
  mIndexesLoaded = false;
  mIndexedColumnsKnown = false;
  mDroppedIndexes.clear();
  mAddedIndexNames.clear();
  mStorage.reset();
  mUsable = false;
}

bool ParvexTrans::ReopenStorage() {
  CloseStorage();
  return OpenStorage();
}

ParvexTrans::~ParvexTrans() = default;

string ParvexTrans::FileName(const char* suffix) const { return name + suffix; }

string ParvexTrans::IndexFileName(const ParvexIndex& index) const {
  return name + kIndexNameSeparator + index.Name() + kIndexFileSuffix;
}

std::vector<string> ParvexTrans::IndexFiles() const {
  const string prefix = name + kIndexNameSeparator;
  const std::string_view suffix(kIndexFileSuffix);
  std::vector<string> files, indexFiles;
  if (mFileAccess) mFileAccess->FindFiles(prefix, &files);
  for (const string& file : files) {
    const std::string_view f = file.view();
    if (f.size() > prefix.length() + suffix.size() && f.substr(f.size() - suffix.size()) == suffix) {
      indexFiles.push_back(file);
    }
  }
  return indexFiles;
}

bool ParvexTrans::MayIndexColumns(const ParvexValueList& values) const {
  if (mIndexesLoaded) {
    for (const auto& index : mIndexes) {
      if (IndexUsesColumns(*index, values)) return true;
    }
    return false;
  }
  if (!mIndexedColumnsKnown) {
    mIndexedColumnsKnown = true;
    mIndexedColumns.clear();
    for (const string& file : IndexFiles()) {
      // Read without a map (no scan of the file): the first record only.
      // Anything wrong is for loading the index to report.
      auto stream = mFileAccess->OpenFile(file, false, true);
      if (!stream) {
        mIndexedColumnsKnown = false;
        return true;
      }
      ParvexStorage index(std::move(stream), nullptr, StorageAccess::kInspect);
      RecordFields fields;
      if (!index.GoToPosition(kFirstRecordOffset) || !index.ReadRecordFields(&fields) || fields.size() == 0) {
        mIndexedColumnsKnown = false;
        return true;
      }
      for (size_t i = 0; i < fields.size(); ++i) mIndexedColumns.push_back(fields[i].columnID);
    }
  }
  for (const ParvexValueWithID* v : values) {
    if (std::find(mIndexedColumns.begin(), mIndexedColumns.end(), static_cast<uint32_t>(v->id)) !=
        mIndexedColumns.end()) {
      return true;
    }
  }
  return false;
}

void ParvexTrans::LoadIndexes() const {
  mIndexesLoaded = true;
  if (!Usable()) return;
  const string prefix = name + kIndexNameSeparator;
  const std::string_view suffix(kIndexFileSuffix);
  for (const string& file : IndexFiles()) {
    const std::string_view f = file.view();
    auto stream = mFileAccess->OpenFile(file, false, true);
    if (!stream) {
      ReportDamage(string("its index file ") + file + " can't be opened");
      return;
    }
    const string indexName = file.Substring(prefix.length(), f.size() - prefix.length() - suffix.size());
    auto index = std::make_unique<ParvexIndex>(SimpleVector<uint32_t>(), indexName);
    StorageFault fault;
    if (!index->LoadFromFile(std::move(stream), &fault) || index->GetColumnIDs().empty()) {
      if (fault.IsSet()) {
        ReportDamage(DescribeStorageFault(fault, file, file), fault.IsIOError());
      } else {
        ReportDamage(string("its index file ") + file + " is not a valid index");
      }
      return;
    }
    // Queries look rows up through the index: it must list exactly the
    // stored rows (a row ID damaged in its file would hide a row). Its values
    // are compared with the rows by --check only (that reads them all). No
    // change is pending yet: every change loads the indexes first.
    size_t entries = 0;
    bool stored = true;
    index->ForEachRow([&](RowID row) {
      ++entries;
      stored = stored && mStorage->ContainsRow(row);
    });
    if (!stored || entries != static_cast<size_t>(mStorage->QtyRows())) {
      ReportDamage(string("its index file ") + file + " does not list the rows the table has");
      return;
    }
    mIndexes.push_back(std::move(index));
  }
}

}  // namespace parvex
