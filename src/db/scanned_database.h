// ScannedDatabase: the engine's files in a surveyed volume (VolumeScan), as
// the integrity check and recovery read them: files of the data folder by
// name, their contents, the index files of a table, and the rows of the
// schema table. Everything is read through the survey, never written.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/status.h"
#include "core/table.h"
#include "core/value.h"
#include "platform/file_system.h"
#include "platform/journaled_file.h"
#include "platform/random_access.h"
#include "volume/volume_check.h"
#include "volume/volume_scan.h"

namespace parvex {

class ScannedDatabase {
 public:
  // The values of each live schema row by column ID (1 to 7), in the order
  // of their first record (a later record of a row replaces the earlier);
  // `damaged` counts the damaged stretches of the schema's data file.
  struct SchemaRows {
    std::map<RowID, std::vector<ParvexValue>> rows;
    std::vector<RowID> order;
    size_t damaged = 0;
  };

  ScannedDatabase(const VolumeScan& scan, const std::vector<VolumeItem>& files);

  const std::map<std::string, VolumeItem>& Files() const { return mFiles; }
  const VolumeItem* File(const std::string& name) const;
  // A stream over the item's content (after its header).
  std::unique_ptr<RandomAccessMechanism> Content(const VolumeItem& item) const;
  // The index files T.<index>.idx of table T, with their index names.
  std::vector<std::pair<const VolumeItem*, std::string>> IndexFiles(const std::string& tableName) const;
  SchemaRows ReadSchemaRows(const VolumeItem& schema) const;

 private:
  const VolumeScan& mScan;
  std::map<std::string, VolumeItem> mFiles;
};

// ASCII lower case: how table names are told apart.
std::string FoldedName(std::string name);

// Opens a database file to be read, never written: a shared lock (so no
// writer works on it meanwhile), and the file as last committed even when a
// crash left a transaction unfinished. Null with the status set when it
// can't be opened (kPXDatabaseLocked when a writer holds it). A null file
// system is the operating system's.
std::unique_ptr<JournaledFile> OpenDatabaseFileForReading(const string& path, ParvexFileSystem* fileSystem,
                                                          ParvexStatus* status);

}  // namespace parvex
