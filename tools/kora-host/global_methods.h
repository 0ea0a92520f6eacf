// The host's global methods that plug-ins may load by declaration: the file
// dialogs (answered from the script's queue) and the save-info texts that
// identify a file and resolve back to it.
//
// Save info: mode 0 gives "fsi:" and the absolute path; mode 1 gives "rel:"
// and the path relative to the work folder. GetFolderItem resolves "fsi:"
// texts only; GetRelative resolves both. Anything else resolves to nil.
#pragma once

#include <string>

#include "kora/kora_plugin.h"

namespace kora_host {

// The global method with this declaration (compared without regard to case
// and spacing), or null when there is none or the script withheld it.
KORAFunction FindGlobalMethod(const std::string& declaration);

}  // namespace kora_host
