// ParvexRecoverDatabase: the schema, the rows and the indexes that can still
// be read, copied into a new database.
#include "db/recover.h"

#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "db/database.h"
#include "db/scanned_database.h"
#include "db/schema.h"
#include "storage/record_walker.h"
#include "storage/trans.h"
#include "volume/volume_check.h"
#include "volume/volume_format.h"
#include "volume/volume_scan.h"

namespace parvex {

namespace {

std::string Num(uint64_t n) { return std::to_string(n); }

std::string Counted(uint64_t n, const char* one, const char* many) { return Num(n) + " " + (n == 1 ? one : many); }

// A schema row: its values by column ID (1 to 7).
using SchemaRow = std::vector<ParvexValue>;

struct TableDef {
  std::string name;
  std::vector<const SchemaRow*> columns;
};

class Recoverer {
 public:
  Recoverer(const VolumeScan& scan, ParvexDatabase& db, RecoverReport& report)
      : mFiles(scan, SalvageRootFiles(scan)), mDb(db), mReport(report) {}

  bool Run(ParvexStatus* status) {
    const std::string schemaFile = std::string(kSchemaTableName) + kDataFileSuffix;
    mClaimed.insert(schemaFile);
    mClaimed.insert(std::string(kSchemaTableName) + kMapFileSuffix);
    const VolumeItem* schema = mFiles.File(schemaFile);
    if (!schema) {
      SetStatus(status, kPXDataCorrupted, string("Error: The schema file ") + schemaFile + " can't be found; there is nothing to recover.");
      return false;
    }
    ReadSchema(*schema);
    for (const TableDef& table : mTables) {
      CopyTable(table);
      if (IsErrorState(mWriteFailure.State())) {
        *status = mWriteFailure;  // the new database can't be written
        return false;
      }
    }
    for (const auto& [name, file] : mFiles.Files()) {
      if (!mClaimed.count(name)) Skipped("file " + name + " belongs to no table; it was not copied");
    }
    SetStatus(status, kPXStateSuccess);
    return true;
  }

 private:
  bool Commit() {
    mDb.Commit(&mWriteFailure);
    return !IsErrorState(mWriteFailure.State());
  }

  void Line(std::string text) { mReport.lines.push_back(std::move(text)); }
  void Skipped(std::string text) {
    ++mReport.skipped;
    Line(std::move(text));
  }

  void ReadSchema(const VolumeItem& schema) {
    mSchema = mFiles.ReadSchemaRows(schema);
    const size_t damaged = mSchema.damaged;
    const std::vector<RowID>& order = mSchema.order;
    if (damaged > 0) {
      Skipped("schema: " + Counted(damaged, "damaged stretch", "damaged stretches") + " of " + schema.name +
              " skipped; tables or columns described there are lost");
    }
    std::unordered_map<std::string, size_t> tableOf;
    for (RowID rowID : order) {
      const SchemaRow& row = mSchema.rows.at(rowID);
      const ParvexValue& name = row[kSchemaColTableName];
      if (name.IsNull() || name.GetSaveString().empty()) {
        Skipped("schema: row " + Num(rowID) + " names no table; it was not copied");
        continue;
      }
      const std::string text(name.GetSaveString().view());
      if (FoldedName(text) == FoldedName(kSchemaTableName)) continue;
      const auto [it, added] = tableOf.emplace(FoldedName(text), mTables.size());
      if (added) mTables.push_back(TableDef{text, {}});
      mTables[it->second].columns.push_back(&row);
    }
  }

