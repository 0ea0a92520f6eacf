// ParvexOpenDatabase: opens or creates a database file.
//
// The file holds one virtual volume whose root folder holds the tables'
// files. Connecting needs the schema file "_schema.dat" in it; creating turns
// a missing or empty file into a new database (and opens an existing
// database as it is). A file that is not a volume is refused untouched, and
// so is a database whose schema is damaged (its tables could not all be
// known); damaged user tables open damaged and fail the statements that use
// them.
#include <memory>
#include <vector>

#include "db/database.h"
#include "db/schema.h"
#include "storage/file_access.h"
#include "storage/trans.h"

namespace parvex {

ParvexDatabase* ParvexOpenDatabase(const string& path, bool create, ParvexStatus* status) {
  ParvexStatus local;
  if (!status) status = &local;
  auto access = std::make_unique<ParvexFileAccess>();
  if (!access->CreateOrOpenDataFolder(path, create, status)) {
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
    if (!create || (access->FindFiles(string(), &files), !files.empty())) {
      status->Set(kPXTableNotFound, string("Error: ") + path.view() + " is not a database (it has no schema).");
      return nullptr;
    }
  }
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
  status->Set(kPXStateSuccess);
  return db.release();
}

}  // namespace parvex
