// The database engine table (`ParvexEngine`) through which the host's generic
// Database framework runs SQL on a KORADatabase object.
//
// Entries, in slot order: close (commit, then free the database), table
// schema, field schema, direct select, direct execute, index schema, commit,
// rollback, column types. Statement errors reach the host through its
// database error mechanism with the status texts; a query that finds no rows
// is not an error (the cursor is empty). Before any SQL runs the database
// clock is refreshed, so CURRENT_DATE and friends see one instant per
// statement. Nothing commits by itself except close.
#pragma once

#include "core/value.h"
#include "kora/kora_plugin.h"
#include "platform/parvex_string.h"

namespace parvex::kora {

const KORADatabaseEngine& EngineTable();

// The field-type codes and names the column-types entry hands over.
inline constexpr int32_t kColumnTypeCodes[] = {kTypeInteger, kTypeString, kTypeBoolean,
                                               kTypeDate,    kTypeTime,   kTypeTimestamp,
                                               kTypeDouble,  kTypeBinary};
inline constexpr const char* kColumnTypeNames =
    "Integer,VarChar,Boolean,Date,Time,Timestamp,Double,Binary";

}  // namespace parvex::kora
