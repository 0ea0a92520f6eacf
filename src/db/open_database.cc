// ParvexOpenDatabase: opens or creates a database file.
//
// The file holds one virtual volume whose root folder holds the tables'
// files. Connecting needs the schema file "_schema.dat" in it; creating turns
// a missing or empty file into a new database (and opens an existing
// database as it is). A file that is not a volume is refused untouched.
#include <memory>

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
  if (!create && !access->ContainsFile(string(kSchemaTableName) + kDataFileSuffix)) {
    status->Set(kPXTableNotFound, string("Error: ") + path.view() + " is not a database (it has no schema).");
    return nullptr;
  }
  auto db = std::make_unique<ParvexDatabase>(access.release());
  auto* schema = db->tables.empty() ? nullptr : dynamic_cast<ParvexSchema*>(db->tables[0]);
  if (!schema || !schema->Valid()) {
    status->Set(kPXTableNotFound, string("Error: Unable to open the schema of ") + path.view() + ".");
    return nullptr;
  }
  schema->LoadAllTables(db->tables);
  status->Set(kPXStateSuccess);
  return db.release();
}

}  // namespace parvex
