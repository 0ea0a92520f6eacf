// Host scripts: the KORA plug-in run inside the kora-host simulator.
//
// A script NAME.kora (the simulator's script language, see the README) runs
// in a work folder of its own; its standard output must match NAME.out. When
// NAME.err exists the script runs with PARVEX_TRACE set and its standard
// error must match that file; otherwise the error stream must stay empty. The
// simulator must exit with status 0 (a contract violation or a malformed
// line makes it exit otherwise).
#pragma once

#include <filesystem>

namespace parvex::testing {

void RunHostScript(const std::filesystem::path& script);

}  // namespace parvex::testing