  void CopyTable(const TableDef& def) {
    const std::string label = "table " + def.name;
    mClaimed.insert(def.name + kDataFileSuffix);
    mClaimed.insert(def.name + kMapFileSuffix);
    auto* schema = static_cast<ParvexSchema*>(mDb.tables[0]);
    std::set<int32_t> ids;
    std::set<std::string> names;
    for (const SchemaRow* column : def.columns) {
      const ParvexValue& id = (*column)[kSchemaColColumnID];
      const ParvexValue& name = (*column)[kSchemaColColumnName];
      const std::string columnName = name.IsNull() ? std::string() : std::string(name.GetSaveString().view());
      if (id.IsNull() || id.GetInteger() < 1 || columnName.empty() || !ids.insert(id.GetInteger()).second ||
          !names.insert(FoldedName(columnName)).second) {
        Skipped(label + ": a column without a usable ID or name was left out");
        continue;
      }
      const ParvexValue& defaultText = (*column)[kSchemaColDefaultValue];
      schema->AddSchemaRow(string(def.name), id.GetInteger(), string(columnName),
                           (*column)[kSchemaColTypeCode].GetInteger(), (*column)[kSchemaColLength].GetInteger(),
                           (*column)[kSchemaColNotNull].GetInteger() != 0,
                           defaultText.IsNull() ? string() : defaultText.GetSaveString());
    }
    if (ids.empty()) {
      Skipped(label + ": no column could be read; the table was not copied");
      return;
    }
    std::unique_ptr<ParvexTrans> created = schema->LoadTable(string(def.name));
    if (!created) return;
    ParvexTrans* table = created.get();
    mDb.tables.push_back(created.release());
    ++mReport.tables;
    const VolumeItem* data = mFiles.File(def.name + kDataFileSuffix);
    if (!data) {
      Skipped(label + ": its data file can't be found; the table was copied empty");
    } else {
      CopyRows(label, *data, table);
    }
    if (!Commit()) return;
    CopyIndexes(def.name, label, table);
  }

  void CopyRows(const std::string& label, const VolumeItem& data, ParvexTrans* table) {
    RecordWalker walker(mFiles.Content(data));
    OwnedValueList values;
    std::unordered_set<RowID> copied;
    std::unordered_map<uint32_t, RowID> deletedAt;
    size_t damaged = 0;
    uint64_t damagedBytes = 0;
    for (RecordWalker::Step step = walker.Next(values.list); step.kind != RecordWalker::Step::Kind::kEnd;
         step = walker.Next(values.list)) {
      if (step.kind == RecordWalker::Step::Kind::kDamage) {
        ++damaged;
        damagedBytes += step.end - step.position;
        continue;
      }
      if (!step.live) {
        deletedAt.emplace(step.position, step.rowID);
        continue;
      }
      if (step.rowID == kInvalidRowID) continue;
      // Every column is set: a later record of the row replaces the earlier.
      ParvexValueList row;
      for (long c = 1; c < table->QtyColumns(); ++c) row.push_back(new ParvexValueWithID(ParvexValue(), table->Column(c)->columnID));
      for (const ParvexValueWithID* v : values.list) {
        for (ParvexValueWithID* slot : row) {
          if (slot->id == v->id) static_cast<ParvexValue&>(*slot) = *v;
        }
      }
      if (copied.insert(step.rowID).second) {
        row.push_back(new ParvexValueWithID(ParvexValue::Integer(static_cast<int32_t>(step.rowID)), kRowIDColumnID));
        table->AddRow(row, true);
      } else {
        table->UpdateRow(step.rowID, row, true);
      }
    }
    mReport.rows += copied.size();
    Line(label + ": " + Counted(copied.size(), "row", "rows") + " copied");
    if (damaged > 0) {
      Skipped(label + ": " + Counted(damaged, "damaged stretch", "damaged stretches") + " of " + data.name + " (" +
              Counted(damagedBytes, "byte", "bytes") + ") skipped");
    }
    ReportLostRows(label, table->name, copied, deletedAt);
  }

  // Rows the row-position map lists that were neither copied nor deleted.
  void ReportLostRows(const std::string& label, const string& tableName, const std::unordered_set<RowID>& copied,
                      const std::unordered_map<uint32_t, RowID>& deletedAt) {
    const VolumeItem* map = mFiles.File(std::string(tableName.view()) + kMapFileSuffix);
    if (!map) return;
    auto stream = mFiles.Content(*map);
    uint32_t state = 0, count = 0;
    if (!stream->SeekFromStart(0) || !stream->ReadLong(&state) || state != kMapStateReady ||
        !stream->ReadLong(&count)) {
      return;
    }
    std::vector<RowID> lost;
    for (uint32_t i = 0; i < count; ++i) {
      RowID row = 0;
      uint32_t position = 0;
      if (!stream->ReadLong(&row) || !stream->ReadLong(&position)) break;
      const auto deleted = deletedAt.find(position);
      if (!copied.count(row) && !(deleted != deletedAt.end() && deleted->second == row)) lost.push_back(row);
    }
    if (lost.empty()) return;
    std::string list;
    for (size_t i = 0; i < lost.size() && i < 10; ++i) list += (i ? ", " : "") + Num(lost[i]);
    if (lost.size() > 10) list += ", ...";
    Skipped(label + ": " + Counted(lost.size(), "row", "rows") + " its map lists could not be read (" + list + ")");
  }

