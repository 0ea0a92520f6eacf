// ScannedDatabase: files by name, index files, schema rows.
#include "db/scanned_database.h"

#include <cerrno>
#include <cstring>

#include "db/schema.h"
#include "platform/text_encoding.h"
#include "storage/file_access.h"
#include "storage/record_walker.h"
#include "storage/trans.h"
#include "volume/volume_format.h"

namespace parvex {

std::string FoldedName(std::string name) {
  for (char& c : name) c = AsciiToLower(c);
  return name;
}

ScannedDatabase::ScannedDatabase(const VolumeScan& scan, const std::vector<VolumeItem>& files) : mScan(scan) {
  for (const VolumeItem& file : files) mFiles.emplace(file.name, file);
}

const VolumeItem* ScannedDatabase::File(const std::string& name) const {
  const auto found = mFiles.find(name);
  return found == mFiles.end() ? nullptr : &found->second;
}

std::unique_ptr<RandomAccessMechanism> ScannedDatabase::Content(const VolumeItem& item) const {
  return mScan.OpenData(item.fileID, kItemHeaderSize, item.length);
}

std::vector<std::pair<const VolumeItem*, std::string>> ScannedDatabase::IndexFiles(const std::string& tableName) const {
  const std::string prefix = tableName + kIndexNameSeparator;
  const std::string suffix = kIndexFileSuffix;
  std::vector<std::pair<const VolumeItem*, std::string>> found;
  for (const auto& [name, file] : mFiles) {
    if (name.size() > prefix.size() + suffix.size() && name.compare(0, prefix.size(), prefix) == 0 &&
        name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0) {
      found.emplace_back(&file, name.substr(prefix.size(), name.size() - prefix.size() - suffix.size()));
    }
  }
  return found;
}

ScannedDatabase::SchemaRows ScannedDatabase::ReadSchemaRows(const VolumeItem& schema) const {
  SchemaRows result;
  RecordWalker walker(Content(schema));
  OwnedValueList values;
  for (RecordWalker::Step step = walker.Next(values.list); step.kind != RecordWalker::Step::Kind::kEnd;
       step = walker.Next(values.list)) {
    if (step.kind == RecordWalker::Step::Kind::kDamage) {
      ++result.damaged;
      continue;
    }
    if (!step.live) continue;
    std::vector<ParvexValue>& row = result.rows[step.rowID];
    if (row.empty()) result.order.push_back(step.rowID);
    row.assign(kSchemaColDefaultValue + 1, ParvexValue());
    for (const ParvexValueWithID* v : values.list) {
      if (v->id > 0 && v->id <= kSchemaColDefaultValue) row[static_cast<size_t>(v->id)] = *v;
    }
  }
  return result;
}

std::unique_ptr<JournaledFile> OpenDatabaseFileForReading(const string& path, ParvexFileSystem* fileSystem,
                                                          ParvexStatus* status) {
  HostFileOptions options;
  options.fileSystem = fileSystem;
  options.readOnly = true;
  HostFileFailure failure;
  std::unique_ptr<JournaledFile> file = JournaledFile::Open(path.str(), options, &failure);
  if (file) return file;
  if (failure.error == EWOULDBLOCK) {
    SetStatus(status, kPXDatabaseLocked);
  } else if (failure.action.starts_with("opening the database file")) {
    SetStatus(status, kPXInvalidParameter,
              string("Error: Cannot open database file ") + path + ": " + std::strerror(failure.error) + ".");
  } else {
    const std::string work = "reading " + path.str();
    if (status) *status = HostFailureStatus(failure, work.c_str(), "nothing was read");
  }
  return nullptr;
}

}  // namespace parvex
