// ParvexOpenDatabase: opens or creates a database file.
//
// The file holds one virtual volume whose root folder holds the tables'
// files. Connecting needs the schema file "_schema.dat" in it; creating turns
// a missing or empty file into a new database (and opens an existing
// database as it is). A file that is not a volume is refused untouched, and
// so is a database whose schema is damaged (its tables could not all be
// known); damaged user tables open damaged and fail the statements that use
// them. A new database is committed before the open returns, so it exists as
// a whole or not at all.
#include <memory>
#include <vector>

#include "db/database.h"
#include "db/schema.h"
#include "storage/file_access.h"
#include "storage/trans.h"

namespace parvex {

ParvexDatabase* ParvexOpenDatabase(const string& path, const ParvexOpenOptions& options, ParvexStatus* status) {
  ParvexStatus local;
  if (!status) status = &local;
  HostFileOptions fileOptions;
  fileOptions.fileSystem = options.fileSystem;
  fileOptions.readOnly = options.readOnly;
  fileOptions.create = options.create && !options.readOnly;
  fileOptions.sync = !options.noSync;
  fileOptions.lockTimeoutMs = options.lockTimeoutMs;
  fileOptions.cachePages = options.cachePages;
  auto access = std::make_unique<ParvexFileAccess>();
  if (!access->CreateOrOpenDataFolder(path, fileOptions, status)) {
    if (!IsErrorState(status->State())) {
      status->Set(kPXDynamicSQLError, string("Error: Unable to open the database file ") + path.view() + ".");
    }
    return nullptr;
  }
  const string schemaFile = string(kSchemaTableName) + kDataFileSuffix;
  if (!access->ContainsFile(schemaFile)) {
    // Only a volume holding nothing yet may receive a new schema: anything
    // else without one is damaged (or not a database), and a new schema
    // would hide the tables it had.
    std::vector<string> files;
    if (!access->IsFolderComplete()) {
      status->Set(kPXDataCorrupted, string("Error: Database file ") + path.view() +
                                        " is damaged: its schema file " + schemaFile.view() + " can't be found.");
      return nullptr;
    }
    if (!fileOptions.create || (access->FindFiles(string(), &files), !files.empty())) {
      status->Set(kPXTableNotFound, string("Error: ") + path.view() + " is not a database (it has no schema).");
      return nullptr;
    }
  }
  ParvexFileAccess* fileAccess = access.get();
  auto db = std::make_unique<ParvexDatabase>(access.release());
  auto* schema = db->tables.empty() ? nullptr : dynamic_cast<ParvexSchema*>(db->tables[0]);
  if (schema && !schema->IsDamaged()) schema->LoadAllTables(db->tables);
  // A schema that can't be read whole could hide tables: the open is refused.
  if (schema && schema->IsDamaged()) {
    *status = schema->DamageStatus();
    return nullptr;
  }
  if (!schema || !schema->Valid()) {
    status->Set(kPXTableNotFound, string("Error: Unable to open the schema of ") + path.view() + ".");
    return nullptr;
  }
  // A new database (or what opening repaired) is committed now.
  if (!options.readOnly && fileAccess->InTransaction()) {
    HostFileFailure failure;
    if (!fileAccess->Commit(&failure)) {
      const std::string work = "opening " + path.str();
      *status = HostFailureStatus(failure, work.c_str(), "the database was not opened");
      return nullptr;
    }
  }
  status->Set(kPXStateSuccess);
  return db.release();
}

ParvexDatabase* ParvexOpenDatabase(const string& path, bool create, ParvexStatus* status) {
  ParvexOpenOptions options;
  options.create = create;
  return ParvexOpenDatabase(path, options, status);
}

}  // namespace parvex