  void CopyIndexes(const std::string& tableName, const std::string& label, ParvexTrans* table) {
    for (const auto& [file, indexName] : mFiles.IndexFiles(tableName)) {
      mClaimed.insert(file->name);
      SimpleVector<uint32_t> columnIDs;
      RecordWalker walker(mFiles.Content(*file));
      OwnedValueList values;
      for (RecordWalker::Step step = walker.Next(values.list); step.kind != RecordWalker::Step::Kind::kEnd;
           step = walker.Next(values.list)) {
        if (step.kind != RecordWalker::Step::Kind::kRecord || !step.live) continue;
        for (const ParvexValueWithID* v : values.list) columnIDs.push_back(static_cast<uint32_t>(v->id));
        break;
      }
      if (columnIDs.empty() || !table->AddIndex(string(indexName), columnIDs)) {
        Skipped(label + ": index " + indexName + " can't be read; it was not created");
        continue;
      }
      if (!Commit()) return;
      ++mReport.indexes;
      Line(label + ": index " + indexName + " created again");
    }
  }

  ScannedDatabase mFiles;
  ParvexDatabase& mDb;
  ParvexStatus mWriteFailure;
  RecoverReport& mReport;
  std::set<std::string> mClaimed;
  ScannedDatabase::SchemaRows mSchema;
  std::vector<TableDef> mTables;
};

}  // namespace

std::string RecoverReport::Summary(const std::string& target) const {
  std::string text = "recovered into " + target + ": " + Counted(tables, "table", "tables") + ", " +
                     Counted(rows, "row", "rows") + ", " + Counted(indexes, "index", "indexes");
  if (skipped > 0) text += "; " + Counted(skipped, "thing", "things") + " could not be copied";
  return text;
}

bool ParvexRecoverDatabase(const string& from, const string& to, RecoverReport* report, ParvexStatus* status,
                           ParvexFileSystem* fileSystem) {
  std::unique_ptr<JournaledFile> source = OpenDatabaseFileForReading(from, fileSystem, status);
  if (!source) return false;
  VolumeScan scan(*source);
  const VolumeScan::Outcome outcome = scan.Run();
  if (outcome == VolumeScan::Outcome::kUnreadable) {
    SetStatus(status, kPXIOError,
              string("Error: Cannot read database file ") + from + ": " + std::strerror(scan.LastError()) + ".");
    return false;
  }
  if (outcome != VolumeScan::Outcome::kVolume) {
    SetStatus(status, kPXDataCorrupted, string("Error: ") + from + " is not a Parvex database; there is nothing to recover.");
    return false;
  }
  // A new file only: an existing one (even unreadable) is never written over.
  ParvexFileSystem& files = fileSystem ? *fileSystem : OperatingSystemFileSystem();
  std::unique_ptr<ParvexHostFile> existing;
  int64_t length = 0;
  const int opened = files.Open(to.str(), ParvexFileSystem::OpenMode::kReadOnly, &existing);
  if (opened != ENOENT && (opened != 0 || existing->GetSize(&length) != 0 || length != 0)) {
    SetStatus(status, kPXInvalidParameter, string("Error: ") + to + " already exists; recovery writes a new database.");
    return false;
  }
  existing.reset();
  ParvexOpenOptions options;
  options.create = true;
  options.fileSystem = fileSystem;
  std::unique_ptr<ParvexDatabase> db(ParvexOpenDatabase(to, options, status));
  if (!db) return false;
  return Recoverer(scan, *db, *report).Run(status);
}

}  // namespace parvex
