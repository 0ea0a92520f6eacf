// The host class "KORADatabase" (super class "Database").
//
// Each instance carries, as its per-object data in host memory, a pointer to
// the open ParvexDatabase (null while not connected); the host keeps the
// connected flag. The class has one property, "DatabaseFile" (a FolderItem
// naming the database file), and five methods: Connect, CreateDatabaseFile,
// LastRowID, GetSchemaData and ReplaceSchemaData. Its constructor hands the
// host a new database object bound to the binding's engine table.
#pragma once

#include "core/status.h"
#include "kora/kora_plugin.h"
#include "platform/parvex_string.h"

namespace parvex {
class ParvexDatabase;
}

namespace parvex::kora {

// Per-object data of a KORADatabase instance (plain data in host memory).
struct DatabaseObjectData {
  ParvexDatabase* database;  // owned; null while not connected
};

// The per-object data of a database object, or null.
DatabaseObjectData* ObjectData(KORAObject dbObject);
// The engine database open on a database object, or null.
ParvexDatabase* OpenDatabaseOf(KORAObject dbObject);

// Why a create-or-connect failed: an SQLSTATE and a message for the host.
struct OpenFailure {
  const char* state = nullptr;
  string message;
};

// Opens the database file named by the object's "DatabaseFile" (creating it
// when `create` is set) and marks the object connected. True at once when it
// is connected already. On failure `failure` (when given) says why; nothing
// is reported to the host here.
bool CreateOrConnect(KORAObject dbObject, bool create, OpenFailure* failure);

// The host's words for a ParvexOpenDatabase failure.
OpenFailure DescribeOpenFailure(const ParvexStatus& status, bool create);

// A new, unconnected KORADatabase instance (a reference the caller owns), or null.
KORAObject ConstructDatabaseObject();

// The class declaration registered with the host.
const KORAClassDefinition& DatabaseClassDefinition();

// The class's name as the host knows it.
inline constexpr const char* kDatabaseClassName = "KORADatabase";

}  // namespace parvex::kora
