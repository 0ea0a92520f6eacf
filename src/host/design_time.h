// The design-time data sources: "New KORA Database..." and "Select KORA
// Database..." in the host's database menu.
//
// Both ask the user for a file through the host's global dialog methods
// (file type "parvexdb"; a new file is offered as "KoraDB.qhd"), and store
// the choice as save-info text; "New" also creates the empty database. A
// cancelled dialog ends with "user cancelled". Later, GetParvexDatabase
// resolves the save-info text back to the file (GetFolderItem, else
// GetRelative) and returns a connected KORADatabase object. Global methods
// are loaded by declaration at the moment they are needed; a missing one is
// reported as "couldn't load" and its name.
#pragma once

#include <cstddef>

#include "kora/kora_plugin.h"

namespace parvex::kora {

// The entries to register, in menu order.
const KORADataSourceEntry* DataSourceEntries(size_t* count);

}  // namespace parvex::kora
