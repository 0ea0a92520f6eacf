// ParvexCheckDatabase: the volume, the schema and every table of a database file.
#include "db/integrity_check.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "db/database.h"
#include "db/schema.h"
#include "db/scanned_database.h"
#include "storage/file_access.h"
#include "storage/storage_check.h"
#include "storage/trans.h"
#include "volume/volume_check.h"
#include "volume/volume_format.h"
#include "volume/volume_scan.h"

namespace parvex {

namespace {

std::string Num(uint64_t n) { return std::to_string(n); }

class DatabaseChecker {
 public:
  DatabaseChecker(const VolumeScan& scan, CheckReport* report, const std::vector<VolumeItem>& files)
      : mFiles(scan, files), mReport(*report) {}

  void Run() {
    const std::string schemaFile = std::string(kSchemaTableName) + kDataFileSuffix;
    const VolumeItem* schema = mFiles.File(schemaFile);
    if (!schema || !schema->usable) {
      mReport.Problem(std::string("schema: ") + schemaFile + (schema ? " can't be read" : " is missing"));
      return;
    }
    ReadSchema(*schema);
    CheckTable(kSchemaTableName);
    for (const std::string& table : mTableOrder) {
      CheckTable(table);
      ++mReport.tables;
    }
    for (const auto& [name, file] : mFiles.Files()) {
      if (!mClaimed.count(name)) mReport.Problem("schema: the file " + name + " belongs to no table");
      if (file.type != ParvexFileAccess::kParvexFileType) {
        mReport.Problem("schema: " + name + " is not of the type of the engine's files");
      }
    }
  }

 private:
  // The tables the schema's rows describe, in the order of their first row.
  void ReadSchema(const VolumeItem& schema) {
    const ScannedDatabase::SchemaRows schemaRows = mFiles.ReadSchemaRows(schema);
    std::set<std::string> known;
    std::unordered_map<std::string, std::set<int32_t>> columnIDs;
    for (RowID rowID : schemaRows.order) {
      const std::vector<ParvexValue>& row = schemaRows.rows.at(rowID);
      const std::string where = "schema: row " + Num(rowID);
      const ParvexValue& table = row[kSchemaColTableName];
      if (table.IsNull() || table.GetSaveString().empty()) {
        mReport.Problem(where + " names no table");
        continue;
      }
      const std::string name(table.GetSaveString().view());
      const std::string key = FoldedName(name);
      if (known.insert(key).second && key != FoldedName(kSchemaTableName)) mTableOrder.push_back(name);
      const ParvexValue& id = row[kSchemaColColumnID];
      if (id.IsNull() || id.GetInteger() < 1) {
        mReport.Problem(where + " (table " + name + ") has no column ID");
      } else if (!columnIDs[key].insert(id.GetInteger()).second) {
        mReport.Problem(where + " (table " + name + ") repeats column ID " + Num(static_cast<uint64_t>(id.GetInteger())));
      }
      const ParvexValue& column = row[kSchemaColColumnName];
      if (column.IsNull() || column.GetSaveString().empty()) {
        mReport.Problem(where + " (table " + name + ") has no column name");
      }
    }
  }

  void CheckTable(const std::string& name) {
    const std::string label = "table " + name;
    const std::string dataName = name + kDataFileSuffix;
    const std::string mapName = name + kMapFileSuffix;
    mClaimed.insert(dataName);
    mClaimed.insert(mapName);
    std::vector<IndexSurvey> indexes;
    for (const auto& [file, indexName] : mFiles.IndexFiles(name)) {
      mClaimed.insert(file->name);
      ++mReport.indexes;
      IndexSurvey& index = indexes.emplace_back();
      index.fileName = file->name;
      if (!file->usable) {
        mReport.Problem(label + ": its index file " + file->name + " can't be read");
        continue;
      }
      SurveyIndexFile(mFiles.Content(*file), label, &mReport, &index);
    }
    const VolumeItem* data = mFiles.File(dataName);
    if (!data || !data->usable) {
      mReport.Problem(label + ": its data file " + dataName + (data ? " can't be read" : " is missing"));
      return;
    }
    const VolumeItem* map = mFiles.File(mapName);
    std::unique_ptr<RandomAccessMechanism> mapStream;
    if (map && map->usable) mapStream = mFiles.Content(*map);
    DataFileSurvey survey;
    CheckDataFile(mFiles.Content(*data), label, dataName, mapStream && IsMapFileDirty(*mapStream), indexes,
                  &mReport, &survey);
    if (name != kSchemaTableName) mReport.rows += survey.live.size();
    if (mapStream) {
      CheckRowPosMapFile(*mapStream, label, mapName, survey, &mReport);
    } else if (map) {
      mReport.Problem(label + ": its map file " + mapName + " can't be read");
    } else {
      mReport.Note(label + ": its map file " + mapName +
                   " is missing; it is rebuilt from the records when the file is next opened for writing");
    }
  }

  ScannedDatabase mFiles;
  CheckReport& mReport;
  std::set<std::string> mClaimed;
  std::vector<std::string> mTableOrder;
};

bool CheckStream(RandomAccessMechanism& stream, const string& label, CheckReport* report, ParvexStatus* status) {
  VolumeScan scan(stream);
  switch (scan.Run()) {
    case VolumeScan::Outcome::kNotAVolume:
      report->Problem("volume: the file is not a Parvex database (it has no volume header)");
      return true;
    case VolumeScan::Outcome::kUnsupportedVersion:
      report->Problem("volume: version " + Num(scan.Version()) + " is not one this program reads");
      return true;
    case VolumeScan::Outcome::kUnreadable:
      SetStatus(status, kPXIOError,
                string("Error: Cannot read database file ") + label + ": " + std::strerror(scan.LastError()) + ".");
      return false;
    case VolumeScan::Outcome::kVolume:
      break;
  }
  std::vector<VolumeItem> rootFiles;
  CheckVolume(scan, report, &rootFiles);
  DatabaseChecker(scan, report, rootFiles).Run();
  SetStatus(status, kPXStateSuccess);
  return true;
}

}  // namespace

bool ParvexCheckDatabase(const string& path, CheckReport* report, ParvexStatus* status,
                         ParvexFileSystem* fileSystem) {
  std::unique_ptr<JournaledFile> file = OpenDatabaseFileForReading(path, fileSystem, status);
  return file && CheckStream(*file, path, report, status);
}

bool ParvexCheckDatabase(ParvexDatabase& db, CheckReport* report, ParvexStatus* status) {
  if (db.TransactionInProgress()) {
    SetStatus(status, kPXTransactionInProgress,
              string("Error: The check reads the file as committed; commit or roll back first."));
    return false;
  }
  // Without a transaction the host file holds exactly what was committed.
  JournaledFile* file = db.fileAccess ? db.fileAccess->HostFile() : nullptr;
  if (!file) {
    SetStatus(status, kPXTableNotFound, string("Data files not available."));
    return false;
  }
  return CheckStream(*file, string("the open database"), report, status);
}

}  // namespace parvex
